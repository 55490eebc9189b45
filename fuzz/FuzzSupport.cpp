#include "FuzzSupport.h"

#include "quillcast-core/Logger.h"

#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

namespace Vexalor::Fuzz
{

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
