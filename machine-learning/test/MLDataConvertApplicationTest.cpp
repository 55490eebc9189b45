#include "MLDataConvertApplication.h"
#include "MLBinaryFileDataGenerator.h"
#include "TestPrelude.h"
#include "test-support/FileSizeLimit.h"

#include <filesystem>

namespace
{

constexpr const char* VECTOR = QC_TEST_DATA "/VectorFileDataGenerator.xml";
constexpr const char* BINARY = QC_TEST_DATA "/BinaryFileDataGenerator.xml";
constexpr const char* PATTERNS = "[1 0.1] []\nreset\n[-0 nan] [5e-324]\n[1e+308 -inf] [-nan]\n[0 0] []\n";

class ConvertApplicationTest : public testing::Test
{
protected:
    int run(const Texts& in_vArguments)
    {
        m_log.clear();
        DataConvertApplication application("convert");
        return runApplication(application, in_vArguments);
    }

    int convert(const char* in_config, const std::string& in_strInput, const char* in_type,
                const std::string& in_strOutput)
    {
        return run({"--datagen-config", in_config, "--input-file", in_strInput, "--output-type", in_type,
                    "--output-file", in_strOutput});
    }

    int testFile(const std::string& in_strReference, const char* in_config, const std::string& in_strTested,
                 bool in_bStrict = false)
    {
        Texts vArguments{"--test",       "--datagen-config", VECTOR,
                         "--input-file", in_strReference,    "--output-datagen-config",
                         in_config,      "--output-file",    in_strTested};
        if (in_bStrict)
            vArguments.emplace_back("--strict");
        return run(vArguments);
    }

    /// Tests the second text against the first one.
    int test(const std::string& in_strReference, const std::string& in_strTested, bool in_bStrict = false)
    {
        return testFile(m_folder.write("reference", in_strReference), VECTOR,
                        m_folder.write("tested", in_strTested), in_bStrict);
    }

    std::ptrdiff_t countEntries() const
    {
        const std::filesystem::directory_iterator entries(m_folder.path());
        return std::distance(begin(entries), end(entries));
    }

    LogCapture m_log{"quillcast.ml"};
    TempDir m_folder;
    std::string m_strPatterns = m_folder.write("patterns", PATTERNS);
};

} // namespace

TEST_F(ConvertApplicationTest, OneFileMayBeInputAndOutput)
{
    EXPECT_EQ(convert(VECTOR, m_strPatterns, "binary", m_strPatterns), 0) << m_log.text();
    EXPECT_TRUE(m_log.has("INFO Number of patterns read/written: 4"));
    EXPECT_EQ(m_log.lines().back(), "INFO Conversion succeeded !");
    // magic, sizes; 4 times 2 flags and 2 inputs, 2 targets
    EXPECT_EQ(readFile(m_strPatterns).size(), 30 + 4 * (2 + 16) + 2 * 8u);
    EXPECT_EQ(convert(BINARY, m_strPatterns, "vector", m_strPatterns), 0);
    EXPECT_EQ(readFile(m_strPatterns), PATTERNS);
    EXPECT_EQ(countEntries(), 1);

    m_folder.write("patterns", "");
    EXPECT_EQ(convert(VECTOR, m_strPatterns, "binary", m_strPatterns), 0);
    EXPECT_TRUE(m_log.has("WARN The input has no pattern: " + m_strPatterns + " stays empty"))
        << m_log.text();
}

TEST_F(ConvertApplicationTest, OptionsAreCheckedInTheirOrder)
{
    const std::string strVector = std::string("--datagen-config=") + VECTOR;
    const std::string strTested = std::string("--output-datagen-config=") + VECTOR;
    const std::string strBinary = "--output-type=binary";
    const std::tuple<int, Texts, const char*> CASES[] = {
        {2, {}, "ERROR cannot configure data generator"},
        {2, {"--datagen-config", ""}, "ERROR cannot configure data generator"},
        {1,
         {"--datagen-config", "none.xml"},
         "ERROR Cannot open data generator config file none.xml for input."},
        {1,
         {strVector},
         "ERROR This data generator needs an input file so you need  to specify an argument for "
         "--input-file"},
        {2, {strVector, "--input-file=in"}, "ERROR need an output data type (\"binary\" or \"vector\")"},
        {2,
         {strVector, "--input-file=in", "--output-type=Binary"},
         "ERROR output-type has to be either \"binary\" or \"vector\""},
        {2, {strVector, "--input-file=in", strBinary}, "ERROR need an output filename"},
        {1,
         {strVector, "--input-file=in", strBinary, "--output-file=out", "--output-datagen-config=none.xml"},
         "ERROR Cannot open data generator config file none.xml for input."},
        {2,
         {"--test", strVector, "--input-file=in", "--output-file=out"},
         "ERROR cannot configure output data generator"},
        {2, {"--test", strVector, "--input-file=in", strTested}, "ERROR need an output filename"},
        {2, {"--strict", strVector}, "ERROR --strict has no effect without --test"},
    };
    for (const auto& [iStatus, vArguments, message] : CASES)
    {
        EXPECT_EQ(run(vArguments), iStatus) << message;
        EXPECT_TRUE(m_log.has(message)) << message << '\n' << m_log.text();
    }
}

TEST_F(ConvertApplicationTest, WhatIsNotStoredWholeIsAFailureThatLeavesTheEarlierFile)
{
    BinaryFileWriter writer;
    ASSERT_TRUE(writePatterns(writer, m_folder.path("cut"), {{{1, 2}, {1}}, {{3, 4}, {1}}}));
    std::filesystem::resize_file(m_folder.path("cut"), 60);
    const std::string strOut = m_folder.write("out", "earlier");
    const std::tuple<const char*, std::string, const char*, std::string, std::string> CASES[] = {
        {VECTOR, m_folder.write("unlabelled", "[1] []\n[2] []\n"), "binary", strOut,
         "ERROR Could not write all patterns to " + strOut},
        {VECTOR, m_folder.write("late", "[1] []\n[1 2] [1]\n"), "binary", strOut,
         "ERROR Could not write all patterns to " + strOut},
        {VECTOR, m_folder.write("mixed", "[1] [1]\n[1 2] [1]\n"), "vector", strOut,
         "ERROR Could not write pattern 1"},
        {BINARY, m_folder.path("cut"), "vector", strOut,
         "ERROR The input stopped before its end, after 1 patterns"},
        {BINARY, m_folder.write("magic", "VEXALOR BINARY"), "vector", strOut,
         "ERROR The input stopped before its end, after 0 patterns"},
        {VECTOR, "none", "vector", strOut, "ERROR Could not go to the start of input data gen"},
        {BINARY, m_strPatterns, "vector", strOut, "ERROR Could not go to the start of input data gen"},
        {VECTOR, m_strPatterns, "vector", m_folder.path("none/out"),
         "ERROR Cannot write output file " + m_folder.path("none/out") + ": No such file or directory"},
        {VECTOR, m_strPatterns, "vector", m_folder.path(),
         "ERROR Cannot write output file " + m_folder.path() + ": Is a directory"},
        {VECTOR, m_strPatterns, "vector", "/dev/full", "ERROR Conversion stopped after 1 patterns"},
        {VECTOR, m_strPatterns, "binary", "/dev/full", "ERROR Could not write all patterns to /dev/full"},
    };
    const std::ptrdiff_t iEntries = countEntries();
    for (const auto& [config, strInput, type, strOutput, strMessage] : CASES)
    {
        EXPECT_EQ(convert(config, strInput, type, strOutput), 1);
        EXPECT_TRUE(m_log.has(strMessage)) << strMessage << '\n' << m_log.text();
        EXPECT_EQ(m_log.lines().back(), "ERROR Conversion failed !");
        EXPECT_EQ(m_log.count("/.new-"), 0u) << "messages know the final name only: " << m_log.text();
        EXPECT_EQ(m_log.count("has no pattern"), 0u) << "said of empty inputs only";
        EXPECT_EQ(readFile(strOut), "earlier");
    }
    EXPECT_EQ(countEntries(), iEntries);
}

TEST_F(ConvertApplicationTest, AFullDiskAtAnyPointIsAFailure)
{
    const std::string strOut = m_folder.path("out");
    for (const char* type : {"binary", "vector"})
    {
        ASSERT_EQ(convert(VECTOR, m_strPatterns, type, strOut), 0);
        const std::string strWhole = readFile(strOut);
        std::filesystem::remove(strOut);
        for (std::size_t uiSize = 0; uiSize <= strWhole.size(); ++uiSize)
        {
            const bool bFits = uiSize == strWhole.size();
            const FileSizeLimit limit(uiSize);
            ASSERT_EQ(convert(VECTOR, m_strPatterns, type, strOut), bFits ? 0 : 1) << type << ' ' << uiSize;
            ASSERT_EQ(countEntries(), bFits ? 2 : 1);
        }
        EXPECT_EQ(readFile(strOut), strWhole);
        std::filesystem::remove(strOut);
    }
}

TEST_F(ConvertApplicationTest, VerdictsOfATest)
{
    // Reference, tested, what differs; in the last ones only a strict test fails.
    const std::tuple<const char*, const char*, const char*, bool> CASES[] = {
        {"[1] [1]\n[2] [1]\n", "[1] [1]\n[3] [1]\n", "inputs of pattern 1 are not equal", false},
        {"[1] [1]\n", "[1] [2]\n", "targets of pattern 0 are not equal", false},
        {"[1] [1]\n", "[1] []\n", "target validities of pattern 0 are different. Reference is: 1", false},
        {"[1] []\n[2] []\n", "[1] []\nreset\n[2] []\n", "resets of pattern 1 are not equal. Reference is: 0",
         false},
        {"reset\n[1] []\n", "[1] []\n", "resets of pattern 0 are not equal. Reference is: 1", true},
        {"[0] [1]\n", "[-0] [1]\n", "inputs of pattern 0 are not equal", true},
        {"[1] []\n[2] []\n", "[1] []\n", "numbers of patterns are not equal. Reference has: 2, tested has: 1",
         true},
        {"[1] []\n", "[1] []\n[2] []\n", "numbers of patterns are not equal. Reference has: 1, tested has: 2",
         true},
    };
    for (const auto& [reference, tested, difference, bStrictOnly] : CASES)
        for (const bool bStrict : {false, true})
        {
            const bool bEqual = bStrictOnly && !bStrict;
            EXPECT_EQ(test(reference, tested, bStrict), bEqual ? 0 : 1) << difference;
            EXPECT_EQ(m_log.has(std::string("ERROR Files not equal: ") + difference), !bEqual)
                << m_log.text();
            EXPECT_EQ(m_log.has("INFO Files equal"), bEqual) << difference;
        }
    EXPECT_EQ(test(PATTERNS, PATTERNS, true), 0);
    EXPECT_TRUE(m_log.has("INFO Test of conversion started..."));
    test("[1] [1]\n", "[1] [2]\n");
    EXPECT_THAT(m_log.text(), HasSubstr("ERROR Reference is: [1]\nERROR Tested is: [2]"));
    EXPECT_EQ(test("[1] [1]\n[2] [1]\n[3] [1]\n", "[1] [1]\n[2] [1]\n"), 0);
    EXPECT_TRUE(m_log.has("INFO Number of lines read : 2"));
}

TEST_F(ConvertApplicationTest, DigestsAreThoseOfTheWholeStreamsAndTellWhatDiffers)
{
    const auto getDigest = [&](const char* in_what, const char* in_part)
    {
        const std::string strLine = "Digest of " + std::string(in_what) + " : ";
        for (const std::string& strMessage : m_log.lines())
        {
            const std::size_t uiPart = strMessage.find(in_part);
            if (strMessage.find(strLine) != std::string::npos && uiPart != std::string::npos)
                return strMessage.substr(uiPart + std::string(in_part).size() + 1, 16);
        }
        return std::string();
    };
    EXPECT_EQ(test("[1] [1]\n[2] [1]\n", "[1] [1]\n[2] []\n", true), 1);
    for (const char* part : {"inputs", "resets"})
    {
        EXPECT_EQ(getDigest("reference", part), getDigest("tested", part));
        EXPECT_EQ(getDigest("reference", part).size(), 16u);
    }
    for (const char* part : {"targets", "validities"})
        EXPECT_NE(getDigest("reference", part), getDigest("tested", part));
    // SplitMix64 started at 0 gives this number first: one pattern without reset.
    EXPECT_EQ(test("[1] [1]\n", "[1] [1]\n", true), 0);
    EXPECT_EQ(getDigest("tested", "resets"), "e220a8397b1dcdaf");
}

TEST_F(ConvertApplicationTest, ATestReadsTheOutputFileAndWritesNothing)
{
    const std::string strTested = m_folder.write("tested", PATTERNS);
    EXPECT_EQ(testFile(m_strPatterns, VECTOR, strTested), 0) << m_log.text();
    EXPECT_EQ(readFile(strTested), PATTERNS);

    // A file that is cut is no longer what it was, whatever could be compared.
    const std::string strCut = m_folder.path("cut");
    ASSERT_EQ(convert(VECTOR, m_strPatterns, "binary", strCut), 0);
    std::filesystem::resize_file(strCut, 84);
    EXPECT_EQ(testFile(m_strPatterns, BINARY, strCut), 1);
    EXPECT_TRUE(m_log.has("ERROR The tested stream stopped before its end")) << m_log.text();
    std::filesystem::remove(strTested);
    EXPECT_EQ(testFile(m_strPatterns, VECTOR, strTested), 1);
    EXPECT_TRUE(m_log.has("ERROR Could not go to the start of one file"));
}
