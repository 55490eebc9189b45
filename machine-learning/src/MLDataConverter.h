#pragma once

#include "MLDataGenerator.h"
#include "quillcast-core/LimitedObjPtr.h"

#include <cstdint>
#include <functional>

namespace Vexalor::MachineLearning
{

/// Copies every pattern of a generator to a writer, and with it where the sequences begin.
///
/// Call order: (setInputDataGenerator | setDataWriter)* convert*. Both ends belong to others and outlive the
/// conversion. Who owns the writer closes it, which alone tells whether everything was stored.
class DataConverter
{
public:
    /// What a generator resets in place of a consumer's entity: remembers that a sequence begins.
    class MyResettable final : public virtual Resettable
    {
    public:
        bool reset() override
        {
            m_bPending = true;
            return true;
        }
        bool isPending() const { return m_bPending; }
        void clear() { m_bPending = false; }

        /// Becomes the entity to reset of a generator that forms sequences. False if that one refuses it.
        static bool handTo(DataGenerator& io_generator, const CountedObjPtr<MyResettable>& in_resettable);

    private:
        bool m_bPending = false;
    };

    /// Is told the number of patterns converted so far; false ends the conversion.
    using Watch = std::function<bool(std::uint64_t)>;

    DataConverter();

    /// Always true.
    bool setInputDataGenerator(DataGenerator& io_generator);
    bool setDataWriter(DataWriter& io_writer);
    /// Watches the next conversion and is destroyed at its end.
    void setWatch(Watch in_watch) { m_watch = std::move(in_watch); }

    /// One pass of the generator. False, with the reason logged at error level and what was written before
    /// left as it is, when an end is missing, the pass cannot start, or a pattern cannot be read or written.
    /// True also for a stream that stopped before its end: the generator's endedCleanly tells.
    bool convert();

    /// Patterns of the last conversion.
    std::uint64_t getNbConverted() const { return m_uiNbConverted; }

private:
    bool start();
    bool convertPatterns(const Watch& in_watch);
    bool convertPattern();

    LimitedObjPtr<DataGenerator> m_pInputDataGen;
    LimitedObjPtr<DataWriter> m_pOutputDataWriter;
    Watch m_watch;
    std::uint64_t m_uiNbConverted = 0;
    DoubleVector m_vInput;
    DoubleVector m_vTarget;
    CountedObjPtr<MyResettable> m_pResettable;
};

} // namespace Vexalor::MachineLearning
