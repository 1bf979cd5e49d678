#ifndef TERVIK_TEMPLATES_PLATFORM_CRITICALSECTION_H
#define TERVIK_TEMPLATES_PLATFORM_CRITICALSECTION_H

#include <pthread.h>

#include "templates/patterns/GenericLock.h"
#include "templates/patterns/Guard.h"

namespace tervik {
namespace templates {
namespace platform {

/**
 * GenericLock over a POSIX mutex.
 *
 * The default constructor makes an own error-checking mutex (so a second
 * enter() by the holding thread fails at once instead of deadlocking and is
 * reported by GenericLock); the other constructor works on a mutex that
 * belongs to the caller and is never destroyed here. The return codes of the
 * mutex operations are not examined; a try never waits, whatever time-out is
 * given.
 */
class CriticalSection : public patterns::GenericLock {
public:
    CriticalSection();
    explicit CriticalSection(pthread_mutex_t* mutex);
    virtual ~CriticalSection() noexcept(false);

protected:
    // Inline, so that where the object's type is known (a CriticalSection
    // member entered through a guard) the calls resolve at compile time.
    virtual void acquire()
    {
        if (m_lock != nullptr)
            pthread_mutex_lock(m_lock);
    }
    virtual bool try_acquire(unsigned int /*timeout: a try never waits*/)
    {
        return m_lock != nullptr && pthread_mutex_trylock(m_lock) == 0;
    }
    virtual void release()
    {
        if (m_lock != nullptr)
            pthread_mutex_unlock(m_lock);
    }

private:
    CriticalSection(const CriticalSection&);
    CriticalSection& operator=(const CriticalSection&);

    const bool m_foreignLock;
    pthread_mutex_t m_cs;
    pthread_mutex_t* m_lock;
};

/**
 * Scope guard that enters a CriticalSection.
 *
 * On a CriticalSection the guard does not own it. On a bare mutex the guard
 * wraps it in a CriticalSection of its own, which it deletes at its end; the
 * caller's mutex itself stays initialised.
 */
class CriticalSectionGuard : public patterns::GenericLockGuard {
public:
    explicit CriticalSectionGuard(CriticalSection* cs) : patterns::GenericLockGuard(cs, false) {}
    explicit CriticalSectionGuard(pthread_mutex_t* mutex);
    virtual ~CriticalSectionGuard() noexcept(false) {}
};

} // namespace platform
} // namespace templates
} // namespace tervik

#endif
