#include "MLBinaryFileDataGenerator.h"
#include "MLVectorFileDataGenerator.h"
#include "test-support/CountingResettable.h"
#include "test-support/FileFaults.h"
#include "test-support/FileSizeLimit.h"
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

/// A pattern a line, "!" for a reset of the entity before it.
std::string readPass(DataGenerator& io_generator, Testing::CountingResettable& io_entity)
{
    std::ostringstream text;
    io_entity.m_iResets = 0;
    DoubleVector vInput;
    DoubleVector vTarget;
    EXPECT_FALSE(io_generator.getInput(vInput));
    while (io_generator.generateNext())
    {
        text << std::string(static_cast<std::size_t>(io_entity.m_iResets), '!');
        io_entity.m_iResets = 0;
        EXPECT_TRUE(io_generator.getInput(vInput));
        text << vInput;
        if (io_generator.getTarget(vTarget))
            text << "->" << vTarget;
        text << ';';
    }
    EXPECT_TRUE(io_generator.atEnd());
    EXPECT_FALSE(io_generator.generateNext()) << "the end stays the end";
    return text.str();
}

/// Copies a pass over a generator to a file.
template <class Generator, class Writer>
void copyPatterns(const std::string& in_strFrom, const std::string& in_strTo)
{
    Generator generator;
    Writer writer;
    const CountedObjPtr<Testing::CountingResettable> hEntity(new Testing::CountingResettable);
    generator.setEntityToReset(hEntity);
    generator.setCurrentFilename(in_strFrom.c_str());
    ASSERT_TRUE(generator.gotoStart() && writer.open(in_strTo.c_str()));
    hEntity->m_iResets = 0;
    DoubleVector vInput;
    while (generator.generateNext())
    {
        DoubleVector vTarget;
        ASSERT_TRUE(generator.getInput(vInput));
        generator.getTarget(vTarget);
        ASSERT_TRUE(writer.write(std::exchange(hEntity->m_iResets, 0) != 0, vInput, vTarget));
    }
    EXPECT_TRUE(generator.endedCleanly());
    EXPECT_TRUE(writer.close());
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

    /// What a file of that content delivers, the same in two passes; "cut" behind it if it did not end
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
        // Asked again it takes what stands behind, if anything does.
        EXPECT_TRUE(generator.gotoStart());
        EXPECT_EQ(readPass(generator, *m_hEntity),
                  strContent.size() == BY_HAND.size() ? "![1.5 -2];[-2 1.5]->[1];" : "");
    }
    const Testing::LogCapture log(LOGGER, LogLevel::DEBUGGING);
    EXPECT_TRUE(BinaryFileDataGenerator::isFileBinary(m_folder.write("binary", BY_HAND).c_str()));
    EXPECT_TRUE(log.has("DEBUG File type is binary"));
}

TEST_F(BinaryFileTest, SourcesThatCannotBeOpened)
{
    const std::string strStart = "ERROR MachineLearning::BinaryFileDataGenerator::";
    EXPECT_FALSE(m_generator.generateNext()) << "never opened";
    for (const std::string& strName : {std::string("/does/not/exist"), m_folder.path()})
    {
        const Testing::LogCapture log(LOGGER);
        EXPECT_FALSE(BinaryFileDataGenerator::isFileBinary(strName.c_str()));
        EXPECT_FALSE(start(m_generator, strName));
        EXPECT_THAT(log.lines(),
                    ElementsAre(strStart + "isFileBinary : failed to open file " + strName + " for reading",
                                strStart + "gotoStart : failed to open file " + strName + " for reading"));
        EXPECT_FALSE(m_generator.generateNext());
    }
    EXPECT_TRUE(start(m_generator, m_folder.write("patterns", BY_HAND))) << "tried again";
    EXPECT_EQ(readPass(m_generator, *m_hEntity), "![1.5 -2];[-2 1.5]->[1];");
    EXPECT_TRUE(m_generator.endedCleanly());
    const Testing::AssertionCapture assertions;
    EXPECT_FALSE(m_generator.setCurrentFilename(nullptr));
    EXPECT_FALSE(BinaryFileDataGenerator::isFileBinary(nullptr));
    EXPECT_EQ(assertions.conditions().size(), 2u);
    EXPECT_STREQ(m_generator.getCurrentFilename(), m_folder.path("patterns").c_str());
}

TEST_F(BinaryFileTest, AnErrorOfTheSystemEndsThePassAndIsTold)
{
    // Patterns of 80 002 bytes, of which a block of 256 KB holds three.
    const DoubleVector vInput(10000, 1.0);
    ASSERT_TRUE(m_writer.open(m_folder.path("patterns").c_str()));
    for (int i = 0; i < 20; ++i)
        ASSERT_TRUE(m_writer.write(false, vInput, {1}));
    ASSERT_TRUE(m_writer.close());
    std::size_t uiEarlier = 0;
    bool bReachedEnd = false;
    for (unsigned int uiFailing = 1; !bReachedEnd; ++uiFailing)
    {
        const Testing::LogCapture log("quillcast");
        BinaryFileDataGenerator generator;
        const Testing::FileFaults faults(m_folder.path(), Testing::FileFaults::READ, uiFailing);
        std::size_t uiPatterns = 0;
        if (start(generator, m_folder.path("patterns")))
            while (generator.generateNext())
                ++uiPatterns;
        bReachedEnd = Testing::FileFaults::getCalls(Testing::FileFaults::READ) < uiFailing;
        EXPECT_GE(uiPatterns, uiEarlier);
        EXPECT_EQ(generator.endedCleanly(), bReachedEnd) << uiFailing;
        EXPECT_EQ(log.count("ERROR Cannot read " + m_folder.path("patterns")), bReachedEnd ? 0u : 1u);
        uiEarlier = uiPatterns;
    }
    EXPECT_EQ(uiEarlier, 20u);
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

TEST_F(BinaryFileTest, StatusAndMessagesAtDebugLevel)
{
    ASSERT_TRUE(start(m_generator, m_folder.write("patterns", BY_HAND)));
    std::ostringstream status;
    ASSERT_TRUE(m_generator.generateNext() && m_generator.generateNext());
    EXPECT_FALSE(m_generator.atEnd()) << "there is no look-ahead";
    m_generator.dumpStatus(status);
    EXPECT_EQ(status.str(), "Pattern 2");
    const Testing::LogCapture log(LOGGER, LogLevel::DEBUGGING);
    m_generator.dumpStatus(status);
    EXPECT_EQ(status.str(), "Pattern 2Pattern 2\nInput: [-2 1.5]\nTarget: [1]");
    ASSERT_TRUE(m_generator.gotoStart() && m_generator.generateNext());
    EXPECT_TRUE(log.has("DEBUG Number of inputs: 2, number of targets: 1")) << log.text();
}

TEST_F(BinaryFileTest, FailingResetStopsTheStartButNotTheStream)
{
    struct Reader : public BinaryFileDataGenerator
    {
        using BinaryFileDataGenerator::readLine;
    };
    Reader reader;
    ASSERT_TRUE(start(reader, m_folder.write("patterns", BY_HAND)));
    m_hEntity->m_bResult = false;
    EXPECT_FALSE(reader.readLine()) << "the entity could not be reset";
    DoubleVector vInput;
    EXPECT_TRUE(reader.getInput(vInput)) << "and yet there is a pattern";
    EXPECT_TRUE(reader.generateNext()) << "the second pattern asks for no reset";
    EXPECT_FALSE(reader.generateNext());
    const Testing::AssertionCapture assertions;
    EXPECT_FALSE(reader.gotoStart());
    EXPECT_THAT(assertions.conditions(),
                ElementsAre("m_pEntityToReset.isNull() || m_pEntityToReset->reset()"));
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

TEST_F(BinaryFileTest, FilesThatCannotBeWritten)
{
    EXPECT_FALSE(m_writer.open("/does/not/exist"));
    EXPECT_STREQ(m_writer.getCurrentFilename(), "/does/not/exist");
    EXPECT_EQ(m_log.text(), "ERROR Could not open file /does/not/exist for output.\n");
    EXPECT_TRUE(m_writer.close()) << "nothing was written";
    EXPECT_TRUE(m_writer.write(false, {1}, {}));
    EXPECT_TRUE(m_writer.write(false, {1}, {1}));
    EXPECT_TRUE(m_writer.hasLost());
    {
        const Testing::AssertionCapture assertions;
        EXPECT_FALSE(m_writer.write(false, {1, 2}, {1}));
        EXPECT_FALSE(m_writer.write(false, {1}, {1, 2}));
        EXPECT_FALSE(m_writer.open(nullptr));
        EXPECT_THAT(assertions.conditions(),
                    ElementsAre("in_vInput.size() == m_uiNbInput", "in_vTarget.size() == m_uiNbTarget",
                                "in_filename != nullptr"));
    }
    EXPECT_FALSE(m_writer.close());
    {
        BinaryFileWriter writer;
        ASSERT_TRUE(writer.open("/dev/full"));
        EXPECT_TRUE(writer.write(false, {1}, {1}));
    }
    EXPECT_TRUE(m_log.has("ERROR Could not write all patterns to /dev/full")) << m_log.text();
    ASSERT_TRUE(m_writer.open(m_folder.path("out").c_str())) << "works again afterwards";
    EXPECT_TRUE(m_writer.write(false, {1}, {1}));
    EXPECT_TRUE(m_writer.close());
}

TEST_F(BinaryFileTest, DiskThatIsFullAtAnyPlace)
{
    // 300 patterns of 2 418 bytes are 725 430 bytes with the header, about three blocks.
    const DoubleVector vInput(300, 1.0);
    const DoubleVector vTarget{1, 2};
    constexpr std::uint64_t SIZE = 30 + 300 * (2 + 8 * 302);
    std::vector<std::uint64_t> vLimits;
    for (std::uint64_t uiLimit = 0; uiLimit < 60; ++uiLimit)
        vLimits.push_back(uiLimit);
    for (std::uint64_t uiLimit = 100; uiLimit < SIZE; uiLimit += 50000)
        vLimits.push_back(uiLimit);
    vLimits.insert(vLimits.end(), {SIZE - 1, SIZE});
    for (const std::uint64_t uiLimit : vLimits)
    {
        const Testing::FileSizeLimit full(uiLimit);
        ASSERT_TRUE(m_writer.open(m_folder.path("out").c_str()));
        for (int iPattern = 0; iPattern < 300; ++iPattern)
            ASSERT_TRUE(m_writer.write(false, vInput, vTarget));
        ASSERT_EQ(m_writer.close(), uiLimit == SIZE) << uiLimit;
        ASSERT_EQ(Testing::readFile(m_folder.path("out")).size(), uiLimit);
    }
}

TEST_F(BinaryFileTest, TextAndBackToTheBit)
{
    const double VALUES[] = {0.1,
                             -0.0,
                             Limits::denorm_min(),
                             -Limits::min() / 3,
                             Limits::max(),
                             Limits::quiet_NaN(),
                             -Limits::quiet_NaN(),
                             Limits::infinity(),
                             -Limits::infinity(),
                             1.0 / 3};
    for (const std::size_t uiInputs : {std::size_t(1), std::size_t(40), std::size_t(10000)})
    {
        VectorFileWriter writer;
        ASSERT_TRUE(writer.open(m_folder.path("text").c_str()));
        DoubleVector vInput(uiInputs);
        for (std::size_t uiPattern = 0; uiPattern < 50; ++uiPattern)
        {
            for (std::size_t i = 0; i < uiInputs; ++i)
                vInput[i] = VALUES[(i + uiPattern) % std::size(VALUES)];
            // The first patterns and every third one have no target, every fifth begins a sequence.
            const bool bTarget = uiPattern > 2 && uiPattern % 3 != 0;
            ASSERT_TRUE(writer.write(uiPattern % 5 == 0, vInput,
                                     bTarget ? DoubleVector{vInput[0], 1.0} : DoubleVector{}));
        }
        ASSERT_TRUE(writer.close());
        copyPatterns<VectorFileDataGenerator, BinaryFileWriter>(m_folder.path("text"),
                                                                m_folder.path("binary"));
        copyPatterns<BinaryFileDataGenerator, VectorFileWriter>(m_folder.path("binary"),
                                                                m_folder.path("again"));
        copyPatterns<VectorFileDataGenerator, BinaryFileWriter>(m_folder.path("again"),
                                                                m_folder.path("last"));
        EXPECT_TRUE(Testing::readFile(m_folder.path("again")) == Testing::readFile(m_folder.path("text")));
        EXPECT_TRUE(Testing::readFile(m_folder.path("last")) == Testing::readFile(m_folder.path("binary")));
        EXPECT_GT(Testing::readFile(m_folder.path("binary")).size(), 50 * 8 * uiInputs);
    }
}
