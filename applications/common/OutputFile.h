#pragma once

#include <string>

namespace Vexalor
{

class FileReplacer;
class OverwriteGuard;

/// A file that a program writes: created before the work, so that none is done whose result has no place,
/// and written and named after it. All of these return false with the reason logged at error level.
bool openOutput(const OverwriteGuard& in_guard, FileReplacer& io_file);
bool writeOutput(FileReplacer& io_file, const std::string& in_strText);
/// A file that is written at once.
bool replaceFile(const std::string& in_strPath, const std::string& in_strText);
/// For what is written in pieces: tells why the file's last operation failed, unless it is done.
bool reportOutput(const FileReplacer& in_file, bool in_bDone);

} // namespace Vexalor
