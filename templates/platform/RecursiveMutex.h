#ifndef TERVIK_TEMPLATES_PLATFORM_RECURSIVEMUTEX_H
#define TERVIK_TEMPLATES_PLATFORM_RECURSIVEMUTEX_H

#include <pthread.h>

#include <atomic>
#include <cstdint>

#include "templates/patterns/Guard.h"

namespace tervik {
namespace templates {
namespace platform {

/**
 * POSIX recursive mutex: the holding thread may lock it again. m_count
 * counts the lock operations not yet undone; it is changed after the mutex
 * operation succeeded (after locking, after unlocking) and is atomic because
 * the decrement happens after the mutex was given back.
 */
class RecursiveMutex {
public:
    RecursiveMutex();
    virtual ~RecursiveMutex();

    void lock();
    void unlock();
    /** One attempt, never waits; true (and counted) when the mutex was obtained. */
    bool trylock();
    /** True while some thread holds the mutex through this object. */
    bool isLocked() const;

private:
    RecursiveMutex(const RecursiveMutex&);
    RecursiveMutex& operator=(const RecursiveMutex&);

    pthread_mutex_t m_mutex;
    pthread_mutexattr_t m_mutexattr;
    std::atomic<std::uint32_t> m_count;
};

/**
 * Scope guard that locks a RecursiveMutex and, while still enabled, unlocks
 * it at its end. A null mutex makes a guard that does nothing.
 */
class RecursiveMutexGuard : public patterns::Guard<RecursiveMutex*> {
public:
    explicit RecursiveMutexGuard(RecursiveMutex* m);
    virtual ~RecursiveMutexGuard() noexcept(false);

    /** Unlock now; the guard's end then does nothing. No effect when already disabled. */
    void unlockAndDisable();
    /** Lock again; the guard's end unlocks once more. No effect when already enabled. */
    void lockAndEnable();
};

}  // namespace platform
}  // namespace templates
}  // namespace tervik

#endif
