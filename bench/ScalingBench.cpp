// The scaling of patterns of 40 inputs and 3 targets learnt in two passes, through the interface of all
// generators: from patterns that lie in one block, and from the cache. usage: ScalingBench PATTERNS.raw

#include "MLInMemoryDataGenerator.h"
#include "MLVectorScalingTrainer.h"
#include "bench/Bench.h"
#include "quillcast-core/Logger.h"

#include <fstream>
#include <ostream>

using namespace Vexalor;
using namespace Vexalor::MachineLearning;

namespace
{

constexpr std::size_t NB_INPUTS = 40;
constexpr std::size_t NB_TARGETS = 3;
constexpr std::size_t NB_VALUES = NB_INPUTS + NB_TARGETS;

/// Patterns in one block: the least that a generator has to do.
class BlockGenerator final : public virtual DataGenerator
{
public:
    explicit BlockGenerator(const std::vector<double>& in_vValues)
        : m_vValues(in_vValues)
    {
    }

    bool gotoStart() override
    {
        m_uiEnd = 0;
        return true;
    }
    bool generateNext() override
    {
        if (!atEnd())
            m_uiEnd += NB_VALUES;
        return m_uiEnd <= m_vValues.size();
    }
    bool atEnd() const override { return m_uiEnd > m_vValues.size(); }
    bool getInput(DoubleVector& out_vInput) override
    {
        const double* pTarget = m_vValues.data() + m_uiEnd - NB_TARGETS;
        out_vInput.assign(pTarget - NB_INPUTS, pTarget);
        return true;
    }
    bool getTarget(DoubleVector& out_vTarget) override
    {
        const double* pEnd = m_vValues.data() + m_uiEnd;
        out_vTarget.assign(pEnd - NB_TARGETS, pEnd);
        return true;
    }
    std::ostream& dumpStatus(std::ostream& out_stream) override { return out_stream; }

private:
    const std::vector<double>& m_vValues;
    std::size_t m_uiEnd = 0; ///< of the current pattern
};

std::vector<double> readValues(const char* in_file)
{
    std::ifstream file(in_file, std::ios::binary | std::ios::ate);
    std::vector<double> vValues;
    if (file && file.tellg() > 0)
        vValues.resize(static_cast<std::size_t>(file.tellg()) / sizeof(double) / NB_VALUES * NB_VALUES);
    file.seekg(0);
    file.read(reinterpret_cast<char*>(vValues.data()),
              static_cast<std::streamsize>(vValues.size() * sizeof(double)));
    if (!file)
        vValues.clear();
    return vValues;
}

/// Inputs and targets to mean 0 and deviation 1, which needs both passes.
VectorScalingTrainer::Config makeConfig()
{
    VectorScalingTrainer::Config config;
    config.m_vTrainingParam.resize(NB_VALUES);
    for (auto& param : config.m_vTrainingParam)
        param.m_bStandardize = true;
    return config;
}

bool bench(const char* in_name, DataGenerator& io_generator, std::size_t in_uiPatterns)
{
    VectorScalingTrainer trainer;
    trainer.configure(makeConfig());
    VectorScaler::Config scaling;
    bool bDone = true;
    const auto times = Bench::measure(
        Bench::getRunCount(),
        [&]
        {
            scaling = VectorScaler::Config();
            bDone = trainer.computeScalingParam(io_generator, scaling) && bDone;
        },
        Bench::wallSeconds);
    if (!bDone)
        return false;
    Bench::reportNanoseconds(in_name, static_cast<double>(in_uiPatterns), times);
    double dSum = 0.0;
    for (const double dSlope : scaling.m_vInputSlope)
        dSum += dSlope;
    Bench::reportValue("    sum of the slopes of the inputs", dSum);
    return true;
}

} // namespace

int main(int in_iArguments, char** in_arguments)
{
    const LoggingSession session;
    Logger::setLevel("", LogLevel::OFF);
    const std::vector<double> vValues = readValues(in_iArguments == 2 ? in_arguments[1] : "");
    const std::size_t uiPatterns = vValues.size() / NB_VALUES;
    if (uiPatterns == 0)
        return 2;
    const CountedObjPtr<DataGenerator> pBlock(new BlockGenerator(vValues));
    InMemoryDataGenerator cache;
    cache.setDataGenerator(pBlock);
    return bench("learn a scaling, both passes, from a block", *pBlock, uiPatterns) &&
                   bench("learn a scaling, both passes, from the cache", cache, uiPatterns)
               ? 0
               : 1;
}
