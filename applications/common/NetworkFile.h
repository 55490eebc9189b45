#pragma once

#include "MLTester.h"

#include <string>

namespace Vexalor::MachineLearning
{

/// Longest network file that is read, in bytes.
constexpr std::size_t MAX_NETWORK_FILE = std::size_t(64) << 20;

/// Reads a whole network file; false, with the reason, when that fails or the file is longer.
bool readNetworkFile(const char* in_filename, std::string& out_strContent, std::string& out_strReason);

/// Reads a network: an ONNX file, recognised by its first byte or its name, else one of the FANN library. The
/// caller owns it. Null, with file and reason logged at error level.
MLTester::TestedEntity* newNetworkFromFile(const char* in_filename);

} // namespace Vexalor::MachineLearning
