#include "quillcast-audio/AudioSetParser.h"

#include "quillcast-core/Assertion.h"
#include "quillcast-core/InputFile.h"
#include "quillcast-core/OS.h"

#include <algorithm>
#include <string_view>
#include <utility>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.audio.AudioSetParser");

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

constexpr std::size_t BLOCK_SIZE = 65536;

/// The path that a line stands for; empty for none.
std::string toPath(std::string_view in_line, const std::string& in_strFolder)
{
    if (in_line.ends_with('\r'))
        in_line.remove_suffix(1);
    const std::size_t uiFirst = in_line.find_first_not_of(" \t");
    if (uiFirst == std::string_view::npos || in_line[uiFirst] == '#')
        return {};
    const std::string strPath(in_line);
    return OS::isPathRelative(strPath.c_str()) ? in_strFolder + strPath : strPath;
}

/// The whole of a text. False, with the reason, for what cannot be read or holds a zero byte.
bool readText(const char* in_filename, std::string& out_strText, std::string& out_strReason)
{
    InputFile file;
    if (!file.open(in_filename))
    {
        out_strReason = file.getReason();
        return false;
    }
    std::string strBlock(BLOCK_SIZE, ' ');
    while (const std::size_t uiRead = file.read(strBlock.data(), strBlock.size()))
    {
        out_strText.append(strBlock, 0, uiRead);
        if (out_strText.find('\0', out_strText.size() - uiRead) != std::string::npos)
            out_strReason = "it is no list of file names";
        else if (out_strText.size() > AudioSetParser::MOST_BYTES)
            out_strReason = "line " +
                            std::to_string(1 + std::count(out_strText.begin(), out_strText.end(), '\n')) +
                            ": it has more than " + std::to_string(AudioSetParser::MOST_BYTES) + " bytes";
        else
            continue;
        return false;
    }
    out_strReason = file.getReason();
    return !file.hasFailed();
}

/// False, with the reason, for a list of too many recordings.
bool parse(std::string_view in_text, const std::string& in_strFolder, StringVector& out_vFilenames,
           std::string& out_strReason)
{
    if (in_text.starts_with(BYTE_ORDER_MARK))
        in_text.remove_prefix(BYTE_ORDER_MARK.size());
    for (std::size_t uiLine = 1; !in_text.empty(); ++uiLine)
    {
        const std::size_t uiEnd = std::min(in_text.find('\n'), in_text.size());
        std::string strPath = toPath(in_text.substr(0, uiEnd), in_strFolder);
        if (out_vFilenames.size() == AudioSetParser::MOST_RECORDINGS && !strPath.empty())
        {
            out_strReason = "line " + std::to_string(uiLine) + ": it has more than " +
                            std::to_string(AudioSetParser::MOST_RECORDINGS) + " recordings";
            return false;
        }
        if (!strPath.empty())
            out_vFilenames.push_back(std::move(strPath));
        in_text.remove_prefix(std::min(uiEnd + 1, in_text.size()));
    }
    return true;
}

/// Labels, or a table, in place of a list are a common mistake.
bool hasTab(const std::string& in_strPath)
{
    return in_strPath.find('\t') != std::string::npos;
}

} // namespace

bool AudioSetParser::open(const char* in_filename)
{
    QC_TRACE("AudioSetParser::open");
    if (!QC_CHECK(in_filename != nullptr))
        return false;
    const std::string strList = in_filename;
    const std::string strFolder = strList.substr(0, strList.rfind('/') + 1);
    std::string strText;
    std::string strReason;
    StringVector vFilenames;
    if (!readText(in_filename, strText, strReason) || !parse(strText, strFolder, vFilenames, strReason))
    {
        QC_ERROR("Cannot read audio set " << strList << ": " << strReason);
        return false;
    }
    const auto itTab = std::find_if(vFilenames.begin(), vFilenames.end(), hasTab);
    if (itTab != vFilenames.end())
        QC_WARN("Audio set " << strList << ": \"" << *itTab
                             << "\" has a tab in it; a list has a path of a recording on each line");
    setFilenames(std::move(vFilenames));
    return true;
}

void AudioSetParser::setFilenames(StringVector in_vFilenames)
{
    QC_TRACE("AudioSetParser::setFilenames");
    m_vFilenames = std::move(in_vFilenames);
    m_uiNext = 0;
}

bool AudioSetParser::next(std::string& out_strFilename)
{
    QC_TRACE("AudioSetParser::next");
    if (!hasNext())
        return false;
    out_strFilename = m_vFilenames[m_uiNext++];
    return true;
}

} // namespace Vexalor
