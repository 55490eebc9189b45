#include "ml-config/GeneratorOutlook.h"

#include "MLAudioSetDataGeneratorForToneDetector.h"
#include "MLAudioSetDataGeneratorForVad.h"
#include "MLAudioSetDataGenerators.h"
#include "MLBinaryFileDataGenerator.h"
#include "MLScalingDataGenerator.h"
#include "MLVectorFileDataGenWithFeatureComputer.h"
#include "ml-config/ClassNames.h"

#include <algorithm>
#include <charconv>
#include <cmath>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr std::uint32_t USUAL_RATE = 8000;
constexpr std::size_t USUAL_WINDOW = 200;
/// Values that a trial may compute and keep in tables; far more than any sensible feature needs.
constexpr double MAX_TRIAL_COST = 1 << 24;

double toNumber(const std::string& in_strText)
{
    double dValue = 0.0;
    std::from_chars(in_strText.data(), in_strText.data() + in_strText.size(), dValue);
    return dValue;
}

std::string countOf(std::size_t in_uiCount, const char* in_what)
{
    return std::to_string(in_uiCount) + " " + in_what + (in_uiCount == 1 ? "" : "s");
}

std::string countOfEach(std::size_t in_uiInputs, std::size_t in_uiTargets)
{
    return countOf(in_uiInputs, "input") + " and " + countOf(in_uiTargets, "target");
}

/// Values of a field of ours, wherever it stands.
std::vector<double> findNumbers(const ConfigurationEntries& in_entries, const char* in_field)
{
    std::vector<double> vNumbers;
    for (const ConfigurationEntry& entry : in_entries)
    {
        if (entry.m_pField != nullptr && !entry.m_bItem && entry.m_strName == in_field)
            vNumbers.push_back(toNumber(entry.m_strValue));
    }
    return vNumbers;
}

bool isClassName(const ConfigurationEntry& in_entry)
{
    return in_entry.m_pField != nullptr && in_entry.m_pField->m_name == "m_vClasses";
}

/// An upper bound; a configuration may ask for more than the machine has.
double estimateCost(const ConfigurationEntries& in_entries, std::size_t in_uiWindow)
{
    const auto iItems = std::count_if(in_entries.begin(), in_entries.end(),
                                      [](const ConfigurationEntry& in_entry)
                                      { return in_entry.m_bItem && !isClassName(in_entry); });
    double dCost = static_cast<double>(in_uiWindow) * static_cast<double>(iItems + 1);
    for (const double dSize : findNumbers(in_entries, "m_uiFftSize"))
        dCost += dSize;
    double dMostBands = 0.0;
    for (const double dBands : findNumbers(in_entries, "m_uiNbBands"))
        dMostBands = std::max(dMostBands, dBands);
    for (const double dCepstra : findNumbers(in_entries, "m_uiNbCepstra"))
        dCost += dCepstra * dMostBands;
    return dCost;
}

/// How many features a window of silence has; 0, with the fault, when they cannot be computed.
std::size_t countFeatures(const CloneableObjPtr<FeatureComputer>& in_pComputer,
                          const ConfigurationEntries& in_entries, std::size_t in_uiWindow,
                          std::string& out_strFault)
{
    const CloneableObjPtr<FeatureComputer> pComputer = in_pComputer;
    auto* pInputs = dynamic_cast<FeatureComputerWithInputs*>(pComputer.get());
    DoubleVector vFeatures;
    if (pComputer.isNull())
        out_strFault = "there is no feature computer";
    else if (estimateCost(in_entries, in_uiWindow) > MAX_TRIAL_COST)
        out_strFault = "windows and features are too large to be tried";
    else if (const DoubleVector vSilence(in_uiWindow);
             pInputs == nullptr || !pInputs->setInput("audio", vSilence) ||
             !pInputs->computeFeatures(vFeatures) || vFeatures.empty())
        out_strFault =
            "the features of a window of " + countOf(in_uiWindow, "sample") + " cannot be computed";
    return vFeatures.size();
}

/// A generator that reads recordings, and what it makes of the classes that its configuration names.
struct AudioView
{
    const AudioFileDataGenerator::Config* m_pConfig = nullptr; ///< null: it reads none
    std::size_t m_uiFurtherInputs = 0;
    bool m_bOneByOne = false; ///< each class against all others, in its own pass

    StringVector getClasses() const
    {
        StringVector vClasses = m_pConfig->m_vClasses;
        if (m_bOneByOne)
            vClasses.emplace_back("OTHER");
        return vClasses;
    }
    std::size_t countTargets() const
    {
        return m_bOneByOne ? 2 : MachineLearning::countTargets(m_pConfig->m_vClasses);
    }
};

template <class Set>
void takeSet(const DataGenerator& in_generator, AudioView& io_view)
{
    if (const auto* pSet = dynamic_cast<const Set*>(&in_generator))
        io_view.m_pConfig = &pSet->getConfig().m_dataGenConfig;
}

template <class... Sets>
void takeSets(const DataGenerator& in_generator, AudioView& io_view)
{
    (takeSet<Sets>(in_generator, io_view), ...);
}

AudioView makeAudioView(const DataGenerator& in_generator)
{
    AudioView view;
    takeSets<AudioSetDataGenerator, LowMemoryAudioSetDataGenerator,
             LowMemoryAudioSetDataGeneratorForWidebandToneDetector,
             LowMemoryAudioSetDataGeneratorForAMToneDetector, LowMemoryVadAudioSetDataGenerator>(in_generator,
                                                                                                 view);
    if (const auto* pAudio = dynamic_cast<const AudioFileDataGenerator*>(&in_generator))
        view.m_pConfig = &pAudio->getConfig();
    if (const auto* pVad = dynamic_cast<const AudioSetDataGeneratorForVad*>(&in_generator))
        view.m_pConfig = &pVad->getConfig().m_audioGenConfig;
    if (const auto* pTones = dynamic_cast<const AudioSetDataGeneratorForToneDetector*>(&in_generator))
        view = {&pTones->getConfig().m_audioGenConfig, pTones->getConfig().m_bConstantInput ? 1u : 0u, true};
    return view;
}

/// What is amiss about smoothing; empty if nothing is.
std::string describeSmoothing(const DataGenerator& in_generator)
{
    const auto* pVad = dynamic_cast<const AudioSetDataGeneratorForVad*>(&in_generator);
    if (pVad == nullptr || pVad->getConfig().m_uiIncertitudeWindows == 0 ||
        pVad->getConfig().m_uiDebouncingWindows >= 2)
        return {};
    return "windows of incertitude need at least 2 debouncing windows: as it is, they have nothing to do "
           "with "
           "the end of voice";
}

class AudioExaminer
{
public:
    AudioExaminer(const AudioView& in_view, const ConfigurationEntries& in_entries)
        : m_view(in_view)
        , m_config(*in_view.m_pConfig)
        , m_entries(in_entries)
        , m_vRates(findNumbers(in_entries, "m_dSamplingRate"))
    {
    }

    GeneratorOutlook examine()
    {
        examineWindows();
        examineRates();
        if (m_outlook.m_strFault.empty())
            tryFeatures();
        for (std::string& strRemark : describeClasses(m_view.getClasses()))
            m_outlook.m_vRemarks.push_back(std::move(strRemark));
        return std::move(m_outlook);
    }

private:
    /// That of the recordings, as far as the configuration tells.
    std::uint32_t getRate() const
    {
        if (m_config.m_audioConfig.m_uiSamplingRate != 0)
            return m_config.m_audioConfig.m_uiSamplingRate;
        const bool bUsable = !m_vRates.empty() && m_vRates.front() >= 1.0 && m_vRates.front() < 1e9;
        return bUsable ? static_cast<std::uint32_t>(m_vRates.front()) : USUAL_RATE;
    }

    void examineWindows()
    {
        const LinearAudioWindower::Config& windows = m_config.m_audioConfig;
        if (!windows.getWindowSize(getRate(), m_size, m_outlook.m_strFault))
            return;
        if (windows.m_uiSamplingRate == 0)
            remark("any rate of recordings is taken");
        remark("windows of " + std::to_string(m_size.m_uiLength) + " samples every " +
               std::to_string(m_size.m_uiShift) + " samples, at " + std::to_string(getRate()) + " Hz");
        if (m_size.m_uiShift > m_size.m_uiLength)
            remark("windows do not touch: " + std::to_string(m_size.m_uiShift - m_size.m_uiLength) +
                   " samples between two of them are not looked at");
    }

    void examineRates()
    {
        const std::uint32_t uiRate = m_config.m_audioConfig.m_uiSamplingRate;
        if (uiRate == 0 && !m_vRates.empty())
            remark("the features have a rate of their own: they are right for recordings of that rate only");
        if (uiRate != 0 && std::any_of(m_vRates.begin(), m_vRates.end(),
                                       [&](double in_dRate) { return in_dRate != uiRate; }))
            remark("the rate of the features is not that of the recordings: their frequencies are wrong");
    }

    void tryFeatures()
    {
        const std::size_t uiFeatures =
            countFeatures(m_config.m_pFeatureComputer, m_entries, m_size.m_uiLength, m_outlook.m_strFault);
        if (m_outlook.m_strFault.empty())
            m_outlook.m_strPatterns =
                countOfEach(uiFeatures + m_view.m_uiFurtherInputs, m_view.countTargets()) + " a pattern";
    }

    void remark(std::string in_strText) { m_outlook.m_vRemarks.push_back(std::move(in_strText)); }

    const AudioView& m_view;
    const AudioFileDataGenerator::Config& m_config;
    const ConfigurationEntries& m_entries;
    std::vector<double> m_vRates; ///< of the features
    WindowSize m_size;
    GeneratorOutlook m_outlook;
};

/// The file tells how long its windows are; they are tried with a usual length.
GeneratorOutlook examineFeaturesOfFile(const VectorFileDataGenWithFeatureComputer::Config& in_config,
                                       const ConfigurationEntries& in_entries)
{
    GeneratorOutlook outlook;
    const std::size_t uiFeatures =
        countFeatures(in_config.m_pFeatureComputer, in_entries, USUAL_WINDOW, outlook.m_strFault);
    if (outlook.m_strFault.empty())
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
            outlook.m_vRemarks.emplace_back("there is a scaling, so what is learnt will not be used");
        if (std::any_of(vParams.begin(), vParams.end(),
                        [](const auto& in_param) { return in_param.m_bMinMax && in_param.m_bStandardize; }))
            outlook.m_strFault = "a component cannot be standardized and scaled to an interval";
        return outlook;
    }
    outlook.m_strPatterns =
        countOfEach(scaling.m_vInputSlope.size(), scaling.m_vTargetSlope.size()) + " a pattern are scaled";
    if (scaling.m_vInputSlope.size() != scaling.m_vInputYIntercept.size() ||
        scaling.m_vTargetSlope.size() != scaling.m_vTargetYIntercept.size())
        outlook.m_vRemarks.emplace_back(
            "there are not as many slopes as intercepts: components that lack one stay as they are");
    if (!isFinite(scaling.m_vInputSlope) || !isFinite(scaling.m_vInputYIntercept) ||
        !isFinite(scaling.m_vTargetSlope) || !isFinite(scaling.m_vTargetYIntercept))
        outlook.m_vRemarks.emplace_back(
            "some slopes or intercepts are not finite: what was learnt from had one value only there, or "
            "values that cannot be scaled");
    return outlook;
}

} // namespace

GeneratorOutlook examineGenerator(const DataGenerator& in_generator, const ConfigurationEntries& in_entries)
{
    if (const auto* pScaling = dynamic_cast<const ScalingDataGenerator*>(&in_generator))
        return examineScaling(pScaling->getConfig());
    GeneratorOutlook outlook;
    const AudioView view = makeAudioView(in_generator);
    if (view.m_pConfig != nullptr)
    {
        outlook = AudioExaminer(view, in_entries).examine();
        const std::string strRemark = describeSmoothing(in_generator);
        if (!strRemark.empty())
            outlook.m_vRemarks.push_back(strRemark);
        return outlook;
    }
    if (const auto* pFeatures = dynamic_cast<const VectorFileDataGenWithFeatureComputer*>(&in_generator))
        return examineFeaturesOfFile(pFeatures->getConfig(), in_entries);
    if (dynamic_cast<const VectorFileDataGenerator*>(&in_generator) != nullptr ||
        dynamic_cast<const BinaryFileDataGenerator*>(&in_generator) != nullptr)
        outlook.m_strPatterns = "inputs and targets of the sizes that the pattern file has";
    return outlook;
}

} // namespace Vexalor::MachineLearning
