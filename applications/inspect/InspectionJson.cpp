#include "inspect/InspectionJson.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

namespace Vexalor::MachineLearning
{

namespace
{

using Json = nlohmann::ordered_json;

constexpr int VERSION = 1;
constexpr std::size_t MAX_COLUMNS = 32;

Json makePatterns(const Inspection& in_inspection)
{
    const DataFacts& facts = in_inspection.m_facts;
    return {{"all", facts.m_uiPatterns},
            {"without_target", facts.m_uiWithoutTarget},
            {"without_class", in_inspection.m_uiWithoutClass},
            {"several_classes", facts.m_uiSeveralClasses},
            {"misfits", facts.m_uiMisfits}};
}

Json makeClasses(const DataFacts& in_facts)
{
    Json classes = Json::array();
    for (const AudioClassStatistics::Row& row : in_facts.m_vClasses)
    {
        Json json{{"name", row.m_strClass}, {"patterns", row.m_uiPatterns}};
        if (!in_facts.m_survey.m_vListed.empty())
            json.update({{"seconds", double{row.m_dSeconds}},
                         {"annotated_seconds", double{row.m_dAnnotatedSeconds}},
                         {"events", row.m_uiEvents},
                         {"unseen_events", row.m_uiUnseenEvents}});
        classes.push_back(std::move(json));
    }
    return classes;
}

/// Null where there is no such class, or no pattern without it.
Json makeSeparation(const ValueBins& in_bins, std::size_t in_uiClasses)
{
    Json areas = Json::array();
    double dBest = 0.0;
    Json best = nullptr;
    for (std::size_t i = 0; i < in_uiClasses; ++i)
    {
        const AreaUnderCurve::Area area = in_bins.getArea(i);
        const bool bKnown = std::isfinite(area.m_dValue);
        areas.push_back(bKnown ? Json{{"area", area.m_dValue}, {"error", area.m_dError}} : Json(nullptr));
        const double dSeparation = std::max(area.m_dValue, 1.0 - area.m_dValue);
        // Of two classes both have the same, but for rounding.
        if (!bKnown || dSeparation <= dBest + 1e-9)
            continue;
        dBest = dSeparation;
        best = {{"class", i}, {"value", dSeparation}, {"error", area.m_dError}};
    }
    return {{"best", best}, {"classes", std::move(areas)}};
}

Json makeHistogram(const ValueBins& in_bins, std::size_t in_uiClasses)
{
    const ValueBins::Histogram histogram = in_bins.getHistogram(MAX_COLUMNS);
    Json counts = Json::array();
    Json classes(in_uiClasses, Json::array());
    for (const ValueBins::Counts& column : histogram.m_vColumns)
    {
        counts.push_back(column.m_uiAll);
        for (std::size_t i = 0; i < in_uiClasses; ++i)
            classes[i].push_back(column.m_vClasses[i]);
    }
    return {{"lower_edge", histogram.m_dLowerEdge},
            {"width", histogram.m_dWidth},
            {"counts", std::move(counts)},
            {"classes", in_uiClasses == 0 ? Json::array() : std::move(classes)}};
}

Json makeInputs(const Inspection& in_inspection)
{
    Json inputs = Json::array();
    const std::vector<InputColumn>& vColumns = in_inspection.m_inputs.getColumns();
    const std::vector<std::size_t> vFirst = in_inspection.m_inputs.findEqual();
    const std::size_t uiClasses = in_inspection.m_bClasses ? in_inspection.m_uiTargets : 0;
    for (std::size_t i = 0; i < vColumns.size(); ++i)
    {
        const InputColumn& column = vColumns[i];
        const bool bAny = column.m_moments.m_uiCount != 0;
        const bool bBinned = i < in_inspection.m_inputs.getNbBinned() && bAny;
        inputs.push_back({{"finite", column.m_moments.m_uiCount},
                          {"not_a_number", column.m_uiNotANumber},
                          {"infinite", column.m_uiInfinite},
                          {"least", bAny ? Json(column.m_moments.m_dLeast) : Json(nullptr)},
                          {"greatest", bAny ? Json(column.m_moments.m_dGreatest) : Json(nullptr)},
                          {"mean", bAny ? Json(column.m_moments.getMean()) : Json(nullptr)},
                          {"deviation", bAny ? Json(column.m_moments.getDeviation()) : Json(nullptr)},
                          {"constant", column.isConstant()},
                          {"equal_to", vFirst[i] == i ? Json(nullptr) : Json(vFirst[i])},
                          {"separation", bBinned && uiClasses != 0 ? makeSeparation(column.m_bins, uiClasses)
                                                                   : Json(nullptr)},
                          {"histogram", bBinned ? makeHistogram(column.m_bins, uiClasses) : Json(nullptr)}});
    }
    return inputs;
}

Json makeRecordings(const DataFacts& in_facts)
{
    const RecordingSurvey& survey = in_facts.m_survey;
    if (survey.m_vListed.empty())
        return nullptr;
    Json skipped = Json::array();
    for (const RecordingSurvey::Skipped& recording : survey.m_vSkipped)
        skipped.push_back({{"name", recording.m_strName}, {"reason", recording.m_strReason}});
    Json rates = Json::array();
    for (const auto& [uiRate, rate] : survey.m_rates)
        rates.push_back({{"rate_hz", uiRate}, {"recordings", rate.m_uiRecordings}});
    return {{"listed", survey.m_vListed.size()},
            {"used", survey.m_vUsable.size() - in_facts.m_vWithoutPattern.size()},
            {"skipped", std::move(skipped)},
            {"without_pattern", in_facts.m_vWithoutPattern},
            {"rates", std::move(rates)},
            {"repeated", survey.findRepeated()},
            {"without_annotation", survey.m_vWithoutAnnotation},
            {"annotated_past_end", survey.m_vBeyond},
            {"unchanging", in_facts.m_vUnchanging}};
}

Json makeLabels(const RecordingSurvey& in_survey)
{
    Json labels = Json::array();
    for (const auto& [strLabel, label] : in_survey.m_labels)
        labels.push_back({{"label", strLabel},
                          {"annotations", label.m_uiAnnotations},
                          {"seconds", double{label.m_dSeconds}},
                          {"taken", label.m_bTaken}});
    return labels;
}

Json makeFindings(const std::vector<Finding>& in_vFindings)
{
    Json findings = Json::array();
    for (const Finding& finding : in_vFindings)
        findings.push_back({{"severity", toText(finding.m_severity)}, {"text", finding.m_strText}});
    return findings;
}

} // namespace

nlohmann::ordered_json makeInspectionJson(const Inspection& in_inspection)
{
    const DataFacts& facts = in_inspection.m_facts;
    return {{"schema", "vexalor-data-inspection"},
            {"version", VERSION},
            {"configuration", in_inspection.m_data.m_strConfiguration},
            {"inputs_from", in_inspection.m_data.m_vInputFiles},
            {"complete", facts.m_vStops.empty()},
            {"findings", makeFindings(in_inspection.m_vFindings)},
            {"patterns", makePatterns(in_inspection)},
            {"input_size", facts.m_uiInputs},
            {"target_size", in_inspection.m_uiTargets},
            {"sequences", in_inspection.m_sequences ? Json(*in_inspection.m_sequences) : Json(nullptr)},
            {"targets", in_inspection.m_vTargetNames},
            {"classes", makeClasses(facts)},
            {"inputs", makeInputs(in_inspection)},
            {"recordings", makeRecordings(facts)},
            {"labels", makeLabels(facts.m_survey)},
            {"further_labels", facts.m_survey.m_uiFurtherLabels}};
}

} // namespace Vexalor::MachineLearning
