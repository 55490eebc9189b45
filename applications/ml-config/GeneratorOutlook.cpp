#include "ml-config/GeneratorOutlook.h"

#include "MLGeneratorFacts.h"
#include "MLScalingDataGenerator.h"
#include "detector/FeatureTrial.h"
#include "ml-config/ClassNames.h"
#include "quillcast-audio/ToneAnnotations.h"

#include <algorithm>
#include <cmath>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr std::size_t USUAL_WINDOW = 200;

std::string countOfEach(std::size_t in_uiInputs, std::size_t in_uiTargets)
{
    return countOf(in_uiInputs, "input") + " and " + countOf(in_uiTargets, "target");
}

class AudioExaminer
{
public:
    AudioExaminer(const GeneratorFacts& in_facts, const ArchiveElement& in_root)
        : m_facts(in_facts)
        , m_windows(*in_facts.m_windows)
        , m_root(in_root)
        , m_vRates(findNumbers(in_root, "m_dSamplingRate"))
    {
    }

    GeneratorOutlook examine()
    {
        examineWindows();
        examineRates();
        if (m_outlook.m_strFault.empty())
            tryFeatures();
        if (m_facts.m_uiIncertitudeWindows != 0 && m_facts.m_uiDebouncingWindows < 2)
            warn(
                "windows of incertitude need at least 2 debouncing windows: as it is, they have nothing to do"
                " with the end of voice");
        for (const std::string& strClass : m_facts.m_vEmptyClasses)
            warn("no annotation can belong to class '" + strClass + "': " +
                 (AmplitudeModulatedAnnotationImpl().setLabel(strClass)
                      ? "a tolerance is larger than its frequency"
                      : "it is no amplitude-modulated tone"));
        for (std::string& strRemark : describeClasses(m_facts.m_vClasses))
            remark(std::move(strRemark));
        m_outlook.m_vFeatureRates = m_vRates;
        return std::move(m_outlook);
    }

private:
    std::uint32_t getRate() const { return findTrialRate(m_windows, m_root); }

    void examineWindows()
    {
        if (!m_windows.getWindowSize(getRate(), m_size, m_outlook.m_strFault))
            return;
        if (m_windows.m_uiSamplingRate == 0)
            remark("any rate of recordings is taken");
        remark("windows of " + std::to_string(m_size.m_uiLength) + " samples every " +
               std::to_string(m_size.m_uiShift) + " samples, at " + std::to_string(getRate()) + " Hz");
        if (m_size.m_uiShift > m_size.m_uiLength)
            remark("windows do not touch: " + std::to_string(m_size.m_uiShift - m_size.m_uiLength) +
                   " samples between two of them are not looked at");
    }

    void examineRates()
    {
        const std::uint32_t uiRate = m_windows.m_uiSamplingRate;
        if (uiRate == 0 && !m_vRates.empty())
            remark("the features have a rate of their own: they are right for recordings of that rate only");
        if (uiRate != 0 && std::any_of(m_vRates.begin(), m_vRates.end(),
                                       [&](double in_dRate) { return in_dRate != uiRate; }))
            warn("the rate of the features is not that of the recordings: their frequencies are wrong");
    }

    void tryFeatures()
    {
        const std::size_t uiFeatures =
            countFeatures(m_facts.m_pFeatureComputer.value_or(CloneableObjPtr<FeatureComputer>()), m_root,
                          m_size.m_uiLength, m_outlook.m_strFault);
        if (m_outlook.m_strFault.empty())
            m_outlook.m_strPatterns =
                countOfEach(uiFeatures + m_facts.m_uiFurtherInputs, m_facts.m_uiTargets) + " a pattern";
    }

    void remark(std::string in_strText) { m_outlook.m_vRemarks.push_back(std::move(in_strText)); }
    void warn(std::string in_strText) { m_outlook.m_vWarnings.push_back(std::move(in_strText)); }

    const GeneratorFacts& m_facts;
    const LinearAudioWindower::Config& m_windows;
    const ArchiveElement& m_root;
    std::vector<double> m_vRates; ///< of the features
    WindowSize m_size;
    GeneratorOutlook m_outlook;
};

/// A pattern file tells how long its inputs are; features are tried with windows of a usual length.
GeneratorOutlook examinePatternFile(const GeneratorFacts& in_facts, const ArchiveElement& in_root)
{
    GeneratorOutlook outlook;
    outlook.m_strPatterns = "inputs and targets of the sizes that the pattern file has";
    if (!in_facts.m_pFeatureComputer.has_value())
        return outlook;
    const std::size_t uiFeatures =
        countFeatures(*in_facts.m_pFeatureComputer, in_root, USUAL_WINDOW, outlook.m_strFault);
    outlook.m_strPatterns = countOf(uiFeatures, "input") + " a pattern, from windows of " +
                            countOf(USUAL_WINDOW, "sample") +
                            " in the pattern file, and the targets of the file";
    return outlook;
}

bool isFinite(const DoubleVector& in_vVector)
{
    return std::all_of(in_vVector.begin(), in_vVector.end(), [](double in_d) { return std::isfinite(in_d); });
}

GeneratorOutlook examineScaling(const ScalingDataGenerator::Config& in_config)
{
    const VectorScaler::Config& scaling = in_config.m_scalerConfig;
    const auto& vParams = in_config.m_scalingTrainerConfig.m_vTrainingParam;
    GeneratorOutlook outlook;
    if (in_config.m_bLearnScalingParameters)
    {
        outlook.m_strPatterns = "the scaling of " + countOf(vParams.size(), "component") +
                                ", inputs and targets together, is learnt in two passes before the first";
        if (!(scaling == VectorScaler::Config()))
            outlook.m_vWarnings.emplace_back("there is a scaling, so what is learnt will not be used");
        if (std::any_of(vParams.begin(), vParams.end(),
                        [](const auto& in_param) { return in_param.m_bMinMax && in_param.m_bStandardize; }))
            outlook.m_strFault = "a component cannot be standardized and scaled to an interval";
        return outlook;
    }
    outlook.m_strPatterns =
        countOfEach(scaling.m_vInputSlope.size(), scaling.m_vTargetSlope.size()) + " a pattern are scaled";
    if (scaling.m_vInputSlope.size() != scaling.m_vInputYIntercept.size() ||
        scaling.m_vTargetSlope.size() != scaling.m_vTargetYIntercept.size())
        outlook.m_vWarnings.emplace_back(
            "there are not as many slopes as intercepts: components that lack one stay as they are");
    if (!isFinite(scaling.m_vInputSlope) || !isFinite(scaling.m_vInputYIntercept) ||
        !isFinite(scaling.m_vTargetSlope) || !isFinite(scaling.m_vTargetYIntercept))
        outlook.m_vWarnings.emplace_back(
            "some slopes or intercepts are not finite: what was learnt from had one value only there, or "
            "values that cannot be scaled");
    return outlook;
}

} // namespace

GeneratorOutlook examineGenerator(const DataGenerator& in_generator, const ArchiveElement& in_root)
{
    if (const auto* pScaling = dynamic_cast<const ScalingDataGenerator*>(&in_generator))
        return examineScaling(pScaling->getConfig());
    const auto* pWithFacts = dynamic_cast<const GeneratorWithFacts*>(&in_generator);
    if (pWithFacts == nullptr)
        return {};
    const GeneratorFacts facts = pWithFacts->getFacts();
    return facts.m_windows.has_value() ? AudioExaminer(facts, in_root).examine()
                                       : examinePatternFile(facts, in_root);
}

} // namespace Vexalor::MachineLearning
