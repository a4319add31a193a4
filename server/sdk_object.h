// Who owns the SDK object behind a wrapper.
#pragma once

#include <memory>
#include <utility>

#include "server/module.h"
#include "server/ref.h"
#include "server/wall.h"

namespace vex::server {

/// The SDK object of an owning, switchable or view wrapper: a base of the implementation class, after Wrapper.
/// A view never owns; the pointer is null until a parent attaches. Not synchronised.
template <class Sdk>
class SdkObject {
public:
    using SdkType = Sdk;

    SdkObject(const SdkObject&) = delete;
    SdkObject& operator=(const SdkObject&) = delete;

    /// Null when nothing is attached.
    [[nodiscard]] Sdk* sdk() const noexcept { return sdk_; }

    /// Points the wrapper at an SDK object that belongs to someone else. An object held so far is deleted if owned.
    void AttachSdkObject(Sdk* borrowed) noexcept { hold(borrowed, false); }

protected:
    SdkObject() noexcept = default;
    ~SdkObject() { hold(nullptr, false); }

    /// Takes an SDK object over.
    void own(std::unique_ptr<Sdk> object) noexcept { hold(object.release(), true); }

    /// Makes and owns an SDK object. Memory running out leaves the wrapper with nothing behind it, which is no failure
    /// of the wrapper's construction.
    template <class Made = Sdk, class... Arguments>
    void own_new(Arguments&&... arguments)
    {
        try {
            own(std::make_unique<Made>(std::forward<Arguments>(arguments)...));
        } catch (const std::bad_alloc&) {
            hold(nullptr, false);
        }
    }

    [[nodiscard]] bool owns_sdk_object() const noexcept { return owned_; }

private:
    void hold(Sdk* object, bool owned) noexcept
    {
        Sdk* old = std::exchange(sdk_, object);
        if (std::exchange(owned_, owned)) {
            delete old;
        }
    }

    Sdk* sdk_ = nullptr;
    bool owned_ = false;
};

/// The implementation object behind an interface argument, read directly. Throws E_POINTER for null and E_INVALIDARG
/// for an object that is not this library's own.
template <class T, class Interface>
[[nodiscard]] T& implementation_of(Interface* object)
{
    if (object == nullptr) {
        throw HresultError{E_POINTER};
    }
    if (!Module::implements(object)) {
        throw HresultError{E_INVALIDARG};
    }
    return static_cast<T&>(*object);
}

/// The SDK object behind an interface argument. Also throws E_POINTER when nothing is behind the wrapper.
template <class T, class Interface>
[[nodiscard]] auto& sdk_of(Interface* object)
{
    auto* sdk = implementation_of<T>(object).sdk();
    if (sdk == nullptr) {
        throw HresultError{E_POINTER};
    }
    return *sdk;
}

}  // namespace vex::server
