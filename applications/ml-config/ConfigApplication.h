#pragma once

#include "common/OverwriteGuard.h"
#include "common/Ranks.h"
#include "common/ShareOptions.h"
#include "ml-config/GeneratorKinds.h"
#include "ml-config/ScalingLearner.h"
#include "quillcast-infra/ApplicationImpl.h"

#include <string>

namespace Vexalor::MachineLearning
{

/// Writes generator configurations, with scaling learnt for one kind of them, and explains them. The first
/// argument is the command, the second its file.
class ConfigApplication : public ApplicationImpl
{
public:
    explicit ConfigApplication(Ranks& io_ranks);

protected:
    bool processCmdlineVarsMap(const variables_map& in_map) override;
    bool run_i() override;

private:
    std::string takeRequest(const variables_map& in_map);
    void keepStandardOutputClear(const variables_map& in_map) const;
    StringVector takeValue(const variables_map& in_map, const std::string& in_strOption) const;
    void takeGenerator(const variables_map& in_map);
    void takeClasses(const variables_map& in_map);
    std::string takeShares(const variables_map& in_map);
    bool learn() const;
    bool mayWrite();

    std::string m_strCommand;
    std::string m_strFile;
    GeneratorRequest m_request;
    ScalingRequest m_scalingRequest;
    Ranks& m_ranks;
    ShareOptions m_shares{false};
    OverwriteGuard m_guard;
};

} // namespace Vexalor::MachineLearning
