#include "quillcast-audio/ToneAnnotations.h"

#include <gtest/gtest.h>

using namespace Vexalor;

TEST(ToneAnnotationsTest, SingleFrequencyLabels)
{
    const std::pair<const char*, std::uint32_t> cases[] = {
        {"SF:1000", 1000},
        {"sf:990", 990},
        {"Sf:1", 1},
        {"1000 Hz", 1000},
        {"1000Hz", 1000},
        {"440   hz", 440},
        {"SF:0100", 100},
        {"4294967295 Hz", 4294967295u},
        {"SF:4294967295", 4294967295u},
    };
    for (const auto& [label, uiHz] : cases)
    {
        SingleFrequencyAnnotationImpl annotation;
        EXPECT_TRUE(annotation.setLabel(label)) << label;
        EXPECT_EQ(annotation.getFrequency(), uiHz) << label;
        EXPECT_EQ(annotation.getLabel(), label);
    }
}

TEST(ToneAnnotationsTest, OtherLabelsAreNoSingleFrequency)
{
    SingleFrequencyAnnotationImpl annotation;
    ASSERT_TRUE(annotation.setLabel("SF:1000"));
    for (const char* label : {"",           "1000",       "SF:",           "SF",
                              "SF:1000 ",   "SF:1000x",   "SF: 1000",      " SF:1000",
                              "SF:-5",      "SF:+5",      "SF:1e3",        "SF:1000.5",
                              "SF:0",       "0 Hz",       "SF:4294967296", "SF:99999999999999999999",
                              "1000 Hz ",   "1000 Hzx",   "1000 kHz",      "Hz",
                              "SF:1000 Hz", "AM:1000:20", "VOICE"})
        EXPECT_FALSE(annotation.setLabel(label)) << label;
    EXPECT_EQ(annotation.getFrequency(), 1000u) << "a refused label must change nothing";
}

TEST(ToneAnnotationsTest, AmplitudeModulatedLabels)
{
    for (const char* label : {"AM:1000:20", "am:1000:20", "AM 1000/20 Hz", "am 1000/20Hz"})
    {
        AmplitudeModulatedAnnotationImpl annotation;
        EXPECT_TRUE(annotation.setLabel(label)) << label;
        EXPECT_EQ(annotation.getCarrierFreq(), 1000u) << label;
        EXPECT_EQ(annotation.getModulatedFreq(), 20u) << label;
    }
    AmplitudeModulatedAnnotationImpl annotation;
    for (const char* label : {"AM:1000", "AM:1000:", "AM::20", "AM:1000:20 ", "AM:1000:20:3", "AM:1000:0",
                              "AM1000/20 Hz", "AM 1000/20", "AM 1000 / 20 Hz", "AM:1000/20",
                              "AM:4294967296:20", "1000/20 Hz", "SF:1000", "1000", "AM"})
        EXPECT_FALSE(annotation.setLabel(label)) << label;
}
