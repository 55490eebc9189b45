#include "ml-classify/ClassifyApplication.h"

#include "XprAudioClassifier.h"
#include "common/PatternProgress.h"
#include "ml-classify/RecordingStream.h"
#include "ml-classify/ResultWriter.h"
#include "quillcast-audio/AudioFileReader.h"
#include "quillcast-infra/CommandLineError.h"

#include <algorithm>
#include <filesystem>
#include <limits>
#include <map>
#include <optional>
#include <unistd.h>
#include <vector>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.ml-classify");

constexpr const char* SCRIPT_OPTION = "script";
constexpr const char* FURTHER_OPTION = "further-script";
constexpr const char* DETECTOR_OPTION = "detector";
constexpr const char* RATE_OPTION = "rate";
constexpr const char* ENCODING_OPTION = "encoding";
constexpr const char* FOLDER_OPTION = "filesystem-path";
constexpr const char* GRAPH_OPTION = "dump-evaluator-in-file";
constexpr const char* JSON_OPTION = "json";
constexpr const char* STANDARD_INPUT = "-";

/// Samples that are pushed at most at a time.
constexpr std::size_t MAX_PIECE = 16384;

StringVector getStrings(const variables_map& in_map, const char* in_option)
{
    return in_map.count(in_option) == 0 ? StringVector() : in_map[in_option].as<StringVector>();
}

/// The folder of scripts that was installed with this program; empty when there is none.
std::string findInstalledScripts()
{
    std::error_code failure;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", failure);
    const std::filesystem::path folder = program.parent_path().parent_path() / QC_SHARED_FOLDER / "scripts";
    return std::filesystem::is_directory(folder, failure) ? folder.string() : std::string();
}

/// Reads until there are so many samples or the source ends.
template <class Read>
std::size_t readPiece(const Read& in_read, double* out_samples, std::size_t in_uiCount)
{
    std::size_t uiFilled = 0;
    while (uiFilled < in_uiCount)
    {
        const std::size_t uiRead = in_read(out_samples + uiFilled, in_uiCount - uiFilled);
        if (uiRead == 0)
            break;
        uiFilled += uiRead;
    }
    return uiFilled;
}

/// How many samples end the next window, of those that a push may carry.
std::size_t getNextPiece(const AudioClassifierSet& in_set)
{
    const std::uint64_t uiLastEnd = in_set.getLastWindowEnd();
    const WindowSize& size = in_set.getWindowSize();
    const std::uint64_t uiEnd = uiLastEnd == 0 ? size.m_uiLength : uiLastEnd + size.m_uiShift;
    return static_cast<std::size_t>(std::min<std::uint64_t>(uiEnd - in_set.getPushedSamples(), MAX_PIECE));
}

} // namespace

ClassifyApplication::ClassifyApplication()
    : ApplicationImpl(s_logger, "ml-classify")
    , m_helper(this)
{
    auto addOption = getOptions().add_options();
    addOption(SCRIPT_OPTION, value<StringVector>()->value_name("NAME"),
              "classify by the script NAME.xpr of the file system; may be repeated. MANDATORY, or "
              "--detector");
    addOption(DETECTOR_OPTION, value<StringVector>()->value_name("FILE"),
              "detector whose outputs scripts find under the name of the file without extension; may be "
              "repeated. Without scripts its outputs are the result; the windower is that of the first");
    addOption(FURTHER_OPTION, value<StringVector>()->value_name("NAME"),
              "a script that those need; may be repeated");
    addOption(RATE_OPTION, value<std::string>()->value_name("HZ"),
              "sampling rate of raw samples; the windower's unless given");
    addOption(ENCODING_OPTION, value<std::string>()->value_name("KIND"),
              ("of raw samples: " + SampleEncoding::listNames() + "; s16 unless given").c_str());
    addOption(JSON_OPTION, bool_switch(), "print a JSON object a line");
    LabelOutput::addOptions(getOptions());
    OverwriteGuard::addOption(getOptions(), "write the graph and labels over a recording, too");
    options_description hidden;
    m_helper.addOptions(getOptions(), hidden);
    setArguments(
        "input", 1, "FILE",
        "Classifies a WAV recording by expression scripts or detectors, window by window, and prints the "
        "results, or labels of what was decided.\n"
        "FILE - stands for standard input: a WAV recording, or raw samples of one channel, little-endian.");
    setExamples("ml-classify --detector voice.detector call.wav\n"
                "ml-classify --filesystem-path examples/scripts --script voice call.wav\n"
                "cat call.alaw | ml-classify --filesystem-path examples/scripts --script dtmf \\\n"
                "    --encoding alaw --rate 8000 --json -\n"
                "ml-classify --filesystem-path examples/scripts --script voice \\\n"
                "    --class-names VOICE,OTHER --min-gap 0.3 --labels call.TextGrid call.wav");
}

bool ClassifyApplication::processCmdlineVarsMap(const variables_map& in_map)
{
    if (!ApplicationImpl::processCmdlineVarsMap(in_map))
        return false;
    if (isStopped())
        return true;
    m_vScripts = getStrings(in_map, SCRIPT_OPTION);
    takeScriptOptions(in_map);
    m_bJson = isSwitchOn(in_map, JSON_OPTION);
    m_vFurtherScripts = getStrings(in_map, FURTHER_OPTION);
    m_vDetectorFiles = getStrings(in_map, DETECTOR_OPTION);
    const StringVector vInputs = getStrings(in_map, "input");
    const bool bNothing = m_vScripts.empty() && m_vDetectorFiles.empty();
    if (bNothing || vInputs.empty())
    {
        QC_ERROR((bNothing ? "a script must be supplied" : "a recording must be supplied, or -"));
        return refuseCommand();
    }
    m_strInput = vInputs.front();
    m_labels.takeOptions(in_map, m_vScripts);
    if (m_bJson && m_labels.isWanted())
        throw CommandLineError(
            "option '--json' is for the results of windows; --labels-format is for labels");
    checkNeeds(in_map,
               {FURTHER_OPTION, "windower-config-file", FOLDER_OPTION, "result-variable-name", GRAPH_OPTION},
               {SCRIPT_OPTION});
    return mayWriteGraph(in_map) && takeRawOptions(in_map);
}

/// Without the folder of the default, scripts are those that are installed.
void ClassifyApplication::takeScriptOptions(const variables_map& in_map)
{
    variables_map map = in_map;
    boost::any& folder = map.at(FOLDER_OPTION).value();
    std::error_code failure;
    if (!m_vScripts.empty() && in_map[FOLDER_OPTION].defaulted() &&
        !std::filesystem::exists(boost::any_cast<std::string>(folder), failure))
        if (const std::string strInstalled = findInstalledScripts(); !strInstalled.empty())
        {
            QC_INFO("Scripts are those of " << strInstalled);
            folder = strInstalled;
        }
    m_helper.processCmdlineVarsMap(map);
}

bool ClassifyApplication::mayWriteGraph(const variables_map& in_map)
{
    m_guard.takeOption(in_map);
    m_guard.addInput(m_strInput);
    for (const std::string& strFile : m_vDetectorFiles)
        m_guard.addInput(strFile);
    return in_map.count(GRAPH_OPTION) == 0 || m_guard.allows(in_map[GRAPH_OPTION].as<std::string>());
}

bool ClassifyApplication::takeRawOptions(const variables_map& in_map)
{
    for (const char* option : {RATE_OPTION, ENCODING_OPTION})
        if (in_map.count(option) != 0)
            m_strRawOption = option;
    if (m_strInput != STANDARD_INPUT)
        return acceptRecording() || refuseCommand();
    if (in_map.count(RATE_OPTION) != 0)
        m_uiRate = static_cast<std::uint32_t>(
            getCount(in_map, RATE_OPTION, 1, std::numeric_limits<std::uint32_t>::max()));
    const std::string strEncoding =
        in_map.count(ENCODING_OPTION) == 0 ? "s16" : getString(in_map, ENCODING_OPTION);
    m_pEncoding = SampleEncoding::find(strEncoding);
    if (m_pEncoding == nullptr)
        QC_ERROR("Option --encoding: there is no \"" << strEncoding << "\", only "
                                                     << SampleEncoding::listNames());
    return m_pEncoding != nullptr || refuseCommand();
}

/// False, with the reason logged, when an option says what the header of a recording tells.
bool ClassifyApplication::acceptRecording() const
{
    if (!m_strRawOption.empty())
        QC_ERROR("Option --" << m_strRawOption << " is for raw samples: a recording tells by itself");
    return m_strRawOption.empty();
}

/// Adds first and configures then: so a script that does not load is a failure.
bool ClassifyApplication::addClassifiers(AudioClassifierSet& io_set)
{
    for (const std::string& strScript : m_vScripts)
    {
        if (io_set.findClassifier(strScript.c_str()) != io_set.end())
        {
            QC_ERROR("Script " << strScript << " is given twice");
            return false;
        }
        auto* pClassifier = new XprAudioClassifier;
        if (!io_set.addClassifier(strScript.c_str(), pClassifier) ||
            !pClassifier->configure(strScript.c_str(), m_helper.getOutVariableName().c_str(),
                                    LimitedObjPtr<StringVector>(&m_vFurtherScripts)))
            return false;
    }
    return true;
}

bool ClassifyApplication::readDetectors()
{
    std::map<std::string, std::string> names;
    for (const std::string& strFile : m_vDetectorFiles)
    {
        const auto [itName, bNew] = names.emplace(Detector::makeName(strFile), strFile);
        if (bNew)
            continue;
        QC_ERROR("Detectors " << itName->second << " and " << strFile << " have one name: " << itName->first);
        return false;
    }
    for (const std::string& strFile : m_vDetectorFiles)
        if (m_vDetectors.emplace_back(Detector::newFromFile(strFile.c_str())) == nullptr)
            return false;
    return true;
}

/// Once the rate of the audio is known: that of a detector has to be the same.
bool ClassifyApplication::addDetectors(AudioClassifierSet& io_set)
{
    for (std::size_t i = 0; i < m_vDetectors.size(); ++i)
        if (!addDetector(*m_vDetectors[i], Detector::makeName(m_vDetectorFiles[i]), m_vScripts.empty(),
                         io_set))
            return false;
    return true;
}

bool ClassifyApplication::setup()
{
    if (!readDetectors())
        return false;
    if (!m_vScripts.empty() && !m_vDetectors.empty())
        m_helper.setWindows(m_vDetectors.front()->getWindows());
    if (!m_vScripts.empty())
        return m_helper.setupClassifierSet();
    return m_helper.getSet().configure(m_vDetectors.front()->getWindows());
}

bool ClassifyApplication::run_i()
{
    QC_TRACE("ClassifyApplication::run_i");
    return setup() && (m_pEncoding == nullptr ? runRecording() : runStream());
}

bool ClassifyApplication::runRecording()
{
    AudioFileReader reader;
    if (!reader.open(m_strInput.c_str(), m_helper.getSet().getConfig().m_iChannel))
        return false;
    return runFrom({reader.getSamplingRate(), false, reader.getFrameCount(),
                    [&reader](double* out_samples, std::size_t in_uiCount)
                    { return reader.read(out_samples, in_uiCount); },
                    [&reader]
                    {
                        return reader.hasInputError();
                    }});
}

bool ClassifyApplication::runStream()
{
    ByteStream stream(STDIN_FILENO);
    constexpr std::size_t ID_SIZE = 4;
    const bool bRecording =
        stream.await(ID_SIZE) &&
        AudioFileReader::isRecording({reinterpret_cast<const char*>(stream.getBytes()), ID_SIZE});
    SampleLayout layout;
    if (!(bRecording ? takeRecordingLayout(stream, layout) : takeRawLayout(layout)))
        return false;
    RawSampleReader reader(stream, layout);
    return runFrom({layout.m_uiRate, true, 0,
                    [&reader](double* out_samples, std::size_t in_uiCount)
                    { return reader.read(out_samples, in_uiCount); },
                    [&reader]
                    {
                        return reader.hasInputError();
                    }});
}

bool ClassifyApplication::takeRecordingLayout(ByteStream& io_stream, SampleLayout& out_layout)
{
    out_layout.m_iChannel = m_helper.getSet().getConfig().m_iChannel;
    if (!acceptRecording() || !readRecordingHeader(io_stream, out_layout))
        return false;
    if (out_layout.m_iChannel < out_layout.m_uiChannels)
        return true;
    QC_ERROR("Cannot read the recording on standard input: channel "
             << out_layout.m_iChannel << " is configured, it has " << out_layout.m_uiChannels);
    return false;
}

bool ClassifyApplication::takeRawLayout(SampleLayout& out_layout)
{
    const LinearAudioWindower::Config& config = m_helper.getSet().getConfig();
    if (config.m_iChannel > 0)
    {
        QC_ERROR("Raw samples have one channel, the windower is configured for channel "
                 << config.m_iChannel);
        return false;
    }
    if (m_uiRate == 0 && config.m_uiSamplingRate == 0)
    {
        QC_ERROR("The windower is configured for any sampling rate: option --rate is needed");
        return false;
    }
    out_layout.m_pEncoding = m_pEncoding;
    out_layout.m_uiRate = m_uiRate != 0 ? m_uiRate : config.m_uiSamplingRate;
    return true;
}

bool ClassifyApplication::runFrom(const Source& in_source)
{
    return start(in_source.m_uiRate) &&
           (!m_labels.isWanted() || m_labels.start(m_strInput, m_guard, m_helper.getSet())) &&
           classify(in_source) && m_helper.stopSet();
}

bool ClassifyApplication::start(std::uint32_t in_uiRate)
{
    if (!m_helper.getSet().setSourceRate(in_uiRate))
    {
        QC_ERROR("Audio of " << in_uiRate << " Hz does not fit the configuration of the windower");
        return false;
    }
    if (addDetectors(m_helper.getSet()) && m_helper.startSet())
        return true;
    QC_ERROR("Failed to start the classifiers");
    return false;
}

/// Of a recording, and where no results come to the terminal in between.
bool ClassifyApplication::mayShowProgress(const Source& in_source) const
{
    return !in_source.m_bLive && (m_labels.hasFile() || isatty(STDOUT_FILENO) == 0);
}

/// Up to the end of the next window at a time: no push completes two, and each is classified as soon as it is
/// complete.
bool ClassifyApplication::classify(const Source& in_source)
{
    AudioClassifierSet& set = m_helper.getSet();
    ResultWriter writer(m_bJson, in_source.m_bLive);
    std::vector<double> vSamples(MAX_PIECE);
    std::uint64_t uiWindows = 0;
    std::optional<PatternProgress> progress;
    if (mayShowProgress(in_source))
        progress.emplace(getName(), "windows");
    while (const std::size_t uiRead = readPiece(in_source.m_read, vSamples.data(), getNextPiece(set)))
    {
        const std::uint64_t uiEarlierEnd = set.getLastWindowEnd();
        if (!set.pushLinearAudio(vSamples.data(), vSamples.data() + uiRead))
        {
            QC_ERROR("Classification failed after " << set.getTotalPushedAudioTime() << " s of audio");
            return false;
        }
        if (set.getLastWindowEnd() == uiEarlierEnd)
            continue;
        ++uiWindows;
        if (!(m_labels.isWanted()
                  ? m_labels.add(set)
                  : writer.write(static_cast<double>(set.getLastWindowEnd()) / set.getSamplingRate(), set)))
            return false;
        if (progress && progress->isDue())
            progress->show(uiWindows, static_cast<double>(set.getPushedSamples()) /
                                          static_cast<double>(in_source.m_uiSamples));
    }
    if (in_source.m_hasInputError())
        return false;
    return m_labels.isWanted() ? m_labels.end(set.getTotalPushedAudioTime())
                               : writer.writeEnd(set.getTotalPushedAudioTime(), uiWindows,
                                                 set.getPushedSamples() - set.getLastWindowEnd());
}

} // namespace Vexalor::MachineLearning
