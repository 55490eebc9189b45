// The library file-faults, for programs: QC_FAULT_FOLDER, QC_FAULT_OPERATION and QC_FAULT_NUMBER say what
// fails; the calls of every operation are written to QC_FAULT_REPORT when the program ends.

#include "test-support/FileFaults.h"

#include <cstdlib>
#include <fcntl.h>
#include <memory>
#include <unistd.h>

namespace
{

using Vexalor::Testing::FileFaults;

std::string getVariable(const char* in_name)
{
    const char* value = std::getenv(in_name);
    return value == nullptr ? "" : value;
}

class Preload
{
public:
    Preload()
        : m_faults(getVariable("QC_FAULT_FOLDER"), getOperation(),
                   static_cast<unsigned int>(std::atoi(getVariable("QC_FAULT_NUMBER").c_str())))
    {
    }
    Preload(const Preload&) = delete;
    Preload& operator=(const Preload&) = delete;

    ~Preload()
    {
        std::string strReport;
        for (int i = 0; i < FileFaults::NB_OPERATIONS; ++i)
            strReport += std::to_string(FileFaults::getCalls(static_cast<FileFaults::Operation>(i))) + " ";
        const int iFile =
            ::open(getVariable("QC_FAULT_REPORT").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        if (iFile >= 0 && ::write(iFile, strReport.data(), strReport.size()) >= 0)
            ::close(iFile);
    }

private:
    static FileFaults::Operation getOperation()
    {
        int iOperation = 0;
        while (iOperation < FileFaults::RENAME &&
               getVariable("QC_FAULT_OPERATION") !=
                   FileFaults::getName(static_cast<FileFaults::Operation>(iOperation)))
            ++iOperation;
        return static_cast<FileFaults::Operation>(iOperation);
    }

    FileFaults m_faults;
};

const Preload s_preload;

} // namespace
