#include "common/OutputFile.h"

#include "common/OverwriteGuard.h"
#include "quillcast-core/FileReplacer.h"
#include "quillcast-core/Logger.h"

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.app.OutputFile");

} // namespace

bool openOutput(const OverwriteGuard& in_guard, FileReplacer& io_file)
{
    QC_TRACE("openOutput");
    return in_guard.allows(io_file.getPath()) && reportOutput(io_file, io_file.open());
}

bool writeOutput(FileReplacer& io_file, const std::string& in_strText)
{
    QC_TRACE("writeOutput");
    return reportOutput(io_file, io_file.write(in_strText) && io_file.commit());
}

bool replaceFile(const std::string& in_strPath, const std::string& in_strText)
{
    QC_TRACE("replaceFile");
    FileReplacer file(in_strPath);
    return reportOutput(file, file.open()) && writeOutput(file, in_strText);
}

bool reportOutput(const FileReplacer& in_file, bool in_bDone)
{
    if (!in_bDone)
        QC_ERROR("Cannot write " << in_file.getPath() << ": " << in_file.getReason());
    return in_bDone;
}

} // namespace Vexalor
