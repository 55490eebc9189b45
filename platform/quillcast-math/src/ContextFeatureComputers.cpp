#include "quillcast-math/ContextFeatureComputers.h"

#include "ContextBudget.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.math.ContextFeatureComputer");

static_assert(ContextFeatureComputer::MAX_VALUES == ContextBudget::MOST);

/// Whether so many windows of so many features, each factor below 2^32, are more than may be kept.
bool isTooMuch(std::uint64_t in_uiWindows, std::size_t in_uiFeatures)
{
    return in_uiWindows > ContextFeatureComputer::MAX_VALUES / in_uiFeatures;
}

} // namespace

ContextFeatureComputer::ContextFeatureComputer(const ContextFeatureComputer& in_other)
    : Object(in_other)
    , Cloneable(in_other)
    , Resettable(in_other)
    , FeatureComputer(in_other)
    , FeatureComputerWithInputs(in_other)
    , m_pComputer(in_other.m_pComputer)
    , m_uiFeatures(in_other.m_uiFeatures)
{
}

bool ContextFeatureComputer::setComputer(FeatureComputer* in_pComputer)
{
    QC_TRACE("ContextFeatureComputer::setComputer");
    if (!QC_CHECK(in_pComputer != nullptr))
        return false;
    m_pComputer = CloneableObjPtr<FeatureComputer>(in_pComputer);
    forget();
    return true;
}

void ContextFeatureComputer::forget()
{
    m_pWithInputs = nullptr;
    m_uiFeatures = 0;
}

bool ContextFeatureComputer::reset()
{
    QC_TRACE("ContextFeatureComputer::reset");
    m_uiFeatures = 0;
    return QC_CHECK(!m_pComputer.isNull()) && m_pComputer->reset();
}

bool ContextFeatureComputer::setInput(const char* in_name, const DoubleVector& in_vInput)
{
    QC_TRACE("ContextFeatureComputer::setInput");
    if (!QC_CHECK(!m_pComputer.isNull()))
        return false;
    if (m_pWithInputs == nullptr)
        m_pWithInputs = dynamic_cast<FeatureComputerWithInputs*>(m_pComputer.get());
    return m_pWithInputs == nullptr || m_pWithInputs->setInput(in_name, in_vInput);
}

/// Not to begin with so many features; null for none.
const char* ContextFeatureComputer::findReason(std::size_t in_uiFeatures) const
{
    const char* fault = findFault(in_uiFeatures);
    if (fault == nullptr && !ContextBudget::take(countValues(in_uiFeatures)))
        fault = "with the other computers of the context they are more than 262144 values";
    return fault;
}

bool ContextFeatureComputer::computeFeatures(DoubleVector& out_vFeatures)
{
    QC_TRACE("ContextFeatureComputer::computeFeatures");
    const ContextBudget::Scope scope;
    if (!QC_CHECK(!m_pComputer.isNull()) || !m_pComputer->computeFeatures(m_vFeatures) ||
        !QC_CHECK(!m_vFeatures.empty()))
        return false;
    if (m_uiFeatures != 0 && m_vFeatures.size() != m_uiFeatures)
    {
        QC_ERROR("Cannot set " << m_vFeatures.size() << " features of a window beside " << m_uiFeatures
                               << " of the window before");
        return false;
    }
    if (m_uiFeatures == 0)
    {
        if (const char* fault = findReason(m_vFeatures.size()))
        {
            QC_ERROR("Cannot set " << m_vFeatures.size()
                                   << " features of a window beside those of others: " << fault);
            return false;
        }
        begin(m_vFeatures);
        m_uiFeatures = m_vFeatures.size();
    }
    computeFeatures_i(m_vFeatures, out_vFeatures);
    return true;
}

void FeatureHistory::fill(std::size_t in_uiWindows, const DoubleVector& in_vFeatures)
{
    m_uiWindows = in_uiWindows;
    m_uiFeatures = in_vFeatures.size();
    m_uiLatest = 0;
    m_vValues.resize(m_uiWindows * m_uiFeatures);
    for (std::size_t uiRow = 0; uiRow < m_uiWindows; ++uiRow)
        std::copy(in_vFeatures.begin(), in_vFeatures.end(), m_vValues.data() + uiRow * m_uiFeatures);
}

void FeatureHistory::push(const DoubleVector& in_vFeatures)
{
    m_uiLatest = m_uiLatest + 1 == m_uiWindows ? 0 : m_uiLatest + 1;
    std::copy(in_vFeatures.begin(), in_vFeatures.end(), m_vValues.data() + m_uiLatest * m_uiFeatures);
}

DeltaFeatureComputer::DeltaFeatureComputer(const Config& in_config)
    : m_config(in_config)
{
}

const char* DeltaFeatureComputer::findFault(std::size_t in_uiFeatures) const
{
    if (m_config.m_uiReach == 0 || m_config.m_uiOrder == 0 || m_config.m_uiOrder > MAX_ORDER ||
        m_config.m_uiScales == 0 || m_config.m_uiScales > MAX_SCALES)
        return "the reach of deltas (m_uiReach) must be 1 or more, their order (m_uiOrder) 1 to 4, their "
               "scales (m_uiScales) 1 to 16";
    if (getLongestReach() > MAX_REACH)
        return "deltas reach no further than 1024 windows (m_uiReach, doubled by each further m_uiScales)";
    if (isTooMuch(2 * getLongestReach() * m_config.m_uiOrder + 1, in_uiFeatures))
        return "deltas of so many windows (m_uiReach, m_uiOrder, m_uiScales) are more than 262144 values";
    return nullptr;
}

std::uint64_t DeltaFeatureComputer::getLongestReach() const
{
    return std::uint64_t(m_config.m_uiReach) << (m_config.m_uiScales - 1);
}

/// There are fewer slopes than windows; of the weights each shorter scale has half of those of the next.
std::uint64_t DeltaFeatureComputer::countValues(std::size_t in_uiFeatures) const
{
    const std::uint64_t uiWindows = 2 * getLongestReach() * m_config.m_uiOrder + 1;
    return uiWindows * in_uiFeatures + 2 * uiWindows * m_config.m_uiOrder;
}

void DeltaFeatureComputer::begin(const DoubleVector& in_vFeatures)
{
    m_vWeights.clear();
    std::size_t uiReach = m_config.m_uiReach;
    for (unsigned int uiScale = 0; uiScale < m_config.m_uiScales; ++uiScale, uiReach *= 2)
        addSlopes(uiReach);
    m_history.fill(m_vWeights.back().size(), in_vFeatures);
}

/// Slope, slope of the slope and so on: each weighs the windows of the one before once more.
void DeltaFeatureComputer::addSlopes(std::size_t in_uiReach)
{
    double dSquares = 0.0;
    for (std::size_t n = 1; n <= in_uiReach; ++n)
        dSquares += 2.0 * static_cast<double>(n) * static_cast<double>(n);
    std::vector<double> vBefore{1.0};
    for (unsigned int uiOrder = 0; uiOrder < m_config.m_uiOrder; ++uiOrder)
    {
        std::vector<double> vWeights(vBefore.size() + 2 * in_uiReach, 0.0);
        for (std::size_t i = 0; i < vBefore.size(); ++i)
            for (std::size_t n = 0; n <= 2 * in_uiReach; ++n)
                vWeights[i + n] +=
                    vBefore[i] * ((static_cast<double>(n) - static_cast<double>(in_uiReach)) / dSquares);
        m_vWeights.push_back(vWeights);
        vBefore = std::move(vWeights);
    }
}

void DeltaFeatureComputer::computeFeatures_i(const DoubleVector& in_vFeatures, DoubleVector& out_vFeatures)
{
    const std::size_t uiFeatures = in_vFeatures.size();
    m_history.push(in_vFeatures);
    out_vFeatures.assign(in_vFeatures.begin(), in_vFeatures.end());
    out_vFeatures.resize(uiFeatures * (m_vWeights.size() + 1));
    double* pSlopes = out_vFeatures.begin();
    for (const std::vector<double>& vWeights : m_vWeights)
    {
        pSlopes += uiFeatures;
        std::fill(pSlopes, pSlopes + uiFeatures, 0.0);
        for (std::size_t i = 0; i < vWeights.size(); ++i)
        {
            const double* pValues = m_history.at(vWeights.size() - 1 - i);
            for (std::size_t f = 0; f < uiFeatures; ++f)
                pSlopes[f] += vWeights[i] * pValues[f];
        }
    }
}

SpliceFeatureComputer::SpliceFeatureComputer(const Config& in_config)
    : m_config(in_config)
{
}

const char* SpliceFeatureComputer::findFault(std::size_t in_uiFeatures) const
{
    if (m_config.m_uiStep == 0)
        return "the step between spliced windows (m_uiStep) must be 1 or more";
    if (isTooMuch(std::uint64_t(m_config.m_uiWindowsBefore) * m_config.m_uiStep + 1, in_uiFeatures))
        return "so many spliced windows (m_uiWindowsBefore, m_uiStep) are more than 262144 values";
    return nullptr;
}

std::uint64_t SpliceFeatureComputer::countValues(std::size_t in_uiFeatures) const
{
    return (std::uint64_t(m_config.m_uiWindowsBefore) * m_config.m_uiStep + 1) * in_uiFeatures;
}

void SpliceFeatureComputer::begin(const DoubleVector& in_vFeatures)
{
    m_history.fill(std::size_t(m_config.m_uiWindowsBefore) * m_config.m_uiStep + 1, in_vFeatures);
}

void SpliceFeatureComputer::computeFeatures_i(const DoubleVector& in_vFeatures, DoubleVector& out_vFeatures)
{
    m_history.push(in_vFeatures);
    out_vFeatures.clear();
    for (std::size_t uiWindow = m_config.m_uiWindowsBefore + std::size_t(1); uiWindow-- > 0;)
    {
        const double* pValues = m_history.at(uiWindow * m_config.m_uiStep);
        out_vFeatures.append(pValues, pValues + in_vFeatures.size());
    }
}

NormalisationFeatureComputer::NormalisationFeatureComputer(const Config& in_config)
    : m_config(in_config)
{
}

const char* NormalisationFeatureComputer::findFault(std::size_t) const
{
    if (!(m_config.m_dTimeConstant >= 1.0) || !std::isfinite(m_config.m_dTimeConstant))
        return "the time constant of normalisation (m_dTimeConstant) must be 1 or more";
    if (!(m_config.m_dLeastDeviation > 0.0) || !std::isfinite(m_config.m_dLeastDeviation))
        return "the least deviation (m_dLeastDeviation) must be positive";
    return nullptr;
}

std::uint64_t NormalisationFeatureComputer::countValues(std::size_t in_uiFeatures) const
{
    return in_uiFeatures * (sizeof(Running) / sizeof(double));
}

void NormalisationFeatureComputer::begin(const DoubleVector& in_vFeatures)
{
    m_vRunning.assign(in_vFeatures.size(), Running());
}

void NormalisationFeatureComputer::computeFeatures_i(const DoubleVector& in_vFeatures,
                                                     DoubleVector& out_vFeatures)
{
    out_vFeatures.assign(in_vFeatures.begin(), in_vFeatures.end());
    double* pFeature = out_vFeatures.begin();
    for (Running& running : m_vRunning)
    {
        const double dShare = 1.0 / std::min(running.m_dWindows + 1.0, m_config.m_dTimeConstant);
        const double dDifference = *pFeature - running.m_dMean;
        const double dVariance = (1.0 - dShare) * (running.m_dVariance + dShare * dDifference * dDifference);
        if (std::isfinite(dVariance))
            running = {running.m_dMean + dShare * dDifference, dVariance, running.m_dWindows + 1.0};
        *pFeature -= running.m_dMean;
        if (m_config.m_bVariance)
            *pFeature /= std::max(std::sqrt(running.m_dVariance), m_config.m_dLeastDeviation);
        ++pFeature;
    }
}

template <class Archive>
void DeltaFeatureComputer::Config::serialize(Archive& io_archive, unsigned int)
{
    QC_FIELD(m_uiReach, "windows",
             "half the length of the line through the last windows whose slope is taken");
    QC_FIELD(m_uiOrder, "", "1: slopes, 2: slopes of slopes too, and so on");
    QC_FIELD(m_uiScales, "", "number of reaches side by side, each twice the one before");
}

template <class Archive>
void DeltaFeatureComputer::serialize(Archive& io_archive, unsigned int)
{
    describeClass(io_archive, "features and how fast they change from window to window");
    serializeBase<FeatureComputerWithInputs>(io_archive, *this);
    QC_FIELD(m_pComputer, "", "computes the features");
    QC_FIELD(m_config, "", "its parameters");
    forget();
}

template <class Archive>
void SpliceFeatureComputer::Config::serialize(Archive& io_archive, unsigned int)
{
    QC_FIELD(m_uiWindowsBefore, "windows", "number of windows before the present one that stand beside it");
    QC_FIELD(m_uiStep, "windows", "from one of them to the next");
}

template <class Archive>
void SpliceFeatureComputer::serialize(Archive& io_archive, unsigned int)
{
    describeClass(io_archive, "features of windows before, and of the window, side by side");
    serializeBase<FeatureComputerWithInputs>(io_archive, *this);
    QC_FIELD(m_pComputer, "", "computes the features");
    QC_FIELD(m_config, "", "its parameters");
    forget();
}

template <class Archive>
void NormalisationFeatureComputer::Config::serialize(Archive& io_archive, unsigned int)
{
    QC_FIELD(m_dTimeConstant, "windows", "how far back the running mean and deviation reach");
    QC_FIELD(m_bVariance, "", "whether features are divided by their deviation too");
    QC_FIELD(m_dLeastDeviation, "", "least deviation that is divided by, so that silence is");
}

template <class Archive>
void NormalisationFeatureComputer::serialize(Archive& io_archive, unsigned int)
{
    describeClass(io_archive, "features less their running mean, divided by their running deviation");
    serializeBase<FeatureComputerWithInputs>(io_archive, *this);
    QC_FIELD(m_pComputer, "", "computes the features");
    QC_FIELD(m_config, "", "its parameters");
    forget();
}

QC_ARCHIVES(DeltaFeatureComputer::Config);
QC_ARCHIVES(DeltaFeatureComputer);
QC_ARCHIVES(SpliceFeatureComputer::Config);
QC_ARCHIVES(SpliceFeatureComputer);
QC_ARCHIVES(NormalisationFeatureComputer::Config);
QC_ARCHIVES(NormalisationFeatureComputer);

} // namespace Vexalor

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::DeltaFeatureComputer)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::SpliceFeatureComputer)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::NormalisationFeatureComputer)
