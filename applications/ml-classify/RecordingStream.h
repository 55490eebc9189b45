#pragma once

#include "ml-classify/RawSamples.h"

namespace Vexalor
{

/// Reads the header of a WAV recording (RIFF, RF64, BW64) that comes as a stream, up to its first sample, and
/// says how the samples lie that follow. Codings of fixed size only: whole numbers, floating point, A-law and
/// mu-law. False, with the reason logged, for anything else.
bool readRecordingHeader(ByteStream& io_stream, SampleLayout& out_layout);

} // namespace Vexalor
