#include "ml-classify/ByteStream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <unistd.h>

namespace Vexalor
{

ByteStream::ByteStream(int in_iDescriptor)
    : m_iDescriptor(in_iDescriptor)
    , m_vBuffer(BUFFER_SIZE)
{
}

bool ByteStream::await(std::size_t in_uiCount)
{
    while (getCount() < in_uiCount)
        if (!fill())
            return false;
    return true;
}

bool ByteStream::skip(std::uint64_t in_uiCount)
{
    while (in_uiCount > 0)
    {
        if (!await(1))
            return false;
        const std::uint64_t uiSkipped = std::min<std::uint64_t>(in_uiCount, getCount());
        consume(static_cast<std::size_t>(uiSkipped));
        in_uiCount -= uiSkipped;
    }
    return true;
}

/// Takes what there is, and waits only while there is nothing. False at the end.
bool ByteStream::fill()
{
    const std::size_t uiReady = getCount();
    std::memmove(m_vBuffer.data(), getBytes(), uiReady);
    m_uiBegin = 0;
    m_uiEnd = uiReady;
    ssize_t iRead = -1;
    do
        iRead = ::read(m_iDescriptor, m_vBuffer.data() + m_uiEnd, m_vBuffer.size() - m_uiEnd);
    while (iRead < 0 && errno == EINTR);
    if (iRead < 0)
        m_strError = std::strerror(errno);
    else
        m_uiEnd += static_cast<std::size_t>(iRead);
    return iRead > 0;
}

} // namespace Vexalor
