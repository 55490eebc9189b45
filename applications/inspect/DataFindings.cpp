#include "inspect/DataFindings.h"

#include "inspect/NearestName.h"
#include "report/ReportText.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace Vexalor::MachineLearning
{

namespace
{

using Row = AudioClassStatistics::Row;
using Severity = Finding::Severity;

/// Names in a message.
constexpr std::size_t MAX_NAMES = 5;

std::string countOf(std::uint64_t in_uiCount, const std::string& in_strWhat)
{
    return std::to_string(in_uiCount) + ' ' + in_strWhat + (in_uiCount == 1 ? "" : "s");
}

std::string toSeconds(double in_dSeconds)
{
    return ReportText::toNumber(in_dSeconds) + " s";
}

/// "a, b, c and 9 more"
std::string join(const StringVector& in_vNames)
{
    std::string strText;
    for (std::size_t i = 0; i < std::min(in_vNames.size(), MAX_NAMES); ++i)
        strText += (i == 0 ? "" : ", ") + in_vNames[i];
    if (in_vNames.size() > MAX_NAMES)
        strText += " and " + std::to_string(in_vNames.size() - MAX_NAMES) + " more";
    return strText;
}

/// As it stands, unless that would hide a blank at its end.
std::string toName(const std::string& in_strLabel)
{
    const bool bBlank = !in_strLabel.empty() && (in_strLabel.front() == ' ' || in_strLabel.back() == ' ');
    return bBlank ? '\'' + in_strLabel + '\'' : in_strLabel;
}

std::string toRate(double in_dRate)
{
    return std::round(in_dRate) == in_dRate ? ReportText::toFixed(in_dRate, 0)
                                            : ReportText::toNumber(in_dRate);
}

/// "3, 7 to 9"; in rising order.
std::string joinPlaces(const std::vector<std::size_t>& in_vPlaces)
{
    StringVector vRuns;
    for (std::size_t i = 0; i < in_vPlaces.size();)
    {
        std::size_t uiEnd = i + 1;
        while (uiEnd < in_vPlaces.size() && in_vPlaces[uiEnd] == in_vPlaces[uiEnd - 1] + 1)
            ++uiEnd;
        const bool bRun = uiEnd - i > 2;
        vRuns.push_back(std::to_string(in_vPlaces[i]) +
                        (bRun ? " to " + std::to_string(in_vPlaces[uiEnd - 1]) : ""));
        i = bRun ? uiEnd : i + 1;
    }
    return join(vRuns);
}

std::string toInputs(const std::vector<std::size_t>& in_vPlaces)
{
    return (in_vPlaces.size() == 1 ? "input " : "inputs ") + joinPlaces(in_vPlaces);
}

class Judge
{
public:
    Judge(const DataFacts& in_facts, std::uint64_t in_uiLeastPatterns)
        : m_facts(in_facts)
        , m_survey(in_facts.m_survey)
        , m_uiLeastPatterns(in_uiLeastPatterns)
        , m_bOther(std::any_of(in_facts.m_vClasses.begin(), in_facts.m_vClasses.end(),
                               [](const Row& in_row)
                               { return in_row.m_strClass == AudioClassStatistics::OTHER; }))
    {
    }

    std::vector<Finding> judge()
    {
        judgeStream();
        judgeRecordings();
        judgeRates();
        judgeClasses();
        judgeLabels();
        judgeInputs();
        sortFindings(m_vFindings);
        return std::move(m_vFindings);
    }

private:
    void add(Severity in_severity, std::string in_strText)
    {
        m_vFindings.push_back({in_severity, std::move(in_strText)});
    }

    void judgeStream()
    {
        for (const std::string& strStop : m_facts.m_vStops)
            add(Severity::ERROR, "the data cannot be read to their end: " + strStop);
        if (m_facts.m_uiPatterns == 0)
            add(Severity::ERROR, "there is no pattern");
        else if (m_facts.m_uiPatterns == m_facts.m_uiWithoutTarget)
            add(Severity::ERROR, "no pattern has a target");
        if (m_facts.m_uiMisfits != 0)
            add(Severity::ERROR,
                countOf(m_facts.m_uiMisfits, "pattern") + " of other sizes than the first one");
        if (m_facts.m_uiSeveralClasses != 0)
            add(Severity::WARNING,
                countOf(m_facts.m_uiSeveralClasses, "pattern") + " of several classes at once");
    }

    void judgeRecordings()
    {
        for (const RecordingSurvey::Skipped& skipped : m_survey.m_vSkipped)
        {
            const bool bNamed = skipped.m_strReason.find(skipped.m_strName) != std::string::npos;
            add(Severity::WARNING,
                "skipped: " + (bNamed ? "" : skipped.m_strName + ": ") + skipped.m_strReason);
        }
        addRecordings(Severity::WARNING, m_facts.m_vWithoutPattern,
                      m_facts.m_vStops.empty() ? "without a pattern"
                                               : "not reached, since the stream stopped");
        addRecordings(Severity::WARNING, m_survey.findRepeated(), "listed more than once");
        addRecordings(Severity::WARNING, m_survey.m_vWithoutAnnotation,
                      m_bOther ? "without any annotation, wholly OTHER" : "without any annotation");
        addRecordings(Severity::WARNING, m_survey.m_vBeyond,
                      "with an annotation that reaches past the end of the recording");
        addRecordings(Severity::WARNING, m_facts.m_vUnchanging, "whose inputs never change");
    }

    void addRecordings(Severity in_severity, const StringVector& in_vNames, const std::string& in_strWhat)
    {
        if (!in_vNames.empty())
            add(in_severity, std::to_string(in_vNames.size()) + " of " +
                                 countOf(m_survey.m_vListed.size(), "recording") + ' ' + in_strWhat + ": " +
                                 join(in_vNames));
    }

    void judgeRates()
    {
        for (const auto& [uiRate, rate] : m_survey.m_rates)
        {
            const double dRate = uiRate;
            const auto itOther = std::find_if(m_facts.m_vFeatureRates.begin(), m_facts.m_vFeatureRates.end(),
                                              [&](double in_dRate) { return in_dRate != dRate; });
            if (itOther != m_facts.m_vFeatureRates.end())
                add(Severity::ERROR, "the features are for " + toRate(*itOther) + " Hz, but " +
                                         countOf(rate.m_uiRecordings, "recording") + " of " +
                                         std::to_string(uiRate) + " Hz, the first is " + rate.m_strFirst +
                                         ": frequencies are wrong there");
        }
        if (m_survey.m_rates.size() > 1)
            add(Severity::NOTE, "recordings of several rates: " + joinRates());
    }

    std::string joinRates() const
    {
        StringVector vRates;
        for (const auto& [uiRate, rate] : m_survey.m_rates)
            vRates.push_back(std::to_string(rate.m_uiRecordings) + " of " + std::to_string(uiRate) + " Hz");
        return join(vRates);
    }

    void judgeClasses()
    {
        const std::uint64_t uiWithTarget = m_facts.m_uiPatterns - m_facts.m_uiWithoutTarget;
        bool bMissing = false;
        bool bSame = true;
        for (const Row& row : m_facts.m_vClasses)
        {
            bSame = bSame && (row.m_uiPatterns == 0 || row.m_uiPatterns == uiWithTarget);
            bMissing = judgeClass(row) || bMissing;
        }
        judgeLeftOut();
        if (bSame && !bMissing && !m_facts.m_vClasses.empty() && uiWithTarget != 0)
            add(Severity::ERROR, "all targets are the same: there is nothing to learn");
    }

    void judgeLeftOut()
    {
        for (const std::string& strClass : m_facts.m_vConfiguredClasses)
        {
            const auto isIt = [&](const Row& in_row)
            {
                return in_row.m_strClass == strClass;
            };
            if (strClass == AudioClassStatistics::OTHER || m_survey.m_vUsable.empty() ||
                std::any_of(m_facts.m_vClasses.begin(), m_facts.m_vClasses.end(), isIt))
                continue;
            Row row;
            row.m_strClass = strClass;
            add(Severity::WARNING, strClass + " is left out: 0 patterns" + explainMissing(row));
        }
    }

    /// True for an error.
    bool judgeClass(const Row& in_row)
    {
        const bool bOther = in_row.m_strClass == AudioClassStatistics::OTHER;
        if (in_row.m_uiUnseenEvents != 0 && in_row.m_uiPatterns != 0)
            add(Severity::NOTE, in_row.m_strClass + ": " + std::to_string(in_row.m_uiUnseenEvents) + " of " +
                                    countOf(in_row.m_uiEvents, "annotated event") + " are seen by no window");
        if (in_row.m_uiPatterns >= m_uiLeastPatterns)
            return false;
        if (in_row.m_uiPatterns != 0)
            add(Severity::WARNING, in_row.m_strClass + ": " + countOf(in_row.m_uiPatterns, "pattern") +
                                       ", fewer than " + std::to_string(m_uiLeastPatterns));
        else if (bOther)
            add(Severity::WARNING, in_row.m_strClass + ": 0 patterns; other classes cover everything");
        else if (m_facts.m_vClasses.size() > 1)
            add(Severity::ERROR, in_row.m_strClass + ": 0 patterns" + explainMissing(in_row));
        return in_row.m_uiPatterns == 0 && !bOther && m_facts.m_vClasses.size() > 1;
    }

    std::string explainMissing(const Row& in_row) const
    {
        if (m_survey.m_vListed.empty())
            return {};
        if (in_row.m_uiEvents != 0)
            return ", though " + countOf(in_row.m_uiEvents, "annotated event");
        std::string strNearest = findNearestName(in_row.m_strClass, getLabels(false));
        if (strNearest.empty())
            strNearest = findNearestName(in_row.m_strClass, getLabels(true));
        if (!strNearest.empty())
            return "; did you mean " + toName(strNearest) + '?';
        const StringVector vAll = getLabels(true);
        return vAll.empty() ? "; there are no annotations at all" : "; there are annotations " + join(vAll);
    }

    /// All, or those that no class takes.
    StringVector getLabels(bool in_bAll) const
    {
        StringVector vLabels;
        for (const auto& [strLabel, label] : m_survey.m_labels)
            if (in_bAll || !label.m_bTaken)
                vLabels.push_back(strLabel);
        return vLabels;
    }

    StringVector getClasses() const
    {
        StringVector vClasses;
        for (const Row& row : m_facts.m_vClasses)
            if (row.m_strClass != AudioClassStatistics::OTHER)
                vClasses.push_back(row.m_strClass);
        return vClasses;
    }

    /// One that resembles the name of a class is a mistake; the rest may be meant to be OTHER.
    void judgeLabels()
    {
        StringVector vFurther;
        for (const auto& [strLabel, label] : m_survey.m_labels)
        {
            if (label.m_bTaken || strLabel == AudioClassStatistics::OTHER)
                continue;
            const std::string strCounts = " (" + countOf(label.m_uiAnnotations, "annotation") + ", " +
                                          toSeconds(label.m_dSeconds) + ')';
            const std::string strNearest = findNearestName(strLabel, getClasses());
            if (strNearest.empty() || haveOtherNumbers(strLabel, strNearest))
                vFurther.push_back('\'' + strLabel + '\'' + strCounts);
            else
                add(Severity::WARNING, "no class takes the label '" + strLabel + '\'' + strCounts +
                                           "; did you mean " + strNearest + '?');
        }
        if (!vFurther.empty())
            add(Severity::NOTE,
                (vFurther.size() == 1 ? "no class takes the label " : "no class takes the labels ") +
                    join(vFurther) + (m_bOther ? "; that time is OTHER" : ""));
    }

    void judgeInputs()
    {
        if (!m_facts.m_vNotFiniteInputs.empty())
            add(Severity::ERROR, toInputs(m_facts.m_vNotFiniteInputs) + ": values that are not finite");
        const bool bAll = m_facts.m_vConstantInputs.size() == m_facts.m_uiInputs && m_facts.m_uiInputs != 0;
        if (bAll)
            add(Severity::ERROR, "no input ever changes: there is nothing to learn from");
        else if (!m_facts.m_vConstantInputs.empty())
            add(Severity::WARNING,
                toInputs(m_facts.m_vConstantInputs) +
                    (m_facts.m_vConstantInputs.size() == 1 ? " never changes" : " never change"));
        for (const std::vector<std::size_t>& group : m_facts.m_vEqualInputs)
            add(Severity::WARNING, toInputs(group) + " are equal in every pattern");
    }

    const DataFacts& m_facts;
    const RecordingSurvey& m_survey;
    std::uint64_t m_uiLeastPatterns;
    bool m_bOther; ///< among the classes
    std::vector<Finding> m_vFindings;
};

} // namespace

const char* toText(Finding::Severity in_severity)
{
    switch (in_severity)
    {
    case Severity::NOTE:
        return "note";
    case Severity::WARNING:
        return "warning";
    case Severity::ERROR:
        return "error";
    }
    return "";
}

void sortFindings(std::vector<Finding>& io_vFindings)
{
    std::stable_sort(io_vFindings.begin(), io_vFindings.end(),
                     [](const Finding& in_left, const Finding& in_right)
                     { return in_left.m_severity > in_right.m_severity; });
}

std::vector<Finding> findProblems(const DataFacts& in_facts, std::uint64_t in_uiLeastPatterns)
{
    return Judge(in_facts, in_uiLeastPatterns).judge();
}

} // namespace Vexalor::MachineLearning
