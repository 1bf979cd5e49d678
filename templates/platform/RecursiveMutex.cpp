#include "templates/platform/RecursiveMutex.h"

namespace tervik {
namespace templates {
namespace platform {

RecursiveMutex::RecursiveMutex() : m_count(0) {
    // The attribute object lives as long as the mutex.
    pthread_mutexattr_init(&m_mutexattr);
    pthread_mutexattr_settype(&m_mutexattr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&m_mutex, &m_mutexattr);
}

RecursiveMutex::~RecursiveMutex() {
    pthread_mutex_destroy(&m_mutex);
    pthread_mutexattr_destroy(&m_mutexattr);
}

void RecursiveMutex::lock() {
    if (pthread_mutex_lock(&m_mutex) == 0) ++m_count;
}

void RecursiveMutex::unlock() {
    // An unlock by a thread that does not hold the mutex fails and must not
    // disturb the count of the holder.
    if (pthread_mutex_unlock(&m_mutex) == 0) --m_count;
}

bool RecursiveMutex::trylock() {
    if (pthread_mutex_trylock(&m_mutex) != 0) return false;
    ++m_count;
    return true;
}

bool RecursiveMutex::isLocked() const { return m_count.load() != 0; }

RecursiveMutexGuard::RecursiveMutexGuard(RecursiveMutex* m) : patterns::Guard<RecursiveMutex*>(m) {
    if (m != nullptr) m->lock();
}

RecursiveMutexGuard::~RecursiveMutexGuard() noexcept(false) {
    if (isEnabled() && getGuardedObject() != nullptr) getGuardedObject()->unlock();
}

void RecursiveMutexGuard::unlockAndDisable() {
    if (isEnabled() && getGuardedObject() != nullptr) getGuardedObject()->unlock();
    setEnabled(false);
}

void RecursiveMutexGuard::lockAndEnable() {
    if (!isEnabled() && getGuardedObject() != nullptr) getGuardedObject()->lock();
    setEnabled(true);
}

}  // namespace platform
}  // namespace templates
}  // namespace tervik
