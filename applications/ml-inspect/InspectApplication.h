#pragma once

#include "MLDataGenerator.h"
#include "common/OverwriteGuard.h"
#include "common/Ranks.h"
#include "common/ShareOptions.h"
#include "inspect/InspectionShare.h"
#include "quillcast-infra/ApplicationImpl.h"

#include <memory>

namespace Vexalor
{
class FileReplacer;
}

namespace Vexalor::MachineLearning
{

struct InspectionTask;

/// Tells what the patterns of a generator are like, and what is wrong with them, before a network is trained
/// on them.
class InspectApplication : public ApplicationImpl
{
public:
    explicit InspectApplication(Ranks& io_ranks);
    ~InspectApplication() override;

protected:
    bool processCmdlineVarsMap(const variables_map& in_map) override;
    bool run_i() override;

private:
    void takeSettings(const variables_map& in_map);
    void takeShareOptions(const variables_map& in_map);
    bool openOutputs();
    bool leaveShare(CountedObjPtr<DataGenerator> in_pGenerator);
    bool inspectTogether(CountedObjPtr<DataGenerator> in_pGenerator);
    bool readTask(CountedObjPtr<DataGenerator> in_pGenerator, const InspectionTask& in_task);
    bool joinShares();
    bool report(InspectedPart in_whole) const;
    bool deliver(const Inspection& in_inspection) const;

    Ranks& m_ranks;
    InspectionShare m_share; ///< that is read, or all that are joined
    std::string m_strJson;   ///< empty: none; "-": standard output
    std::string m_strPage;   ///< empty: none
    std::uint64_t m_uiLeastPatterns = 0;
    ShareOptions m_shares{true};
    JobDigest m_job;
    OverwriteGuard m_guard;
    std::unique_ptr<FileReplacer> m_pJson;
    std::unique_ptr<FileReplacer> m_pPage;
    std::unique_ptr<FileReplacer> m_pShareFile;
};

} // namespace Vexalor::MachineLearning
