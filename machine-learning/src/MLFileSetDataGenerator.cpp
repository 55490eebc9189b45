#include "MLFileSetDataGenerator.h"

#include "quillcast-audio/AnnotatedFile.h"
#include "quillcast-core/Assertion.h"
#include "quillcast-core/InputFile.h"

#include <algorithm>
#include <ostream>
#include <unistd.h>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.ml.generator.FileSetDataGenerator.summary");

/// Without opening it.
bool isReadable(const std::string& in_strFilename)
{
    return access(in_strFilename.c_str(), R_OK) == 0;
}

std::ostream& operator<<(std::ostream& out_stream, const AudioClassStatistics::Row& in_row)
{
    return out_stream << in_row.m_uiPatterns << " (" << in_row.m_dSeconds << "s)";
}

} // namespace

bool FileSetDataGeneratorImpl::isOwnConfig(const DataGeneratorWithConfig::Config& in_config,
                                           const std::type_info& in_class) const
{
    QC_TRACE("FileSetDataGenerator::configure");
    if (typeid(in_config) == in_class)
        return true;
    QC_ERROR("Could not configure the set of recordings: the configuration is that of another generator");
    return false;
}

bool RecordingList::read(const char* in_filename)
{
    QC_TRACE("RecordingList::read");
    AudioSetParser parser;
    const bool bRead = parser.open(in_filename);
    m_strName = bRead ? in_filename : "";
    m_vFilenames = parser.getFilenames();
    return bRead;
}

bool FileSetDataGeneratorImpl::setCurrentFilename(const char* in_filename)
{
    QC_TRACE("FileSetDataGeneratorImpl::setCurrentFilename");
    if (!QC_CHECK(in_filename != nullptr))
        return false;
    RecordingList list;
    const bool bRead = list.read(in_filename);
    return setRecordings(list) && bRead;
}

bool FileSetDataGeneratorImpl::setRecordings(const RecordingList& in_list)
{
    QC_TRACE("FileSetDataGeneratorImpl::setRecordings");
    releaseFile();
    setCurrentGenerator({});
    m_strFilename = in_list.m_strName;
    m_place = in_list.m_place;
    m_bBeforeFirst = false;
    m_bClean = true;
    m_statistics = {};
    m_uiUsed = 0;
    m_uiSkippedInPass = 0;
    m_uiSkippedAlways = 0;
    m_parser.setFilenames(in_list.m_vFilenames);
    return true;
}

void FileSetDataGeneratorImpl::setCurrentGenerator(LimitedObjPtr<FileDataGenerator> in_pGenerator)
{
    m_pCurrentGenerator = in_pGenerator;
    m_pPatterns = in_pGenerator.get();
}

CountedObjPtr<FileDataGenerator>
FileSetDataGeneratorImpl::newFileGeneratorFor(const std::string& in_strFilename)
{
    CountedObjPtr<FileDataGenerator> pGenerator = newFileGenerator_i();
    if (pGenerator.isNull())
        QC_ERROR("Could not configure FileDataGenerator with the configuration provided to "
                 "FileSetDataGenerator. File "
                 << in_strFilename << " will be skipped.");
    return pGenerator;
}

bool FileSetDataGeneratorImpl::handOverEntity(FileDataGenerator& io_generator) const
{
    auto* pMultiPass = dynamic_cast<MultiPassDataGenerator*>(&io_generator);
    if (pMultiPass == nullptr)
        return m_pEntityToReset.isNull();
    return pMultiPass->setEntityToReset(m_pEntityToReset);
}

bool FileSetDataGeneratorImpl::setEntityToReset(Handle<Resettable, ReferenceCount> in_entity)
{
    QC_TRACE("FileSetDataGeneratorImpl::setEntityToReset");
    m_pEntityToReset = in_entity;
    return handOverEntity_i();
}

bool FileSetDataGeneratorImpl::gotoStart()
{
    QC_TRACE("FileSetDataGeneratorImpl::gotoStart");
    releaseFile();
    m_bClean = true;
    m_bFileUsed = false;
    m_uiUsed = 0;
    m_uiSkippedInPass = 0;
    m_statistics = {};
    m_bBeforeFirst = m_place == RecordingList::Place::LATER_PART;
    setCurrentGenerator(m_bBeforeFirst ? LimitedObjPtr<FileDataGenerator>() : getFirstDataGenerator());
    if (m_pCurrentGenerator.isNull() && m_place != RecordingList::Place::WHOLE)
        return QC_CHECK(m_pEntityToReset.isNull() || m_pEntityToReset->reset());
    if (m_pCurrentGenerator.isNull())
    {
        QC_ERROR("Audio set " << m_strFilename << " has no file that can be used, of "
                              << m_parser.getFilenames().size() << " listed");
        return false;
    }
    tellWatcherOfFile();
    if (m_pCurrentGenerator->gotoStart())
        return true;
    setCurrentGenerator({});
    m_bClean = false;
    return false;
}

bool FileSetDataGeneratorImpl::generateNext()
{
    QC_TRACE("FileSetDataGeneratorNoT::generateNext");
    if (m_pPatterns == nullptr)
        return std::exchange(m_bBeforeFirst, false) && gotoUsableFile(getFirstDataGenerator());
    if (!m_pPatterns->generateNext())
        return endFile();
    m_bFileUsed = true;
    return true;
}

/// The current recording has no further pattern. Apart from the way of the others, which it would slow down.
[[gnu::noinline]] bool FileSetDataGeneratorImpl::endFile()
{
    if (!QC_CHECK(m_pCurrentGenerator->atEnd()))
    {
        m_bClean = false;
        m_pPatterns = nullptr;
        return false;
    }
    QC_DEBUG("End of file " << m_pCurrentGenerator->getCurrentFilename() << " reached");
    leaveFile();
    return gotoUsableFile(getNextDataGenerator());
}

/// The first pattern of the first recording from that one on that has a pattern becomes current.
bool FileSetDataGeneratorImpl::gotoUsableFile(LimitedObjPtr<FileDataGenerator> in_pFirst)
{
    for (;; in_pFirst = getNextDataGenerator())
    {
        setCurrentGenerator(in_pFirst);
        if (m_pCurrentGenerator.isNull())
        {
            QC_DEBUG("End of last audio file reached");
            logSummary();
            return false;
        }
        if (startFile())
            return true;
    }
}

bool FileSetDataGeneratorImpl::startFile()
{
    QC_DEBUG("Switching to file " << m_pCurrentGenerator->getCurrentFilename());
    tellWatcherOfFile();
    if (!m_pCurrentGenerator->gotoStart())
    {
        QC_ERROR("Could not go to the start of the new data generator. Corresponding filename is "
                 << m_pCurrentGenerator->getCurrentFilename());
        skipInPass();
        return false;
    }
    m_bFileUsed = m_pCurrentGenerator->generateNext();
    if (!m_bFileUsed)
        leaveFile();
    return m_bFileUsed;
}

void FileSetDataGeneratorImpl::tellWatcher(const std::string& in_strFilename, std::size_t in_uiNumber) const
{
    if (m_watcher)
        m_watcher(in_strFilename, in_uiNumber, m_parser.getFilenames().size());
}

void FileSetDataGeneratorImpl::tellWatcherOfFile() const
{
    const FileCounts counts = getFileCounts();
    tellWatcher(m_pCurrentGenerator->getCurrentFilename(), counts.m_uiUsed + counts.m_uiSkipped + 1);
}

/// Counts what the current recording delivered. One whose first window no class covers is passed over, but
/// the set has not ended cleanly then.
void FileSetDataGeneratorImpl::leaveFile()
{
    m_bClean = m_bClean && m_pCurrentGenerator->endedCleanly();
    const auto* pSource = dynamic_cast<const AudioClassStatisticsSource*>(m_pCurrentGenerator.get());
    if (pSource != nullptr)
        pSource->addStatistics(m_statistics);
    m_pCurrentGenerator->releaseFile();
    if (m_bFileUsed)
    {
        ++m_uiUsed;
        return;
    }
    QC_ERROR("Just gone to the start of file " << m_pCurrentGenerator->getCurrentFilename()
                                               << " but could not get first window");
    skipInPass();
}

void FileSetDataGeneratorImpl::addStatistics(AudioClassStatistics& io_statistics) const
{
    QC_TRACE("FileSetDataGeneratorImpl::addStatistics");
    io_statistics.merge(m_statistics);
    const auto* pSource = dynamic_cast<const AudioClassStatisticsSource*>(m_pCurrentGenerator.get());
    if (pSource != nullptr)
        pSource->addStatistics(io_statistics);
}

void FileSetDataGeneratorImpl::logSummary()
{
    if (!s_logger.isEnabledFor(LogLevel::INFO))
        return;
    const FileCounts counts = getFileCounts();
    AudioClassStatistics statistics = m_statistics;
    summarise_i(statistics);
    LogMessage message(s_logger, LogLevel::INFO, __FILE__, __LINE__);
    message.stream() << counts.m_uiListed << " file(s) listed, " << counts.m_uiUsed << " used, "
                     << counts.m_uiSkipped << " skipped. Patterns: " << statistics.m_all;
    for (const AudioClassStatistics::Row& row : statistics.m_vRows)
        message.stream() << "; " << row.m_strClass << ": " << row;
}

FileSetDataGeneratorImpl::FileCounts FileSetDataGeneratorImpl::getFileCounts() const
{
    return {m_parser.getFilenames().size(), m_uiUsed, m_uiSkippedAlways + m_uiSkippedInPass};
}

Fallible<double> FileSetDataGeneratorImpl::getShareRead() const
{
    const FileCounts counts = getFileCounts();
    if (counts.m_uiListed == 0)
        return {};
    const Fallible<double> current =
        m_pCurrentGenerator.isNull() ? Fallible<double>() : m_pCurrentGenerator->getShareRead();
    const auto dDone = static_cast<double>(counts.m_uiUsed + counts.m_uiSkipped);
    return (dDone + (current.isValid() ? current.getValue() : 0.0)) / static_cast<double>(counts.m_uiListed);
}

// No trace scope of their own: the generator of the recording has one, and theirs would cost as much as the
// call.

bool FileSetDataGeneratorImpl::getInput(DoubleVector& out_vInput)
{
    return m_pPatterns != nullptr && m_pPatterns->getInput(out_vInput);
}

bool FileSetDataGeneratorImpl::getTarget(DoubleVector& out_vTarget)
{
    return m_pPatterns != nullptr && m_pPatterns->getTarget(out_vTarget);
}

const char* FileSetDataGeneratorImpl::getCurrentFilename() const
{
    return m_pCurrentGenerator.isNull() ? m_strFilename.c_str() : m_pCurrentGenerator->getCurrentFilename();
}

std::ostream& FileSetDataGeneratorImpl::dumpStatus(std::ostream& out_stream)
{
    QC_TRACE("FileSetDataGeneratorImpl::dumpStatus");
    if (m_pCurrentGenerator.isNull())
        return out_stream << "All files have been processed";
    out_stream << "File " << m_pCurrentGenerator->getCurrentFilename() << " : ";
    return m_pCurrentGenerator->dumpStatus(out_stream);
}

void FileSetDataGeneratorImpl::releaseFile()
{
    QC_TRACE("FileSetDataGeneratorImpl::releaseFile");
    if (!m_pCurrentGenerator.isNull())
        m_pCurrentGenerator->releaseFile();
}

bool FileSetDataGeneratorNoT::setRecordings(const RecordingList& in_list)
{
    QC_TRACE("FileSetDataGeneratorNoT::setRecordings");
    FileSetDataGeneratorImpl::setRecordings(in_list);
    m_vGenerators.clear();
    m_uiPosition = 0;
    std::string strFilename;
    while (m_parser.next(strFilename))
    {
        tellWatcher(strFilename, m_vGenerators.size() + getNbSkippedAlways() + 1);
        addFile(strFilename);
    }
    return true;
}

void FileSetDataGeneratorNoT::addFile(const std::string& in_strFilename)
{
    const CountedObjPtr<FileDataGenerator> pGenerator = newFileGeneratorFor(in_strFilename);
    if (pGenerator.isNull())
    {
        skipAlways();
    }
    else if (!pGenerator->setCurrentFilename(in_strFilename.c_str()))
    {
        QC_ERROR("File " << in_strFilename << " exists but setCurrentFilename() failed. Skipping file...");
        skipAlways();
    }
    else if (!handOverEntity(*pGenerator))
    {
        QC_ERROR("Could not set entity to reset in FileDataGenerator. File " << in_strFilename
                                                                             << " will be skipped.");
        skipAlways();
    }
    else
    {
        m_vGenerators.push_back(pGenerator);
    }
}

LimitedObjPtr<FileDataGenerator> FileSetDataGeneratorNoT::getGenerator() const
{
    return m_uiPosition < m_vGenerators.size()
               ? LimitedObjPtr<FileDataGenerator>(m_vGenerators[m_uiPosition].get())
               : LimitedObjPtr<FileDataGenerator>();
}

LimitedObjPtr<FileDataGenerator> FileSetDataGeneratorNoT::getFirstDataGenerator()
{
    QC_TRACE("FileSetDataGeneratorNoT::getFirstDataGenerator");
    m_uiPosition = 0;
    return getGenerator();
}

LimitedObjPtr<FileDataGenerator> FileSetDataGeneratorNoT::getNextDataGenerator()
{
    QC_TRACE("FileSetDataGeneratorNoT::getNextDataGenerator");
    m_uiPosition = std::min(m_uiPosition + 1, m_vGenerators.size());
    return getGenerator();
}

bool FileSetDataGeneratorNoT::handOverEntity_i()
{
    bool bAll = true;
    for (const CountedObjPtr<FileDataGenerator>& pGenerator : m_vGenerators)
        bAll = handOverEntity(*pGenerator) && bAll;
    return bAll;
}

bool FileSetDataGeneratorNoT::atEnd() const
{
    QC_TRACE("FileSetDataGeneratorNoT::atEnd");
    if (isBeforeFirst())
        return m_vGenerators.empty();
    if (m_uiPosition + 1 < m_vGenerators.size())
        return false;
    const LimitedObjPtr<FileDataGenerator> pGenerator = getGenerator();
    return pGenerator.isNull() || pGenerator->atEnd();
}

bool LowMemoryFileSetDataGeneratorNoT::setRecordings(const RecordingList& in_list)
{
    QC_TRACE("LowMemoryFileSetDataGeneratorNoT::setRecordings");
    FileSetDataGeneratorImpl::setRecordings(in_list);
    m_pGenerator = {};
    m_bLastNameUsed = false;
    return true;
}

LimitedObjPtr<FileDataGenerator> LowMemoryFileSetDataGeneratorNoT::getFirstDataGenerator()
{
    QC_TRACE("LowMemoryFileSetDataGeneratorNoT::getFirstDataGenerator");
    m_parser.rewind();
    m_bLastNameUsed = false;
    return getNextDataGenerator();
}

LimitedObjPtr<FileDataGenerator> LowMemoryFileSetDataGeneratorNoT::getNextDataGenerator()
{
    QC_TRACE("LowMemoryFileSetDataGeneratorNoT::getNextDataGenerator");
    return goToNextValidFilename() ? LimitedObjPtr<FileDataGenerator>(m_pGenerator.get())
                                   : LimitedObjPtr<FileDataGenerator>();
}

bool LowMemoryFileSetDataGeneratorNoT::goToNextValidFilename()
{
    QC_TRACE("LowMemoryFileSetDataGeneratorNoT::goToNextValidFilename");
    std::string strFilename;
    while (m_parser.next(strFilename))
    {
        if (setFile(strFilename))
            return true;
        skipInPass();
    }
    m_bLastNameUsed = true;
    return false;
}

bool LowMemoryFileSetDataGeneratorNoT::setFile(const std::string& in_strFilename)
{
    if (!isReadable(in_strFilename))
    {
        QC_ERROR("File " << in_strFilename << " does not exist or cannot be read. Skipping file...");
        return false;
    }
    if (m_pGenerator.isNull())
    {
        const CountedObjPtr<FileDataGenerator> pGenerator = newFileGeneratorFor(in_strFilename);
        if (pGenerator.isNull())
            return false;
        if (!handOverEntity(*pGenerator))
        {
            QC_ERROR("Could not set entity to reset in FileDataGenerator. File " << in_strFilename
                                                                                 << " will be skipped.");
            return false;
        }
        m_pGenerator = pGenerator;
    }
    if (m_pGenerator->setCurrentFilename(in_strFilename.c_str()))
        return true;
    // The parenthesis is not opened: text kept.
    QC_ERROR("File " << in_strFilename << ") exists but setCurrentFilename() failed. Skipping file...");
    return false;
}

bool LowMemoryFileSetDataGeneratorNoT::handOverEntity_i()
{
    return m_pGenerator.isNull() || handOverEntity(*m_pGenerator);
}

bool LowMemoryFileSetDataGeneratorNoT::atEnd() const
{
    QC_TRACE("FileSetDataGenerator::atEnd");
    if (isBeforeFirst())
        return m_parser.getFilenames().empty();
    return m_bLastNameUsed || (!m_parser.hasNext() && !m_pGenerator.isNull() && m_pGenerator->atEnd());
}

StringVector findAnnotatedClasses(const StringVector& in_vFilenames, const StringVector& in_vClasses,
                                  const IsOfClass& in_isOfClass)
{
    QC_TRACE("MachineLearning::findAnnotatedClasses");
    std::vector<bool> vFound(in_vClasses.size(), false);
    std::size_t uiMissing = in_vClasses.size();
    for (const std::string& strFilename : in_vFilenames)
    {
        if (uiMissing == 0)
            break;
        InputFile recording;
        AnnotatedFile file;
        if (!recording.openRegular(strFilename.c_str()) || !file.readFromWAV(recording))
            continue;
        for (std::size_t i = 0; i < in_vClasses.size(); ++i)
        {
            const auto isOfClass = [&](const Annotation& in_annotation)
            {
                return in_isOfClass(in_annotation.getLabel(), in_vClasses[i]);
            };
            if (vFound[i] ||
                std::none_of(file.getAnnotations().begin(), file.getAnnotations().end(), isOfClass))
                continue;
            vFound[i] = true;
            --uiMissing;
        }
    }
    StringVector vClasses;
    for (std::size_t i = 0; i < in_vClasses.size(); ++i)
        if (vFound[i])
            vClasses.push_back(in_vClasses[i]);
    return vClasses;
}

} // namespace Vexalor::MachineLearning
