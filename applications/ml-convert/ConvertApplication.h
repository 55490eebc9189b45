#pragma once

#include "MLDataConvertApplication.h"
#include "common/SetWatch.h"
#include "common/ShareOptions.h"

namespace Vexalor::MachineLearning
{

/// Converts pattern files with scaling and cache chosen by the user, in shares if wanted, and shows how far
/// it is.
class ConvertApplication : public DataConvertApplication
{
public:
    ConvertApplication();

protected:
    bool processCmdlineVarsMap(const variables_map& in_map) override;
    CountedObjPtr<DataGenerator> newInput_i(const variables_map& in_map) override;
    bool prepareInput_i(const CountedObjPtr<DataGenerator>& in_pGenerator,
                        const std::string& in_strInputFile) override;
    bool convert_i() override;
    DataConverter::Watch newWatch_i() override;

private:
    bool convertShare();

    ShareOptions m_shares{false};
    JobDigest m_job;
    SetWatch m_watch{"ml-convert"}; ///< of a share
};

} // namespace Vexalor::MachineLearning
