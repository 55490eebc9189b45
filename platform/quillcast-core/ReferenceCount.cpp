#include "quillcast-core/ReferenceCount.h"

#include <ace/Guard_T.h>
#include <ace/Thread_Mutex.h>

namespace Vexalor
{

struct TSReferenceCount::State
{
    ACE_Thread_Mutex m_mutex;
    std::size_t m_uiCount = 1;
};

TSReferenceCount::TSReferenceCount()
    : m_pState(std::make_unique<State>())
{
}

TSReferenceCount::~TSReferenceCount() = default;

void TSReferenceCount::increment()
{
    ACE_Guard<ACE_Thread_Mutex> guard(m_pState->m_mutex);
    ++m_pState->m_uiCount;
}

bool TSReferenceCount::decrement()
{
    ACE_Guard<ACE_Thread_Mutex> guard(m_pState->m_mutex);
    return --m_pState->m_uiCount == 0;
}

std::size_t TSReferenceCount::get() const
{
    ACE_Guard<ACE_Thread_Mutex> guard(m_pState->m_mutex);
    return m_pState->m_uiCount;
}

} // namespace Vexalor
