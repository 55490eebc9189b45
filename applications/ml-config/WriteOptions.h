#pragma once

#include "quillcast-core/StringVector.h"
#include "quillcast-infra/ProgramOptions.h"

#include <span>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// An option of one of the commands.
struct ConfigOption
{
    const char* m_name;
    const char* m_valueName;
    const char* m_help; ///< empty: what the field means
    bool m_bRepeatable = false;
    /// Of "write": the fields that take the value as it is, joined by blanks.
    const char* m_fields = "";
};

void addOption(options_description& io_options, const ConfigOption& in_option, const std::string& in_strHelp);

/// Those of "write".
std::span<const ConfigOption> getWriteOptions();

/// Declares the options. What generators, features and fields mean is asked of their classes.
void addWriteOptions(options_description& io_options);

/// The parts between commas of all values of a repeatable option, in order.
StringVector getListed(const variables_map& in_map, const char* in_option);
/// Such parts as finite numbers, above 0 if need be. Throws CommandLineError for one that is none.
std::vector<double> getListedNumbers(const variables_map& in_map, const char* in_option, bool in_bAboveZero);

} // namespace Vexalor::MachineLearning
