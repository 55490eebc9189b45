#include "inspect/Inspection.h"

#include "report/PatternSource.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

using Rows = std::vector<AudioClassStatistics::Row>;

/// By what the user says, else by the generator, else by numbers.
StringVector nameTargets(const StringVector& in_vNames, const Rows& in_vRows, std::size_t in_uiTargets)
{
    if (in_vNames.size() == in_uiTargets)
        return in_vNames;
    const StringVector vOfTones = PatternSource::getClassNamesOfTones();
    if (in_vRows.size() > in_uiTargets && in_uiTargets == vOfTones.size())
        return vOfTones; // the rows are the tones that are looked for, one after the other
    StringVector vNames;
    for (std::size_t i = 0; i < in_uiTargets; ++i)
        vNames.push_back(in_vRows.size() == in_uiTargets ? in_vRows[i].m_strClass
                                                         : "class " + std::to_string(i));
    return vNames;
}

/// Those of recordings are counted by the generators.
Rows countClasses(const Rows& in_vRows, const PatternStatistics& in_patterns, const StringVector& in_vNames)
{
    if (!in_vRows.empty() || !in_patterns.areClasses())
        return in_vRows;
    Rows vRows(in_vNames.size());
    for (std::size_t i = 0; i < vRows.size(); ++i)
    {
        vRows[i].m_strClass = in_vNames[i];
        vRows[i].m_uiPatterns = in_patterns.getClassPatterns()[i];
    }
    return vRows;
}

void findInputs(const InputStatistics& in_inputs, DataFacts& io_facts)
{
    const std::vector<InputColumn>& vColumns = in_inputs.getColumns();
    const std::vector<std::size_t> vFirst = in_inputs.findEqual();
    std::vector<std::vector<std::size_t>> vGroups(vColumns.size());
    for (std::size_t i = 0; i < vColumns.size(); ++i)
    {
        if (!vColumns[i].isFinite())
            io_facts.m_vNotFiniteInputs.push_back(i);
        if (vColumns[i].isConstant())
            io_facts.m_vConstantInputs.push_back(i);
        else
            vGroups[vFirst[i]].push_back(i);
    }
    std::copy_if(vGroups.begin(), vGroups.end(), std::back_inserter(io_facts.m_vEqualInputs),
                 [](const std::vector<std::size_t>& in_vGroup) { return in_vGroup.size() > 1; });
}

DataFacts makeFacts(const InspectedData& in_data, InspectedPart& io_whole,
                    const StringVector& in_vTargetNames)
{
    const PatternStatistics& patterns = io_whole.getPatterns();
    DataFacts facts;
    facts.m_vClasses = countClasses(io_whole.m_statistics.m_vRows, patterns, in_vTargetNames);
    facts.m_vConfiguredClasses = in_data.m_vConfiguredClasses;
    facts.m_uiPatterns = io_whole.m_uiPatterns;
    facts.m_uiWithoutTarget = io_whole.m_uiWithoutTarget;
    facts.m_uiSeveralClasses = patterns.getNbSeveralClasses();
    facts.m_uiMisfits = io_whole.getNbMisfits();
    facts.m_uiInputs = patterns.getNbInputs();
    findInputs(patterns.getInputs(), facts);
    facts.m_vFeatureRates = in_data.m_vFeatureRates;
    facts.m_vWithoutPattern = io_whole.m_survey.findWithoutPattern(io_whole.m_delivered);
    facts.m_vUnchanging = std::move(io_whole.m_vUnchanging);
    facts.m_vStops = std::move(io_whole.m_vStops);
    facts.m_survey = std::move(io_whole.m_survey);
    return facts;
}

} // namespace

Inspection makeInspection(const InspectedData& in_data, InspectedPart in_whole,
                          std::uint64_t in_uiLeastPatterns)
{
    const PatternStatistics& patterns = in_whole.getPatterns();
    Inspection inspection;
    inspection.m_data = in_data;
    inspection.m_uiTargets = patterns.getNbTargets();
    inspection.m_vTargetNames =
        nameTargets(in_data.m_vClassNames, in_whole.m_statistics.m_vRows, patterns.getNbTargets());
    inspection.m_bClasses = patterns.areClasses();
    inspection.m_uiWithoutClass = patterns.getNbWithoutClass();
    inspection.m_sequences = in_whole.m_sequences;
    inspection.m_facts = makeFacts(in_data, in_whole, inspection.m_vTargetNames);
    inspection.m_vFindings = in_data.m_vFindings;
    for (Finding& finding : findProblems(inspection.m_facts, in_uiLeastPatterns))
        inspection.m_vFindings.push_back(std::move(finding));
    sortFindings(inspection.m_vFindings);
    if (!in_whole.m_vSizes.empty())
        inspection.m_inputs = in_whole.m_vSizes.front().takeInputs();
    return inspection;
}

} // namespace Vexalor::MachineLearning
