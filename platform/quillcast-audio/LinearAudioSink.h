#pragma once

#include "quillcast-core/Object.h"

namespace Vexalor
{

/// Something that audio flows into.
class AudioSink : public virtual Object
{
};

/// A sink of linear (uncoded) audio of one channel, in samples of [-1, 1).
class LinearAudioSink : public virtual AudioSink
{
public:
    /// Takes the samples in [in_begin, in_end), any number of them. False, with the reason logged, if they
    /// were not taken or not processed.
    virtual bool pushLinearAudio(const double* in_begin, const double* in_end) = 0;
};

namespace Audio
{
using Vexalor::AudioSink;
using Vexalor::LinearAudioSink;
} // namespace Audio

} // namespace Vexalor
