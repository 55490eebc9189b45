// Descriptors of split sets, and bytes that go through a set and through a reader by chunks: what is accepted
// reads to its end, and what was written comes back.

#include "FuzzSupport.h"
#include "MLHelpers.h"
#include "test-support/TempDir.h"

#include <algorithm>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

constexpr std::size_t BIGGEST_READ = 7;

/// Everything that a reader delivers, in reads of changing sizes; false when one of them failed.
template <class Reader>
bool readAll(Reader& io_reader, std::size_t in_uiMost, std::string& out_strBytes)
{
    char bytes[BIGGEST_READ];
    for (std::size_t uiSize = 1;; uiSize = uiSize % in_uiMost + 1)
    {
        const bool bRead = io_reader.read(bytes, uiSize);
        Fuzz::require(io_reader.gcount() <= uiSize, "a read delivers no more than was asked for");
        out_strBytes.append(bytes, io_reader.gcount());
        if (!bRead || io_reader.gcount() < uiSize)
            return bRead;
    }
}

/// Parts of a set that is there whatever its descriptor says.
void checkDescriptor(const Testing::TempDir& in_folder, const std::string& in_strDescriptor)
{
    static const std::string s_strParts[] = {"one", "twoo", "three"};
    static const std::string s_strWhole = s_strParts[0] + s_strParts[1] + s_strParts[2];
    for (std::size_t i = 0; i < std::size(s_strParts); ++i)
        in_folder.write("set." + std::to_string(i + 1), s_strParts[i]);
    SplitFileReader reader(in_folder.write("set", in_strDescriptor).c_str());
    if (!reader.good())
        return;
    std::string strBytes;
    const bool bWhole = readAll(reader, 1, strBytes);
    Fuzz::require(s_strWhole.starts_with(strBytes), "a set delivers its parts in order");
    Fuzz::require(bWhole || strBytes == s_strWhole, "only a part that is missing ends a set early");
    Fuzz::require(strBytes.size() == 3 || strBytes.size() == 7 || strBytes.size() == 12, "parts are whole");
}

/// A part for each write. Parts that are shorter than a read make it fail, for which there are the writes of
/// one size but the last.
void checkBytes(const Testing::TempDir& in_folder, const std::string& in_strBytes)
{
    const std::string strBase = in_folder.path("bytes");
    const std::size_t uiPart = std::max(in_strBytes.size() / 4, BIGGEST_READ);
    SplitFileWriter writer(strBase.c_str(), 0);
    for (std::size_t uiDone = 0; uiDone < in_strBytes.size(); uiDone += uiPart)
        Fuzz::require(
            writer.write(in_strBytes.data() + uiDone, std::min(uiPart, in_strBytes.size() - uiDone)),
            "a set can be written");
    writer.close();
    Fuzz::require(!writer.fail(), "a set can be closed");
    std::string strBack;
    SplitFileReader reader(strBase.c_str());
    Fuzz::require(readAll(reader, 1, strBack) && strBack == in_strBytes, "a set delivers what was written");

    const Fuzz::MemoryFile file(in_strBytes);
    for (const std::size_t uiChunk : {BIGGEST_READ, BIGGEST_READ + 1, std::size_t(64)})
    {
        ByChunkFileReader byChunk(file.getPath(), uiChunk);
        strBack.clear();
        readAll(byChunk, BIGGEST_READ, strBack);
        Fuzz::require(in_strBytes.starts_with(strBack), "chunks come in order");
        Fuzz::require(strBack.size() + BIGGEST_READ > in_strBytes.size(), "only the last read may fail");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* in_data, std::size_t in_uiSize)
{
    static const Testing::TempDir s_folder;
    const std::string strText = Fuzz::toText(in_data, in_uiSize);
    checkDescriptor(s_folder, strText);
    checkBytes(s_folder, strText);
    return 0;
}
