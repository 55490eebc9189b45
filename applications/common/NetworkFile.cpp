#include "common/NetworkFile.h"

#include "common/FannNetwork.h"
#include "onnx/OnnxNetwork.h"
#include "quillcast-core/CheckedXmlInputArchive.h"
#include "quillcast-core/Logger.h"
#include "quillcast-infra/DiskFileSystem.h"

#include <algorithm>

namespace Vexalor::MachineLearning
{

namespace
{

constinit Logger s_logger("quillcast.app.NetworkFile");

} // namespace

bool readNetworkFile(const char* in_filename, std::string& out_strContent, std::string& out_strReason)
{
    vfsistream file(DiskFileSystem(), in_filename);
    if (!file)
    {
        out_strReason = file.getReason();
        return false;
    }
    constexpr std::size_t BLOCK = 65536;
    std::size_t uiRead = 0;
    do
    {
        out_strContent.resize(uiRead + BLOCK);
        file.read(out_strContent.data() + uiRead, BLOCK);
        uiRead += static_cast<std::size_t>(file.gcount());
    } while (file && uiRead <= CheckedXmlInputArchive::MAX_SIZE);
    out_strContent.resize(uiRead);
    if (file.bad())
        out_strReason = "read error";
    else if (uiRead > CheckedXmlInputArchive::MAX_SIZE)
        out_strReason = "file too long";
    return out_strReason.empty();
}

bool isOnnxFile(std::string_view in_content, std::string_view in_filename)
{
    return OnnxNetwork::isOnnx(in_content) || in_filename.ends_with(".onnx");
}

Network* newNetworkFromFile(const char* in_filename, std::string* out_pComment)
{
    QC_TRACE("newNetworkFromFile");
    std::string strContent;
    std::string strReason;
    if (!readNetworkFile(in_filename, strContent, strReason))
    {
        QC_ERROR("Cannot read network file " << in_filename << ": " << strReason);
        return nullptr;
    }
    if (isOnnxFile(strContent, in_filename))
        return OnnxNetwork::newFromContent(strContent, in_filename);
    if (out_pComment != nullptr)
        *out_pComment = strContent.substr(std::min(strContent.rfind('#'), strContent.size()));
    return FannNetwork::newFromText(strContent, in_filename);
}

} // namespace Vexalor::MachineLearning
