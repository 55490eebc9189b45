#pragma once

#include "quillcast-core/Object.h"

namespace Vexalor
{

/// Something that advances through audio and knows how far it has come.
class TimeSource : public virtual Object
{
public:
    /// The current audio time in seconds, counted from the first sample.
    virtual double getCurrentAudioTime() const = 0;
};

namespace Audio
{
using Vexalor::TimeSource;
} // namespace Audio

} // namespace Vexalor
