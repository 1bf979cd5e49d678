#include "templates/patterns/Guard.h"

#include <exception>

namespace tervik {
namespace templates {
namespace patterns {

void GenericLockGuard::enterOwned(GenericLock* lock) {
    try {
        lock->enter();
    } catch (...) {
        // The guard never came into being, so its destructor will not run:
        // an owned wrapper must not leak.
        delete lock;
        throw;
    }
}

void GenericLockGuard::endOwnedOrIdle(GenericLock* lock, bool ownsLock, bool enabled) {
    std::exception_ptr failure;
    if (enabled && lock != nullptr) {
        try {
            lock->leave();
        } catch (...) {
            failure = std::current_exception();
        }
    }
    if (ownsLock && lock != nullptr) {
        try {
            delete lock;
        } catch (...) {
            if (!failure) failure = std::current_exception();
        }
    }
    if (failure && std::uncaught_exceptions() == 0) std::rethrow_exception(failure);
}

}  // namespace patterns
}  // namespace templates
}  // namespace tervik
