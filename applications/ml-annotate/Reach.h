#pragma once

#include "quillcast-audio/Annotation.h"

#include <cstdint>
#include <string>
#include <utility>

namespace Vexalor
{

/// The annotation that reaches furthest among those that have started.
struct Reach
{
    const Annotation* m_pAnnotation = nullptr;
    std::uint64_t m_uiStop = 0;

    bool isLabelled(const std::string& in_strLabel) const
    {
        return m_pAnnotation != nullptr && m_pAnnotation->getLabel() == in_strLabel;
    }

    void extend(const Reach& in_other)
    {
        if (m_pAnnotation == nullptr || in_other.m_uiStop > m_uiStop)
            *this = in_other;
    }
};

/// The furthest of all, and the furthest of another label than that one has.
class TwoReaches
{
public:
    const Reach& getOther(const std::string& in_strLabel) const
    {
        return m_first.isLabelled(in_strLabel) ? m_second : m_first;
    }

    void extend(const Reach& in_reach)
    {
        if (m_first.isLabelled(in_reach.m_pAnnotation->getLabel()))
            m_first.extend(in_reach);
        else if (m_first.m_pAnnotation == nullptr || in_reach.m_uiStop > m_first.m_uiStop)
            m_second = std::exchange(m_first, in_reach);
        else
            m_second.extend(in_reach);
    }

private:
    Reach m_first;
    Reach m_second;
};

} // namespace Vexalor
