#pragma once

#include "quillcast-math/DoubleVector.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Vexalor
{

/// Length of a window and distance between the starts of two windows, both in samples and at least 1.
struct WindowSize
{
    std::size_t m_uiLength = 1;
    std::size_t m_uiShift = 1;
};

/// Cuts a stream of samples into windows: the buffer between a source that delivers blocks of any size and a
/// consumer of windows. Window k holds the samples [b + kS, b + kS + L), where b is the first sample, L the
/// length and S the shift, which may be longer than the length. Copies the samples once in and once out and
/// allocates only when more samples wait than ever before.
///
/// Call order: start ((prepare commit)* pop*)*.
class WindowCutter
{
public:
    /// Forgets all samples; the next one that comes has the number in_uiFirstSample and starts the next
    /// window.
    void start(const WindowSize& in_size, std::uint64_t in_uiFirstSample);

    /// Room for in_uiCount further samples, valid until the next call.
    double* prepare(std::size_t in_uiCount);
    /// Takes over the first in_uiCount samples of the prepared room.
    void commit(std::size_t in_uiCount);

    /// Copies the next window and moves on by the shift. False, with out_vWindow untouched, until all its
    /// samples are there.
    bool pop(DoubleVector& out_vWindow)
    {
        if (m_uiEnd - m_uiBegin < m_size.m_uiLength)
            return false;
        const double* pWindow = m_vBuffer.data() + m_uiBegin;
        out_vWindow.assign(pWindow, pWindow + m_size.m_uiLength);
        m_uiNextStart += m_size.m_uiShift;
        m_uiToSkip = m_size.m_uiShift;
        skip();
        return true;
    }

    const WindowSize& getSize() const { return m_size; }
    /// Number of the sample at which the next window starts.
    std::uint64_t getNextStart() const { return m_uiNextStart; }
    /// Samples that wait.
    std::size_t getBuffered() const { return m_uiEnd - m_uiBegin; }

    /// Gives the memory back; start is to be called before anything else.
    void release();

private:
    void skip()
    {
        const std::size_t uiCount = m_uiToSkip < m_uiEnd - m_uiBegin ? m_uiToSkip : m_uiEnd - m_uiBegin;
        m_uiBegin += uiCount;
        m_uiToSkip -= uiCount;
    }

    WindowSize m_size;
    std::vector<double> m_vBuffer;
    std::size_t m_uiBegin = 0; ///< of the samples that wait, in the buffer
    std::size_t m_uiEnd = 0;
    std::size_t m_uiToSkip = 0; ///< samples before the next window that have not come yet
    std::uint64_t m_uiNextStart = 0;
};

} // namespace Vexalor
