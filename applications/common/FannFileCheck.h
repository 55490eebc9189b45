#pragma once

#include <string>
#include <string_view>

namespace Vexalor::MachineLearning
{

/// Checks the text of a network file (floating-point form, version 2.1) whole: every field in its place and
/// in its range, every number finite, every count backed by as many entries, every connection leading from an
/// earlier layer, every neuron connected as its kind of network demands. FANN's own reader trusts all of
/// that. Lines that begin with # may stand at the end, where that reader does not look.
///
/// False with "line N: field: what is wrong". Takes memory in proportion to the text, whatever the counts in
/// it. Networks with FANN's input scaling are refused: FANN does not apply it when it computes.
bool checkFannText(std::string_view in_text, std::string& out_strReason);

} // namespace Vexalor::MachineLearning
