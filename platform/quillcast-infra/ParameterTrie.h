#pragma once

#include "quillcast-infra/ROConfiguration.h"

#include <iosfwd>
#include <map>

namespace Vexalor
{

/// Parameters held in memory, set one by one or read from text.
///
/// Text form: one "name=value" a line, blanks around both ignored; empty lines and lines whose first
/// character is '#' are skipped; UTF-8 with or without a mark, line ends of either kind. A name may stand
/// once.
class ParameterTrie : public virtual ROConfiguration
{
public:
    /// Longest line that read accepts, in bytes.
    static constexpr std::size_t MAX_LINE = 65536;

    /// Sets or replaces. False, with the reason logged at error level, when the name has an empty part or a
    /// character other than letters, digits, '_' and '-'.
    bool setParameter(const std::string& in_strName, const std::string& in_strValue);

    /// Adds what the text defines, replacing parameters of the same names. False, with in_strSource, the line
    /// and the reason logged at error level and nothing added, at the first line that is malformed.
    bool read(std::istream& in_stream, const std::string& in_strSource);

    bool getStringParameter(const std::string& in_strName, std::string& out_strValue) const override;
    StringVector getParameterNames(const std::string& in_strPath) const override;

private:
    std::map<std::string, std::string> m_parameters;
};

} // namespace Vexalor
