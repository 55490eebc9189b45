#include "quillcast-math/DoubleVector.h"

#include "quillcast-core/SerializationArchives.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <istream>
#include <limits>
#include <ostream>

namespace Vexalor
{

namespace
{

/// "-2.2250738585072014e-308"
constexpr std::size_t MAX_WRITTEN_VALUE = 24;

bool isBlank(char in_character)
{
    return in_character == ' ' || in_character == '\t';
}

/// Reads one value; null when there is none, when it is outside the range of double or not followed by a
/// blank or "]".
const char* parseValue(const char* in_begin, const char* in_end, double& out_dValue)
{
    const std::from_chars_result result = std::from_chars(in_begin, in_end, out_dValue);
    const char* pNext = result.ptr;
    if (result.ec != std::errc() || pNext == in_end || (*pNext != ' ' && *pNext != ']' && *pNext != '\t'))
        return nullptr;
    return static_cast<std::size_t>(pNext - in_begin) <= DoubleVector::MAX_READ_VALUE ? pNext : nullptr;
}

/// Takes characters from a stream buffer by the grammar of DoubleVector::parse, one value at a time, so that
/// memory is bounded whatever the stream holds.
class StreamParser
{
public:
    explicit StreamParser(std::streambuf& io_buffer)
        : m_buffer(io_buffer)
    {
    }

    /// False for a malformed form; the state then tells whether the stream came to its end.
    bool parse(std::vector<double>& out_vValues)
    {
        if (skipBlanks() != '[')
            return false;
        m_buffer.sbumpc();
        while (skipBlanks() != ']')
        {
            double dValue = 0.0;
            if (!takeValue(dValue) || out_vValues.size() == DoubleVector::MAX_READ_SIZE)
                return false;
            out_vValues.push_back(dValue);
        }
        m_buffer.sbumpc();
        return true;
    }

    bool atEnd() { return m_buffer.sgetc() == END; }

private:
    static constexpr int END = std::char_traits<char>::eof();

    int skipBlanks()
    {
        int iNext = m_buffer.sgetc();
        while (iNext != END && isBlank(static_cast<char>(iNext)))
            iNext = m_buffer.snextc();
        return iNext;
    }

    bool takeValue(double& out_dValue)
    {
        std::size_t uiLength = 0;
        int iNext = m_buffer.sgetc();
        while (iNext != END && iNext != ']' && !isBlank(static_cast<char>(iNext)))
        {
            if (uiLength == DoubleVector::MAX_READ_VALUE)
                return false;
            m_token[uiLength++] = static_cast<char>(iNext);
            iNext = m_buffer.snextc();
        }
        m_token[uiLength] = ']';
        const char* pEnd = m_token.data() + uiLength;
        return iNext != END && parseValue(m_token.data(), pEnd + 1, out_dValue) == pEnd;
    }

    std::streambuf& m_buffer;
    std::array<char, DoubleVector::MAX_READ_VALUE + 1> m_token;
};

} // namespace

double DoubleVector::getAverage() const
{
    if (empty())
        return std::numeric_limits<double>::quiet_NaN();
    double dSum = 0.0;
    for (const double dValue : m_vValues)
        dSum += dValue;
    return dSum / static_cast<double>(size());
}

std::ostream& DoubleVector::write(std::ostream& out_stream) const
{
    std::string strText;
    appendTo(strText);
    return out_stream.write(strText.data(), static_cast<std::streamsize>(strText.size()));
}

std::istream& DoubleVector::read(std::istream& in_stream)
{
    m_vValues.clear();
    const std::istream::sentry sentry(in_stream, true);
    if (!sentry)
        return in_stream;
    StreamParser parser(*in_stream.rdbuf());
    if (!parser.parse(m_vValues))
    {
        m_vValues.clear();
        in_stream.setstate(parser.atEnd() ? std::ios::failbit | std::ios::eofbit : std::ios::failbit);
    }
    return in_stream;
}

void DoubleVector::appendTo(std::string& io_strBuffer) const
{
    // A block on the stack spares the string one growth check a value and the filling of what is then
    // overwritten.
    std::array<char, 2048> block;
    const char* const pFull = block.data() + block.size() - (MAX_WRITTEN_VALUE + 2);
    char* pNext = block.data();
    *pNext++ = '[';
    for (std::size_t uiIndex = 0; uiIndex < size(); ++uiIndex)
    {
        if (uiIndex != 0)
            *pNext++ = ' ';
        pNext = std::to_chars(pNext, pNext + MAX_WRITTEN_VALUE, m_vValues[uiIndex]).ptr;
        if (pNext > pFull)
        {
            io_strBuffer.append(block.data(), pNext);
            pNext = block.data();
        }
    }
    *pNext++ = ']';
    io_strBuffer.append(block.data(), pNext);
}

const char* DoubleVector::parse(const char* in_begin, const char* in_end)
{
    m_vValues.clear();
    const char* pNext = in_begin;
    while (pNext != in_end && isBlank(*pNext))
        ++pNext;
    if (pNext == in_end || *pNext != '[')
        return nullptr;
    ++pNext;
    for (;;)
    {
        while (pNext != in_end && isBlank(*pNext))
            ++pNext;
        if (pNext != in_end && *pNext == ']')
            return pNext + 1;
        double dValue = 0.0;
        pNext = parseValue(pNext, in_end, dValue);
        if (pNext == nullptr || size() == MAX_READ_SIZE)
        {
            m_vValues.clear();
            return nullptr;
        }
        m_vValues.push_back(dValue);
    }
}

bool operator==(const DoubleVector& in_left, const DoubleVector& in_right)
{
    return std::equal(in_left.begin(), in_left.end(), in_right.begin(), in_right.end(),
                      [](double in_dLeft, double in_dRight)
                      { return in_dLeft == in_dRight || (std::isnan(in_dLeft) && std::isnan(in_dRight)); });
}

template <class Archive>
void DoubleVector::save(Archive& io_archive, unsigned int) const
{
    const std::size_t uiCount = size();
    io_archive << boost::serialization::make_nvp("count", uiCount);
    for (const double& dValue : m_vValues)
        io_archive << boost::serialization::make_nvp("item", dValue);
}

template <class Archive>
void DoubleVector::load(Archive& io_archive, unsigned int)
{
    std::size_t uiCount = 0;
    io_archive >> boost::serialization::make_nvp("count", uiCount);
    // Grows with what is there, not with what is announced.
    m_vValues.clear();
    for (std::size_t uiIndex = 0; uiIndex < uiCount; ++uiIndex)
    {
        double dValue = 0.0;
        io_archive >> boost::serialization::make_nvp("item", dValue);
        m_vValues.push_back(dValue);
    }
}

template <class Archive>
void DoubleVector::serialize(Archive& io_archive, unsigned int in_uiVersion)
{
    boost::serialization::split_member(io_archive, *this, in_uiVersion);
}

QC_ARCHIVES(DoubleVector);

} // namespace Vexalor
