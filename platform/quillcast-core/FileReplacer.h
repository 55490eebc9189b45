#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Vexalor
{

/// Writes a file so that its name never stands for half of it: what is written goes to a temporary file
/// beside it, which takes the name once it is complete and on the disk. Without that, the destructor removes
/// the temporary file and an earlier file of the name stays as it was.
///
///     (open write* | openNameOnly) commit?
///
/// A link is followed, also one whose file does not exist yet; an existing file keeps its permissions. What
/// is no regular file (a terminal, a pipe, a device) is written directly and opened once; opening a pipe
/// waits for its reader. Operations return false with the reason kept and log nothing.
class FileReplacer
{
public:
    explicit FileReplacer(const std::string& in_strPath);
    ~FileReplacer();
    FileReplacer(const FileReplacer&) = delete;
    FileReplacer& operator=(const FileReplacer&) = delete;

    /// Creates the temporary file for write.
    bool open();
    /// Creates it empty and closes it again, for a writer that opens files by name. What is written directly
    /// is left to that writer to open.
    bool openNameOnly();
    /// Where to write until commit; valid after opening.
    const std::string& getTemporaryPath() const { return m_strTemporary; }

    /// Appends to the file. Unbuffered: give it large pieces.
    bool write(std::string_view in_bytes);

    /// Brings the content to the disk and gives it the name. False also when an earlier operation has failed.
    bool commit();

    /// For programs: from now on SIGINT, SIGTERM, SIGHUP and SIGQUIT, where they would end the process,
    /// remove the temporary files of this process first.
    static void removeOnSignals();

    /// For programs: from now on a temporary file is created only after those in its folder were removed that
    /// processes of this machine have left which were killed. A temporary file of a process that lives is
    /// locked.
    static void removeAbandoned() { s_bRemoveAbandoned = true; }

    const std::string& getPath() const { return m_strPath; }
    /// Why the last operation failed, without the path.
    const std::string& getReason() const { return m_strReason; }

private:
    struct Slot;

    bool fail();
    void announce();
    void withdraw();
    bool isDirect() const { return m_strTemporary == m_strTarget; }
    bool prepare();
    bool followLinks();
    bool createBeside(unsigned int in_uiMode, bool in_bKeepMode);
    bool lock();
    void unlock();
    bool bringToDisk();
    bool closeDescriptor();

    static bool s_bRemoveAbandoned;

    std::string m_strPath;
    std::string m_strTarget;
    std::string m_strTemporary;
    std::string m_strReason;
    Slot* m_pSlot = nullptr; ///< where a signal finds the temporary file
    int m_iDescriptor = -1;
    int m_iLock = -1; ///< a second one, which keeps the file locked
    bool m_bFailed = false;
    bool m_bPending = false;
};

} // namespace Vexalor
