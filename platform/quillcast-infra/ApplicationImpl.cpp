#include "quillcast-infra/ApplicationImpl.h"

#include "quillcast-core/AsciiCase.h"
#include "quillcast-core/ConsoleLog.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-infra/CommandLineError.h"
#include "quillcast-infra/DiskFileSystem.h"
#include "quillcast-infra/DynLibsLoader.h"
#include "quillcast-infra/ParameterTrie.h"
#include "quillcast-infra/TerminalText.h"

#include <algorithm>
#include <array>
#include <boost/program_options/errors.hpp>
#include <boost/program_options/parsers.hpp>
#include <charconv>
#include <csignal>
#include <iostream>
#include <locale>
#include <new>
#include <sstream>
#include <sys/poll.h>
#include <unistd.h>

namespace Vexalor
{

namespace
{

namespace po = boost::program_options;

constinit Logger s_logger("quillcast.infra.Application");

constexpr int STATUS_FAILED = 1;
constexpr int STATUS_BAD_COMMAND_LINE = 2;

struct LevelName
{
    const char* m_name;
    LogLevel m_level;
};

constexpr std::array<LevelName, 6> LEVELS{{{"TRACE", LogLevel::TRACE},
                                           {"DEBUG", LogLevel::DEBUGGING},
                                           {"INFO", LogLevel::INFO},
                                           {"WARN", LogLevel::WARN},
                                           {"ERROR", LogLevel::ERROR},
                                           {"OFF", LogLevel::OFF}}};

const LevelName* findLevel(const std::string& in_strName)
{
    const auto* itLevel = std::find_if(LEVELS.begin(), LEVELS.end(),
                                       [&](const LevelName& in_level)
                                       { return equalIgnoringCase(in_strName, in_level.m_name); });
    return itLevel == LEVELS.end() ? nullptr : itLevel;
}

/// A pipe whose other end was closed, as "head" does when it has seen enough.
bool hasReaderGone(int in_iDescriptor)
{
    pollfd state{in_iDescriptor, POLLOUT, 0};
    return poll(&state, 1, 0) > 0 && (state.revents & POLLERR) != 0;
}

template <class Number>
Number parseNumber(const char* in_option, const std::string& in_strText, Number in_min, Number in_max)
{
    Number number{};
    const char* pEnd = in_strText.data() + in_strText.size();
    const auto result = std::from_chars(in_strText.data(), pEnd, number);
    if (result.ec == std::errc() && result.ptr == pEnd && number >= in_min && number <= in_max)
        return number;
    std::ostringstream message;
    message.imbue(std::locale::classic());
    message << "option '--" << in_option << "': '" << in_strText << "' is no number from " << in_min << " to "
            << in_max;
    throw CommandLineError(message.str());
}

} // namespace

ApplicationImpl::ApplicationImpl(Logger& in_logger, const char* in_name)
    : m_pLogger(&in_logger)
    , m_name(in_name)
    , m_options("Options", static_cast<unsigned int>(getHelpWidth()))
    , m_generalOptions("General options", static_cast<unsigned int>(getHelpWidth()))
{
    auto addOption = m_generalOptions.add_options();
    addOption("help,h", bool_switch(), "print this text and exit");
    addOption("version", bool_switch(), "print the version and exit");
    addOption("quiet,q", bool_switch(), "print results, warnings and errors only, and no progress");
    addOption("verbose,v", bool_switch(),
              "print what helps to find a fault, too, and every repeated message");
    addOption("log-config", value<std::string>()->value_name("FILE"),
              "logging configuration (log4cplus properties)");
    addOption("log-level", value<std::string>()->value_name("LEVEL"),
              "log from this level on: TRACE, DEBUG, INFO (the default), WARN, ERROR or OFF");
    addOption("global-config", value<std::string>()->value_name("FILE"), "parameters, one name=value a line");
    addOption("plugin-folder", value<StringVector>()->value_name("DIR"),
              "load plug-in libraries from this folder only; may be repeated");
    addOption("no-plugins", bool_switch(), "load no plug-in libraries");
}

void ApplicationImpl::setArguments(const char* in_name, int in_iMax, const char* in_usage,
                                   const char* in_description)
{
    m_arguments.add_options()(in_name, value<StringVector>());
    m_positions.add(in_name, in_iMax);
    m_strUsage = std::string(" ") + in_usage;
    m_strDescription = in_description;
}

int ApplicationImpl::run(int in_iCount, const char* const* in_arguments)
{
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    FileReplacer::removeOnSignals();
    const TerminalGuard output(std::cout, STDOUT_FILENO);
    const TerminalGuard errors(std::cerr, STDERR_FILENO);
    Logger::configureForConsole(LogLevel::INFO, m_vHidden);
    const int iStatus = runOptions(in_iCount, in_arguments);
    ConsoleLog::tellLeftOut();
    if (iStatus != 0)
        repeatCause();
    return iStatus;
}

int ApplicationImpl::runOptions(int in_iCount, const char* const* in_arguments)
{
    m_vPending.clear();
    m_bStopped = false;
    m_bRefused = false;
    variables_map map;
    const auto parseInto = [&]
    {
        map = parse(in_iCount, in_arguments);
        return true;
    };
    if (!runGuarded(parseInto))
        return STATUS_BAD_COMMAND_LINE;
    bool bDone = runGuarded([&] { return process(map); });
    if (!std::cout.flush())
    {
        if (!hasReaderGone(STDOUT_FILENO))
            reportError("cannot write to standard output");
        bDone = false;
    }
    if (m_bRefused)
        return STATUS_BAD_COMMAND_LINE;
    return bDone ? 0 : STATUS_FAILED;
}

/// The first error tells most, and others may have come after it.
void ApplicationImpl::repeatCause() const
{
    const std::string strCause = ConsoleLog::getCause();
    if (!strCause.empty() && !ConsoleLog::endsWith(strCause))
        std::cerr << "ERROR: " << m_name << " failed: " << strCause << std::endl;
}

bool ApplicationImpl::refuseCommand()
{
    m_bRefused = true;
    return false;
}

/// Names are never guessed from their first letters: a new option would change the meaning of a script.
variables_map ApplicationImpl::parse(int in_iCount, const char* const* in_arguments) const
{
    options_description all;
    all.add(m_options).add(m_generalOptions).add(m_arguments);
    variables_map map;
    po::store(po::command_line_parser(in_iCount, in_arguments)
                  .options(all)
                  .positional(m_positions)
                  .style(po::command_line_style::unix_style & ~po::command_line_style::allow_guessing)
                  .run(),
              map);
    po::notify(map);
    return map;
}

bool ApplicationImpl::process(const variables_map& in_map)
{
    if (!processCmdlineVarsMap(in_map))
        return false;
    if (isStopped())
        return answerPending();
    return run_i();
}

bool ApplicationImpl::processCmdlineVarsMap(const variables_map& in_map)
{
    if (!configureLogging(in_map))
        return false;
    QC_TRACE("ApplicationImpl::processCmdlineVarsMap");
    for (const char* request : {"help", "version"})
        if (isSwitchOn(in_map, request))
            m_vPending.emplace_back(request);
    return configurePlugins(in_map) && readGlobalConfiguration(in_map);
}

bool ApplicationImpl::configureLogging(const variables_map& in_map) const
{
    const std::string strFile = getString(in_map, "log-config");
    if (!strFile.empty() && !Logger::configure(strFile.c_str()))
        return false;
    if (!strFile.empty())
        ConsoleLog::watchErrors();
    const bool bQuiet = isSwitchOn(in_map, "quiet");
    const bool bVerbose = isSwitchOn(in_map, "verbose");
    std::string strLevel = getString(in_map, "log-level");
    if ((bQuiet && bVerbose) || (!strLevel.empty() && (bQuiet || bVerbose)))
        throw CommandLineError("options --quiet, --verbose and --log-level exclude each other");
    if (bVerbose)
        ConsoleLog::showRepeats();
    if (bQuiet || bVerbose)
        strLevel = bQuiet ? "WARN" : "DEBUG";
    if (strLevel.empty())
        return true;
    const LevelName* pLevel = findLevel(strLevel);
    if (pLevel == nullptr)
        throw CommandLineError("'" + strLevel + "' is no log level");
    Logger::setLevel("", pLevel->m_level);
    return true;
}

bool ApplicationImpl::configurePlugins(const variables_map& in_map) const
{
    DynLibsLoader::setRefuseAll(isSwitchOn(in_map, "no-plugins"));
    if (in_map.count("plugin-folder") == 0)
        return true;
    return DynLibsLoader::setPluginFolders(in_map["plugin-folder"].as<StringVector>());
}

bool ApplicationImpl::readGlobalConfiguration(const variables_map& in_map)
{
    const TSHandle<ParameterTrie> hParameters(new ParameterTrie);
    m_hConfiguration = hParameters;
    const std::string strFile = getString(in_map, "global-config");
    if (strFile.empty())
        return true;
    vfsistream file(DiskFileSystem(), strFile.c_str());
    if (!file)
    {
        reportError("cannot open " + strFile + ": " + file.getReason());
        return false;
    }
    return hParameters->read(file, strFile);
}

bool ApplicationImpl::answerPending() const
{
    for (const std::string& strRequest : m_vPending)
    {
        if (strRequest == "help")
            writeHelp();
        else
            std::cout << m_name << ' ' << getVersion() << '\n';
    }
    return true;
}

const char* ApplicationImpl::getVersion()
{
    return QC_VERSION;
}

void ApplicationImpl::writeHelp() const
{
    std::cout << "Usage : " << m_name << " [options]" << m_strUsage << '\n'
              << wrapLines(m_strDescription, getHelpWidth()) << '\n'
              << m_options << '\n'
              << m_generalOptions;
    std::istringstream examples(m_strExamples);
    if (!m_strExamples.empty())
        std::cout << "\nExamples:\n";
    for (std::string strLine; std::getline(examples, strLine);)
        std::cout << wrapLines("  " + strLine, getHelpWidth()) << '\n';
}

void ApplicationImpl::reportError(const std::string& in_strMessage) const
{
    if (m_pLogger->isEnabledFor(LogLevel::ERROR))
        LogMessage(*m_pLogger, LogLevel::ERROR, __FILE__, __LINE__).stream()
            << m_name << ": " << in_strMessage;
}

bool ApplicationImpl::runGuarded(const std::function<bool()>& in_step)
{
    try
    {
        return in_step();
    }
    catch (const po::too_many_positional_options_error& error)
    {
        const bool bNone = m_strUsage.empty();
        reportError(error.what() + std::string(bNone ? ": every file is the value of an option" : "") +
                    ", see --help");
        refuseCommand();
    }
    catch (const po::error& error)
    {
        reportError(std::string(error.what()) + ", see --help");
        refuseCommand();
    }
    catch (const CommandLineError& error)
    {
        reportError(error.what());
        refuseCommand();
    }
    catch (const std::bad_alloc&)
    {
        reportError("out of memory");
    }
    catch (const std::exception& exception)
    {
        reportError(exception.what());
    }
    catch (...)
    {
        reportError("unknown exception");
    }
    return false;
}

bool ApplicationImpl::isSwitchOn(const variables_map& in_map, const char* in_option)
{
    return in_map.count(in_option) != 0 && in_map[in_option].as<bool>();
}

std::string ApplicationImpl::getString(const variables_map& in_map, const char* in_option)
{
    return in_map.count(in_option) == 0 ? std::string() : in_map[in_option].as<std::string>();
}

std::uint64_t ApplicationImpl::getCount(const variables_map& in_map, const char* in_option,
                                        std::uint64_t in_uiMin, std::uint64_t in_uiMax)
{
    return parseNumber(in_option, getString(in_map, in_option), in_uiMin, in_uiMax);
}

double ApplicationImpl::getReal(const variables_map& in_map, const char* in_option, double in_dMin,
                                double in_dMax)
{
    return parseNumber(in_option, getString(in_map, in_option), in_dMin, in_dMax);
}

bool ApplicationImpl::isGiven(const variables_map& in_map, const char* in_option)
{
    return in_map.count(in_option) != 0 && !in_map[in_option].defaulted();
}

void ApplicationImpl::checkNeeds(const variables_map& in_map, std::initializer_list<const char*> in_options,
                                 std::initializer_list<const char*> in_needed)
{
    const auto isThere = [&](const char* in_option)
    {
        return isGiven(in_map, in_option);
    };
    const auto* itOption = std::find_if(in_options.begin(), in_options.end(), isThere);
    if (itOption == in_options.end() || std::any_of(in_needed.begin(), in_needed.end(), isThere))
        return;
    std::string strNeeded;
    for (const char* needed : in_needed)
        strNeeded += (strNeeded.empty() ? "--" : " or --") + std::string(needed);
    throw CommandLineError(std::string("option '--") + *itOption + "' needs " + strNeeded);
}

} // namespace Vexalor
