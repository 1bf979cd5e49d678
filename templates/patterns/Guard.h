#ifndef TERVIK_TEMPLATES_PATTERNS_GUARD_H
#define TERVIK_TEMPLATES_PATTERNS_GUARD_H

#include <exception>

#include "templates/patterns/GenericLock.h"

namespace tervik {
namespace templates {
namespace patterns {

/**
 * Scope guard over a pointer to some lockable object. The base keeps the
 * object and an "enabled" flag; derived guards decide what enabling means
 * (typically: the guard still holds the object and undoes that at its end).
 *
 * The destructor is noexcept(false) so that derived guards may report lock
 * misuse from their destructors (see GenericLockGuard).
 */
template <typename T>
class Guard {
public:
    explicit Guard(T object) : m_guarded_object(object), m_is_enabled(true) {}
    virtual ~Guard() noexcept(false) {}

    void setEnabled(bool enabled) { m_is_enabled = enabled; }

protected:
    T getGuardedObject() const { return m_guarded_object; }
    bool isEnabled() const { return m_is_enabled; }

    T m_guarded_object;
    bool m_is_enabled;

private:
    Guard(const Guard&);
    Guard& operator=(const Guard&);
};

/**
 * Enters a GenericLock for the guard's lifetime. At its end, if still
 * enabled, the lock is left (with its misuse check); if the guard owns the
 * lock object, it then deletes it.
 *
 * A misuse found at the end (leave without the lock held, or an owned lock
 * destroyed while held) is raised as std::logic_error only when no other
 * exception is in flight; while unwinding it is swallowed so that the
 * exception already on its way is not turned into a termination. A null lock
 * makes a guard that does nothing.
 */
class GenericLockGuard : public Guard<GenericLock*> {
public:
    GenericLockGuard(GenericLock* lock, bool ownsLock) : Guard<GenericLock*>(lock), m_ownsLock(ownsLock) {
        if (lock == nullptr) return;
        if (ownsLock)
            enterOwned(lock);
        else
            lock->enter();
    }

    virtual ~GenericLockGuard() noexcept(false) {
        GenericLock* lock = getGuardedObject();
        if (m_ownsLock || lock == nullptr || !isEnabled()) {
            const bool enabled = isEnabled();
            if (m_ownsLock) m_guarded_object = nullptr;
            endOwnedOrIdle(lock, m_ownsLock, enabled);
            return;
        }
        // The usual end, inline: leave the lock; a misuse report passes on
        // only when no other exception is in flight.
        try {
            lock->leave();
        } catch (...) {
            if (std::uncaught_exceptions() == 0) throw;
        }
    }

private:
    // The rarer cases, out of line: entering a lock the guard owns (deleted
    // again if entering fails), and the end of an owning or disabled guard.
    // (They take the guard's state as arguments, so that the guard itself
    // never leaves the registers on the usual path.)
    static void enterOwned(GenericLock* lock);
    static void endOwnedOrIdle(GenericLock* lock, bool ownsLock, bool enabled);

    const bool m_ownsLock;
};

}  // namespace patterns
}  // namespace templates
}  // namespace tervik

#endif
