#pragma once

#include "ml-classify/ByteStream.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

namespace Vexalor
{

/// How samples of one channel lie in a stream of bytes, little-endian. They become what a recording of the
/// same coding is read as: whole numbers lie in [-1, 1), floating-point ones are taken as they are.
struct SampleEncoding
{
    const char* m_name;
    std::size_t m_uiBytes; ///< of a sample
    double (*m_decode)(const unsigned char* in_pBytes);

    /// Null for an unknown name.
    static const SampleEncoding* find(const std::string& in_strName);
    /// All names, joined by ", ".
    static std::string listNames();
};

/// How the samples of a stream lie, and which are taken.
struct SampleLayout
{
    static constexpr std::uint64_t OPEN_END = std::numeric_limits<std::uint64_t>::max();

    const SampleEncoding* m_pEncoding = nullptr;
    std::uint32_t m_uiRate = 0; ///< Hz
    std::uint16_t m_uiChannels = 1;
    int m_iChannel = -1;                ///< that is read, counted from 0; -1: the mean of all
    std::uint64_t m_uiBytes = OPEN_END; ///< of samples; further bytes are none
    bool m_bRecording = false; ///< they belong to a recording, whose header may be wrong about its end
};

/// Reads the samples of a stream: read* until it returns 0.
class RawSampleReader
{
public:
    /// The stream stands at the first sample and outlives the reader.
    RawSampleReader(ByteStream& io_stream, const SampleLayout& in_layout);

    /// Waits for samples and takes up to in_uiCount of those that came. 0 at the end of the stream, or, with
    /// the reason logged, when it failed or, but for a recording, ended within a sample. What follows the
    /// samples is read then, too, so that who writes it is not disturbed.
    std::size_t read(double* out_samples, std::size_t in_uiCount);
    /// True when read returned 0 for another reason than a clean end.
    bool hasInputError() const { return m_bInputError; }

private:
    double decodeFrame(const unsigned char* in_pFrame) const;
    void finish();

    ByteStream& m_stream;
    SampleLayout m_layout;
    std::size_t m_uiFrameBytes;
    std::uint64_t m_uiLeft; ///< bytes
    bool m_bFinished = false;
    bool m_bInputError = false;
};

} // namespace Vexalor
