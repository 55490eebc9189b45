#pragma once

#include <string>

namespace Vexalor::OS
{

/// True for a path that does not start at the root.
bool isPathRelative(const char* in_path);

/// The absolute path without "." and "..", links resolved as far as the path exists. out_strPath is untouched
/// and the result false when the system refuses (a link loop, a folder that may not be searched).
bool getCanonicalPath(const char* in_path, std::string& out_strPath);

} // namespace Vexalor::OS
