#pragma once

#include "ml-config/GeneratorKinds.h"
#include "quillcast-infra/ApplicationImpl.h"

#include <string>

namespace Vexalor::MachineLearning
{

/// Writes generator configurations and explains them. The first argument is the command, the second its
/// file.
class ConfigApplication : public ApplicationImpl
{
public:
    ConfigApplication();

protected:
    bool processCmdlineVarsMap(const variables_map& in_map) override;
    bool run_i() override;

private:
    bool takeRequest(const variables_map& in_map);
    void takeWindows(const variables_map& in_map);
    void takeFeatures(const variables_map& in_map);
    void takeClasses(const variables_map& in_map);

    bool m_bWrite = false;
    std::string m_strFile;
    GeneratorRequest m_request;
};

} // namespace Vexalor::MachineLearning
