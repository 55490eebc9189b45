#pragma once

#include <stdexcept>

namespace Vexalor
{

/// The exception of this code base: configuration loading and command lines only, everything else returns
/// bool.
class ExceptionWithMsg : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

} // namespace Vexalor
