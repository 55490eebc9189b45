// Binary pattern files: every pass delivers the same, and so does a file of what was delivered, wherever the
// blocks of the reader end.

#include "MLBinaryFileDataGenerator.h"
#include "MLDataConverter.h"
#include "PatternPass.h"

#include <algorithm>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

constexpr std::size_t HEADER = 30;
constexpr std::size_t NB_INPUT = 14; ///< place of the number of inputs
constexpr std::size_t MOST_INPUTS = 64;
constexpr std::size_t BLOCK = std::size_t(1) << 18; ///< of the reader

/// The patterns of a file as the writer writes them.
std::string convert(const std::string& in_strContent)
{
    const Fuzz::MemoryFile file(in_strContent);
    const Fuzz::MemoryFile copy;
    BinaryFileDataGenerator generator;
    generator.setCurrentFilename(file.getPath());
    BinaryFileWriter writer;
    DataConverter converter;
    converter.setInputDataGenerator(generator);
    converter.setDataWriter(writer);
    Fuzz::require(writer.open(copy.getPath()) && converter.convert(), "what can be read can be written");
    const bool bDropped = writer.getNbPending() != 0;
    Fuzz::require(writer.close() != bDropped, "all patterns are stored unless none has a target");
    return copy.getContent();
}

/// As many records of zeros, without mark and target, after the header as make the block end in the rest.
std::string pad(const std::string& in_strContent)
{
    const auto uiInputs = static_cast<unsigned char>(in_strContent[NB_INPUT]);
    const std::string strRecord(2 + 8 * std::size_t(uiInputs), '\0');
    std::string strPadded = in_strContent.substr(0, HEADER);
    while (strPadded.size() < BLOCK - (in_strContent.size() - HEADER) / 2)
        strPadded += strRecord;
    return strPadded + in_strContent.substr(HEADER);
}

bool hasSmallInputs(const std::string& in_strContent)
{
    const auto begin = in_strContent.begin() + NB_INPUT;
    return static_cast<unsigned char>(*begin) <= MOST_INPUTS &&
           std::all_of(begin + 1, begin + 8, [](char in_cByte) { return in_cByte == 0; });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    const std::string strContent = Fuzz::toText(in_data, in_uiSize);
    {
        const Fuzz::MemoryFile file(strContent);
        BinaryFileDataGenerator generator;
        generator.setCurrentFilename(file.getPath());
        const bool bBinary = BinaryFileDataGenerator::isFileBinary(file.getPath());
        Fuzz::require(generator.gotoStart() == bBinary, "a pass starts in a file with the magic only");
        if (!bBinary)
            return 0;
    }
    const std::string strFirst = Fuzz::readTwice<BinaryFileDataGenerator>(strContent, false);
    const std::string strCopy = convert(strContent);
    if (!strCopy.empty())
        Fuzz::require(Fuzz::readTwice<BinaryFileDataGenerator>(strCopy) == strFirst,
                      "what was delivered reads as the same");
    // Slow, and so done for some inputs only.
    if (in_uiSize % 64 == 0 && in_uiSize > HEADER && hasSmallInputs(strContent))
        Fuzz::require(Fuzz::readTwice<BinaryFileDataGenerator>(pad(strContent), false).ends_with(strFirst),
                      "patterns before change nothing");
    return 0;
}
