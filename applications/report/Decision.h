#pragma once

#include "quillcast-math/DoubleVector.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

/// What a pattern is taken for, by the rules of the classification error.
namespace Vexalor::MachineLearning::Decision
{

/// The class of the greatest output, the first one of equal ones. The output is not empty.
inline std::size_t decide(const DoubleVector& in_vOutput)
{
    return static_cast<std::size_t>(std::max_element(in_vOutput.begin(), in_vOutput.end()) -
                                    in_vOutput.begin());
}

/// How many components of a target are 1.
inline std::size_t countClasses(const DoubleVector& in_vTarget)
{
    return static_cast<std::size_t>(std::count(in_vTarget.begin(), in_vTarget.end(), 1.0));
}

/// The class of a target that has one.
inline std::size_t findClass(const DoubleVector& in_vTarget)
{
    return static_cast<std::size_t>(std::find(in_vTarget.begin(), in_vTarget.end(), 1.0) -
                                    in_vTarget.begin());
}

/// True when the pattern counts as wrong, or when its output holds a nan. A null target is none.
inline bool isFailure(const DoubleVector& in_vOutput, const DoubleVector* in_pTarget)
{
    if (std::any_of(in_vOutput.begin(), in_vOutput.end(), [](double in_d) { return std::isnan(in_d); }))
        return true;
    return in_pTarget != nullptr && in_pTarget->size() == in_vOutput.size() &&
           countClasses(*in_pTarget) == 1 && findClass(*in_pTarget) != decide(in_vOutput);
}

} // namespace Vexalor::MachineLearning::Decision
