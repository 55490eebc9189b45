#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

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

/// Reads samples from an open file descriptor, such as a pipe: read* until it returns 0.
class RawSampleReader
{
public:
    /// The descriptor stays open.
    RawSampleReader(int in_iDescriptor, const SampleEncoding& in_encoding);

    /// Waits for samples and takes up to in_uiCount of those that came. 0 at the end of the stream, or, with
    /// the reason logged, when it failed or ended within a sample.
    std::size_t read(double* out_samples, std::size_t in_uiCount);
    /// True when read returned 0 for another reason than a clean end.
    bool hasInputError() const { return m_bInputError; }

private:
    static constexpr std::size_t BUFFER_SIZE = 65536;

    bool fill();

    int m_iDescriptor;
    const SampleEncoding& m_encoding;
    std::vector<unsigned char> m_vBuffer;
    std::size_t m_uiBegin = 0; ///< of the bytes that wait
    std::size_t m_uiEnd = 0;
    bool m_bInputError = false;
};

} // namespace Vexalor
