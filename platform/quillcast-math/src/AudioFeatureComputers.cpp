#include "quillcast-math/AudioFeatureComputers.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-math/DoubleVector.h"
#include "quillcast-math/SignalKernels.h"

#include <cstring>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.math.AudioFeatureComputer");

} // namespace

bool AudioFeatureComputer::reset()
{
    QC_TRACE("AudioFeatureComputer::reset");
    m_pAudio = nullptr;
    return true;
}

bool AudioFeatureComputer::setInput(const char* in_name, const DoubleVector& in_vInput)
{
    QC_TRACE("AudioFeatureComputer::setInput");
    if (std::strcmp(in_name, "audio") != 0)
    {
        QC_ERROR("Unknown input of a feature computer: \"" << in_name << "\", expected \"audio\"");
        return false;
    }
    m_pAudio = &in_vInput;
    return true;
}

bool AudioFeatureComputer::computeFeatures(DoubleVector& out_vFeatures)
{
    QC_TRACE("AudioFeatureComputer::computeFeatures");
    if (!QC_CHECK(m_pAudio != nullptr && m_pAudio != &out_vFeatures))
        return false;
    const DoubleVector& vWindow = *m_pAudio;
    m_pAudio = nullptr;
    return QC_CHECK(!vWindow.empty()) && computeFeatures_i(vWindow, out_vFeatures);
}

bool IdentityFeatureComputer::computeFeatures_i(const DoubleVector& in_vWindow, DoubleVector& out_vFeatures)
{
    out_vFeatures.assign(in_vWindow.begin(), in_vWindow.end());
    return true;
}

bool EnergyFeatureComputer::computeFeatures_i(const DoubleVector& in_vWindow, DoubleVector& out_vFeatures)
{
    out_vFeatures.resize(1);
    out_vFeatures[0] = SignalKernels::sumOfSquares(in_vWindow.begin(), in_vWindow.size());
    return true;
}

bool ZeroCrossingRateFeatureComputer::computeFeatures_i(const DoubleVector& in_vWindow,
                                                        DoubleVector& out_vFeatures)
{
    const std::size_t uiPairs = in_vWindow.size() - 1;
    const std::size_t uiCrossings = SignalKernels::countZeroCrossings(in_vWindow.begin(), in_vWindow.size());
    out_vFeatures.resize(1);
    out_vFeatures[0] = uiPairs == 0 ? 0.0 : static_cast<double>(uiCrossings) / static_cast<double>(uiPairs);
    return true;
}

template <class Archive>
void IdentityFeatureComputer::serialize(Archive& io_archive, unsigned int)
{
    describeClass(io_archive, "the samples of the window themselves");
    serializeBase<FeatureComputerWithInputs>(io_archive, *this);
}

template <class Archive>
void EnergyFeatureComputer::serialize(Archive& io_archive, unsigned int)
{
    describeClass(io_archive, "sum of the squared samples of the window, one feature");
    serializeBase<FeatureComputerWithInputs>(io_archive, *this);
}

template <class Archive>
void ZeroCrossingRateFeatureComputer::serialize(Archive& io_archive, unsigned int)
{
    describeClass(io_archive, "share of the neighbouring samples that differ in sign, one feature");
    serializeBase<FeatureComputerWithInputs>(io_archive, *this);
}

QC_ARCHIVES(IdentityFeatureComputer);
QC_ARCHIVES(EnergyFeatureComputer);
QC_ARCHIVES(ZeroCrossingRateFeatureComputer);

} // namespace Vexalor

BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::IdentityFeatureComputer)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::EnergyFeatureComputer)
BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::ZeroCrossingRateFeatureComputer)
