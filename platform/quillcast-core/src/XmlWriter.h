#pragma once

#include <boost/archive/detail/polymorphic_oarchive_route.hpp>
#include <boost/archive/xml_oarchive.hpp>
#include <charconv>
#include <locale>
#include <sstream>
#include <string>

namespace Vexalor
{

/// The library's writer, with the shortest digits for numbers and references for control characters. Comes in
/// two units, so all of it is inline.
class XmlWriter : public boost::archive::detail::polymorphic_oarchive_route<boost::archive::xml_oarchive>
{
public:
    /// Without its header flag the library's destructor leaves the end tag to finish.
    explicit XmlWriter(std::ostringstream& out_stream)
        : polymorphic_oarchive_route(out_stream, boost::archive::no_header | boost::archive::no_codecvt)
    {
        init();
    }

    void finish() { windup(); }

    static std::ostringstream makeBuffer()
    {
        std::ostringstream buffer;
        buffer.imbue(std::locale::classic());
        return buffer;
    }

protected:
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

private:
    template <class T>
    void saveNumber(T in_value)
    {
        char digits[32];
        const auto result = std::to_chars(digits, digits + sizeof digits, in_value);
        os.write(digits, result.ptr - digits);
    }
};

} // namespace Vexalor
