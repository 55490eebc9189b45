#pragma once

#include "ml-config/FieldDescriptions.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// One element of a configuration that carries information; the base parts of objects and the bookkeeping of
/// the archive carry none.
struct ConfigurationEntry
{
    std::size_t m_uiDepth = 0;
    std::string m_strName;  ///< of the element; "item 1" and so on in a list
    std::string m_strClass; ///< class key of an object; empty for a value
    /// As it is printed: the text of a value, the class of an object or "none", "3 items"; empty for a value
    /// with fields of its own.
    std::string m_strValue;
    /// Class key of the object that it belongs to and the names down from there:
    /// "MfccFeatureComputer/m_config /m_mel/m_uiNbBands". Equal in all objects of a class. Empty for an item.
    std::string m_strPath;
    /// Null when it is not ours; an item has that of its list.
    const FieldDescription* m_pField = nullptr;
    bool m_bItem = false;
};

using ConfigurationEntries = std::vector<ConfigurationEntry>;

/// Text that files bring in, with its control characters replaced: for a terminal.
std::string toPrintable(std::string in_strText);

/// The entries of a configuration in the order of the file. Throws for what GeneratorFile::toText does not
/// write.
ConfigurationEntries listEntries(const std::string& in_strText);

} // namespace Vexalor::MachineLearning
