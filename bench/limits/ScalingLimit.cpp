// The limit of ScalingBench: both passes over one block, minimum, maximum and sum in one loop. usage:
// ScalingLimit PATTERNS.raw

#include "bench/limits/ByHand.h"

#include <cmath>

using namespace Vexalor;

namespace
{

constexpr std::size_t NB_VALUES = 43;

struct Statistics
{
    double m_minimum[NB_VALUES];
    double m_maximum[NB_VALUES];
    double m_mean[NB_VALUES];
    double m_deviation[NB_VALUES];
};

Statistics learn(const std::vector<double>& in_vValues)
{
    const std::size_t uiPatterns = in_vValues.size() / NB_VALUES;
    alignas(64) double minimum[NB_VALUES];
    alignas(64) double maximum[NB_VALUES];
    alignas(64) double mean[NB_VALUES] = {};
    alignas(64) double squares[NB_VALUES] = {};
    std::copy_n(in_vValues.begin(), NB_VALUES, minimum);
    std::copy_n(in_vValues.begin(), NB_VALUES, maximum);
    for (std::size_t p = 0; p < uiPatterns; ++p)
    {
        const double* v = &in_vValues[p * NB_VALUES];
        for (std::size_t i = 0; i < NB_VALUES; ++i)
        {
            maximum[i] = v[i] > maximum[i] ? v[i] : maximum[i];
            minimum[i] = minimum[i] > v[i] ? v[i] : minimum[i];
            mean[i] += v[i];
        }
    }
    for (double& dMean : mean)
        dMean /= static_cast<double>(uiPatterns);
    for (std::size_t p = 0; p < uiPatterns; ++p)
    {
        const double* v = &in_vValues[p * NB_VALUES];
        for (std::size_t i = 0; i < NB_VALUES; ++i)
            squares[i] += (v[i] - mean[i]) * (v[i] - mean[i]);
    }
    Statistics found;
    for (std::size_t i = 0; i < NB_VALUES; ++i)
    {
        found.m_minimum[i] = minimum[i];
        found.m_maximum[i] = maximum[i];
        found.m_mean[i] = mean[i];
        found.m_deviation[i] = std::sqrt(squares[i] / static_cast<double>(uiPatterns - 1));
    }
    return found;
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    std::ifstream raw(in_iArguments == 2 ? in_arguments[1] : "", std::ios::binary | std::ios::ate);
    std::vector<double> vValues(raw ? static_cast<std::size_t>(raw.tellg()) / sizeof(double) : 0);
    raw.seekg(0);
    raw.read(reinterpret_cast<char*>(vValues.data()),
             static_cast<std::streamsize>(vValues.size() * sizeof(double)));
    if (!raw || vValues.empty())
        return 2;
    Statistics found;
    const auto times = Bench::measure(
        Bench::getRunCount(), [&] { found = learn(vValues); }, Bench::wallSeconds);
    Bench::reportNanoseconds("fused loops, both passes", static_cast<double>(vValues.size() / NB_VALUES),
                             times);
    Bench::reportValue("    deviation of the first component", found.m_deviation[0]);
    return 0;
}
