#include "detector/FeatureTrial.h"

#include <algorithm>
#include <charconv>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr std::uint32_t USUAL_RATE = 8000;
/// Values that a trial may compute and keep in tables: 8 MiB, far more than any sensible feature needs.
constexpr double MAX_TRIAL_COST = 1 << 20;
/// What a feature computer keeps for each sample of a window or of a transform, and for each frequency of
/// each sample.
constexpr double VALUES_A_SAMPLE = 8.0;
constexpr double VALUES_A_FREQUENCY = 2.0;

void collectNumbers(const ArchiveElement& in_parent, const std::string& in_strField,
                    std::vector<double>& io_vNumbers)
{
    for (const ArchiveElement& element : in_parent.m_vElements)
    {
        const std::string& strText = element.m_strValue;
        if (element.m_strName == in_strField && element.m_kind == ArchiveElement::Kind::VALUE)
            std::from_chars(strText.data(), strText.data() + strText.size(), io_vNumbers.emplace_back());
        collectNumbers(element, in_strField, io_vNumbers);
    }
}

std::size_t countItems(const ArchiveElement& in_parent)
{
    std::size_t uiItems = 0;
    for (const ArchiveElement& element : in_parent.m_vElements)
    {
        if (element.m_kind == ArchiveElement::Kind::LIST && element.m_strName != "m_vClasses")
            uiItems += element.m_vElements.size();
        uiItems += countItems(element);
    }
    return uiItems;
}

/// An upper bound; a configuration may ask for more than the machine has.
double estimateCost(const ArchiveElement& in_root, std::size_t in_uiWindow)
{
    double dCost = static_cast<double>(in_uiWindow) *
                   (VALUES_A_SAMPLE + VALUES_A_FREQUENCY * static_cast<double>(countItems(in_root)));
    for (const double dSize : findNumbers(in_root, "m_uiFftSize"))
        dCost += VALUES_A_SAMPLE * dSize;
    double dMostBands = 0.0;
    for (const double dBands : findNumbers(in_root, "m_uiNbBands"))
        dMostBands = std::max(dMostBands, dBands);
    for (const double dCepstra : findNumbers(in_root, "m_uiNbCepstra"))
        dCost += dCepstra * dMostBands;
    return dCost;
}

} // namespace

std::vector<double> findNumbers(const ArchiveElement& in_root, const char* in_field)
{
    std::vector<double> vNumbers;
    collectNumbers(in_root, in_field, vNumbers);
    return vNumbers;
}

std::uint32_t findTrialRate(const LinearAudioWindower::Config& in_windows, const ArchiveElement& in_generator)
{
    if (in_windows.m_uiSamplingRate != 0)
        return in_windows.m_uiSamplingRate;
    const std::vector<double> vRates = findNumbers(in_generator, "m_dSamplingRate");
    const bool bUsable = !vRates.empty() && vRates.front() >= 1.0 && vRates.front() < 1e9;
    return bUsable ? static_cast<std::uint32_t>(vRates.front()) : USUAL_RATE;
}

std::size_t countFeatures(const CloneableObjPtr<FeatureComputer>& in_pComputer,
                          const ArchiveElement& in_generator, std::size_t in_uiWindow,
                          std::string& out_strFault)
{
    const CloneableObjPtr<FeatureComputer> pComputer = in_pComputer;
    auto* pInputs = dynamic_cast<FeatureComputerWithInputs*>(pComputer.get());
    DoubleVector vFeatures;
    if (pComputer.isNull())
        out_strFault = "there is no feature computer";
    else if (estimateCost(in_generator, in_uiWindow) > MAX_TRIAL_COST)
        out_strFault = "windows and features are too large to be tried";
    else if (const DoubleVector vSilence(in_uiWindow);
             pInputs == nullptr || !pInputs->setInput("audio", vSilence) ||
             !pInputs->computeFeatures(vFeatures) || vFeatures.empty())
        out_strFault =
            "the features of a window of " + countOf(in_uiWindow, "sample") + " cannot be computed";
    return vFeatures.size();
}

std::string countOf(std::size_t in_uiCount, const char* in_what)
{
    return std::to_string(in_uiCount) + " " + in_what + (in_uiCount == 1 ? "" : "s");
}

} // namespace Vexalor::MachineLearning
