#pragma once

#include <memory>
#include <string>

namespace Vexalor
{

/// A compiled regular expression (Perl syntax) that is matched against whole texts. Compile once, match
/// often.
class BoostRegex
{
public:
    /// Flag of compile: letter case is ignored.
    static constexpr unsigned int ICASE = 0x100000;

    /// Throws a std::runtime_error that tells what is wrong with the expression.
    BoostRegex(const std::string& in_strExpression, unsigned int in_uiFlags);
    ~BoostRegex();
    BoostRegex(BoostRegex&&) noexcept;
    BoostRegex& operator=(BoostRegex&&) noexcept;

    /// True when the whole text matches. Throws a std::runtime_error when the search grows out of bounds, so
    /// that no expression runs away.
    bool match(const std::string& in_strText) const;

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

} // namespace Vexalor
