#pragma once

#include "common/OverwriteGuard.h"
#include "common/PatternProgress.h"
#include "inspect/Inspector.h"
#include "quillcast-infra/ApplicationImpl.h"

#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <optional>

namespace Vexalor
{
class FileReplacer;
class LogListener;
} // namespace Vexalor

namespace Vexalor::MachineLearning
{

class FileSetDataGeneratorImpl;

/// Tells what the patterns of a generator are like, and what is wrong with them, before a network is trained
/// on them.
class InspectApplication : public ApplicationImpl
{
public:
    InspectApplication();
    ~InspectApplication() override;

protected:
    bool processCmdlineVarsMap(const variables_map& in_map) override;
    bool run_i() override;

private:
    void takeSettings(const variables_map& in_map);
    bool openOutputs();
    bool inspect(Inspection& out_inspection);
    void inspectFile(const std::string& in_strFile, Inspector& io_inspector, DataFacts& io_found,
                     LogListener& io_listener);
    void validateSet(FileSetDataGeneratorImpl& io_set, Inspector& io_inspector, DataFacts& io_found,
                     LogListener& io_listener);
    void examine(const DataGenerator& in_generator, DataFacts& io_found);
    bool deliver(const Inspection& in_inspection) const;

    std::string m_strConfigFile;
    StringVector m_vInputFiles;
    CountedObjPtr<DataGenerator> m_pFirst; ///< that of the first file, until it is used
    std::string m_strJson;                 ///< empty: none; "-": standard output
    std::string m_strPage;                 ///< empty: none
    bool m_bValidate = false;
    std::uint64_t m_uiLeastPatterns = 0;
    StringVector m_vClassNames;
    OverwriteGuard m_guard;
    std::unique_ptr<FileReplacer> m_pJson;
    std::unique_ptr<FileReplacer> m_pPage;
    std::vector<Finding> m_vOfConfiguration; ///< what was found in it
    std::optional<PatternProgress> m_progress;
};

} // namespace Vexalor::MachineLearning
