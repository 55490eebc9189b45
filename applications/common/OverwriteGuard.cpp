#include "common/OverwriteGuard.h"

#include "quillcast-audio/AudioFileReader.h"
#include "quillcast-core/InputFile.h"
#include "quillcast-core/Logger.h"
#include "quillcast-infra/CommandLineError.h"

#include <algorithm>
#include <filesystem>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.app.OverwriteGuard");

constexpr const char* FORCE_OPTION = "force";

} // namespace

bool isRecordingFile(const std::string& in_strFile)
{
    char beginning[4] = {};
    InputFile file;
    return file.openRegular(in_strFile.c_str()) &&
           file.readAt(0, beginning, sizeof beginning) == sizeof beginning &&
           AudioFileReader::isRecording({beginning, sizeof beginning});
}

bool isSameFile(const std::string& in_strLeft, const std::string& in_strRight)
{
    namespace fs = std::filesystem;
    std::error_code error;
    const fs::path left = fs::weakly_canonical(fs::absolute(in_strLeft, error), error);
    return !error && left == fs::weakly_canonical(fs::absolute(in_strRight, error), error);
}

void OverwriteGuard::addOption(options_description& io_options, const char* in_help)
{
    io_options.add_options()(FORCE_OPTION, bool_switch(), in_help);
}

void OverwriteGuard::takeOption(const variables_map& in_map)
{
    m_bForced = in_map[FORCE_OPTION].as<bool>();
}

void OverwriteGuard::addInput(const std::string& in_strFile)
{
    m_vInputs.push_back(in_strFile);
}

/// Why the file must stay; empty when it need not. Pipes and devices are not looked into.
std::string OverwriteGuard::findReason(const std::string& in_strOutput) const
{
    std::error_code error;
    if (!std::filesystem::is_regular_file(in_strOutput, error))
        return {};
    const auto isSame = [&](const std::string& in_strInput)
    {
        return std::filesystem::equivalent(in_strInput, in_strOutput, error);
    };
    if (std::any_of(m_vInputs.begin(), m_vInputs.end(), isSame))
        return "it is an input";
    return isRecordingFile(in_strOutput) ? "it is a recording" : "";
}

bool OverwriteGuard::allows(const std::string& in_strOutput) const
{
    QC_TRACE("OverwriteGuard::allows");
    if (in_strOutput == "-")
        throw CommandLineError("standard output is not for this, give a file in place of -");
    const std::string strReason = m_bForced ? "" : findReason(in_strOutput);
    if (!strReason.empty())
        QC_ERROR("Not writing over " << in_strOutput << ": " << strReason << "; --" << FORCE_OPTION
                                     << " writes all the same");
    return strReason.empty();
}

} // namespace Vexalor
