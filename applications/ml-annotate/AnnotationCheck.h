#pragma once

#include "quillcast-audio/Annotation.h"
#include "quillcast-core/StringVector.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor
{

/// A fault of the annotations of one recording.
struct Finding
{
    const char* m_kind;
    std::string m_strText;
};

/// The kinds of finding, with what they mean.
struct FindingKind
{
    const char* m_name;
    const char* m_description;
};
inline constexpr FindingKind FINDING_KINDS[] = {
    {"inverted", "it stops before its start"},
    {"overlap", "two of one label overlap"},
    {"touching", "one begins where another of its label stops"},
    {"order", "generators take or refuse two by the order in which the file has them"},
    {"mixed", "two of different labels overlap"},
    {"beyond", "it lies beyond the end of the recording, wholly or in part"},
    {"uncovered", "a stretch of the recording has no annotation"},
};

/// All faults, kind by kind in the order of the table. Times are compared as sample numbers.
std::vector<Finding> checkAnnotations(const std::vector<Annotation>& in_vAnnotations, std::uint32_t in_uiRate,
                                      std::uint64_t in_uiFrames);

} // namespace Vexalor
