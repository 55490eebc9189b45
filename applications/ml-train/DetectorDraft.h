#pragma once

#include "detector/DetectorContent.h"

#include <string>

namespace Vexalor
{
class FileReplacer;
}

namespace Vexalor::MachineLearning
{

/// Gathers what a detector file says, and writes it.
///
/// Call order: open (addPass* setTrained | import) write. Each is false, with the reason logged, when no
/// detector can be made.
class DetectorDraft
{
public:
    /// Takes the generator of a configuration file.
    bool open(const std::string& in_strConfigFile);
    /// A pass over the patterns of a file has ended: in_generator read it, in_wrapped is what was trained on.
    bool addPass(const std::string& in_strFile, const DataGenerator& in_generator,
                 const DataGenerator& in_wrapped);
    /// The network that was trained, as text, and what its errors were; nan where there is none.
    bool setTrained(const std::string& in_strNetwork, std::uint64_t in_uiSeed, double in_dError,
                    double in_dHeldOutError);
    /// Takes a network from a file, and the scaling of a configuration, unless its name is empty.
    bool import(const std::string& in_strNetworkFile, const std::string& in_strScalingFile);
    /// Tries the detector and writes it to a file that is open.
    bool write(FileReplacer& io_file);

private:
    bool takeScaling(const VectorScaler::Config& in_scaling);
    bool setFann(const std::string& in_strText, const char* in_name);

    DetectorContent m_content;
};

} // namespace Vexalor::MachineLearning
