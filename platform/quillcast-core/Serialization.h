#pragma once

#include <boost/serialization/access.hpp>
#include <boost/serialization/export.hpp>
#include <boost/serialization/level.hpp>
#include <boost/serialization/tracking.hpp>

/// What the header of a serialised class needs; the archives themselves stay in the .cpp.
///
/// In the header, an Object whose key is "MLThingConfig" and whose base has a key of its own:
///
///     class ThingConfig : public virtual Config
///     {
///         ...
///     private:
///         friend class boost::serialization::access;
///         template <class Archive>
///         void serialize(Archive& io_archive, unsigned int in_uiVersion);
///
///         double m_dLevel = 0.5;
///         CountedObjPtr<Config> m_pInner;
///     };
///
/// and after all namespaces
///
///     BOOST_CLASS_EXPORT_KEY2(Vexalor::MachineLearning::ThingConfig, "MLThingConfig")
///
/// In the one .cpp, which includes SerializationArchives.h:
///
///     template <class Archive>
///     void ThingConfig::serialize(Archive& io_archive, unsigned int)
///     {
///         serializeBase<Config>(io_archive, *this);
///         QC_FIELD(m_dLevel, "dB", "level of the tone");
///         QC_FIELD(m_pInner);
///     }
///
///     QC_ARCHIVES(ThingConfig);
///
/// and after all namespaces, unless the class is abstract,
///
///     BOOST_CLASS_EXPORT_IMPLEMENT(Vexalor::MachineLearning::ThingConfig)
///
/// Rules. A class that is created by its key is default-constructible and derives from Object. Objects are
/// owned through handles (CountedObjPtr, CloneableObjPtr) or values, never through bare pointers. What is
/// saved is a tree: an object that two handles share is written twice. New fields are appended under a higher
/// BOOST_CLASS_VERSION and read only if in_uiVersion says that they are there. A number, bool, character,
/// string, vector or enum is a field as it is; whether a number makes sense is for the class to check, an
/// enum included. A unit of serialised classes includes no header of a concrete archive, such as
/// polymorphic_xml_iarchive.hpp.

namespace Vexalor
{

/// What the registry of classes knows of a key.
enum class ClassKeyState
{
    UNKNOWN,
    ABSTRACT, ///< named by a base part; no object can be created
    CREATABLE
};

ClassKeyState getClassKeyState(const char* in_key);

/// An object in the program or the library that a class which can be created comes from; null for other keys.
const void* findClassOrigin(const char* in_key);

} // namespace Vexalor
