#pragma once

#include "quillcast-core/StringVector.h"
#include "quillcast-infra/ProgramOptions.h"

#include <span>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

struct GeneratorRequest;

/// An option of one of the commands.
struct ConfigOption
{
    const char* m_name;
    const char* m_valueName;
    const char* m_help;
    /// The generators or the features, joined by blanks, that it is for; "audio": all that read recordings;
    /// empty: all.
    const char* m_users;
    bool m_bRepeatable = false;
};

void addOption(options_description& io_options, const ConfigOption& in_option, const std::string& in_strHelp);

/// Those of "write".
std::span<const ConfigOption> getWriteOptions();

/// Declares the options, with the kinds of generators and features in their help texts.
void addWriteOptions(options_description& io_options);

/// What is wrong with the kinds that were asked for, or an option that was given in vain; empty if nothing
/// is.
std::string findOptionFault(const variables_map& in_map, const GeneratorRequest& in_request);

/// The parts between commas of all values of a repeatable option, in order.
StringVector getListed(const variables_map& in_map, const char* in_option);
/// Such parts as finite numbers, above 0 if need be. Throws ExceptionWithMsg for one that is none.
std::vector<double> getListedNumbers(const variables_map& in_map, const char* in_option, bool in_bAboveZero);

} // namespace Vexalor::MachineLearning
