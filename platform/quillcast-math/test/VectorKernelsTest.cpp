#include "quillcast-math/VectorKernels.h"
#include "quillcast-math/src/VectorLanes.h"

#include <bit>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

using namespace Vexalor;

namespace
{

using Values = std::vector<double>;

constexpr std::size_t MAX_SIZE = 39;

/// Some of them nan, infinite, or zero of either sign; one more than are asked for, which nobody may touch.
Values makeValues(unsigned int in_uiSeed)
{
    std::mt19937 random(in_uiSeed);
    std::lognormal_distribution<double> values(0, 9);
    Values vValues(MAX_SIZE + 1);
    for (double& dValue : vValues)
        dValue = random() % 2 == 0 ? values(random) : -values(random);
    vValues[3] = NAN;
    vValues[5 + in_uiSeed] = INFINITY;
    vValues[7] = in_uiSeed % 2 == 0 ? 0.0 : -0.0;
    return vValues;
}

/// All nan alike, since their sign and payload mean nothing.
std::vector<std::uint64_t> bits(const Values& in_vValues)
{
    std::vector<std::uint64_t> vBits;
    for (const double dValue : in_vValues)
        vBits.push_back(std::bit_cast<std::uint64_t>(std::isnan(dValue) ? NAN : dValue));
    return vBits;
}

constexpr std::size_t NB_VECTORS = 3;
const Values VECTORS[NB_VECTORS] = {makeValues(1), makeValues(5), makeValues(6)};
const Values MEANS = makeValues(4);

using Pointers = std::vector<const double*>;

/// A kernel that works on two vectors of results, and what it does for one component of one vector.
struct Case
{
    const char* m_name;
    std::function<void(const Pointers&, std::size_t in_uiSize, Values& io_vFirst, Values& io_vSecond)>
        m_kernel;
    std::function<void(double in_dValue, double in_dMean, double& io_dFirst, double& io_dSecond)> m_component;
};

const Case CASES[] = {
    {"updateExtremes",
     [](const Pointers& in_vVectors, std::size_t in_uiSize, Values& io_vMax, Values& io_vMin)
     {
         VectorKernels::updateExtremes(in_vVectors.data(), in_vVectors.size(), in_uiSize, io_vMax.data(),
                                       io_vMin.data());
     },
     [](double in_dValue, double, double& io_dMax, double& io_dMin)
     {
         if (in_dValue > io_dMax)
             io_dMax = in_dValue;
         if (io_dMin > in_dValue)
             io_dMin = in_dValue;
     }},
    {"add",
     [](const Pointers& in_vVectors, std::size_t in_uiSize, Values& io_vSums, Values&)
     { VectorKernels::add(in_vVectors.data(), in_vVectors.size(), in_uiSize, io_vSums.data()); },
     [](double in_dValue, double, double& io_dSum, double&)
     {
         io_dSum += in_dValue;
     }},
    {"addSquaredDeviations",
     [](const Pointers& in_vVectors, std::size_t in_uiSize, Values& io_vSums, Values&)
     {
         VectorKernels::addSquaredDeviations(in_vVectors.data(), in_vVectors.size(), MEANS.data(), in_uiSize,
                                             io_vSums.data());
     },
     [](double in_dValue, double in_dMean, double& io_dSum, double&)
     {
         io_dSum += (in_dValue - in_dMean) * (in_dValue - in_dMean);
     }},
};

void expectFormula(const Case& in_case, std::size_t in_uiSize, std::size_t in_uiNbVectors)
{
    SCOPED_TRACE(std::string(in_case.m_name) + " of " + std::to_string(in_uiNbVectors) + " vectors of " +
                 std::to_string(in_uiSize));
    Values vFirst = makeValues(2);
    Values vSecond = makeValues(3);
    Pointers vVectors;
    for (std::size_t uiVector = 0; uiVector < in_uiNbVectors; ++uiVector)
    {
        vVectors.push_back(VECTORS[uiVector].data());
        for (std::size_t i = 0; i < in_uiSize; ++i)
            in_case.m_component(VECTORS[uiVector][i], MEANS[i], vFirst[i], vSecond[i]);
    }
    for (const auto registers : {Lanes::Registers::ANY, Lanes::Registers::WIDE})
    {
        Lanes::setRegisters(registers);
        Values vFirstResult = makeValues(2);
        Values vSecondResult = makeValues(3);
        in_case.m_kernel(vVectors, in_uiSize, vFirstResult, vSecondResult);
        EXPECT_EQ(bits(vFirstResult), bits(vFirst)) << static_cast<int>(registers);
        EXPECT_EQ(bits(vSecondResult), bits(vSecond)) << static_cast<int>(registers);
    }
}

} // namespace

TEST(VectorKernelsTest, EveryVariantGivesTheBitsOfTheFormula)
{
    const Lanes::Registers earlier = Lanes::getRegisters();
    for (const Case& test : CASES)
        for (std::size_t uiSize = 0; uiSize <= MAX_SIZE; ++uiSize)
            for (std::size_t uiNbVectors = 0; uiNbVectors <= NB_VECTORS; ++uiNbVectors)
                expectFormula(test, uiSize, uiNbVectors);
    Lanes::setRegisters(earlier);
}
