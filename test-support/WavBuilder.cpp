#include "test-support/WavBuilder.h"

#include <cmath>
#include <filesystem>
#include <fstream>
#include <numbers>

namespace Vexalor::Testing
{

namespace Wav
{

namespace
{

std::string littleEndian(std::uint64_t in_uiValue, int in_iBytes)
{
    std::string strBytes;
    for (int i = 0; i < in_iBytes; ++i, in_uiValue >>= 8)
        strBytes += static_cast<char>(in_uiValue & 0xFF);
    return strBytes;
}

} // namespace

std::string u16(std::uint32_t in_uiValue)
{
    return littleEndian(in_uiValue, 2);
}

std::string u32(std::uint32_t in_uiValue)
{
    return littleEndian(in_uiValue, 4);
}

std::string u64(std::uint64_t in_uiValue)
{
    return littleEndian(in_uiValue, 8);
}

std::string chunk(const std::string& in_strId, const std::string& in_strData)
{
    return in_strId + u32(static_cast<std::uint32_t>(in_strData.size())) + in_strData +
           std::string(in_strData.size() % 2, '\0');
}

std::string riff(const std::string& in_strChunks)
{
    return "RIFF" + u32(static_cast<std::uint32_t>(in_strChunks.size() + 4)) + "WAVE" + in_strChunks;
}

std::string fmt(std::uint32_t in_uiRate, std::uint32_t in_uiChannels, std::uint32_t in_uiBits,
                std::uint32_t in_uiTag)
{
    const std::uint32_t uiFrame = in_uiChannels * in_uiBits / 8;
    return chunk("fmt ", u16(in_uiTag) + u16(in_uiChannels) + u32(in_uiRate) + u32(in_uiRate * uiFrame) +
                             u16(uiFrame) + u16(in_uiBits));
}

std::string data(const std::vector<int>& in_vSamples)
{
    std::string strBytes;
    strBytes.reserve(2 * in_vSamples.size());
    for (const int iSample : in_vSamples)
        strBytes += u16(static_cast<std::uint32_t>(iSample));
    return chunk("data", strBytes);
}

std::string cue(const std::vector<Cue>& in_vCues)
{
    std::string strBytes = u32(static_cast<std::uint32_t>(in_vCues.size()));
    for (const Cue& cue : in_vCues)
        strBytes += u32(cue.m_uiId) + u32(cue.m_uiSample) + "data" + u32(0) + u32(0) + u32(cue.m_uiSample);
    return chunk("cue ", strBytes);
}

std::string labl(std::uint32_t in_uiId, const std::string& in_strText)
{
    return chunk("labl", u32(in_uiId) + in_strText + '\0');
}

std::string note(std::uint32_t in_uiId, const std::string& in_strText)
{
    return chunk("note", u32(in_uiId) + in_strText + '\0');
}

std::string ltxt(std::uint32_t in_uiId, std::uint32_t in_uiLength, const std::string& in_strText)
{
    return chunk("ltxt", u32(in_uiId) + u32(in_uiLength) + "rgn " + u64(0) + in_strText);
}

std::string adtl(const std::string& in_strEntries)
{
    return chunk("LIST", "adtl" + in_strEntries);
}

std::string smpl(const std::vector<Loop>& in_vLoops)
{
    std::string strBytes = std::string(28, '\0') + u32(static_cast<std::uint32_t>(in_vLoops.size())) + u32(0);
    for (const Loop& loop : in_vLoops)
        strBytes += u32(loop.m_uiId) + u32(0) + u32(loop.m_uiStart) + u32(loop.m_uiEnd) + u32(0) + u32(0);
    return chunk("smpl", strBytes);
}

} // namespace Wav

std::string annotatedWav(std::uint32_t in_uiRate, const std::vector<int>& in_vSamples,
                         const std::vector<WavRegion>& in_vRegions)
{
    std::vector<Wav::Cue> vCues;
    std::string strEntries;
    for (const WavRegion& region : in_vRegions)
    {
        const std::uint32_t uiId = static_cast<std::uint32_t>(vCues.size() + 1);
        vCues.push_back({uiId, region.m_uiStart});
        strEntries += Wav::labl(uiId, region.m_strLabel);
        strEntries += Wav::ltxt(uiId, region.m_uiStop - region.m_uiStart);
    }
    return Wav::riff(Wav::fmt(in_uiRate) + Wav::data(in_vSamples) + Wav::cue(vCues) + Wav::adtl(strEntries));
}

std::vector<int> toneSamples(std::uint32_t in_uiRate, std::size_t in_uiCount, double in_dHz,
                             double in_dAmplitude)
{
    std::vector<int> vSamples;
    for (std::size_t i = 0; i < in_uiCount; ++i)
        vSamples.push_back(static_cast<int>(std::lround(
            in_dAmplitude * std::sin(2.0 * std::numbers::pi * in_dHz * static_cast<double>(i) / in_uiRate))));
    return vSamples;
}

void writeSparseWav(const std::string& in_strPath, std::uint32_t in_uiRate, std::uint64_t in_uiFrames)
{
    const std::uint64_t uiBytes = 2 * in_uiFrames;
    const std::string strFormat = Wav::fmt(in_uiRate);
    std::ofstream file(in_strPath, std::ios::binary);
    file << "RIFF" << Wav::u32(static_cast<std::uint32_t>(4 + strFormat.size() + 8 + uiBytes)) << "WAVE"
         << strFormat << "data" << Wav::u32(static_cast<std::uint32_t>(uiBytes));
    file.close();
    std::filesystem::resize_file(in_strPath, 12 + strFormat.size() + 8 + uiBytes);
}

} // namespace Vexalor::Testing
