#include "MLBinaryFileDataGenerator.h"
#include "TestPrelude.h"
#include "test-support/WavBuilder.h"

#include <bit>
#include <cstdio>
#include <limits>
#include <sys/resource.h>
#include <unistd.h>

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
    return MAGIC + Wav::u64(in_uiNbInput) + Wav::u64(in_uiNbTarget);
}

std::string values(bool in_bFlag, const DoubleVector& in_vVector)
{
    std::string strBytes(1, in_bFlag ? '\1' : '\0');
    for (const double dValue : in_vVector)
        strBytes += Wav::u64(std::bit_cast<std::uint64_t>(dValue));
    return strBytes;
}

std::string record(const DoubleVector& in_vInput, const DoubleVector& in_vTarget = {}, bool in_bReset = false)
{
    return values(in_bReset, in_vInput) + values(!in_vTarget.empty(), in_vTarget);
}

/// A file as a stream that cannot be rewound and whose size nobody knows.
class Pipe
{
public:
    explicit Pipe(const std::string& in_strFile)
        : m_pStream(popen(("cat " + in_strFile).c_str(), "r"))
    {
    }
    ~Pipe() { pclose(m_pStream); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(fileno(m_pStream)); }

private:
    std::FILE* m_pStream;
};

class BinaryFileTest : public testing::Test
{
protected:
    bool start(BinaryFileDataGenerator& io_generator, const std::string& in_strPath)
    {
        io_generator.setEntityToReset(m_hEntity);
        io_generator.setCurrentFilename(in_strPath.c_str());
        return io_generator.gotoStart();
    }

    /// What is left of a pass; "cut" after it if it did not end cleanly.
    std::string readRest(BinaryFileDataGenerator& io_generator)
    {
        const std::string strPatterns = readPass(io_generator, *m_hEntity);
        EXPECT_TRUE(io_generator.atEnd());
        return strPatterns + (io_generator.endedCleanly() ? "" : "cut");
    }

    /// What a file of that content delivers, the same in two passes.
    std::string read(const std::string& in_strContent)
    {
        BinaryFileDataGenerator generator;
        if (!start(generator, m_folder.write("patterns", in_strContent)))
            return "refused";
        const std::string strFirst = readRest(generator);
        EXPECT_TRUE(generator.gotoStart());
        EXPECT_EQ(readRest(generator), strFirst);
        return strFirst;
    }

    /// The same through a pipe, in one pass.
    std::string readPipe(const std::string& in_strContent)
    {
        const Pipe source(m_folder.write("patterns", in_strContent));
        BinaryFileDataGenerator generator;
        EXPECT_TRUE(start(generator, source.path()));
        const std::string strPatterns = readRest(generator);
        EXPECT_FALSE(generator.gotoStart()) << "a pipe cannot be rewound";
        return strPatterns;
    }

    bool write(const Patterns& in_vPatterns) { return writePatterns(m_writer, m_strOut, in_vPatterns); }

    const LogCapture m_log{LOGGER, LogLevel::WARN};
    TempDir m_folder;
    const std::string m_strOut = m_folder.path("out");
    const CountedObjPtr<CountingResettable> m_hEntity{new CountingResettable};
    BinaryFileDataGenerator m_generator;
    BinaryFileWriter m_writer;
};

} // namespace

TEST_F(BinaryFileTest, FileDerivedByHand)
{
    ASSERT_EQ(BY_HAND.size(), 74U);
    EXPECT_EQ(read(BY_HAND), "![1.5 -2];[-2 1.5]->[1];");
    EXPECT_TRUE(write({{{1.5, -2}, {}, true}, {{-2, 1.5}, {1}}}));
    EXPECT_EQ(readFile(m_strOut), BY_HAND);
    EXPECT_EQ(m_log.text(), "");
}

TEST_F(BinaryFileTest, RecordsOfEachKind)
{
    const std::string strTarget = "\1"; // of no value
    const struct
    {
        const char* m_name;
        std::string m_content;
        const char* m_patterns;
    } TABLE[] = {
        {"header only", header(2, 1), ""},
        {"header only, whatever it says", header(std::uint64_t(1) << 61, 1), ""},
        {"no targets", header(2, 0) + record({1, 2}) + values(true, {1, 2}) + strTarget, "[1 2];![1 2];"},
        {"no inputs", header(0, 1) + record({}, {1}) + record({}, {}, true), "[]->[1];![];"},
        {"neither", header(0, 0) + record({}) + record({}, {}, true), "[];![];"},
        {"values that are no numbers", header(1, 1) + record({Limits::quiet_NaN()}, {-Limits::infinity()}),
         "[nan]->[-inf];"},
    };
    for (const auto& row : TABLE)
        EXPECT_EQ(read(row.m_content), row.m_patterns) << row.m_name;
    for (int iFlag = 0; iFlag < 256; ++iFlag)
    {
        const std::string strFlag(1, static_cast<char>(iFlag));
        EXPECT_EQ(read(header(1, 1) + strFlag + ONE + strFlag + (iFlag == 0 ? "" : ONE)),
                  iFlag == 0 ? "[1];" : "![1]->[1];")
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
    const std::string strRecord = record({1}, {1}) + std::string(300000, '\2');
    const long iBefore = getPeakKibibytes();
    for (const std::uint64_t uiSize : {std::uint64_t(1) << 27, std::uint64_t(1) << 33, std::uint64_t(1) << 60,
                                       std::uint64_t(1) << 61, std::uint64_t(1) << 63, UINT64_MAX})
    {
        EXPECT_EQ(read(header(uiSize, 1) + strRecord), "cut") << uiSize;
        EXPECT_EQ(read(header(uiSize, uiSize) + strRecord), "cut") << uiSize;
        EXPECT_EQ(read(header(1, uiSize) + strRecord), "[1];cut") << uiSize;
        EXPECT_EQ(readPipe(header(uiSize, uiSize) + strRecord), "cut") << uiSize;
        EXPECT_EQ(readPipe(header(1, uiSize) + strRecord), "[1];cut") << uiSize;
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
    const std::pair<std::string, std::string> TABLE[] = {
        {header(LONG, 1) + record(vLong, {}, true) + record(vLong, {1}),
         "!" + strLong + ";" + strLong + "->[1];"},
        {header(1, LONG) + record({1}) + record({1}, vLong, true) + record({1}),
         "[1];![1]->" + strLong + ";[1];"},
        {header(LONG, LONG) + record(vLong, vLong), strLong + "->" + strLong + ";"},
        // Cut after the input, as in EveryTruncation.
        {header(LONG, 1) + values(false, vLong), strLong + ";cut"},
        {header(LONG, LONG) + record(vLong, {1}), strLong + ";cut"},
    };
    for (const auto& [strContent, strPatterns] : TABLE)
    {
        EXPECT_EQ(read(strContent), strPatterns);
        EXPECT_EQ(readPipe(strContent), strPatterns);
    }
    EXPECT_EQ(m_log.count("::gotoStart : failed to rewind file /proc/self/fd/"), std::size(TABLE));
}

TEST_F(BinaryFileTest, FilesThatAreNotBinary)
{
    std::string strAlmost = BY_HAND;
    strAlmost[13] = 'Z';
    std::string strZero = BY_HAND;
    strZero[7] = '\0';
    const LogCapture log(LOGGER, LogLevel::DEBUGGING);
    for (const std::string& strContent : {strAlmost, strZero, std::string("VEXALOR"), std::string()})
    {
        const std::string strPath = m_folder.write("other", strContent);
        EXPECT_FALSE(BinaryFileDataGenerator::isFileBinary(strPath.c_str()));
        EXPECT_EQ(log.lines().back(), "DEBUG File type is NOT binary");
        BinaryFileDataGenerator generator;
        EXPECT_FALSE(start(generator, strPath));
        EXPECT_EQ(log.lines().back(), "ERROR File " + strPath + " is not a valid Vexalor binary file");
        // Asked again it takes what follows, if anything does.
        EXPECT_TRUE(generator.gotoStart());
        EXPECT_EQ(readRest(generator),
                  strContent.size() == BY_HAND.size() ? "![1.5 -2];[-2 1.5]->[1];" : "cut");
    }
    EXPECT_TRUE(BinaryFileDataGenerator::isFileBinary(m_folder.write("binary", BY_HAND).c_str()));
    EXPECT_EQ(log.lines().back(), "DEBUG File type is binary");
    EXPECT_FALSE(BinaryFileDataGenerator::isFileBinary("/does/not/exist"));
    EXPECT_EQ(log.lines().back(), "ERROR MachineLearning::BinaryFileDataGenerator::isFileBinary : failed to "
                                  "open file /does/not/exist for reading");
    const AssertionCapture assertions;
    EXPECT_FALSE(BinaryFileDataGenerator::isFileBinary(nullptr));
}

TEST_F(BinaryFileTest, PassesFollowTheFileAsItStands)
{
    ASSERT_TRUE(start(m_generator, m_folder.write("patterns", BY_HAND)));
    EXPECT_EQ(readRest(m_generator), "![1.5 -2];[-2 1.5]->[1];");
    m_folder.write("patterns", header(1, 2) + record({1}, {1, -2}));
    m_generator.setCurrentFilename("another");
    EXPECT_EQ(readAll(m_generator), "[1]->[1 -2];") << "the open file, whatever the name says now";
}

TEST_F(BinaryFileTest, HeaderTakesItsSizesFromTheFirstTarget)
{
    ASSERT_TRUE(m_writer.open(m_strOut.c_str()));
    EXPECT_TRUE(m_writer.write(true, {1, 1.5}, {}) && m_writer.write(false, {-2, 1}, {}));
    EXPECT_EQ(m_writer.getNbPending(), 2U);
    EXPECT_TRUE(m_writer.write(true, {-2, -2}, {1}));
    EXPECT_EQ(m_writer.getNbPending(), 0U);
    EXPECT_TRUE(m_writer.write(false, {1, 1}, {}) && m_writer.close());
    EXPECT_EQ(readFile(m_strOut), header(2, 1) + record({1, 1.5}, {}, true) + record({-2, 1}) +
                                      record({-2, -2}, {1}, true) + record({1, 1}));
    EXPECT_EQ(m_log.text(), "");
}

TEST_F(BinaryFileTest, DroppedAndMisplacedPatternsAreTold)
{
    EXPECT_FALSE(write({{{1}, {}}})) << "no pattern had a target";
    EXPECT_EQ(m_writer.getNbPending(), 1U);
    EXPECT_EQ(readFile(m_strOut), "");
    EXPECT_EQ(m_log.text(),
              "WARN Dropping 1 patterns: none has a target, and " + m_strOut + " stays empty\n");

    EXPECT_FALSE(write({{{1, 1}, {}}, {{1}, {1}}})) << "a size that is not the header's";
    EXPECT_EQ(readFile(m_strOut), header(1, 1) + record({1, 1}) + record({1}, {1}));
    EXPECT_FALSE(write({{{1, 1}, {}}, {{1}, {}}, {{1}, {1}}})) << "two sizes before the header";
    EXPECT_EQ(m_log.count("cannot be read properly"), 2U) << m_log.text();

    const AssertionCapture assertions;
    EXPECT_FALSE(write({{{1}, {1}}, {{1, 1}, {1}, true}, {{1}, {1, 1}, true}}));
    EXPECT_THAT(assertions.conditions(),
                ElementsAre("in_vInput.size() == m_uiNbInput", "in_vTarget.size() == m_uiNbTarget"));
    EXPECT_EQ(readFile(m_strOut), header(1, 1) + record({1}, {1}) + "\1" + "\1" + ONE + "\1");
}
