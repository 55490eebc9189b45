#pragma once

#include "quillcast-audio/AnnotatedFile.h"

#include <cstdint>
#include <string>

namespace Vexalor
{

/// Reads the annotations of a recording. False with the reason logged.
bool readAnnotations(const std::string& in_strFile, AnnotatedFile& out_file);

/// How many samples of one channel the recording delivers by its headers; false, with the reason logged, if
/// it cannot be opened.
bool getFrameCount(const std::string& in_strFile, std::uint64_t& out_uiFrames);

/// How many it really delivers, by reading them all.
bool decodeFrames(const std::string& in_strFile, std::uint64_t& out_uiFrames);

} // namespace Vexalor
