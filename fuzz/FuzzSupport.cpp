#include "FuzzSupport.h"

#include "quillcast-core/Logger.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

#ifdef __has_feature
#if __has_feature(address_sanitizer)
#define WATCHES_MEMORY
#endif
#endif
#ifdef __SANITIZE_ADDRESS__
#define WATCHES_MEMORY
#endif

#ifdef WATCHES_MEMORY
// Of the sanitizer's run time; g++ ships no header that declares them.
extern "C" int __sanitizer_install_malloc_and_free_hooks(void (*)(const volatile void*, std::size_t),
                                                         void (*)(const volatile void*));
extern "C" std::size_t __sanitizer_get_allocated_size(const volatile void*);
#endif

namespace Vexalor::Fuzz
{

namespace
{

bool s_bWatching = false;
std::ptrdiff_t s_iInUse = 0;
std::ptrdiff_t s_iPeak = 0;

#ifdef WATCHES_MEMORY
void onAllocation(const volatile void*, std::size_t in_uiSize)
{
    s_iInUse += s_bWatching ? static_cast<std::ptrdiff_t>(in_uiSize) : 0;
    s_iPeak = std::max(s_iPeak, s_iInUse);
}

void onRelease(const volatile void* in_pMemory)
{
    if (s_bWatching && in_pMemory != nullptr)
        s_iInUse -= static_cast<std::ptrdiff_t>(__sanitizer_get_allocated_size(in_pMemory));
}
#endif

} // namespace

MemoryWatch::MemoryWatch()
{
#ifdef WATCHES_MEMORY
    [[maybe_unused]] static const int HOOKS =
        __sanitizer_install_malloc_and_free_hooks(onAllocation, onRelease);
#endif
    s_iInUse = 0;
    s_iPeak = 0;
    s_bWatching = true;
}

MemoryWatch::~MemoryWatch()
{
    s_bWatching = false;
}

std::size_t MemoryWatch::getPeak() const
{
    return static_cast<std::size_t>(s_iPeak);
}

MemoryFile::MemoryFile(std::string_view in_content)
    : m_iDescriptor(memfd_create("fuzz", MFD_CLOEXEC))
    , m_strPath("/proc/self/fd/" + std::to_string(m_iDescriptor))
{
    const ssize_t iWritten = write(m_iDescriptor, in_content.data(), in_content.size());
    require(iWritten == static_cast<ssize_t>(in_content.size()), "the input fits into a file in memory");
}

MemoryFile::~MemoryFile()
{
    close(m_iDescriptor);
}

std::string MemoryFile::getContent() const
{
    std::string strContent(static_cast<std::size_t>(lseek(m_iDescriptor, 0, SEEK_END)), '\0');
    const ssize_t iRead = pread(m_iDescriptor, strContent.data(), strContent.size(), 0);
    require(iRead == static_cast<ssize_t>(strContent.size()), "a file in memory can be read");
    return strContent;
}

void require(bool in_bHolds, const char* in_what)
{
    if (in_bHolds)
        return;
    std::fprintf(stderr, "Does not hold: %s\n", in_what);
    std::abort();
}

} // namespace Vexalor::Fuzz

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    Vexalor::Logger::setLevel("", Vexalor::LogLevel::OFF);
    return 0;
}
