#pragma once

#include "quillcast-core/StringVector.h"
#include "quillcast-infra/ProgramOptions.h"

#include <string>

namespace Vexalor
{

/// True for a file that begins like a WAV recording.
bool isRecordingFile(const std::string& in_strFile);

/// True for two names of one file, which need not exist.
bool isSameFile(const std::string& in_strLeft, const std::string& in_strRight);

/// Keeps a program from destroying what its user did not mean: the file that it writes may be neither a
/// recording nor one of its inputs, unless --force is given.
///
/// Call order: addOption takeOption addInput* allows.
class OverwriteGuard
{
public:
    static void addOption(options_description& io_options, const char* in_help);
    void takeOption(const variables_map& in_map);

    /// A file that the program reads; an empty name is none.
    void addInput(const std::string& in_strFile);
    bool isForced() const { return m_bForced; }
    /// False, logged at error level, when the file exists and must stay as it is. Throws CommandLineError for
    /// "-", which is standard output for who asks nobody, and no file.
    bool allows(const std::string& in_strOutput) const;

private:
    std::string findReason(const std::string& in_strOutput) const;

    bool m_bForced = false;
    StringVector m_vInputs;
};

} // namespace Vexalor
