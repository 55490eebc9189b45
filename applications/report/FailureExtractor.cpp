#include "report/FailureExtractor.h"

#include "MLDataGeneratorFactory.h"
#include "MLVectorFileDataGenerator.h"
#include "common/OutputFile.h"
#include "quillcast-audio/AnnotatedFile.h"
#include "quillcast-core/Logger.h"
#include "quillcast-infra/ApplicationImpl.h"
#include "quillcast-infra/CommandLineError.h"
#include "report/Decision.h"
#include "report/ReportText.h"

#include <filesystem>
#include <limits>
#include <sstream>
#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.FailureExtractor");

constexpr const char* FOLDER_OPTION = "extract-failures";
constexpr const char* LIMIT_OPTION = "extract-limit";

/// Bytes of a sequence that are kept in memory.
constexpr std::size_t BUFFER_SIZE = std::size_t(1) << 20;

constexpr const char* INDEX_HEADER =
    "patterns_file\trecording\tsource\tfirst_pattern\tpatterns\tfailures\tseconds\n";

} // namespace

bool FailureExtractor::ResetWatch::reset()
{
    m_bNews = true;
    return m_hEntity.isNull() || m_hEntity->reset();
}

bool FailureExtractor::ResetWatch::takeNews()
{
    return std::exchange(m_bNews, false);
}

void FailureExtractor::addOptions(options_description& io_options)
{
    auto addOption = io_options.add_options();
    addOption(FOLDER_OPTION, value<std::string>()->value_name("DIR"),
              "cut the sequences with failures out of the stream, into this folder, to be tested alone");
    addOption(LIMIT_OPTION, value<std::string>()->value_name("N")->default_value("10"),
              "how many of them, the first ones");
}

void FailureExtractor::takeOptions(const variables_map& in_map)
{
    QC_TRACE("FailureExtractor::takeOptions");
    ApplicationImpl::checkNeeds(in_map, {LIMIT_OPTION}, {FOLDER_OPTION});
    m_uiLimit = ApplicationImpl::getCount(in_map, LIMIT_OPTION, 1, std::numeric_limits<std::uint32_t>::max());
    if (in_map.count(FOLDER_OPTION) == 0)
        return;
    m_strFolder = in_map[FOLDER_OPTION].as<std::string>();
    if (m_strFolder.empty() || m_strFolder == "-")
        throw CommandLineError(std::string("option '--") + FOLDER_OPTION + "' needs a folder");
}

bool FailureExtractor::begin(bool in_bForce)
{
    QC_TRACE("FailureExtractor::begin");
    if (!isWanted())
        return true;
    std::error_code error;
    std::filesystem::create_directories(m_strFolder, error);
    const bool bEmpty = !error && std::filesystem::is_empty(m_strFolder, error);
    if (error)
        QC_ERROR("Could not create the folder " << m_strFolder << ": " << error.message());
    else if (!bEmpty && !in_bForce)
        QC_ERROR("The folder " << m_strFolder
                               << " is not empty, failing sequences of another test may be in it; --force "
                                  "writes into it all the same");
    return !error && (bEmpty || in_bForce);
}

Handle<Resettable, ReferenceCount>
FailureExtractor::watchResets(const Handle<Resettable, ReferenceCount>& in_entity)
{
    QC_TRACE("FailureExtractor::watchResets");
    if (!isWanted())
        return in_entity;
    m_pResets = CountedObjPtr<ResetWatch>(new ResetWatch(in_entity));
    return m_pResets;
}

void FailureExtractor::add(const PatternSource& in_source, bool in_bNewRecording,
                           const DoubleVector& in_vOutput, const DoubleVector* in_pTarget)
{
    m_uiInSource = in_bNewRecording ? 1 : m_uiInSource + 1;
    if (m_pResets->takeNews() || !m_bInSequence)
        startSequence(in_source, in_bNewRecording);
    ++m_sequence.m_uiPatterns;
    if (m_bDone && m_uiCut < m_uiLimit)
        keepPattern(in_pTarget);
    if (Decision::isFailure(in_vOutput, in_pTarget))
        noteFailure(in_source);
    if (m_strText.size() >= BUFFER_SIZE)
        m_bDone = spill();
}

void FailureExtractor::startSequence(const PatternSource& in_source, bool in_bNewRecording)
{
    finishSequence();
    m_bInSequence = true;
    ++m_uiSequences;
    m_sequence = {};
    m_sequence.m_strSource = in_source.getName();
    m_sequence.m_bBeginsSource = in_bNewRecording;
    m_sequence.m_bRecording = in_source.isRecording();
    m_sequence.m_uiFirst = m_uiInSource;
}

void FailureExtractor::keepPattern(const DoubleVector* in_pTarget)
{
    static const DoubleVector NO_TARGET;
    m_pGenerator->getInput(m_vInput);
    VectorFileWriter::appendPattern(m_strText, m_sequence.m_uiPatterns == 1, m_vInput,
                                    in_pTarget == nullptr ? NO_TARGET : *in_pTarget);
}

void FailureExtractor::noteFailure(const PatternSource& in_source)
{
    ++m_sequence.m_uiFailures;
    m_sequence.m_uiCutPatterns = m_sequence.m_uiPatterns;
    m_sequence.m_uiCutBytes = m_uiInFile + m_strText.size();
    if (!m_sequence.m_bRecording)
        return;
    m_sequence.m_uiCutSamples = static_cast<std::uint64_t>(in_source.getInterval().m_iStop);
    m_sequence.m_uiRate = in_source.getRate();
}

void FailureExtractor::finishSequence()
{
    if (std::exchange(m_bInSequence, false) && m_sequence.m_uiFailures > 0)
    {
        ++m_uiFailed;
        if (m_bDone && m_uiCut < m_uiLimit)
            m_bDone = cutOut();
    }
    m_file.reset();
    m_uiInFile = 0;
    m_strText.clear();
}

/// Of the sequence that is cut out next, in the folder.
std::string FailureExtractor::makePath(const std::string& in_strExtension) const
{
    std::string strNumber = std::to_string(m_uiCut + 1);
    strNumber.insert(0, strNumber.size() < 3 ? 3 - strNumber.size() : 0, '0');
    return m_strFolder + '/' + strNumber + in_strExtension;
}

bool FailureExtractor::cutOut()
{
    const bool bRecording = m_sequence.m_bRecording && m_sequence.m_bBeginsSource;
    if (!writePatterns() || (bRecording && !writeRecording()))
        return false;
    const auto toName = [](const std::string& in_strPath)
    {
        return std::filesystem::path(in_strPath).filename().string();
    };
    const std::string strRecording = bRecording ? toName(makePath(".wav")) : "";
    std::ostringstream line;
    line.imbue(std::locale::classic());
    line << toName(makePath(".txt")) << '\t' << strRecording << '\t'
         << ReportText::toOneLine(m_sequence.m_strSource) << '\t' << m_sequence.m_uiFirst << '\t'
         << m_sequence.m_uiCutPatterns << '\t' << m_sequence.m_uiFailures << '\t';
    if (bRecording)
        line << static_cast<double>(m_sequence.m_uiCutSamples) / m_sequence.m_uiRate;
    m_strIndex += line.str() + '\n';
    if (bRecording)
        m_strRecordings += strRecording + '\n';
    ++m_uiCut;
    return true;
}

/// What the file holds already may go beyond the last failure.
bool FailureExtractor::writePatterns()
{
    m_strText.resize(m_sequence.m_uiCutBytes > m_uiInFile ? m_sequence.m_uiCutBytes - m_uiInFile : 0);
    if (!spill())
        return false;
    std::error_code error;
    std::filesystem::resize_file(m_file->getTemporaryPath(), m_sequence.m_uiCutBytes, error);
    if (error)
        QC_ERROR("Cannot write " << m_file->getPath() << ": " << error.message());
    return !error && reportOutput(*m_file, m_file->commit());
}

bool FailureExtractor::writeRecording()
{
    FileReplacer file(makePath(".wav"));
    return AnnotatedFile::copyStartOfWAV(m_sequence.m_strSource.c_str(), m_sequence.m_uiCutSamples, file);
}

/// Brings what is in memory to the file.
bool FailureExtractor::spill()
{
    if (!m_file)
    {
        m_file.emplace(makePath(".txt"));
        if (!reportOutput(*m_file, m_file->open()))
            return false;
    }
    if (!reportOutput(*m_file, m_file->write(m_strText)))
        return false;
    m_uiInFile += m_strText.size();
    m_strText.clear();
    return true;
}

bool FailureExtractor::finish()
{
    QC_TRACE("FailureExtractor::finish");
    if (!isWanted())
        return true;
    finishSequence();
    if (!m_bDone || m_uiCut == 0)
    {
        if (m_bDone)
            QC_INFO("No sequence of " << m_uiSequences << " has a failure: nothing is cut out");
        return m_bDone;
    }
    std::ostringstream config;
    if (!saveDataGeneratorToStream(config, {}, VectorFileDataGenerator()) ||
        !replaceFile(m_strFolder + "/patterns.xml", config.str()) ||
        !replaceFile(m_strFolder + "/failures.tsv", INDEX_HEADER + m_strIndex) ||
        (!m_strRecordings.empty() && !replaceFile(m_strFolder + "/recordings.lst", m_strRecordings)))
        return false;
    QC_INFO("Sequences with failures: " << m_uiFailed << " of " << m_uiSequences << ". "
                                        << (m_uiCut < m_uiFailed ? "The first " : "") << m_uiCut
                                        << " cut out into " << m_strFolder
                                        << (m_uiCut < m_uiFailed ? "; --extract-limit allows no more" : ""));
    return true;
}

} // namespace Vexalor::MachineLearning
