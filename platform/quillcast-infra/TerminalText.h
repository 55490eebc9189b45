#pragma once

#include <cstddef>
#include <iosfwd>
#include <memory>
#include <string>
#include <string_view>

namespace Vexalor
{

/// What a terminal would obey is shown instead: control characters become "\x1b", those of UTF-8 (U+0080 to
/// U+009F) two such. Line ends and tabs stay.
std::string escapeControls(std::string_view in_text);

/// Breaks lines at blanks so that they have up to in_uiWidth characters. What goes on is indented as the text
/// of its line is: after leading blanks and, in a table, after the first column and the blanks that follow
/// it.
std::string wrapLines(std::string_view in_text, std::size_t in_uiWidth);

/// Characters of a line of help: the variable COLUMNS, else the width of the terminal at standard output,
/// else 80; 40 at least.
std::size_t getHelpWidth();

/// While it lives, what a stream of the standard library writes to a descriptor that is a terminal has its
/// control characters escaped: names of files and labels of others end up there.
class TerminalGuard
{
public:
    TerminalGuard(std::ostream& io_stream, int in_iDescriptor);
    ~TerminalGuard();
    TerminalGuard(const TerminalGuard&) = delete;
    TerminalGuard& operator=(const TerminalGuard&) = delete;

private:
    std::ostream& m_stream;
    std::unique_ptr<std::streambuf> m_pEscaping; ///< null when it is no terminal
    std::streambuf* m_pEarlier = nullptr;
};

} // namespace Vexalor
