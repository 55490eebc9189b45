#pragma once

#include "quillcast-core/DescribingArchive.h"
#include "quillcast-core/StringVector.h"

#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// A value for a field of a configuration.
struct FieldSetting
{
    std::string m_strOption; ///< that asks for it, for messages
    /// Names of fields. Before a name may stand, each followed by a slash, names of fields or keys of classes
    /// that it lies in: "MfccFeatureComputer/m_dSamplingRate". Every such field is set; there must be one.
    StringVector m_vFields;
    StringVector m_vParts; ///< the items of a list; of anything else, joined by commas, the value
};

/// The fields that a path as that of a setting stands for.
std::vector<const ArchiveElement*> findFields(const ArchiveElement& in_root, const std::string& in_strPath);

/// Puts the values into the text of the archive, the later ones over earlier ones. Numbers are not checked:
/// loading does. Returns what is wrong, with the text as it was, empty if nothing is.
std::string applySettings(const std::vector<FieldSetting>& in_vSettings, ArchiveDescription& io_archive);

} // namespace Vexalor::MachineLearning
