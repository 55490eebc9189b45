#include "quillcast-audio/AnnotatedFile.h"
#include "test-support/Command.h"
#include "test-support/TempDir.h"
#include "test-support/WavBuilder.h"

#include <filesystem>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace Vexalor;
using namespace Vexalor::Testing;

namespace
{

constexpr std::uint32_t RATE = 8000;

/// 1 s of silence.
std::string wav(const std::vector<WavRegion>& in_vRegions = {}, std::uint32_t in_uiFrames = RATE)
{
    return annotatedWav(RATE, std::vector<int>(in_uiFrames), in_vRegions);
}

class MlAnnotateTest : public testing::Test
{
protected:
    CommandResult run(std::vector<std::string> in_vArguments) const
    {
        in_vArguments.insert(in_vArguments.begin(), QC_BINARY_DIR "/bin/ml-annotate");
        return runCommand(in_vArguments, m_folder.path());
    }

    /// Standard output of a run that must succeed and complain of nothing.
    std::string succeed(const std::vector<std::string>& in_vArguments) const
    {
        const CommandResult result = run(in_vArguments);
        EXPECT_EQ(result.m_iExit, 0) << result.m_strErr;
        EXPECT_EQ(result.m_strErr, "");
        return result.m_strOut;
    }

    /// A run that must fail with this on standard error.
    void fail(const std::vector<std::string>& in_vArguments, const std::string& in_strMessage,
              int in_iExit = 1) const
    {
        const CommandResult result = run(in_vArguments);
        EXPECT_EQ(result.m_iExit, in_iExit) << result.m_strOut;
        EXPECT_NE(result.m_strErr.find(in_strMessage), std::string::npos) << result.m_strErr;
    }

    TempDir m_folder;
};

} // namespace

TEST_F(MlAnnotateTest, ListsInTheOrderOfTheFile)
{
    m_folder.write("a.wav", wav({{4000, 6000, "B b"}, {0, 1, "A"}}));
    m_folder.write("b.wav", Wav::riff(Wav::fmt(RATE) + Wav::data({0}) + Wav::cue({{1, 2000}}) +
                                      Wav::adtl(Wav::labl(1, "line\nend"))));
    EXPECT_EQ(succeed({"list", "a.wav"}), "0.5\t0.75\tB b\n0\t0.000125\tA\n");
    EXPECT_EQ(succeed({"list", "a.wav", "--sort"}), "0\t0.000125\tA\n0.5\t0.75\tB b\n");
    EXPECT_EQ(succeed({"list", "b.wav"}), "# no annotations; markers: 1, shown with --markers\n");
    EXPECT_EQ(succeed({"list", "--markers", "b.wav", "a.wav"}),
              "# b.wav\n0.25\t0.25\tline end\n# a.wav\n0.5\t0.75\tB b\n0\t0.000125\tA\n");
    EXPECT_EQ(succeed({"list", "a.wav", "--map", "A=B b", "--map", "B b=A"}),
              "0.5\t0.75\tA\n0\t0.000125\tB b\n");
    EXPECT_EQ(succeed({"list", "a.wav", "--fill", "rest"}),
              "0.5\t0.75\tB b\n0\t0.000125\tA\n0.000125\t0.5\trest\n0.75\t1\trest\n");
}

TEST_F(MlAnnotateTest, EditedLabelsThatTouchBecomeOne)
{
    m_folder.write("a.wav", wav({{1000, 2000, "x"},
                                 {0, 1000, "y"},
                                 {2000, 3000, "z"},
                                 {3000, 4000, "z"},
                                 {5000, 6000, "y"},
                                 {5500, 8000, "y"}}));
    // The gap of 0.5 to 0.625 s joins with what follows it, which overlaps the last one and stays apart from
    // it.
    EXPECT_EQ(succeed({"list", "a.wav", "--map", "x=y", "--fill", "y"}),
              "0\t0.25\ty\n0.25\t0.375\tz\n0.375\t0.5\tz\n0.6875\t1\ty\n0.5\t0.75\ty\n");
    // Asked for, any labels and overlaps, too.
    EXPECT_EQ(succeed({"list", "a.wav", "--join"}),
              "0.125\t0.25\tx\n0\t0.125\ty\n0.25\t0.5\tz\n0.625\t1\ty\n");
}

TEST_F(MlAnnotateTest, JsonHoldsEverything)
{
    m_folder.write(
        "a\"\xFF.wav",
        Wav::riff(Wav::fmt(RATE) + Wav::data({0, 0}) + Wav::cue({{7, 1}}) + Wav::smpl({{7, 1, 2}}) +
                  Wav::adtl(Wav::labl(7, "\xCE\xA9\t\\") + Wav::note(7, "\xE9t\xE9") + Wav::labl(9, "x"))));
    const std::string strExpected = R"([
{
 "file": "a\"ÿ.wav",
 "container": "RIFF",
 "fmt": {
  "tag": 1,
  "channels": 1,
  "rate": 8000,
  "byte_rate": 16000,
  "block_align": 2,
  "bits": 16
 },
 "frames": 2,
 "duration_s": 0.00025,
 "decoded_frames": 2,
 "chunk_order": [
  "fmt ",
  "data",
  "cue ",
  "smpl",
  "LIST:adtl"
 ],
 "cues": [
  {
   "id": 7,
   "position": 1,
   "chunk": "data",
   "chunk_start": 0,
   "block_start": 0,
   "sample_offset": 1,
   "label": "Ω\t\\",
   "note": "été",
   "time_s": 0.000125
  }
 ],
 "labels_without_cue": {
  "9": "x"
 },
 "ltxt": [],
 "smpl_loops": [
  {
   "cue_id": 7,
   "type": 0,
   "start": 1,
   "end": 2,
   "fraction": 0,
   "play_count": 0,
   "start_s": 0.000125,
   "stop_s": 0.00025
  }
 ],
 "annotations": [
  {
   "start_s": 0.000125,
   "stop_s": 0.00025,
   "start_sample": 1,
   "stop_sample": 2,
   "label": "Ω\t\\",
   "note": "été"
  }
 ],
 "markers": []
}
]
)";
    EXPECT_EQ(run({"list", "--json", "--decode", "a\"\xFF.wav"}).m_strOut, strExpected);
    const CommandResult none = run({"list", "--json", "missing.wav"});
    EXPECT_EQ(none.m_strOut, "[]\n");
    EXPECT_EQ(none.m_iExit, 1);
}

TEST_F(MlAnnotateTest, ExportAndImportAreInverse)
{
    std::vector<WavRegion> vRegions;
    for (std::uint32_t i = 0; i < 500; ++i)
        vRegions.push_back({(i * 7919) % RATE, (i * 7919) % RATE + i + 1, "label " + std::to_string(i % 7)});
    m_folder.write("a.wav", wav(vRegions));
    m_folder.write("b.wav", wav());
    EXPECT_EQ(succeed({"export", "a.wav", "labels.txt"}), "");
    EXPECT_EQ(readFile(m_folder.path("labels.txt")), succeed({"export", "a.wav"}));
    EXPECT_EQ(succeed({"import", "b.wav", "labels.txt"}), "b.wav: 0 annotations replaced by 500\n");
    EXPECT_EQ(readFile(m_folder.path("b.wav")), readFile(m_folder.path("a.wav")));
}

TEST_F(MlAnnotateTest, ImportReadsWhatOthersWrite)
{
    m_folder.write("a.wav", Wav::riff(Wav::fmt(RATE) + Wav::data(std::vector<int>(RATE)) +
                                      Wav::cue({{1, 800}}) + Wav::adtl(Wav::labl(1, "marker"))));
    // A table with a byte order mark, column names, CRLF and a comment.
    m_folder.write("table.txt",
                   "\xEF\xBB\xBFstart_s\tstop_s\tlabel\r\n# by hand\r\n\r\n0.500000\t0.750000\tVOICE\r\n"
                   "0\t0.1\tSILENCE\tother\tcolumns\r\n0.2\t0.3");
    EXPECT_EQ(succeed({"import", "a.wav", "table.txt"}), "a.wav: 0 annotations replaced by 3\n");
    EXPECT_EQ(succeed({"list", "--markers", "a.wav"}),
              "0.5\t0.75\tVOICE\n0\t0.1\tSILENCE\n0.2\t0.3\t\n0.1\t0.1\tmarker\n");
    // A label track: points are markers, frequency lines are skipped.
    m_folder.write("track.txt",
                   "0.25\t0.25\tpoint\n\\\t100.0\t900.0\n1e-3\t0.5\tx\n\\\t1\t2\n0.5\t0.75\ttab\tin label");
    const CommandResult track =
        run({"import", "a.wav", "track.txt", "--map", "x=y", "--fill", "rest", "--sort"});
    EXPECT_EQ(track.m_strOut, "a.wav: 3 annotations replaced by 4, 1 marker replaced by 1\n");
    EXPECT_EQ(track.m_strErr, "WARN: track.txt: the frequencies of 2 labels are left out, a recording has no "
                              "place for them\n");
    EXPECT_EQ(succeed({"list", "--markers", "a.wav"}),
              "0\t0.001\trest\n0.001\t0.5\ty\n0.5\t0.75\ttab\tin label\n0.75\t1\trest\n0.25\t0.25\tpoint\n");
}

// What was imported comes back from every format, and what is exported then is what was exported before.
TEST_F(MlAnnotateTest, EveryFormatIsAFixedPoint)
{
    const std::string strLabels = "0\t0.25\tVOICE\n0.125\t0.5\tSF:1000\n\\\t1000\t1000\n0.5\t0.75\tVOICE\n"
                                  "0.75\t0.75\tpoint\n";
    const std::string strListed = "0\t0.25\tVOICE\n0.125\t0.5\tSF:1000\n0.5\t0.75\tVOICE\n";
    m_folder.write("labels.txt", strLabels);
    std::filesystem::create_directory(m_folder.path("other"));
    for (const std::string strFile : {"b.txt", "b.TextGrid", "b.rttm", "b.csv", "b.json", "b.lab"})
    {
        const bool bOneTier = strFile != "b.TextGrid";
        m_folder.write("a.wav", wav());
        m_folder.write("other/a.wav", wav());
        succeed({"import", "a.wav", "labels.txt"});
        succeed({"export", "a.wav", strFile, "--markers"});
        const std::string strText = readFile(m_folder.path(strFile));
        EXPECT_EQ(strText == strLabels, strFile == "b.txt" || strFile == "b.lab") << strText;
        succeed({"import", "other/a.wav", strFile});
        EXPECT_EQ(succeed({"list", "other/a.wav", "--sort", "--markers"}), strListed + "0.75\t0.75\tpoint\n")
            << strFile;
        EXPECT_EQ(bOneTier, readFile(m_folder.path("other/a.wav")) == readFile(m_folder.path("a.wav")))
            << strFile;
        succeed({"export", "other/a.wav", strFile, "--markers"});
        EXPECT_EQ(readFile(m_folder.path(strFile)), strText);
    }
    EXPECT_EQ(succeed({"export", "other/a.wav", "--format", "csv", "--map", "VOICE=A,B"}),
              "start_s,stop_s,label,low_hz,high_hz\n0,0.25,\"A,B\",,\n0.125,0.5,SF:1000,1000,1000\n"
              "0.5,0.75,\"A,B\",,\n");
    const CommandResult piped = runCommand({"/bin/sh", "-c",
                                            QC_BINARY_DIR "/bin/ml-annotate import other/a.wav - "
                                                          "--format rttm <b.txt"},
                                           m_folder.path());
    EXPECT_EQ(piped.m_strErr, "ERROR: Cannot import -: line 1: \"0\" is no type of line\n");
    fail({"export", "other/a.wav", "--map", "VOICE=a b", "--format", "rttm"},
         "Cannot export other/a.wav: label \"a b\" at 0 s cannot be a field of RTTM");
    fail({"export", "other/a.wav", "--format", "xml"},
         "Option --format: there is no \"xml\", only text, textgrid", 2);
    fail({"import", "other/a.wav", "b.txt", "--format", "csv"},
         "Cannot import b.txt: line 1: no column is named start_s");
}

TEST_F(MlAnnotateTest, RecordingsAreCopiedWithTheLabelsBesideThem)
{
    const std::string strBefore = wav({{0, 10, "old"}});
    for (const char* name : {"a", "b b", "bare", "both"})
        m_folder.write(std::string(name) + ".wav", strBefore);
    m_folder.write("a.TextGrid",
                   "\"ooTextFile\" \"TextGrid\" 0 1 <exists> 2 \"IntervalTier\" \"word\" 0 1 1 0 0.5 \"x\" "
                   "\"IntervalTier\" \"phone\" 0 1 1 0 0.25 \"y\"");
    m_folder.write("b b.rttm", "SPEAKER b_b 1 0.25 0.25 <NA> <NA> A <NA> <NA>\n");
    m_folder.write("both.CSV", "start_s,stop_s,label\n0,1,c\n");
    m_folder.write("both.txt", "0\t1\tt\n");
    EXPECT_EQ(succeed({"label-copies", "out/deep", "a.wav", "b b.wav", "--map", "A=VOICE", "--tier", "word"}),
              "out/deep: 2 recordings with labels, in list.txt\n");
    EXPECT_EQ(succeed({"list", "out/deep/a.wav", "out/deep/b b.wav"}),
              "# out/deep/a.wav\n0\t0.5\tx\n# out/deep/b b.wav\n0.25\t0.5\tVOICE\n");
    EXPECT_EQ(readFile(m_folder.path("out/deep/list.txt")), "a.wav\nb b.wav\n");
    EXPECT_EQ(readFile(m_folder.path("a.wav")), strBefore);
    // The others are copied all the same.
    const CommandResult some =
        run({"label-copies", "out", "bare.wav", "both.wav", "a.wav", "out/../a.wav", "none.wav"});
    EXPECT_EQ(some.m_iExit, 1);
    EXPECT_EQ(some.m_strErr,
              "ERROR: Not copying bare.wav: no labels lie beside it\n"
              "ERROR: Not copying both.wav: labels lie beside it in both.CSV and in both.txt; --format "
              "chooses\n"
              "ERROR: Not copying out/../a.wav: out/a.wav is the copy of another recording of that "
              "name\n"
              "ERROR: Cannot read none.wav: No such file or directory\n"
              "ERROR: ml-annotate failed: Not copying bare.wav: no labels lie beside it\n");
    EXPECT_EQ(readFile(m_folder.path("out/list.txt")), "a.wav\n");
    succeed({"label-copies", "out", "both.wav", "--format", "CSV"});
    EXPECT_EQ(succeed({"list", "out/both.wav"}), "0\t1\tc\n");
    fail({"label-copies", "out", "a.wav"}, "Not writing over out/a.wav: it is a recording; --force");
    EXPECT_EQ(readFile(m_folder.path("out/list.txt")), "both.wav\n");
    fail({"label-copies", ".", "a.wav", "--force"}, "Not copying a.wav onto itself");
    fail({"label-copies", "a.wav/x", "a.wav"}, "Cannot make the folder a.wav/x: Not a directory");
    EXPECT_EQ(readFile(m_folder.path("a.wav")), strBefore);
}

TEST_F(MlAnnotateTest, RecordingsAndAnnotationsAreNotDestroyedByMistake)
{
    for (const char* container : {"RIFF", "RF64", "BW64"})
    {
        m_folder.write("a.wav", wav({{0, 10, "a"}}));
        const std::string strOther = container + wav({{0, 10, "b"}}).substr(4);
        m_folder.write("b.wav", strOther);
        fail({"export", "a.wav", "b.wav"}, "ERROR: Not writing over b.wav: it is a recording; --force");
        EXPECT_EQ(readFile(m_folder.path("b.wav")), strOther);
        EXPECT_EQ(succeed({"export", "a.wav", "b.wav", "--force"}), "");
        EXPECT_EQ(readFile(m_folder.path("b.wav")), "0\t0.00125\ta\n");
    }
    const std::string strBefore = wav({{0, 10, "a"}, {20, 30, "b"}});
    m_folder.write("a.wav", strBefore);
    // Markers and gaps that are filled are no annotations of the text.
    for (const char* text : {"", "# nothing\n", "0.5\t0.5\tmarker\n"})
    {
        m_folder.write("empty.txt", text);
        fail({"import", "a.wav", "empty.txt", "--fill", "x"},
             "ERROR: Not importing empty.txt: it has no annotations, a.wav has 2; --force");
        EXPECT_EQ(readFile(m_folder.path("a.wav")), strBefore);
    }
    EXPECT_EQ(succeed({"import", "a.wav", "empty.txt", "--force"}),
              "a.wav: 2 annotations replaced by 0, 0 markers replaced by 1\n");
    EXPECT_EQ(succeed({"export", "a.wav", "-", "--markers"}), "0.5\t0.5\tmarker\n");
    EXPECT_FALSE(std::filesystem::exists(m_folder.path("-")));
}

TEST_F(MlAnnotateTest, BadLabelsChangeNothing)
{
    const std::string strBefore = wav({{0, 10, "old"}});
    m_folder.write("a.wav", strBefore);
    const std::pair<const char*, const char*> cases[] = {
        {"0\t1\tfine\nVOICE\n", "line 2: \"VOICE\" is no start time in seconds"},
        {"0\t1,5\tx\n", "line 1: \"1,5\" is no stop time in seconds"},
        {"0 1 x\n", "line 1: \"0 1 x\" is no start time in seconds"},
        {"0\tnan\tx\n", "line 1: \"nan\" is no stop time in seconds"},
        {"1\t0.5\tx\n", "line 1: it stops before its start"},
        {"-1\t0.5\tx\n", "line 1: it starts before the recording"},
        {"0.5\t0.50001\tx\n", "annotation \"x\" at 0.5 s does not stop after its start"},
        {"0\t1e9\tx\n", "time 1000000000 s lies outside what a WAV file can mark"},
    };
    for (const auto& [text, message] : cases)
    {
        m_folder.write("labels.txt", text);
        fail({"import", "a.wav", "labels.txt"}, message);
        EXPECT_EQ(readFile(m_folder.path("a.wav")), strBefore) << text;
    }
}

TEST_F(MlAnnotateTest, CheckFindsFaults)
{
    // 1 s: "a" overlaps and touches itself and overlaps "b", "late" is partly beyond the end, nothing from
    // 0.75 s on but "late", and a loop that ends before its start.
    m_folder.write(
        "a.wav",
        wav({{0, 2000, "a"}, {1000, 3000, "a"}, {3000, 4000, "a"}, {3500, 6000, "b"}, {7000, 9000, "late"}}));
    m_folder.write("loop.wav", Wav::riff(Wav::fmt(RATE) + Wav::data(std::vector<int>(10)) +
                                         Wav::cue({{1, 5}}) + Wav::smpl({{1, 5, 2}})));
    const CommandResult result = run({"check", "a.wav", "loop.wav"});
    EXPECT_EQ(result.m_iExit, 1);
    EXPECT_EQ(result.m_strOut, "a.wav: overlap: \"a\" 0-0.25 s and \"a\" 0.125-0.375 s\n"
                               "a.wav: touching: \"a\" 0.125-0.375 s and \"a\" 0.375-0.5 s\n"
                               "a.wav: order: \"a\" 0.125-0.375 s and \"a\" 0.375-0.5 s, a generator refuses "
                               "them in the order of the file\n"
                               "a.wav: mixed: \"a\" 0.375-0.5 s and \"b\" 0.4375-0.75 s\n"
                               "a.wav: beyond: \"late\" 0.875-1.125 s, the recording ends at 1 s\n"
                               "a.wav: uncovered: 0.75-0.875 s\n"
                               "loop.wav: inverted: \"\" 0.000625-0.00025 s\n"
                               "loop.wav: uncovered: 0-0.00125 s\n");
    EXPECT_EQ(run({"check", "a.wav", "--ignore", "overlap", "--ignore", "touching", "--ignore", "order",
                   "--ignore", "mixed", "--ignore", "beyond", "--ignore", "uncovered"})
                  .m_iExit,
              0);
    fail({"check", "a.wav", "--ignore", "everything"}, "there is no kind \"everything\"", 2);
    // What tiles the recording is fine, whatever the order.
    m_folder.write("fine.wav", wav({{4000, 8000, "b"}, {0, 4000, "a"}}));
    EXPECT_EQ(succeed({"check", "fine.wav"}), "");
    // Tones that begin together, here within 5 ms, cancel in any order.
    const std::string strTones = "\"SF:1000\" 0.25-0.75 s and \"SF:1400\" 0.5-1 s, a wideband generator ";
    const std::pair<std::vector<WavRegion>, std::string> CASES[] = {
        {{{2000, 6000, "SF:1000"}, {4000, 8000, "SF:1400"}}, strTones + "takes them only in the order"},
        {{{4000, 8000, "SF:1400"}, {2000, 6000, "SF:1000"}}, strTones + "refuses them in the order"},
        {{{4000, 8000, "a"}, {0, 4000, "a"}}, "a generator takes them only in the order of the file\n"},
        {{{0, 8000, "SF:1000"}, {40, 8000, "SF:1400"}}, ""}};
    for (const auto& [vRegions, strText] : CASES)
    {
        m_folder.write("order.wav", wav(vRegions));
        const std::string strFound =
            run({"check", "order.wav", "--ignore", "touching", "--ignore", "mixed", "--ignore", "uncovered"})
                .m_strOut;
        EXPECT_EQ(strFound.empty(), strText.empty()) << strFound;
        EXPECT_NE(strFound.find(strText), std::string::npos) << strFound;
    }
}

TEST_F(MlAnnotateTest, BadInputIsReported)
{
    m_folder.write("a.wav", wav());
    m_folder.write("empty.wav", wav({}, 0));
    m_folder.write("text.wav", "no recording");
    m_folder.write("labels.txt", "0\t0.5\tx\n");
    ASSERT_EQ(mkfifo(m_folder.path("pipe").c_str(), 0600), 0);
    fail({"list", "missing.wav"}, "Cannot read missing.wav: No such file or directory");
    fail({"list", "."}, "Cannot read .: Is a directory");
    fail({"list", "pipe"}, "Cannot read pipe: is no regular file");
    fail({"list", "text.wav"}, "Cannot read annotations of text.wav: no RIFF file");
    fail({"check", "empty.wav"}, "Cannot read recording empty.wav: it has no samples");
    fail({"list", "--decode", "empty.wav"}, "it has no samples");
    fail({"import", "a.wav", "missing.txt"}, "Cannot read missing.txt: No such file or directory");
    fail({"import", "a.wav", "."}, "Cannot read .: Is a directory");
    fail({"import", "a.wav"}, "Command import takes FILE LABELS, not 1 file; see --help", 2);
    fail({"export", "a.wav", "missing/labels.txt"},
         "Cannot write missing/labels.txt: No such file or directory");
    fail({"export", "a.wav", "/dev/full", "--fill", "x"}, "Cannot write /dev/full: No space left on device");
    fail({"import", "-", "labels.txt"}, "a recording is a file, - is for labels only");
    fail({"check", "a.wav", "--json"}, "Option --json is not for check, only for: list", 2);
    fail({"draw", "a.wav", "a.svg", "--tier", "x"}, "Option --tier is not for draw, only for: import", 2);
    fail({"import", "a.wav", "labels.txt", "--tier", "x"}, "Option --tier is only for the format textgrid",
         2);
    fail({}, "A command is needed", 2);
    fail({"lsit", "a.wav"}, "There is no command lsit. A command is needed: list, check, export", 2);
    fail({"draw", "a.wav", "a.PNG"}, "Not writing a.PNG: draw makes SVG files", 2);
    fail({"list", "a.wav", "--map", "x"}, "Option --map: \"x\" is no mapping of the form A=B", 2);
    fail({"list", "a.wav", "--map", "x=y", "--map", "x=z"}, "Option --map: label \"x\" is mapped twice", 2);
    fail({"list", "a.wav", "--no-such-option"}, "no-such-option", 2);
    // The others are listed all the same.
    EXPECT_EQ(run({"list", "text.wav", "a.wav", "--fill", "x"}).m_strOut, "# a.wav\n0\t1\tx\n");
}

TEST_F(MlAnnotateTest, AFullDiskLeavesTheRecordingAlone)
{
    const std::string strBefore = wav();
    m_folder.write("a.wav", strBefore);
    m_folder.write("labels.txt", "0\t0.5\tx\n");
    // The recording has 16 KiB: its copy cannot grow beyond 4 KiB.
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &before), 0);
    const rlimit lowered{4096, before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &lowered), 0);
    fail({"import", "a.wav", "labels.txt"}, "Cannot write annotations into a.wav: File too large");
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &before), 0);
    EXPECT_EQ(readFile(m_folder.path("a.wav")), strBefore);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder.path()), {}), 2)
        << "a temporary file is left";
}

TEST_F(MlAnnotateTest, ScriptsHoldFoldersOfRecordingsAgainstIt)
{
    const std::string strTools =
        (std::filesystem::path(QC_TEST_DATA) / "../../../../tools").lexically_normal().string();
    const std::string strProgram = QC_BINARY_DIR "/bin/ml-annotate";
    m_folder.write("a.wav", Wav::riff(Wav::fmt(RATE) + Wav::data({0, 0, 0, 0}) + Wav::cue({{1, 1}, {2, 3}}) +
                                      Wav::adtl(Wav::labl(1, "one") + Wav::ltxt(1, 2))));
    const auto describe = [&](const std::string& in_strLabel)
    {
        const std::string strCommon = R"(, "chunk": "data", "note": null, "label": )";
        m_folder.write("a.json", R"({"frames": 4, "duration_s": 0.0005, "smpl_loops": [], "cues": [)"
                                 R"({"id": 1, "sample_offset": 1)" +
                                     strCommon + in_strLabel + R"(}, {"id": 2, "sample_offset": 3)" +
                                     strCommon +
                                     R"(null}],)"
                                     R"("ltxt": [{"cue_id": 1, "sample_length": 2, "text": ""}]})");
    };
    describe("\"one\"");
    CommandResult result = runCommand({strTools + "/compare_annotations.py", m_folder.path(), strProgram});
    EXPECT_EQ(result.m_iExit, 0) << result.m_strOut << result.m_strErr;
    describe("\"two\"");
    result = runCommand({strTools + "/compare_annotations.py", m_folder.path(), strProgram});
    EXPECT_EQ(result.m_iExit, 1);
    EXPECT_NE(result.m_strOut.find("cues[0].label: 'two' expected, 'one' found"), std::string::npos)
        << result.m_strOut;
    EXPECT_NE(result.m_strOut.find("annotations[0]: (1, 3, 'two') expected"), std::string::npos)
        << result.m_strOut;

    m_folder.write("cut.wav", wav().substr(0, 30));
    const std::string strHeader = "file\texpect\tframes\tpeer_frames\n";
    m_folder.write("EXPECT.tsv",
                   strHeader + "a.wav\taccept\t4\t4\ncut.wav\trefuse\t-\terror\na.wav\teither\t-\t4\n");
    result = runCommand({strTools + "/check_odd_wavs.py", m_folder.path(), strProgram});
    EXPECT_EQ(result.m_iExit, 0) << result.m_strOut << result.m_strErr;
    m_folder.write("EXPECT.tsv", strHeader +
                                     "a.wav\taccept\t5\t4\ncut.wav\taccept\t1\t1\na.wav\trefuse\t-\t4\n"
                                     "a.wav\teither\t-\t3\ncut.wav\trefuse\t-\t1\n");
    result = runCommand({strTools + "/check_odd_wavs.py", m_folder.path(), strProgram});
    EXPECT_EQ(result.m_iExit, 1);
    EXPECT_NE(result.m_strOut.find("1 of 5 verdicts met"), std::string::npos) << result.m_strOut;
}
