#pragma once

#include "ml-config/FieldSettings.h"

#include <span>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// A generator that has a name of its own; those of plug-ins go by the keys of their classes.
struct GeneratorKind
{
    const char* m_name;
    const char* m_key; ///< of its class
    /// Why the generator should not have these classes, empty if nothing is wrong; null for a generator that
    /// reads no recordings.
    std::string (*m_findClassFault)(const StringVector&) = nullptr;
    const char* m_usualClasses = ""; ///< joined by commas; empty: they must be given
};

std::span<const GeneratorKind> getGeneratorKinds();

/// What the options say about the generator. What they leave out is as the classes have it, which suits
/// speech on the telephone.
struct GeneratorRequest
{
    std::string m_strGenerator = "audio"; ///< name of a kind or key of a class
    StringVector m_vLibraries;
    StringVector m_vFeatures; ///< names of kinds or keys of classes; empty: log-mel where there are features
    StringVector m_vContexts; ///< what these are put into, the same way
    StringVector m_vClasses;  ///< empty: those that the kind usually has
    std::vector<FieldSetting> m_vSettings;
};

/// The text of a configuration as it is asked for, not yet tried. Loads the libraries. Returns what is wrong
/// with it, empty if nothing is.
std::string makeConfiguration(const GeneratorRequest& in_request, std::string& out_strText);

} // namespace Vexalor::MachineLearning
