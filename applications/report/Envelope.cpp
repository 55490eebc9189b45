#include "report/Envelope.h"

#include "quillcast-audio/AudioFileReader.h"

#include <algorithm>

namespace Vexalor
{

bool Envelope::read(const std::string& in_strFilename, int in_iChannel, std::size_t in_uiColumns)
{
    constexpr std::size_t BLOCK = 16384;
    AudioFileReader reader;
    if (!reader.open(in_strFilename.c_str(), in_iChannel))
        return false;
    const std::uint64_t uiFrames = reader.getFrameCount();
    const std::uint64_t uiColumns = std::min<std::uint64_t>(in_uiColumns, uiFrames);
    m_dSeconds = static_cast<double>(uiFrames) / reader.getSamplingRate();
    m_vMin.clear();
    m_vMax.clear();
    std::vector<double> vBlock(BLOCK);
    std::uint64_t uiFrame = 0;
    for (std::size_t uiRead = BLOCK; uiRead == BLOCK;)
    {
        uiRead = reader.read(vBlock.data(), BLOCK);
        for (std::size_t i = 0; i < uiRead && uiFrame < uiFrames; ++i, ++uiFrame)
        {
            if (uiFrame * uiColumns / uiFrames == m_vMin.size())
            {
                m_vMin.push_back(vBlock[i]);
                m_vMax.push_back(vBlock[i]);
            }
            m_vMin.back() = std::min(m_vMin.back(), vBlock[i]);
            m_vMax.back() = std::max(m_vMax.back(), vBlock[i]);
        }
    }
    return !reader.hasInputError();
}

} // namespace Vexalor
