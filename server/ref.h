// Ref: an owned COM reference.
#pragma once

#include <utility>

#include "server/com.h"

namespace vex::server {

/// Holds one reference to an object, or nothing. Not synchronised.
template <class T>
class Ref {
public:
    Ref() noexcept = default;
    /// Takes a reference of its own.
    explicit Ref(T* object) noexcept : object_(object)
    {
        if (object_ != nullptr) {
            object_->AddRef();
        }
    }
    Ref(const Ref& other) noexcept : Ref(other.object_) {}
    Ref(Ref&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    Ref& operator=(Ref other) noexcept
    {
        std::swap(object_, other.object_);
        return *this;
    }
    ~Ref() { reset(); }

    [[nodiscard]] T* get() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }

    void reset() noexcept
    {
        if (T* old = std::exchange(object_, nullptr); old != nullptr) {
            old->Release();
        }
    }
    /// Stores the pointer with a reference for whom it is stored; null stays null.
    template <class Interface>
    void copy_to(Interface** out) const noexcept
    {
        *out = Ref(*this).detach();
    }
    /// Hands the reference to the caller.
    [[nodiscard]] T* detach() noexcept { return std::exchange(object_, nullptr); }
    /// Where a creator or QueryInterface stores a new reference; what was held is released first.
    [[nodiscard]] T** put() noexcept
    {
        reset();
        return &object_;
    }
    [[nodiscard]] void** put_void() noexcept { return reinterpret_cast<void**>(put()); }

private:
    T* object_ = nullptr;
};

}  // namespace vex::server
