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

} // namespace

bool readAnnotations(const std::string& in_strFile, AnnotatedFile& out_file)
{
    InputFile file;
    if (file.openRegular(in_strFile.c_str()))
        return out_file.readFromWAV(file);
    QC_ERROR("Cannot read " << in_strFile << ": " << file.getReason()
                            << (in_strFile == "-" ? "; a recording is a file, - is for labels only" : ""));
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
