#include "labels/LabelReading.h"
#include "quillcast-core/MessageText.h"

namespace Vexalor
{

namespace
{

using namespace LabelReading;

constexpr std::string_view COLUMN_NAMES = "start_s\t";

/// Reads lines of start, tab, stop, tab, label, each with a line of frequencies after it at most.
class LabelTrackReader
{
public:
    LabelTrackReader(std::vector<LabelSpan>& out_vSpans, LabelFault& out_fault)
        : m_vSpans(out_vSpans)
        , m_fault(out_fault)
    {
    }

    bool run(std::string_view in_text)
    {
        bool bTable = false;
        for (m_uiLine = 1; !in_text.empty(); ++m_uiLine)
        {
            const std::string_view line = takeLine(in_text);
            const std::size_t uiFirst = line.find_first_not_of(" \t");
            const bool bColumnNames = m_uiLine == 1 && line.starts_with(COLUMN_NAMES);
            bTable = bTable || bColumnNames;
            if (bColumnNames || uiFirst == std::string_view::npos || line[uiFirst] == '#')
                continue;
            if (!(line[uiFirst] == '\\' ? readBand(line.substr(uiFirst)) : readLabel(line, bTable)))
                return false;
        }
        return true;
    }

private:
    bool readLabel(std::string_view in_line, bool in_bTable)
    {
        const std::string_view startText = takeUntil(in_line, '\t');
        const std::string_view stopText = takeUntil(in_line, '\t');
        LabelSpan span;
        if (!parseNumber(startText, span.m_dStart))
            return refuse(m_fault, m_uiLine, MessageText::quote(startText) + " is no start time in seconds");
        if (!parseNumber(stopText, span.m_dStop))
            return refuse(m_fault, m_uiLine, MessageText::quote(stopText) + " is no stop time in seconds");
        span.m_strLabel = in_bTable ? takeUntil(in_line, '\t') : in_line;
        m_bBandMayFollow = true;
        return add(span, m_uiLine, m_vSpans, m_fault);
    }

    bool readBand(std::string_view in_line)
    {
        takeUntil(in_line, '\t');
        double dLow = 0.0;
        double dHigh = 0.0;
        if (!parseNumber(takeUntil(in_line, '\t'), dLow) || !parseNumber(takeUntil(in_line, '\t'), dHigh))
            return refuse(m_fault, m_uiLine,
                          "a backslash is followed by two frequencies in Hz, between tabs");
        if (!m_bBandMayFollow)
            return refuse(m_fault, m_uiLine, "it tells frequencies, and no label precedes it");
        m_bBandMayFollow = false;
        return setBand(dLow, dHigh, m_uiLine, m_vSpans.back(), m_fault);
    }

    std::vector<LabelSpan>& m_vSpans;
    LabelFault& m_fault;
    std::size_t m_uiLine = 0;
    bool m_bBandMayFollow = false;
};

class LabelTrackWriter final : public LabelWriter
{
public:
    explicit LabelTrackWriter(unsigned int in_uiDecimals)
        : m_uiDecimals(in_uiDecimals)
    {
    }

    /// Line ends and zero bytes in a label, which a line cannot carry, become blanks.
    bool add(const LabelSpan& in_span, std::string& io_strText) override
    {
        std::string strLabel = in_span.m_strLabel;
        for (char& c : strLabel)
            if (c == '\n' || c == '\r' || c == '\0')
                c = ' ';
        io_strText += formatPlain(in_span.m_dStart, m_uiDecimals) + '\t' +
                      formatPlain(in_span.m_dStop, m_uiDecimals) + '\t' + strLabel + '\n';
        if (in_span.m_low || in_span.m_high)
            io_strText += "\\\t" + formatPlain(in_span.m_low.value_or(-1.0)) + '\t' +
                          formatPlain(in_span.m_high.value_or(-1.0)) + '\n';
        return true;
    }

private:
    unsigned int m_uiDecimals;
};

} // namespace

bool readLabelTrack(std::string_view in_text, const LabelReadOptions&, std::vector<LabelSpan>& out_vSpans,
                    LabelFault& out_fault)
{
    return LabelTrackReader(out_vSpans, out_fault).run(in_text);
}

std::unique_ptr<LabelWriter> newLabelTrackWriter(const LabelWriteOptions& in_options)
{
    return std::make_unique<LabelTrackWriter>(in_options.m_uiDecimals);
}

} // namespace Vexalor
