#pragma once

#include <filesystem>
#include <string>

/// Files that the module writes: they take their name when they are complete, and neither a recording nor an
/// input is overwritten by mistake.
namespace Vexalor::Python
{

/// False, with the reason logged, when the file exists and is to stay as it is.
bool mayWrite(const std::filesystem::path& in_file, bool in_bForced, const std::string& in_strInput = {});
/// Writes a whole file. False with the reason logged.
bool writeFile(const std::filesystem::path& in_file, bool in_bForced, const std::string& in_strText);

} // namespace Vexalor::Python
