#pragma once

#include "quillcast-core/StringVector.h"
#include "quillcast-infra/ProgramOptions.h"

#include <string_view>

namespace Vexalor
{

/// The parts between separators, at least one.
StringVector splitText(std::string_view in_text, char in_cSeparator);

/// Names that an option lists, separated by commas; none where it was not given. Throws CommandLineError for
/// an empty one.
StringVector getListedNames(const variables_map& in_map, const char* in_option);

/// Names of the classes, in the order of the outputs or targets.
constexpr const char* CLASS_NAMES_OPTION = "class-names";
/// For programs that take the names from the generator unless they are given.
void addClassNamesOption(options_description& io_options);
/// Those names; throws CommandLineError for an empty one and for one that is given twice.
StringVector getClassNames(const variables_map& in_map);
/// False, with the reason logged at error level, when there are names, but not one for each value of a
/// target: they would stand at the wrong numbers.
bool acceptClassNames(const StringVector& in_vNames, std::size_t in_uiTargets);

} // namespace Vexalor
