// Error functions on vectors of 43 elements, called through their common interface.

#include "MLErrorFunction.h"
#include "bench/Bench.h"
#include "quillcast-core/Logger.h"

#include <random>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

constexpr std::size_t NB_PATTERNS = 2000;
constexpr std::size_t NB_ELEMENTS = 43;
constexpr int NB_PASSES = 100;

struct Vectors
{
    std::vector<DoubleVector> m_vSoft{NB_PATTERNS, DoubleVector(NB_ELEMENTS)};
    std::vector<DoubleVector> m_vOneHot{NB_PATTERNS, DoubleVector(NB_ELEMENTS)};
    std::vector<DoubleVector> m_vTested{NB_PATTERNS, DoubleVector(NB_ELEMENTS)};
};

Vectors makeVectors()
{
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> values;
    Vectors vectors;
    for (std::size_t uiPattern = 0; uiPattern < NB_PATTERNS; ++uiPattern)
    {
        for (std::size_t i = 0; i < NB_ELEMENTS; ++i)
        {
            vectors.m_vSoft[uiPattern][i] = values(random);
            vectors.m_vTested[uiPattern][i] = values(random);
        }
        vectors.m_vOneHot[uiPattern][uiPattern % NB_ELEMENTS] = 1.0;
    }
    return vectors;
}

void bench(const char* in_name, ErrorFunction::ErrorFunctionType in_type,
           const std::vector<DoubleVector>& in_vDesired, const std::vector<DoubleVector>& in_vTested)
{
    const CountedObjPtr<ErrorFunction> pFunction = ErrorFunction::newErrorFunction(in_type);
    double dSum = 0.0;
    const auto runPasses = [&]
    {
        for (int iPass = 0; iPass < NB_PASSES; ++iPass)
        {
            for (std::size_t i = 0; i < NB_PATTERNS; ++i)
                dSum += (*pFunction)(in_vDesired[i], in_vTested[i]);
        }
    };
    const auto times = Bench::measure(Bench::getRunCount(), runPasses, Bench::wallSeconds);
    Bench::reportNanoseconds(in_name, double(NB_PATTERNS) * NB_PASSES, times);
    Bench::reportValue("    sum of all errors", dSum);
}

} // namespace

int main()
{
    const LoggingSession session;
    Logger::setLevel("", LogLevel::OFF);
    const Vectors vectors = makeVectors();
    bench("mean square", ErrorFunction::MEAN_SQUARE, vectors.m_vSoft, vectors.m_vTested);
    bench("least square", ErrorFunction::LEAST_SQUARE, vectors.m_vSoft, vectors.m_vTested);
    bench("sum of squares", ErrorFunction::SUM_SQUARE, vectors.m_vSoft, vectors.m_vTested);
    bench("cross-entropy, soft targets", ErrorFunction::CROSS_ENTROPY, vectors.m_vSoft, vectors.m_vTested);
    bench("cross-entropy, one-hot targets", ErrorFunction::CROSS_ENTROPY, vectors.m_vOneHot,
          vectors.m_vTested);
    bench("multiple cross-entropy, one-hot targets", ErrorFunction::MULTIPLE_CROSS_ENTROPY, vectors.m_vOneHot,
          vectors.m_vTested);
    bench("classification, one-hot targets", ErrorFunction::CLASSIFICATION, vectors.m_vOneHot,
          vectors.m_vTested);
    return 0;
}
