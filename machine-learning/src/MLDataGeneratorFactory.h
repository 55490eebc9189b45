#pragma once

#include "MLDataGenerator.h"
#include "quillcast-core/DescribingArchive.h"
#include "quillcast-core/StringVector.h"
#include "quillcast-infra/VirtualFileSystem.h"

#include <ostream>

namespace Vexalor
{
class CheckedXmlInputArchive;
}

namespace Vexalor::MachineLearning
{

/// Does nothing; a program that calls it links the library even if it names nothing else of it, and with it
/// the class keys that its configuration files name.
void registerGeneratorClasses();

/// Reads a configuration file (doc/formats.md, "Generator configurations"): loads the libraries that it
/// names, then creates its generator, which the caller owns. Null, with the reason logged at error level,
/// when a library cannot be loaded. Throws ArchiveError for a file that is damaged or names an unknown class,
/// and ExceptionWithMsg when the generator refuses its parameters. Nothing leaks.
DataGenerator* loadDataGeneratorFromStream(basic_vfsistream<char>& io_stream);

/// Writes such a file. False, with the reason logged at error level, if it could not be written.
bool saveDataGeneratorToStream(std::ostream& out_stream, const StringVector& in_vLibNames,
                               const DataGenerator& in_generator);

/// The first element of every file that holds a generator: reads the names of its plug-in libraries and loads
/// them. False, with the reason logged at error level, when one cannot be loaded.
bool loadPluginLibraries(CheckedXmlInputArchive& io_archive, StringVector& out_vLibNames);
/// Saves that element.
void savePluginLibraries(boost::archive::polymorphic_oarchive& io_archive, const StringVector& in_vLibNames);

/// Saves the same into an archive that tells what it holds. Throws archive exceptions.
void describeDataGenerator(DescribingArchive& io_archive, const StringVector& in_vLibNames,
                           const DataGenerator& in_generator);

/// The steps of newDataGenerator, for who has something to check in between. Each logs at error level why it
/// fails.
///
/// Opens the configuration file and loads the generator. Null handle on failure; throws like
/// loadDataGeneratorFromStream.
CountedObjPtr<DataGenerator> loadDataGenerator(const char* in_configFile);
/// Hands the entity to a generator that resets one.
bool handOverEntity(DataGenerator& io_generator, const Handle<Resettable, ReferenceCount>& in_entityToReset);
/// Hands the input file, null being no name, to a FileDataGenerator, and the entity over.
bool prepareDataGenerator(DataGenerator& io_generator, const char* in_inputFile,
                          const Handle<Resettable, ReferenceCount>& in_entityToReset);
/// Puts the in-memory cache, which is handed the entity, and the scaling of that file, if any, around the
/// generator. Null handle on failure; throws like loadDataGeneratorFromStream.
CountedObjPtr<DataGenerator> wrapDataGenerator(const CountedObjPtr<DataGenerator>& in_generator,
                                               const Handle<Resettable, ReferenceCount>& in_entityToReset,
                                               bool in_bInMemory, const char* in_scalingConfigFile);

/// A generator that is ready for gotoStart, from its configuration file. A generator that takes no file
/// ignores in_inputFile, one that forms no sequences the entity. in_scalingConfigFile: the configuration of a
/// ScalingDataGenerator; null or "" for no scaling. Null handle, with the reason logged at error level, when
/// a file or a library is missing, or the input file or the entity is refused. Throws, like
/// loadDataGeneratorFromStream, for a configuration that is damaged or names an unknown class, and for
/// parameters that the generator refuses.
CountedObjPtr<DataGenerator> newDataGenerator(const char* in_configFile, const char* in_inputFile,
                                              Handle<Resettable, ReferenceCount> in_entityToReset,
                                              bool in_bInMemory, const char* in_scalingConfigFile);
/// The same for hosts without exceptions: null handle, with the reason logged at error level, on any failure.
CountedObjPtr<DataGenerator> tryNewDataGenerator(const char* in_configFile, const char* in_inputFile,
                                                 Handle<Resettable, ReferenceCount> in_entityToReset,
                                                 bool in_bInMemory,
                                                 const char* in_scalingConfigFile) noexcept;

} // namespace Vexalor::MachineLearning
