#include "MLHelpers.h"
#include "TestPrelude.h"
#include "test-support/FileSizeLimit.h"

#include <filesystem>

namespace
{

constexpr auto INPUT = std::ios::in | std::ios::binary;
constexpr auto OUTPUT = std::ios::out | std::ios::binary;

std::string descriptor(const std::string& in_strCount)
{
    return "# Vexalor Split format description\n# NumberOfSplitFiles=XXX\nNumberOfSplitFiles=" + in_strCount +
           "\n";
}

class SplitFileTest : public testing::Test
{
protected:
    /// A set of the given parts, with its descriptor.
    void writeSet(const Texts& in_vParts)
    {
        for (std::size_t i = 0; i < in_vParts.size(); ++i)
            m_folder.write("set." + std::to_string(i + 1), in_vParts[i]);
        m_folder.write("set", descriptor(std::to_string(in_vParts.size())));
    }

    /// The first two parts and the descriptor, joined by commas.
    std::string readSet() const
    {
        return readFile(m_strSet + ".1") + "," + readFile(m_strSet + ".2") + "," + readFile(m_strSet);
    }

    const LogCapture m_log{"quillcast.ml.Helpers"};
    TempDir m_folder;
    const std::string m_strSet = m_folder.path("set");
};

/// One read: what it returned and delivered.
template <class Reader>
std::string readOnce(Reader& io_reader, std::uint64_t in_uiSize)
{
    char buffer[64] = {};
    const bool bDone = io_reader.read(buffer, in_uiSize);
    return (bDone ? "+" : "-") + std::string(buffer, io_reader.gcount());
}

/// Reads of these sizes, in turn.
template <class Reader>
Texts readSizes(Reader& io_reader, const std::vector<std::uint64_t>& in_vSizes)
{
    Texts vReads;
    for (const std::uint64_t uiSize : in_vSizes)
        vReads.push_back(readOnce(io_reader, uiSize));
    return vReads;
}

} // namespace

TEST_F(SplitFileTest, PartsOfBoundedSizeAreReadAsOneStream)
{
    const std::string strMegabyte(std::size_t(1) << 20, 'm');
    {
        SplitFileWriter writer(m_strSet.c_str(), 1);
        EXPECT_TRUE(writer.is_open() && writer.good());
        EXPECT_TRUE(writer.write(strMegabyte.data(), strMegabyte.size()));
        EXPECT_TRUE(writer.write("ab", 2)) << "a full part takes one more write";
        EXPECT_TRUE(writer.write("cd", 2));
        EXPECT_FALSE(std::filesystem::exists(m_strSet));
    }
    EXPECT_EQ(readSet(), strMegabyte + "ab,cd," + descriptor("2")) << "the destructor closes";

    SplitFileReader reader(m_strSet.c_str());
    std::string strRead(strMegabyte.size(), '\0');
    EXPECT_TRUE(reader.read(strRead.data(), strRead.size()));
    EXPECT_TRUE(strRead == strMegabyte);
    EXPECT_EQ(readOnce(reader, 3), "+abc");
    EXPECT_FALSE(reader.eof());
    EXPECT_EQ(readOnce(reader, 3), "+d") << "short at the end of the last part";
    EXPECT_TRUE(reader.eof());
    EXPECT_EQ(readOnce(reader, 3), "+");
    EXPECT_EQ(m_log.text(), "");
}

TEST_F(SplitFileTest, SizeLimits)
{
    SplitFileWriter single(0);
    single.open(m_strSet.c_str(), OUTPUT);
    EXPECT_TRUE(single.write("", 0) && single.write("a", 1) && single.write("", 0) && single.write("b", 1));
    single.close();
    EXPECT_TRUE(single.good());
    EXPECT_EQ(readSet(), "a,b," + descriptor("2")) << "an empty write begins a part that the next one takes";

    // 2^44 MiB are 2^64 bytes.
    SplitFileWriter unlimited(m_strSet.c_str(), std::uint64_t(1) << 44);
    EXPECT_TRUE(unlimited.write("a", 1) && unlimited.write("b", 1));
    unlimited.open(m_strSet.c_str(), OUTPUT);
    EXPECT_EQ(readSet(), ",b," + descriptor("1"))
        << "closes the earlier set, its second part is an older one";
    unlimited.close();
    EXPECT_TRUE(unlimited.good());
    unlimited.close();
    EXPECT_TRUE(unlimited.fail()) << "nothing is open";
    EXPECT_EQ(readFile(m_strSet), descriptor("1"));
    EXPECT_EQ(m_log.text(), "");
}

TEST_F(SplitFileTest, FailedNewPartLeavesNoHole)
{
    SplitFileWriter writer(m_strSet.c_str(), 0);
    EXPECT_TRUE(writer.write("a", 1));
    std::filesystem::create_directory(m_strSet + ".2");
    EXPECT_FALSE(writer.write("b", 1) || writer.write("b", 1));
    std::filesystem::remove(m_strSet + ".2");
    EXPECT_TRUE(writer.write("b", 1)) << "tried again";
    writer.close();
    EXPECT_TRUE(writer.good());
    EXPECT_EQ(readSet(), "a,b," + descriptor("2"));
    const std::string strLine = "ERROR Failed to open for output file " + m_strSet + ".2";
    EXPECT_THAT(m_log.lines(), ElementsAre(strLine, strLine));
}

TEST_F(SplitFileTest, SetsThatCannotBeWritten)
{
    SplitFileWriter writer(1);
    EXPECT_FALSE(writer.write("a", 1)) << "not open";
    writer.open("/does/not/exist", OUTPUT);
    EXPECT_TRUE(writer.fail() && !writer.is_open());
    EXPECT_FALSE(writer.write("a", 1));
    writer.close();
    EXPECT_TRUE(writer.fail());
    EXPECT_THAT(m_log.lines(), ElementsAre("ERROR Error writing to file ",
                                           "ERROR Failed to open for output file /does/not/exist.1",
                                           "ERROR Error writing to file /does/not/exist.1"));

    std::filesystem::create_directory(m_strSet);
    writer.open(m_strSet.c_str(), OUTPUT);
    EXPECT_TRUE(writer.good());
    writer.close();
    EXPECT_TRUE(writer.fail()) << "no descriptor could be written";
    EXPECT_TRUE(m_log.has("ERROR Failed to open for output file " + m_strSet)) << m_log.text();
}

TEST_F(SplitFileTest, DiskThatIsFullAtAnyPlace)
{
    // Small writes stay in the stream's buffer: only closing a part tells. The descriptor has 81 bytes.
    const auto expectFailures =
        [&](std::uint64_t in_uiLimit, std::size_t in_uiWrite, std::uint64_t in_uiNeeded)
    {
        const std::string strBytes(in_uiWrite, 'x');
        const FileSizeLimit full(in_uiLimit);
        SplitFileWriter writer(m_strSet.c_str(), 0);
        bool bDone = true;
        for (int iPart = 0; iPart < 3; ++iPart)
            bDone = writer.write(strBytes.data(), strBytes.size()) && bDone;
        EXPECT_EQ(bDone, in_uiLimit >= in_uiWrite) << in_uiLimit;
        writer.close();
        EXPECT_EQ(bDone && !writer.fail(), in_uiLimit >= in_uiNeeded) << in_uiLimit;
    };
    for (std::uint64_t uiLimit = 0; uiLimit <= 10000; uiLimit += 500)
        expectFailures(uiLimit, 10000, 10000);
    for (std::uint64_t uiLimit = 0; uiLimit <= 90; ++uiLimit)
        expectFailures(uiLimit, 50, 81);
}

TEST_F(SplitFileTest, DescriptorsOfEachKind)
{
    m_folder.write("set.1", "abc");
    const std::string strHeader =
        "ERROR Error reading header of file " + m_strSet + ". Expecting NumberOfSplitFiles=XXX\n";
    const std::string strNumber = "ERROR Error reading XXX in NumberOfSplitFiles=XXX. XXX has  to be a valid "
                                  "integer. Current file is " +
                                  m_strSet + "\n";
    const std::string strZero =
        "ERROR Number of split files has to be greater than 1 in file " + m_strSet + "\n";
    const std::pair<std::string, std::string> TABLE[] = {
        {descriptor("1"), ""},
        {"NumberOfSplitFiles=1", ""},
        {"# text\r\nNumberOfSplitFiles=1\r\n", ""},
        {"#" + std::string(300000, '#') + "\nNumberOfSplitFiles=1\nmore\n", ""},
        {"", strHeader},
        {"# text\n# NumberOfSplitFiles=XXX", strHeader},
        {"\nNumberOfSplitFiles=1\n", strHeader},
        {std::string(300000, 'N'), strHeader},
        {std::string(100, '\0'), strHeader},
        {"NumberOfSplitFiles", strHeader},
        {descriptor("one"), strNumber},
        {descriptor(""), strNumber},
        {descriptor("-1"), strNumber},
        {descriptor(" 1"), strNumber},
        {descriptor("1x"), strNumber},
        {descriptor("18446744073709551616"), strNumber}, // 2^64
        {descriptor("0"), strZero},
    };
    for (const auto& [strContent, strMessage] : TABLE)
    {
        const LogCapture log("quillcast.ml.Helpers");
        SplitFileReader reader(m_folder.write("set", strContent).c_str());
        EXPECT_EQ(log.text(), strMessage) << strContent.substr(0, 100);
        EXPECT_EQ(reader.fail(), !strMessage.empty());
        EXPECT_EQ(readOnce(reader, 4), strMessage.empty() ? "+abc" : "-");
    }
    EXPECT_TRUE(SplitFileReader("/does/not/exist").fail());
    EXPECT_TRUE(SplitFileReader(m_folder.path().c_str()).fail());
}

TEST_F(SplitFileTest, ReadsAcrossBoundaries)
{
    writeSet({"abc", "d", "", "efg"});
    m_folder.write("set.5", "stale");
    SplitFileReader reader;
    reader.open(m_strSet.c_str(), INPUT);
    // A third part would be needed, and the next one is empty; then from it; nothing was lost; the descriptor
    // says where the end is.
    EXPECT_THAT(readSizes(reader, {3, 0, 2, 2, 2, 2}), ElementsAre("+abc", "+", "-d", "-", "+ef", "+g"));
    EXPECT_EQ(m_log.text(), "");

    writeSet({"ab", "c", "de"});
    reader.open(m_strSet.c_str(), INPUT);
    EXPECT_TRUE(reader.good() && !reader.eof()) << "opened again";
    // More than there is, and not from the last part alone.
    EXPECT_THAT(readSizes(reader, {5, 5, 5}), ElementsAre("-abc", "-de", "+"));
}

TEST_F(SplitFileTest, PartsThatCannotBeRead)
{
    writeSet({"ab", "c", "de"});
    std::filesystem::remove(m_strSet + ".2");
    SplitFileReader reader(m_strSet.c_str());
    EXPECT_THAT(readSizes(reader, {3, 3}), ElementsAre("-ab", "-"));
    std::filesystem::remove(m_strSet + ".1");
    std::filesystem::create_directory(m_strSet + ".1");
    reader.open(m_strSet.c_str(), INPUT);
    EXPECT_EQ(readOnce(reader, 3), "-") << "a folder opens and cannot be read";
    std::filesystem::remove(m_strSet + ".1");
    reader.open(m_strSet.c_str(), INPUT);
    EXPECT_TRUE(reader.fail());
    EXPECT_THAT(m_log.lines(), ElementsAre("ERROR Failed to open for input file " + m_strSet + ".2",
                                           "ERROR Error reading from file " + m_strSet + ".2",
                                           "ERROR Error reading from file " + m_strSet + ".1",
                                           "ERROR Failed to open for input file " + m_strSet + ".1"));
}

TEST_F(SplitFileTest, ChunksServeReadsOfAnySize)
{
    const std::string strPath = m_folder.write("file", "abcdefghij");
    ByChunkFileReader reader(strPath.c_str(), 4);
    // The third is one byte held and one chunk.
    EXPECT_THAT(readSizes(reader, {3, 0, 5, 1}), ElementsAre("+abc", "+", "+defgh", "+i"));
    EXPECT_TRUE(reader.good() && !reader.eof()) << "the file is at its end, but a byte is held";
    EXPECT_EQ(readOnce(reader, 2), "-j");
    EXPECT_TRUE(reader.eof() && reader.fail() && !reader.good());
    EXPECT_EQ(readOnce(reader, 1), "-");
    EXPECT_EQ(m_log.text(), "");

    reader.open(strPath.c_str(), INPUT);
    EXPECT_TRUE(reader.good() && reader.is_open()) << "opened again";
    EXPECT_EQ(readOnce(reader, 10), "-");
    EXPECT_TRUE(reader.fail());
    EXPECT_EQ(readOnce(reader, 4), "+abcd") << "what was found stays";

    reader.open(strPath.c_str(), INPUT);
    EXPECT_THAT(readSizes(reader, {4, 3, 5}), ElementsAre("+abcd", "+efg", "-h")) << "two bytes are left";
    EXPECT_FALSE(reader.fail());
    EXPECT_EQ(readOnce(reader, 2), "+ij");
    const std::string strRefusal =
        "ERROR We do not support yet reading block bigger than  chunk size. Current read operation is ";
    EXPECT_THAT(m_log.lines(), ElementsAre(strRefusal + "10 bytes. Size of chunk is: 4",
                                           strRefusal + "5 bytes. Size of chunk is: 2"));
}

TEST_F(SplitFileTest, ChunksOfSourcesThatCannotBeRead)
{
    ByChunkFileReader reader("/does/not/exist", 4);
    EXPECT_TRUE(reader.fail() && !reader.is_open());
    EXPECT_EQ(readOnce(reader, 1), "-");
    reader.open(m_folder.path().c_str(), INPUT);
    EXPECT_EQ(readOnce(reader, 1), "-") << "a folder";
    ByChunkFileReader empty(m_folder.write("file", "ab").c_str(), 0);
    EXPECT_THAT(readSizes(empty, {0, 1}), ElementsAre("+", "-"));
    EXPECT_THAT(m_log.lines(), ElementsAre("ERROR Failed to open for input file /does/not/exist",
                                           "ERROR Fail to read in file /does/not/exist",
                                           "ERROR Fail to read in file " + m_folder.path(),
                                           HasSubstr("operation is 1 bytes")));
    const AssertionCapture assertions;
    EXPECT_TRUE(ByChunkFileReader(nullptr, 4).fail());
    EXPECT_TRUE(SplitFileReader(nullptr).fail());
    EXPECT_TRUE(SplitFileWriter(nullptr, 1).fail());
    EXPECT_EQ(assertions.conditions().size(), 3u);
}
