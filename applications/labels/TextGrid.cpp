#include "labels/LabelReading.h"
#include "quillcast-core/MessageText.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace Vexalor
{

namespace
{

using namespace LabelReading;

constexpr const char* INTERVALS = "IntervalTier";
constexpr const char* POINTS = "TextTier";
/// That are written.
constexpr std::size_t MOST_TIERS = 1000;
/// Bytes of a message.
constexpr std::size_t MOST_LISTED = 300;

/// The long and the short form are one grammar: numbers, texts in quotes and flags count where a word begins,
/// everything else is decoration.
class TextGridTokens
{
public:
    enum Kind
    {
        END,
        NUMBER,
        TEXT,
        FLAG,
        FAULT ///< m_strText tells which
    };

    explicit TextGridTokens(std::string_view in_text)
        : m_rest(in_text)
    {
    }

    /// The next token, and the line where it begins.
    Kind next()
    {
        while (!m_rest.empty())
        {
            const char first = m_rest.front();
            m_uiTokenLine = m_uiLine;
            if (first == '"')
                return takeText();
            if (first == '<')
                return takeFlag();
            if ((first >= '0' && first <= '9') || first == '-' || first == '+')
            {
                if (takeNumber())
                    return NUMBER;
            }
            else if (first == '!')
                skipTo("\n");
            else if (first == '[')
                skipTo("]\n");
            else if (isBlank(first) || first == '=' || first == ']')
                skip(1);
            else
                skipWord();
        }
        m_uiTokenLine = m_uiLine;
        return END;
    }

    std::size_t getLine() const { return m_uiTokenLine; }
    double getNumber() const { return m_dNumber; }
    const std::string& getText() const { return m_strText; }

private:
    static bool isBlank(char in_c) { return in_c == ' ' || in_c == '\t' || in_c == '\n' || in_c == '\r'; }

    void skip(std::size_t in_uiCount)
    {
        m_uiLine += static_cast<std::size_t>(
            std::count(m_rest.begin(), m_rest.begin() + static_cast<std::ptrdiff_t>(in_uiCount), '\n'));
        m_rest.remove_prefix(in_uiCount);
    }
    void skipTo(const char* in_ends) { skip(std::min(m_rest.find_first_of(in_ends), m_rest.size())); }
    void skipWord() { skipTo(" \t\r\n="); }

    /// A sign alone is none. What follows the digits in a word is its unit.
    bool takeNumber()
    {
        const std::string_view digits = m_rest.front() == '+' ? m_rest.substr(1) : m_rest;
        const std::size_t uiDigit = digits.starts_with('-') ? 1 : 0;
        const bool bDigit = uiDigit < digits.size() && digits[uiDigit] >= '0' && digits[uiDigit] <= '9';
        const auto [pNext, error] = std::from_chars(digits.data(), digits.data() + digits.size(), m_dNumber);
        skipWord();
        return bDigit && error == std::errc();
    }

    /// Quotes in it are doubled.
    Kind takeText()
    {
        m_strText.clear();
        std::size_t uiEnd = 1;
        while (true)
        {
            const std::size_t uiQuote = m_rest.find('"', uiEnd);
            if (uiQuote == std::string_view::npos)
            {
                m_strText = "a text that begins here has no end";
                return FAULT;
            }
            m_strText.append(m_rest.substr(uiEnd, uiQuote - uiEnd));
            uiEnd = uiQuote + 1;
            if (uiEnd == m_rest.size() || m_rest[uiEnd] != '"')
                break;
            m_strText += '"';
            ++uiEnd;
        }
        skip(uiEnd);
        return TEXT;
    }

    Kind takeFlag()
    {
        const std::size_t uiEnd = std::min(m_rest.find_first_of(">\n"), m_rest.size());
        m_strText = m_rest.substr(1, uiEnd - 1);
        skip(std::min(uiEnd + 1, m_rest.size()));
        return FLAG;
    }

    std::string_view m_rest;
    std::size_t m_uiLine = 1;
    std::size_t m_uiTokenLine = 1;
    double m_dNumber = 0.0;
    std::string m_strText;
};

class TextGridReader
{
public:
    TextGridReader(std::string_view in_text, const LabelReadOptions& in_options,
                   std::vector<LabelSpan>& out_vSpans, LabelFault& out_fault)
        : m_tokens(in_text)
        , m_options(in_options)
        , m_vSpans(out_vSpans)
        , m_fault(out_fault)
    {
    }

    bool run()
    {
        std::size_t uiTiers = 0;
        if (!readHeader(uiTiers))
            return false;
        for (std::size_t i = 0; i < uiTiers; ++i)
            if (!readTier())
                return false;
        if (m_tokens.next() != TextGridTokens::END)
            return fail("the last tier ended before this");
        return haveWantedTiers();
    }

private:
    bool fail(const std::string& in_strReason) { return refuse(m_fault, m_tokens.getLine(), in_strReason); }

    bool expect(TextGridTokens::Kind in_kind, const char* in_what)
    {
        const TextGridTokens::Kind kind = m_tokens.next();
        if (kind == in_kind)
            return true;
        if (kind == TextGridTokens::FAULT)
            return fail(m_tokens.getText());
        const std::string strWhat = std::string(in_what) + " is expected here, ";
        switch (kind)
        {
        case TextGridTokens::END:
            return fail(strWhat + "and the file ends");
        case TextGridTokens::NUMBER:
            return fail(strWhat + "not the number " + MessageText::toText(m_tokens.getNumber()));
        default:
            return fail(strWhat + "not " + MessageText::quote(m_tokens.getText()));
        }
    }

    bool expectNumber(const char* in_what, double& out_dNumber)
    {
        if (!expect(TextGridTokens::NUMBER, in_what))
            return false;
        out_dNumber = m_tokens.getNumber();
        return true;
    }

    bool expectCount(const char* in_what, std::size_t& out_uiCount)
    {
        double dCount = 0.0;
        if (!expectNumber(in_what, dCount))
            return false;
        // Every item takes bytes of the file: a larger count cannot be met.
        if (dCount < 0.0 || dCount > static_cast<double>(LabelFormat::MOST_BYTES) ||
            dCount != std::floor(dCount))
            return fail(std::string(in_what) + " cannot be " + MessageText::toText(dCount));
        out_uiCount = static_cast<std::size_t>(dCount);
        return true;
    }

    bool readHeader(std::size_t& out_uiTiers)
    {
        double dTime = 0.0;
        if (!expect(TextGridTokens::TEXT, "the type of file, \"ooTextFile\",") ||
            !m_tokens.getText().starts_with("ooTextFile"))
            return fail("it is no TextGrid saved as a text file");
        if (!expect(TextGridTokens::TEXT, "the class \"TextGrid\""))
            return false;
        if (m_tokens.getText() != "TextGrid")
            return fail("it holds an object of the class " + MessageText::quote(m_tokens.getText()) +
                        ", no TextGrid");
        if (!expectNumber("the start of the grid", dTime) || !expectNumber("the end of the grid", dTime) ||
            !expect(TextGridTokens::FLAG, "the flag <exists>"))
            return false;
        out_uiTiers = 0;
        return m_tokens.getText() != "exists" || expectCount("the number of tiers", out_uiTiers);
    }

    bool readTier()
    {
        double dTime = 0.0;
        std::size_t uiItems = 0;
        if (!expect(TextGridTokens::TEXT, "the class of a tier"))
            return false;
        const bool bPoints = m_tokens.getText() == POINTS;
        if (!bPoints && m_tokens.getText() != INTERVALS)
            return fail("there is no class of tiers " + MessageText::quote(m_tokens.getText()));
        if (!expect(TextGridTokens::TEXT, "the name of a tier"))
            return false;
        m_vTiers.push_back(m_tokens.getText());
        if (!expectNumber("the start of the tier", dTime) || !expectNumber("the end of the tier", dTime) ||
            !expectCount("the number of its items", uiItems))
            return false;
        const bool bWanted = m_options.m_vTiers.empty() || isWanted(m_vTiers.back());
        for (std::size_t i = 0; i < uiItems; ++i)
            if (!(bPoints ? readPoint(bWanted) : readInterval(bWanted)))
                return false;
        return true;
    }

    /// One without a label is a gap.
    bool readInterval(bool in_bWanted)
    {
        LabelSpan span;
        if (!expectNumber("the start of an interval", span.m_dStart) ||
            !expectNumber("the end of an interval", span.m_dStop) ||
            !expect(TextGridTokens::TEXT, "the label of an interval"))
            return false;
        span.m_strLabel = m_tokens.getText();
        if (!in_bWanted || span.m_strLabel.empty())
            return true;
        return add(span, m_tokens.getLine(), m_vSpans, m_fault);
    }

    bool readPoint(bool in_bWanted)
    {
        LabelSpan span;
        if (!expectNumber("the time of a point", span.m_dStart) ||
            !expect(TextGridTokens::TEXT, "the mark of a point"))
            return false;
        span.m_dStop = span.m_dStart;
        span.m_strLabel = m_tokens.getText();
        return !in_bWanted || add(span, m_tokens.getLine(), m_vSpans, m_fault);
    }

    bool isWanted(const std::string& in_strTier) const
    {
        return std::find(m_options.m_vTiers.begin(), m_options.m_vTiers.end(), in_strTier) !=
               m_options.m_vTiers.end();
    }

    bool haveWantedTiers()
    {
        for (const std::string& strWanted : m_options.m_vTiers)
        {
            if (std::find(m_vTiers.begin(), m_vTiers.end(), strWanted) != m_vTiers.end())
                continue;
            std::string strTiers;
            for (const std::string& strTier : m_vTiers)
                strTiers += (strTiers.empty() ? "" : ", ") + MessageText::quote(strTier);
            return refuse(m_fault, 0,
                          "it has no tier " + MessageText::quote(strWanted) + ", only " +
                              MessageText::cut(strTiers, MOST_LISTED));
        }
        return true;
    }

    TextGridTokens m_tokens;
    const LabelReadOptions& m_options;
    std::vector<LabelSpan>& m_vSpans;
    LabelFault& m_fault;
    StringVector m_vTiers;
};

/// The intervals of a tier must not overlap, nor may two points have one time: each label goes into the first
/// tier of its kind that has room for it.
class TextGridWriter final : public LabelWriter
{
public:
    explicit TextGridWriter(double in_dSeconds)
        : m_dEnd(in_dSeconds)
    {
    }

    bool add(const LabelSpan& in_span, std::string&) override
    {
        const bool bPoint = in_span.m_dStart == in_span.m_dStop;
        if (!bPoint && in_span.m_strLabel.empty())
            return refuse(in_span, "cannot be told from a gap of a TextGrid, which has an empty text too");
        m_dEnd = std::max(m_dEnd, in_span.m_dStop);
        for (Tier& tier : m_vTiers)
            if (tier.m_bPoints == bPoint && tier.insert(in_span))
                return true;
        if (m_vTiers.size() == MOST_TIERS)
            return refuse(in_span, "overlaps too many others");
        m_vTiers.push_back({bPoint, {in_span}});
        return true;
    }

    void setSeconds(double in_dSeconds) override { m_dEnd = std::max(m_dEnd, in_dSeconds); }

    void end(std::string& io_strText) override
    {
        io_strText += "File type = \"ooTextFile\"\nObject class = \"TextGrid\"\n\nxmin = 0 \nxmax = " +
                      formatPlain(m_dEnd) + " \ntiers? <exists> \nsize = " + std::to_string(m_vTiers.size()) +
                      " \nitem []: \n";
        for (std::size_t i = 0; i < m_vTiers.size(); ++i)
            m_vTiers[i].write(getName(i), i + 1, m_dEnd, io_strText);
    }

private:
    struct Tier
    {
        bool m_bPoints;
        std::vector<LabelSpan> m_vSpans; ///< in the order of time

        /// False where there is no room.
        bool insert(const LabelSpan& in_span)
        {
            const auto itNext = std::lower_bound(m_vSpans.begin(), m_vSpans.end(), in_span.m_dStart,
                                                 [](const LabelSpan& in_other, double in_dTime)
                                                 { return in_other.m_dStart < in_dTime; });
            const bool bFits =
                (itNext == m_vSpans.begin() || std::prev(itNext)->m_dStop <= in_span.m_dStart) &&
                (itNext == m_vSpans.end() ||
                 (itNext->m_dStart >= in_span.m_dStop && itNext->m_dStart > in_span.m_dStart));
            if (bFits)
                m_vSpans.insert(itNext, in_span);
            return bFits;
        }

        void write(const std::string& in_strName, std::size_t in_uiNumber, double in_dEnd,
                   std::string& io_strText) const
        {
            std::string strItems;
            std::size_t uiItems = 0;
            double dTime = 0.0;
            for (const LabelSpan& span : m_vSpans)
            {
                if (!m_bPoints && span.m_dStart > dTime)
                    strItems += interval(++uiItems, dTime, span.m_dStart, {});
                strItems += m_bPoints ? point(++uiItems, span)
                                      : interval(++uiItems, span.m_dStart, span.m_dStop, span.m_strLabel);
                dTime = span.m_dStop;
            }
            if (!m_bPoints && in_dEnd > dTime)
                strItems += interval(++uiItems, dTime, in_dEnd, {});
            io_strText += "    item [" + std::to_string(in_uiNumber) + "]:\n        class = \"" +
                          (m_bPoints ? POINTS : INTERVALS) + "\" \n        name = \"" + in_strName +
                          "\" \n        xmin = 0 \n        xmax = " + formatPlain(in_dEnd) + " \n        " +
                          (m_bPoints ? "points" : "intervals") + ": size = " + std::to_string(uiItems) +
                          " \n" + strItems;
        }

        static std::string interval(std::size_t in_uiNumber, double in_dStart, double in_dStop,
                                    const std::string& in_strLabel)
        {
            return "        intervals [" + std::to_string(in_uiNumber) +
                   "]:\n            xmin = " + formatPlain(in_dStart) +
                   " \n            xmax = " + formatPlain(in_dStop) +
                   " \n            text = " + quote(in_strLabel) + " \n";
        }

        static std::string point(std::size_t in_uiNumber, const LabelSpan& in_span)
        {
            return "        points [" + std::to_string(in_uiNumber) +
                   "]:\n            number = " + formatPlain(in_span.m_dStart) +
                   " \n            mark = " + quote(in_span.m_strLabel) + " \n";
        }

        static std::string quote(const std::string& in_strText)
        {
            std::string strQuoted = "\"";
            for (const char c : in_strText)
                strQuoted.append(c == '"' ? 2 : 1, c);
            return strQuoted + '"';
        }
    };

    /// "labels", "labels 2"... and "points"...
    std::string getName(std::size_t in_uiTier) const
    {
        const auto itTier = m_vTiers.begin() + static_cast<std::ptrdiff_t>(in_uiTier);
        const auto iEarlier =
            std::count_if(m_vTiers.begin(), itTier,
                          [&](const Tier& in_tier) { return in_tier.m_bPoints == itTier->m_bPoints; });
        return std::string(itTier->m_bPoints ? "points" : "labels") +
               (iEarlier == 0 ? "" : ' ' + std::to_string(iEarlier + 1));
    }

    double m_dEnd;
    std::vector<Tier> m_vTiers;
};

} // namespace

bool readTextGrid(std::string_view in_text, const LabelReadOptions& in_options,
                  std::vector<LabelSpan>& out_vSpans, LabelFault& out_fault)
{
    return TextGridReader(in_text, in_options, out_vSpans, out_fault).run();
}

std::unique_ptr<LabelWriter> newTextGridWriter(const LabelWriteOptions& in_options)
{
    return std::make_unique<TextGridWriter>(in_options.m_dSeconds);
}

} // namespace Vexalor
