#include "ml-annotate/AnnotationCheck.h"

#include "ml-annotate/AnnotationEdits.h"
#include "ml-annotate/Reach.h"
#include "quillcast-audio/ToneAnnotations.h"
#include "quillcast-core/MessageText.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace Vexalor
{

namespace
{

std::string describe(const Annotation& in_annotation)
{
    return MessageText::quote(in_annotation.getLabel()) + ' ' +
           MessageText::toText(in_annotation.getStartTime()) + '-' +
           MessageText::toText(in_annotation.getStopTime()) + " s";
}

class Checker
{
public:
    Checker(std::uint32_t in_uiRate, std::uint64_t in_uiFrames)
        : m_uiRate(in_uiRate)
        , m_uiFrames(in_uiFrames)
    {
    }

    /// In the order of their starts.
    void visit(const Annotation& in_annotation);
    std::vector<Finding> takeFindings(const std::vector<Annotation>& in_vAnnotations);

private:
    void compare(const Annotation& in_annotation, std::uint64_t in_uiStart, std::uint64_t in_uiStop);
    void compareTones(const Annotation& in_annotation, std::uint64_t in_uiStart, std::uint64_t in_uiStop);
    void addOrder(const Annotation& in_earlier, const Annotation& in_later, const char* in_who,
                  bool in_bEarlierFirst);
    void add(const char* in_kind, const std::string& in_strText)
    {
        m_findings[in_kind].push_back(in_strText);
    }
    std::uint64_t toSample(double in_dTime) const
    {
        return static_cast<std::uint64_t>(std::llround(in_dTime * m_uiRate));
    }

    std::uint32_t m_uiRate;
    std::uint64_t m_uiFrames;
    std::map<std::string, Reach> m_reachOfLabel;
    TwoReaches m_reaches;
    Reach m_tones;
    std::map<std::string, StringVector> m_findings;
};

void Checker::visit(const Annotation& in_annotation)
{
    const std::uint64_t uiStart = toSample(in_annotation.getStartTime());
    const std::uint64_t uiStop = toSample(in_annotation.getStopTime());
    if (std::max(uiStart, uiStop) > m_uiFrames)
        add("beyond", describe(in_annotation) + ", the recording ends at " +
                          MessageText::toText(static_cast<double>(m_uiFrames) / m_uiRate) + " s");
    if (uiStop < uiStart)
        add("inverted", describe(in_annotation));
    else
        compare(in_annotation, uiStart, uiStop);
}

void Checker::compare(const Annotation& in_annotation, std::uint64_t in_uiStart, std::uint64_t in_uiStop)
{
    Reach& same = m_reachOfLabel[in_annotation.getLabel()];
    const Reach& other = m_reaches.getOther(in_annotation.getLabel());
    if (in_uiStart < same.m_uiStop)
        add("overlap", describe(*same.m_pAnnotation) + " and " + describe(in_annotation));
    else if (same.m_pAnnotation != nullptr && in_uiStart == same.m_uiStop)
    {
        add("touching", describe(*same.m_pAnnotation) + " and " + describe(in_annotation));
        addOrder(*same.m_pAnnotation, in_annotation, "a generator", false);
    }
    if (in_uiStart < other.m_uiStop)
        add("mixed", describe(*other.m_pAnnotation) + " and " + describe(in_annotation));
    same.extend({&in_annotation, in_uiStop});
    m_reaches.extend({&in_annotation, in_uiStop});
    compareTones(in_annotation, in_uiStart, in_uiStop);
}

/// Those of a wideband generator, which cuts a tone out of an earlier one, and only so; tones that begin
/// together it takes in any order.
void Checker::compareTones(const Annotation& in_annotation, std::uint64_t in_uiStart, std::uint64_t in_uiStop)
{
    constexpr double SAME_START = 0.01; // s
    SingleFrequencyAnnotationImpl tone;
    if (!tone.setLabel(in_annotation.getLabel()))
        return;
    if (in_uiStart < m_tones.m_uiStop &&
        in_annotation.getStartTime() - m_tones.m_pAnnotation->getStartTime() >= SAME_START)
        addOrder(*m_tones.m_pAnnotation, in_annotation, "a wideband generator", true);
    m_tones.extend({&in_annotation, in_uiStop});
}

/// Two that in_who takes when the earlier one comes first in the file, or only when it does not. Both are
/// elements of the vector of annotations.
void Checker::addOrder(const Annotation& in_earlier, const Annotation& in_later, const char* in_who,
                       bool in_bEarlierFirst)
{
    const bool bTaken = (&in_earlier < &in_later) == in_bEarlierFirst;
    add("order", describe(in_earlier) + " and " + describe(in_later) + ", " + in_who +
                     (bTaken ? " takes them only" : " refuses them") + " in the order of the file");
}

std::vector<Finding> Checker::takeFindings(const std::vector<Annotation>& in_vAnnotations)
{
    for (const SampleRange& gap : findGaps(in_vAnnotations, m_uiRate, m_uiFrames))
        add("uncovered", MessageText::toText(static_cast<double>(gap.m_uiStart) / m_uiRate) + "-" +
                             MessageText::toText(static_cast<double>(gap.m_uiStop) / m_uiRate) + " s");
    std::vector<Finding> vFindings;
    for (const FindingKind& kind : FINDING_KINDS)
        for (const std::string& strText : m_findings[kind.m_name])
            vFindings.push_back({kind.m_name, strText});
    return vFindings;
}

} // namespace

std::vector<Finding> checkAnnotations(const std::vector<Annotation>& in_vAnnotations, std::uint32_t in_uiRate,
                                      std::uint64_t in_uiFrames)
{
    std::vector<const Annotation*> vSorted;
    for (const Annotation& annotation : in_vAnnotations)
        vSorted.push_back(&annotation);
    std::stable_sort(vSorted.begin(), vSorted.end(),
                     [](const Annotation* in_pLeft, const Annotation* in_pRight)
                     { return in_pLeft->getStartTime() < in_pRight->getStartTime(); });
    Checker checker(in_uiRate, in_uiFrames);
    for (const Annotation* pAnnotation : vSorted)
        checker.visit(*pAnnotation);
    return checker.takeFindings(in_vAnnotations);
}

} // namespace Vexalor
