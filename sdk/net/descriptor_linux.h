// An owned descriptor. Only for the Linux sources of this folder.
#pragma once

#include <unistd.h>

#include <utility>

namespace vex::net {

/// Closed with its owner.
class Descriptor {
public:
    explicit Descriptor(int value) noexcept : value_(value) {}
    Descriptor(Descriptor&& other) noexcept : value_(std::exchange(other.value_, -1)) {}
    Descriptor& operator=(Descriptor&&) = delete;
    ~Descriptor()
    {
        if (value_ >= 0) {
            ::close(value_);
        }
    }
    [[nodiscard]] int get() const noexcept { return value_; }
    [[nodiscard]] explicit operator bool() const noexcept { return value_ >= 0; }

private:
    int value_;
};

}  // namespace vex::net
