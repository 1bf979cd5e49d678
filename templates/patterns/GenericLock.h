#ifndef TERVIK_TEMPLATES_PATTERNS_GENERICLOCK_H
#define TERVIK_TEMPLATES_PATTERNS_GENERICLOCK_H

#include <cstdint>

namespace tervik {
namespace templates {
namespace patterns {

/**
 * Abstract lock with its own "held" bookkeeping beside the underlying mutex.
 *
 * enter()/leave() keep the flag m_locked (written only while the mutex is
 * held) and report misuse as std::logic_error:
 *  - enter() that finds the flag already set after obtaining the mutex
 *    releases the mutex and raises
 *    "GenericLock object got lock but is already marked as locked";
 *  - leave() with the flag clear raises
 *    "GenericLock::leave() called with lock not held" and does not touch
 *    the mutex;
 *  - destroying the lock while the flag is set raises
 *    "GenericLock object destroyed with lock still held".
 *
 * Destructors that report misuse: the destructor raises its logic_error only
 * when no other exception is in flight (std::uncaught_exceptions() == 0).
 * During stack unwinding the misuse is deliberately left unreported, because
 * raising then would terminate the process and the exception already in
 * flight is the one that explains the failure. The destructor is therefore
 * declared noexcept(false); a class that holds a lock by value inherits that
 * (its own destructor becomes potentially throwing, and a virtual destructor
 * further up its hierarchy must be declared noexcept(false) as well).
 */
class GenericLock {
public:
    /** Time-out value meaning "wait without limit". */
    static constexpr std::uint32_t Infinite = 0xFFFFFFFFu;

    GenericLock() : m_locked(false) {}
    virtual ~GenericLock() noexcept(false);

    /** Blocks until the lock is held; misuse see above. */
    void enter() {
        acquire();
        if (m_locked) {
            release();
            throwAlreadyLocked();
        }
        m_locked = true;
    }

    /**
     * One attempt to take the lock. True when it was obtained and is now
     * marked held. If the attempt succeeds although the flag is already set
     * (only possible after an earlier misuse), the mutex is given back and
     * the same logic_error as for enter() is raised.
     */
    bool try_enter(unsigned int timeout);

    /** Gives the lock back; misuse see above. */
    void leave() {
        if (!m_locked) throwNotHeld();
        m_locked = false;
        release();
    }

protected:
    virtual void acquire() = 0;
    virtual bool try_acquire(unsigned int timeout) = 0;
    virtual void release() = 0;

    bool m_locked;

    // The misuse reports (out of line: enter() and leave() are inline, and a
    // derived lock may offer a shorter way in and out with the same reports).
    [[noreturn]] static void throwAlreadyLocked();
    [[noreturn]] static void throwNotHeld();

private:
    GenericLock(const GenericLock&);
    GenericLock& operator=(const GenericLock&);
};

}  // namespace patterns
}  // namespace templates
}  // namespace tervik

#endif
