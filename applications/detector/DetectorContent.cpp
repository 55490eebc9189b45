#include "detector/DetectorContent.h"

#include "MLDataGeneratorFactory.h"
#include "quillcast-core/CheckedXmlInputArchive.h"
#include "quillcast-core/SerializationArchives.h"

#include <algorithm>

namespace Vexalor::MachineLearning
{

namespace
{

bool changes(const DoubleVector& in_vSlope, const DoubleVector& in_vIntercept)
{
    return std::any_of(in_vSlope.begin(), in_vSlope.end(), [](double in_d) { return in_d != 1.0; }) ||
           std::any_of(in_vIntercept.begin(), in_vIntercept.end(), [](double in_d) { return in_d != 0.0; });
}

} // namespace

bool DetectorContent::setScaling(const VectorScaler::Config& in_scaling)
{
    if (changes(in_scaling.m_vTargetSlope, in_scaling.m_vTargetYIntercept))
        return false;
    m_scaling = {};
    if (!changes(in_scaling.m_vInputSlope, in_scaling.m_vInputYIntercept))
        return true;
    m_scaling.m_vInputSlope = in_scaling.m_vInputSlope;
    m_scaling.m_vInputYIntercept = in_scaling.m_vInputYIntercept;
    return true;
}

bool DetectorContent::load(CheckedXmlInputArchive& io_archive)
{
    if (!loadPluginLibraries(io_archive, m_vLibraries))
        return false;
    io_archive.get() >> boost::serialization::make_nvp(ELEMENT, *this);
    io_archive.finish();
    return true;
}

void DetectorContent::save(boost::archive::polymorphic_oarchive& io_archive) const
{
    savePluginLibraries(io_archive, m_vLibraries);
    describeField(io_archive, "", "the detector");
    io_archive << boost::serialization::make_nvp(ELEMENT, *this);
}

template <class Archive>
void DetectorContent::Share::serialize(Archive& io_archive, unsigned int)
{
    QC_FIELD(m_strClass, "", "class");
    QC_FIELD(m_uiPatterns, "", "patterns of it");
    QC_FIELD(m_dSeconds, "s", "audio that they stand for");
}

template <class Archive>
void DetectorContent::Origin::serialize(Archive& io_archive, unsigned int)
{
    QC_FIELD(m_strVersion, "", "version of the program that wrote the file");
    QC_FIELD(m_strNetwork, "", "file that the network was taken from; none: it was trained");
    QC_FIELD(m_vInputFiles, "", "recordings, or lists of them, that it was trained on");
    QC_FIELD(m_vClasses, "", "what was trained on, in the order of the outputs");
    QC_FIELD(m_uiSeed, "", "of the start weights");
    QC_FIELD(m_dError, "", "mean square error of training; -1: not known");
    QC_FIELD(m_dHeldOutError, "", "mean square error on what was held out; -1: nothing was");
}

template <class Archive>
void DetectorContent::serialize(Archive& io_archive, unsigned int)
{
    QC_FIELD(m_pGenerator, "", "windows, features, and the classes in the order of the outputs");
    QC_FIELD(m_scaling, "", "of the inputs, before an onnx network; a fann network has it in its weights");
    QC_FIELD(m_strKind, "", "kind of the network: fann or onnx");
    QC_FIELD(m_strNetwork, "", "the network: the text of the file, onnx as base64");
    QC_FIELD(m_origin, "", "where the detector comes from; changes nothing of what it does");
}

QC_ARCHIVES(DetectorContent::Share);
QC_ARCHIVES(DetectorContent::Origin);
QC_ARCHIVES(DetectorContent);

} // namespace Vexalor::MachineLearning
