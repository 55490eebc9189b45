#pragma once

#include "quillcast-core/Object.h"

#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace boost::archive
{
class polymorphic_oarchive;
}

namespace Vexalor
{

/// One element of an archive, with what the classes say of it (QC_FIELD, describeClass).
struct ArchiveElement
{
    enum class Kind
    {
        VALUE,  ///< a number or a text
        LIST,   ///< of items
        OBJECT, ///< with fields of its own
        NONE    ///< a pointer to no object
    };

    std::string m_strName; ///< "item" in a list
    std::string m_strMeaning;
    std::string m_strUnit;
    Kind m_kind = Kind::VALUE;
    std::string m_strClass; ///< key of the class of an object; empty if it has none
    std::string m_strClassMeaning;
    bool m_bPointer = false; ///< an object that a handle owns, which might be of another class
    std::string m_strValue;  ///< of a number or a text
    /// Where the content stands in the text.
    std::size_t m_uiBegin = 0;
    std::size_t m_uiEnd = 0;
    /// Fields, those of base parts among them, or items.
    std::vector<ArchiveElement> m_vElements;
};

/// What an XML archive says, as text and as a tree.
struct ArchiveDescription
{
    std::string m_strText; ///< as XmlOutputArchive writes it
    ArchiveElement m_root;
};

/// Writes an XML archive, as XmlOutputArchive does, and notes what its elements are.
///
/// Call order: setObject* (objects and values through get)* finish.
class DescribingArchive
{
public:
    DescribingArchive();
    ~DescribingArchive();

    /// Where a field of that name has no object, in_save is called to save one, by saveObject with a null
    /// name. For the text; the object that is saved stays as it is.
    void setObject(const char* in_field, std::function<void(boost::archive::polymorphic_oarchive&)> in_save);

    /// Saving throws archive exceptions, for example for a class without a key.
    boost::archive::polymorphic_oarchive& get();

    ArchiveDescription finish();

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

/// An object of the class, with the values that its constructor gives. Throws ArchiveError for a key that no
/// class has, or one of which no object can be created.
std::unique_ptr<Object> newDefaultObject(const char* in_key);

/// Describes such an object. An element without fields when none can be created.
ArchiveElement describeDefaultObject(const char* in_key);

} // namespace Vexalor
