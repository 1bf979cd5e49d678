#include "templates/patterns/GenericLock.h"

#include <exception>
#include <stdexcept>

namespace tervik {
namespace templates {
namespace patterns {

GenericLock::~GenericLock() noexcept(false)
{
    // Raise only when nothing else is in flight: raising while unwinding
    // would end the process and hide the original failure.
    if (m_locked && std::uncaught_exceptions() == 0)
        throw std::logic_error("GenericLock object destroyed with lock still held");
}

void GenericLock::enter()
{
    acquire();
    if (m_locked) {
        release();
        throw std::logic_error("GenericLock object got lock but is already marked as locked");
    }
    m_locked = true;
}

bool GenericLock::try_enter(unsigned int timeout)
{
    if (!try_acquire(timeout))
        return false;
    if (m_locked) {
        release();
        throw std::logic_error("GenericLock object got lock but is already marked as locked");
    }
    m_locked = true;
    return true;
}

void GenericLock::leave()
{
    if (!m_locked)
        throw std::logic_error("GenericLock::leave() called with lock not held");
    m_locked = false;
    release();
}

} // namespace patterns
} // namespace templates
} // namespace tervik
