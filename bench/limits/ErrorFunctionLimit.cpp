// The limit of ErrorFunctionBench: the bare loops over 43 elements, additions in order. usage:
// ErrorFunctionLimit

#include "bench/limits/ByHand.h"

#include <cmath>

using namespace Vexalor;

namespace
{

constexpr std::size_t NB_VALUES = 43;
constexpr std::size_t NB_PATTERNS = 2000;
constexpr int NB_PASSES = 100;
constexpr double SMALLEST = 1e-6;

using Values = std::vector<double>;

__attribute__((noinline)) double sumOfSquares(const Values& in_vDesired, const Values& in_vOutput)
{
    double dSum = 0.0;
    const std::size_t uiSize = in_vOutput.size();
    for (std::size_t i = 0; i < uiSize; ++i)
    {
        const double dError = in_vDesired[i] - in_vOutput[i];
        dSum += dError * dError;
    }
    return dSum;
}

__attribute__((noinline)) double meanOfSquares(const Values& in_vDesired, const Values& in_vOutput)
{
    double dSum = 0.0;
    const std::size_t uiSize = in_vOutput.size();
    for (std::size_t i = 0; i < uiSize; ++i)
    {
        const double dError = in_vDesired[i] - in_vOutput[i];
        dSum += dError * dError;
    }
    return dSum / static_cast<double>(uiSize);
}

__attribute__((noinline)) double crossEntropy(const Values& in_vDesired, const Values& in_vOutput)
{
    double dSum = 0.0;
    const std::size_t uiSize = in_vOutput.size();
    for (std::size_t i = 0; i < uiSize; ++i)
    {
        if (in_vDesired[i] > 0)
            dSum += in_vDesired[i] * std::log(std::max(in_vOutput[i], SMALLEST));
        if (1 - in_vDesired[i] > 0)
            dSum += (1 - in_vDesired[i]) * std::log(std::max(1 - in_vOutput[i], SMALLEST));
    }
    return -dSum;
}

__attribute__((noinline)) double multipleCrossEntropy(const Values& in_vDesired, const Values& in_vOutput)
{
    double dSum = 0.0;
    const std::size_t uiSize = in_vOutput.size();
    for (std::size_t i = 0; i < uiSize; ++i)
        if (in_vDesired[i] > 0)
            dSum += in_vDesired[i] * std::log(std::max(in_vOutput[i], SMALLEST));
    return -dSum;
}

__attribute__((noinline)) double classification(const Values& in_vDesired, const Values& in_vOutput)
{
    const auto one = std::find(in_vDesired.begin(), in_vDesired.end(), 1.0);
    if (one == in_vDesired.end())
        return 1.0;
    if (std::find(one + 1, in_vDesired.end(), 1.0) != in_vDesired.end())
        return 0.0;
    const auto largest = std::max_element(in_vOutput.begin(), in_vOutput.end());
    return largest - in_vOutput.begin() == one - in_vDesired.begin() ? 1.0 : 0.0;
}

} // namespace

int main()
{
    std::vector<Values> vSoft(NB_PATTERNS, Values(NB_VALUES));
    std::vector<Values> vHot(NB_PATTERNS, Values(NB_VALUES, 0.0));
    std::vector<Values> vOutput(NB_PATTERNS, Values(NB_VALUES));
    unsigned int uiState = 12345;
    const auto random = [&]
    {
        uiState = uiState * 1664525u + 1013904223u;
        return (uiState >> 8) * (1.0 / (1 << 24));
    };
    for (std::size_t p = 0; p < NB_PATTERNS; ++p)
    {
        for (std::size_t i = 0; i < NB_VALUES; ++i)
        {
            vSoft[p][i] = random();
            vOutput[p][i] = random();
        }
        vHot[p][p % NB_VALUES] = 1.0;
    }
    double dSum = 0.0;
    const auto report = [&](const char* in_name, auto in_function, const std::vector<Values>& in_vDesired)
    {
        const auto allPasses = [&]
        {
            for (int iPass = 0; iPass < NB_PASSES; ++iPass)
                for (std::size_t p = 0; p < NB_PATTERNS; ++p)
                    dSum += in_function(in_vDesired[p], vOutput[p]);
        };
        Bench::reportNanoseconds(in_name, double(NB_PATTERNS) * NB_PASSES,
                                 Bench::measure(Bench::getRunCount(), allPasses, Bench::wallSeconds));
    };
    report("sum of squares", sumOfSquares, vSoft);
    report("mean of squares", meanOfSquares, vSoft);
    report("cross-entropy, soft targets", crossEntropy, vSoft);
    report("cross-entropy, one-hot targets", crossEntropy, vHot);
    report("multiple cross-entropy, one-hot targets", multipleCrossEntropy, vHot);
    report("classification, one-hot targets", classification, vHot);
    Bench::keep(dSum);
    return 0;
}
