#pragma once

#include "quillcast-audio/Annotation.h"
#include "quillcast-core/StringVector.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Vexalor
{

/// A stretch of a recording in samples, stop excluded.
struct SampleRange
{
    std::uint64_t m_uiStart;
    std::uint64_t m_uiStop;
};

/// The stretches of [0, in_uiFrames) that no annotation covers, in their order.
std::vector<SampleRange> findGaps(const std::vector<Annotation>& in_vAnnotations, std::uint32_t in_uiRate,
                                  std::uint64_t in_uiFrames);

/// Changes that are made to annotations on their way: labels renamed, gaps filled, joined, sorted, in this
/// order. Where stretches of a label that was given by the first two touch they become one, in the place of
/// the earlier one: what reads annotations refuses those of one class that touch.
class AnnotationEdits
{
public:
    /// Each of in_vMaps is "A=B": what is labelled A becomes B, all at once, so that labels can be exchanged.
    /// False, with out_strError set, for anything else and for two mappings of one label.
    bool setMaps(const StringVector& in_vMaps, std::string& out_strError);
    /// Gaps get this label and come after the others.
    void setFill(const std::string& in_strLabel);
    /// All that touch or overlap others of their label become one.
    void setJoin(bool in_bJoin) { m_bJoin = in_bJoin; }
    /// By start, then stop; equal ones keep their order.
    void setSort(bool in_bSort) { m_bSort = in_bSort; }

    /// True when apply needs to know how long the recording is.
    bool needsLength() const { return m_bFill; }
    void apply(std::vector<Annotation>& io_vAnnotations, std::vector<Annotation>& io_vMarkers,
               std::uint32_t in_uiRate, std::uint64_t in_uiFrames) const;

private:
    void renameLabels(std::vector<Annotation>& io_vAnnotations) const;
    bool gives(const std::string& in_strLabel) const;
    void joinTouching(std::vector<Annotation>& io_vAnnotations, std::uint32_t in_uiRate) const;

    std::map<std::string, std::string> m_labels;
    std::string m_strFill;
    bool m_bFill = false;
    bool m_bJoin = false;
    bool m_bSort = false;
};

} // namespace Vexalor
