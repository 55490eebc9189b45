#include "labels/LabelReading.h"
#include "labels/TextEncoding.h"
#include "quillcast-core/MessageText.h"

#include <nlohmann/json.hpp>

namespace Vexalor
{

namespace
{

using namespace LabelReading;
using Json = nlohmann::json;

/// Characters that are counted by lines as they are read.
class LineCounter
{
public:
    using iterator_category = std::input_iterator_tag;
    using value_type = char;
    using difference_type = std::ptrdiff_t;
    using pointer = const char*;
    using reference = const char&;

    LineCounter(const char* in_pNext, std::size_t* io_pLine)
        : m_pNext(in_pNext)
        , m_pLine(io_pLine)
    {
    }

    reference operator*() const { return *m_pNext; }
    LineCounter& operator++()
    {
        *m_pLine += *m_pNext == '\n' ? 1 : 0;
        ++m_pNext;
        return *this;
    }
    friend bool operator==(const LineCounter& in_left, const LineCounter& in_right)
    {
        return in_left.m_pNext == in_right.m_pNext;
    }

private:
    const char* m_pNext;
    std::size_t* m_pLine;
};

/// Takes the events of a parser: an array of objects, whose members of other names may be anything. Memory is
/// that of the labels, whatever the file holds.
class JsonReader : public nlohmann::json_sax<Json>
{
public:
    JsonReader(std::vector<LabelSpan>& out_vSpans, LabelFault& out_fault)
        : m_vSpans(out_vSpans)
        , m_fault(out_fault)
    {
    }

    bool run(std::string_view in_text)
    {
        const LineCounter begin(in_text.data(), &m_uiLine);
        const LineCounter end(in_text.data() + in_text.size(), &m_uiLine);
        return Json::sax_parse(begin, end, this);
    }

    bool null() override { return take(-1.0, nullptr, true); }
    bool boolean(bool) override { return acceptOther() && isInside(); }
    bool number_integer(number_integer_t in_iValue) override
    {
        return take(static_cast<double>(in_iValue), nullptr, false);
    }
    bool number_unsigned(number_unsigned_t in_uiValue) override
    {
        return take(static_cast<double>(in_uiValue), nullptr, false);
    }
    bool number_float(number_float_t in_dValue, const string_t&) override
    {
        return take(in_dValue, nullptr, false);
    }
    bool string(string_t& in_strValue) override { return take(0.0, &in_strValue, false); }
    bool binary(binary_t&) override { return false; }

    bool start_array(std::size_t) override
    {
        if (m_uiDepth > 0 && !(isInside() && acceptOther()))
            return false;
        ++m_uiDepth;
        return true;
    }
    bool end_array() override
    {
        --m_uiDepth;
        return true;
    }

    bool start_object(std::size_t) override
    {
        if (m_uiDepth == 0)
            return expectArray();
        const bool bMember = m_uiDepth >= LABEL_DEPTH;
        if (bMember && !acceptOther())
            return false;
        ++m_uiDepth;
        if (bMember)
            return true;
        m_span = LabelSpan();
        m_bStart = m_bStop = m_bLabel = false;
        m_dLow = m_dHigh = -1.0;
        return true;
    }
    bool key(string_t& in_strName) override
    {
        if (m_uiDepth == LABEL_DEPTH)
            m_strMember = in_strName;
        return true;
    }
    bool end_object() override
    {
        if (--m_uiDepth != 1)
            return true;
        if (!m_bStart || !m_bStop || !m_bLabel)
            return refuse(m_fault, m_uiLine, "the object that ends here lacks start_s, stop_s or label");
        return setBand(m_dLow, m_dHigh, m_uiLine, m_span, m_fault) &&
               LabelReading::add(m_span, m_uiLine, m_vSpans, m_fault);
    }

    bool parse_error(std::size_t, const std::string& in_strToken,
                     const nlohmann::detail::exception& in_exception) override
    {
        const std::string strReason = in_exception.what();
        return refuse(m_fault, m_uiLine,
                      in_exception.id == OUT_OF_RANGE
                          ? "number " + MessageText::cut(in_strToken) + " is out of range"
                          : "it is no JSON" + MessageText::cut(cutPlace(strReason), MOST_REASON));
    }

private:
    static constexpr std::size_t LABEL_DEPTH = 2;
    static constexpr int OUT_OF_RANGE = 406;
    /// Bytes of the parser's reason, which quotes the text.
    static constexpr std::size_t MOST_REASON = 160;

    /// The parser's reason without its number and its own count of lines.
    static std::string cutPlace(const std::string& in_strReason)
    {
        const std::size_t uiBegin = in_strReason.find(": ");
        return uiBegin == std::string::npos ? "" : in_strReason.substr(uiBegin);
    }

    bool expectArray() { return refuse(m_fault, m_uiLine, "an array of objects is expected"); }
    /// Values stand in objects, which stand in the array.
    bool isInside() { return m_uiDepth >= LABEL_DEPTH || expectArray(); }

    /// For a value that no known member may have: false when it is one.
    bool acceptOther()
    {
        for (const char* member : {"start_s", "stop_s", "label", "low_hz", "high_hz"})
            if (m_uiDepth <= LABEL_DEPTH && m_strMember == member)
                return refuse(m_fault, m_uiLine, m_strMember + " has a value of the wrong type");
        return true;
    }

    bool take(double in_dValue, const std::string* in_pText, bool in_bNull)
    {
        if (!isInside())
            return false;
        if (m_uiDepth > LABEL_DEPTH)
            return true;
        if (m_strMember == "label" && in_pText != nullptr)
        {
            m_span.m_strLabel = *in_pText;
            m_bLabel = true;
            return true;
        }
        if (in_pText != nullptr || m_strMember == "label")
            return acceptOther();
        if (m_strMember == "low_hz")
            m_dLow = in_dValue;
        else if (m_strMember == "high_hz")
            m_dHigh = in_dValue;
        else if (in_bNull)
            return acceptOther();
        else if (m_strMember == "start_s")
            m_span.m_dStart = in_dValue;
        else if (m_strMember == "stop_s")
            m_span.m_dStop = in_dValue;
        m_bStart = m_bStart || m_strMember == "start_s";
        m_bStop = m_bStop || m_strMember == "stop_s";
        return true;
    }

    std::vector<LabelSpan>& m_vSpans;
    LabelFault& m_fault;
    std::size_t m_uiLine = 1;
    std::size_t m_uiDepth = 0;
    std::string m_strMember; ///< of the object of a label
    LabelSpan m_span;
    bool m_bStart = false;
    bool m_bStop = false;
    bool m_bLabel = false;
    double m_dLow = -1.0;
    double m_dHigh = -1.0;
};

/// A label a line; those after the first begin with a comma, so that each line is whole when it comes.
class JsonLabelWriter final : public LabelWriter
{
public:
    explicit JsonLabelWriter(unsigned int in_uiDecimals)
        : m_uiDecimals(in_uiDecimals)
    {
    }

    void begin(std::string& io_strText) override { io_strText += "[\n"; }
    bool add(const LabelSpan& in_span, std::string& io_strText) override
    {
        io_strText += (m_bFirst ? "{\"start_s\":" : ",{\"start_s\":") +
                      formatPlain(in_span.m_dStart, m_uiDecimals) +
                      ",\"stop_s\":" + formatPlain(in_span.m_dStop, m_uiDecimals) +
                      ",\"label\":" + Json(TextEncoding::toUtf8(in_span.m_strLabel)).dump() +
                      (in_span.m_low ? ",\"low_hz\":" + formatPlain(*in_span.m_low) : "") +
                      (in_span.m_high ? ",\"high_hz\":" + formatPlain(*in_span.m_high) : "") + "}\n";
        m_bFirst = false;
        return true;
    }
    void end(std::string& io_strText) override { io_strText += "]\n"; }

private:
    unsigned int m_uiDecimals;
    bool m_bFirst = true;
};

} // namespace

bool readJsonLabels(std::string_view in_text, const LabelReadOptions&, std::vector<LabelSpan>& out_vSpans,
                    LabelFault& out_fault)
{
    return JsonReader(out_vSpans, out_fault).run(in_text);
}

std::unique_ptr<LabelWriter> newJsonLabelWriter(const LabelWriteOptions& in_options)
{
    return std::make_unique<JsonLabelWriter>(in_options.m_uiDecimals);
}

} // namespace Vexalor
