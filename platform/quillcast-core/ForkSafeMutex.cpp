#include "quillcast-core/ForkSafeMutex.h"

#include <pthread.h>
#include <vector>

namespace Vexalor
{

namespace
{

/// All there are, and the lock of this list, which is taken first. Never destroyed: mutexes at namespace
/// scope die in any order.
struct ForkSafeMutexes
{
    static ForkSafeMutexes& instance()
    {
        static auto* pMutexes = new ForkSafeMutexes;
        return *pMutexes;
    }

    ForkSafeMutexes()
    {
        pthread_atfork([] { instance().lock(); }, [] { instance().unlock(); }, [] { instance().unlock(); });
    }

    void lock()
    {
        m_mutex.lock();
        for (ForkSafeMutex* pMutex : m_vMutexes)
            pMutex->lock();
    }

    void unlock()
    {
        for (ForkSafeMutex* pMutex : m_vMutexes)
            pMutex->unlock();
        m_mutex.unlock();
    }

    std::mutex m_mutex;
    std::vector<ForkSafeMutex*> m_vMutexes;
};

} // namespace

ForkSafeMutex::ForkSafeMutex()
{
    ForkSafeMutexes& mutexes = ForkSafeMutexes::instance();
    const std::lock_guard<std::mutex> lock(mutexes.m_mutex);
    mutexes.m_vMutexes.push_back(this);
}

ForkSafeMutex::~ForkSafeMutex()
{
    ForkSafeMutexes& mutexes = ForkSafeMutexes::instance();
    const std::lock_guard<std::mutex> lock(mutexes.m_mutex);
    std::erase(mutexes.m_vMutexes, this);
}

} // namespace Vexalor
