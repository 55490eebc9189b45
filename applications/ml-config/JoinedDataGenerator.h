#pragma once

#include "MLDataGenerator.h"
#include "common/PatternProgress.h"

#include <vector>

namespace Vexalor::MachineLearning
{

/// The patterns of several generators, one generator after the other, as one stream. Stops at one that cannot
/// start or does not end cleanly. Shows on a terminal how many patterns were read, in all passes.
class JoinedDataGenerator final : public virtual DataGenerator
{
public:
    void add(const CountedObjPtr<DataGenerator>& in_generator) { m_vGenerators.push_back(in_generator); }

    bool gotoStart() override;
    bool generateNext() override;
    bool atEnd() const override { return m_uiCurrent == m_vGenerators.size(); }
    bool getInput(DoubleVector& out_vInput) override;
    bool getTarget(DoubleVector& out_vTarget) override;
    std::ostream& dumpStatus(std::ostream& out_stream) override;
    /// False from the first pass on that did not.
    bool endedCleanly() const override { return m_bClean; }

private:
    std::vector<CountedObjPtr<DataGenerator>> m_vGenerators;
    std::size_t m_uiCurrent = 0;
    bool m_bClean = true;
    std::uint64_t m_uiRead = 0;
    PatternProgress m_progress{"ml-config"};
};

} // namespace Vexalor::MachineLearning
