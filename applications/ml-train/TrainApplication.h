#pragma once

#include "MLDataGenApplicationImpl.h"
#include "common/FannTrainer.h"
#include "common/OverwriteGuard.h"
#include "common/SetWatch.h"
#include "detector/TrainingDigest.h"
#include "ml-train/DetectorDraft.h"
#include "ml-train/TrainingCheck.h"

namespace Vexalor
{
class FileReplacer;
}

namespace Vexalor::MachineLearning
{

/// Trains a network on the patterns of a generator configuration, or takes one from a file, and writes it, as
/// it is or as a detector. The same data, options and seed give the same files, byte for byte.
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
    bool acceptScaling(const DataGenerator& in_generator, const PatternSet& in_patterns) const;
    bool checkFiles(const variables_map& in_map) const;
    bool openOutput(const char* in_what, FileReplacer& io_file);
    bool trainAndWrite(const PatternSet& in_patterns, FileReplacer& io_networkFile);
    std::unique_ptr<FannNetwork> train(const PatternSet& in_patterns, FannTrainer::Epoch& out_taken) const;
    bool writeNetwork(const std::string& in_strText, FileReplacer& io_file) const;
    bool writeDetector(FileReplacer& io_file);

    std::string m_strConfigFile;
    StringVector m_vInputFiles;
    std::string m_strNetwork;  ///< to write; empty: none
    std::string m_strDetector; ///< the same
    std::string m_strImport;   ///< a network to take; empty: train one
    DetectorDraft m_draft;
    TrainingDigest m_digest; ///< of the patterns
    FannTrainer::Settings m_settings;
    OverwriteGuard m_guard;
    SetWatch m_watch{"ml-train"};
    TrainingCheck m_check;
};

} // namespace Vexalor::MachineLearning
