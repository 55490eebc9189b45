#include "quillcast-core/BoostRegex.h"

#include <boost/regex.hpp>

namespace Vexalor
{

struct BoostRegex::State
{
    boost::regex m_regex;
};

BoostRegex::BoostRegex(const std::string& in_strExpression, unsigned int in_uiFlags)
    : m_pState(std::make_unique<State>())
{
    static_assert(ICASE == boost::regex::icase);
    m_pState->m_regex.assign(in_strExpression, in_uiFlags);
}

BoostRegex::~BoostRegex() = default;
BoostRegex::BoostRegex(BoostRegex&&) noexcept = default;
BoostRegex& BoostRegex::operator=(BoostRegex&&) noexcept = default;

bool BoostRegex::match(const std::string& in_strText) const
{
    return boost::regex_match(in_strText, m_pState->m_regex);
}

} // namespace Vexalor
