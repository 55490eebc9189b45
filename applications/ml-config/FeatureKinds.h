#pragma once

#include "quillcast-core/StringVector.h"
#include "quillcast-math/FeatureComputer.h"

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace Vexalor::MachineLearning
{

/// What the options say about features; what they leave out is as the classes have it.
struct FeatureSettings
{
    std::optional<double> m_dSamplingRate; ///< Hz
    std::optional<unsigned int> m_uiNbBands;
    std::optional<unsigned int> m_uiNbCepstra;
    std::vector<double> m_vFrequencies; ///< Hz
};

/// A feature that can be asked for.
struct FeatureKind
{
    const char* m_name;
    const char* m_key; ///< of its class, which FieldDescriptions.h describes
    bool m_bNeedsRate;
    FeatureComputer* (*m_create)(const FeatureSettings&); ///< owned by the caller
};

std::span<const FeatureKind> getFeatureKinds();
/// Null for a name that is none.
const FeatureKind* findFeatureKind(const std::string& in_strName);

/// One computer for all these features, side by side in that order; null when in_vNames is empty. The names
/// are those of kinds.
std::unique_ptr<FeatureComputer> newFeatureComputer(const StringVector& in_vNames,
                                                    const FeatureSettings& in_settings);

} // namespace Vexalor::MachineLearning
