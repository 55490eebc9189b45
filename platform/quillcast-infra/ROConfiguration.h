#pragma once

#include "quillcast-core/Object.h"
#include "quillcast-core/StringVector.h"

#include <string>

namespace Vexalor
{

/// Named string parameters that are read and never changed by who is configured from them. A name is a path
/// of parts joined by dots: "quillcast.audioClassifierSet.audioWindowerFilePath".
class ROConfiguration : public virtual Object
{
public:
    /// False, with out_strValue untouched, when the parameter is not defined.
    virtual bool getStringParameter(const std::string& in_strName, std::string& out_strValue) const = 0;

    /// The names of the parameters below a path, sorted: "a.b" gives "a.b.c" and "a.b.c.d", neither "a.b" nor
    /// "a.bc". An empty path gives all.
    virtual StringVector getParameterNames(const std::string& in_strPath) const = 0;
};

} // namespace Vexalor
