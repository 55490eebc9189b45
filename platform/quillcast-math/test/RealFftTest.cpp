#include "quillcast-math/RealFft.h"
#include "quillcast-math/src/VectorLanes.h"
#include "test-support/LogCapture.h"

#include <cmath>
#include <gtest/gtest.h>
#include <numbers>
#include <random>

using namespace Vexalor;

namespace
{

/// The definition, in extended precision.
void directTransform(const std::vector<double>& in_vValues, std::size_t in_uiBin, double& out_dReal,
                     double& out_dImaginary)
{
    const std::size_t uiSize = in_vValues.size();
    long double dReal = 0;
    long double dImaginary = 0;
    for (std::size_t n = 0; n < uiSize; ++n)
    {
        const long double dAngle = 2 * std::numbers::pi_v<long double> *
                                   static_cast<long double>(in_uiBin * n % uiSize) /
                                   static_cast<long double>(uiSize);
        dReal += in_vValues[n] * std::cos(dAngle);
        dImaginary -= in_vValues[n] * std::sin(dAngle);
    }
    out_dReal = static_cast<double>(dReal);
    out_dImaginary = static_cast<double>(dImaginary);
}

} // namespace

TEST(RealFftTest, AgreesWithTheDirectTransformAtEverySize)
{
    std::mt19937 random(3);
    std::uniform_real_distribution<double> values(-1.0, 1.0);
    RealFft fft;
    for (std::size_t uiSize = 2; uiSize <= 1024; uiSize *= 2)
    {
        SCOPED_TRACE(uiSize);
        std::vector<double> vValues(uiSize);
        for (double& dValue : vValues)
            dValue = values(random);
        ASSERT_TRUE(fft.setSize(uiSize));
        std::vector<double> vReal(uiSize / 2 + 1);
        std::vector<double> vImaginary(uiSize / 2 + 1);
        std::vector<double> vPower(uiSize / 2 + 1);
        fft.transform(vValues.data(), vReal.data(), vImaginary.data());
        fft.powerSpectrum(vValues.data(), vPower.data());
        // Magnitudes grow as the root of the size; rounding adds about the root of the number of stages to
        // 1e-16.
        const double dTolerance = 1e-15 * std::sqrt(static_cast<double>(uiSize)) * std::log2(uiSize) + 1e-16;
        for (std::size_t k = 0; k <= uiSize / 2; ++k)
        {
            double dReal = 0.0;
            double dImaginary = 0.0;
            directTransform(vValues, k, dReal, dImaginary);
            ASSERT_NEAR(vReal[k], dReal, dTolerance) << k;
            ASSERT_NEAR(vImaginary[k], dImaginary, dTolerance) << k;
            ASSERT_EQ(vPower[k], vReal[k] * vReal[k] + vImaginary[k] * vImaginary[k]) << k;
        }
    }
}

TEST(RealFftTest, WideVariantGivesTheSameBits)
{
    const Lanes::Registers earlier = Lanes::setRegisters(Lanes::Registers::WIDEST);
    if (!Lanes::isWide())
        GTEST_SKIP() << "this processor has no wide registers";
    RealFft fft;
    for (std::size_t uiSize = 2; uiSize <= 1024; uiSize *= 2)
    {
        std::vector<double> vValues(uiSize);
        for (std::size_t n = 0; n < uiSize; ++n)
            vValues[n] = static_cast<double>(n * 7919 % 1000) / 1000 - 0.5;
        ASSERT_TRUE(fft.setSize(uiSize));
        std::vector<double> vWide(uiSize / 2 + 1);
        std::vector<double> vNarrow(uiSize / 2 + 1);
        Lanes::setRegisters(Lanes::Registers::WIDEST);
        fft.powerSpectrum(vValues.data(), vWide.data());
        Lanes::setRegisters(Lanes::Registers::ANY);
        fft.powerSpectrum(vValues.data(), vNarrow.data());
        EXPECT_EQ(vWide, vNarrow) << uiSize;
    }
    Lanes::setRegisters(earlier);
}

TEST(RealFftTest, LargestSizeKeepsItsPrecision)
{
    // One value 1 at n = 1: every bin has magnitude 1.
    RealFft fft;
    ASSERT_TRUE(fft.setSize(RealFft::MAX_SIZE));
    std::vector<double> vValues(RealFft::MAX_SIZE);
    vValues[1] = 1.0;
    std::vector<double> vPower(RealFft::MAX_SIZE / 2 + 1);
    fft.powerSpectrum(vValues.data(), vPower.data());
    double dWorst = 0.0;
    for (const double dPower : vPower)
        dWorst = std::max(dWorst, std::fabs(dPower - 1.0));
    EXPECT_LT(dWorst, 1e-14);
}

TEST(RealFftTest, RefusesOtherSizes)
{
    Testing::AssertionCapture assertions;
    RealFft fft;
    for (const std::size_t uiSize : {std::size_t(0), std::size_t(1), std::size_t(3), std::size_t(255),
                                     2 * RealFft::MAX_SIZE, std::size_t(1) << 63})
        EXPECT_FALSE(fft.setSize(uiSize)) << uiSize;
    EXPECT_EQ(assertions.conditions().size(), 6u);
    EXPECT_EQ(fft.getSize(), 0u);
}
