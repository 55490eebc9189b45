#include "test-support/FileFaults.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <dlfcn.h>
#include <fcntl.h>
#include <string_view>
#include <sys/uio.h>
#include <unistd.h>

namespace Vexalor::Testing
{

namespace
{

constinit char s_folder[PATH_MAX] = "";
constinit std::atomic<bool> s_bOn{false};
constinit std::atomic<int> s_iOperation{0};
constinit std::atomic<unsigned int> s_uiFailing{0};
constinit std::atomic<unsigned int> s_calls[FileFaults::NB_OPERATIONS];

bool isInFolder(std::string_view in_path)
{
    const std::string_view folder(s_folder);
    return in_path.starts_with(folder) && in_path.size() > folder.size() && in_path[folder.size()] == '/';
}

/// A relative path counts from the current folder.
bool isWatched(const char* in_path)
{
    char folder[PATH_MAX];
    if (!s_bOn || in_path == nullptr)
        return false;
    if (in_path[0] == '/')
        return isInFolder(in_path);
    return getcwd(folder, sizeof folder) != nullptr && isInFolder(std::string(folder) + "/" + in_path);
}

bool isWatched(int in_iFile)
{
    char path[PATH_MAX];
    if (!s_bOn)
        return false;
    const ssize_t iSize = readlink(("/proc/self/fd/" + std::to_string(in_iFile)).c_str(), path, sizeof path);
    return iSize > 0 && isInFolder({path, static_cast<std::size_t>(iSize)});
}

/// Counts a call; true, with errno set, for the one that fails.
bool fails(FileFaults::Operation in_operation)
{
    const unsigned int uiCall = ++s_calls[in_operation];
    if (in_operation != s_iOperation || uiCall != s_uiFailing)
        return false;
    errno = EIO;
    return true;
}

/// The function of that name that this one stands before.
template <class Function>
Function* findNext(Function*, const char* in_name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, in_name));
}

mode_t getMode(int in_iFlags, va_list in_arguments)
{
    return (in_iFlags & O_CREAT) != 0 ? va_arg(in_arguments, mode_t) : 0;
}

} // namespace

const char* FileFaults::getName(Operation in_operation)
{
    constexpr const char* NAMES[] = {"open", "read", "write", "fsync", "rename"};
    return NAMES[in_operation];
}

FileFaults::FileFaults(const std::string& in_strFolder, Operation in_operation, unsigned int in_uiFailing)
{
    in_strFolder.copy(s_folder, sizeof s_folder - 1);
    s_folder[std::min(in_strFolder.size(), sizeof s_folder - 1)] = '\0';
    std::fill(std::begin(s_calls), std::end(s_calls), 0);
    s_iOperation = in_operation;
    s_uiFailing = in_uiFailing;
    s_bOn = true;
}

FileFaults::~FileFaults()
{
    s_bOn = false;
}

unsigned int FileFaults::getCalls(Operation in_operation)
{
    return s_calls[in_operation];
}

} // namespace Vexalor::Testing

using namespace Vexalor::Testing;

// The functions of the C library that our code and the standard library call.

#define QC_NEXT(function)                                                                                    \
    static auto* const pNext = findNext(&::function, #function) // NOLINT(bugprone-macro-parentheses)

extern "C"
{
    int open(const char* in_path, int in_iFlags, ...)
    {
        QC_NEXT(open);
        va_list arguments;
        va_start(arguments, in_iFlags);
        const mode_t mode = getMode(in_iFlags, arguments);
        va_end(arguments);
        return isWatched(in_path) && fails(FileFaults::OPEN) ? -1 : pNext(in_path, in_iFlags, mode);
    }

    FILE* fopen64(const char* in_path, const char* in_mode)
    {
        QC_NEXT(fopen64);
        return isWatched(in_path) && fails(FileFaults::OPEN) ? nullptr : pNext(in_path, in_mode);
    }

    ssize_t read(int in_iFile, void* out_bytes, std::size_t in_uiSize)
    {
        QC_NEXT(read);
        return isWatched(in_iFile) && fails(FileFaults::READ) ? -1 : pNext(in_iFile, out_bytes, in_uiSize);
    }

    ssize_t pread(int in_iFile, void* out_bytes, std::size_t in_uiSize, off_t in_iPosition)
    {
        QC_NEXT(pread);
        return isWatched(in_iFile) && fails(FileFaults::READ)
                   ? -1
                   : pNext(in_iFile, out_bytes, in_uiSize, in_iPosition);
    }

    ssize_t write(int in_iFile, const void* in_bytes, std::size_t in_uiSize)
    {
        QC_NEXT(write);
        return isWatched(in_iFile) && fails(FileFaults::WRITE) ? -1 : pNext(in_iFile, in_bytes, in_uiSize);
    }

    ssize_t writev(int in_iFile, const struct iovec* in_parts, int in_iCount)
    {
        QC_NEXT(writev);
        return isWatched(in_iFile) && fails(FileFaults::WRITE) ? -1 : pNext(in_iFile, in_parts, in_iCount);
    }

    int fsync(int in_iFile)
    {
        QC_NEXT(fsync);
        return isWatched(in_iFile) && fails(FileFaults::FSYNC) ? -1 : pNext(in_iFile);
    }

    int rename(const char* in_from, const char* in_to) noexcept
    {
        QC_NEXT(rename);
        return isWatched(in_to) && fails(FileFaults::RENAME) ? -1 : pNext(in_from, in_to);
    }
}
