#include "quillcast-audio/ToneAnnotations.h"

#include <algorithm>
#include <charconv>
#include <string_view>

namespace Vexalor
{

namespace
{

/// Takes a label apart from its front; every operation is true when the part was there.
class LabelScanner
{
public:
    explicit LabelScanner(std::string_view in_text)
        : m_text(in_text)
    {
    }

    /// A word in any letter case.
    bool word(std::string_view in_upperCase)
    {
        if (m_text.size() < in_upperCase.size())
            return false;
        for (std::size_t i = 0; i < in_upperCase.size(); ++i)
        {
            const char c = m_text[i];
            if ((c >= 'a' && c <= 'z' ? c - 'a' + 'A' : c) != in_upperCase[i])
                return false;
        }
        m_text.remove_prefix(in_upperCase.size());
        return true;
    }

    bool frequency(std::uint32_t& out_uiHz)
    {
        const char* pEnd = m_text.data() + m_text.size();
        const auto [pNext, error] = std::from_chars(m_text.data(), pEnd, out_uiHz);
        if (error != std::errc() || out_uiHz == 0)
            return false;
        m_text.remove_prefix(static_cast<std::size_t>(pNext - m_text.data()));
        return true;
    }

    bool blanks()
    {
        const std::size_t uiCount = std::min(m_text.find_first_not_of(' '), m_text.size());
        m_text.remove_prefix(uiCount);
        return uiCount > 0;
    }

    bool unit()
    {
        blanks();
        return word("HZ") && atEnd();
    }

    bool atEnd() const { return m_text.empty(); }

private:
    std::string_view m_text;
};

bool parseSingleFrequency(const std::string& in_strLabel, std::uint32_t& out_uiHz)
{
    LabelScanner shortForm(in_strLabel);
    if (shortForm.word("SF:"))
        return shortForm.frequency(out_uiHz) && shortForm.atEnd();
    LabelScanner longForm(in_strLabel);
    return longForm.frequency(out_uiHz) && longForm.unit();
}

bool parseAmplitudeModulated(const std::string& in_strLabel, std::uint32_t& out_uiCarrier,
                             std::uint32_t& out_uiModulated)
{
    LabelScanner scanner(in_strLabel);
    if (!scanner.word("AM"))
        return false;
    if (scanner.word(":"))
        return scanner.frequency(out_uiCarrier) && scanner.word(":") && scanner.frequency(out_uiModulated) &&
               scanner.atEnd();
    return scanner.blanks() && scanner.frequency(out_uiCarrier) && scanner.word("/") &&
           scanner.frequency(out_uiModulated) && scanner.unit();
}

} // namespace

bool SingleFrequencyAnnotationImpl::setLabel(const std::string& in_strLabel)
{
    std::uint32_t uiHz = 0;
    if (!parseSingleFrequency(in_strLabel, uiHz))
        return false;
    m_strLabel = in_strLabel;
    m_uiFrequency = uiHz;
    return true;
}

bool AmplitudeModulatedAnnotationImpl::setLabel(const std::string& in_strLabel)
{
    std::uint32_t uiCarrier = 0;
    std::uint32_t uiModulated = 0;
    if (!parseAmplitudeModulated(in_strLabel, uiCarrier, uiModulated))
        return false;
    m_strLabel = in_strLabel;
    m_uiCarrierFreq = uiCarrier;
    m_uiModulatedFreq = uiModulated;
    return true;
}

} // namespace Vexalor
