#include "Output.h"

#include "common/OverwriteGuard.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-core/Logger.h"

namespace Vexalor::Python
{

namespace
{

constinit Logger s_logger("quillcast.python");

} // namespace

bool mayWrite(const std::filesystem::path& in_file, bool in_bForced, const std::string& in_strInput)
{
    OverwriteGuard guard;
    guard.addInput(in_strInput);
    return in_bForced || guard.allows(in_file.string());
}

bool reportFile(const FileReplacer& in_file, bool in_bDone)
{
    if (!in_bDone)
        QC_ERROR("Could not write " << in_file.getPath() << ": " << in_file.getReason());
    return in_bDone;
}

bool writeFile(const std::filesystem::path& in_file, bool in_bForced, const std::string& in_strText)
{
    FileReplacer file(in_file.string());
    return mayWrite(in_file, in_bForced) &&
           reportFile(file, file.open() && file.write(in_strText) && file.commit());
}

} // namespace Vexalor::Python
