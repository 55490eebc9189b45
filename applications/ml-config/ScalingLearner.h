#pragma once

#include "MLVectorScalingTrainer.h"
#include "common/RecordingPart.h"
#include "common/ShareFile.h"
#include "quillcast-core/StringVector.h"

#include <functional>
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

/// The recordings of a share: parts of lists that follow each other.
struct ScalingTask
{
    std::vector<RecordingPart> m_vParts;

    template <class Self, class Bytes>
    static void exchange(Self& io_self, Bytes& io_bytes)
    {
        io_bytes(io_self.m_vParts);
    }
};

/// Shares out the recordings of all input files, which are lists; the digest takes in what all shares have in
/// common. False, with the reason logged, when one cannot be read; throws like loadDataGeneratorFromStream.
bool readScalingTasks(const ScalingRequest& in_request, std::size_t in_uiShares,
                      std::vector<ScalingTask>& out_vTasks, JobDigest& io_job);

/// Told of the patterns of each recording.
using ScalingWatch = std::function<void(std::uint64_t in_uiPatterns)>;

/// Reads the recordings of a share. False, with the reason logged, when that ends early; throws like
/// loadDataGeneratorFromStream.
bool sumUp(const ScalingRequest& in_request, const ScalingTask& in_task, const ScalingWatch& in_watch,
           ScalingShare& out_share);

/// The scaling of all shares, as newLearntScaling has it. What the request says of input is not looked at.
CountedObjPtr<DataGenerator> newJoinedScaling(const ScalingRequest& in_request, const ScalingShare& in_all);

/// A scaling generator with the scaling learnt from these patterns, and learning off. Null, with the reason
/// logged, when it cannot be learnt; throws like loadDataGeneratorFromStream.
CountedObjPtr<DataGenerator> newLearntScaling(const ScalingRequest& in_request);

} // namespace Vexalor::MachineLearning
