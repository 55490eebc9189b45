#pragma once

#include "MLAudioClassStatistics.h"
#include "inspect/InputStatistics.h"
#include "inspect/RecordingSurvey.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Vexalor::MachineLearning
{

/// What was found in patterns of one size.
class PatternStatistics
{
public:
    explicit PatternStatistics(std::size_t in_uiInputs = 0)
        : m_uiInputs(in_uiInputs)
        , m_inputs(in_uiInputs)
    {
    }

    /// False, with nothing changed, for a pattern of another size. Null: it has no target.
    bool add(const DoubleVector& in_vInput, const DoubleVector* in_pTarget);
    /// The patterns of in_next follow those of this one. False, with nothing changed, for others.
    bool append(const PatternStatistics& in_next);

    std::size_t getNbInputs() const { return m_uiInputs; }
    /// 0: none of them has a target.
    std::size_t getNbTargets() const { return m_vClassPatterns.size(); }
    std::uint64_t getNbPatterns() const { return m_uiPatterns; }
    std::uint64_t getNbWithoutClass() const { return m_uiWithoutClass; }
    /// Of several classes at once.
    std::uint64_t getNbSeveralClasses() const { return m_uiSeveralClasses; }
    const std::vector<std::uint64_t>& getClassPatterns() const { return m_vClassPatterns; }
    /// Targets have components of -1, 0 and 1 only.
    bool areClasses() const { return m_bClasses && getNbTargets() != 0; }
    const InputStatistics& getInputs() const { return m_inputs; }
    InputStatistics takeInputs() { return std::move(m_inputs); }

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_uiInputs, io_self.m_uiPatterns, io_self.m_uiWithoutClass,
                 io_self.m_uiSeveralClasses, io_self.m_bClasses, io_self.m_vClassPatterns, io_self.m_inputs);
        if constexpr (!std::is_const_v<Self>)
            if (io_self.m_inputs.getColumns().size() != io_self.m_uiInputs ||
                io_self.m_inputs.getNbClasses() != io_self.getNbTargets())
                io_bytes.fail();
    }

private:
    const std::vector<std::size_t>* findClasses(const DoubleVector* in_pTarget);

    std::size_t m_uiInputs;
    std::uint64_t m_uiPatterns = 0;
    std::uint64_t m_uiWithoutClass = 0;
    std::uint64_t m_uiSeveralClasses = 0;
    bool m_bClasses = true;
    std::vector<std::uint64_t> m_vClassPatterns; ///< a component of the target each
    InputStatistics m_inputs;
    std::vector<std::size_t> m_vClasses; ///< of the last pattern
};

/// What was found in a stream of patterns, or in a part of one. Parts that follow each other add up to what
/// is found in the whole, to the bit, however it is divided between recordings.
struct InspectedPart
{
    RecordingSurvey m_survey;
    AudioClassStatistics m_statistics;
    std::uint64_t m_uiPatterns = 0;
    std::uint64_t m_uiWithoutTarget = 0;
    std::optional<std::uint64_t> m_sequences; ///< none where the generator does not know of any
    /// Patterns of the size of the first one; then, of a part only, those of other sizes, in the order in
    /// which they come.
    std::vector<PatternStatistics> m_vSizes;
    std::set<std::string> m_delivered; ///< recordings with a pattern
    StringVector m_vUnchanging;        ///< recordings whose every pattern has the same input
    StringVector m_vStops;             ///< why the stream stopped before its end
    bool m_bReached = false;           ///< the stream went to a recording or file

    /// Sizes of patterns that are told apart; patterns of others are misfits of any size.
    static constexpr std::size_t MAX_SIZES = 8;

    /// A pattern, of which a first size and, of a part, further ones are looked at. Null: it has no target.
    void add(const DoubleVector& in_vInput, const DoubleVector* in_pTarget, std::size_t in_uiMaxSizes);
    /// What in_next found follows.
    void append(const InspectedPart& in_next);

    /// Patterns of the size of the first one.
    const PatternStatistics& getPatterns() const;
    /// Patterns of other sizes than the first one.
    std::uint64_t getNbMisfits() const { return m_uiPatterns - getPatterns().getNbPatterns(); }

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_survey, io_self.m_statistics, io_self.m_uiPatterns, io_self.m_uiWithoutTarget,
                 io_self.m_sequences, io_self.m_vSizes, io_self.m_delivered, io_self.m_vUnchanging,
                 io_self.m_vStops, io_self.m_bReached);
        if constexpr (!std::is_const_v<Self>)
            if (io_self.getPatterns().getNbPatterns() > io_self.m_uiPatterns ||
                io_self.m_uiWithoutTarget > io_self.m_uiPatterns || !io_self.hasPossibleTimes())
                io_bytes.fail();
    }

private:
    bool hasPossibleTimes() const;
};

} // namespace Vexalor::MachineLearning
