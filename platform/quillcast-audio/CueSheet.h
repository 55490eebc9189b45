#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace Vexalor
{

/// What a WAV recording says of its own samples, in its "fmt " chunk.
struct WavFormat
{
    std::uint16_t m_uiTag = 0; ///< kind of coding: 1 whole numbers, 3 floating point, 6 A-law, 7 mu-law...
    std::uint16_t m_uiChannels = 0;
    std::uint32_t m_uiRate = 0;       ///< Hz
    std::uint32_t m_uiByteRate = 0;   ///< bytes per second
    std::uint16_t m_uiBlockAlign = 0; ///< bytes per frame
    std::uint16_t m_uiBits = 0;       ///< per sample of one channel
};

/// A point of the "cue " chunk, with the texts that other chunks give to its id.
struct CuePoint
{
    std::uint32_t m_uiId = 0;
    std::uint32_t m_uiPosition = 0; ///< in the play order
    std::string m_strChunkId;       ///< of the chunk that holds the samples: "data"
    std::uint32_t m_uiChunkStart = 0;
    std::uint32_t m_uiBlockStart = 0;
    std::uint32_t m_uiSampleOffset = 0; ///< the frame it stands at
    std::optional<std::string> m_label;
    std::optional<std::string> m_note;
};

/// A "ltxt" record: a length, and perhaps a text, for a cue point.
struct CueText
{
    std::uint32_t m_uiCueId = 0;
    std::uint32_t m_uiSampleLength = 0; ///< frames
    std::string m_strPurpose;           ///< 4 characters: "rgn " for a region
    std::uint16_t m_uiCountry = 0;
    std::uint16_t m_uiLanguage = 0;
    std::uint16_t m_uiDialect = 0;
    std::uint16_t m_uiCodePage = 0;
    std::string m_strText;
};

/// A loop of the "smpl" chunk.
struct SampleLoop
{
    std::uint32_t m_uiCueId = 0;
    std::uint32_t m_uiType = 0;
    std::uint32_t m_uiStart = 0; ///< frame
    std::uint32_t m_uiEnd = 0;   ///< frame
    std::uint32_t m_uiFraction = 0;
    std::uint32_t m_uiPlayCount = 0;
};

/// The cue points of a recording and what belongs to them, as the file has them. Texts are the bytes of the
/// file up to the first zero: the format declares no encoding.
struct CueSheet
{
    std::vector<CuePoint> m_vCues; ///< in the order of the "cue " chunk
    std::vector<CueText> m_vTexts; ///< in the order of the file
    std::vector<SampleLoop> m_vLoops;
    std::map<std::uint32_t, std::string> m_labelsWithoutCue; ///< by the id they name
};

} // namespace Vexalor
