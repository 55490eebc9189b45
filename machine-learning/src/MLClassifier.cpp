#include "MLClassifier.h"

#include "quillcast-core/AsciiCase.h"
#include "quillcast-core/Logger.h"

#include <algorithm>
#include <cmath>
#include <istream>
#include <limits>
#include <ostream>
#include <sstream>
#include <string_view>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.Classifier");

/// An order of all doubles: nan alone would be neither before nor after anything else.
bool isLess(const Classifier::SingleOutputResult& in_left, const Classifier::SingleOutputResult& in_right)
{
    return in_left.m_dValue < in_right.m_dValue ||
           (std::isnan(in_left.m_dValue) && !std::isnan(in_right.m_dValue));
}

/// True when the next character is one of these; never at the end of the stream.
bool nextIsOneOf(std::istream& in_stream, std::string_view in_characters)
{
    if (!in_stream.good())
        return false;
    const int iNext = in_stream.peek();
    return iNext != std::char_traits<char>::eof() &&
           in_characters.find(static_cast<char>(iNext)) != std::string_view::npos;
}

/// The three letters of what streams write and do not read themselves.
bool readWord(std::istream& in_stream, double& out_dValue)
{
    char word[4] = {};
    in_stream.read(word, 3);
    const bool bNan = equalIgnoringCase(word, "nan");
    if (!bNan && !equalIgnoringCase(word, "inf"))
        return false;
    out_dValue = bNan ? std::numeric_limits<double>::quiet_NaN() : std::numeric_limits<double>::infinity();
    return true;
}

/// What the stream's own extraction takes, nan and inf as well.
bool readNumber(std::istream& in_stream, double& out_dValue)
{
    in_stream >> std::ws;
    const bool bNegative = nextIsOneOf(in_stream, "-");
    if (nextIsOneOf(in_stream, "+-"))
    {
        in_stream.get();
        if (nextIsOneOf(in_stream, "+- \t\n\v\f\r"))
            return false;
    }
    if (nextIsOneOf(in_stream, "nNiI") ? !readWord(in_stream, out_dValue) : !(in_stream >> out_dValue))
        return false;
    out_dValue = bNegative ? -out_dValue : out_dValue;
    return true;
}

} // namespace

Classifier::SingleOutputResult::SingleOutputResult(const char* in_name, double in_dValue)
    : m_dValue(in_dValue)
{
    if (in_name != nullptr)
        m_strName = in_name;
}

std::ostream& Classifier::SingleOutputResult::write(std::ostream& out_stream) const
{
    return out_stream << m_strName << '=' << m_dValue;
}

std::istream& Classifier::SingleOutputResult::read(std::istream& in_stream)
{
    QC_TRACE("Classifier::SingleOutputResult::read");
    m_strName.clear();
    m_dValue = 0.0;
    while (nextIsOneOf(in_stream, " "))
        in_stream.get();
    while (in_stream.good() && in_stream.peek() != '=' && in_stream.good())
        m_strName += static_cast<char>(in_stream.get());
    if (m_strName.empty() || !in_stream.good())
    {
        in_stream.setstate(std::ios_base::failbit);
        return in_stream;
    }
    in_stream.get();
    if (!readNumber(in_stream, m_dValue))
    {
        m_dValue = 0.0;
        in_stream.setstate(std::ios_base::failbit);
    }
    return in_stream;
}

bool Classifier::Result::addEntry(const char* in_name, double in_dValue)
{
    m_vEntries.emplace_back(in_name, in_dValue);
    return true;
}

Classifier::SingleOutputResult* Classifier::Result::find(const char* in_name)
{
    return std::find_if(begin(), end(),
                        [in_name](const SingleOutputResult& in_entry)
                        { return in_name != nullptr && in_entry.m_strName == in_name; });
}

const Classifier::SingleOutputResult* Classifier::Result::find(const char* in_name) const
{
    return const_cast<Result*>(this)->find(in_name);
}

const Classifier::SingleOutputResult* Classifier::Result::getMaxResult() const
{
    return std::max_element(begin(), end(), isLess);
}

bool Classifier::Result::sort(bool in_bDescending)
{
    std::sort(begin(), end(),
              [in_bDescending](const auto& in_left, const auto& in_right)
              { return in_bDescending ? isLess(in_right, in_left) : isLess(in_left, in_right); });
    return true;
}

void Classifier::Result::reset()
{
    for (SingleOutputResult& entry : m_vEntries)
        entry.m_dValue = 0.0;
}

std::ostream& Classifier::Result::write(std::ostream& out_stream) const
{
    for (const SingleOutputResult& entry : m_vEntries)
        entry.write(out_stream) << '\n';
    return out_stream;
}

std::istream& Classifier::Result::read(std::istream& in_stream)
{
    QC_TRACE("Classifier::Result::read");
    m_vEntries.clear();
    std::string strLine;
    std::istringstream line;
    line.imbue(in_stream.getloc());
    // Asking first, instead of reading until a line fails, leaves the fail flag to failures.
    while (in_stream.good() && in_stream.peek() != std::char_traits<char>::eof() &&
           std::getline(in_stream, strLine))
    {
        line.clear();
        line.str(strLine);
        SingleOutputResult entry;
        if (entry.read(line).fail())
        {
            QC_DEBUG("Error parsing line " << strLine);
            in_stream.setstate(std::ios_base::failbit);
            return in_stream;
        }
        m_vEntries.push_back(std::move(entry));
    }
    return in_stream;
}

} // namespace Vexalor::MachineLearning
