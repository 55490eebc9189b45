#pragma once

#include "MLVectorScalingTrainer.h"
#include "common/ShareFile.h"
#include "quillcast-core/StringVector.h"

#include <span>
#include <string>
#include <vector>

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

/// What the recordings of a share add up to, in their order.
struct ScalingShare
{
    std::vector<VectorScalingTrainer::Sums> m_vRecordings;

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_vRecordings);
    }
};

/// Reads a share of the recordings of all input files, which are lists; the digest takes in what all shares
/// have in common. False, with the reason logged, when it cannot be read to its end; throws like
/// loadDataGeneratorFromStream.
bool sumUpShare(const ScalingRequest& in_request, const Shard& in_shard, ScalingShare& out_share,
                JobDigest& io_job);

/// The scaling of all shares, as newLearntScaling has it. What the request says of input is not looked at.
CountedObjPtr<DataGenerator> newJoinedScaling(const ScalingRequest& in_request, const ScalingShare& in_all);

/// A scaling generator with the scaling learnt from these patterns, and learning off. Null, with the reason
/// logged, when it cannot be learnt; throws like loadDataGeneratorFromStream.
CountedObjPtr<DataGenerator> newLearntScaling(const ScalingRequest& in_request);

} // namespace Vexalor::MachineLearning
