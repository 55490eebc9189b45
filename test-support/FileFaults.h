#pragma once

#include <string>

namespace Vexalor::Testing
{

/// Counts what is done with the files of one folder, and lets one of these calls fail with an input/output
/// error. One at a time; of this process, or, as the library file-faults that is loaded before others
/// (LD_PRELOAD), of a program (runWithFault).
class FileFaults
{
public:
    enum Operation
    {
        OPEN,
        READ,
        WRITE,
        FSYNC,
        RENAME,
        NB_OPERATIONS
    };
    static const char* getName(Operation in_operation);

    /// From now on that call of that operation fails, counted from 1; with 0 none does.
    explicit FileFaults(const std::string& in_strFolder, Operation in_operation = OPEN,
                        unsigned int in_uiFailing = 0);
    ~FileFaults();
    FileFaults(const FileFaults&) = delete;
    FileFaults& operator=(const FileFaults&) = delete;

    /// So far.
    static unsigned int getCalls(Operation in_operation);
};

} // namespace Vexalor::Testing
