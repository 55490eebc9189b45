#pragma once

#include "quillcast-core/BoostRegex.h"
#include "quillcast-core/Fallible.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// Decides which annotations belong to a class, by their labels. A class that names a tone of a single
/// frequency takes the labels that name one within the tolerance; for any other pair the whole label must
/// match the regular expression of the class, in any letter case.
class AudioClassMatcher
{
public:
    /// Hz, both ends included; 10 unless set.
    void setFrequencyTolerance(unsigned int in_uiTolerance);
    int getFrequencyTolerance() const { return m_iFrequencyTolerance; }

    /// Forgets the expressions.
    void clear() { m_vExpressions.clear(); }
    bool hasExpression(const std::string& in_strClass) const;
    /// The expression of a class; unset: none can be given, which is an error once it is needed.
    void setExpression(const std::string& in_strClass, const Fallible<std::string>& in_strExpression);

    /// A class without an expression of its own is taken as one. An expression that cannot be compiled or
    /// that grows out of bounds matches nothing, logged at error level.
    bool matches(const std::string& in_strLabel, const std::string& in_strClass) const;

    /// Hz by which the tone of a label is above that of a class; unset unless both name one.
    static Fallible<std::int64_t> getToneDifference(const std::string& in_strLabel,
                                                    const std::string& in_strClass);

private:
    /// Of one class, compiled once; without m_regex it could not be.
    struct Expression
    {
        Expression(const std::string& in_strClass, const Fallible<std::string>& in_strExpression);

        std::string m_strClass;
        std::string m_strExpression;
        std::optional<BoostRegex> m_regex;
    };

    const Expression* find(const std::string& in_strClass) const;
    const Expression& findOrCompile(const std::string& in_strClass) const;

    int m_iFrequencyTolerance = 10;
    std::vector<Expression> m_vExpressions;
    mutable std::optional<Expression> m_lastOther; ///< of the last class without one of its own
};

} // namespace Vexalor::MachineLearning
