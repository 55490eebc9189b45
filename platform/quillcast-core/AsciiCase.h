#pragma once

#include <algorithm>
#include <string_view>

namespace Vexalor
{

/// For keywords: the same but for the case of the letters A to Z, whatever the locale.
inline bool equalIgnoringCase(std::string_view in_left, std::string_view in_right)
{
    const auto toLower = [](char in_c)
    {
        return in_c >= 'A' && in_c <= 'Z' ? static_cast<char>(in_c - 'A' + 'a') : in_c;
    };
    return std::equal(in_left.begin(), in_left.end(), in_right.begin(), in_right.end(),
                      [&](char in_cLeft, char in_cRight) { return toLower(in_cLeft) == toLower(in_cRight); });
}

} // namespace Vexalor
