// The limit of PullBench: patterns copied from memory into two vectors without any call, and scaled behind an
// interface of the same form. usage: PullLimit

#include "bench/limits/ByHand.h"

using namespace Vexalor;

namespace
{

constexpr std::size_t NB_PATTERNS = 10000;
constexpr std::size_t NB_INPUTS = 40;
constexpr std::size_t NB_TARGETS = 3;
constexpr std::size_t NB_VALUES = NB_INPUTS + NB_TARGETS;
constexpr int NB_PASSES = 50;

using Values = std::vector<double>;

class MemorySource final : public Bench::PulledSource
{
public:
    explicit MemorySource(const Values& in_vValues)
        : m_pValues(in_vValues.data())
    {
    }
    bool gotoStart() override
    {
        m_uiAt = 0;
        return true;
    }
    bool generateNext() override { return m_uiAt < NB_PATTERNS && ++m_uiAt > 0; }
    bool getInput(Values& out_vInput) override
    {
        const double* p = m_pValues + (m_uiAt - 1) * NB_VALUES;
        out_vInput.assign(p, p + NB_INPUTS);
        return true;
    }
    bool getTarget(Values& out_vTarget) override
    {
        const double* p = m_pValues + (m_uiAt - 1) * NB_VALUES + NB_INPUTS;
        out_vTarget.assign(p, p + NB_TARGETS);
        return true;
    }
    bool endedCleanly() const override { return true; }

private:
    const double* m_pValues;
    std::size_t m_uiAt = 0;
};

class ScaledSource final : public Bench::PulledSource
{
public:
    explicit ScaledSource(Bench::PulledSource& io_source)
        : m_source(io_source)
    {
    }
    bool gotoStart() override { return m_source.gotoStart(); }
    bool generateNext() override { return m_source.generateNext(); }
    bool getInput(Values& out_vInput) override { return m_source.getInput(out_vInput) && scale(out_vInput); }
    bool getTarget(Values& out_vTarget) override
    {
        return m_source.getTarget(out_vTarget) && scale(out_vTarget);
    }
    bool endedCleanly() const override { return true; }

private:
    bool scale(Values& io_vValues) const
    {
        const std::size_t uiSize = io_vValues.size();
        for (std::size_t i = 0; i < uiSize; ++i)
            io_vValues[i] = m_vSlope[i] * io_vValues[i] + m_vIntercept[i];
        return true;
    }

    Bench::PulledSource& m_source;
    Values m_vSlope = Values(NB_INPUTS, 1.5);
    Values m_vIntercept = Values(NB_INPUTS, 0.25);
};

double copyAll(const Values& in_vValues)
{
    Values vInput(NB_INPUTS);
    Values vTarget(NB_TARGETS);
    double dSum = 0.0;
    for (std::size_t uiAt = 0; uiAt < in_vValues.size(); uiAt += NB_VALUES)
    {
        std::memcpy(vInput.data(), &in_vValues[uiAt], 8 * NB_INPUTS);
        std::memcpy(vTarget.data(), &in_vValues[uiAt + NB_INPUTS], 8 * NB_TARGETS);
        dSum += vInput[0] + vTarget[0];
        Bench::keep(vInput[0]);
    }
    return dSum;
}

double pullAll(Bench::PulledSource& io_source)
{
    Values vInput;
    Values vTarget;
    double dSum = 0.0;
    io_source.gotoStart();
    while (io_source.generateNext())
    {
        io_source.getInput(vInput);
        io_source.getTarget(vTarget);
        dSum += vInput[0] + vTarget[0];
    }
    return dSum;
}

template <class Function>
void report(const char* in_name, Function in_function)
{
    double dSum = 0.0;
    const auto allPasses = [&]
    {
        for (int iPass = 0; iPass < NB_PASSES; ++iPass)
            dSum += in_function();
    };
    Bench::reportNanoseconds(in_name, double(NB_PATTERNS) * NB_PASSES,
                             Bench::measure(Bench::getRunCount(), allPasses, Bench::wallSeconds));
    Bench::keep(dSum);
}

} // namespace

int main()
{
    const Values vValues(NB_PATTERNS * NB_VALUES, 0.5);
    MemorySource memory(vValues);
    ScaledSource scaled(memory);
    Bench::PulledSource* sources[] = {&memory, &scaled};
    Bench::keep(sources);
    report("copied to two vectors, no calls", [&] { return copyAll(vValues); });
    report("pulled", [&] { return pullAll(*sources[0]); });
    report("pulled and scaled", [&] { return pullAll(*sources[1]); });
    return 0;
}
