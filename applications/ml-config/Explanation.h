#pragma once

#include "ml-config/GeneratorOutlook.h"
#include "quillcast-core/DescribingArchive.h"

#include <ostream>
#include <string>

namespace Vexalor::MachineLearning
{

/// Text that files bring in, with its control characters replaced: for a terminal.
std::string toPrintable(std::string in_strText);

/// One line for each element of a configuration: name, value, unit, default where it is another, meaning;
/// then the remarks.
void printExplanation(std::ostream& out_stream, const ArchiveElement& in_root,
                      const GeneratorOutlook& in_outlook);

/// An XML comment that says what the elements of a configuration mean, to be appended to it. Says it once for
/// each class.
std::string makeComment(const ArchiveElement& in_root);

} // namespace Vexalor::MachineLearning
