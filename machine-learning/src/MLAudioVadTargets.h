#pragma once

#include "quillcast-math/DoubleVector.h"

/// The two targets of a detector of voice: (1, 0) is voice, (0, 1) what else there is.
namespace Vexalor::MachineLearning::VadTargets
{

inline bool isVoice(const DoubleVector& in_vTarget)
{
    return in_vTarget.size() == 2 && in_vTarget[0] == 1.0 && in_vTarget[1] == 0.0;
}

inline bool isOther(const DoubleVector& in_vTarget)
{
    return in_vTarget.size() == 2 && in_vTarget[0] == 0.0 && in_vTarget[1] == 1.0;
}

inline bool isOneHot(const DoubleVector& in_vTarget)
{
    return isVoice(in_vTarget) || isOther(in_vTarget);
}

/// The target has two components.
inline void setVoice(DoubleVector& io_vTarget)
{
    io_vTarget[0] = 1.0;
    io_vTarget[1] = 0.0;
}

inline void setOther(DoubleVector& io_vTarget)
{
    io_vTarget[0] = 0.0;
    io_vTarget[1] = 1.0;
}

} // namespace Vexalor::MachineLearning::VadTargets
