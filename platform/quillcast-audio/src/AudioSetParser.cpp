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
        if (out_strText.find('\0', out_strText.size() - uiRead) == std::string::npos)
            continue;
        out_strReason = "it is no list of file names";
        return false;
    }
    out_strReason = file.getReason();
    return !file.hasFailed();
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
    if (!readText(in_filename, strText, strReason))
    {
        QC_ERROR("Cannot read audio set " << strList << ": " << strReason);
        return false;
    }
    std::string_view rest = strText;
    if (rest.starts_with(BYTE_ORDER_MARK))
        rest.remove_prefix(BYTE_ORDER_MARK.size());
    m_vFilenames.clear();
    m_uiNext = 0;
    while (!rest.empty())
    {
        const std::size_t uiLine = std::min(rest.find('\n'), rest.size());
        const std::string strPath = toPath(rest.substr(0, uiLine), strFolder);
        if (!strPath.empty())
            m_vFilenames.push_back(strPath);
        rest.remove_prefix(std::min(uiLine + 1, rest.size()));
    }
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
