#ifndef TERVIK_TEMPLATES_PATTERNS_GUARD_H
#define TERVIK_TEMPLATES_PATTERNS_GUARD_H

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
    GenericLockGuard(GenericLock* lock, bool ownsLock);
    virtual ~GenericLockGuard() noexcept(false);

private:
    const bool m_ownsLock;
};

} // namespace patterns
} // namespace templates
} // namespace tervik

#endif
