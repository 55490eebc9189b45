#include "MLDataGeneratorFactory.h"

#include "MLInMemoryDataGenerator.h"
#include "MLScalingDataGenerator.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/CheckedXmlInputArchive.h"
#include "quillcast-core/Logger.h"
#include "quillcast-core/SerializationArchives.h"
#include "quillcast-core/XmlOutputArchive.h"
#include "quillcast-infra/DiskFileSystem.h"
#include "quillcast-infra/DynLibsLoader.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <mutex>

namespace Vexalor::MachineLearning
{

namespace
{

constexpr const char* LIBRARIES_ELEMENT = "MLDataGeneratorLib";
constexpr const char* GENERATOR_ELEMENT = "MLDataGenerator";

/// The names by which configurations loaded libraries, by their files: the same library may be named in
/// several ways, and be loaded for the sake of another class.
class LibraryNames
{
public:
    void set(const std::string& in_strFile, const std::string& in_strLibName)
    {
        const std::lock_guard guard(m_mutex);
        m_libNames[in_strFile] = in_strLibName;
    }

    /// That of the library which a class comes from; empty for one of the program.
    std::string find(const std::string& in_strKey)
    {
        const std::lock_guard guard(m_mutex);
        const auto itName = m_libNames.find(DynLibsLoader::findFile(findClassOrigin(in_strKey.c_str())));
        return itName == m_libNames.end() ? std::string() : itName->second;
    }

private:
    std::mutex m_mutex;
    std::map<std::string, std::string> m_libNames;
};

LibraryNames& libraryNames()
{
    static LibraryNames names;
    return names;
}

std::string describeOrigin(const std::string& in_strKey)
{
    const std::string strLibName = libraryNames().find(in_strKey);
    return strLibName.empty() ? "the program" : "the library '" + strLibName + "'";
}

/// Loading and saving have a logger of their own.
namespace Archives
{

constinit Logger s_logger("quillcast.serialization");

/// Loads a library and warns if no class that the file names comes from it, or from a library that it brought
/// along. Where another library registered a key before, the class of that other one is used.
bool loadLibrary(const std::string& in_strLibName, const StringVector& in_vKeys)
{
    const auto isUnknown = [](const std::string& in_strKey)
    {
        return getClassKeyState(in_strKey.c_str()) == ClassKeyState::UNKNOWN;
    };
    StringVector vUnknown;
    std::copy_if(in_vKeys.begin(), in_vKeys.end(), std::back_inserter(vUnknown), isUnknown);
    std::string strFile;
    if (!DynLibsLoader::loadDynLib(in_strLibName.c_str(), strFile))
    {
        // "is should": text kept
        QC_ERROR("Failed to load dynamic library '"
                 << in_strLibName << "' in which the data generator class is should be located ");
        return false;
    }
    libraryNames().set(strFile, in_strLibName);
    for (const std::string& strKey : vUnknown)
    {
        if (!isUnknown(strKey))
            libraryNames().set(DynLibsLoader::findFile(findClassOrigin(strKey.c_str())), in_strLibName);
    }
    const bool bUsed = std::any_of(in_vKeys.begin(), in_vKeys.end(),
                                   [&](const std::string& in_strKey)
                                   { return libraryNames().find(in_strKey) == in_strLibName; });
    if (!bUsed && !in_vKeys.empty() && !isUnknown(in_vKeys.front()))
        QC_WARN("The library '" << in_strLibName
                                << "' brought no class of this configuration; the class key '"
                                << in_vKeys.front() << "' was registered before by "
                                << describeOrigin(in_vKeys.front()));
    return true;
}

bool loadLibraries(CheckedXmlInputArchive& io_archive, StringVector& out_vLibNames)
{
    io_archive.get() >> boost::serialization::make_nvp(LIBRARIES_ELEMENT, out_vLibNames);
    const StringVector vKeys = io_archive.getClassKeys();
    return std::all_of(out_vLibNames.begin(), out_vLibNames.end(),
                       [&](const std::string& in_strLibName) { return loadLibrary(in_strLibName, vKeys); });
}

void saveLibraries(boost::archive::polymorphic_oarchive& io_archive, const StringVector& in_vLibNames)
{
    describeField(io_archive, "", "plug-in libraries to load before the generator is created");
    io_archive << boost::serialization::make_nvp(LIBRARIES_ELEMENT, in_vLibNames);
}

DataGenerator* load(std::istream& io_stream)
{
    CheckedXmlInputArchive archive(io_stream);
    StringVector vLibNames;
    if (!loadLibraries(archive, vLibNames))
        return nullptr;
    const StringVector vKeys = archive.getClassKeys();
    std::unique_ptr<DataGenerator> pGenerator = loadObject<DataGenerator>(archive.get(), GENERATOR_ELEMENT);
    if (pGenerator == nullptr)
        throw ArchiveError("the file holds no generator");
    archive.finish();
    const std::string strLibName = vKeys.empty() ? std::string() : libraryNames().find(vKeys.front());
    auto* pConfigured = dynamic_cast<DataGeneratorWithConfig*>(pGenerator.get());
    if (pConfigured != nullptr && !strLibName.empty())
        pConfigured->setLibName(strLibName.c_str());
    return pGenerator.release();
}

void saveElements(boost::archive::polymorphic_oarchive& io_archive, const StringVector& in_vLibNames,
                  const DataGenerator& in_generator)
{
    saveLibraries(io_archive, in_vLibNames);
    describeField(io_archive, "", "the generator");
    saveObject<DataGenerator>(io_archive, GENERATOR_ELEMENT, &in_generator);
}

bool save(std::ostream& out_stream, const StringVector& in_vLibNames, const DataGenerator& in_generator)
{
    try
    {
        XmlOutputArchive archive(out_stream);
        saveElements(archive.get(), in_vLibNames, in_generator);
        if (archive.finish())
            return true;
        QC_ERROR("Failed to write the data generator configuration");
    }
    catch (const boost::archive::archive_exception& exception)
    {
        QC_ERROR("Failed to save the data generator: " << exception.what());
    }
    return false;
}

} // namespace Archives

constinit Logger s_logger("quillcast.ml.datagen.application");

CountedObjPtr<DataGenerator> loadFile(const char* in_what, const char* in_configFile)
{
    if (!QC_CHECK(in_configFile != nullptr))
        return {};
    const DiskFileSystem fileSystem;
    basic_vfsistream<char> stream(fileSystem, in_configFile);
    if (!stream)
    {
        QC_ERROR("failed to open " << in_what << " config file " << in_configFile << " for reading");
        QC_WARN(in_configFile << ": " << stream.getReason());
        return {};
    }
    return CountedObjPtr<DataGenerator>(loadDataGeneratorFromStream(stream));
}

CountedObjPtr<DataGenerator> newScalingDataGenerator(const char* in_configFile,
                                                     const CountedObjPtr<DataGenerator>& in_generator)
{
    const CountedObjPtr<DataGenerator> pLoaded = loadFile("scaling data generator", in_configFile);
    if (pLoaded.isNull())
        return {};
    const auto pScaling = pLoaded.dynamicCast<ScalingDataGenerator>();
    if (pScaling.isNull())
    {
        QC_ERROR("scaling data generator config file " << in_configFile
                                                       << " describes another kind of generator");
        return {};
    }
    pScaling->setDataGenerator(in_generator);
    return pScaling;
}

} // namespace

void registerGeneratorClasses() {}

DataGenerator* loadDataGeneratorFromStream(basic_vfsistream<char>& io_stream)
{
    try
    {
        return Archives::load(io_stream);
    }
    catch (const ArchiveError& error)
    {
        throw ArchiveError(io_stream.getPath() + ": " + error.what());
    }
}

bool saveDataGeneratorToStream(std::ostream& out_stream, const StringVector& in_vLibNames,
                               const DataGenerator& in_generator)
{
    return Archives::save(out_stream, in_vLibNames, in_generator);
}

bool loadPluginLibraries(CheckedXmlInputArchive& io_archive, StringVector& out_vLibNames)
{
    QC_TRACE("MachineLearning::loadPluginLibraries");
    return Archives::loadLibraries(io_archive, out_vLibNames);
}

void savePluginLibraries(boost::archive::polymorphic_oarchive& io_archive, const StringVector& in_vLibNames)
{
    Archives::saveLibraries(io_archive, in_vLibNames);
}

void describeDataGenerator(DescribingArchive& io_archive, const StringVector& in_vLibNames,
                           const DataGenerator& in_generator)
{
    Archives::saveElements(io_archive.get(), in_vLibNames, in_generator);
}

CountedObjPtr<DataGenerator> loadDataGenerator(const char* in_configFile)
{
    QC_TRACE("MachineLearning::loadDataGenerator");
    return loadFile("DataGenerator", in_configFile);
}

bool prepareDataGenerator(DataGenerator& io_generator, const char* in_inputFile,
                          const Handle<Resettable, ReferenceCount>& in_entityToReset)
{
    QC_TRACE("MachineLearning::prepareDataGenerator");
    const char* inputFile = in_inputFile == nullptr ? "" : in_inputFile;
    QC_DEBUG("Current neural net is " << (in_entityToReset.isNull() ? "not resetable" : "resetable"));
    auto* pFileGenerator = dynamic_cast<FileDataGenerator*>(&io_generator);
    if (pFileGenerator != nullptr && !pFileGenerator->setCurrentFilename(inputFile))
    {
        QC_ERROR("Could not set input file name " << inputFile << " in FileDataGenerator");
        return false;
    }
    return handOverEntity(io_generator, in_entityToReset);
}

bool handOverEntity(DataGenerator& io_generator, const Handle<Resettable, ReferenceCount>& in_entityToReset)
{
    QC_TRACE("MachineLearning::handOverEntity");
    auto* pSequenceGenerator = dynamic_cast<SequenceDataGenerator*>(&io_generator);
    if (pSequenceGenerator != nullptr && !pSequenceGenerator->setEntityToReset(in_entityToReset))
    {
        QC_ERROR("Could not set entity to reset in MultiPassDataGenerator");
        return false;
    }
    return true;
}

CountedObjPtr<DataGenerator> wrapDataGenerator(const CountedObjPtr<DataGenerator>& in_generator,
                                               const Handle<Resettable, ReferenceCount>& in_entityToReset,
                                               bool in_bInMemory, const char* in_scalingConfigFile)
{
    QC_TRACE("MachineLearning::wrapDataGenerator");
    CountedObjPtr<DataGenerator> pGenerator = in_generator;
    if (in_bInMemory)
    {
        const CountedObjPtr<InMemoryDataGenerator> pInMemory(new InMemoryDataGenerator);
        pInMemory->setDataGenerator(pGenerator);
        if (!pInMemory->setEntityToReset(in_entityToReset))
        {
            QC_ERROR("The memory for patterns refused the entity to reset");
            return {};
        }
        pGenerator = pInMemory;
    }
    if (in_scalingConfigFile == nullptr || *in_scalingConfigFile == '\0')
        return pGenerator;
    return newScalingDataGenerator(in_scalingConfigFile, pGenerator);
}

CountedObjPtr<DataGenerator> newDataGenerator(const char* in_configFile, const char* in_inputFile,
                                              Handle<Resettable, ReferenceCount> in_entityToReset,
                                              bool in_bInMemory, const char* in_scalingConfigFile)
{
    QC_TRACE("MachineLearning::newDataGenerator");
    const CountedObjPtr<DataGenerator> pGenerator = loadDataGenerator(in_configFile);
    if (pGenerator.isNull() || !prepareDataGenerator(*pGenerator, in_inputFile, in_entityToReset))
        return {};
    return wrapDataGenerator(pGenerator, in_entityToReset, in_bInMemory, in_scalingConfigFile);
}

CountedObjPtr<DataGenerator> tryNewDataGenerator(const char* in_configFile, const char* in_inputFile,
                                                 Handle<Resettable, ReferenceCount> in_entityToReset,
                                                 bool in_bInMemory, const char* in_scalingConfigFile) noexcept
{
    try
    {
        return newDataGenerator(in_configFile, in_inputFile, in_entityToReset, in_bInMemory,
                                in_scalingConfigFile);
    }
    catch (const std::exception& exception)
    {
        QC_ERROR("Cannot create the data generator: " << exception.what());
    }
    return {};
}

} // namespace Vexalor::MachineLearning
