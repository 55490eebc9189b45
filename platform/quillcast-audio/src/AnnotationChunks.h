#pragma once

#include "quillcast-audio/Annotation.h"
#include "quillcast-core/StringVector.h"

#include <cstdint>
#include <set>
#include <string>
#include <vector>

namespace Vexalor
{

/// Builds the "cue " and "LIST" chunks that hold annotations and markers, as editors write them: one cue
/// point each, a "labl" with its label, for a stretch a "ltxt" with the purpose "rgn " and its length, and a
/// "note" if it has one.
class AnnotationChunks
{
public:
    /// in_takenIds are left out when cue points are numbered.
    AnnotationChunks(std::uint32_t in_uiRate, std::set<std::uint32_t> in_takenIds);

    /// False, with getError set, for what cannot be stored.
    bool add(const Annotation& in_annotation, bool in_bMarker);

    /// Both chunks with their headers, in pieces that follow each other; none when nothing was added. Those
    /// that were added are gone then.
    StringVector takePieces();

    const std::string& getError() const { return m_strError; }

private:
    bool toSample(double in_dTime, std::uint32_t& out_uiSample);
    bool checkText(const std::string& in_strText);
    void append(const Annotation& in_annotation, std::uint32_t in_uiStart, std::uint32_t in_uiLength);

    std::uint32_t m_uiRate;
    std::set<std::uint32_t> m_takenIds;
    std::uint32_t m_uiLastId = 0;
    std::uint32_t m_uiCount = 0;
    std::string m_strCues;
    std::string m_strTexts;
    std::string m_strError;
};

} // namespace Vexalor
