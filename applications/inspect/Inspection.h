#pragma once

#include "inspect/DataFindings.h"
#include "inspect/InspectedPart.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// What is inspected, and what is known of it before anything is read.
struct InspectedData
{
    std::string m_strConfiguration; ///< of the generator
    StringVector m_vInputFiles;
    StringVector m_vClassNames; ///< in the order of the target; none: as the generators name them
    bool m_bValidate = false;   ///< only what is wrong is wanted, of every recording
    std::vector<Finding> m_vFindings;
    std::vector<double> m_vFeatureRates; ///< as those of DataFacts
    StringVector m_vConfiguredClasses;

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_strConfiguration, io_self.m_vInputFiles, io_self.m_vClassNames,
                 io_self.m_bValidate, io_self.m_vFindings, io_self.m_vFeatureRates,
                 io_self.m_vConfiguredClasses);
    }
};

/// What was found in all data.
struct Inspection
{
    InspectedData m_data;
    DataFacts m_facts;
    InputStatistics m_inputs;
    std::size_t m_uiTargets = 0; ///< components of a target; 0: no pattern has one
    StringVector m_vTargetNames; ///< a class each
    bool m_bClasses = false;     ///< targets have components of -1, 0 and 1 only
    std::uint64_t m_uiWithoutClass = 0;
    std::optional<std::uint64_t> m_sequences; ///< none where the generator does not know of any
    std::vector<Finding> m_vFindings;
};

/// What is said of the data when their only part, or all of their parts appended, is known. A class should
/// have in_uiLeastPatterns patterns.
Inspection makeInspection(const InspectedData& in_data, InspectedPart in_whole,
                          std::uint64_t in_uiLeastPatterns);

} // namespace Vexalor::MachineLearning
