#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor::Testing
{

/// Bytes of WAV files, put together chunk by chunk; independent of the code that reads them.
namespace Wav
{

std::string u16(std::uint32_t in_uiValue);
std::string u32(std::uint32_t in_uiValue);
std::string u64(std::uint64_t in_uiValue);

/// With a pad byte when the data have an odd length.
std::string chunk(const std::string& in_strId, const std::string& in_strData);
/// The file around its chunks.
std::string riff(const std::string& in_strChunks);

std::string fmt(std::uint32_t in_uiRate, std::uint32_t in_uiChannels = 1, std::uint32_t in_uiBits = 16,
                std::uint32_t in_uiTag = 1);
/// 16-bit samples.
std::string data(const std::vector<int>& in_vSamples);

struct Cue
{
    std::uint32_t m_uiId;
    std::uint32_t m_uiSample;
};
std::string cue(const std::vector<Cue>& in_vCues);
std::string labl(std::uint32_t in_uiId, const std::string& in_strText);
std::string note(std::uint32_t in_uiId, const std::string& in_strText);
std::string ltxt(std::uint32_t in_uiId, std::uint32_t in_uiLength, const std::string& in_strText = {});
std::string adtl(const std::string& in_strEntries);

struct Loop
{
    std::uint32_t m_uiId;
    std::uint32_t m_uiStart;
    std::uint32_t m_uiEnd;
};
std::string smpl(const std::vector<Loop>& in_vLoops);

} // namespace Wav

/// A labelled stretch of a recording, in samples.
struct WavRegion
{
    std::uint32_t m_uiStart;
    std::uint32_t m_uiStop;
    std::string m_strLabel;
};

/// A recording of one channel and 16 bits with its regions, as editors write it.
std::string annotatedWav(std::uint32_t in_uiRate, const std::vector<int>& in_vSamples,
                         const std::vector<WavRegion>& in_vRegions);

/// Samples of a sine of that amplitude (32767 is full scale), from phase 0.
std::vector<int> toneSamples(std::uint32_t in_uiRate, std::size_t in_uiCount, double in_dHz,
                             double in_dAmplitude);

/// Writes a recording of one channel and 16 bits that holds in_uiFrames zeros and takes next to no room on
/// the disk.
void writeSparseWav(const std::string& in_strPath, std::uint32_t in_uiRate, std::uint64_t in_uiFrames);

} // namespace Vexalor::Testing
