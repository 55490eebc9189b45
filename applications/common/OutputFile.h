#pragma once

#include <string>

namespace Vexalor
{

class FileReplacer;
class OverwriteGuard;

/// A file that a program writes: created before the work, so that none is done whose result has no place,
/// and written and named after it. Both return false with the reason logged at error level.
bool openOutput(const OverwriteGuard& in_guard, FileReplacer& io_file);
bool writeOutput(FileReplacer& io_file, const std::string& in_strText);

} // namespace Vexalor
