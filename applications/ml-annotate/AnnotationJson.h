#pragma once

#include "quillcast-audio/AnnotatedFile.h"

#include <cstdint>
#include <optional>
#include <string>

namespace Vexalor
{

/// All that a recording says of itself and its annotations, as one JSON object: every cue point, label, note,
/// text record, loop and chunk, and the annotations and markers made of them (doc/formats.md).
std::string formatJson(const std::string& in_strFilename, const AnnotatedFile& in_file,
                       std::optional<std::uint64_t> in_uiDecodedFrames);

} // namespace Vexalor
