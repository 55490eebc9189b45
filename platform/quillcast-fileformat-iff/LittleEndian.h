#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace Vexalor
{

/// The unsigned number of in_uiBytes bytes (at most 8), least significant first.
inline std::uint64_t readLittleEndian(const char* in_bytes, std::size_t in_uiBytes)
{
    std::uint64_t uiValue = 0;
    for (std::size_t i = in_uiBytes; i-- > 0;)
        uiValue = uiValue << 8 | static_cast<unsigned char>(in_bytes[i]);
    return uiValue;
}

inline std::uint16_t readU16(const char* in_bytes)
{
    return static_cast<std::uint16_t>(readLittleEndian(in_bytes, 2));
}

inline std::uint32_t readU32(const char* in_bytes)
{
    return static_cast<std::uint32_t>(readLittleEndian(in_bytes, 4));
}

inline std::uint64_t readU64(const char* in_bytes)
{
    return readLittleEndian(in_bytes, 8);
}

/// Appends the in_uiBytes lower bytes of a number, least significant first.
inline void appendLittleEndian(std::string& io_strBytes, std::uint64_t in_uiValue, std::size_t in_uiBytes)
{
    for (std::size_t i = 0; i < in_uiBytes; ++i)
        io_strBytes += static_cast<char>(in_uiValue >> (8 * i) & 0xFF);
}

inline void appendU16(std::string& io_strBytes, std::uint16_t in_uiValue)
{
    appendLittleEndian(io_strBytes, in_uiValue, 2);
}

inline void appendU32(std::string& io_strBytes, std::uint32_t in_uiValue)
{
    appendLittleEndian(io_strBytes, in_uiValue, 4);
}

inline void appendU64(std::string& io_strBytes, std::uint64_t in_uiValue)
{
    appendLittleEndian(io_strBytes, in_uiValue, 8);
}

} // namespace Vexalor
