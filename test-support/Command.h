#pragma once

#include <string>
#include <vector>

namespace Vexalor::Testing
{

/// What a program that was run wrote, and how it ended.
struct CommandResult
{
    int m_iExit = -1;     ///< exit status; 128 + signal number when a signal ended it
    std::string m_strOut; ///< standard output
    std::string m_strErr; ///< standard error
};

/// Runs a program, without a shell, with its own folder as working directory, and waits for it.
CommandResult runCommand(const std::vector<std::string>& in_vArguments,
                         const std::string& in_strFolder = ".");

} // namespace Vexalor::Testing
