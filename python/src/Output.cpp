#include "Output.h"

#include "common/OutputFile.h"
#include "common/OverwriteGuard.h"

namespace Vexalor::Python
{

bool mayWrite(const std::filesystem::path& in_file, bool in_bForced, const std::string& in_strInput)
{
    OverwriteGuard guard;
    guard.addInput(in_strInput);
    return in_bForced || guard.allows(in_file.string());
}

bool writeFile(const std::filesystem::path& in_file, bool in_bForced, const std::string& in_strText)
{
    return mayWrite(in_file, in_bForced) && replaceFile(in_file.string(), in_strText);
}

} // namespace Vexalor::Python
