#include "onnx/WireReader.h"

#include <bit>
#include <cstring>

namespace Vexalor::MachineLearning::Onnx
{

namespace
{

/// Numbers of the file lie as they do in memory.
static_assert(std::endian::native == std::endian::little);

std::string_view take(std::string_view& io_left, std::uint64_t in_uiSize)
{
    if (in_uiSize > io_left.size())
        throw Refusal("the file is cut off or damaged");
    const std::string_view taken = io_left.substr(0, in_uiSize);
    io_left.remove_prefix(in_uiSize);
    return taken;
}

/// Seven bits a byte, the lowest first; bits beyond 64 are lost, as in every reader of the format.
std::uint64_t takeVarint(std::string_view& io_left)
{
    std::uint64_t uiNumber = 0;
    for (unsigned int uiShift = 0; uiShift < 70; uiShift += 7)
    {
        const auto uiByte = static_cast<unsigned char>(take(io_left, 1)[0]);
        uiNumber |= uiShift < 64 ? std::uint64_t(uiByte & 0x7F) << uiShift : 0;
        if (uiByte < 0x80)
            return uiNumber;
    }
    throw Refusal("the file is damaged: a number of more than ten bytes");
}

} // namespace

bool WireReader::next()
{
    if (m_left.empty())
        return false;
    const std::uint64_t uiTag = takeVarint(m_left);
    m_uiField = uiTag >> 3;
    m_kind = static_cast<Kind>(uiTag & 7);
    m_bytes = {};
    m_uiNumber = 0;
    switch (m_kind)
    {
    case Kind::VARINT:
        m_uiNumber = takeVarint(m_left);
        return true;
    case Kind::FIXED64:
        m_bytes = take(m_left, 8);
        return true;
    case Kind::BYTES:
        m_bytes = take(m_left, takeVarint(m_left));
        return true;
    case Kind::FIXED32:
        m_bytes = take(m_left, 4);
        return true;
    }
    throw Refusal("the file is damaged: a field of an unknown kind");
}

void WireReader::require(Kind in_kind) const
{
    if (m_kind != in_kind)
        throw Refusal("the file is damaged: field " + std::to_string(m_uiField) + " is of a wrong kind");
}

std::uint64_t WireReader::getNumber() const
{
    require(Kind::VARINT);
    return m_uiNumber;
}

float WireReader::getReal() const
{
    require(Kind::FIXED32);
    float fReal = 0;
    std::memcpy(&fReal, m_bytes.data(), sizeof(fReal));
    return fReal;
}

std::string_view WireReader::getBytes() const
{
    require(Kind::BYTES);
    return m_bytes;
}

void WireReader::appendIntegers(std::vector<std::int64_t>& io_vIntegers) const
{
    if (m_kind == Kind::VARINT)
        io_vIntegers.push_back(getInteger());
    else
        for (std::string_view left = getBytes(); !left.empty() && io_vIntegers.size() <= MAX_INTEGERS;)
            io_vIntegers.push_back(static_cast<std::int64_t>(takeVarint(left)));
    if (io_vIntegers.size() > MAX_INTEGERS)
        throw Refusal("a list of more than " + std::to_string(MAX_INTEGERS) + " integers");
}

std::string_view WireReader::getRealBytes() const
{
    if (m_kind == Kind::FIXED32)
        return m_bytes;
    if (getBytes().size() % sizeof(float) != 0)
        throw Refusal("the file is damaged: a list of numbers that ends within one");
    return m_bytes;
}

} // namespace Vexalor::MachineLearning::Onnx
