#include "ml-annotate/AnnotateApplication.h"

#include "common/ListedNames.h"
#include "ml-annotate/AnnotationCheck.h"
#include "quillcast-core/AsciiCase.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <limits>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.app.ml-annotate");

constexpr std::size_t ANY_NUMBER = std::numeric_limits<std::size_t>::max();
constexpr AnnotateCommand COMMANDS[] = {
    {"list", "FILE...", 1, ANY_NUMBER, listAnnotations,
     "print them, one line each: start, tab, stop, tab, label; or --json"},
    {"check", "FILE...", 1, ANY_NUMBER, checkRecordings,
     "print what is wrong with them; fails if there is anything"},
    {"export", "FILE [LABELS]", 1, 2, exportAnnotations, "write them into a file of labels, or print those"},
    {"import", "FILE LABELS", 2, 2, importAnnotations,
     "replace them by those of a file of labels, or - for standard input; markers stay unless it brings "
     "some: a marker's times are equal"},
    {"label-copies", "DIR FILE...", 2, ANY_NUMBER, copyWithLabels,
     "copy recordings into a folder, each with the labels that lie beside it: x.wav with x.txt, x.tsv, "
     "x.TextGrid, x.rttm, x.csv or x.json; DIR/list.txt lists them"},
    {"draw", "FILE SVG", 2, 2, drawRecording,
     "draw signal, spectrogram and labels as a picture for browsers; - is standard output"}};

/// Options of some commands only; the others take them all.
struct CommandOption
{
    const char* m_name;
    const char* m_commands; ///< separated by blanks
};

constexpr CommandOption COMMAND_OPTIONS[] = {{"json", "list"},
                                             {"decode", "list"},
                                             {"markers", "list export"},
                                             {"format", "export import label-copies"},
                                             {"tier", "import label-copies"},
                                             {"ignore", "check"},
                                             {"force", "export import label-copies draw"}};

/// Other kinds of pictures, by what their names end with.
constexpr const char* OTHER_PICTURES[] = {".png", ".jpg", ".jpeg", ".gif", ".webp",
                                          ".bmp", ".tif", ".tiff", ".pdf", ".eps"};

std::string describeCommands()
{
    constexpr std::size_t COLUMN = 24;
    std::string strText =
        "Annotations of recordings: cue points with a length, as audio editors keep them in WAV files.\n";
    for (const AnnotateCommand& command : COMMANDS)
    {
        std::string strUsage = std::string(command.m_name) + ' ' + command.m_arguments;
        strUsage.resize(std::max(COLUMN, strUsage.size()), ' ');
        strText += "  " + strUsage + ' ' + command.m_description + '\n';
    }
    return strText + "The extension tells the format of labels, or --format. Their order is kept unless "
                     "--sort is given.";
}

std::string listCommands()
{
    std::string strNames;
    for (const AnnotateCommand& command : COMMANDS)
        strNames += (strNames.empty() ? "" : ", ") + std::string(command.m_name);
    return strNames;
}

std::string describeKinds()
{
    std::string strText = "check: do not report this kind; may be repeated:";
    for (const FindingKind& kind : FINDING_KINDS)
        strText += std::string("\n") + kind.m_name + ": " + kind.m_description;
    return strText;
}

} // namespace

AnnotateApplication::AnnotateApplication()
    : ApplicationImpl(s_logger, "ml-annotate")
{
    auto addOption = getOptions().add_options();
    addOption("json", bool_switch(), "list: print all that the files hold as JSON");
    addOption("decode", bool_switch(), "list: read all samples, report how many there are in --json");
    addOption("markers", bool_switch(), "list, export: markers, too, after the annotations");
    addOption("map", value<StringVector>()->value_name("A=B"), "label B instead of A; may be repeated");
    addOption("fill", value<std::string>()->value_name("LABEL"), "label for what no annotation covers");
    addOption("join", bool_switch(), "join annotations of one label that touch or overlap");
    addOption("sort", bool_switch(), "sort by time");
    addOption("format", value<std::string>()->value_name("FORMAT"),
              ("of files of labels: " + LabelFormat::listNames()).c_str());
    addOption("tier", value<StringVector>()->value_name("NAME"),
              "import, label-copies: take this tier of a TextGrid; may be repeated");
    OverwriteGuard::addOption(getOptions(),
                              "draw, export, label-copies: write over a recording, too; import: replace "
                              "annotations by none, too");
    addOption("ignore", value<StringVector>()->value_name("KIND"), describeKinds().c_str());
    setArguments("arguments", -1, "COMMAND FILE...", describeCommands().c_str());
    setExamples("ml-annotate list call.wav\n"
                "ml-annotate import call.wav labels.txt --fill SILENCE\n"
                "ml-annotate check call.wav --ignore uncovered\n"
                "ml-annotate label-copies out corpus/*.wav --map A=VOICE --join --fill OTHER\n"
                "ml-annotate draw call.wav call.svg");
}

bool AnnotateApplication::processCmdlineVarsMap(const variables_map& in_map)
{
    if (!ApplicationImpl::processCmdlineVarsMap(in_map))
        return false;
    if (isStopped())
        return true;
    if (in_map.count("arguments") != 0)
        m_request.m_vFiles = in_map["arguments"].as<StringVector>();
    if (!m_request.m_vFiles.empty())
    {
        m_strCommand = m_request.m_vFiles.front();
        m_request.m_vFiles.erase(m_request.m_vFiles.begin());
    }
    m_request.m_bJson = isSwitchOn(in_map, "json");
    m_request.m_bMarkers = isSwitchOn(in_map, "markers");
    m_request.m_bDecode = isSwitchOn(in_map, "decode");
    m_request.m_guard.takeOption(in_map);
    m_request.m_edits.setJoin(isSwitchOn(in_map, "join"));
    m_request.m_edits.setSort(isSwitchOn(in_map, "sort"));
    if (in_map.count("fill") != 0)
        m_request.m_edits.setFill(getString(in_map, "fill"));
    std::string strError;
    if (in_map.count("map") != 0 && !m_request.m_edits.setMaps(in_map["map"].as<StringVector>(), strError))
    {
        QC_ERROR("Option --map: " << strError);
        return refuseCommand();
    }
    if (in_map.count("tier") != 0)
        m_request.m_vTiers = in_map["tier"].as<StringVector>();
    return takeFormat(in_map) && takeIgnored(in_map) &&
           ((checkCommand() && checkOptions(in_map) && checkTiers()) || refuseCommand());
}

bool AnnotateApplication::takeFormat(const variables_map& in_map)
{
    const std::string strFormat = getString(in_map, "format");
    if (in_map.count("format") == 0)
        return true;
    m_request.m_pFormat = LabelFormat::find(strFormat);
    if (m_request.m_pFormat == nullptr)
        QC_ERROR("Option --format: there is no \"" << strFormat << "\", only " << LabelFormat::listNames());
    return m_request.m_pFormat != nullptr || refuseCommand();
}

bool AnnotateApplication::takeIgnored(const variables_map& in_map)
{
    if (in_map.count("ignore") == 0)
        return true;
    for (const std::string& strKind : in_map["ignore"].as<StringVector>())
    {
        if (std::none_of(std::begin(FINDING_KINDS), std::end(FINDING_KINDS),
                         [&](const FindingKind& in_kind) { return strKind == in_kind.m_name; }))
        {
            QC_ERROR("Option --ignore: there is no kind \"" << strKind << "\"");
            return refuseCommand();
        }
        m_request.m_ignored.insert(strKind);
    }
    return true;
}

bool AnnotateApplication::checkCommand()
{
    const AnnotateCommand* pCommand = findCommand();
    const std::size_t uiFiles = m_request.m_vFiles.size();
    if (pCommand == nullptr)
        QC_ERROR((m_strCommand.empty() ? "" : "There is no command " + m_strCommand + ". ")
                 << "A command is needed: " << listCommands() << "; see --help");
    else if (uiFiles < pCommand->m_uiFewest || uiFiles > pCommand->m_uiMost)
        QC_ERROR("Command " << m_strCommand << " takes " << pCommand->m_arguments << ", not " << uiFiles
                            << (uiFiles == 1 ? " file" : " files") << "; see --help");
    else
        return pCommand->m_run != drawRecording || checkPicture();
    return false;
}

/// False, with the reason logged, for a name that viewers of pictures would believe.
bool AnnotateApplication::checkPicture() const
{
    const std::string strExtension = std::filesystem::path(m_request.m_vFiles.back()).extension().string();
    if (std::none_of(std::begin(OTHER_PICTURES), std::end(OTHER_PICTURES),
                     [&](const char* in_other) { return equalIgnoringCase(in_other, strExtension); }))
        return true;
    QC_ERROR("Not writing " << m_request.m_vFiles.back()
                            << ": draw makes SVG files, for browsers; give it a name that ends with .svg");
    return false;
}

/// False, with the reason logged, when an option would have no effect.
bool AnnotateApplication::checkOptions(const variables_map& in_map) const
{
    for (const CommandOption& option : COMMAND_OPTIONS)
    {
        const StringVector vCommands = splitText(option.m_commands, ' ');
        if (!isGiven(in_map, option.m_name) ||
            std::find(vCommands.begin(), vCommands.end(), m_strCommand) != vCommands.end())
            continue;
        QC_ERROR("Option --" << option.m_name << " is not for " << m_strCommand
                             << ", only for: " << option.m_commands);
        return false;
    }
    return true;
}

/// The same for tiers, where the format of the labels is known.
bool AnnotateApplication::checkTiers() const
{
    if (m_request.m_vTiers.empty() || (m_request.m_pFormat == nullptr && m_strCommand != "import"))
        return true;
    const LabelFormat& format = getFormat(m_request, m_request.m_vFiles.back());
    if (&format == LabelFormat::find("textgrid"))
        return true;
    QC_ERROR("Option --tier is only for the format textgrid, the labels are read as " << format.m_name);
    return false;
}

const AnnotateCommand* AnnotateApplication::findCommand() const
{
    const auto* itCommand =
        std::find_if(std::begin(COMMANDS), std::end(COMMANDS),
                     [&](const AnnotateCommand& in_command) { return m_strCommand == in_command.m_name; });
    return itCommand == std::end(COMMANDS) ? nullptr : itCommand;
}

bool AnnotateApplication::run_i()
{
    QC_TRACE("AnnotateApplication::run_i");
    return findCommand()->m_run(m_request);
}

} // namespace Vexalor
