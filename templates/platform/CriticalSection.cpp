#include "templates/platform/CriticalSection.h"

#include <cerrno>
#include <exception>

namespace tervik {
namespace templates {
namespace platform {

CriticalSection::CriticalSection() : m_foreignLock(false), m_lock(&m_cs) {
    pthread_mutexattr_t attr;
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_ERRORCHECK);
    pthread_mutex_init(&m_cs, &attr);
    pthread_mutexattr_destroy(&attr);
}

CriticalSection::CriticalSection(pthread_mutex_t* mutex) : m_foreignLock(true), m_cs(), m_lock(mutex) {}

CriticalSection::~CriticalSection() noexcept(false) {
    if (!m_foreignLock) {
        // Destroying a locked mutex is undefined: an own mutex that is still
        // marked held is given back first. The misuse itself is reported by
        // the held-flag check of ~GenericLock, which follows.
        if (m_locked) pthread_mutex_unlock(m_lock);
        pthread_mutex_destroy(m_lock);
    }
}

void CriticalSection::lockFailed(pthread_mutex_t* mutex, int rc) {
    if (rc != EDEADLK) return;
    pthread_mutex_unlock(mutex);
    throwAlreadyLocked();
}

void CriticalSection::unlockFailed(int rc) {
    if (rc == EPERM && std::uncaught_exceptions() == 0) throwNotHeld();
}

CriticalSectionGuard::CriticalSectionGuard(pthread_mutex_t* mutex)
    : patterns::GenericLockGuard(mutex != nullptr ? new CriticalSection(mutex) : nullptr, true) {}

}  // namespace platform
}  // namespace templates
}  // namespace tervik
