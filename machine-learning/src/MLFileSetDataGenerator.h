#pragma once

#include "MLAudioClassStatistics.h"
#include "MLDataGeneratorWithConfig.h"
#include "MLGeneratorFacts.h"
#include "quillcast-audio/AudioSetParser.h"
#include "quillcast-core/LimitedObjPtr.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

namespace Vexalor::MachineLearning
{

/// The recordings of a set, or of a part of it that is read apart from the others. Streams of the parts of a
/// list follow each other to that of the whole list, to the bit, as long as a recording of the first part can
/// be used, and none stops before its end. Of sets that pass over their recordings several times that holds
/// for each pass.
struct RecordingList
{
    enum class Place
    {
        WHOLE,
        FIRST_PART, ///< may have no recording that can be used, and a stream without patterns then
        LATER_PART  ///< the same; the entity to reset is reset before the first pattern once more
    };

    std::string m_strName; ///< for messages, such as that of the file of the list
    StringVector m_vFilenames;
    Place m_place = Place::WHOLE;
    /// findClasses of the whole list; none: those of these recordings.
    std::optional<StringVector> m_classes;
    /// Of a set that passes over its recordings several times only this pass, counted from 0; none: all.
    std::optional<std::size_t> m_pass;

    /// Reads a list (doc/formats.md, "Set lists"). False, with the reason logged and the name empty, if it
    /// cannot be read.
    bool read(const char* in_filename);
};

/// One stream of the patterns of all recordings of an audio set, whose layout is in doc/formats.md, "Set
/// lists". The "file" of this generator is the list. A recording that cannot be used is skipped, with an
/// error message. One whose stream stops before its end stops the whole set; one that stops before its first
/// pattern, unless it is the first of the list, is skipped. endedCleanly is false in both cases.
/// The recordings of a pass are sequences of their own: the entity to reset is reset before each.
///
/// Call order: configure (setCurrentFilename | setRecordings) (gotoStart (generateNext (getInput
/// getTarget?)*)*)*.
///
/// At the end of a pass one line at info level tells how many recordings were listed, used and skipped, and
/// the patterns and seconds of each class.
///
/// This is what all sets have in common; the strategies below derive from it and say which generators there
/// are.
class FileSetDataGeneratorImpl
    : public virtual FileDataGenerator
    , public virtual MultiPassDataGenerator
    , public virtual AudioClassStatisticsSource
    , public virtual GeneratorWithFacts
{
public:
    /// Recordings of the current pass, or of the last one.
    struct FileCounts
    {
        std::size_t m_uiListed = 0;
        std::size_t m_uiUsed = 0;    ///< have delivered a pattern
        std::size_t m_uiSkipped = 0; ///< could not be used
    };

    /// Told of each recording that the set comes to, while it is set and in each pass: its name, its number,
    /// counted from 1, and how many are listed.
    using FileWatcher = std::function<void(const std::string& in_strFilename, std::size_t in_uiNumber,
                                           std::size_t in_uiListed)>;

    FileSetDataGeneratorImpl() = default;
    FileSetDataGeneratorImpl(const FileSetDataGeneratorImpl&) = delete;
    FileSetDataGeneratorImpl& operator=(const FileSetDataGeneratorImpl&) = delete;

    /// The file of the list. True also when no recording can be used; false when it cannot be read.
    bool setCurrentFilename(const char* in_filename) override;
    /// A list that is no file, or a part of one. True also when no recording can be used.
    virtual bool setRecordings(const RecordingList& in_list);
    /// What all parts of a list have to know of all of its recordings: the classes that these annotate, for a
    /// set that leaves out the others.
    virtual StringVector findClasses(const StringVector&) const { return {}; }
    /// How often the set passes over its recordings, with the list that was set.
    virtual std::size_t getNbPasses() const { return 1; }

    bool gotoStart() override;
    bool generateNext() override;
    bool getInput(DoubleVector& out_vInput) override;
    bool getTarget(DoubleVector& out_vTarget) override;
    /// The name of the current recording; that of the list while there is none.
    const char* getCurrentFilename() const override;
    std::ostream& dumpStatus(std::ostream& out_stream) override;
    bool endedCleanly() const override { return m_bClean; }
    /// Each recording counts the same.
    Fallible<double> getShareRead() const override;
    void releaseFile() override;

    /// Keeps a share and hands the entity to every generator of a recording, also to those made later. False
    /// when one of them refused it.
    bool setEntityToReset(Handle<Resettable, ReferenceCount> in_entity) override;

    /// Null before gotoStart and at the end.
    LimitedObjPtr<FileDataGenerator> getCurrentDataGenerator() const { return m_pCurrentGenerator; }
    FileCounts getFileCounts() const;
    /// The recordings of the list, whether they can be used or not.
    const StringVector& getListedFilenames() const { return m_parser.getFilenames(); }
    /// A generator as the set has for each recording, for who looks at recordings one by one; after
    /// setCurrentFilename. Null, with the reason logged, when it refuses its configuration.
    CountedObjPtr<FileDataGenerator> newFileGenerator() { return newFileGenerator_i(); }
    /// That of the recordings of the current pass, or of the last one.
    void addStatistics(AudioClassStatistics& io_statistics) const override;
    /// Lives until it is replaced; an empty one watches nothing.
    void setFileWatcher(FileWatcher in_watcher) { m_watcher = std::move(in_watcher); }

protected:
    /// The generator of the first recording that can be used, before its gotoStart; null when there is none.
    virtual LimitedObjPtr<FileDataGenerator> getFirstDataGenerator() = 0;
    /// That of the next one.
    virtual LimitedObjPtr<FileDataGenerator> getNextDataGenerator() = 0;
    /// Hands the entity to all generators that exist, even when one refuses it.
    virtual bool handOverEntity_i() = 0;
    /// A new generator for a recording, configured; null, with the reason logged, when it refuses that.
    virtual CountedObjPtr<FileDataGenerator> newFileGenerator_i() = 0;
    /// What the summary of a pass says of the classes; changes what was counted.
    virtual void summarise_i(AudioClassStatistics&) const {}

    /// True when the configuration is of exactly that class; logs otherwise.
    bool isOwnConfig(const DataGeneratorWithConfig::Config& in_config, const std::type_info& in_class) const;
    /// newFileGenerator_i for a recording of that name, with the entity; null, logged as skipped.
    CountedObjPtr<FileDataGenerator> newFileGeneratorFor(const std::string& in_strFilename);
    bool handOverEntity(FileDataGenerator& io_generator) const;
    /// Counts a recording that could not be used, for this pass or for all of them.
    void skipInPass() { ++m_uiSkippedInPass; }
    void skipAlways() { ++m_uiSkippedAlways; }
    void tellWatcher(const std::string& in_strFilename, std::size_t in_uiNumber) const;
    /// Of a later part: no recording was gone to in this pass.
    bool isBeforeFirst() const { return m_bBeforeFirst; }
    std::size_t getNbSkippedAlways() const { return m_uiSkippedAlways; }

    AudioSetParser m_parser; ///< of the list

private:
    void setCurrentGenerator(LimitedObjPtr<FileDataGenerator> in_pGenerator);
    bool endFile();
    bool gotoUsableFile(LimitedObjPtr<FileDataGenerator> in_pFirst);
    bool startFile();
    void tellWatcherOfFile() const;
    void leaveFile();
    void logSummary();

    std::string m_strFilename;
    RecordingList::Place m_place = RecordingList::Place::WHOLE;
    bool m_bBeforeFirst = false; ///< of a later part, generateNext goes to its first recording
    LimitedObjPtr<FileDataGenerator> m_pCurrentGenerator;
    DataGenerator* m_pPatterns =
        nullptr; ///< the same as what is called most; null when no pattern can follow
    Handle<Resettable, ReferenceCount> m_pEntityToReset;
    bool m_bClean = true;
    bool m_bFileUsed = false; ///< the current recording has delivered a pattern
    std::size_t m_uiUsed = 0;
    std::size_t m_uiSkippedInPass = 0;
    std::size_t m_uiSkippedAlways = 0;
    AudioClassStatistics m_statistics;
    FileWatcher m_watcher;
};

/// All generators are made when the list is set, and recordings that cannot be used are skipped then. Each
/// holds the timelines of its recording, but the recording itself is open, and memory for its samples taken,
/// only while it is read.
class FileSetDataGeneratorNoT : public FileSetDataGeneratorImpl
{
public:
    bool setRecordings(const RecordingList& in_list) override;
    bool atEnd() const override;

protected:
    LimitedObjPtr<FileDataGenerator> getFirstDataGenerator() override;
    LimitedObjPtr<FileDataGenerator> getNextDataGenerator() override;
    bool handOverEntity_i() override;

private:
    LimitedObjPtr<FileDataGenerator> getGenerator() const;
    void addFile(const std::string& in_strFilename);

    std::vector<CountedObjPtr<FileDataGenerator>> m_vGenerators;
    std::size_t m_uiPosition = 0;
};

/// One generator, which goes from recording to recording in each pass: memory does not depend on their
/// number but for their names.
class LowMemoryFileSetDataGeneratorNoT : public FileSetDataGeneratorImpl
{
public:
    /// The recordings themselves are looked at when they are reached.
    bool setRecordings(const RecordingList& in_list) override;
    bool atEnd() const override;

protected:
    LimitedObjPtr<FileDataGenerator> getFirstDataGenerator() override;
    LimitedObjPtr<FileDataGenerator> getNextDataGenerator() override;
    bool handOverEntity_i() override;

private:
    bool goToNextValidFilename();
    bool setFile(const std::string& in_strFilename);

    CountedObjPtr<FileDataGenerator> m_pGenerator;
    bool m_bLastNameUsed = false;
};

/// The configuration of a set: that of the generator of a recording.
template <class FileGenerator, class Strategy>
class FileSetConfig : public DataGeneratorWithConfig::Config
{
public:
    typename FileGenerator::Config m_dataGenConfig;

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);
};

/// A set whose recordings are read by generators of the class FileGenerator, made by a strategy of those
/// above.
template <class FileGenerator, class Strategy, class SetConfig = FileSetConfig<FileGenerator, Strategy>>
class FileSetDataGenerator
    : public virtual DataGeneratorWithConfig
    , public Strategy
{
public:
    using Config = SetConfig;

    /// Takes over a Config of exactly this class, false for any other. It holds from the next
    /// setCurrentFilename on; that is when the generators of the recordings judge it.
    bool configure(const DataGeneratorWithConfig::Config& in_config) override
    {
        if (!this->isOwnConfig(in_config, typeid(Config)))
            return false;
        m_config = static_cast<const Config&>(in_config);
        return true;
    }
    const Config& getConfig() const { return m_config; }
    /// Those of the generator of a recording.
    GeneratorFacts getFacts() const override { return FileGenerator::makeFacts(m_config.m_dataGenConfig); }

protected:
    CountedObjPtr<FileDataGenerator> newFileGenerator_i() override
    {
        const CountedObjPtr<FileGenerator> pGenerator(new FileGenerator);
        if (!pGenerator->configure(m_config.m_dataGenConfig))
            return {};
        return pGenerator;
    }

    DataGeneratorWithConfig::Config& getConcreteConfig_i() const override { return m_config; }

private:
    friend class boost::serialization::access;
    template <class Archive>
    void serialize(Archive& io_archive, unsigned int in_uiVersion);

    mutable Config m_config;
};

/// Whether an annotation of that label belongs to a class.
using IsOfClass = std::function<bool(const std::string& in_strLabel, const std::string& in_strClass)>;

/// Those of the classes, in their order, that some of the recordings annotates. Reads the annotations of no
/// more recordings than needed and passes over those that cannot be read.
StringVector findAnnotatedClasses(const StringVector& in_vFilenames, const StringVector& in_vClasses,
                                  const IsOfClass& in_isOfClass);

} // namespace Vexalor::MachineLearning
