#include "MLBinaryFileDataGenerator.h"
#include "PatternPasses.h"
#include "test-support/LogCapture.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <bit>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <limits>
#include <sstream>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using testing::ElementsAre;
using Testing::readPass;

namespace
{

using Limits = std::numeric_limits<double>;

constexpr const char* LOGGER = "quillcast.ml.generator.BinaryFileDataGenerator";
const std::string MAGIC = "VEXALOR BINARY";

/// By hand from IEEE 754: 1.5 = 1.1b x 2^0 is 0x3FF8..., -2 = -1.0b x 2^1 is 0xC000..., 1 is 0x3FF0...
const std::string ONE_AND_A_HALF("\0\0\0\0\0\0\xF8\x3F", 8);
const std::string MINUS_TWO("\0\0\0\0\0\0\0\xC0", 8);
const std::string ONE("\0\0\0\0\0\0\xF0\x3F", 8);

/// Two inputs, one target. A pattern without target, first of a sequence, in bytes 30 to 47; a pattern with
/// target in bytes 48 to 73.
const std::string BY_HAND = MAGIC + std::string("\2\0\0\0\0\0\0\0\1\0\0\0\0\0\0\0", 16) + "\1" +
                            ONE_AND_A_HALF + MINUS_TWO + std::string(2, '\0') + MINUS_TWO + ONE_AND_A_HALF +
                            "\1" + ONE;

std::string header(std::uint64_t in_uiNbInput, std::uint64_t in_uiNbTarget)
{
    return MAGIC + Testing::Wav::u64(in_uiNbInput) + Testing::Wav::u64(in_uiNbTarget);
}

std::string bytes(const DoubleVector& in_vVector)
{
    std::string strBytes;
    for (const double dValue : in_vVector)
        strBytes += Testing::Wav::u64(std::bit_cast<std::uint64_t>(dValue));
    return strBytes;
}

/// A file that cannot be rewound and whose size nobody knows.
class Pipe
{
public:
    explicit Pipe(const std::string& in_strContent)
    {
        EXPECT_EQ(pipe2(m_ends, O_CLOEXEC), 0);
        m_feeder = std::thread(
            [this, in_strContent]
            {
                std::size_t uiDone = 0;
                ssize_t iWritten = 0;
                while (uiDone < in_strContent.size() && iWritten >= 0)
                {
                    iWritten =
                        ::write(m_ends[1], in_strContent.data() + uiDone, in_strContent.size() - uiDone);
                    uiDone += static_cast<std::size_t>(std::max<ssize_t>(0, iWritten));
                }
                ::close(m_ends[1]);
            });
    }
    ~Pipe()
    {
        m_feeder.join();
        ::close(m_ends[0]);
    }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_ends[0]); }

private:
    int m_ends[2] = {-1, -1};
    std::thread m_feeder;
};

class BinaryFileTest : public testing::Test
{
protected:
    BinaryFileTest() { m_generator.setEntityToReset(m_hEntity); }

    bool start(BinaryFileDataGenerator& io_generator, const std::string& in_strPath)
    {
        io_generator.setEntityToReset(m_hEntity);
        io_generator.setCurrentFilename(in_strPath.c_str());
        return io_generator.gotoStart();
    }

    /// What a file of that content delivers, the same in two passes; "cut" after it if it did not end
    /// cleanly.
    std::string read(const std::string& in_strContent)
    {
        BinaryFileDataGenerator generator;
        if (!start(generator, m_folder.write("patterns", in_strContent)))
            return "refused";
        const auto pass = [&]
        {
            const std::string strPatterns = readPass(generator, *m_hEntity);
            return strPatterns + (generator.endedCleanly() ? "" : "cut");
        };
        const std::string strFirst = pass();
        EXPECT_TRUE(generator.gotoStart());
        EXPECT_EQ(pass(), strFirst);
        return strFirst;
    }

    const Testing::LogCapture m_log{LOGGER, LogLevel::WARN};
    Testing::TempDir m_folder;
    const CountedObjPtr<Testing::CountingResettable> m_hEntity{new Testing::CountingResettable};
    BinaryFileDataGenerator m_generator;
    BinaryFileWriter m_writer;
};

} // namespace

TEST_F(BinaryFileTest, FileDerivedByHand)
{
    ASSERT_EQ(BY_HAND.size(), 74U);
    EXPECT_EQ(read(BY_HAND), "![1.5 -2];[-2 1.5]->[1];");
    ASSERT_TRUE(m_writer.open(m_folder.path("out").c_str()));
    EXPECT_TRUE(m_writer.write(true, {1.5, -2}, {}));
    EXPECT_TRUE(m_writer.write(false, {-2, 1.5}, {1}));
    EXPECT_TRUE(m_writer.close());
    EXPECT_EQ(Testing::readFile(m_folder.path("out")), BY_HAND);
    EXPECT_EQ(m_log.text(), "");
}

TEST_F(BinaryFileTest, RecordsOfEachKind)
{
    const std::string strNone(1, '\0');
    const std::string strInput = bytes({1, 2});
    const struct
    {
        const char* m_name;
        std::string m_content;
        const char* m_patterns;
    } TABLE[] = {
        {"header only", header(2, 1), ""},
        {"header only, whatever it says", header(std::uint64_t(1) << 61, 1), ""},
        {"no targets", header(2, 0) + strNone + strInput + strNone + "\1" + strInput + "\1", "[1 2];![1 2];"},
        {"no inputs", header(0, 1) + strNone + "\1" + ONE + "\1" + strNone, "[]->[1];![];"},
        {"neither", header(0, 0) + strNone + strNone + "\1" + strNone, "[];![];"},
        {"values that are no numbers",
         header(1, 1) + strNone + bytes({Limits::quiet_NaN()}) + "\1" + bytes({-Limits::infinity()}),
         "[nan]->[-inf];"},
    };
    for (const auto& row : TABLE)
        EXPECT_EQ(read(row.m_content), row.m_patterns) << row.m_name;
    for (int iFlag = 0; iFlag < 256; ++iFlag)
    {
        const std::string strFlag(1, static_cast<char>(iFlag));
        EXPECT_EQ(read(header(2, 1) + strFlag + strInput + strFlag + (iFlag == 0 ? "" : ONE)),
                  iFlag == 0 ? "[1 2];" : "![1 2]->[1];")
            << "flags " << iFlag;
    }
}

TEST_F(BinaryFileTest, EveryTruncation)
{
    for (std::size_t uiSize = 0; uiSize < BY_HAND.size(); ++uiSize)
    {
        // The input of the first record ends at 47, its flag at 48; that of the second at 65.
        const char* pExpected = uiSize < 14    ? "refused"
                                : uiSize == 30 ? ""
                                : uiSize < 47  ? "cut"
                                : uiSize == 47 ? "[1.5 -2];cut"
                                : uiSize == 48 ? "![1.5 -2];"
                                : uiSize < 65  ? "![1.5 -2];cut"
                                               : "![1.5 -2];[-2 1.5];cut";
        EXPECT_EQ(read(BY_HAND.substr(0, uiSize)), pExpected) << uiSize;
    }
    EXPECT_EQ(m_log.count("patterns is cut off after pattern 1"), 2 * 25U) << "49 to 73, in two passes";
}

TEST_F(BinaryFileTest, SizesThatNoFileHolds)
{
    const auto getPeakKibibytes = []
    {
        rusage usage = {};
        getrusage(RUSAGE_SELF, &usage);
        return usage.ru_maxrss;
    };
    const std::string strRecord = std::string(1, '\0') + ONE + "\1" + std::string(300000, '\2');
    const auto readPipe = [&](const std::string& in_strContent)
    {
        const Pipe source(in_strContent);
        BinaryFileDataGenerator generator;
        EXPECT_TRUE(start(generator, source.path()));
        const std::string strPatterns = readPass(generator, *m_hEntity);
        EXPECT_FALSE(generator.endedCleanly());
        return strPatterns;
    };
    const long iBefore = getPeakKibibytes();
    for (const std::uint64_t uiSize : {std::uint64_t(1) << 27, std::uint64_t(1) << 33, std::uint64_t(1) << 60,
                                       std::uint64_t(1) << 61, std::uint64_t(1) << 63, UINT64_MAX})
    {
        EXPECT_EQ(read(header(uiSize, 1) + strRecord), "cut") << uiSize;
        EXPECT_EQ(read(header(uiSize, uiSize) + strRecord), "cut") << uiSize;
        EXPECT_EQ(read(header(1, uiSize) + strRecord), "[1];cut") << uiSize;
        EXPECT_EQ(readPipe(header(uiSize, uiSize) + strRecord), "") << uiSize;
        EXPECT_EQ(readPipe(header(1, uiSize) + strRecord), "[1];") << uiSize;
    }
    EXPECT_LT(getPeakKibibytes() - iBefore, 65536);
}

TEST_F(BinaryFileTest, MoreThanTheMemoryHolds)
{
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
    GTEST_SKIP() << "a sanitizer ends the process where memory does not suffice";
#endif
    // A sparse file of 8 TiB, and so a record that it holds as far as anybody can tell.
    const std::string strPath = m_folder.write("patterns", header(std::uint64_t(1) << 40, 1));
    if (truncate(strPath.c_str(), off_t(1) << 43 | 64) != 0)
        GTEST_SKIP() << "the file system has no files of 8 TiB";
    rlimit earlier = {};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &earlier), 0);
    const rlimit limit = {std::min<rlim_t>(rlim_t(1) << 43, earlier.rlim_max), earlier.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &limit), 0);
    ASSERT_TRUE(start(m_generator, strPath));
    EXPECT_FALSE(m_generator.generateNext());
    EXPECT_EQ(setrlimit(RLIMIT_AS, &earlier), 0);
    EXPECT_FALSE(m_generator.endedCleanly());
    EXPECT_EQ(m_log.text(), "ERROR The record after pattern 0 of file " + strPath +
                                " needs 8796093022218 bytes: more than the memory holds\n");
}

TEST_F(BinaryFileTest, RecordsLongerThanTheBlock)
{
    // 600 000 bytes of input: more than two blocks of 256 KB.
    constexpr std::size_t LONG = 75000;
    DoubleVector vLong(LONG);
    for (std::size_t i = 0; i < LONG; ++i)
        vLong[i] = static_cast<double>(i);
    std::ostringstream text;
    text << vLong;
    const std::string strLong = text.str();
    const std::string strNone(1, '\0');
    const struct
    {
        std::string m_content;
        std::string m_patterns;
        const char* m_end = "";
    } TABLE[] = {
        {header(LONG, 1) + "\1" + bytes(vLong) + strNone + strNone + bytes(vLong) + "\1" + ONE,
         "!" + strLong + ";" + strLong + "->[1];"},
        {header(1, LONG) + strNone + ONE + strNone + "\1" + ONE + "\1" + bytes(vLong) + strNone + ONE +
             strNone,
         "[1];![1]->" + strLong + ";[1];"},
        {header(LONG, LONG) + strNone + bytes(vLong) + "\1" + bytes(vLong), strLong + "->" + strLong + ";"},
        // Cut after the input, as in EveryTruncation.
        {header(LONG, 1) + strNone + bytes(vLong), strLong + ";", "cut"},
        {header(LONG, LONG) + strNone + bytes(vLong) + "\1" + ONE, strLong + ";", "cut"},
    };
    for (const auto& row : TABLE)
    {
        EXPECT_EQ(read(row.m_content), row.m_patterns + row.m_end);
        const Pipe source(row.m_content);
        BinaryFileDataGenerator generator;
        ASSERT_TRUE(start(generator, source.path()));
        EXPECT_EQ(readPass(generator, *m_hEntity), row.m_patterns);
        EXPECT_FALSE(generator.gotoStart()) << "a pipe cannot be rewound";
    }
    EXPECT_EQ(m_log.count("::gotoStart : failed to rewind file /proc/self/fd/"), std::size(TABLE));
}

TEST_F(BinaryFileTest, FilesThatAreNotBinary)
{
    std::string strAlmost = BY_HAND;
    strAlmost[13] = 'Z';
    std::string strZero = BY_HAND;
    strZero[7] = '\0';
    for (const std::string& strContent : {strAlmost, strZero, std::string("VEXALOR"), std::string()})
    {
        const std::string strPath = m_folder.write("other", strContent);
        const Testing::LogCapture log(LOGGER, LogLevel::DEBUGGING);
        EXPECT_FALSE(BinaryFileDataGenerator::isFileBinary(strPath.c_str()));
        BinaryFileDataGenerator generator;
        EXPECT_FALSE(start(generator, strPath));
        EXPECT_THAT(log.lines(),
                    ElementsAre("DEBUG Opening file " + strPath, "DEBUG File type is NOT binary",
                                "DEBUG Opening file " + strPath,
                                "ERROR File " + strPath + " is not a valid Vexalor binary file"));
        // Asked again it takes what follows, if anything does.
        EXPECT_TRUE(generator.gotoStart());
        EXPECT_EQ(readPass(generator, *m_hEntity),
                  strContent.size() == BY_HAND.size() ? "![1.5 -2];[-2 1.5]->[1];" : "");
    }
    const Testing::LogCapture log(LOGGER, LogLevel::DEBUGGING);
    EXPECT_TRUE(BinaryFileDataGenerator::isFileBinary(m_folder.write("binary", BY_HAND).c_str()));
    EXPECT_TRUE(log.has("DEBUG File type is binary"));
    EXPECT_FALSE(BinaryFileDataGenerator::isFileBinary("/does/not/exist"));
    EXPECT_EQ(log.lines().back(), "ERROR MachineLearning::BinaryFileDataGenerator::isFileBinary : failed to "
                                  "open file /does/not/exist for reading");
    const Testing::AssertionCapture assertions;
    EXPECT_FALSE(BinaryFileDataGenerator::isFileBinary(nullptr));
}

TEST_F(BinaryFileTest, PassesFollowTheFileAsItStands)
{
    ASSERT_TRUE(start(m_generator, m_folder.write("patterns", BY_HAND)));
    EXPECT_EQ(readPass(m_generator, *m_hEntity), "![1.5 -2];[-2 1.5]->[1];");
    m_generator.setCurrentFilename("another");
    EXPECT_STREQ(m_generator.getCurrentFilename(), "another");
    m_folder.write("patterns", header(1, 2) + std::string(1, '\0') + ONE + "\1" + ONE + MINUS_TWO);
    ASSERT_TRUE(m_generator.gotoStart()) << "the open file, whatever the name says now";
    EXPECT_EQ(readPass(m_generator, *m_hEntity), "[1]->[1 -2];");
}

TEST_F(BinaryFileTest, HeaderTakesItsSizesFromTheFirstTarget)
{
    ASSERT_TRUE(m_writer.open(m_folder.path("out").c_str()));
    EXPECT_TRUE(m_writer.write(true, {1, 1.5}, {}));
    EXPECT_TRUE(m_writer.write(false, {-2, 1}, {}));
    EXPECT_EQ(m_writer.getNbPending(), 2U);
    EXPECT_TRUE(m_writer.write(true, {-2, -2}, {1}));
    EXPECT_EQ(m_writer.getNbPending(), 0U);
    EXPECT_TRUE(m_writer.write(false, {1, 1}, {}));
    EXPECT_TRUE(m_writer.close());
    const std::string strNone(1, '\0');
    EXPECT_EQ(Testing::readFile(m_folder.path("out")),
              header(2, 1) + "\1" + ONE + ONE_AND_A_HALF + strNone + strNone + MINUS_TWO + ONE + strNone +
                  "\1" + MINUS_TWO + MINUS_TWO + "\1" + ONE + strNone + ONE + ONE + strNone);
    EXPECT_EQ(m_log.text(), "");
}

TEST_F(BinaryFileTest, DroppedAndMisplacedPatternsAreTold)
{
    const std::string strPath = m_folder.path("out");
    const std::string strNone(1, '\0');
    ASSERT_TRUE(m_writer.open(strPath.c_str()));
    EXPECT_TRUE(m_writer.write(false, {1}, {}));
    EXPECT_FALSE(m_writer.close()) << "no pattern had a target";
    EXPECT_EQ(m_writer.getNbPending(), 1U);
    EXPECT_EQ(Testing::readFile(strPath), "");
    EXPECT_EQ(m_log.text(), "WARN Dropping 1 patterns: none has a target, and " + strPath + " stays empty\n");

    ASSERT_TRUE(m_writer.open(strPath.c_str()));
    EXPECT_TRUE(m_writer.write(false, {1, 1}, {}));
    EXPECT_TRUE(m_writer.write(false, {1}, {1}));
    EXPECT_FALSE(m_writer.close()) << "a size that is not the header's";
    EXPECT_EQ(Testing::readFile(strPath),
              header(1, 1) + strNone + ONE + ONE + strNone + strNone + ONE + "\1" + ONE);
    ASSERT_TRUE(m_writer.open(strPath.c_str()));
    for (const DoubleVector& vInput : {DoubleVector{1, 1}, DoubleVector{1}})
        EXPECT_TRUE(m_writer.write(false, vInput, {}));
    EXPECT_TRUE(m_writer.write(false, {1}, {1}));
    EXPECT_FALSE(m_writer.close()) << "two sizes before the header";
    EXPECT_EQ(m_log.count("cannot be read properly"), 2U) << m_log.text();

    Testing::AssertionCapture assertions;
    ASSERT_TRUE(m_writer.open(strPath.c_str()));
    EXPECT_TRUE(m_writer.write(false, {1}, {1}));
    EXPECT_FALSE(m_writer.write(true, {1, 1}, {1}));
    EXPECT_FALSE(m_writer.write(true, {1}, {1, 1}));
    EXPECT_FALSE(m_writer.close());
    EXPECT_THAT(assertions.conditions(),
                ElementsAre("in_vInput.size() == m_uiNbInput", "in_vTarget.size() == m_uiNbTarget"));
    EXPECT_EQ(Testing::readFile(strPath),
              header(1, 1) + strNone + ONE + "\1" + ONE + "\1" + "\1" + ONE + "\1");
}
