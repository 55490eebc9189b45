#pragma once

#include "MLDataConvertApplication.h"
#include "common/Ranks.h"
#include "common/SetWatch.h"
#include "common/ShareOptions.h"
#include "ml-convert/PartPatterns.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Vexalor
{
class FileReplacer;
}

namespace Vexalor::MachineLearning
{

/// Converts pattern files with scaling and cache chosen by the user, in shares if wanted, and shows how far
/// it is.
class ConvertApplication : public DataConvertApplication
{
public:
    explicit ConvertApplication(Ranks& io_ranks);
    ~ConvertApplication() override;

protected:
    bool processCmdlineVarsMap(const variables_map& in_map) override;
    CountedObjPtr<DataGenerator> newInput_i(const variables_map& in_map) override;
    bool prepareInput_i(const CountedObjPtr<DataGenerator>& in_pGenerator,
                        const std::string& in_strInputFile) override;
    bool convert_i() override;
    DataConverter::Watch newWatch_i() override;

private:
    bool isPart() const { return m_shares.getShard().has_value() || m_ranks.areTogether(); }
    std::optional<std::uint64_t> writePass(std::size_t in_uiPass, ConvertShare::Pass& out_pass);
    bool convertShare(ConvertShare& out_share);
    bool leaveShare();
    bool convertTogether();

    Ranks& m_ranks;
    ShareOptions m_shares{false};
    JobDigest m_job;
    SetWatch m_watch{"ml-convert"}; ///< of a share
    CountedObjPtr<DataGenerator> m_pSet;
    std::string m_strList; ///< which the set is to read
    /// The patterns of a rank, until they are joined.
    std::vector<std::unique_ptr<FileReplacer>> m_vKept;
};

} // namespace Vexalor::MachineLearning
