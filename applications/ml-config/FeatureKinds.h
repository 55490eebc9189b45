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

/// One computer for all these features, side by side in that order, as their constructors leave them; null,
/// with the reason in out_strFault, when one is neither a name nor a key of such.
std::unique_ptr<FeatureComputer> newFeatureComputer(const StringVector& in_vNames, std::string& out_strFault);

} // namespace Vexalor::MachineLearning
