#pragma once

#include "quillcast-core/Object.h"

namespace Vexalor::Testing
{

/// An entity to reset that counts its resets and fails on demand.
class CountingResettable : public virtual Resettable
{
public:
    bool reset() override
    {
        ++m_iResets;
        return m_bResult;
    }

    int m_iResets = 0;
    bool m_bResult = true;
};

} // namespace Vexalor::Testing
