#pragma once

#include "WavStructure.h"
#include "quillcast-audio/CueSheet.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Vexalor
{

/// Collects the cue points of a WAV file with their labels, notes, lengths and loops, whatever the order of
/// the chunks. A damaged record makes the whole sheet fail: labels that cannot be trusted are worse than
/// none.
class CueSheetReader
{
public:
    /// Longest label or note in bytes; a longer one is damage.
    static constexpr std::uint64_t MAX_LABEL_SIZE = std::uint64_t(1) << 20;

    /// False, with getError set, for a damaged chunk and a source that fails. in_structure is that of the
    /// source.
    bool read(IffSource& io_source, const WavStructure& in_structure);

    CueSheet& getSheet() { return m_sheet; }
    /// Oddities that do no harm, one line each.
    const std::vector<std::string>& getWarnings() const { return m_vWarnings; }
    const std::string& getError() const { return m_strError; }

private:
    struct NamedText
    {
        std::uint32_t m_uiCueId;
        std::string m_strText;
    };

    bool readChunk(IffSource& io_source, const IffChunk& in_chunk);
    bool readCues(const std::string& in_strData);
    bool readLoops(const std::string& in_strData);
    bool readList(IffSource& io_source, const IffChunk& in_chunk);
    bool readListEntry(const std::string& in_strId, const std::string& in_strData);
    bool readLongText(const std::string& in_strData);
    void attachTexts();
    bool fail(const std::string& in_strError);

    CueSheet m_sheet;
    std::vector<NamedText> m_vLabels;
    std::vector<NamedText> m_vNotes;
    std::vector<std::string> m_vWarnings;
    std::string m_strError;
};

} // namespace Vexalor
