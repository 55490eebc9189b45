#pragma once

#include <cstddef>

namespace Vexalor::Testing
{

/// Counts the calls of the global operator new while it lives, in all threads. Linking it replaces that
/// operator in the whole test program.
class AllocationCounter
{
public:
    AllocationCounter();
    std::size_t getCount() const;

private:
    std::size_t m_uiStart;
};

} // namespace Vexalor::Testing
