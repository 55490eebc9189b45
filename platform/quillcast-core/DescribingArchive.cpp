#include "quillcast-core/DescribingArchive.h"

#include "quillcast-core/SerializationArchives.h"
#include "quillcast-core/src/XmlWriter.h"

#include <boost/archive/detail/archive_serializer_map.hpp>
#include <map>
#include <utility>

namespace Vexalor
{

namespace
{

using Saver = std::function<void(boost::archive::polymorphic_oarchive&)>;
using Kind = ArchiveElement::Kind;

class Describer final : public XmlWriter
{
    using Base = boost::archive::xml_oarchive;

public:
    using XmlWriter::XmlWriter;

    ArchiveElement m_root;
    std::map<std::string, Saver> m_objects;

    void describeField(const char* in_unit, const char* in_meaning)
    {
        m_unit = in_unit;
        m_meaning = in_meaning;
    }

    void describeClass(const char* in_meaning)
    {
        if (!m_vOpen.empty() && m_vOpen.back().m_part == Part::ELEMENT)
            m_vOpen.back().m_pElement->m_strClassMeaning = in_meaning;
    }

    void describeBase() { m_bBase = true; }

    /// Saves an object whose class is known by its key alone.
    void describeObject(const Object& in_object, const char* in_key)
    {
        using Map = boost::archive::detail::archive_serializer_map<boost::archive::polymorphic_oarchive>;
        const auto* pInfo = boost::serialization::extended_type_info::find(in_key);
        const auto* pSaver =
            static_cast<const boost::archive::detail::basic_pointer_oserializer*>(Map::find(*pInfo));
        save_start("object");
        pSaver->save_object_ptr(*this, dynamic_cast<const void*>(&in_object));
        save_end("object");
    }

private:
    /// What the tags on the way to the current place stand for.
    enum class Part
    {
        ELEMENT,
        BASE,       ///< the part of the element that a base class owns
        BOOKKEEPING ///< of the archive
    };

    struct Open
    {
        ArchiveElement* m_pElement; ///< last one of its parent, so that it stays where it is
        Part m_part;
    };

    ArchiveElement& getElement() { return m_vOpen.empty() ? m_root : *m_vOpen.back().m_pElement; }

    void save_start(const char* in_name) override
    {
        if (in_name == nullptr)
            return;
        const std::string strName = in_name;
        ArchiveElement& parent = getElement();
        const bool bBookkeeping =
            parent.m_kind != Kind::OBJECT && (strName == "count" || strName == "item_version");
        if (bBookkeeping)
            parent.m_kind = Kind::LIST;
        if (bBookkeeping || m_bBase)
            m_vOpen.push_back({&parent, m_bBase ? Part::BASE : Part::BOOKKEEPING});
        else
            open(parent, strName);
        m_bBase = false;
        Base::save_start(in_name);
        if (m_vOpen.back().m_part == Part::ELEMENT)
            getElement().m_uiBegin = static_cast<std::size_t>(os.tellp());
    }

    void open(ArchiveElement& io_parent, const std::string& in_strName)
    {
        if (io_parent.m_kind == Kind::VALUE)
            io_parent.m_kind = Kind::OBJECT;
        ArchiveElement& element = io_parent.m_vElements.emplace_back();
        element.m_strName = in_strName;
        element.m_strUnit = std::exchange(m_unit, "");
        element.m_strMeaning = std::exchange(m_meaning, "");
        m_vOpen.push_back({&element, Part::ELEMENT});
    }

    void save_end(const char* in_name) override
    {
        if (in_name == nullptr)
            return;
        const auto [pElement, part] = m_vOpen.back();
        m_vOpen.pop_back();
        if (part == Part::ELEMENT)
            close(*pElement);
        Base::save_end(in_name);
    }

    void close(ArchiveElement& io_element)
    {
        Base::end_preamble();
        const std::string_view text = static_cast<std::ostringstream&>(os).view();
        io_element.m_uiBegin = text.find('>', io_element.m_uiBegin) + 1;
        io_element.m_uiEnd = text.size();
        if (io_element.m_kind == Kind::VALUE && io_element.m_strValue.empty())
            io_element.m_strValue = text.substr(io_element.m_uiBegin);
    }

    void save_object(const void* in_pObject,
                     const boost::archive::detail::basic_oserializer& in_type) override
    {
        const char* key = in_type.get_eti().get_key();
        if (key != nullptr && !m_vOpen.empty() && m_vOpen.back().m_part == Part::ELEMENT)
        {
            getElement().m_kind = Kind::OBJECT;
            getElement().m_strClass = key;
        }
        Base::save_object(in_pObject, in_type);
    }

    void save_pointer(const void* in_pObject,
                      const boost::archive::detail::basic_pointer_oserializer* in_pType) override
    {
        getElement().m_bPointer = true;
        Base::save_pointer(in_pObject, in_pType);
    }

    /// All that the library writes of a pointer to no object.
    void vsave(const boost::archive::class_id_type in_id) override
    {
        const bool bNull = in_id == boost::archive::class_id_type(-1);
        const auto itObject = m_objects.find(getElement().m_strName);
        if (bNull && itObject != m_objects.end())
            return itObject->second(*this);
        if (bNull)
            getElement().m_kind = Kind::NONE;
        Base::save_override(in_id);
    }

    using XmlWriter::save;
    void save(const std::string& in_strText) override
    {
        getElement().m_strValue = in_strText;
        XmlWriter::save(in_strText);
    }

    std::vector<Open> m_vOpen;
    const char* m_unit = "";
    const char* m_meaning = "";
    bool m_bBase = false;
};

} // namespace

struct DescribingArchive::State
{
    std::ostringstream m_buffer = XmlWriter::makeBuffer();
    Describer m_describer{m_buffer};
};

DescribingArchive::DescribingArchive()
    : m_pState(std::make_unique<State>())
{
}

DescribingArchive::~DescribingArchive() = default;

void DescribingArchive::setObject(const char* in_field, Saver in_save)
{
    m_pState->m_describer.m_objects[in_field] = std::move(in_save);
}

boost::archive::polymorphic_oarchive& DescribingArchive::get()
{
    return m_pState->m_describer;
}

ArchiveDescription DescribingArchive::finish()
{
    m_pState->m_describer.finish();
    return {m_pState->m_buffer.str(), std::move(m_pState->m_describer.m_root)};
}

ArchiveElement describeDefaultObject(const char* in_key)
{
    if (getClassKeyState(in_key) != ClassKeyState::CREATABLE)
        return {};
    const std::unique_ptr<Object> pObject = newDefaultObject(in_key);
    std::ostringstream buffer = XmlWriter::makeBuffer();
    Describer describer(buffer);
    describer.describeObject(*pObject, in_key);
    return std::move(describer.m_root.m_vElements.front());
}

void describeField(boost::archive::polymorphic_oarchive& io_archive, const char* in_unit,
                   const char* in_meaning)
{
    if (auto* pDescriber = dynamic_cast<Describer*>(&io_archive))
        pDescriber->describeField(in_unit, in_meaning);
}

void describeClass(boost::archive::polymorphic_oarchive& io_archive, const char* in_meaning)
{
    if (auto* pDescriber = dynamic_cast<Describer*>(&io_archive))
        pDescriber->describeClass(in_meaning);
}

void describeBase(boost::archive::polymorphic_oarchive& io_archive)
{
    if (auto* pDescriber = dynamic_cast<Describer*>(&io_archive))
        pDescriber->describeBase();
}

} // namespace Vexalor
