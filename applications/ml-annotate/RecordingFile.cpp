#include "ml-annotate/RecordingFile.h"

#include "quillcast-audio/AudioFileReader.h"
#include "quillcast-core/InputFile.h"
#include "quillcast-core/Logger.h"

#include <vector>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.app.ml-annotate");

constexpr std::size_t DECODE_BLOCK = 16384;

bool openOrTell(InputFile& io_file, const std::string& in_strFile)
{
    if (io_file.openRegular(in_strFile.c_str()))
        return true;
    QC_ERROR("Cannot read " << in_strFile << ": " << io_file.getReason());
    return false;
}

} // namespace

bool readText(const std::string& in_strFile, std::string& out_strText)
{
    InputFile file;
    if (!openOrTell(file, in_strFile))
        return false;
    out_strText.resize(file.getSize());
    out_strText.resize(file.readAt(0, out_strText.data(), out_strText.size()));
    return !file.hasFailed();
}

bool readAnnotations(const std::string& in_strFile, AnnotatedFile& out_file)
{
    InputFile file;
    return openOrTell(file, in_strFile) && out_file.readFromWAV(file);
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
