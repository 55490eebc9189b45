#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Vexalor::SvgPath
{

/// Heights of columns one unit wide; none where nothing is to be drawn.
using Heights = std::vector<std::optional<int>>;

/// The area between two lists of as many heights.
std::string drawBand(const Heights& in_vLeast, const Heights& in_vGreatest);

/// A box of height 1 on the base line.
std::string drawBox(std::int64_t in_iStart, std::int64_t in_iLength);

} // namespace Vexalor::SvgPath
