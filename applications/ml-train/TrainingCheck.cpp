#include "ml-train/TrainingCheck.h"

#include "MLDataGeneratorFactory.h"
#include "common/PatternSet.h"
#include "ml-config/GeneratorOutlook.h"
#include "quillcast-core/Logger.h"

#include <algorithm>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.TrainingCheck");

constexpr const char* INSIST_OPTION = "insist";
constexpr const char* STRICT_OPTION = "strict";
constexpr const char* LEAST_OPTION = "least-patterns";

using Severity = Finding::Severity;

std::size_t countOnes(const double* in_pTarget, std::size_t in_uiSize)
{
    return static_cast<std::size_t>(std::count(in_pTarget, in_pTarget + in_uiSize, 1.0));
}

/// Targets that are no classes have other values.
bool isClassTarget(const double* in_pTarget, std::size_t in_uiSize)
{
    return std::all_of(in_pTarget, in_pTarget + in_uiSize,
                       [](double in_d) { return in_d == 0.0 || in_d == 1.0 || in_d == -1.0; });
}

void log(const Finding& in_finding, Severity in_severity)
{
    if (in_severity == Severity::NOTE)
        QC_INFO(in_finding.m_strText);
    else if (in_severity == Severity::WARNING)
        QC_WARN(in_finding.m_strText);
    else
        QC_ERROR(in_finding.m_strText);
}

} // namespace

void TrainingCheck::addOptions(options_description& io_options)
{
    auto addOption = io_options.add_options();
    addOption(INSIST_OPTION, bool_switch(), "train on data from which nothing can be learnt, too");
    addOption(LEAST_OPTION, value<unsigned int>()->value_name("N")->default_value(20),
              "warn of a class with fewer patterns");
}

void TrainingCheck::takeOptions(const variables_map& in_map)
{
    m_bInsist = in_map[INSIST_OPTION].as<bool>();
    m_bStrict = in_map[STRICT_OPTION].as<bool>();
    m_uiLeastPatterns = in_map[LEAST_OPTION].as<unsigned int>();
}

void TrainingCheck::addSource(DataGenerator& io_generator)
{
    QC_TRACE("TrainingCheck::addSource");
    m_facts.m_survey.add(io_generator);
    m_facts.m_vConfiguredClasses = getClasses(io_generator);
    if (!m_facts.m_vFeatureRates.empty())
        return;
    DescribingArchive archive;
    describeDataGenerator(archive, {}, io_generator);
    m_facts.m_vFeatureRates = examineGenerator(io_generator, archive.finish().m_root).m_vFeatureRates;
}

void TrainingCheck::addPass(const DataGenerator& in_generator)
{
    QC_TRACE("TrainingCheck::addPass");
    const auto* pStatistics = dynamic_cast<const AudioClassStatisticsSource*>(&in_generator);
    if (pStatistics != nullptr)
        pStatistics->addStatistics(m_statistics);
}

/// Of recordings the generators have counted.
void TrainingCheck::countClasses(const PatternSet& in_patterns)
{
    const std::size_t uiTargets = in_patterns.getTargetSize();
    std::vector<AudioClassStatistics::Row> vRows(uiTargets);
    bool bClasses = true;
    for (std::size_t i = 0; i < in_patterns.size(); ++i)
    {
        const double* const pTarget = in_patterns.getTarget(i);
        bClasses = bClasses && isClassTarget(pTarget, uiTargets);
        m_facts.m_uiSeveralClasses += bClasses && countOnes(pTarget, uiTargets) > 1 ? 1 : 0;
        for (std::size_t j = 0; j < uiTargets; ++j)
            vRows[j].m_uiPatterns += pTarget[j] == 1.0 ? 1 : 0;
    }
    for (std::size_t j = 0; j < uiTargets; ++j)
        vRows[j].m_strClass = "class " + std::to_string(j);
    if (!m_statistics.m_vRows.empty())
        m_facts.m_vClasses = m_statistics.m_vRows;
    else if (bClasses)
        m_facts.m_vClasses = std::move(vRows);
}

bool TrainingCheck::accept(const PatternSet& in_patterns)
{
    QC_TRACE("TrainingCheck::accept");
    if (in_patterns.size() == 0)
        return true; // the training tells
    m_facts.m_uiPatterns = in_patterns.size() + in_patterns.getNbSkipped();
    m_facts.m_uiWithoutTarget = in_patterns.getNbSkipped();
    m_facts.m_uiInputs = in_patterns.getInputSize();
    countClasses(in_patterns);
    DoubleVector vMean;
    DoubleVector vFactor;
    in_patterns.getInputScaling(vMean, vFactor);
    for (std::size_t i = 0; i < vFactor.size(); ++i)
        if (vFactor[i] == 0.0)
            m_facts.m_vConstantInputs.push_back(i);
    // Told by the generators themselves, and judged by SetWatch.
    m_facts.m_survey.m_vSkipped.clear();
    bool bAccepted = true;
    for (const Finding& finding : findProblems(m_facts, m_uiLeastPatterns))
    {
        Severity severity = finding.m_severity;
        if (m_bStrict && severity == Severity::WARNING)
            severity = Severity::ERROR;
        if (m_bInsist && severity == Severity::ERROR)
            severity = Severity::WARNING;
        log(finding, severity);
        bAccepted = bAccepted && severity != Severity::ERROR;
    }
    if (!bAccepted)
        QC_ERROR("Not trained, for the reasons above; --" << INSIST_OPTION << " trains all the same");
    return bAccepted;
}

} // namespace Vexalor::MachineLearning
