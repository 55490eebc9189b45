// Changes one field somewhere in the tree of messages of a Protocol Buffers file and mends all lengths around
// it: what the fuzzer changes byte by byte hardly ever gets past the reader of the format.

#include "onnx/WireReader.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

using Vexalor::MachineLearning::Onnx::Refusal;
using Vexalor::MachineLearning::Onnx::WireReader;

extern "C" std::size_t LLVMFuzzerMutate(std::uint8_t* io_data, std::size_t in_uiSize,
                                        std::size_t in_uiMaxSize);

namespace
{

using Random = std::minstd_rand;

/// One field: its tag, and its value as bytes or a number.
struct Field
{
    std::uint64_t m_uiTag;
    std::uint64_t m_uiNumber;
    std::string m_strBytes;
};

std::uint64_t takeVarint(std::string_view& io_left)
{
    std::uint64_t uiNumber = 0;
    for (unsigned int uiShift = 0; uiShift < 64 && !io_left.empty(); uiShift += 7)
    {
        const auto uiByte = static_cast<unsigned char>(io_left[0]);
        io_left.remove_prefix(1);
        uiNumber |= std::uint64_t(uiByte & 127) << uiShift;
        if (uiByte < 128)
            break;
    }
    return uiNumber;
}

std::string toVarint(std::uint64_t in_uiNumber)
{
    std::string strBytes;
    for (; in_uiNumber > 127; in_uiNumber >>= 7)
        strBytes += static_cast<char>(in_uiNumber | 128);
    return strBytes + static_cast<char>(in_uiNumber);
}

bool isMessage(std::string_view in_bytes)
{
    try
    {
        for (WireReader reader(in_bytes); reader.next();)
            if (reader.getField() == 0 || reader.getField() > 25)
                return false;
        return !in_bytes.empty();
    }
    catch (const Refusal&)
    {
        return false;
    }
}

std::vector<Field> split(std::string_view in_message)
{
    std::vector<Field> vFields;
    while (!in_message.empty())
    {
        Field field{takeVarint(in_message), 0, {}};
        const std::uint64_t uiKind = field.m_uiTag & 7;
        if (uiKind == 0)
            field.m_uiNumber = takeVarint(in_message);
        else
        {
            const std::uint64_t uiSize = uiKind == 2 ? takeVarint(in_message) : (uiKind == 1 ? 8 : 4);
            field.m_strBytes = in_message.substr(0, uiSize);
            in_message.remove_prefix(field.m_strBytes.size());
        }
        vFields.push_back(std::move(field));
    }
    return vFields;
}

std::string join(const std::vector<Field>& in_vFields)
{
    std::string strMessage;
    for (const Field& field : in_vFields)
    {
        strMessage += toVarint(field.m_uiTag);
        if ((field.m_uiTag & 7) == 0)
            strMessage += toVarint(field.m_uiNumber);
        else if ((field.m_uiTag & 7) == 2)
            strMessage += toVarint(field.m_strBytes.size());
        strMessage += field.m_strBytes;
    }
    return strMessage;
}

void changeValue(Field& io_field, Random& io_random)
{
    static constexpr std::int64_t NUMBERS[] = {
        -2, -1, 0, 1, 2, 3, 4, 5, 7, 8, 16, 255, 65536, 1LL << 31, 1LL << 40, INT64_MAX, INT64_MIN};
    if ((io_field.m_uiTag & 7) == 0)
    {
        io_field.m_uiNumber = static_cast<std::uint64_t>(NUMBERS[io_random() % std::size(NUMBERS)]);
        return;
    }
    const std::size_t uiSize = io_field.m_strBytes.size();
    const bool bSizeIsFree = (io_field.m_uiTag & 7) == 2;
    io_field.m_strBytes.resize(uiSize + (bSizeIsFree ? 16 : 0));
    const std::size_t uiChanged = LLVMFuzzerMutate(
        reinterpret_cast<std::uint8_t*>(io_field.m_strBytes.data()), uiSize, io_field.m_strBytes.size());
    io_field.m_strBytes.resize(bSizeIsFree ? uiChanged : uiSize);
}

/// Deletes, doubles, moves or changes a field, or gives it the bytes of another of its kind.
void changeFields(std::vector<Field>& io_vFields, std::size_t in_uiField, Random& io_random)
{
    const std::size_t uiOther = io_random() % io_vFields.size();
    switch (io_random() % 8)
    {
    case 0:
        io_vFields.erase(io_vFields.begin() + static_cast<std::ptrdiff_t>(in_uiField));
        return;
    case 1:
        io_vFields.insert(io_vFields.begin() + static_cast<std::ptrdiff_t>(uiOther),
                          Field(io_vFields[in_uiField]));
        return;
    case 2:
        std::swap(io_vFields[in_uiField], io_vFields[uiOther]);
        return;
    case 3:
    case 4:
        if ((io_vFields[in_uiField].m_uiTag & 7) == (io_vFields[uiOther].m_uiTag & 7) &&
            in_uiField != uiOther)
        {
            io_vFields[in_uiField].m_uiNumber = io_vFields[uiOther].m_uiNumber;
            io_vFields[in_uiField].m_strBytes = io_vFields[uiOther].m_strBytes;
            return;
        }
        break;
    default:
        break;
    }
    changeValue(io_vFields[in_uiField], io_random);
}

std::string change(std::string_view in_message, Random& io_random, int in_iDepth)
{
    std::vector<Field> vFields = split(in_message);
    const std::size_t uiField = io_random() % vFields.size();
    Field& field = vFields[uiField];
    if (in_iDepth < 8 && (field.m_uiTag & 7) == 2 && isMessage(field.m_strBytes) && io_random() % 8 != 0)
        field.m_strBytes = change(field.m_strBytes, io_random, in_iDepth + 1);
    else
        changeFields(vFields, uiField, io_random);
    return join(vFields);
}

} // namespace

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* io_data, std::size_t in_uiSize,
                                               std::size_t in_uiMaxSize, unsigned int in_uiSeed)
{
    Random random(in_uiSeed);
    std::string strMessage(reinterpret_cast<const char*>(io_data), in_uiSize);
    if (random() % 8 == 0 || !isMessage(strMessage))
        return LLVMFuzzerMutate(io_data, in_uiSize, in_uiMaxSize);
    for (unsigned int i = 0; i <= random() % 3 && isMessage(strMessage); ++i)
        strMessage = change(strMessage, random, 0);
    const std::size_t uiSize = std::min(strMessage.size(), in_uiMaxSize);
    std::memcpy(io_data, strMessage.data(), uiSize);
    return uiSize;
}
