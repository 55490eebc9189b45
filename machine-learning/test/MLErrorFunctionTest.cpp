#include "MLErrorFunction.h"
#include "TestPrelude.h"
#include "test-support/Command.h"

#include <clocale>
#include <cmath>
#include <cstdlib>

namespace
{

double evaluate(ErrorFunction::ErrorFunctionType in_type, const DoubleVector& in_vDesired,
                const DoubleVector& in_vTested)
{
    return (*ErrorFunction::newErrorFunction(in_type))(in_vDesired, in_vTested);
}

} // namespace

TEST(ErrorFunctionTest, KeywordsNamesAndClassesAgree)
{
    const struct
    {
        ErrorFunction::ErrorFunctionType m_type;
        const char* m_typeName;
        const char* m_displayName;
        Texts m_vKeywords;
    } TABLE[] = {
        {ErrorFunction::LEAST_SQUARE, "LEAST_SQUARE", "least-square-error", {"lse", "Least_Square"}},
        {ErrorFunction::MEAN_SQUARE, "MEAN_SQUARE", "mean-square-error", {"MSE", "mEaN_sQuArE"}},
        {ErrorFunction::SUM_SQUARE, "SUM_SQUARE", "sum-square-error", {"sse", "sum_square"}},
        {ErrorFunction::CROSS_ENTROPY, "CROSS_ENTROPY", "cross-entropy-error", {"ce", "cross_entropy"}},
        {ErrorFunction::MULTIPLE_CROSS_ENTROPY,
         "MULTIPLE_CROSS_ENTROPY",
         "multiple-cross-entropy-error",
         {"mce", "multiple_cross_entropy"}},
        {ErrorFunction::CLASSIFICATION, "CLASSIFICATION", "classification-error", {"CLASSIFICATION"}},
    };
    for (const auto& row : TABLE)
    {
        for (const std::string& strKeyword : row.m_vKeywords)
            EXPECT_EQ(ErrorFunction::parseErrorFuncType(strKeyword.c_str()).getValue(), row.m_type)
                << strKeyword;
        EXPECT_STREQ(ErrorFunction::getErrorFuncTypeString(row.m_type), row.m_typeName);
        EXPECT_STREQ(ErrorFunction::newErrorFunction(row.m_type)->getErrFuncName(), row.m_displayName);
    }
    for (const char* noKeyword : {"mean-square-error", "classification-error", "", "ms", "mse "})
        EXPECT_FALSE(ErrorFunction::parseErrorFuncType(noKeyword).isValid()) << noKeyword;
    const AssertionCapture assertions;
    EXPECT_FALSE(ErrorFunction::parseErrorFuncType(nullptr).isValid());
    EXPECT_THAT(assertions.conditions(), ElementsAre("in_keyword != nullptr"));
    const auto noType = static_cast<ErrorFunction::ErrorFunctionType>(6);
    EXPECT_STREQ(ErrorFunction::getErrorFuncTypeString(noType), "???ErrorFunction_ErrorFunctionType???");
    EXPECT_TRUE(ErrorFunction::newErrorFunction(noType).isNull());
}

TEST(ErrorFunctionTest, KeywordsDoNotDependOnTheLocale)
{
    // Where the small letter of I is another one than i.
    const TempDir folder;
    runCommand({"/usr/bin/localedef", "-i", "tr_TR", "-f", "ISO-8859-9", folder.path("tr_TR")}, "/");
    setenv("LOCPATH", folder.path().c_str(), 1);
    if (setlocale(LC_CTYPE, "tr_TR") == nullptr)
        GTEST_SKIP() << "the sources of the locales are not installed";
    EXPECT_TRUE(ErrorFunction::parseErrorFuncType("CLASSIFICATION").isValid());
    EXPECT_TRUE(ErrorFunction::parseErrorFuncType("MULTIPLE_CROSS_ENTROPY").isValid());
    setlocale(LC_CTYPE, "C");
    unsetenv("LOCPATH");
}

TEST(ErrorFunctionTest, ValuesByHand)
{
    const DoubleVector vDesired{1.0, 0.0, 0.5};
    const DoubleVector vTested{0.5, 0.25, 0.5};
    // (1 - 0.5)^2 + 0.25^2 + 0 = 0.3125
    EXPECT_EQ(evaluate(ErrorFunction::SUM_SQUARE, vDesired, vTested), 0.3125);
    EXPECT_EQ(evaluate(ErrorFunction::LEAST_SQUARE, vDesired, vTested), 0.15625);
    EXPECT_EQ(evaluate(ErrorFunction::MEAN_SQUARE, vDesired, vTested), 0.3125 / 3);
    // -(ln 0.5 + ln 0.75 + 0.5 ln 0.5 + 0.5 ln 0.5) = 2 ln 2 - ln 0.75
    EXPECT_DOUBLE_EQ(evaluate(ErrorFunction::CROSS_ENTROPY, vDesired, vTested),
                     2 * std::log(2.0) - std::log(0.75));
    // -(ln 0.5 + 0.5 ln 0.5) = 1.5 ln 2
    EXPECT_DOUBLE_EQ(evaluate(ErrorFunction::MULTIPLE_CROSS_ENTROPY, vDesired, vTested), 1.5 * std::log(2.0));
}

TEST(ErrorFunctionTest, EntropyArgumentsAreClampedFromBelow)
{
    const double dClamped = -std::log(1e-6);
    EXPECT_DOUBLE_EQ(evaluate(ErrorFunction::CROSS_ENTROPY, {1.0}, {0.0}), dClamped);
    EXPECT_DOUBLE_EQ(evaluate(ErrorFunction::CROSS_ENTROPY, {0.0}, {1.0}), dClamped);
    EXPECT_DOUBLE_EQ(evaluate(ErrorFunction::MULTIPLE_CROSS_ENTROPY, {1.0, 0.0}, {-3.0, 0.5}), dClamped);
    EXPECT_DOUBLE_EQ(evaluate(ErrorFunction::CROSS_ENTROPY, {1.0}, {1e-6}), dClamped);
    EXPECT_DOUBLE_EQ(evaluate(ErrorFunction::CROSS_ENTROPY, {1.0}, {2e-6}), -std::log(2e-6));
}

TEST(ErrorFunctionTest, EmptyVectorsAndOutputsWithoutTarget)
{
    EXPECT_EQ(evaluate(ErrorFunction::SUM_SQUARE, {}, {}), 0.0);
    EXPECT_TRUE(std::isnan(evaluate(ErrorFunction::MEAN_SQUARE, {}, {})));
    EXPECT_TRUE(std::signbit(evaluate(ErrorFunction::CROSS_ENTROPY, {}, {})));

    AssertionCapture assertions;
    for (const auto type :
         {ErrorFunction::SUM_SQUARE, ErrorFunction::LEAST_SQUARE, ErrorFunction::MEAN_SQUARE,
          ErrorFunction::CROSS_ENTROPY, ErrorFunction::MULTIPLE_CROSS_ENTROPY})
        EXPECT_TRUE(std::isnan(evaluate(type, {1.0}, {1.0, 0.0})));
    EXPECT_EQ(assertions.conditions().size(), 5u);
}

TEST(ClassificationErrorTest, CountsClassesAndFalseResults)
{
    ClassificationError error;
    EXPECT_TRUE(error.isInError({1.0, 0.0}, {0.9, 0.1}));
    EXPECT_FALSE(error.isInError({1.0, 0.0}, {0.1, 0.9})); // desired 0, tested 1: false negative
    EXPECT_FALSE(error.isInError({0.0, 1.0}, {0.9, 0.1})); // desired 1, tested 0: false positive
    EXPECT_FALSE(error.isInError({0.0, 1.0}, {0.5, 0.5})); // tied maxima: the first wins, so tested 0
    EXPECT_TRUE(error.isInError({0.0, 0.0}, {0.9, 0.1}));  // belongs to no class
    EXPECT_EQ(error.getNumError(), 3u);
    EXPECT_EQ(error.getNumClassified(), 4u);
    EXPECT_THAT(error.getNumOfEachClass(), ElementsAre(2, 2));
    EXPECT_EQ(error.getNumFalsePositive(), 2u);
    EXPECT_EQ(error.getNumFalseNegative(), 1u);
    EXPECT_EQ(error({0.0, 0.0}, {1.0, 0.0}), 1.0);
    EXPECT_EQ(error({1.0, 0.0}, {0.0, 1.0}), 0.0);

    const ClassificationError copy = error;
    EXPECT_TRUE(error.reset());
    EXPECT_EQ(error.getNumError() + error.getNumClassified(), 0u);
    EXPECT_EQ(error.getNumFalsePositive() + error.getNumFalseNegative(), 0u);
    EXPECT_THAT(error.getNumOfEachClass(), ElementsAre(0, 0));
    EXPECT_EQ(copy.getNumError(), 4u);
}

TEST(ClassificationErrorTest, RefusedPatternsAreNotClassified)
{
    const LogCapture log("quillcast.ml.ErrorFunction", LogLevel::ERROR);
    AssertionCapture assertions;
    ClassificationError error;
    EXPECT_FALSE(error.isInError({1.0, 1.0}, {0.9, 0.1}));
    EXPECT_THAT(log.lines(),
                ElementsAre("ERROR Desired targets are : [1 1]", "ERROR Tested values are: [0.9 0.1]"));
    EXPECT_FALSE(error.isInError({1.0}, {}));
    EXPECT_FALSE(error.isInError({0.0, 0.0, 1.0}, {0.9, 0.1})); // a class beyond the outputs
    EXPECT_FALSE(error.isInError({1.0, 0.0}, {0.9, 0.1, 0.0})); // another number of outputs
    EXPECT_THAT(assertions.conditions(),
                ElementsAre("find(iter + 1, in_vDesired.end(), 1.0) == in_vDesired.end()",
                            "iterMax != in_vTested.end()", "in_uiDesiredClass < m_vNumOfEachClass.size()",
                            "m_vNumOfEachClass.size() == in_vTested.size()"));
    EXPECT_EQ(error.getNumClassified(), 0u);
    EXPECT_THAT(error.getNumOfEachClass(), ElementsAre(0, 0));
}
