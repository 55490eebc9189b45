#include "quillcast-infra/TerminalText.h"

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <cstring>
#include <ostream>
#include <streambuf>
#include <sys/ioctl.h>
#include <unistd.h>

namespace Vexalor
{

namespace
{

constexpr std::size_t USUAL_WIDTH = 80;
constexpr std::size_t LEAST_WIDTH = 40;

bool isControl(unsigned char in_byte)
{
    return (in_byte < 0x20 && in_byte != '\n' && in_byte != '\t') || in_byte == 0x7F;
}

void appendEscaped(std::string& io_strText, unsigned char in_byte)
{
    const char* DIGITS = "0123456789abcdef";
    io_strText += {'\\', 'x', DIGITS[in_byte >> 4], DIGITS[in_byte & 0xF]};
}

class EscapingBuffer : public std::streambuf
{
public:
    explicit EscapingBuffer(std::streambuf& io_target)
        : m_target(io_target)
    {
    }

protected:
    std::streamsize xsputn(const char* in_text, std::streamsize in_count) override
    {
        const std::string strText = escapeControls({in_text, static_cast<std::size_t>(in_count)});
        const auto size = static_cast<std::streamsize>(strText.size());
        return m_target.sputn(strText.data(), size) == size ? in_count : 0;
    }
    int_type overflow(int_type in_character) override
    {
        const char c = traits_type::to_char_type(in_character);
        return xsputn(&c, 1) == 1 ? in_character : traits_type::eof();
    }
    int sync() override { return m_target.pubsync(); }

private:
    std::streambuf& m_target;
};

/// Where what does not fit into a line goes on.
std::size_t findIndent(std::string_view in_line, std::size_t in_uiWidth)
{
    const std::size_t uiText = std::min(in_line.find_first_not_of(' '), in_line.size());
    const std::size_t uiGap = in_line.find("  ", uiText);
    const std::size_t uiColumn =
        uiGap == std::string_view::npos ? uiGap : in_line.find_first_not_of(' ', uiGap);
    return uiColumn < in_uiWidth / 2 ? uiColumn : uiText;
}

void appendWrapped(std::string& io_strText, std::string_view in_line, std::size_t in_uiWidth)
{
    const std::size_t uiIndent = findIndent(in_line, in_uiWidth);
    std::string strLine(in_line);
    while (strLine.size() > in_uiWidth)
    {
        std::size_t uiBreak = strLine.rfind(' ', in_uiWidth);
        if (uiBreak == std::string::npos || uiBreak <= uiIndent)
            uiBreak = strLine.find(' ', in_uiWidth);
        if (uiBreak == std::string::npos)
            break;
        io_strText += strLine.substr(0, uiBreak) + '\n';
        strLine.replace(0, uiBreak + 1, uiIndent, ' ');
    }
    io_strText += strLine;
}

} // namespace

std::string escapeControls(std::string_view in_text)
{
    std::string strText;
    for (std::size_t i = 0; i < in_text.size(); ++i)
    {
        const auto byte = static_cast<unsigned char>(in_text[i]);
        const auto next = static_cast<unsigned char>(i + 1 < in_text.size() ? in_text[i + 1] : 0);
        const bool bTwoBytes = byte == 0xC2 && next >= 0x80 && next < 0xA0;
        if (bTwoBytes || isControl(byte))
            appendEscaped(strText, byte);
        else
            strText += in_text[i];
        if (bTwoBytes)
            appendEscaped(strText, static_cast<unsigned char>(in_text[++i]));
    }
    return strText;
}

std::string wrapLines(std::string_view in_text, std::size_t in_uiWidth)
{
    std::string strText;
    while (!in_text.empty())
    {
        const std::size_t uiEnd = in_text.find('\n');
        appendWrapped(strText, in_text.substr(0, uiEnd), in_uiWidth);
        if (uiEnd == std::string_view::npos)
            break;
        strText += '\n';
        in_text.remove_prefix(uiEnd + 1);
    }
    return strText;
}

std::size_t getHelpWidth()
{
    std::size_t uiWidth = 0;
    const char* columns = std::getenv("COLUMNS");
    if (columns != nullptr)
        std::from_chars(columns, columns + std::strlen(columns), uiWidth);
    winsize size{};
    if (uiWidth == 0 && ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0)
        uiWidth = size.ws_col;
    return uiWidth == 0 ? USUAL_WIDTH : std::max(uiWidth, LEAST_WIDTH);
}

TerminalGuard::TerminalGuard(std::ostream& io_stream, int in_iDescriptor)
    : m_stream(io_stream)
{
    if (isatty(in_iDescriptor) == 0)
        return;
    m_pEarlier = m_stream.rdbuf();
    m_pEscaping = std::make_unique<EscapingBuffer>(*m_pEarlier);
    m_stream.rdbuf(m_pEscaping.get());
}

TerminalGuard::~TerminalGuard()
{
    if (m_pEscaping != nullptr)
        m_stream.rdbuf(m_pEarlier);
}

} // namespace Vexalor
