#pragma once

#include "MLDataGenerator.h"
#include "MLPatternBatch.h"

#include <cstdint>

/// Generators around generators that the module needs.
namespace Vexalor::Python
{

using MachineLearning::DataGenerator;

/// Hands everything on to another generator, and knows where its sequences begin.
class ForwardingGenerator
    : public virtual DataGenerator
    , public virtual MachineLearning::SequenceDataGenerator
{
public:
    /// The mark is the entity to reset of the generator already; without one, one of its own is from now on.
    explicit ForwardingGenerator(const CountedObjPtr<DataGenerator>& in_pGenerator,
                                 const CountedObjPtr<MachineLearning::SequenceMark>& in_pMark = {});

    bool gotoStart() override;
    bool atEnd() const override { return m_pGenerator->atEnd(); }
    bool getInput(DoubleVector& out_vInput) override { return m_pGenerator->getInput(out_vInput); }
    bool getTarget(DoubleVector& out_vTarget) override { return m_pGenerator->getTarget(out_vTarget); }
    Fallible<const char*> getLibName() override { return m_pGenerator->getLibName(); }
    std::ostream& dumpStatus(std::ostream& out_stream) override
    {
        return m_pGenerator->dumpStatus(out_stream);
    }
    bool endedCleanly() const override { return m_pGenerator->endedCleanly(); }
    Fallible<double> getShareRead() const override { return m_pGenerator->getShareRead(); }
    bool setEntityToReset(Handle<Resettable, ReferenceCount> in_entity) override;

protected:
    /// The next pattern of the generator, whatever begins before it noted.
    bool pullNext() { return m_pGenerator->generateNext(); }
    /// Whether a sequence has begun since the last call.
    bool takeMark() { return m_pMark->take(); }
    bool resetEntity() { return m_pEntity.isNull() || m_pEntity->reset(); }

private:
    CountedObjPtr<DataGenerator> m_pGenerator;
    CountedObjPtr<MachineLearning::SequenceMark> m_pMark;
    Handle<Resettable, ReferenceCount> m_pEntity;
};

/// Lets signals through while the library pulls a whole pass.
class InterruptibleGenerator final : public ForwardingGenerator
{
public:
    using ForwardingGenerator::ForwardingGenerator;

    /// Throws what a handler of a signal has raised.
    bool generateNext() override;

private:
    std::uint64_t m_uiPulled = 0;
};

/// Every n-th of the sequences of another generator, or of its patterns, each of which is then a sequence.
class ShareGenerator final : public ForwardingGenerator
{
public:
    ShareGenerator(const CountedObjPtr<DataGenerator>& in_pGenerator, std::uint64_t in_uiShare,
                   std::uint64_t in_uiShares, bool in_bByPattern)
        : ForwardingGenerator(in_pGenerator)
        , m_uiShare(in_uiShare)
        , m_uiShares(in_uiShares)
        , m_bByPattern(in_bByPattern)
    {
    }

    bool gotoStart() override;
    bool generateNext() override;

private:
    std::uint64_t m_uiShare;
    std::uint64_t m_uiShares;
    bool m_bByPattern;
    std::uint64_t m_uiUnit = 0; ///< of the current pattern
    bool m_bBegun = false;      ///< there was a pattern
};

} // namespace Vexalor::Python
