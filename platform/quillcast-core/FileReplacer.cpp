#include "quillcast-core/FileReplacer.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Vexalor
{

namespace
{

constexpr unsigned int NEW_FILE_MODE = 0666;
constexpr unsigned int PERMISSIONS = 07777;
constexpr int MOST_ATTEMPTS = 100;
constexpr int MOST_LINKS = 40;      ///< that are followed, as by the system
constexpr std::size_t NB_SLOTS = 8; ///< temporary files at a time that a signal removes

/// What names of temporary files of this machine begin with.
std::string getPrefix()
{
    utsname machine = {};
    return std::string(".new-") + (uname(&machine) == 0 ? machine.nodename : "") + "-";
}

/// A name that no other replacer uses now, short enough wherever the target's own is.
std::string temporaryName(const std::string& in_strTarget)
{
    static std::atomic<unsigned int> s_uiCounter{0};
    const std::filesystem::path folder = std::filesystem::path(in_strTarget).parent_path();
    return (folder / (getPrefix() + std::to_string(getpid()) + "-" + std::to_string(++s_uiCounter))).string();
}

/// With a descriptor of the file, when nobody has locked it.
bool isAbandoned(int in_iDescriptor)
{
    return in_iDescriptor >= 0 && flock(in_iDescriptor, LOCK_EX | LOCK_NB) == 0;
}

/// Also what was written under a temporary name with a number behind it.
void removeWithParts(const std::string& in_strTemporary)
{
    unlink(in_strTemporary.c_str());
    for (unsigned int ui = 1; unlink((in_strTemporary + '.' + std::to_string(ui)).c_str()) == 0; ++ui)
        continue;
}

void removeAbandonedIn(const std::filesystem::path& in_folder)
{
    const std::string strPrefix = getPrefix();
    std::error_code error;
    std::filesystem::directory_iterator itEntry(in_folder, error);
    for (; !error && itEntry != std::filesystem::directory_iterator(); itEntry.increment(error))
    {
        const std::string strName = itEntry->path().filename().string();
        const std::size_t uiNumbers = std::min(strPrefix.size(), strName.size());
        if (!strName.starts_with(strPrefix) ||
            strName.find_first_not_of("0123456789-", uiNumbers) != std::string::npos)
            continue;
        const int iDescriptor =
            ::open(itEntry->path().c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK);
        if (isAbandoned(iDescriptor))
            removeWithParts(itEntry->path().string());
        if (iDescriptor >= 0)
            close(iDescriptor);
    }
}

} // namespace

/// In static memory, since a signal may come while anything else is freed.
struct FileReplacer::Slot
{
    std::atomic<bool> m_bTaken{false};
    std::atomic<bool> m_bFilled{false};
    char m_path[PATH_MAX];

    static Slot s_slots[NB_SLOTS];
    static void removeAllAndEnd(int in_iSignal);
};

bool FileReplacer::s_bRemoveAbandoned = false;

FileReplacer::Slot FileReplacer::Slot::s_slots[NB_SLOTS];

/// The signal comes again when the handler returns, and ends the process. Code that goes on until then finds
/// errno as it was.
void FileReplacer::Slot::removeAllAndEnd(int in_iSignal)
{
    const int iError = errno;
    for (const Slot& slot : s_slots)
        if (slot.m_bFilled)
            unlink(slot.m_path);
    std::signal(in_iSignal, SIG_DFL);
    std::raise(in_iSignal);
    errno = iError;
}

void FileReplacer::removeOnSignals()
{
    for (const int iSignal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT})
    {
        struct sigaction action = {};
        if (sigaction(iSignal, nullptr, &action) != 0 || action.sa_handler != SIG_DFL)
            continue;
        action.sa_handler = Slot::removeAllAndEnd;
        sigaction(iSignal, &action, nullptr);
    }
}

/// Before the file exists, so that there is no moment at which a signal would leave it. With every slot taken
/// it goes without.
void FileReplacer::announce()
{
    for (Slot& slot : Slot::s_slots)
    {
        if (m_strTemporary.size() >= sizeof(slot.m_path) || slot.m_bTaken.exchange(true))
            continue;
        std::copy_n(m_strTemporary.c_str(), m_strTemporary.size() + 1, slot.m_path);
        slot.m_bFilled = true;
        m_pSlot = &slot;
        return;
    }
}

void FileReplacer::withdraw()
{
    if (m_pSlot == nullptr)
        return;
    m_pSlot->m_bFilled = false;
    m_pSlot->m_bTaken = false;
    m_pSlot = nullptr;
}

FileReplacer::FileReplacer(const std::string& in_strPath)
    : m_strPath(in_strPath)
    , m_strTarget(in_strPath)
{
}

FileReplacer::~FileReplacer()
{
    if (m_iDescriptor >= 0)
        close(m_iDescriptor);
    if (m_bPending && !isDirect())
        unlink(m_strTemporary.c_str());
    unlock();
    withdraw();
}

/// False when somebody else came between. File systems without locks do without.
bool FileReplacer::lock()
{
    if (flock(m_iDescriptor, LOCK_EX | LOCK_NB) != 0)
        return errno != EWOULDBLOCK;
    struct stat status = {};
    m_iLock = fcntl(m_iDescriptor, F_DUPFD_CLOEXEC, 0);
    return fstat(m_iDescriptor, &status) != 0 || status.st_nlink > 0;
}

void FileReplacer::unlock()
{
    const int iLock = std::exchange(m_iLock, -1);
    if (iLock >= 0)
        close(iLock);
}

/// Keeps the system's reason for what just failed.
bool FileReplacer::fail()
{
    m_strReason = std::generic_category().message(errno);
    m_bFailed = true;
    return false;
}

/// Follows links to the file that is to be replaced, which need not exist yet.
bool FileReplacer::followLinks()
{
    std::error_code error;
    std::filesystem::path target = std::filesystem::absolute(m_strPath, error);
    for (int i = 0; i < MOST_LINKS; ++i)
    {
        const std::filesystem::path next = std::filesystem::read_symlink(target, error);
        if (error)
        {
            m_strTarget = target.string();
            return true;
        }
        target = target.parent_path() / next; // next alone when it is absolute
    }
    errno = ELOOP;
    return fail();
}

/// Finds out what the name stands for. What is no regular file is to be written directly, and opened once: a
/// reader of a pipe takes every close for the end.
bool FileReplacer::prepare()
{
    struct stat status = {};
    const bool bExists = stat(m_strPath.c_str(), &status) == 0;
    if (!bExists && (errno != ENOENT || m_strPath.empty()))
        return fail();
    if (bExists && S_ISDIR(status.st_mode))
        errno = EISDIR;
    if (bExists && (S_ISDIR(status.st_mode) || access(m_strPath.c_str(), W_OK) != 0))
        return fail();
    if (bExists && !S_ISREG(status.st_mode))
    {
        m_strTemporary = m_strTarget;
        m_bPending = true;
        return true;
    }
    return followLinks() && createBeside(bExists ? status.st_mode & PERMISSIONS : NEW_FILE_MODE, bExists);
}

bool FileReplacer::open()
{
    if (!prepare())
        return false;
    if (isDirect())
        m_iDescriptor = ::open(m_strTarget.c_str(), O_WRONLY | O_CLOEXEC);
    return m_iDescriptor >= 0 || fail();
}

bool FileReplacer::createBeside(unsigned int in_uiMode, bool in_bKeepMode)
{
    if (s_bRemoveAbandoned)
        removeAbandonedIn(std::filesystem::path(m_strTarget).parent_path());
    for (int i = 0; i < MOST_ATTEMPTS && m_iDescriptor < 0; ++i)
    {
        withdraw();
        m_strTemporary = temporaryName(m_strTarget);
        announce();
        m_iDescriptor = ::open(m_strTemporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, in_uiMode);
        if (m_iDescriptor < 0 && errno != EEXIST)
            return fail();
        if (m_iDescriptor < 0 || lock())
            continue;
        close(std::exchange(m_iDescriptor, -1));
        unlock();
    }
    m_bPending = m_iDescriptor >= 0;
    if (!m_bPending || (in_bKeepMode && fchmod(m_iDescriptor, in_uiMode) != 0))
        return fail();
    return true;
}

bool FileReplacer::openNameOnly()
{
    return prepare() && closeDescriptor();
}

bool FileReplacer::closeDescriptor()
{
    const int iDescriptor = std::exchange(m_iDescriptor, -1);
    return iDescriptor < 0 || close(iDescriptor) == 0 || fail();
}

bool FileReplacer::write(std::string_view in_bytes)
{
    while (!m_bFailed && !in_bytes.empty())
    {
        const ssize_t iWritten = ::write(m_iDescriptor, in_bytes.data(), in_bytes.size());
        if (iWritten >= 0)
            in_bytes.remove_prefix(static_cast<std::size_t>(iWritten));
        else if (errno != EINTR)
            return fail();
    }
    return !m_bFailed;
}

/// The bytes first, then the name: otherwise a loss of power could leave the name on an empty file.
bool FileReplacer::bringToDisk()
{
    if (isDirect())
        return closeDescriptor();
    if (m_iDescriptor < 0)
        m_iDescriptor = ::open(m_strTemporary.c_str(), O_WRONLY | O_CLOEXEC);
    if (m_iDescriptor < 0 || fsync(m_iDescriptor) != 0)
        return fail();
    return closeDescriptor();
}

bool FileReplacer::commit()
{
    if (m_bFailed || !m_bPending)
        return false;
    if (!bringToDisk())
        return false;
    if (!isDirect() && std::rename(m_strTemporary.c_str(), m_strTarget.c_str()) != 0)
        return fail();
    m_bPending = false;
    unlock();
    withdraw();
    return true;
}

} // namespace Vexalor
