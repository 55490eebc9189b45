#include "quillcast-core/XmlOutputArchive.h"

#include <boost/archive/detail/polymorphic_oarchive_route.hpp>
#include <boost/archive/xml_oarchive.hpp>
#include <charconv>
#include <locale>
#include <sstream>
#include <string>

namespace Vexalor
{

namespace
{

class Writer final : public boost::archive::detail::polymorphic_oarchive_route<boost::archive::xml_oarchive>
{
public:
    /// Without its header flag the library's destructor leaves the end tag to finish.
    explicit Writer(std::ostream& out_stream)
        : polymorphic_oarchive_route(out_stream, boost::archive::no_header | boost::archive::no_codecvt)
    {
        init();
    }

    void finish() { windup(); }

private:
    template <class T>
    void saveNumber(T in_value)
    {
        char digits[32];
        const auto result = std::to_chars(digits, digits + sizeof digits, in_value);
        os.write(digits, result.ptr - digits);
    }

    void save(float in_value) override { saveNumber(in_value); }
    void save(double in_value) override { saveNumber(in_value); }

    /// Control characters as references: a reader may drop or refuse the bare ones.
    void save(const std::string& in_strText) override
    {
        for (const char cChar : in_strText)
        {
            switch (cChar)
            {
            case '&':
                os << "&amp;";
                break;
            case '<':
                os << "&lt;";
                break;
            case '>':
                os << "&gt;";
                break;
            case '\'':
                os << "&apos;";
                break;
            case '"':
                os << "&quot;";
                break;
            default:
                if (static_cast<unsigned char>(cChar) < 0x20 || cChar == 0x7f)
                    os << "&#" << static_cast<int>(cChar) << ';';
                else
                    os << cChar;
            }
        }
    }
};

std::ostringstream makeBuffer()
{
    std::ostringstream buffer;
    buffer.imbue(std::locale::classic());
    return buffer;
}

} // namespace

struct XmlOutputArchive::State
{
    explicit State(std::ostream& out_stream)
        : m_stream(out_stream)
        , m_buffer(makeBuffer())
        , m_writer(m_buffer)
    {
    }

    std::ostream& m_stream;
    std::ostringstream m_buffer;
    Writer m_writer;
};

XmlOutputArchive::XmlOutputArchive(std::ostream& out_stream)
    : m_pState(std::make_unique<State>(out_stream))
{
}

XmlOutputArchive::~XmlOutputArchive() = default;

boost::archive::polymorphic_oarchive& XmlOutputArchive::get()
{
    return m_pState->m_writer;
}

bool XmlOutputArchive::finish()
{
    m_pState->m_writer.finish();
    m_pState->m_stream << m_pState->m_buffer.view() << std::flush;
    return m_pState->m_stream.good();
}

} // namespace Vexalor
