// An owned handle. Only for the Windows sources of this folder.
#pragma once

#include <windows.h>

#include <utility>

namespace vex::net {

/// Closed with its owner.
class OwnedHandle {
public:
    explicit OwnedHandle(HANDLE value) noexcept : value_(value) {}
    OwnedHandle(OwnedHandle&& other) noexcept : value_(std::exchange(other.value_, nullptr)) {}
    OwnedHandle& operator=(OwnedHandle&&) = delete;
    ~OwnedHandle()
    {
        if (is_valid()) {
            ::CloseHandle(value_);
        }
    }
    [[nodiscard]] bool is_valid() const noexcept { return value_ != nullptr && value_ != INVALID_HANDLE_VALUE; }
    [[nodiscard]] HANDLE get() const noexcept { return value_; }

private:
    HANDLE value_;
};

/// An event that stays set until it is reset.
[[nodiscard]] inline OwnedHandle new_event() noexcept
{
    return OwnedHandle(::CreateEventW(nullptr, TRUE, FALSE, nullptr));
}

}  // namespace vex::net
