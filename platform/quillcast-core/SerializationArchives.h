#pragma once

#include "quillcast-core/CloneableObjPtr.h"
#include "quillcast-core/Handle.h"
#include "quillcast-core/Object.h"
#include "quillcast-core/OwnershipScope.h"
#include "quillcast-core/Serialization.h"

#include <boost/archive/polymorphic_iarchive.hpp>
#include <boost/archive/polymorphic_oarchive.hpp>
#include <boost/serialization/base_object.hpp>
#include <boost/serialization/nvp.hpp>
#include <boost/serialization/split_free.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/vector.hpp>

#include <memory>
#include <type_traits>

/// What the .cpp of a serialised class needs; see Serialization.h for its use. Takes half a second to
/// compile: no header includes it.

/// Inside serialize: one member, as an element of its own name. QC_FIELD(m_uiShift), or with its unit and its
/// meaning, for programs that explain configurations: QC_FIELD(m_uiShift, "ms", "from window to window").
#define QC_FIELD(member, ...) Vexalor::serializeField(io_archive, #member, member __VA_OPT__(, ) __VA_ARGS__)

/// After the definition of serialize: the code for the archives that are in use, the polymorphic ones.
#define QC_ARCHIVES(Class)                                                                                   \
    template void Class::serialize(boost::archive::polymorphic_iarchive&, unsigned int);                     \
    template void Class::serialize(boost::archive::polymorphic_oarchive&, unsigned int)

namespace Vexalor
{

/// What a DescribingArchive is told; others take no notice.
///
/// Inside serialize: what the class is for.
void describeClass(boost::archive::polymorphic_oarchive& io_archive, const char* in_meaning);
inline void describeClass(boost::archive::polymorphic_iarchive&, const char*) {}
/// The element that comes next is a field, or the part of a base class.
void describeField(boost::archive::polymorphic_oarchive& io_archive, const char* in_unit,
                   const char* in_meaning);
inline void describeField(boost::archive::polymorphic_iarchive&, const char*, const char*) {}
void describeBase(boost::archive::polymorphic_oarchive& io_archive);
inline void describeBase(boost::archive::polymorphic_iarchive&) {}

template <class Archive, class T>
void serializeField(Archive& io_archive, const char* in_name, T& io_member, const char* in_unit = "",
                    const char* in_meaning = "")
{
    describeField(io_archive, in_unit, in_meaning);
    io_archive& boost::serialization::make_nvp(in_name, io_member);
}

/// Inside serialize: the base part, as an element named after the key of the base.
template <class Base, class Archive, class Derived>
void serializeBase(Archive& io_archive, Derived& io_object)
{
    describeBase(io_archive);
    io_archive& boost::serialization::make_nvp(boost::serialization::guid<Base>(),
                                               boost::serialization::base_object<Base>(io_object));
}

/// Saves an object as an element with its class key; null is allowed. A null name adds to the current
/// element.
template <class T>
void saveObject(boost::archive::polymorphic_oarchive& io_archive, const char* in_name, const T* in_pObject)
{
    io_archive << boost::serialization::make_nvp(in_name, in_pObject);
}

/// Refuses what was loaded as an object of another class than the one asked for.
[[noreturn]] void throwWrongClass(boost::archive::polymorphic_iarchive& in_archive,
                                  const char* in_expectedKey);

/// Loads what saveObject saved; null when null was saved. Throws when it is no T or cannot be loaded.
template <class T>
std::unique_ptr<T> loadObject(boost::archive::polymorphic_iarchive& io_archive, const char* in_name)
{
    T* pObject = nullptr;
    try
    {
        io_archive >> boost::serialization::make_nvp(in_name, pObject);
    }
    catch (const boost::archive::archive_exception& exception)
    {
        if (exception.code == boost::archive::archive_exception::unregistered_class)
            throwWrongClass(io_archive, boost::serialization::guid<T>());
        throw;
    }
    OwnershipScope::adopt(pObject);
    return std::unique_ptr<T>(pObject);
}

/// Creation of an object for loading: nobody owns it until loadObject returns, so the scope does.
template <class Archive, class T>
requires std::is_base_of_v<Object, T>
void load_construct_data(Archive&, T* in_pMemory, const boost::serialization::version_type&)
{
    boost::serialization::access::construct(in_pMemory);
    OwnershipScope::add(in_pMemory);
}

template <class T, class Count>
void save(boost::archive::polymorphic_oarchive& io_archive, const Handle<T, Count>& in_handle, unsigned int)
{
    saveObject<T>(io_archive, nullptr, in_handle.get());
}

template <class T, class Count>
void load(boost::archive::polymorphic_iarchive& io_archive, Handle<T, Count>& out_handle, unsigned int)
{
    out_handle = Handle<T, Count>(loadObject<T>(io_archive, nullptr).release());
}

template <class Archive, class T, class Count>
void serialize(Archive& io_archive, Handle<T, Count>& io_handle, const unsigned int in_uiVersion)
{
    boost::serialization::split_free(io_archive, io_handle, in_uiVersion);
}

template <class T>
void save(boost::archive::polymorphic_oarchive& io_archive, const CloneableObjPtr<T>& in_pointer,
          unsigned int)
{
    saveObject<T>(io_archive, nullptr, in_pointer.get());
}

template <class T>
void load(boost::archive::polymorphic_iarchive& io_archive, CloneableObjPtr<T>& out_pointer, unsigned int)
{
    out_pointer = CloneableObjPtr<T>(loadObject<T>(io_archive, nullptr).release());
}

template <class Archive, class T>
void serialize(Archive& io_archive, CloneableObjPtr<T>& io_pointer, const unsigned int in_uiVersion)
{
    boost::serialization::split_free(io_archive, io_pointer, in_uiVersion);
}

} // namespace Vexalor

namespace boost::serialization
{

/// A handle is no object of its own in the file: the element of the field carries the class key of the
/// object.
template <class T, class Count>
struct implementation_level<Vexalor::Handle<T, Count>>
{
    using tag = mpl::integral_c_tag;
    using type = mpl::int_<object_serializable>;
    static constexpr int value = type::value;
};

template <class T>
struct implementation_level<Vexalor::CloneableObjPtr<T>>
{
    using tag = mpl::integral_c_tag;
    using type = mpl::int_<object_serializable>;
    static constexpr int value = type::value;
};

template <class T, class Count>
struct tracking_level<Vexalor::Handle<T, Count>>
{
    using tag = mpl::integral_c_tag;
    using type = mpl::int_<track_never>;
    static constexpr int value = type::value;
};

template <class T>
struct tracking_level<Vexalor::CloneableObjPtr<T>>
{
    using tag = mpl::integral_c_tag;
    using type = mpl::int_<track_never>;
    static constexpr int value = type::value;
};

/// Configurations are trees. Tracking would be by address, where objects on the stack alias one another, and
/// would change the bytes of a file as soon as some other part of the program loads the same class through a
/// pointer.
template <class T>
requires std::is_base_of_v<Vexalor::Object, T>
struct tracking_level<T>
{
    using tag = mpl::integral_c_tag;
    using type = mpl::int_<track_never>;
    static constexpr int value = type::value;
};

} // namespace boost::serialization
