#pragma once

#include "MLAudioClassStatistics.h"
#include "inspect/RecordingSurvey.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

namespace Vexalor::MachineLearning
{

/// What is known of the data that a network is, or shall be, trained on.
struct DataFacts
{
    RecordingSurvey m_survey;
    /// In target order; none where targets are no classes. Of recordings also the events.
    std::vector<AudioClassStatistics::Row> m_vClasses;
    /// Those of the configuration, of which a set of tones leaves out what no recording annotates.
    StringVector m_vConfiguredClasses;
    std::uint64_t m_uiPatterns = 0;
    std::uint64_t m_uiWithoutTarget = 0;
    std::uint64_t m_uiSeveralClasses = 0; ///< patterns of several classes at once
    std::uint64_t m_uiMisfits = 0;        ///< patterns of other sizes than the first one
    std::size_t m_uiInputs = 0;           ///< of a pattern
    std::vector<std::size_t> m_vConstantInputs;
    std::vector<std::size_t> m_vNotFiniteInputs;
    std::vector<std::vector<std::size_t>> m_vEqualInputs; ///< groups, constant ones left out
    std::vector<double> m_vFeatureRates;                  ///< Hz that features were made for
    StringVector m_vWithoutPattern;                       ///< those that can be used and have none
    StringVector m_vUnchanging; ///< recordings whose every pattern has the same input
    StringVector m_vStops;      ///< why streams stopped before their end
};

/// Something that is wrong with data, or that should be known.
struct Finding
{
    enum class Severity
    {
        NOTE,
        WARNING,
        ERROR ///< what is learnt from such data is worthless
    };

    Severity m_severity = Severity::NOTE;
    std::string m_strText; ///< one line

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_severity, io_self.m_strText);
        if constexpr (!std::is_const_v<Self>)
            if (io_self.m_severity < Severity::NOTE || io_self.m_severity > Severity::ERROR)
                io_bytes.fail();
    }

    friend bool operator==(const Finding&, const Finding&) = default;
};

const char* toText(Finding::Severity in_severity);

/// The worst first; of equal ones the order stays.
void sortFindings(std::vector<Finding>& io_vFindings);

/// Everything that can be said, sorted. A class should have in_uiLeastPatterns patterns.
std::vector<Finding> findProblems(const DataFacts& in_facts, std::uint64_t in_uiLeastPatterns);

} // namespace Vexalor::MachineLearning
