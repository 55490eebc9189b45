// Files of labels, in every format: memory in proportion to the file; what is accepted makes sense, and
// writes as text that reads and writes as the same.

#include "FuzzSupport.h"
#include "labels/LabelFormat.h"

#include <cmath>

using namespace Vexalor;

namespace
{

/// Bytes of memory for one of a file, and in any case: two bytes can be a label.
constexpr std::size_t MOST_TIMES = 160;
constexpr std::size_t MOST_BYTES = std::size_t(1) << 20;

/// The text of spans; empty when the format cannot hold one of them.
std::string write(const LabelFormat& in_format, const std::vector<LabelSpan>& in_vSpans)
{
    std::string strText;
    std::string strError;
    const bool bWritten = in_format.write(in_vSpans, {"recording", 0.0, 0}, strText, strError);
    Fuzz::require(bWritten == strError.empty(), "refusal has a reason");
    return bWritten ? strText : std::string();
}

void tryFormat(const LabelFormat& in_format, const std::string& in_strText)
{
    const LabelReadOptions options{"recording", 0.0, {}};
    std::vector<LabelSpan> vSpans;
    LabelFault fault;
    const Fuzz::MemoryWatch memory;
    const bool bRead = in_format.read(in_strText, options, vSpans, fault);
    Fuzz::require(memory.getPeak() <= MOST_TIMES * in_strText.size() + MOST_BYTES, "memory in proportion");
    Fuzz::require(bRead == fault.m_strReason.empty(), "refusal has a reason");
    for (const LabelSpan& span : vSpans)
        Fuzz::require(span.m_dStart >= 0.0 && span.m_dStop >= span.m_dStart && std::isfinite(span.m_dStop),
                      "times make sense");
    const std::string strText = write(in_format, vSpans);
    std::vector<LabelSpan> vAgain;
    // Turns may be written so that their durations look like stop times.
    if (!bRead || strText.empty() ||
        (!in_format.read(strText, options, vAgain, fault) && std::string(in_format.m_name) == "rttm"))
        return;
    Fuzz::require(vAgain.size() == vSpans.size(), "what was written can be read");
    // A sum of start and duration may be rounded.
    if (std::string(in_format.m_name) != "rttm")
        Fuzz::require(write(in_format, vAgain) == strText, "what was written reads as the same");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    const std::string strText = Fuzz::toText(in_data, in_uiSize);
    for (const char* format : {"text", "textgrid", "rttm", "csv", "json"})
        tryFormat(*LabelFormat::find(format), strText);
    return 0;
}
