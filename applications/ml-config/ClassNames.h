#pragma once

#include "quillcast-core/StringVector.h"

#include <cstddef>
#include <string>

namespace Vexalor::MachineLearning
{

/// The name of a class as an audio generator reads it: OTHER, a tone, or a regular expression for the labels
/// of annotations.

/// The class whose annotations have that very label (letter case apart), whatever it means otherwise.
std::string toLiteralClass(const std::string& in_strLabel);

/// Why no generator should have these classes; empty if nothing is wrong.
std::string findClassFault(const StringVector& in_vClasses);

/// The same for detectors of wideband, amplitude-modulated and single tones, whose classes are names of such
/// tones.
std::string findWidebandClassFault(const StringVector& in_vClasses);
std::string findAMClassFault(const StringVector& in_vClasses);
std::string findToneClassFault(const StringVector& in_vClasses);

/// What should be known about the classes of a generator, one sentence each.
StringVector describeClasses(const StringVector& in_vClasses);

} // namespace Vexalor::MachineLearning
