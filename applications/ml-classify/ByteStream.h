#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor
{

/// Bytes from an open file descriptor, such as a pipe, which cannot be gone back in: await, look, consume.
class ByteStream
{
public:
    /// Most bytes that can be awaited.
    static constexpr std::size_t BUFFER_SIZE = 65536;

    /// The descriptor stays open.
    explicit ByteStream(int in_iDescriptor);

    /// Waits until so many bytes lie ready, and for no more than that. False when the stream ended or failed
    /// before.
    bool await(std::size_t in_uiCount);
    /// Those that lie ready, and how many they are.
    const unsigned char* getBytes() const { return m_vBuffer.data() + m_uiBegin; }
    std::size_t getCount() const { return m_uiEnd - m_uiBegin; }
    void consume(std::size_t in_uiCount) { m_uiBegin += in_uiCount; }
    /// Awaits and consumes any number; false as for await.
    bool skip(std::uint64_t in_uiCount);

    /// Why reading failed; empty as long as it did not.
    const std::string& getError() const { return m_strError; }

private:
    bool fill();

    int m_iDescriptor;
    std::vector<unsigned char> m_vBuffer;
    std::size_t m_uiBegin = 0; ///< of the bytes that lie ready
    std::size_t m_uiEnd = 0;
    std::string m_strError;
};

/// A number from its bytes, the lowest first.
template <class Unsigned>
Unsigned readLittleEndian(const unsigned char* in_pBytes, std::size_t in_uiCount = sizeof(Unsigned))
{
    Unsigned uiValue = 0;
    for (std::size_t i = 0; i < in_uiCount; ++i)
        uiValue = static_cast<Unsigned>(uiValue | static_cast<Unsigned>(in_pBytes[i]) << (8 * i));
    return uiValue;
}

} // namespace Vexalor
