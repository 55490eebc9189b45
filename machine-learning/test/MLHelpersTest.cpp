#include "MLHelpers.h"
#include "test-support/FileSizeLimit.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"

#include <filesystem>
#include <gmock/gmock.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;

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
    void writeSet(const std::vector<std::string>& in_vParts)
    {
        for (std::size_t i = 0; i < in_vParts.size(); ++i)
            m_folder.write("set." + std::to_string(i + 1), in_vParts[i]);
        m_folder.write("set", descriptor(std::to_string(in_vParts.size())));
    }

    std::string part(const std::string& in_strNumber) const
    {
        return Testing::readFile(m_strSet + "." + in_strNumber);
    }

    bool exists(const std::string& in_strName) const
    {
        return std::filesystem::exists(m_folder.path(in_strName));
    }

    const Testing::LogCapture m_log{"quillcast.ml.Helpers"};
    Testing::TempDir m_folder;
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
        EXPECT_FALSE(exists("set"));
    }
    EXPECT_EQ(Testing::readFile(m_strSet), descriptor("2")) << "the destructor closes";
    EXPECT_EQ(part("1"), strMegabyte + "ab");
    EXPECT_EQ(part("2"), "cd");

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
    EXPECT_EQ(part("1") + "," + part("2") + "," + Testing::readFile(m_strSet), "a,b," + descriptor("2"))
        << "an empty write begins a part that the next one takes";

    // 2^44 MiB are 2^64 bytes.
    SplitFileWriter unlimited(m_strSet.c_str(), std::uint64_t(1) << 44);
    EXPECT_TRUE(unlimited.write("a", 1) && unlimited.write("b", 1));
    unlimited.open(m_strSet.c_str(), OUTPUT);
    EXPECT_EQ(Testing::readFile(m_strSet), descriptor("1")) << "opening closes the earlier set";
    EXPECT_EQ(part("1"), "") << "and begins a new one";
    unlimited.close();
    EXPECT_TRUE(unlimited.good());
    unlimited.close();
    EXPECT_TRUE(unlimited.fail()) << "nothing is open";
    EXPECT_EQ(Testing::readFile(m_strSet), descriptor("1"));
    EXPECT_EQ(m_log.text(), "");
}

TEST_F(SplitFileTest, FailedNewPartLeavesNoHole)
{
    SplitFileWriter writer(m_strSet.c_str(), 0);
    EXPECT_TRUE(writer.write("a", 1));
    std::filesystem::create_directory(m_folder.path("set.2"));
    EXPECT_FALSE(writer.write("b", 1));
    EXPECT_FALSE(writer.write("b", 1));
    std::filesystem::remove(m_folder.path("set.2"));
    EXPECT_TRUE(writer.write("b", 1)) << "tried again";
    writer.close();
    EXPECT_TRUE(writer.good());
    EXPECT_EQ(part("1") + part("2") + Testing::readFile(m_strSet), "ab" + descriptor("2"));
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

    std::filesystem::create_directory(m_folder.path("taken"));
    writer.open(m_folder.path("taken").c_str(), OUTPUT);
    EXPECT_TRUE(writer.good());
    writer.close();
    EXPECT_TRUE(writer.fail()) << "no descriptor could be written";
    EXPECT_TRUE(m_log.has("ERROR Failed to open for output file " + m_folder.path("taken"))) << m_log.text();
}

TEST_F(SplitFileTest, DiskThatIsFullAtAnyPlace)
{
    const std::string strBytes(10000, 'x');
    for (std::uint64_t uiLimit = 0; uiLimit <= strBytes.size(); uiLimit += 500)
    {
        const Testing::FileSizeLimit full(uiLimit);
        SplitFileWriter writer(m_strSet.c_str(), 0);
        bool bDone = true;
        for (int iPart = 0; iPart < 3; ++iPart)
            bDone = writer.write(strBytes.data(), strBytes.size()) && bDone;
        writer.close();
        ASSERT_EQ(bDone && !writer.fail(), uiLimit == strBytes.size()) << uiLimit;
    }
    // Small writes stay in the stream's buffer: only closing a part tells. The descriptor has 81 bytes.
    for (std::uint64_t uiLimit = 0; uiLimit <= 90; ++uiLimit)
    {
        const Testing::FileSizeLimit full(uiLimit);
        SplitFileWriter writer(m_strSet.c_str(), 0);
        bool bDone = true;
        for (int iPart = 0; iPart < 3; ++iPart)
            bDone = writer.write(strBytes.data(), 50) && bDone;
        ASSERT_EQ(bDone, uiLimit >= 50) << uiLimit;
        writer.close();
        ASSERT_EQ(!writer.fail(), uiLimit >= 81) << uiLimit;
    }
}

TEST_F(SplitFileTest, DescriptorsOfEachKind)
{
    m_folder.write("set.1", "abc");
    const std::string strHeader =
        "ERROR Error reading header of file " + m_strSet + ". Expecting NumberOfSplitFiles=XXX";
    const std::string strNumber = "ERROR Error reading XXX in NumberOfSplitFiles=XXX. XXX has  to be a valid "
                                  "integer. Current file is " +
                                  m_strSet;
    const std::string strZero = "ERROR Number of split files has to be greater than 1 in file " + m_strSet;
    const struct
    {
        const char* m_name;
        std::string m_content;
        std::string m_message; ///< none: accepted
    } TABLE[] = {
        {"as written", descriptor("1"), ""},
        {"no comments, no newline", "NumberOfSplitFiles=1", ""},
        {"carriage returns", "# text\r\nNumberOfSplitFiles=1\r\n", ""},
        {"long comment, text after it", "#" + std::string(300000, '#') + "\nNumberOfSplitFiles=1\nmore\n",
         ""},
        {"empty", "", strHeader},
        {"comments only, no newline", "# text\n# NumberOfSplitFiles=XXX", strHeader},
        {"another line first", "\nNumberOfSplitFiles=1\n", strHeader},
        {"long line", std::string(300000, 'N'), strHeader},
        {"zero bytes", std::string(100, '\0'), strHeader},
        {"cut keyword", "NumberOfSplitFiles", strHeader},
        {"letters", descriptor("one"), strNumber},
        {"no number", descriptor(""), strNumber},
        {"negative", descriptor("-1"), strNumber},
        {"blank", descriptor(" 1"), strNumber},
        {"number and more", descriptor("1x"), strNumber},
        {"2^64", descriptor("18446744073709551616"), strNumber},
        {"zero", descriptor("0"), strZero},
    };
    for (const auto& row : TABLE)
    {
        const Testing::LogCapture log("quillcast.ml.Helpers");
        SplitFileReader reader(m_folder.write("set", row.m_content).c_str());
        EXPECT_EQ(log.text(), row.m_message.empty() ? "" : row.m_message + "\n") << row.m_name;
        EXPECT_EQ(reader.fail(), !row.m_message.empty()) << row.m_name;
        EXPECT_EQ(readOnce(reader, 4), row.m_message.empty() ? "+abc" : "-") << row.m_name;
    }
    SplitFileReader missing("/does/not/exist");
    EXPECT_TRUE(missing.fail());
    SplitFileReader folder(m_folder.path().c_str());
    EXPECT_TRUE(folder.fail());
}

TEST_F(SplitFileTest, ReadsAcrossBoundaries)
{
    writeSet({"abc", "d", "", "efg"});
    m_folder.write("set.5", "stale");
    SplitFileReader reader;
    reader.open(m_strSet.c_str(), INPUT);
    EXPECT_EQ(readOnce(reader, 3), "+abc");
    EXPECT_EQ(readOnce(reader, 0), "+");
    EXPECT_EQ(readOnce(reader, 2), "-d") << "a third part would be needed, and the next one is empty";
    EXPECT_EQ(readOnce(reader, 2), "-") << "from the empty part";
    EXPECT_EQ(readOnce(reader, 2), "+ef") << "nothing was lost";
    EXPECT_EQ(readOnce(reader, 2), "+g") << "the descriptor says where the end is";
    EXPECT_EQ(m_log.text(), "");

    writeSet({"ab", "c", "de"});
    reader.open(m_strSet.c_str(), INPUT);
    EXPECT_TRUE(reader.good() && !reader.eof()) << "opened again";
    EXPECT_EQ(readOnce(reader, 5), "-abc");
    EXPECT_EQ(readOnce(reader, 5), "-de") << "more than there is, and not from the last part alone";
    EXPECT_EQ(readOnce(reader, 5), "+");
}

TEST_F(SplitFileTest, PartsThatCannotBeRead)
{
    writeSet({"ab", "c", "de"});
    std::filesystem::remove(m_folder.path("set.2"));
    SplitFileReader reader(m_strSet.c_str());
    EXPECT_EQ(readOnce(reader, 3), "-ab");
    EXPECT_EQ(readOnce(reader, 3), "-");
    std::filesystem::remove(m_folder.path("set.1"));
    std::filesystem::create_directory(m_folder.path("set.1"));
    reader.open(m_strSet.c_str(), INPUT);
    EXPECT_EQ(readOnce(reader, 3), "-") << "a folder opens and cannot be read";
    std::filesystem::remove(m_folder.path("set.1"));
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
    EXPECT_EQ(readOnce(reader, 3), "+abc");
    EXPECT_EQ(readOnce(reader, 0), "+");
    EXPECT_EQ(readOnce(reader, 5), "+defgh") << "one byte held and one chunk";
    EXPECT_EQ(readOnce(reader, 1), "+i");
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
    const std::string strRefusal =
        "ERROR We do not support yet reading block bigger than  chunk size. Current read operation is ";
    EXPECT_TRUE(m_log.has(strRefusal + "10 bytes. Size of chunk is: 4")) << m_log.text();

    reader.open(strPath.c_str(), INPUT);
    EXPECT_EQ(readOnce(reader, 4), "+abcd");
    EXPECT_EQ(readOnce(reader, 3), "+efg");
    EXPECT_EQ(readOnce(reader, 5), "-h") << "two bytes are left in the file";
    EXPECT_FALSE(reader.fail());
    EXPECT_EQ(readOnce(reader, 2), "+ij");
    EXPECT_TRUE(m_log.has(strRefusal + "5 bytes. Size of chunk is: 2")) << m_log.text();
}

TEST_F(SplitFileTest, ChunksOfSourcesThatCannotBeRead)
{
    ByChunkFileReader reader("/does/not/exist", 4);
    EXPECT_TRUE(reader.fail() && !reader.is_open());
    EXPECT_EQ(readOnce(reader, 1), "-");
    reader.open(m_folder.path().c_str(), INPUT);
    EXPECT_EQ(readOnce(reader, 1), "-") << "a folder";
    ByChunkFileReader empty(m_folder.write("file", "ab").c_str(), 0);
    EXPECT_EQ(readOnce(empty, 0), "+");
    EXPECT_EQ(readOnce(empty, 1), "-");
    EXPECT_THAT(m_log.lines(),
                ElementsAre("ERROR Failed to open for input file /does/not/exist",
                            "ERROR Fail to read in file /does/not/exist",
                            "ERROR Fail to read in file " + m_folder.path(),
                            "ERROR We do not support yet reading block bigger than  chunk size. Current read "
                            "operation is 1 bytes. Size of chunk is: 0"));
    const Testing::AssertionCapture assertions;
    EXPECT_TRUE(ByChunkFileReader(nullptr, 4).fail());
    EXPECT_TRUE(SplitFileReader(nullptr).fail());
    EXPECT_TRUE(SplitFileWriter(nullptr, 1).fail());
    EXPECT_EQ(assertions.conditions().size(), 3u);
}
