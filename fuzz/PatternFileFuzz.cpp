// Text pattern files: every pass delivers the same, and so does a file of what was delivered, wherever the
// blocks of the reader end.

#include "FuzzSupport.h"
#include "MLVectorFileDataGenerator.h"

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

/// Writes the mark of a new sequence.
struct Marker : public virtual Resettable
{
    bool reset() override
    {
        m_strText += "reset\n";
        return true;
    }
    std::string m_strText;
};

/// What a pass delivers, as a pattern file.
std::string readPass(VectorFileDataGenerator& io_generator)
{
    const CountedObjPtr<Marker> pMarker(new Marker);
    io_generator.setEntityToReset(pMarker);
    Fuzz::require(io_generator.gotoStart(), "a pass starts");
    std::string& strText = pMarker->m_strText;
    strText.clear();
    DoubleVector vInput;
    while (io_generator.generateNext())
    {
        DoubleVector vTarget;
        Fuzz::require(io_generator.getInput(vInput), "a pattern has an input");
        io_generator.getTarget(vTarget);
        vInput.appendTo(strText);
        vTarget.appendTo(strText += ' ');
        strText += '\n';
    }
    Fuzz::require(io_generator.endedCleanly() && io_generator.atEnd(), "a pass ends");
    return strText;
}

/// What the passes over such a file deliver.
std::string readFile(const std::string& in_strText)
{
    const Fuzz::MemoryFile file(in_strText);
    VectorFileDataGenerator generator;
    generator.setCurrentFilename(file.getPath());
    const std::string strFirst = readPass(generator);
    Fuzz::require(readPass(generator) == strFirst, "the second pass delivers the same");
    return strFirst;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    const std::string strText = Fuzz::toText(in_data, in_uiSize);
    const std::string strFirst = readFile(strText);
    Fuzz::require(readFile(strFirst) == strFirst, "what was delivered reads as the same");
    // The end of the reader's block (256 KiB) falls into the text, inside a long line or behind another one.
    // That is slow, and so done for some inputs only.
    std::string strPadding((std::size_t(1) << 18) - in_uiSize / 2, ' ');
    if (in_uiSize % 16 == 0 && !strText.starts_with("reset"))
        Fuzz::require(readFile(strPadding + strText) == strFirst, "leading blanks change nothing");
    strPadding.back() = '\n';
    if (in_uiSize % 16 == 8)
        Fuzz::require(readFile(strPadding + strText) == strFirst, "a blank line changes nothing");
    return 0;
}
