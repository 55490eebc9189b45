#pragma once

#include "common/Network.h"

#include <string>
#include <string_view>

namespace Vexalor::MachineLearning
{

/// Reads a whole network file; false, with the reason, when that fails or the file is longer than an archive
/// may be (CheckedXmlInputArchive::MAX_SIZE): a detector holds it.
bool readNetworkFile(const char* in_filename, std::string& out_strContent, std::string& out_strReason);

/// An ONNX file is known by its first byte or its name; others are of the FANN library.
bool isOnnxFile(std::string_view in_content, std::string_view in_filename);

/// Reads a network of either kind; the caller owns it. Null, with file and reason logged at error level. What
/// stands in its last line as a comment, if it is of FANN, goes into out_pComment, which may be null.
Network* newNetworkFromFile(const char* in_filename, std::string* out_pComment = nullptr);

} // namespace Vexalor::MachineLearning
