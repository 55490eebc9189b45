#pragma once

#include "MLDataGenApplicationImpl.h"
#include "common/FannTrainer.h"
#include "common/OverwriteGuard.h"
#include "common/SetWatch.h"
#include "ml-train/TrainingCheck.h"

namespace Vexalor
{
class FileReplacer;
}

namespace Vexalor::MachineLearning
{

/// Trains a network on the patterns of a generator configuration, for ml-tester. The same data, options and
/// seed give the same file, byte for byte.
class TrainApplication : public MLDataGenApplicationImpl
{
public:
    TrainApplication();

protected:
    bool processCmdlineVarsMap(const variables_map& in_map) override;
    bool run_i() override;

private:
    void takeSettings(const variables_map& in_map);
    bool readPatterns(PatternSet& out_patterns);
    std::unique_ptr<FannNetwork> train(const PatternSet& in_patterns, FannTrainer::Epoch& out_taken) const;
    bool openNetwork(FileReplacer& io_file);
    bool writeNetwork(const FannNetwork& in_network, FileReplacer& io_file) const;

    std::string m_strConfigFile;
    StringVector m_vInputFiles;
    std::string m_strNetwork;
    FannTrainer::Settings m_settings;
    OverwriteGuard m_guard;
    SetWatch m_watch{"ml-train"};
    TrainingCheck m_check;
};

} // namespace Vexalor::MachineLearning
