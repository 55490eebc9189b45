// Patterns of 40 inputs and 3 targets replayed from memory through the interface of all generators, and what
// scaling them adds.

#include "MLInMemoryDataGenerator.h"
#include "MLScalingDataGenerator.h"
#include "bench/Bench.h"
#include "quillcast-core/Logger.h"
#include "test-support/ScriptedGenerator.h"

using namespace Vexalor;
using namespace Vexalor::MachineLearning;
using Testing::ScriptedGenerator;

namespace
{

constexpr std::size_t NB_PATTERNS = 10000;
constexpr std::size_t NB_INPUTS = 40;
constexpr std::size_t NB_TARGETS = 3;
constexpr int NB_PASSES = 50;

/// With its first pass done.
CountedObjPtr<DataGenerator> newCache()
{
    const ScriptedGenerator::Pattern pattern{DoubleVector(NB_INPUTS, 0.5), DoubleVector(NB_TARGETS, 0.5)};
    const CountedObjPtr<InMemoryDataGenerator> pCache(new InMemoryDataGenerator);
    pCache->setDataGenerator(CountedObjPtr<DataGenerator>(
        new ScriptedGenerator(std::vector<ScriptedGenerator::Pattern>(NB_PATTERNS, pattern))));
    DoubleVector vInput;
    DoubleVector vTarget;
    return Bench::pullAll<DataGenerator>(*pCache, vInput, vTarget).m_bDone ? pCache
                                                                           : CountedObjPtr<DataGenerator>();
}

CountedObjPtr<DataGenerator> newScaled(const CountedObjPtr<DataGenerator>& in_generator)
{
    ScalingDataGenerator::Config config;
    config.m_scalerConfig.m_vInputSlope = DoubleVector(NB_INPUTS, 1.5);
    config.m_scalerConfig.m_vInputYIntercept = DoubleVector(NB_INPUTS, 0.25);
    config.m_scalerConfig.m_vTargetSlope = DoubleVector(NB_TARGETS, 1.5);
    config.m_scalerConfig.m_vTargetYIntercept = DoubleVector(NB_TARGETS, 0.25);
    const CountedObjPtr<ScalingDataGenerator> pScaling(new ScalingDataGenerator);
    pScaling->configure(config);
    pScaling->setDataGenerator(in_generator);
    return pScaling;
}

/// Reads all patterns without counting anything; returns a sum that shows it.
double pull(DataGenerator& io_generator)
{
    DoubleVector vInput;
    DoubleVector vTarget;
    double dSum = 0.0;
    for (int iPass = 0; iPass < NB_PASSES; ++iPass)
    {
        io_generator.gotoStart();
        while (io_generator.generateNext())
        {
            io_generator.getInput(vInput);
            io_generator.getTarget(vTarget);
            dSum += vInput[0] + vTarget[0];
        }
    }
    return dSum;
}

void bench(const char* in_name, DataGenerator& io_generator)
{
    double dSum = 0.0;
    const auto times = Bench::measure(
        Bench::getRunCount(), [&] { dSum = pull(io_generator); }, Bench::wallSeconds);
    Bench::reportNanoseconds(in_name, double(NB_PATTERNS) * NB_PASSES, times);
    Bench::reportValue("    sum of the first components", dSum);
}

} // namespace

int main()
{
    const LoggingSession session;
    Logger::setLevel("", LogLevel::OFF);
    const CountedObjPtr<DataGenerator> pCache = newCache();
    if (pCache.isNull())
        return 1;
    const CountedObjPtr<DataGenerator> pScaled = newScaled(pCache);
    bench("replay a pattern from memory", *pCache);
    bench("replay a pattern from memory, scaled", *pScaled);
    return 0;
}
