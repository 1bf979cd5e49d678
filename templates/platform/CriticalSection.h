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
    virtual void acquire() {
        if (m_lock != nullptr) pthread_mutex_lock(m_lock);
    }
    virtual bool try_acquire(unsigned int /*timeout: a try never waits*/) {
        return m_lock != nullptr && pthread_mutex_trylock(m_lock) == 0;
    }
    virtual void release() {
        if (m_lock != nullptr) pthread_mutex_unlock(m_lock);
    }

private:
    friend class CriticalSectionScope;

    // enter() and leave() as CriticalSectionScope makes them. The held flag
    // is left alone: the error-checking mutex keeps its owner itself and
    // answers a second lock by the holding thread (EDEADLK) and an unlock by
    // a thread that does not hold it (EPERM) without waiting or changing
    // anything, so its answers give the same misuse reports.
    void enterScope() {
        if (int rc = pthread_mutex_lock(m_lock)) lockFailed(m_lock, rc);
    }
    void leaveScope() {
        if (int rc = pthread_mutex_unlock(m_lock)) unlockFailed(rc);
    }
    // A second entry (EDEADLK): the mutex is given back, as enter() gives it
    // back, and the misuse reported. Other failures are not examined.
    static void lockFailed(pthread_mutex_t* mutex, int rc);
    // A leave without the lock held (EPERM): reported as leave() reports it,
    // unless another exception is in flight. Other failures are not examined.
    static void unlockFailed(int rc);

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

/**
 * CriticalSectionGuard's scope form for a CriticalSection known by its type:
 * enters the lock at construction and leaves it at the end of the scope, with
 * the same misuse reports, but keeps no bookkeeping of its own (a guard that
 * neither owns its lock nor is ever disabled needs no flags and no virtual
 * table), calls the mutex without the lock's virtual operations and lets the
 * error-checking mutex tell misuse instead of the lock's held flag, which it
 * leaves clear. For a lock that has a mutex (its own, or a foreign one that
 * is not NULL). The guard of every typed parameter access.
 */
class CriticalSectionScope {
public:
    explicit CriticalSectionScope(CriticalSection& cs) : m_cs(cs) { cs.enterScope(); }
    ~CriticalSectionScope() noexcept(false) { m_cs.leaveScope(); }

private:
    CriticalSectionScope(const CriticalSectionScope&);
    CriticalSectionScope& operator=(const CriticalSectionScope&);

    CriticalSection& m_cs;
};

}  // namespace platform
}  // namespace templates
}  // namespace tervik

#endif
