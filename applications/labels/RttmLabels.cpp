#include "labels/LabelReading.h"
#include "quillcast-core/MessageText.h"

#include <algorithm>
#include <iterator>
#include <map>

namespace Vexalor
{

namespace
{

using namespace LabelReading;

constexpr std::string_view NOTHING = "<NA>";
constexpr std::string_view BLANKS = " \t";
constexpr std::string_view TURN = "SPEAKER";
/// Lines of the format that are no turns of speakers.
constexpr std::string_view OTHER_TYPES[] = {"SPKR-INFO", "SEGMENT",    "NOSCORE", "NO_RT_METADATA", "LEXEME",
                                            "NON-LEX",   "NON-SPEECH", "FILLER",  "EDIT",           "IP",
                                            "SU",        "CB",         "A/P",     "NOEVAL"};

std::vector<std::string_view> splitFields(std::string_view in_line)
{
    std::vector<std::string_view> vFields;
    while (true)
    {
        in_line.remove_prefix(std::min(in_line.find_first_not_of(BLANKS), in_line.size()));
        if (in_line.empty())
            return vFields;
        const std::size_t uiEnd = std::min(in_line.find_first_of(BLANKS), in_line.size());
        vFields.push_back(in_line.substr(0, uiEnd));
        in_line.remove_prefix(uiEnd);
    }
}

/// Lines of type, recording, channel, onset, duration, -, -, speaker, -, and - where it is not left out.
class RttmReader
{
public:
    RttmReader(const LabelReadOptions& in_options, std::vector<LabelSpan>& out_vSpans, LabelFault& out_fault)
        : m_options(in_options)
        , m_vSpans(out_vSpans)
        , m_fault(out_fault)
    {
    }

    bool run(std::string_view in_text)
    {
        for (std::size_t uiLine = 1; !in_text.empty(); ++uiLine)
        {
            const std::vector<std::string_view> vFields = splitFields(takeLine(in_text));
            if (!vFields.empty() && !vFields[0].starts_with(";;") && !readLine(vFields, uiLine))
                return false;
        }
        return chooseRecording() && haveDurations();
    }

private:
    struct Turn
    {
        LabelSpan m_span;
        double m_dDuration;
        std::string_view m_recording;
        std::size_t m_uiLine;
    };

    bool readLine(const std::vector<std::string_view>& in_vFields, std::size_t in_uiLine)
    {
        const std::string_view type = in_vFields[0];
        if (type != TURN &&
            std::find(std::begin(OTHER_TYPES), std::end(OTHER_TYPES), type) != std::end(OTHER_TYPES))
            return true;
        if (type != TURN)
            return refuse(m_fault, in_uiLine, MessageText::quote(type) + " is no type of line");
        if (in_vFields.size() != 9 && in_vFields.size() != 10)
            return refuse(m_fault, in_uiLine,
                          "it has " + std::to_string(in_vFields.size()) + " fields, not 9 or 10");
        Turn turn{{}, 0.0, in_vFields[1], in_uiLine};
        if (!parseNumber(in_vFields[3], turn.m_span.m_dStart))
            return refuse(m_fault, in_uiLine,
                          MessageText::quote(in_vFields[3]) + " is no start time in seconds");
        if (!parseNumber(in_vFields[4], turn.m_dDuration) || turn.m_dDuration < 0.0)
            return refuse(m_fault, in_uiLine,
                          MessageText::quote(in_vFields[4]) + " is no duration in seconds");
        turn.m_span.m_dStop = turn.m_span.m_dStart + turn.m_dDuration;
        turn.m_span.m_strLabel = in_vFields[7] == NOTHING ? "" : in_vFields[7];
        if (!add(turn.m_span, in_uiLine, m_vSpans, m_fault))
            return false;
        m_vTurns.push_back(std::move(turn));
        return true;
    }

    /// The turns of this recording; all where there is only one.
    bool chooseRecording()
    {
        m_vSpans.clear();
        const auto isOther = [&](const Turn& in_turn)
        {
            return in_turn.m_recording != m_options.m_strRecording;
        };
        if (m_vTurns.empty() || std::none_of(m_vTurns.begin(), m_vTurns.end(), isOther))
            return true;
        const bool bHasOwn = !std::all_of(m_vTurns.begin(), m_vTurns.end(), isOther);
        const auto itSecond = std::find_if(m_vTurns.begin(), m_vTurns.end(),
                                           [&](const Turn& in_turn)
                                           { return in_turn.m_recording != m_vTurns.front().m_recording; });
        if (bHasOwn)
            std::erase_if(m_vTurns, isOther);
        else if (itSecond != m_vTurns.end())
            return refuse(m_fault, itSecond->m_uiLine,
                          "it tells of the recordings " + MessageText::quote(m_vTurns.front().m_recording) +
                              " and " + MessageText::quote(itSecond->m_recording) + ", and of none named " +
                              MessageText::quote(m_options.m_strRecording));
        return true;
    }

    /// Some programs write stop times in place of durations. It shows where turns of one speaker overlap, or
    /// reach past the end of the recording, and as stop times no single one would.
    bool haveDurations()
    {
        const bool bMayBeStops =
            std::all_of(m_vTurns.begin(), m_vTurns.end(),
                        [](const Turn& in_turn) { return in_turn.m_dDuration > in_turn.m_span.m_dStart; });
        const Turn* pOdd = bMayBeStops && findOdd(true) == nullptr ? findOdd(false) : nullptr;
        if (pOdd != nullptr)
            return refuse(m_fault, pOdd->m_uiLine,
                          "its fifth field seems to be a stop time where a duration is expected");
        for (const Turn& turn : m_vTurns)
            m_vSpans.push_back(turn.m_span);
        return true;
    }

    const Turn* findOdd(bool in_bStops) const
    {
        std::map<std::string_view, double> reached; // of each speaker
        for (const Turn& turn : m_vTurns)
        {
            const double dStop = in_bStops ? turn.m_dDuration : turn.m_span.m_dStop;
            const auto [itReached, bFirst] = reached.try_emplace(turn.m_span.m_strLabel, dStop);
            if (!bFirst && turn.m_span.m_dStart < itReached->second)
                return &turn;
            if (m_options.m_dSeconds > 0.0 && dStop > m_options.m_dSeconds + LEAST_EXCESS)
                return &turn;
            itReached->second = std::max(itReached->second, dStop);
        }
        return nullptr;
    }

    /// Seconds by which rounding may let a turn reach past the end.
    static constexpr double LEAST_EXCESS = 0.1;

    const LabelReadOptions& m_options;
    std::vector<LabelSpan>& m_vSpans;
    LabelFault& m_fault;
    std::vector<Turn> m_vTurns;
};

class RttmWriter final : public LabelWriter
{
public:
    explicit RttmWriter(const LabelWriteOptions& in_options)
        : m_strRecording(in_options.m_strRecording.empty() ? std::string(NOTHING) : in_options.m_strRecording)
        , m_uiDecimals(in_options.m_uiDecimals)
    {
        for (char& c : m_strRecording)
            c = isBlank(c) ? '_' : c;
    }

    bool add(const LabelSpan& in_span, std::string& io_strText) override
    {
        const std::string& strLabel = in_span.m_strLabel;
        if (strLabel == NOTHING || std::any_of(strLabel.begin(), strLabel.end(), isBlank))
            return refuse(in_span, "cannot be a field of RTTM");
        io_strText += std::string(TURN) + ' ' + m_strRecording + " 1 " +
                      formatPlain(in_span.m_dStart, m_uiDecimals) + ' ' +
                      formatPlain(in_span.m_dStop - in_span.m_dStart, m_uiDecimals) + " <NA> <NA> " +
                      (strLabel.empty() ? std::string(NOTHING) : strLabel) + " <NA> <NA>\n";
        return true;
    }

private:
    /// A field ends at these and at a zero byte.
    static bool isBlank(char in_c)
    {
        return std::string_view(" \t\r\n\0", 5).find(in_c) != std::string_view::npos;
    }

    std::string m_strRecording;
    unsigned int m_uiDecimals;
};

} // namespace

bool readRttm(std::string_view in_text, const LabelReadOptions& in_options,
              std::vector<LabelSpan>& out_vSpans, LabelFault& out_fault)
{
    return RttmReader(in_options, out_vSpans, out_fault).run(in_text);
}

std::unique_ptr<LabelWriter> newRttmWriter(const LabelWriteOptions& in_options)
{
    return std::make_unique<RttmWriter>(in_options);
}

} // namespace Vexalor
