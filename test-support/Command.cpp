#include "test-support/Command.h"

#include "test-support/TempDir.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Vexalor::Testing
{

namespace
{

void redirect(const std::string& in_strFile, int in_iDescriptor)
{
    const int iFile = open(in_strFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(iFile, in_iDescriptor);
    close(iFile);
}

[[noreturn]] void execute(const std::vector<std::string>& in_vArguments, const std::string& in_strFolder,
                          const std::string& in_strOut, const std::string& in_strErr)
{
    std::vector<char*> vArguments;
    for (const std::string& strArgument : in_vArguments)
        vArguments.push_back(const_cast<char*>(strArgument.c_str()));
    vArguments.push_back(nullptr);
    redirect(in_strOut, STDOUT_FILENO);
    redirect(in_strErr, STDERR_FILENO);
    if (chdir(in_strFolder.c_str()) == 0)
        execv(vArguments[0], vArguments.data());
    _exit(127);
}

} // namespace

CommandResult runCommand(const std::vector<std::string>& in_vArguments, const std::string& in_strFolder)
{
    const TempDir output;
    const std::string strOut = output.path("out");
    const std::string strErr = output.path("err");
    const pid_t child = fork();
    if (child == 0)
        execute(in_vArguments, in_strFolder, strOut, strErr);
    int iStatus = 0;
    waitpid(child, &iStatus, 0);
    const int iExit = WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 128 + WTERMSIG(iStatus);
    return {iExit, readFile(strOut), readFile(strErr)};
}

} // namespace Vexalor::Testing
