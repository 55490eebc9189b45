#include "ml-annotate/RecordingFile.h"

#include "quillcast-audio/AudioFileReader.h"
#include "quillcast-core/Logger.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.app.ml-annotate");

constexpr std::size_t DECODE_BLOCK = 16384;

/// Why a path cannot be read as a file; empty when it can.
std::string explainUnreadable(const std::string& in_strFile)
{
    struct stat status;
    if (stat(in_strFile.c_str(), &status) != 0)
        return std::strerror(errno);
    if (S_ISDIR(status.st_mode))
        return "is a directory";
    // Neither can be gone back in, and a pipe would block.
    if (!S_ISREG(status.st_mode))
        return "is no regular file";
    return access(in_strFile.c_str(), R_OK) == 0 ? "" : std::strerror(errno);
}

bool isReadable(const std::string& in_strFile)
{
    const std::string strReason = explainUnreadable(in_strFile);
    if (!strReason.empty())
        QC_ERROR("Cannot read " << in_strFile << ": " << strReason);
    return strReason.empty();
}

} // namespace

bool readText(const std::string& in_strFile, std::string& out_strText)
{
    if (!isReadable(in_strFile))
        return false;
    std::ifstream stream(in_strFile, std::ios::binary);
    out_strText.assign(std::istreambuf_iterator<char>(stream), {});
    if (stream)
        return true;
    QC_ERROR("Cannot read " << in_strFile);
    return false;
}

bool readAnnotations(const std::string& in_strFile, AnnotatedFile& out_file)
{
    if (!isReadable(in_strFile))
        return false;
    std::ifstream stream(in_strFile, std::ios::binary);
    if (out_file.readFromWAV(stream))
        return true;
    QC_ERROR("Cannot read the annotations of " << in_strFile);
    return false;
}

bool getFrameCount(const std::string& in_strFile, std::uint64_t& out_uiFrames)
{
    AudioFileReader reader;
    if (!reader.open(in_strFile.c_str(), 0))
        return false;
    out_uiFrames = reader.getFrameCount();
    return true;
}

bool decodeFrames(const std::string& in_strFile, std::uint64_t& out_uiFrames)
{
    AudioFileReader reader;
    if (!reader.open(in_strFile.c_str(), 0))
        return false;
    std::vector<double> vBlock(DECODE_BLOCK);
    out_uiFrames = 0;
    while (const std::size_t uiRead = reader.read(vBlock.data(), vBlock.size()))
        out_uiFrames += uiRead;
    return !reader.hasInputError();
}

} // namespace Vexalor
