#pragma once

#include <string>
#include <vector>

namespace Vexalor
{

using StringVector = std::vector<std::string>;

} // namespace Vexalor
