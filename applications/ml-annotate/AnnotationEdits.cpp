#include "ml-annotate/AnnotationEdits.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace Vexalor
{

namespace
{

void sortByTime(std::vector<Annotation>& io_vAnnotations)
{
    std::stable_sort(io_vAnnotations.begin(), io_vAnnotations.end(),
                     [](const Annotation& in_left, const Annotation& in_right)
                     {
                         return std::pair(in_left.getStartTime(), in_left.getStopTime()) <
                                std::pair(in_right.getStartTime(), in_right.getStopTime());
                     });
}

std::uint64_t toSample(double in_dTime, std::uint32_t in_uiRate)
{
    return static_cast<std::uint64_t>(std::llround(in_dTime * in_uiRate));
}

Annotation join(const Annotation& in_first, const Annotation& in_second)
{
    const std::string& strNote = in_first.getNote();
    const char* separator = strNote.empty() || in_second.getNote().empty() ? "" : "; ";
    return {in_first.getLabel(), in_first.getStartTime(),
            std::max(in_first.getStopTime(), in_second.getStopTime()),
            strNote + separator + in_second.getNote()};
}

} // namespace

std::vector<SampleRange> findGaps(const std::vector<Annotation>& in_vAnnotations, std::uint32_t in_uiRate,
                                  std::uint64_t in_uiFrames)
{
    std::vector<Annotation> vSorted = in_vAnnotations;
    sortByTime(vSorted);
    std::vector<SampleRange> vGaps;
    std::uint64_t uiCovered = 0;
    for (const Annotation& annotation : vSorted)
    {
        if (annotation.getStopTime() <= annotation.getStartTime())
            continue;
        const std::uint64_t uiStart = std::min(toSample(annotation.getStartTime(), in_uiRate), in_uiFrames);
        if (uiStart > uiCovered)
            vGaps.push_back({uiCovered, uiStart});
        uiCovered = std::max({uiCovered, uiStart, toSample(annotation.getStopTime(), in_uiRate)});
    }
    if (uiCovered < in_uiFrames)
        vGaps.push_back({uiCovered, in_uiFrames});
    return vGaps;
}

bool AnnotationEdits::setMaps(const StringVector& in_vMaps, std::string& out_strError)
{
    for (const std::string& strMap : in_vMaps)
    {
        const std::size_t uiEqual = strMap.find('=');
        if (uiEqual == std::string::npos)
            out_strError = "\"" + strMap + "\" is no mapping of the form A=B";
        else if (!m_labels.emplace(strMap.substr(0, uiEqual), strMap.substr(uiEqual + 1)).second)
            out_strError = "label \"" + strMap.substr(0, uiEqual) + "\" is mapped twice";
        if (!out_strError.empty())
            return false;
    }
    return true;
}

void AnnotationEdits::setFill(const std::string& in_strLabel)
{
    m_strFill = in_strLabel;
    m_bFill = true;
}

void AnnotationEdits::renameLabels(std::vector<Annotation>& io_vAnnotations) const
{
    for (Annotation& annotation : io_vAnnotations)
    {
        const auto itLabel = m_labels.find(annotation.getLabel());
        if (itLabel != m_labels.end())
            annotation.setLabel(itLabel->second);
    }
}

bool AnnotationEdits::gives(const std::string& in_strLabel) const
{
    return (m_bFill && in_strLabel == m_strFill) ||
           std::any_of(m_labels.begin(), m_labels.end(),
                       [&](const auto& in_map) { return in_map.second == in_strLabel; });
}

void AnnotationEdits::joinTouching(std::vector<Annotation>& io_vAnnotations, std::uint32_t in_uiRate) const
{
    std::vector<std::size_t> vOrder;
    for (std::size_t i = 0; i < io_vAnnotations.size(); ++i)
        if (io_vAnnotations[i].getStartTime() < io_vAnnotations[i].getStopTime() &&
            (m_bJoin || gives(io_vAnnotations[i].getLabel())))
            vOrder.push_back(i);
    std::stable_sort(
        vOrder.begin(), vOrder.end(),
        [&](std::size_t in_uiLeft, std::size_t in_uiRight)
        { return io_vAnnotations[in_uiLeft].getStartTime() < io_vAnnotations[in_uiRight].getStartTime(); });
    std::map<std::string, std::size_t> latest; // of each label
    std::vector<bool> vJoined(io_vAnnotations.size(), false);
    for (const std::size_t uiIndex : vOrder)
    {
        const Annotation& annotation = io_vAnnotations[uiIndex];
        const auto itLatest = latest.find(annotation.getLabel());
        const std::uint64_t uiStart = toSample(annotation.getStartTime(), in_uiRate);
        const std::uint64_t uiReached =
            itLatest == latest.end() ? 0
                                     : toSample(io_vAnnotations[itLatest->second].getStopTime(), in_uiRate);
        if (itLatest == latest.end() || uiReached < uiStart || (uiReached > uiStart && !m_bJoin))
        {
            latest[annotation.getLabel()] = uiIndex;
            continue;
        }
        io_vAnnotations[itLatest->second] = join(io_vAnnotations[itLatest->second], annotation);
        vJoined[uiIndex] = true;
    }
    std::size_t uiKept = 0;
    for (std::size_t i = 0; i < io_vAnnotations.size(); ++i)
        if (!vJoined[i])
            std::swap(io_vAnnotations[uiKept++], io_vAnnotations[i]);
    io_vAnnotations.erase(io_vAnnotations.begin() + static_cast<std::ptrdiff_t>(uiKept),
                          io_vAnnotations.end());
}

void AnnotationEdits::apply(std::vector<Annotation>& io_vAnnotations, std::vector<Annotation>& io_vMarkers,
                            std::uint32_t in_uiRate, std::uint64_t in_uiFrames) const
{
    renameLabels(io_vAnnotations);
    renameLabels(io_vMarkers);
    if (m_bFill)
    {
        const double dRate = in_uiRate;
        for (const SampleRange& gap : findGaps(io_vAnnotations, in_uiRate, in_uiFrames))
            io_vAnnotations.emplace_back(m_strFill, static_cast<double>(gap.m_uiStart) / dRate,
                                         static_cast<double>(gap.m_uiStop) / dRate);
    }
    joinTouching(io_vAnnotations, in_uiRate);
    if (!m_bSort)
        return;
    sortByTime(io_vAnnotations);
    sortByTime(io_vMarkers);
}

} // namespace Vexalor
