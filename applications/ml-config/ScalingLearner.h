#pragma once

#include "MLDataGenerator.h"
#include "quillcast-core/StringVector.h"

#include <span>
#include <string>

namespace Vexalor::MachineLearning
{

/// What can be done with a component; doc/formats.md, "Scaling".
struct TreatmentKind
{
    const char* m_name;
    bool m_bStandardize;
    bool m_bMinMax;
};

std::span<const TreatmentKind> getTreatmentKinds();
/// Null for a name that is none.
const TreatmentKind* findTreatmentKind(const std::string& in_strName);

/// What the options say about a scaling to be learnt.
struct ScalingRequest
{
    std::string m_strConfigFile;             ///< of the generator
    StringVector m_vInputFiles;              ///< that it reads, one after the other; empty: none
    std::string m_strInputs = "standardize"; ///< names of kinds
    std::string m_strTargets = "none";
    double m_dMin = 0.0; ///< interval of min-max scaling
    double m_dMax = 1.0;
};

/// A scaling generator with the scaling learnt from these patterns, and learning off. Null, with the reason
/// logged, when it cannot be learnt; throws like loadDataGeneratorFromStream.
CountedObjPtr<DataGenerator> newLearntScaling(const ScalingRequest& in_request);

} // namespace Vexalor::MachineLearning
