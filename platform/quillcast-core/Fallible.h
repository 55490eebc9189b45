#pragma once

#include <optional>
#include <utility>

namespace Vexalor
{

/// A value with a validity flag; unset means "no value".
template <class T>
class Fallible
{
public:
    Fallible() = default;
    Fallible(T in_value)
        : m_value(std::move(in_value))
    {
    }

    bool isValid() const { return m_value.has_value(); }
    /// Only of a valid one.
    const T& getValue() const { return *m_value; }

private:
    std::optional<T> m_value;
};

} // namespace Vexalor
