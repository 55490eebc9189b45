#pragma once

#include "quillcast-core/Handle.h"
#include "quillcast-core/Object.h"
#include "quillcast-math/DoubleVector.h"

#include <cstddef>
#include <memory>
#include <utility>

namespace Vexalor::MachineLearning
{

class DataGenerator;

/// An entity to reset that only notes that a sequence begins.
class SequenceMark final : public virtual Resettable
{
public:
    bool reset() override
    {
        m_bSet = true;
        return true;
    }
    /// Whether it was reset since the last call.
    bool take() { return std::exchange(m_bSet, false); }

private:
    bool m_bSet = false;
};

/// Patterns of a generator, copied out of it many at a time: a matrix of inputs and one of targets, a row a
/// pattern, and for each pattern whether it has a target and whether it is the first of a sequence.
///
/// Call order: attachTo (startPass (DataGenerator::generateBatch (take | clear)?)*)*, for one generator,
/// startPass after every gotoStart. Whoever keeps a state between patterns resets it before each that is
/// the first of a sequence: an entity to reset of the generator would be reset ahead of the patterns that
/// were read before.
///
/// All inputs have the size of the first one, all targets that of the first target. A batch takes memory for
/// the patterns it is full with, as far as that is moderate, and for more of them as they come.
class PatternBatch
{
public:
    /// Row after row. Memory of rows that hold no pattern is not initialised.
    struct Rows
    {
        std::unique_ptr<double[]> m_pInputs;
        std::unique_ptr<double[]> m_pTargets; ///< nan in the row of a pattern without target
        std::unique_ptr<bool[]> m_pValid;     ///< has a target
        std::unique_ptr<bool[]> m_pFirst;     ///< of a sequence
    };

    /// Full with so many patterns.
    explicit PatternBatch(std::size_t in_uiCapacity);
    PatternBatch(const PatternBatch&) = delete;
    PatternBatch& operator=(const PatternBatch&) = delete;

    /// Becomes the entity to reset of the generator, which so tells where sequences begin. False when it
    /// refused that; true for one that knows no sequences.
    bool attachTo(DataGenerator& io_generator) const;
    /// What becomes that entity; never null. For who pulls patterns of the same generator one by one as well.
    const CountedObjPtr<SequenceMark>& getMark() const { return m_pMark; }
    /// Forgets patterns and failures; the next pattern is the first of a sequence.
    void startPass();
    /// Full with so many patterns from now on.
    void setCapacity(std::size_t in_uiCapacity) { m_uiCapacity = m_uiPause = in_uiCapacity; }
    /// Counts as full with so many of them, for who has something else to do in between.
    void pauseAt(std::size_t in_uiSize) { m_uiPause = in_uiSize; }

    std::size_t size() const { return m_uiSize; }
    bool isFull() const { return m_uiSize >= m_uiPause; }
    /// True once a pattern could not be added, because of its size or since its generator failed to deliver
    /// it; the reason was logged, and the pattern is in no batch.
    bool hasFailed() const { return m_bFailed; }
    /// 0 before the first pattern.
    std::size_t getInputSize() const { return m_uiInputSize; }
    /// 0 before the first target.
    std::size_t getTargetSize() const { return m_uiTargetSize; }
    const Rows& getRows() const { return m_rows; }

    /// Forgets the patterns; keeps the sizes and the memory.
    void clear() { m_uiSize = 0; }
    /// Hands the rows over, which go on in new memory.
    Rows take();

    /// For generators: a row for a further pattern, whose values are written there at once; in_uiTargetSize 0
    /// is that of a pattern without target. Takes the mark of a new sequence. False, with the reason logged
    /// at error level, for a pattern of other sizes than the earlier ones.
    bool add(std::size_t in_uiInputSize, std::size_t in_uiTargetSize, double*& out_pInput,
             double*& out_pTarget)
    {
        const bool bUsual = in_uiInputSize == m_uiInputSize && in_uiTargetSize == m_uiTargetSize &&
                            in_uiTargetSize != 0 && m_uiSize < m_uiReserved;
        if (!bUsual && !prepare(in_uiInputSize, in_uiTargetSize))
            return false;
        out_pInput = m_rows.m_pInputs.get() + m_uiSize * m_uiInputSize;
        out_pTarget = m_rows.m_pTargets.get() + m_uiSize * m_uiTargetSize;
        m_rows.m_pValid[m_uiSize] = in_uiTargetSize != 0;
        m_rows.m_pFirst[m_uiSize] = m_pMark->take();
        ++m_uiSize;
        return true;
    }
    /// For generators: the current pattern of one.
    bool addFrom(DataGenerator& io_generator);

private:
    bool prepare(std::size_t in_uiInputSize, std::size_t in_uiTargetSize);
    bool refuse(const char* in_what, std::size_t in_uiSize, std::size_t in_uiExpected);
    void reserve();
    void addTargetColumns(std::size_t in_uiTargetSize);

    std::size_t m_uiCapacity;
    std::size_t m_uiPause;
    std::size_t m_uiSize = 0;
    std::size_t m_uiReserved = 0; ///< rows that there is memory for
    std::size_t m_uiInputSize = 0;
    std::size_t m_uiTargetSize = 0;
    bool m_bSized = false; ///< the size of inputs is known
    bool m_bFailed = false;
    Rows m_rows;
    CountedObjPtr<SequenceMark> m_pMark;
    DoubleVector m_vInput;
    DoubleVector m_vTarget;
};

} // namespace Vexalor::MachineLearning
