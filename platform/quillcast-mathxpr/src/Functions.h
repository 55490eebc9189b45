#pragma once

#include <cstddef>
#include <string_view>

namespace Vexalor::Math::Xpr
{

/// A function of the language.
struct Function
{
    enum class Kind
    {
        MAP,         ///< element by element
        REDUCE,      ///< a vector to one value
        DOT,         ///< two vectors of one length to one value
        SIZE,        ///< length
        RANGE,       ///< 0, 1, ..., n - 1
        TONE_ENERGY, ///< window, frequencies, rate
        LOG_MEL,     ///< window, number of bands, rate, lower edge, upper edge
        EXTREME      ///< MINIMUM or MAXIMUM of two or more, or the reduction of one
    };

    const char* m_szName;
    Kind m_kind;
    unsigned int m_uiLeastArguments;
    unsigned int m_uiMostArguments;
    double (*m_pMap)(double, double); ///< looks at the first one only
    double (*m_pReduce)(const double*, std::size_t);
    bool m_bTakesEmpty; ///< for reductions: has a value for a vector without values

    bool isKernel() const { return m_kind == Kind::TONE_ENERGY || m_kind == Kind::LOG_MEL; }
};

/// Null for an unknown name.
const Function* findFunction(std::string_view in_strName);

} // namespace Vexalor::Math::Xpr
