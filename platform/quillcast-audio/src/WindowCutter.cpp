#include "quillcast-audio/WindowCutter.h"

#include <cstring>

namespace Vexalor
{

void WindowCutter::start(const WindowSize& in_size, std::uint64_t in_uiFirstSample)
{
    m_size = in_size;
    m_uiBegin = 0;
    m_uiEnd = 0;
    m_uiToSkip = 0;
    m_uiNextStart = in_uiFirstSample;
}

double* WindowCutter::prepare(std::size_t in_uiCount)
{
    if (m_vBuffer.size() - m_uiEnd < in_uiCount)
    {
        const std::size_t uiWaiting = getBuffered();
        if (uiWaiting > 0)
            std::memmove(m_vBuffer.data(), m_vBuffer.data() + m_uiBegin, uiWaiting * sizeof(double));
        m_uiBegin = 0;
        m_uiEnd = uiWaiting;
        if (m_vBuffer.size() < uiWaiting + in_uiCount)
            m_vBuffer.resize(uiWaiting + in_uiCount);
    }
    return m_vBuffer.data() + m_uiEnd;
}

void WindowCutter::commit(std::size_t in_uiCount)
{
    m_uiEnd += in_uiCount;
    skip();
}

void WindowCutter::release()
{
    *this = WindowCutter();
}

} // namespace Vexalor
