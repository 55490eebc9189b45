#pragma once

#include "MLDataConverter.h"

#include <cstdint>

namespace Vexalor::MachineLearning
{

/// Holds one stream of patterns, the tested one, against another, the reference. Both generators belong to
/// others and outlive the comparison, which makes one pass of each. Every failure and the first difference
/// are logged at error level.
class DataComparer
{
public:
    DataComparer(DataGenerator& io_reference, DataGenerator& io_tested);

    /// Is told the number of patterns compared so far; false ends the comparison, which has then failed.
    void setWatch(DataConverter::Watch in_watch) { m_watch = std::move(in_watch); }

    /// Compares inputs, targets and marks of sequences until one of the streams ends; the lengths do not
    /// count. Values are equal as DoubleVector says. gotoStart marks the first pattern of a stream that forms
    /// sequences. False also when a stream stopped before its end.
    bool compare();

    /// Compares both streams to their ends: lengths as well, values to the bit, and the first pattern is
    /// marked only if its source marks it. Logs a digest of each stream at info level, whatever the verdict
    /// (doc/formats.md, "Digests").
    bool compareStrictly();

private:
    /// What was read of a stream, in numbers that do not depend on the machine.
    struct Digest
    {
        std::uint64_t m_uiInputs = 0;
        std::uint64_t m_uiTargets = 0;
        std::uint64_t m_uiValidities = 0;
        std::uint64_t m_uiResets = 0;
    };

    struct Stream
    {
        explicit Stream(DataGenerator& io_generator);
        bool start();
        /// Makes the next pattern current and reads it.
        bool next();
        void digest();

        DataGenerator& m_generator;
        CountedObjPtr<DataConverter::MyResettable> m_pResettable;
        std::uint64_t m_uiPatterns = 0;
        DoubleVector m_vInput;
        DoubleVector m_vTarget;
        bool m_bReset = false;
        bool m_bInput = false;
        bool m_bTarget = false;
        Digest m_digest;
    };

    using Equal = bool (*)(const DoubleVector&, const DoubleVector&);

    bool start();
    bool watch();
    bool compareToTheEnds();
    bool isPatternEqual(Equal in_equal) const;
    bool areVectorsEqual(const char* in_what, Equal in_equal, const DoubleVector& in_vReference,
                         const DoubleVector& in_vTested) const;
    bool endedCleanly() const;
    static void logDigest(const char* in_what, const Stream& in_stream);

    Stream m_reference;
    Stream m_tested;
    DataConverter::Watch m_watch;
    std::uint64_t m_uiPattern = 0; ///< compared so far
};

} // namespace Vexalor::MachineLearning
