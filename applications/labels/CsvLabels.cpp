#include "labels/LabelReading.h"
#include "quillcast-core/MessageText.h"

#include <algorithm>
#include <array>
#include <utility>

namespace Vexalor
{

namespace
{

using namespace LabelReading;

enum Column
{
    START,
    STOP,
    LABEL,
    LOW,
    HIGH,
    NB_COLUMNS
};

constexpr const char* COLUMN_NAMES[NB_COLUMNS] = {"start_s", "stop_s", "label", "low_hz", "high_hz"};
constexpr std::size_t MISSING = static_cast<std::size_t>(-1);

/// Records of comma-separated fields as RFC 4180 has them; lines may end with LF alone.
class CsvRecords
{
public:
    CsvRecords(std::string_view in_text, LabelFault& out_fault)
        : m_rest(in_text)
        , m_fault(out_fault)
    {
    }

    bool atEnd() const { return m_rest.empty(); }
    /// Line on which the record began that was read last.
    std::size_t getLine() const { return m_uiRecordLine; }

    /// The fields of the next record; one empty field for an empty line. False, with the fault, when it is
    /// none.
    bool next(StringVector& out_vFields)
    {
        out_vFields.clear();
        m_uiRecordLine = m_uiLine;
        do
        {
            out_vFields.emplace_back();
            if (!(m_rest.starts_with('"') ? takeQuoted(out_vFields.back()) : takePlain(out_vFields.back())))
                return false;
        } while (skipOne(','));
        skipOne('\r');
        m_uiLine += skipOne('\n') ? 1 : 0;
        return true;
    }

private:
    bool skipOne(char in_c)
    {
        const bool bThere = m_rest.starts_with(in_c);
        m_rest.remove_prefix(bThere ? 1 : 0);
        return bThere;
    }

    bool takePlain(std::string& out_strField)
    {
        std::string_view field = m_rest.substr(0, m_rest.find_first_of(",\n"));
        if (field.ends_with('\r') && m_rest.substr(field.size()).starts_with('\n'))
            field.remove_suffix(1);
        m_rest.remove_prefix(field.size());
        out_strField = field;
        return field.find('"') == std::string_view::npos ||
               refuse(m_fault, m_uiLine, "a quote stands inside a field that does not begin with one");
    }

    bool takeQuoted(std::string& out_strField)
    {
        const std::size_t uiBegun = m_uiLine;
        const char* separator = "";
        do
        {
            out_strField.append(std::exchange(separator, "\""));
            m_rest.remove_prefix(1);
            const std::size_t uiQuote = m_rest.find('"');
            if (uiQuote == std::string_view::npos)
                return refuse(m_fault, uiBegun, "a quote that begins here has no end");
            const std::string_view part = m_rest.substr(0, uiQuote);
            m_uiLine += static_cast<std::size_t>(std::count(part.begin(), part.end(), '\n'));
            out_strField.append(part);
            m_rest.remove_prefix(uiQuote + 1);
        } while (m_rest.starts_with('"'));
        return m_rest.empty() || m_rest.find_first_of(",\r\n") == 0 ||
               refuse(m_fault, m_uiLine, "something stands between a closing quote and the next comma");
    }

    std::string_view m_rest;
    LabelFault& m_fault;
    std::size_t m_uiLine = 1;
    std::size_t m_uiRecordLine = 1;
};

class CsvReader
{
public:
    CsvReader(std::string_view in_text, std::vector<LabelSpan>& out_vSpans, LabelFault& out_fault)
        : m_records(in_text, out_fault)
        , m_vSpans(out_vSpans)
        , m_fault(out_fault)
    {
    }

    bool run()
    {
        if (m_records.atEnd())
            return refuse(m_fault, 0, "it is empty; the first line names the columns");
        if (!m_records.next(m_vFields) || !readHeader())
            return false;
        while (!m_records.atEnd())
            if (!m_records.next(m_vFields) || !readRecord())
                return false;
        return true;
    }

private:
    bool readHeader()
    {
        m_uiFields = m_vFields.size();
        for (std::size_t i = 0; i < NB_COLUMNS; ++i)
        {
            const auto itField = std::find(m_vFields.begin(), m_vFields.end(), COLUMN_NAMES[i]);
            m_columns[i] = itField == m_vFields.end()
                               ? MISSING
                               : static_cast<std::size_t>(std::distance(m_vFields.begin(), itField));
            if (std::count(m_vFields.begin(), m_vFields.end(), COLUMN_NAMES[i]) > 1)
                return refuse(m_fault, 1, std::string("two columns are named ") + COLUMN_NAMES[i]);
            if (m_columns[i] == MISSING && i <= LABEL)
                return refuse(m_fault, 1,
                              std::string("no column is named ") + COLUMN_NAMES[i] +
                                  "; the first line names the columns, separated by commas: start_s, stop_s "
                                  "and label are needed");
        }
        return true;
    }

    bool readRecord()
    {
        const std::size_t uiLine = m_records.getLine();
        if (m_vFields.size() == 1 && m_vFields[0].empty() && m_uiFields > 1)
            return true;
        if (m_vFields.size() != m_uiFields)
            return refuse(m_fault, uiLine,
                          "it has " + std::to_string(m_vFields.size()) + " fields, the first line has " +
                              std::to_string(m_uiFields));
        LabelSpan span;
        double dLow = -1.0;
        double dHigh = -1.0;
        if (!readNumber(START, span.m_dStart) || !readNumber(STOP, span.m_dStop) || !readNumber(LOW, dLow) ||
            !readNumber(HIGH, dHigh))
            return false;
        span.m_strLabel = m_vFields[m_columns[LABEL]];
        return setBand(dLow, dHigh, uiLine, span, m_fault) && add(span, uiLine, m_vSpans, m_fault);
    }

    /// An empty frequency is none.
    bool readNumber(Column in_column, double& io_dNumber)
    {
        const std::size_t uiColumn = m_columns[in_column];
        if (uiColumn == MISSING || (in_column > LABEL && m_vFields[uiColumn].empty()))
            return true;
        return parseNumber(m_vFields[uiColumn], io_dNumber) ||
               refuse(m_fault, m_records.getLine(),
                      MessageText::quote(m_vFields[uiColumn]) + " is no number, in column " +
                          COLUMN_NAMES[in_column]);
    }

    CsvRecords m_records;
    std::vector<LabelSpan>& m_vSpans;
    LabelFault& m_fault;
    StringVector m_vFields;
    std::size_t m_uiFields = 0;
    std::array<std::size_t, NB_COLUMNS> m_columns{};
};

class CsvWriter final : public LabelWriter
{
public:
    explicit CsvWriter(unsigned int in_uiDecimals)
        : m_uiDecimals(in_uiDecimals)
    {
    }

    void begin(std::string& io_strText) override
    {
        for (std::size_t i = 0; i < NB_COLUMNS; ++i)
            io_strText.append(COLUMN_NAMES[i]) += i + 1 < NB_COLUMNS ? ',' : '\n';
    }

    bool add(const LabelSpan& in_span, std::string& io_strText) override
    {
        io_strText += formatPlain(in_span.m_dStart, m_uiDecimals) + ',' +
                      formatPlain(in_span.m_dStop, m_uiDecimals) + ',' + quote(in_span.m_strLabel) + ',' +
                      (in_span.m_low ? formatPlain(*in_span.m_low) : "") + ',' +
                      (in_span.m_high ? formatPlain(*in_span.m_high) : "") + '\n';
        return true;
    }

private:
    static std::string quote(const std::string& in_strText)
    {
        if (in_strText.find_first_of(",\"\r\n") == std::string::npos)
            return in_strText;
        std::string strQuoted = "\"";
        for (const char c : in_strText)
            strQuoted.append(c == '"' ? 2 : 1, c);
        return strQuoted + '"';
    }

    unsigned int m_uiDecimals;
};

} // namespace

bool readCsvLabels(std::string_view in_text, const LabelReadOptions&, std::vector<LabelSpan>& out_vSpans,
                   LabelFault& out_fault)
{
    return CsvReader(in_text, out_vSpans, out_fault).run();
}

std::unique_ptr<LabelWriter> newCsvLabelWriter(const LabelWriteOptions& in_options)
{
    return std::make_unique<CsvWriter>(in_options.m_uiDecimals);
}

} // namespace Vexalor
