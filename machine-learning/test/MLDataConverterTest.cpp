#include "MLDataConverter.h"
#include "MLInMemoryDataGenerator.h"
#include "MLScalingDataGenerator.h"
#include "TestPrelude.h"

namespace
{

/// Keeps what is written as text, "!" for the mark of a sequence; refuses a pattern on demand. Of a file it
/// has no more than what a host must write.
struct TextWriter : public virtual FileDataWriter
{
    bool open(const char*) override { return true; }
    const char* getCurrentFilename() const override { return "text"; }
    bool write(bool in_bReset, const DoubleVector& in_vInput, const DoubleVector& in_vTarget) override
    {
        if (m_iRefused-- == 0)
            return false;
        m_text << (in_bReset ? "!" : "") << in_vInput << in_vTarget << ' ';
        return true;
    }
    std::string take()
    {
        const std::string strText = m_text.str();
        m_text.str("");
        return strText;
    }

    std::ostringstream m_text;
    int m_iRefused = -1;
};

const Patterns PATTERNS{{{1, 2}, {1}}, {{3, 4}, {}}, {{5, 6}, {0}, true}, {{7, 8}, {1}, true}};

class DataConverterTest : public testing::Test
{
protected:
    bool convert(DataGenerator& io_generator)
    {
        m_converter.setInputDataGenerator(io_generator);
        m_converter.setDataWriter(m_writer);
        return m_converter.convert();
    }

    DataConverter m_converter;
    TextWriter m_writer;
    LogCapture m_log{"quillcast.ml.DataConverter"};
};

} // namespace

TEST_F(DataConverterTest, PatternsKeepTheirMarksAndMissingTargets)
{
    ScriptedGenerator generator(PATTERNS);
    // The second time the generator resets in gotoStart as well, which marks nothing.
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_TRUE(convert(generator));
        EXPECT_EQ(m_writer.take(), "[1 2][1] [3 4][] ![5 6][0] ![7 8][1] ");
        EXPECT_EQ(m_converter.getNbConverted(), 4u);
    }
    EXPECT_TRUE(m_log.has("INFO Number of patterns read/written: 4"));

    ScriptedGenerator marked({{{1}, {}, true}});
    EXPECT_TRUE(convert(marked));
    EXPECT_EQ(m_writer.take(), "![1][] ");
}

TEST_F(DataConverterTest, EachFailureEndsTheConversionWithItsReason)
{
    ScriptedGenerator generator(PATTERNS);
    generator.m_bInputWorks = false;
    EXPECT_FALSE(convert(generator));
    EXPECT_EQ(m_log.lines().back(), "ERROR Could not get input for pattern 0");
    generator.m_bInputWorks = true;
    m_writer.m_iRefused = 2;
    EXPECT_FALSE(convert(generator));
    EXPECT_EQ(m_log.lines().back(), "ERROR Could not write pattern 2");
    EXPECT_EQ(m_writer.take(), "[1 2][1] [3 4][] ");
    m_converter.setWatch([](std::uint64_t in_uiPatterns) { return in_uiPatterns < 3; });
    EXPECT_FALSE(convert(generator));
    EXPECT_EQ(m_log.lines().back(), "ERROR Conversion stopped after 3 patterns");
    EXPECT_EQ(m_writer.take(), "[1 2][1] [3 4][] ![5 6][0] ");
    AssertionCapture assertions;
    EXPECT_FALSE(DataConverter().convert());
    EXPECT_THAT(assertions.conditions(),
                ElementsAre("!m_pInputDataGen.isNull() && !m_pOutputDataWriter.isNull()"));
}

TEST_F(DataConverterTest, WrappersLoseNoMarks)
{
    ScalingDataGenerator::Config config;
    config.m_scalingTrainerConfig.m_vTrainingParam.resize(3); // two inputs, one target, left as they are
    for (const bool bLearn : {false, true})
    {
        const CountedObjPtr<InMemoryDataGenerator> pCache(new InMemoryDataGenerator);
        pCache->setDataGenerator(CountedObjPtr<DataGenerator>(new ScriptedGenerator(PATTERNS)));
        ScalingDataGenerator scaling;
        config.m_bLearnScalingParameters = bLearn;
        ASSERT_TRUE(scaling.configure(config));
        scaling.setDataGenerator(pCache);
        EXPECT_TRUE(convert(scaling));
        // Learning fills the cache, whose replays mark the first pattern as well.
        EXPECT_EQ(m_writer.take(), std::string(bLearn ? "!" : "") + "[1 2][1] [3 4][] ![5 6][0] ![7 8][1] ");
    }
    // A cache may be converted again, from its replays; for somebody else it has other marks or none.
    AssertionCapture assertions;
    InMemoryDataGenerator cache;
    cache.setDataGenerator(CountedObjPtr<DataGenerator>(new ScriptedGenerator(PATTERNS)));
    EXPECT_TRUE(convert(cache) && convert(cache));
    EXPECT_EQ(m_writer.take(), "[1 2][1] [3 4][] ![5 6][0] ![7 8][1] ![1 2][1] [3 4][] ![5 6][0] ![7 8][1] ");
    m_converter = DataConverter();
    EXPECT_FALSE(convert(cache));
    EXPECT_EQ(m_log.lines().back(),
              "ERROR Could not set entity to reset of input data gen: resets would be lost");
}
