#include "inspect/InspectedPart.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <utility>

namespace Vexalor::MachineLearning
{

namespace
{

bool isClassValue(double in_dValue)
{
    return in_dValue == 0.0 || in_dValue == 1.0 || in_dValue == -1.0;
}

} // namespace

bool PatternStatistics::add(const DoubleVector& in_vInput, const DoubleVector* in_pTarget)
{
    if (in_vInput.size() != m_uiInputs)
        return false;
    if (in_pTarget != nullptr && getNbTargets() == 0)
    {
        m_vClassPatterns.resize(in_pTarget->size());
        m_inputs.setClasses(in_pTarget->size());
    }
    if (in_pTarget != nullptr && in_pTarget->size() != getNbTargets())
        return false;
    ++m_uiPatterns;
    m_inputs.add(in_vInput, findClasses(in_pTarget));
    return true;
}

/// The classes of a target, which are counted; null when there is none.
const std::vector<std::size_t>* PatternStatistics::findClasses(const DoubleVector* in_pTarget)
{
    if (in_pTarget == nullptr)
        return nullptr;
    m_vClasses.clear();
    for (std::size_t i = 0; i < in_pTarget->size(); ++i)
    {
        m_bClasses = m_bClasses && isClassValue((*in_pTarget)[i]);
        if ((*in_pTarget)[i] == 1.0)
            m_vClasses.push_back(i);
    }
    for (const std::size_t uiClass : m_vClasses)
        ++m_vClassPatterns[uiClass];
    m_uiWithoutClass += m_vClasses.empty() ? 1 : 0;
    m_uiSeveralClasses += m_vClasses.size() > 1 ? 1 : 0;
    return &m_vClasses;
}

bool PatternStatistics::append(const PatternStatistics& in_next)
{
    if (in_next.m_uiInputs != m_uiInputs ||
        (getNbTargets() != 0 && in_next.getNbTargets() != 0 && in_next.getNbTargets() != getNbTargets()))
        return false;
    PatternStatistics next = in_next;
    if (getNbTargets() == 0 && next.getNbTargets() != 0)
        m_inputs.setClasses(next.getNbTargets());
    if (getNbTargets() != 0 && next.getNbTargets() == 0)
        next.m_inputs.setClasses(getNbTargets());
    m_vClassPatterns.resize(m_inputs.getNbClasses());
    for (std::size_t i = 0; i < next.m_vClassPatterns.size(); ++i)
        m_vClassPatterns[i] += next.m_vClassPatterns[i];
    m_uiPatterns += next.m_uiPatterns;
    m_uiWithoutClass += next.m_uiWithoutClass;
    m_uiSeveralClasses += next.m_uiSeveralClasses;
    m_bClasses = m_bClasses && next.m_bClasses;
    return m_inputs.append(next.m_inputs);
}

/// Recordings are told once, by the first of their passes.
void InspectedPart::append(const InspectedPart& in_next)
{
    m_survey.append(in_next.m_survey);
    m_statistics.merge(in_next.m_statistics);
    m_uiPatterns += in_next.m_uiPatterns;
    m_uiWithoutTarget += in_next.m_uiWithoutTarget;
    if (in_next.m_sequences)
        m_sequences = m_sequences.value_or(0) + *in_next.m_sequences;
    for (const PatternStatistics& next : in_next.m_vSizes)
    {
        const auto itSame = std::find_if(m_vSizes.begin(), m_vSizes.end(),
                                         [&](const PatternStatistics& in_size)
                                         { return in_size.getNbInputs() == next.getNbInputs(); });
        if (itSame != m_vSizes.end())
            itSame->append(next);
        else if (m_vSizes.size() < MAX_SIZES)
            m_vSizes.push_back(next);
    }
    std::copy_if(in_next.m_vUnchanging.begin(), in_next.m_vUnchanging.end(),
                 std::back_inserter(m_vUnchanging),
                 [this](const std::string& in_strName) { return m_delivered.count(in_strName) == 0; });
    m_delivered.insert(in_next.m_delivered.begin(), in_next.m_delivered.end());
    m_vStops.insert(m_vStops.end(), in_next.m_vStops.begin(), in_next.m_vStops.end());
    m_bReached = m_bReached || in_next.m_bReached;
}

void InspectedPart::add(const DoubleVector& in_vInput, const DoubleVector* in_pTarget,
                        std::size_t in_uiMaxSizes)
{
    ++m_uiPatterns;
    m_uiWithoutTarget += in_pTarget == nullptr ? 1 : 0;
    const auto itSame = std::find_if(m_vSizes.begin(), m_vSizes.end(),
                                     [&](const PatternStatistics& in_size)
                                     { return in_size.getNbInputs() == in_vInput.size(); });
    if (itSame != m_vSizes.end())
        itSame->add(in_vInput, in_pTarget);
    else if (m_vSizes.size() < in_uiMaxSizes)
        m_vSizes.emplace_back(in_vInput.size()).add(in_vInput, in_pTarget);
}

/// After bytes were taken: seconds are numbers, also when those of all shares are added.
bool InspectedPart::hasPossibleTimes() const
{
    const auto isPossible = [](double in_dSeconds)
    {
        return std::abs(in_dSeconds) < 0x1p40;
    };
    return std::all_of(m_statistics.m_vRows.begin(), m_statistics.m_vRows.end(),
                       [&](const AudioClassStatistics::Row& in_row)
                       { return isPossible(in_row.m_dSeconds) && isPossible(in_row.m_dAnnotatedSeconds); }) &&
           std::all_of(m_survey.m_labels.begin(), m_survey.m_labels.end(),
                       [&](const auto& in_label) { return isPossible(in_label.second.m_dSeconds); });
}

const PatternStatistics& InspectedPart::getPatterns() const
{
    static const PatternStatistics NONE;
    return m_vSizes.empty() ? NONE : m_vSizes.front();
}

} // namespace Vexalor::MachineLearning
