#pragma once

#include "quillcast-core/StringVector.h"
#include "quillcast-math/FeatureComputer.h"

#include <memory>
#include <span>
#include <string>

namespace Vexalor::MachineLearning
{

/// A feature that has a name of its own; those of plug-ins go by the keys of their classes.
struct FeatureKind
{
    const char* m_name;
    const char* m_key; ///< of its class
};

std::span<const FeatureKind> getFeatureKinds();

/// What puts features into the context of the windows before.
std::span<const FeatureKind> getContextKinds();

/// One computer for all these features, side by side in that order, then put into these contexts one after
/// the other, as their constructors leave them; null, with the reason in out_strFault, when one is neither a
/// name nor a key of such.
std::unique_ptr<FeatureComputer> newFeatureComputer(const StringVector& in_vFeatures,
                                                    const StringVector& in_vContexts,
                                                    std::string& out_strFault);

} // namespace Vexalor::MachineLearning
