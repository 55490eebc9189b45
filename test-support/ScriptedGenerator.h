#pragma once

#include "MLDataGenerator.h"

#include <cstdint>
#include <ostream>
#include <utility>
#include <vector>

namespace Vexalor::Testing
{

/// Without patterns and sequences.
class EmptyGenerator : public virtual MachineLearning::DataGenerator
{
public:
    bool gotoStart() override { return true; }
    bool generateNext() override { return false; }
    bool atEnd() const override { return true; }
    bool getInput(DoubleVector&) override { return false; }
    bool getTarget(DoubleVector&) override { return false; }
    std::ostream& dumpStatus(std::ostream& out_stream) override { return out_stream; }
};

/// Delivers patterns from a list; fails on demand.
class ScriptedGenerator
    : public virtual MachineLearning::DataGenerator
    , public virtual MachineLearning::MultiPassDataGenerator
{
public:
    struct Pattern
    {
        DoubleVector m_vInput;
        DoubleVector m_vTarget; ///< empty: no target
        bool m_bReset = false;  ///< first of a sequence
    };

    explicit ScriptedGenerator(std::vector<Pattern> in_vPatterns)
        : m_vPatterns(std::move(in_vPatterns))
    {
    }

    Fallible<const char*> getLibName() override { return Fallible<const char*>("a host"); }

    bool gotoStart() override
    {
        m_uiNext = 0;
        return m_bStartWorks && (m_pEntity.isNull() || m_pEntity->reset());
    }

    bool generateNext() override
    {
        if (m_uiNext == m_uiFailBefore)
            return false;
        if (m_uiNext >= m_vPatterns.size())
        {
            m_uiNext = m_vPatterns.size() + 1;
            return false;
        }
        if (m_vPatterns[m_uiNext].m_bReset && !m_pEntity.isNull())
            m_pEntity->reset();
        ++m_uiNext;
        return true;
    }

    bool atEnd() const override { return m_uiNext > m_vPatterns.size(); }

    bool getInput(DoubleVector& out_vInput) override
    {
        if (!m_bInputWorks || m_uiNext == 0 || atEnd())
            return false;
        out_vInput = m_vPatterns[m_uiNext - 1].m_vInput;
        return true;
    }

    bool getTarget(DoubleVector& out_vTarget) override
    {
        if (m_uiNext == 0 || atEnd() || m_vPatterns[m_uiNext - 1].m_vTarget.empty())
            return false;
        out_vTarget = m_vPatterns[m_uiNext - 1].m_vTarget;
        return true;
    }

    std::ostream& dumpStatus(std::ostream& out_stream) override
    {
        return out_stream << "Scripted " << m_uiNext;
    }
    bool endedCleanly() const override { return m_bCleanEnd; }

    bool setEntityToReset(Handle<Resettable, ReferenceCount> in_entity) override
    {
        m_pEntity = in_entity;
        return true;
    }

    bool m_bStartWorks = true;
    bool m_bInputWorks = true;
    bool m_bCleanEnd = true;
    std::size_t m_uiFailBefore = SIZE_MAX; ///< the stream stops before this pattern, not at its end

private:
    std::vector<Pattern> m_vPatterns;
    std::size_t m_uiNext = 0;
    Handle<Resettable, ReferenceCount> m_pEntity;
};

} // namespace Vexalor::Testing
