// Text pattern files: every pass delivers the same, and so does a file of what was delivered, wherever the
// blocks of the reader end.

#include "MLVectorFileDataGenerator.h"
#include "PatternPass.h"

using namespace Vexalor;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    constexpr auto readFile = [](const std::string& in_strText)
    {
        return Fuzz::readTwice<MachineLearning::VectorFileDataGenerator>(in_strText);
    };
    const std::string strText = Fuzz::toText(in_data, in_uiSize);
    const std::string strFirst = readFile(strText);
    Fuzz::require(readFile(strFirst) == strFirst, "what was delivered reads as the same");
    // The end of the reader's block (256 KiB) falls into the text, inside a long line or after another one.
    // That is slow, and so done for some inputs only.
    std::string strPadding((std::size_t(1) << 18) - in_uiSize / 2, ' ');
    if (in_uiSize % 16 == 0 && !strText.starts_with("reset"))
        Fuzz::require(readFile(strPadding + strText) == strFirst, "leading blanks change nothing");
    strPadding.back() = '\n';
    if (in_uiSize % 16 == 8)
        Fuzz::require(readFile(strPadding + strText) == strFirst, "a blank line changes nothing");
    return 0;
}
