#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor
{

/// A colour of eight bits each.
struct Colour
{
    std::uint8_t m_uiRed;
    std::uint8_t m_uiGreen;
    std::uint8_t m_uiBlue;
};

/// A picture as the bytes of a PNG file: pixels, row by row, are positions in a palette of at most 256
/// colours. False, with the reason logged, when it cannot be made.
bool makePng(const std::vector<std::uint8_t>& in_vPixels, std::size_t in_uiColumns,
             const std::vector<Colour>& in_vPalette, std::string& out_strBytes);

} // namespace Vexalor
