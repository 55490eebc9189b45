#pragma once

#include <span>
#include <string_view>

namespace Vexalor::MachineLearning
{

/// What a class that configurations name is for.
struct ClassDescription
{
    std::string_view m_key;
    const char* m_meaning;
};

/// What an element of a configuration stands for. Serves the comment in written files and the explanation of
/// existing ones alike.
struct FieldDescription
{
    /// Key of the class that owns the field; an own name for classes without a key, whose objects are values;
    /// ARCHIVE_ROOT for the elements that every file has.
    std::string_view m_class;
    std::string_view m_name;
    const char* m_meaning;
    const char* m_unit = "";
    /// The class of a field that holds a value with fields of its own.
    const char* m_valueClass = "";
};

inline constexpr std::string_view ARCHIVE_ROOT = "";

std::span<const ClassDescription> getClassDescriptions();
/// In the order of the files.
std::span<const FieldDescription> getFieldDescriptions();

/// Empty for a class that is not ours.
const char* describeClass(std::string_view in_key);
/// Null for a field that is not ours.
const FieldDescription* describeField(std::string_view in_class, std::string_view in_name);

} // namespace Vexalor::MachineLearning
