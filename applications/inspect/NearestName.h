#pragma once

#include "quillcast-core/StringVector.h"

#include <string>

namespace Vexalor::MachineLearning
{

/// The name that in_strName was probably meant to be: the first one of those with the fewest letters typed
/// wrongly, left out, put in or swapped with their neighbours (the restricted edit distance of F. J. Damerau,
/// "A technique for computer detection and correction of spelling errors", CACM 7, 1964), letter case apart.
/// Empty when none differs in so few: one letter of three, two of six and so on, three at most.
std::string findNearestName(const std::string& in_strName, const StringVector& in_vNames);

/// Both have digits, and these differ: they are what tells tones and numbered speakers apart.
bool haveOtherNumbers(const std::string& in_strLeft, const std::string& in_strRight);

} // namespace Vexalor::MachineLearning
