#include "templates/patterns/GenericLock.h"

#include <exception>
#include <stdexcept>

namespace tervik {
namespace templates {
namespace patterns {

GenericLock::~GenericLock() noexcept(false) {
    // Raise only when nothing else is in flight: raising while unwinding
    // would end the process and hide the original failure.
    if (m_locked && std::uncaught_exceptions() == 0)
        throw std::logic_error("GenericLock object destroyed with lock still held");
}

void GenericLock::throwAlreadyLocked() {
    throw std::logic_error("GenericLock object got lock but is already marked as locked");
}

void GenericLock::throwNotHeld() { throw std::logic_error("GenericLock::leave() called with lock not held"); }

bool GenericLock::try_enter(unsigned int timeout) {
    if (!try_acquire(timeout)) return false;
    if (m_locked) {
        release();
        throwAlreadyLocked();
    }
    m_locked = true;
    return true;
}

}  // namespace patterns
}  // namespace templates
}  // namespace tervik
