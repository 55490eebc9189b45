#pragma once

#include "MLDataGenTesterApplicationImpl.h"
#include "common/Ranks.h"
#include "common/ScriptEntity.h"
#include "common/SetWatch.h"
#include "common/ShareOptions.h"
#include "detector/Detector.h"
#include "detector/TrainingDigest.h"
#include "ml-tester/TestShare.h"
#include "quillcast-core/FileReplacer.h"
#include "report/TestReporter.h"

#include <memory>
#include <optional>
#include <string>

namespace Vexalor::MachineLearning
{

/// Tests a network of the FANN library or from an ONNX file, a detector, or an expression script.
class TesterApplication
    : public MLDataGenTesterApplicationImpl
    , private MLTester::PatternObserver
{
public:
    explicit TesterApplication(Ranks& io_ranks);

    CountedObjPtr<DataGenerator> newDataGenerator(const char* in_configFile, const char* in_inputFile,
                                                  Handle<Resettable, ReferenceCount> in_entityToReset,
                                                  const char* in_scalingConfigFile) override;

protected:
    bool processCmdlineVarsMap(const variables_map& in_map) override;
    bool bringsGenerator_i(const variables_map& in_map) const override;
    void showReport_i(const MLTester::TesterStats& in_stats) override;
    MLTester::TestedEntity* newTestedEntity_i() override;
    MLTester::PatternObserver* getObserver_i() override { return this; }
    bool observe(const DoubleVector& in_vOutput, const DoubleVector* in_pTarget) override;
    bool test_i(MLTester::TestedEntity& io_entity, DataGenerator& io_generator) override;
    bool run_i() override;

private:
    void takeShareOptions(const variables_map& in_map);
    bool testShare(MLTester::TestedEntity& io_entity, DataGenerator& io_generator);
    std::string takeFound();
    bool leaveShare();
    bool joinFiles();
    bool joinShares(const std::vector<ShareFile>& in_vShares);
    bool testTogether();
    /// Only a part of the recordings is read here.
    bool isPart() const { return m_pShareFile != nullptr || m_ranks.areTogether(); }
    TestReporter& getObserver() { return isPart() ? m_partReporter : m_reporter; }
    CountedObjPtr<DataGenerator> newGenerator(const char* in_configFile, const char* in_inputFile,
                                              const Handle<Resettable, ReferenceCount>& in_entityToReset,
                                              bool in_bInMemory, const char* in_scalingConfigFile);
    void warnOfMissingLabels();
    void compareDigest(const TrainingDigest& in_patterns) const;
    bool checkEntity(const variables_map& in_map) const;
    void takeScriptOptions(const variables_map& in_map);

    SetWatch m_watch{"ml-tester"};
    TestReporter m_reporter;
    TestReporter m_partReporter;
    TestDescription m_description;
    std::uint64_t m_uiSeveralClasses = 0; ///< patterns of more than one
    bool m_bReady = false;                ///< there are patterns to test
    std::string m_strNetwork;
    std::optional<TrainingDigest> m_trainingDigest; ///< of the network
    std::string m_strDetector;
    std::unique_ptr<Detector> m_pDetector; ///< null: another entity is tested
    ScriptEntity::Settings m_script;
    Ranks& m_ranks;
    ShareOptions m_shares{true};
    JobDigest m_job;
    TestShare m_share;
    std::unique_ptr<FileReplacer> m_pShareFile; ///< null: the whole is tested, or shares are joined
};

} // namespace Vexalor::MachineLearning
