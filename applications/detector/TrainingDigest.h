#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Vexalor::MachineLearning
{

class DataGenerator;

/// Tells whether patterns are made as those were that a network was trained on. A network file of the FANN
/// library carries it as a last line, which the library's own reader does not look at:
///     # trained with configuration 00c0ffee00c0ffee and scaling 0000000000000000
struct TrainingDigest
{
    std::uint64_t m_uiConfiguration = 0; ///< of windows, features and classes
    std::uint64_t m_uiScaling = 0;       ///< 0: none

    /// Of the generator that reads the patterns and of what is wrapped around it. A scaling that is learnt
    /// counts as learnt when in_bRead says that the patterns were read, before as one of its own.
    static TrainingDigest of(const DataGenerator& in_generator, const DataGenerator& in_wrapped,
                             bool in_bRead);
    /// Of the last line of a text; unset when it has none.
    static std::optional<TrainingDigest> find(std::string_view in_text);

    /// The last line.
    std::string toLine() const;
    /// Why patterns of this digest are not for a network of that one: "another configuration", "another
    /// scaling"; empty when they are.
    std::string findDifference(const TrainingDigest& in_other) const;
};

} // namespace Vexalor::MachineLearning
