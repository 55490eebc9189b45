#pragma once

#include "quillcast-core/FileReplacer.h"
#include "quillcast-math/DoubleVector.h"

#include <cstdint>
#include <optional>
#include <string>

namespace Vexalor::MachineLearning
{

/// Writes what an entity answered to every pattern, a line each (doc/report.md, "Output log"), as it comes.
///
/// Call order: open (startRecording write*)* close. The file gets its name when it is complete.
class OutputLog
{
public:
    explicit OutputLog(const std::string& in_strPath)
        : m_file(in_strPath)
    {
    }

    /// False, with the reason logged, when the file cannot be made.
    bool open();
    void startRecording(const std::string& in_strName);
    /// The time is that of the end of the window, in seconds; a null target is none.
    void write(const std::optional<double>& in_dTime, const DoubleVector* in_pTarget,
               const DoubleVector& in_vOutput);
    /// False, with the reason logged, when something written since open did not reach the file.
    bool close();

private:
    void flush();

    FileReplacer m_file;
    std::string m_strBuffer;
    std::uint64_t m_uiRecording = 0;
    std::uint64_t m_uiPattern = 0;
};

} // namespace Vexalor::MachineLearning
