#include "ml-config/GeneratorKinds.h"

#include "MLDataGeneratorFactory.h"
#include "common/ListedNames.h"
#include "ml-config/ClassNames.h"
#include "ml-config/FeatureKinds.h"
#include "ml-config/KindTable.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-infra/DynLibsLoader.h"

namespace Vexalor::MachineLearning
{

namespace
{

constexpr const char* FEATURES_FIELD = "m_pFeatureComputer";
constexpr const char* CLASSES_FIELD = "m_vClasses";
constexpr const char* USUAL_FEATURE = "log-mel";

constexpr const char* ANY_CLASSES = "VOICE,OTHER";
constexpr const char* VAD_CLASSES = "VOICE,OTHER";
constexpr const char* SMOOTHED_VAD_CLASSES = "VOICE,SILENCE";
constexpr const char* WIDEBAND_CLASSES = "WB_SF_TONE,OTHER";

std::string findFixedFault(const StringVector& in_vClasses, const char* in_fixed)
{
    return in_vClasses == splitText(in_fixed, ',') ? "" : std::string("the classes are always ") + in_fixed;
}

std::string findVadFault(const StringVector& in_vClasses)
{
    return findFixedFault(in_vClasses, VAD_CLASSES);
}

std::string findSmoothedVadFault(const StringVector& in_vClasses)
{
    return findFixedFault(in_vClasses, SMOOTHED_VAD_CLASSES);
}

constexpr GeneratorKind KINDS[] = {
    {"audio", "MLAudioFileDataGenerator", findClassFault, ANY_CLASSES},
    {"wideband", "MLDataGeneratorForWidebandToneDetector", findWidebandClassFault, WIDEBAND_CLASSES},
    {"am", "MLDataGeneratorForAMToneDetector", findAMClassFault},
    {"vad", "MLVadAudioFileDataGenerator", findVadFault, VAD_CLASSES},
    {"smoothed-vad", "MLDataGeneratorForVad", findSmoothedVadFault, SMOOTHED_VAD_CLASSES},
    {"audio-set", "MLAudioSetDataGenerator", findClassFault, ANY_CLASSES},
    {"low-memory-audio-set", "MLLowMemoryAudioSetDataGenerator", findClassFault, ANY_CLASSES},
    {"wideband-set", "MLLowMemoryAudioSetDataGeneratorForWidebandToneDetector", findWidebandClassFault,
     WIDEBAND_CLASSES},
    {"am-set", "MLLowMemoryAudioSetDataGeneratorForAMToneDetector", findAMClassFault},
    {"vad-set", "MLLowMemoryVadAudioSetDataGenerator", findVadFault, VAD_CLASSES},
    {"smoothed-vad-set", "MLAudioSetDataGeneratorForVad", findSmoothedVadFault, SMOOTHED_VAD_CLASSES},
    {"tone-set", "MLAudioSetDataGenForToneDetector", findToneClassFault},
    {"vector-file", "MLVectorFileDataGenerator"},
    {"vector-file-features", "MLVectorFileDataGenWithFeatureComputer"},
    {"binary-file", "MLBinaryFileDataGenerator"},
};

std::string loadLibraries(const StringVector& in_vLibraries)
{
    for (const std::string& strLibrary : in_vLibraries)
    {
        if (!DynLibsLoader::loadDynLib(strLibrary.c_str()))
            return "library '" + strLibrary + "' cannot be loaded";
    }
    return {};
}

/// Those that are asked for, or else the usual ones, in the form of a setting; none where there are no
/// classes.
std::string addClasses(const GeneratorRequest& in_request, std::vector<FieldSetting>& io_vSettings)
{
    const GeneratorKind* pKind = findKind(getGeneratorKinds(), in_request.m_strGenerator);
    StringVector vClasses = in_request.m_vClasses;
    if (vClasses.empty() && pKind != nullptr && *pKind->m_usualClasses != '\0')
        vClasses = splitText(pKind->m_usualClasses, ',');
    if (vClasses.empty())
        return pKind != nullptr && pKind->m_findClassFault != nullptr
                   ? "generator '" + in_request.m_strGenerator + "' needs classes, see --help"
                   : "";
    io_vSettings.insert(io_vSettings.begin(), {"classes", {CLASSES_FIELD}, vClasses});
    return pKind != nullptr && pKind->m_findClassFault != nullptr ? pKind->m_findClassFault(vClasses)
                                                                  : findClassFault(vClasses);
}

/// The generator as its constructor leaves it, but for its features.
std::string describe(const GeneratorRequest& in_request, const DataGenerator& in_generator,
                     ArchiveDescription& out_description)
{
    DescribingArchive plain;
    describeDataGenerator(plain, in_request.m_vLibraries, in_generator);
    out_description = plain.finish();
    const bool bFeatures = !findFields(out_description.m_root, FEATURES_FIELD).empty();
    if (!bFeatures)
        return in_request.m_vFeatures.empty() && in_request.m_vContexts.empty()
                   ? ""
                   : "option '--feature': the configuration has no field m_pFeatureComputer";
    std::string strFault;
    const std::shared_ptr<FeatureComputer> pComputer = newFeatureComputer(
        in_request.m_vFeatures.empty() ? StringVector{USUAL_FEATURE} : in_request.m_vFeatures,
        in_request.m_vContexts, strFault);
    if (pComputer == nullptr)
        return strFault;
    DescribingArchive complete;
    complete.setObject(FEATURES_FIELD, [pComputer](boost::archive::polymorphic_oarchive& io_archive)
                       { saveObject<FeatureComputer>(io_archive, nullptr, pComputer.get()); });
    describeDataGenerator(complete, in_request.m_vLibraries, in_generator);
    out_description = complete.finish();
    return {};
}

} // namespace

std::span<const GeneratorKind> getGeneratorKinds()
{
    return KINDS;
}

std::string makeConfiguration(const GeneratorRequest& in_request, std::string& out_strText)
{
    std::string strFault = loadLibraries(in_request.m_vLibraries);
    if (!strFault.empty())
        return strFault;
    const auto pGenerator =
        newOfKind<DataGenerator>(getGeneratorKinds(), "generator", in_request.m_strGenerator, strFault);
    if (pGenerator == nullptr)
        return strFault;
    std::vector<FieldSetting> vSettings = in_request.m_vSettings;
    ArchiveDescription description;
    strFault = describe(in_request, *pGenerator, description);
    if (strFault.empty())
        strFault = addClasses(in_request, vSettings);
    if (strFault.empty())
        strFault = applySettings(vSettings, description);
    out_strText = description.m_strText;
    return strFault;
}

} // namespace Vexalor::MachineLearning
