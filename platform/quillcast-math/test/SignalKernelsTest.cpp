#include "quillcast-math/SignalKernels.h"
#include "quillcast-math/src/VectorLanes.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <random>

using namespace Vexalor;

namespace
{

std::vector<double> randomValues(std::size_t in_uiSize, unsigned int in_uiSeed)
{
    std::mt19937 random(in_uiSeed);
    std::uniform_real_distribution<double> values(-1.0, 1.0);
    std::vector<double> vValues(in_uiSize);
    std::generate(vValues.begin(), vValues.end(), [&] { return values(random); });
    return vValues;
}

/// Everything that the kernels compute from some values.
std::vector<double> allResults(const std::vector<double>& in_vValues)
{
    const std::size_t uiSize = in_vValues.size();
    const std::vector<double> vOther = randomValues(uiSize * 32, 2);
    std::vector<double> vResults;
    vResults.push_back(SignalKernels::sumOfSquares(in_vValues.data(), uiSize));
    vResults.push_back(static_cast<double>(SignalKernels::countZeroCrossings(in_vValues.data(), uiSize)));
    vResults.push_back(SignalKernels::weightedSum(in_vValues.data(), vOther.data(), uiSize / 4 * 4));
    std::vector<double> vProduct(32);
    SignalKernels::multiply(in_vValues.data(), vOther.data(), uiSize, 17, vProduct.data());
    vResults.insert(vResults.end(), vProduct.begin(), vProduct.end());
    std::vector<double> vTapered(uiSize);
    SignalKernels::emphasiseAndTaper(in_vValues.data(), vOther.data(), uiSize, 0.97, vTapered.data());
    vResults.insert(vResults.end(), vTapered.begin(), vTapered.end());
    for (double& dValue : vTapered)
        dValue = std::fabs(dValue) + 1e-300;
    SignalKernels::naturalLogarithms(vTapered.data(), uiSize);
    vResults.insert(vResults.end(), vTapered.begin(), vTapered.end());
    return vResults;
}

} // namespace

TEST(SignalKernelsTest, SumsFollowTheStatedOrder)
{
    // Sizes below, at and between multiples of the lanes.
    for (const std::size_t uiSize : {0, 1, 7, 8, 9, 63, 200})
    {
        const std::vector<double> v = randomValues(uiSize, 1);
        double s[8] = {};
        std::size_t uiCrossings = 0;
        for (std::size_t i = 0; i < uiSize; ++i)
        {
            s[i % 8] += v[i] * v[i];
            uiCrossings += i > 0 && (v[i] < 0) != (v[i - 1] < 0) ? 1 : 0;
        }
        EXPECT_EQ(SignalKernels::sumOfSquares(v.data(), uiSize),
                  ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7])));
        EXPECT_EQ(SignalKernels::countZeroCrossings(v.data(), uiSize), uiCrossings);

        const std::vector<double> vMatrix = randomValues(uiSize * 32, 2);
        std::vector<double> vProduct(32);
        SignalKernels::multiply(v.data(), vMatrix.data(), uiSize, 20, vProduct.data());
        for (std::size_t uiColumn = 0; uiColumn < 20; ++uiColumn)
        {
            double sums[2] = {};
            for (std::size_t i = 0; i < uiSize; ++i)
                sums[i % 2] += v[i] * vMatrix[i * 32 + uiColumn];
            ASSERT_EQ(vProduct[uiColumn], sums[0] + sums[1]);
        }
    }
    const std::vector<double> v = randomValues(16, 5);
    double s[4] = {};
    for (std::size_t i = 0; i < 8; ++i)
        s[i % 4] += v[i] * v[8 + i];
    EXPECT_EQ(SignalKernels::weightedSum(v.data(), v.data() + 8, 8), (s[0] + s[2]) + (s[1] + s[3]));
}

TEST(SignalKernelsTest, EveryVariantGivesTheSameBits)
{
    const Lanes::Registers earlier = Lanes::setRegisters(Lanes::Registers::WIDEST);
    if (!Lanes::isWide())
        GTEST_SKIP() << "this processor has no wide registers";
    for (const std::size_t uiSize : {0, 1, 2, 3, 4, 5, 31, 200})
    {
        std::vector<double> vValues = randomValues(uiSize, 3);
        if (uiSize > 10)
            vValues[uiSize / 2] = std::numeric_limits<double>::infinity();
        Lanes::setRegisters(Lanes::Registers::ANY);
        const std::vector<double> vNarrow = allResults(vValues);
        for (const auto registers : {Lanes::Registers::WIDE, Lanes::Registers::WIDEST})
        {
            Lanes::setRegisters(registers);
            const std::vector<double> vWide = allResults(vValues);
            for (std::size_t i = 0; i < vWide.size(); ++i)
                ASSERT_TRUE(vWide[i] == vNarrow[i] || (std::isnan(vWide[i]) && std::isnan(vNarrow[i])))
                    << uiSize << ' ' << i;
        }
    }
    Lanes::setRegisters(earlier);
}

TEST(SignalKernelsTest, SignsOfZeroAndNan)
{
    const double dNan = std::numeric_limits<double>::quiet_NaN();
    const double values[] = {0.0, -0.0, 1.0, -1.0, dNan, -2.0, 0.0}; // + + + - - - +
    EXPECT_EQ(SignalKernels::countZeroCrossings(values, 7), 2u);
}

TEST(SignalKernelsTest, LogarithmsAreAccurateOverTheWholeRange)
{
    std::vector<double> vValues;
    for (double dValue = std::numeric_limits<double>::min(); dValue < 1e308; dValue *= 1.0371)
        vValues.push_back(dValue);
    for (double dValue = 0.5; dValue < 2.0;
         dValue += 0.000731) // the switch of the exponent, and results near 0
        vValues.push_back(dValue);
    vValues.insert(vValues.end(), {1.0, std::sqrt(0.5), std::sqrt(2.0), std::numeric_limits<double>::max(),
                                   std::nextafter(1.0, 0.0), std::nextafter(1.0, 2.0)});
    std::vector<double> vLogarithms = vValues;
    SignalKernels::naturalLogarithms(vLogarithms.data(), vLogarithms.size());
    for (std::size_t i = 0; i < vValues.size(); ++i)
    {
        const long double dExact = std::log(static_cast<long double>(vValues[i]));
        const double dUnit = std::nextafter(std::fabs(static_cast<double>(dExact)), 1e9) -
                             std::fabs(static_cast<double>(dExact));
        ASSERT_LE(std::fabs(vLogarithms[i] - dExact), 2 * dUnit) << vValues[i];
    }
    double special[] = {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::quiet_NaN()};
    SignalKernels::naturalLogarithms(special, 2);
    EXPECT_EQ(special[0], std::numeric_limits<double>::infinity());
    EXPECT_TRUE(std::isnan(special[1]));
}
