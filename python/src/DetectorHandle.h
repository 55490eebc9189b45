#pragma once

#include "common/Network.h"
#include "detector/Detector.h"

#include <filesystem>
#include <memory>
#include <string>

namespace Vexalor::Python
{

/// A detector as Python holds it, with its network on one stream of patterns.
struct DetectorHandle
{
    /// Throws a Failure.
    explicit DetectorHandle(const std::filesystem::path& in_file);

    std::string m_strFile;
    std::shared_ptr<const MachineLearning::Detector> m_pDetector;
    std::unique_ptr<MachineLearning::Network> m_pNetwork;
    bool m_bUsed = false; ///< the network
};

} // namespace Vexalor::Python
