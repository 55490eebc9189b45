#pragma once

#include "MLDataGeneratorWithConfig.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// Keeps in memory what passes through it: the first complete pass streams the patterns of another generator,
/// the following ones replay them, and the other generator is let go.
///
/// Call order: setDataGenerator setEntityToReset?, then as of any generator; the first pass must be complete
/// before it is rewound, or the next pattern fails and endedCleanly is false. A pass that stops without the
/// generator being at its end empties the memory: the next one streams again. At most 2^31 - 1 patterns.
///
/// The entity to reset is reset when the wrapped generator asks for it; a replay does so in generateNext,
/// before the patterns that were marked that way, and never in gotoStart. Set it before the first pass.
class InMemoryDataGenerator
    : public virtual DataGeneratorWithConfig
    , public virtual FileDataGenerator
    , public virtual MultiPassDataGenerator
{
public:
    /// What the wrapped generator resets in place of the consumer's entity: notes the request with the
    /// pattern that comes next and passes it on.
    class MiddlemanToReset final : public virtual Resettable
    {
    public:
        explicit MiddlemanToReset(InMemoryDataGenerator& io_dataGenParent);
        /// False when the entity's reset failed.
        bool reset() override;
        /// The parent is gone: from now on there is nothing to reset.
        void detach() { m_pDataGenParent = nullptr; }

    private:
        InMemoryDataGenerator* m_pDataGenParent;
    };

    InMemoryDataGenerator();
    /// Copies share the wrapped generator and the entity, and have a middleman of their own.
    InMemoryDataGenerator(const InMemoryDataGenerator& in_other);
    InMemoryDataGenerator& operator=(const InMemoryDataGenerator& in_other);
    ~InMemoryDataGenerator() override;

    /// Takes a share of the generator.
    void setDataGenerator(const CountedObjPtr<DataGenerator>& in_generator);

    /// Handed on; false also, with the reason logged, when the wrapped generator takes no configuration or
    /// has been let go.
    bool configure(const DataGeneratorWithConfig::Config& in_config) override;
    /// Handed on, before the first pass; false also, with the reason logged, when the wrapped generator reads
    /// no file or has been let go.
    bool setCurrentFilename(const char* in_filename) override;
    /// "" when the wrapped generator reads no file or has been let go.
    const char* getCurrentFilename() const override;
    /// Handed on; what the first pass has brought so far is forgotten with it.
    void releaseFile() override;

    bool gotoStart() override;
    bool generateNext() override;
    bool atEnd() const override;
    bool getInput(DoubleVector& out_vInput) override;
    bool getTarget(DoubleVector& out_vTarget) override;
    bool generateBatch(PatternBatch& io_batch) override;
    /// That of the wrapped generator, also when it has been let go.
    Fallible<const char*> getLibName() override;
    /// As the wrapped generator writes it, then the number of the pattern.
    std::ostream& dumpStatus(std::ostream& out_stream) override;
    /// False also in replays of a stream that stopped before its end.
    bool endedCleanly() const override;
    Fallible<double> getShareRead() const override;

    /// Null is handed on. When all data is in memory only the entity that is set already is accepted; false,
    /// with a warning, for any other: the places where an entity is to be reset are known only if there was
    /// one in the first pass.
    bool setEntityToReset(Handle<Resettable, ReferenceCount> in_entity) override;

protected:
    /// That of the wrapped generator; an empty one when there is none.
    DataGeneratorWithConfig::Config& getConcreteConfig_i() const override;

private:
    /// Of one pattern: its input and after it its target.
    struct InputTarget
    {
        const double* m_pValues = nullptr;
        std::size_t m_uiInputSize = 0;
        std::size_t m_uiTargetSize = 0; ///< 0: no target
        bool m_bReset = false;          ///< the entity is reset before this pattern

        std::size_t getSize() const { return m_uiInputSize + m_uiTargetSize; }
        const double* getTarget() const { return m_pValues + m_uiInputSize; }
    };

    /// The values of patterns one after the other, in blocks that stay where they are.
    class Values
    {
    public:
        /// Room for so many values after those that were taken before.
        double* take(std::size_t in_uiSize);

    private:
        std::vector<std::unique_ptr<double[]>> m_vBlocks;
        double* m_pNext = nullptr;
        std::size_t m_uiLeft = 0; ///< in the last block
        std::size_t m_uiBlockSize = 0;
    };

    std::int64_t getNbEntries() const { return static_cast<std::int64_t>(m_vInputTarget.size()); }
    void currentIndexAtStart() { m_iCurrentIndex = -1; }
    bool currentIndexValid() const { return m_iCurrentIndex >= 0 && m_iCurrentIndex < getNbEntries(); }
    const InputTarget& currentEntry() const
    {
        return m_vInputTarget[static_cast<std::size_t>(m_iCurrentIndex)];
    }
    bool isAfterLast() const { return m_iCurrentIndex >= 0 && m_iCurrentIndex >= getNbEntries(); }
    bool replayNext();
    bool streamNext();
    bool doResetIfNeeded();
    bool addEntry();
    bool fillEntry();
    void keepValues(InputTarget& io_entry, const double* in_pInput, const double* in_pTarget);
    void dropEntry();
    void forgetEntries();
    void finishPass();
    bool noteReset();
    bool handMiddlemanOn();

    CountedObjPtr<DataGenerator> m_pDataGenerator; ///< null once all data is in memory
    std::vector<InputTarget> m_vInputTarget;
    Values m_values;       ///< of the entries
    DoubleVector m_vInput; ///< of the pattern that comes in
    DoubleVector m_vTarget;
    std::int32_t m_iCurrentIndex = -1;
    Handle<Resettable, ReferenceCount> m_hEntityToReset;
    bool m_bAllInMemory = false;
    bool m_bEntryWaits = false; ///< the middleman has appended the entry of the next pattern
    bool m_bClean = true;       ///< as far as what is in memory goes
    bool m_bRewound = false;    ///< the pass began before the first one was complete, and misses patterns
    CountedObjPtr<MiddlemanToReset> m_hMiddleman;
    Fallible<std::string> m_strLibName; ///< of a generator that has been let go
    mutable DataGeneratorWithConfig::Config m_noConfig;
};

} // namespace Vexalor::MachineLearning
