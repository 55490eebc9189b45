#pragma once

#include "quillcast-audio/Annotation.h"

#include <string>
#include <vector>

namespace Vexalor
{

/// Annotations as lines of text: start, tab, stop, tab, label; times in seconds with the shortest digits that
/// read back to the same value. The label runs to the end of its line.
namespace LabelText
{

/// A number as plain digits, without exponent.
std::string formatNumber(double in_dValue);

/// One line with its end. Line ends and zero bytes in a label, which a line cannot carry, become blanks.
std::string formatLine(const Annotation& in_annotation);

/// Reads lines of that form; LF or CRLF, with or without a byte order mark. Skipped are blank lines, comments
/// ("#") and the frequency lines of label tracks (a backslash). A first line of column names ("start_s")
/// announces a table: then the label ends at the next tab. A line whose times are equal is a marker. False,
/// with the number and fault of the line in out_strError, for any other line.
bool parse(const std::string& in_strText, std::vector<Annotation>& out_vAnnotations,
           std::vector<Annotation>& out_vMarkers, std::string& out_strError);

} // namespace LabelText

} // namespace Vexalor
