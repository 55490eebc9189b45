#pragma once

#include "ml-config/ConfigurationTree.h"
#include "ml-config/GeneratorOutlook.h"

#include <ostream>
#include <string>

namespace Vexalor::MachineLearning
{

/// One line for each entry of a configuration: name, value, unit, default where it is another, meaning; then
/// the remarks.
void printExplanation(std::ostream& out_stream, const ConfigurationEntries& in_entries,
                      const GeneratorOutlook& in_outlook);

/// An XML comment that says what the elements of a configuration mean, for behind its end. Says it once for
/// each class.
std::string makeComment(const ConfigurationEntries& in_entries);

} // namespace Vexalor::MachineLearning
