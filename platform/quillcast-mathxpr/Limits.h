#pragma once

#include <cstddef>

/// What scripts may ask for, so that no input takes all memory or time.
namespace Vexalor::Math::Xpr::Limits
{

constexpr std::size_t MAX_SCRIPT_SIZE = std::size_t(1) << 18; ///< bytes
constexpr unsigned int MAX_DEPTH = 200;                  ///< of parentheses, calls and repeated operators
constexpr std::size_t MAX_VECTOR = std::size_t(1) << 16; ///< values of one vector
constexpr std::size_t MAX_VALUES = std::size_t(1) << 21; ///< values of all vectors of an evaluator
constexpr std::size_t MAX_TABLES = std::size_t(1) << 22; ///< values of all tables of functions

} // namespace Vexalor::Math::Xpr::Limits
