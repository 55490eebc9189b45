#include "quillcast-core/CheckedXmlInputArchive.h"

#include "quillcast-core/DescribingArchive.h"
#include "quillcast-core/SerializationArchives.h"

#include <algorithm>
#include <boost/archive/detail/archive_serializer_map.hpp>
#include <boost/archive/detail/polymorphic_iarchive_route.hpp>
#include <boost/archive/impl/basic_xml_grammar.hpp>
#include <boost/archive/xml_iarchive.hpp>
#include <charconv>
#include <limits>
#include <locale>
#include <sstream>
#include <string_view>

namespace Vexalor
{

ArchiveError::ArchiveError(std::string in_strMessage)
    : archive_exception(other_exception)
    , m_strMessage(std::move(in_strMessage))
{
}

const char* ArchiveError::what() const noexcept
{
    return m_strMessage.c_str();
}

namespace
{

using boost::archive::detail::basic_iserializer;
using boost::archive::detail::basic_pointer_iserializer;
using boost::serialization::extended_type_info;

constexpr std::string_view BLANKS = " \t\r\n";
constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";
/// An item of a collection is at least "<item></item>".
constexpr std::size_t MIN_ITEM_BYTES = 13;
/// Attributes that a start tag does not have: no archive contains these values.
constexpr int NO_CLASS_ID = -2;
constexpr unsigned int NO_NUMBER = std::numeric_limits<unsigned int>::max();

std::string_view trim(std::string_view in_text)
{
    const std::size_t uiBegin = in_text.find_first_not_of(BLANKS);
    if (uiBegin == std::string_view::npos)
        return {};
    return in_text.substr(uiBegin, in_text.find_last_not_of(BLANKS) - uiBegin + 1);
}

/// Excerpt of the input for a message, on one line.
std::string quote(std::string_view in_text)
{
    std::string strText(in_text.substr(0, 40));
    std::replace_if(
        strText.begin(), strText.end(), [](unsigned char in_cChar) { return in_cChar < 0x20; }, '?');
    return "'" + strText + (in_text.size() > strText.size() ? "...'" : "'");
}

/// Decodes an entity without its & and ;
bool decodeEntity(std::string_view in_name, std::string& io_strText)
{
    static constexpr std::pair<std::string_view, char> ENTITIES[] = {
        {"amp", '&'}, {"lt", '<'}, {"gt", '>'}, {"apos", '\''}, {"quot", '"'}};
    for (const auto& [name, cChar] : ENTITIES)
    {
        if (in_name == name)
        {
            io_strText += cChar;
            return true;
        }
    }
    const bool bHex = in_name.starts_with("#x");
    if (!bHex && !in_name.starts_with("#"))
        return false;
    in_name.remove_prefix(bHex ? 2 : 1);
    unsigned char cCode = 0;
    const char* end = in_name.data() + in_name.size();
    const auto result = std::from_chars(in_name.data(), end, cCode, bHex ? 16 : 10);
    io_strText += static_cast<char>(cCode);
    return result.ec == std::errc() && result.ptr == end;
}

/// Null for an unknown key and for that of an abstract class.
const basic_pointer_iserializer* findCreator(const char* in_key)
{
    using Map = boost::archive::detail::archive_serializer_map<boost::archive::polymorphic_iarchive>;
    const extended_type_info* pInfo = extended_type_info::find(in_key);
    return pInfo == nullptr ? nullptr : static_cast<const basic_pointer_iserializer*>(Map::find(*pInfo));
}

/// The library's reader with a check in each of its hooks. The library trusts class ids, object ids, counts
/// and names of the file; tags are parsed by its grammar, values by ourselves.
class Reader final : public boost::archive::detail::polymorphic_iarchive_route<boost::archive::xml_iarchive>
{
    using Base = boost::archive::xml_iarchive;

public:
    /// Without its header flag the library's destructor looks for the end tag and throws when there is none.
    explicit Reader(std::istringstream& io_stream)
        : polymorphic_iarchive_route(io_stream, boost::archive::no_header |
                                                    boost::archive::no_xml_tag_checking |
                                                    boost::archive::no_codecvt)
        , m_stream(io_stream)
    {
        bool bArchive = true;
        try
        {
            init();
        }
        catch (const boost::archive::archive_exception&)
        {
            bArchive = false;
        }
        // The library is content with a beginning of its signature.
        if (!bArchive || gimpl->rv.class_name != boost::archive::BOOST_ARCHIVE_SIGNATURE())
            fail("the text does not begin like an archive of the serialization library");
    }

    /// Creates an object of the class, without reading its fields; the innermost OwnershipScope owns it.
    void create(const basic_pointer_iserializer& in_creator)
    {
        m_bBlank = true;
        in_creator.load_object_ptr(*this, in_creator.heap_allocation(), 0);
        m_bBlank = false;
    }

    [[noreturn]] void fail(const std::string& in_strReason) const
    {
        const std::string_view text = m_stream.view();
        const std::size_t uiLine = 1 + std::count(text.begin(), text.begin() + getPosition(), '\n');
        std::string strPlace = "line " + std::to_string(uiLine);
        if (!m_vPath.empty())
            strPlace += std::string(", element '") + m_vPath.back() + "'";
        throw ArchiveError(strPlace + ": " + in_strReason);
    }

    void finish()
    {
        if (!parseEndTag() || gimpl->rv.object_name != "boost_serialization")
            fail("the end tag of the archive is missing");
        std::string_view rest = trim(m_stream.view().substr(getPosition()));
        while (!rest.empty())
        {
            const std::size_t uiEnd = rest.find("-->", 4);
            if (!rest.starts_with("<!--") || uiEnd == std::string_view::npos)
                fail("text after the end of the archive");
            rest = trim(rest.substr(uiEnd + 3));
        }
    }

private:
    std::size_t getPosition() const
    {
        return static_cast<std::size_t>(m_stream.rdbuf()->pubseekoff(0, std::ios::cur, std::ios::in));
    }

    void setPosition(std::size_t in_uiPosition)
    {
        m_stream.rdbuf()->pubseekpos(static_cast<std::streamoff>(in_uiPosition), std::ios::in);
    }

    /// The grammar reads up to a '>' and throws when there is none.
    bool hasTag() const { return m_stream.view().find('>', getPosition()) != std::string_view::npos; }
    bool parseStartTag() { return hasTag() && gimpl->parse_start_tag(m_stream); }
    bool parseEndTag() { return hasTag() && gimpl->parse_end_tag(m_stream); }

    void load_start(const char* in_name) override
    {
        if (in_name == nullptr)
            return;
        if (m_vPath.size() == CheckedXmlInputArchive::MAX_DEPTH)
            fail("too deeply nested");
        auto& attributes = gimpl->rv;
        attributes.class_id = NO_CLASS_ID;
        attributes.object_id = NO_NUMBER;
        attributes.version = NO_NUMBER;
        attributes.tracking_level = false;
        const bool bTag = parseStartTag();
        if (!bTag || attributes.object_name != in_name)
            fail(std::string("the start tag of element '") + in_name + "' is missing");
        m_vPath.push_back(in_name);
    }

    void load_end(const char* in_name) override
    {
        if (in_name == nullptr)
            return;
        if (!parseEndTag() || gimpl->rv.object_name != in_name)
            fail("the end tag is missing");
        m_vPath.pop_back();
    }

    /// The text up to the next tag.
    std::string_view readContent()
    {
        const std::size_t uiBegin = getPosition();
        const std::string_view text = m_stream.view();
        const std::size_t uiEnd = text.find('<', uiBegin);
        if (uiEnd == std::string_view::npos)
            fail("the file ends within a value");
        setPosition(uiEnd);
        return text.substr(uiBegin, uiEnd - uiBegin);
    }

    template <class T>
    void loadNumber(T& out_value, const char* in_expected)
    {
        const std::string_view token = trim(readContent());
        const auto result = std::from_chars(token.data(), token.data() + token.size(), out_value);
        if (result.ec != std::errc() || result.ptr != token.data() + token.size())
            fail(quote(token) + " is not " + in_expected);
    }

    template <class T>
    void loadInteger(T& out_value)
    {
        loadNumber(out_value, "a whole number in the range of the field");
    }

    /// Characters are saved as numbers.
    template <class T>
    void loadCharacter(T& out_cValue)
    {
        int iValue = 0;
        loadInteger(iValue);
        out_cValue = static_cast<T>(iValue);
        if (out_cValue != iValue)
            fail("'" + std::to_string(iValue) + "' is not a character");
    }

    void load(bool& out_bValue) override
    {
        const std::string_view token = trim(readContent());
        out_bValue = token == "1";
        if (!out_bValue && token != "0")
            fail(quote(token) + " is not 0 or 1");
    }

    void load(char& out_value) override { loadCharacter(out_value); }
    void load(signed char& out_value) override { loadCharacter(out_value); }
    void load(unsigned char& out_value) override { loadCharacter(out_value); }
    void load(wchar_t& out_value) override { loadCharacter(out_value); }
    void load(short& out_value) override { loadInteger(out_value); }
    void load(unsigned short& out_value) override { loadInteger(out_value); }
    void load(int& out_value) override { loadInteger(out_value); }
    void load(unsigned int& out_value) override { loadInteger(out_value); }
    void load(long& out_value) override { loadInteger(out_value); }
    void load(long long& out_value) override { loadInteger(out_value); }
    void load(unsigned long long& out_value) override { loadInteger(out_value); }
    void load(float& out_value) override { loadNumber(out_value, "a number in the range of the field"); }
    void load(double& out_value) override { loadNumber(out_value, "a number in the range of the field"); }

    void load(unsigned long& out_value) override
    {
        loadInteger(out_value);
        // Containers reserve what the file announces.
        if (m_vPath.empty() || std::string_view(m_vPath.back()) != "count")
            return;
        if (out_value > (m_stream.view().size() - getPosition()) / MIN_ITEM_BYTES)
            fail("the file is too short for " + std::to_string(out_value) + " items");
    }

    void load(std::string& out_strValue) override
    {
        std::string_view content = readContent();
        out_strValue.clear();
        for (std::size_t uiEntity = content.find('&'); uiEntity != std::string_view::npos;
             uiEntity = content.find('&'))
        {
            out_strValue += content.substr(0, uiEntity);
            content.remove_prefix(uiEntity + 1);
            const std::size_t uiEnd = content.find(';');
            if (uiEnd == std::string_view::npos || !decodeEntity(content.substr(0, uiEnd), out_strValue))
                fail("unknown entity in " + quote(content));
            content.remove_prefix(uiEnd + 1);
        }
        out_strValue += content;
    }

    void load(std::wstring&) override { fail("wide strings are not supported"); }
    void load_binary(void*, std::size_t) override { fail("binary data is not supported"); }

    /// Our count of the types that the library has numbered.
    void addType(const basic_iserializer& in_type)
    {
        if (!isKnown(in_type))
            m_vTypes.push_back(&in_type);
    }

    bool isKnown(const basic_iserializer& in_type) const
    {
        return std::any_of(m_vTypes.begin(), m_vTypes.end(),
                           [&](const basic_iserializer* in_pType)
                           { return in_pType == &in_type || in_pType->get_eti() == in_type.get_eti(); });
    }

    void register_basic_serializer(const basic_iserializer& in_type) override
    {
        addType(in_type);
        Base::register_basic_serializer(in_type);
    }

    void load_object(void* out_pObject, const basic_iserializer& in_type) override
    {
        if (m_bBlank)
            return;
        addType(in_type);
        m_pType = &in_type;
        Base::load_object(out_pObject, in_type);
    }

    const basic_pointer_iserializer*
    load_pointer(void*& out_pObject, const basic_pointer_iserializer* in_pStatic,
                 const basic_pointer_iserializer* (*in_find)(const extended_type_info&)) override
    {
        // The library reads a class name only where the class may differ from the pointer's own.
        m_bNewClassAllowed = in_pStatic == nullptr || in_pStatic->get_basic_serializer().is_polymorphic();
        return Base::load_pointer(out_pObject, in_pStatic, in_find);
    }

    void vload(boost::archive::class_id_type& out_id) override
    {
        const int iId = gimpl->rv.class_id;
        const int iTypes = static_cast<int>(m_vTypes.size());
        if (iId < -1 || iId > iTypes || (iId == iTypes && !m_bNewClassAllowed))
            fail("missing or impossible class_id");
        if (iId >= 0 && iId < iTypes)
        {
            m_pType = m_vTypes[static_cast<std::size_t>(iId)];
            if (!m_pType->serialized_as_pointer())
                fail("class_id of a class that cannot be created");
            // The library would not look at the name.
            const std::string& strKey = gimpl->rv.class_name;
            if (!strKey.empty() && strKey != m_pType->get_eti().get_key())
                fail("the class_id is not that of " + quote(strKey));
        }
        out_id = boost::archive::class_id_type(iId);
    }

    void vload(boost::archive::class_name_type& out_name) override
    {
        const std::string& strKey = gimpl->rv.class_name;
        if (strKey.size() >= BOOST_SERIALIZATION_MAX_KEY_SIZE)
            fail("the class key is too long");
        if (getClassKeyState(strKey.c_str()) == ClassKeyState::UNKNOWN)
            fail("unknown class key " + quote(strKey));
        const basic_pointer_iserializer* pCreator = findCreator(strKey.c_str());
        if (pCreator == nullptr)
            fail("an object of the abstract class " + quote(strKey) + " cannot be created");
        m_pType = &pCreator->get_basic_serializer();
        if (isKnown(*m_pType))
            fail("the class key " + quote(strKey) + " is numbered twice");
        addType(*m_pType);
        Base::load_override(out_name);
    }

    void vload(boost::archive::object_id_type& out_id) override
    {
        if (gimpl->rv.object_id != m_uiObjects)
            fail("missing or impossible object_id: objects are not shared");
        ++m_uiObjects;
        out_id = boost::archive::object_id_type(gimpl->rv.object_id);
    }

    void vload(boost::archive::version_type& out_version) override
    {
        if (gimpl->rv.version == NO_NUMBER)
            fail("the class version is missing");
        if (m_pType != nullptr && gimpl->rv.version > m_pType->version())
            fail("written by a newer version of the class");
        out_version = boost::archive::version_type(gimpl->rv.version);
    }

    void vload(boost::archive::tracking_type& out_tracking) override
    {
        out_tracking = gimpl->rv.tracking_level;
    }

    std::istringstream& m_stream;
    std::vector<const char*> m_vPath;
    std::vector<const basic_iserializer*> m_vTypes;
    const basic_iserializer* m_pType = nullptr;
    bool m_bBlank = false;
    bool m_bNewClassAllowed = true;
    std::size_t m_uiObjects = 0;
};

std::string readAll(std::istream& io_stream)
{
    std::string strText;
    char block[4096];
    while (io_stream.read(block, sizeof block) || io_stream.gcount() > 0)
    {
        strText.append(block, static_cast<std::size_t>(io_stream.gcount()));
        if (strText.size() > CheckedXmlInputArchive::MAX_SIZE)
            throw ArchiveError("the archive is larger than " +
                               std::to_string(CheckedXmlInputArchive::MAX_SIZE) + " bytes");
    }
    if (io_stream.bad())
        throw ArchiveError("the archive cannot be read");
    if (strText.starts_with(BYTE_ORDER_MARK))
        strText.erase(0, BYTE_ORDER_MARK.size());
    return strText;
}

std::istringstream makeStream(std::istream& io_stream)
{
    std::istringstream stream(readAll(io_stream));
    stream.imbue(std::locale::classic());
    return stream;
}

} // namespace

struct CheckedXmlInputArchive::State
{
    explicit State(std::istream& io_stream)
        : m_stream(makeStream(io_stream))
        , m_reader(m_stream)
    {
    }

    std::istringstream m_stream;
    Reader m_reader;
    OwnershipScope m_scope;
};

CheckedXmlInputArchive::CheckedXmlInputArchive(std::istream& io_stream)
    : m_pState(std::make_unique<State>(io_stream))
{
}

CheckedXmlInputArchive::~CheckedXmlInputArchive() = default;

boost::archive::polymorphic_iarchive& CheckedXmlInputArchive::get()
{
    return m_pState->m_reader;
}

std::vector<std::string> CheckedXmlInputArchive::getClassKeys() const
{
    static constexpr std::string_view ATTRIBUTE = "class_name=\"";
    std::vector<std::string> vKeys;
    std::string_view text = m_pState->m_stream.view();
    for (std::size_t uiKey = text.find(ATTRIBUTE); uiKey != std::string_view::npos;
         uiKey = text.find(ATTRIBUTE))
    {
        text.remove_prefix(uiKey + ATTRIBUTE.size());
        vKeys.emplace_back(text.substr(0, text.find('"')));
    }
    return vKeys;
}

void CheckedXmlInputArchive::finish()
{
    m_pState->m_reader.finish();
}

ClassKeyState getClassKeyState(const char* in_key)
{
    if (extended_type_info::find(in_key) == nullptr)
        return ClassKeyState::UNKNOWN;
    return findCreator(in_key) == nullptr ? ClassKeyState::ABSTRACT : ClassKeyState::CREATABLE;
}

const void* findClassOrigin(const char* in_key)
{
    return findCreator(in_key);
}

std::unique_ptr<Object> newDefaultObject(const char* in_key)
{
    const basic_pointer_iserializer* pCreator = findCreator(in_key);
    if (pCreator == nullptr)
        throw ArchiveError("no object of class " + quote(in_key) + " can be created");
    std::istringstream empty("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?>\n"
                             "<!DOCTYPE boost_serialization>\n"
                             "<boost_serialization signature=\"serialization::archive\" version=\"18\">\n");
    Reader reader(empty);
    OwnershipScope scope;
    reader.create(*pCreator);
    return std::unique_ptr<Object>(scope.release());
}

void throwWrongClass(boost::archive::polymorphic_iarchive& in_archive, const char* in_expectedKey)
{
    const std::string strReason = std::string("an object of another class than ") +
                                  (in_expectedKey == nullptr ? "expected" : in_expectedKey);
    if (const auto* pReader = dynamic_cast<const Reader*>(&in_archive))
        pReader->fail(strReason);
    throw ArchiveError(strReason);
}

} // namespace Vexalor
