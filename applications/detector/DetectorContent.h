#pragma once

#include "MLDataGenerator.h"
#include "MLVectorScaler.h"
#include "quillcast-core/Handle.h"
#include "quillcast-core/StringVector.h"

#include <cstdint>
#include <string>
#include <vector>

namespace boost::archive
{
class polymorphic_oarchive;
}

namespace Vexalor
{
class CheckedXmlInputArchive;
}

namespace Vexalor::MachineLearning
{

/// What a detector file holds, field by field (doc/detectors.md). Whether it makes sense is for Detector to
/// tell.
class DetectorContent
{
public:
    static constexpr const char* ELEMENT = "MLDetector";
    static constexpr const char* FANN = "fann";
    static constexpr const char* ONNX = "onnx";
    static constexpr double NO_ERROR = -1.0;

    /// What was trained on of a class.
    class Share
    {
    public:
        std::string m_strClass;
        std::uint64_t m_uiPatterns = 0;
        double m_dSeconds = 0.0;

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    /// Where a detector comes from. Nothing here changes what it does.
    class Origin
    {
    public:
        std::string m_strVersion;   ///< of the program that wrote the file
        std::string m_strNetwork;   ///< file that the network was taken from; empty: it was trained
        StringVector m_vInputFiles; ///< trained on
        std::vector<Share> m_vClasses;
        std::uint64_t m_uiSeed = 0;
        double m_dError = NO_ERROR;        ///< mean square error of the epoch whose weights were taken
        double m_dHeldOutError = NO_ERROR; ///< the same on what was held out

    private:
        friend class boost::serialization::access;
        template <class Archive>
        void serialize(Archive& io_archive, unsigned int in_uiVersion);
    };

    /// Takes over the scaling of inputs; one that changes nothing is none. False, with nothing taken, for one
    /// that changes targets.
    bool setScaling(const VectorScaler::Config& in_scaling);
    bool isScaled() const
    {
        return !m_scaling.m_vInputSlope.empty() || !m_scaling.m_vInputYIntercept.empty();
    }

    StringVector m_vLibraries;                 ///< plug-ins that the generator needs
    CountedObjPtr<DataGenerator> m_pGenerator; ///< windows, features, classes and how labels match them
    VectorScaler::Config m_scaling;            ///< of inputs; empty: none
    std::string m_strKind;                     ///< FANN or ONNX
    std::string m_strNetwork;                  ///< the text of the file, ONNX as base64
    Origin m_origin;

    /// Throws ArchiveError. False, with the reason logged, when a library cannot be loaded.
    bool load(CheckedXmlInputArchive& io_archive);
    void save(boost::archive::polymorphic_oarchive& io_archive) const;

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);
};

} // namespace Vexalor::MachineLearning

BOOST_CLASS_TRACKING(Vexalor::MachineLearning::DetectorContent, boost::serialization::track_never)
BOOST_CLASS_TRACKING(Vexalor::MachineLearning::DetectorContent::Origin, boost::serialization::track_never)
BOOST_CLASS_TRACKING(Vexalor::MachineLearning::DetectorContent::Share, boost::serialization::track_never)
