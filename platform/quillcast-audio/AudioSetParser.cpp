#include "quillcast-audio/AudioSetParser.h"

#include "quillcast-core/Logger.h"
#include "quillcast-core/OS.h"

#include <cerrno>
#include <cstring>
#include <fstream>

namespace Vexalor
{

namespace
{

constinit Logger s_logger("quillcast.audio.AudioSetParser");

constexpr const char* BYTE_ORDER_MARK = "\xEF\xBB\xBF";

/// The path that a line stands for; empty for none.
std::string toPath(std::string in_strLine, const std::string& in_strFolder)
{
    if (!in_strLine.empty() && in_strLine.back() == '\r')
        in_strLine.pop_back();
    const std::size_t uiFirst = in_strLine.find_first_not_of(" \t");
    if (uiFirst == std::string::npos || in_strLine[uiFirst] == '#')
        return {};
    return OS::isPathRelative(in_strLine.c_str()) ? in_strFolder + in_strLine : in_strLine;
}

} // namespace

bool AudioSetParser::open(const char* in_filename)
{
    QC_TRACE("AudioSetParser::open");
    const std::string strList = in_filename;
    const std::string strFolder = strList.substr(0, strList.rfind('/') + 1);
    std::ifstream file(strList, std::ios::binary);
    std::string strLine;
    StringVector vFilenames;
    bool bText = true;
    for (bool bFirst = true; bText && std::getline(file, strLine); bFirst = false)
    {
        if (bFirst && strLine.starts_with(BYTE_ORDER_MARK))
            strLine.erase(0, std::strlen(BYTE_ORDER_MARK));
        bText = strLine.find('\0') == std::string::npos;
        const std::string strPath = toPath(strLine, strFolder);
        if (!strPath.empty())
            vFilenames.push_back(strPath);
    }
    if (!bText || !file.eof())
    {
        QC_ERROR("Cannot read audio set " << strList << ": "
                                          << (bText ? std::strerror(errno) : "it is no list of file names"));
        return false;
    }
    m_vFilenames = std::move(vFilenames);
    m_uiNext = 0;
    return true;
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
