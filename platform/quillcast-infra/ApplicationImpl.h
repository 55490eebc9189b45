#pragma once

#include "quillcast-core/Handle.h"
#include "quillcast-core/Logger.h"
#include "quillcast-core/Object.h"
#include "quillcast-core/StringVector.h"
#include "quillcast-infra/ProgramOptions.h"
#include "quillcast-infra/ROConfiguration.h"

#include <cstdint>
#include <functional>
#include <initializer_list>

namespace Vexalor
{

/// A command-line program. A derived class adds its options in its constructor, checks their values in
/// processCmdlineVarsMap and works in run_i; run calls the two in this order.
///
/// Exit status: 0 when everything succeeded, 2 when options or a command are unknown, incomplete or make no
/// sense, 1 for every other failure. A failure has been logged at error level; an exception is logged as one
/// message and is a failure. Unless its cause is the last message already, it is told once more at the end.
/// What was written to standard output must have arrived, or the run has failed; when its reader went away,
/// without a message.
///
/// Every program has the options --help, --version, --quiet, --verbose, --log-config, --log-level,
/// --global-config, --plugin-folder and --no-plugins. Without --log-config, messages of info level go to
/// standard output and the others to standard error, where warnings and errors of one kind are counted after
/// the first ten. Help is as wide as the terminal; on a terminal control characters are escaped.
///
/// Copyable: options that store their values into members of the original would not be, so read the values
/// from the map.
class ApplicationImpl : public virtual Object
{
public:
    /// The logger and the name live as long as the application.
    ApplicationImpl(Logger& in_logger, const char* in_name);

    /// Runs the program with the arguments of main and returns its exit status. Signals of a closed pipe and
    /// of a full file size are ignored from here on: the failed write tells as well. Signals that end the
    /// program remove the temporary files of what it is writing (FileReplacer).
    int run(int in_iCount, const char* const* in_arguments);

    const char* getName() const { return m_name; }
    /// That of the programs and libraries, as --version prints it.
    static const char* getVersion();

    /// The value of an option that takes one string with a number in it. Throws CommandLineError when it was
    /// not given or is no number from in_min to in_max; the option parser itself would turn -1 into a huge
    /// count.
    static std::uint64_t getCount(const variables_map& in_map, const char* in_option, std::uint64_t in_uiMin,
                                  std::uint64_t in_uiMax);
    static double getReal(const variables_map& in_map, const char* in_option, double in_dMin, double in_dMax);
    /// True when the value is not a default.
    static bool isGiven(const variables_map& in_map, const char* in_option);
    /// Throws CommandLineError when one of the options was given and none of the needed ones, without which
    /// it would have no effect.
    static void checkNeeds(const variables_map& in_map, std::initializer_list<const char*> in_options,
                           std::initializer_list<const char*> in_needed);

protected:
    /// The options of the derived class, in the order of the help text.
    options_description& getOptions() { return m_options; }

    /// From the constructor: what the program does, below the usage line.
    void setDescription(const char* in_text) { m_strDescription = in_text; }
    /// From the constructor: commands as one would type them, at the end of the help. Lines that go on end
    /// with a backslash.
    void setExamples(const char* in_text) { m_strExamples = in_text; }

    /// Lets the command line carry up to in_iMax arguments that are no options (-1: any number); they are
    /// found in the map under in_name, as a StringVector. in_usage is their part of the usage line,
    /// in_description the text below it.
    void setArguments(const char* in_name, int in_iMax, const char* in_usage, const char* in_description);

    /// Checks and takes over the values. An override calls this one first, returns false if it does, and
    /// returns true at once if isStopped, before it asks for mandatory options. False is a failed run; the
    /// reason has been logged.
    virtual bool processCmdlineVarsMap(const variables_map& in_map);

    /// For processCmdlineVarsMap to return, after the reason was logged, when a command is wrong: false, with
    /// the exit status of an unknown option.
    bool refuseCommand();

    /// From the constructor: messages with this text in them do not come to the console, unless --log-config
    /// says so. The text must outlive the application.
    void hideOnConsole(const char* in_text) { m_vHidden.emplace_back(in_text); }

    /// The work. Not called when the application is stopped.
    virtual bool run_i() = 0;

    /// From processCmdlineVarsMap: no run takes place, which is no failure.
    void stop() { m_bStopped = true; }

    /// True when no run takes place: stop was called or a request is pending.
    bool isStopped() const { return m_bStopped || !m_vPending.empty(); }

    /// Requests that are answered in place of the run: "help", "version".
    const StringVector& getPending() const { return m_vPending; }

    /// Parameters of the file given by --global-config, none without it. Never null once the map was
    /// processed.
    TSHandle<ROConfiguration> getConfiguration() const { return m_hConfiguration; }

    Logger& getLogger() const { return *m_pLogger; }

    /// True when a switch is on. A switch is always present in the map, whether given or not.
    static bool isSwitchOn(const variables_map& in_map, const char* in_option);
    /// The value of an option that takes one string; empty when it was not given.
    static std::string getString(const variables_map& in_map, const char* in_option);

private:
    int runOptions(int in_iCount, const char* const* in_arguments);
    variables_map parse(int in_iCount, const char* const* in_arguments) const;
    bool process(const variables_map& in_map);
    bool configureLogging(const variables_map& in_map) const;
    bool configurePlugins(const variables_map& in_map) const;
    bool readGlobalConfiguration(const variables_map& in_map);
    bool answerPending() const;
    void writeHelp() const;
    void reportError(const std::string& in_strMessage) const;
    void repeatCause() const;
    bool runGuarded(const std::function<bool()>& in_step);

    Logger* m_pLogger;
    const char* m_name;
    options_description m_options;
    options_description m_generalOptions;
    options_description m_arguments;
    positional_options_description m_positions;
    std::string m_strUsage;
    std::string m_strDescription;
    std::string m_strExamples;
    StringVector m_vPending;
    StringVector m_vHidden;
    bool m_bStopped = false;
    bool m_bRefused = false;
    TSHandle<ROConfiguration> m_hConfiguration;
};

/// What main returns: runs an application, made from in_arguments, under the program's logging.
///     int main(int argc, char** argv) { return Vexalor::runApplication<MyApplication>(argc, argv); }
template <class App, class... Arguments>
int runApplication(int in_iCount, char** in_arguments, Arguments&&... io_arguments)
{
    const LoggingSession session;
    App application(std::forward<Arguments>(io_arguments)...);
    return application.run(in_iCount, in_arguments);
}

} // namespace Vexalor
