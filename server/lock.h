// A lock that needs no construction at run time, for objects that exist before and after all others.
#pragma once

#include "server/com.h"

namespace vex::server {

/// For std::lock_guard and std::shared_lock. Not recursive.
class Lock {
public:
    constexpr Lock() noexcept = default;
    Lock(const Lock&) = delete;
    Lock& operator=(const Lock&) = delete;

    void lock() noexcept { AcquireSRWLockExclusive(&lock_); }
    void unlock() noexcept { ReleaseSRWLockExclusive(&lock_); }
    void lock_shared() noexcept { AcquireSRWLockShared(&lock_); }
    void unlock_shared() noexcept { ReleaseSRWLockShared(&lock_); }

private:
    SRWLOCK lock_ = SRWLOCK_INIT;
};

}  // namespace vex::server
