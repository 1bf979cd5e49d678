#include "templates/patterns/Guard.h"

#include <exception>

namespace tervik {
namespace templates {
namespace patterns {

GenericLockGuard::GenericLockGuard(GenericLock* lock, bool ownsLock)
    : Guard<GenericLock*>(lock), m_ownsLock(ownsLock)
{
    if (lock == nullptr)
        return;
    try {
        lock->enter();
    } catch (...) {
        // The guard never came into being, so its destructor will not run:
        // an owned wrapper must not leak.
        if (m_ownsLock)
            delete lock;
        throw;
    }
}

GenericLockGuard::~GenericLockGuard() noexcept(false)
{
    GenericLock* lock = getGuardedObject();
    std::exception_ptr failure;
    if (isEnabled() && lock != nullptr) {
        try {
            lock->leave();
        } catch (...) {
            failure = std::current_exception();
        }
    }
    if (m_ownsLock && lock != nullptr) {
        try {
            delete lock;
        } catch (...) {
            if (!failure)
                failure = std::current_exception();
        }
        m_guarded_object = nullptr;
    }
    if (failure && std::uncaught_exceptions() == 0)
        std::rethrow_exception(failure);
}

} // namespace patterns
} // namespace templates
} // namespace tervik
