#pragma once

#include "MLDataGenerator.h"
#include "MLErrorFunction.h"
#include "quillcast-core/Handle.h"
#include "quillcast-core/Object.h"

#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

namespace Vexalor
{
class ByteReader;
class ByteWriter;
} // namespace Vexalor

namespace Vexalor::MachineLearning
{

/// Runs a trained entity over a pattern stream, feeds outputs and targets to a statistics object and logs
/// what it sees.
class MLTester
{
public:
    /// Anything that maps an input vector to an output vector, such as a trained neural network.
    class TestedEntity : public virtual Object
    {
    public:
        /// Computes the output for the N elements in [in_begin, in_end); replaces out_vOutput. False on
        /// failure, such as an input of a size that the entity does not take.
        virtual bool compute(const double* in_begin, const double* in_end,
                             DoubleVector& out_vOutput) const = 0;
        /// Called once before a test, to adapt to the generator. The sizes of patterns are not known here.
        virtual bool configure(const DataGenerator&) { return true; }
    };

    /// Accumulates error functions over all patterns that carry a target. Call order:
    /// addErrorFunction* (update* write reset)*.
    ///
    /// Statistics of parts of a test that keep their errors merge to those of the whole, the sums to the bit:
    /// merge adds the errors of the patterns one after the other, as update does.
    class TesterStats
        : public virtual Object
        , public virtual OutputStreamable
    {
    public:
        /// Appends a function; refused by assertion when it is null or when data was processed already.
        void addErrorFunction(CountedObjPtr<ErrorFunction> in_pErrorFunc);
        /// Adds the errors of one pattern. The output comes first here, the target first in an error
        /// function. True even after a failed assertion.
        virtual bool update(const DoubleVector& in_vOutput, const DoubleVector& in_vTarget);
        /// Counts an output, of a pattern with or without a target.
        void noteOutput(const DoubleVector& in_vOutput);
        /// Back to no data, keeping the functions.
        virtual void reset();

        /// Whether the error of each pattern is kept as well, 8 bytes for each function. To be kept, only
        /// before any data: refused by assertion otherwise. Those that are not to be kept any more go at
        /// once.
        void keepErrors(bool in_bKeep);
        /// Adds the patterns that follow these ones; where their errors are not kept, the sums of them.
        /// False, with the reason logged and nothing changed, for statistics of another kind or of other
        /// functions.
        virtual bool merge(const TesterStats& in_next);
        /// Everything: counters, names of the functions, sums, and errors that are kept.
        virtual void save(ByteWriter& io_bytes) const;
        /// What save wrote, in place of what there is. Functions that are not these already are made by their
        /// names. False, with the reason logged and the statistics in no particular state, for other bytes.
        virtual bool load(ByteReader& io_bytes);

        /// Patterns with a target processed so far.
        std::uint64_t getNumData() const { return m_uiNumData; }
        /// Those of them whose output and target differ in size: no error function makes sense of them.
        std::uint64_t getNumMisfits() const { return m_uiNumMisfits; }
        /// Outputs noted so far.
        std::uint64_t getNumOutputs() const { return m_uiNumOutputs; }
        /// Those of them that hold a nan.
        std::uint64_t getNumNanOutputs() const { return m_uiNumNanOutputs; }
        /// Sum of the values of the in_uiIndex-th function; the index is not checked.
        double getCumulError(std::size_t in_uiIndex) const { return m_vCumulError[in_uiIndex]; }
        /// Misclassified patterns; 0 for statistics that do not classify.
        virtual std::uint64_t getNumError() const { return 0; }

        /// The report; doc/formats.md gives its lines. Restores the stream's formatting.
        std::ostream& write(std::ostream& out_stream) const override;

    private:
        template <class Self, class Bytes>
        static void exchangeNumbers(Self& io_self, Bytes& io_bytes)
        {
            io_bytes(io_self.m_uiNumData, io_self.m_uiNumMisfits, io_self.m_uiNumOutputs,
                     io_self.m_uiNumNanOutputs, io_self.m_vCumulError, io_self.m_bErrorsKept,
                     io_self.m_vErrors);
        }
        bool takeFunctions(const std::vector<std::string>& in_vNames);
        bool isConsistent() const;

        std::uint64_t m_uiNumData = 0;
        std::uint64_t m_uiNumMisfits = 0;
        std::uint64_t m_uiNumOutputs = 0;
        std::uint64_t m_uiNumNanOutputs = 0;
        std::vector<CountedObjPtr<ErrorFunction>> m_vErrorFunction;
        std::vector<double> m_vCumulError;
        bool m_bErrorsKept = false;
        std::vector<std::vector<double>> m_vErrors; ///< of each function, in the order of the patterns
    };

    /// Adds a classification error with counts per class.
    class ClassifierTesterStats : public TesterStats
    {
    public:
        /// False when the pattern is misclassified.
        bool update(const DoubleVector& in_vOutput, const DoubleVector& in_vTarget) override;
        void reset() override;
        bool merge(const TesterStats& in_next) override;
        void save(ByteWriter& io_bytes) const override;
        bool load(ByteReader& io_bytes) override;
        std::uint64_t getNumError() const override { return m_classificationError.getNumError(); }
        std::ostream& write(std::ostream& out_stream) const override;

    private:
        ClassificationError m_classificationError;
    };

    /// Told of every pattern of a test while it is current in the generator.
    class PatternObserver : public virtual Object
    {
    public:
        /// in_pTarget is null for a pattern without target. The vectors live for the call. False, with the
        /// reason logged, ends the test, which fails.
        virtual bool observe(const DoubleVector& in_vOutput, const DoubleVector* in_pTarget) = 0;
    };

    /// Pulls one pass of patterns from its start, computes the output of each and updates io_stats with those
    /// that have a target. The statistics are not reset. With in_bPrintError each misclassified pattern is
    /// logged at info level. False when the generator cannot go to its start, or when an input or an output
    /// fails; a stream that stops before its end is warned about, and DataGenerator::endedCleanly tells. So
    /// are outputs that hold a nan, which the statistics count. The observer, if any, is told of each pattern
    /// before its target counts.
    bool test(const TestedEntity& in_tested, DataGenerator& in_dataGen, TesterStats& io_stats,
              bool in_bPrintError, PatternObserver* io_pObserver = nullptr) const;
};

} // namespace Vexalor::MachineLearning
