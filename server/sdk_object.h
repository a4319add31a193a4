// The SDK object behind a wrapper: who owns it and how long it lives.
#pragma once

#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "server/sdk_face.h"

namespace vex::server {

/// How long a borrowed SDK object lives, as far as that is known.
class Lifetime {
public:
    /// Not known: as long as anybody looks.
    Lifetime() noexcept = default;
    /// Until `watched` expires.
    Lifetime(std::weak_ptr<const void> watched) noexcept  // NOLINT(google-explicit-constructor)
        : watched_(std::move(watched)), known_(true)
    {}

    // asked by every call
    [[nodiscard, gnu::always_inline]] bool is_over() const noexcept { return known_ && watched_.expired(); }

private:
    std::weak_ptr<const void> watched_;
    bool known_ = false;
};

/// The SDK object of an owning, switchable or view wrapper: a base of the implementation class, after Wrapper. Bases
/// are the SDK classes that it also counts as where an argument is wanted.
///
/// A view never owns; the pointer is null until a parent attaches, and again once the object, or what it belongs to,
/// has gone: clients keep views for longer than cameras stay connected. Not synchronised.
template <class Sdk, class... Bases>
class SdkObject : public SdkFace {
public:
    using SdkType = Sdk;

    SdkObject(const SdkObject&) = delete;
    SdkObject& operator=(const SdkObject&) = delete;

    /// Null when nothing is attached, and when what was attached has gone.
    [[nodiscard]] Sdk* sdk() const noexcept { return lifetime_.is_over() ? nullptr : object_; }

    /// Points the wrapper at an SDK object that belongs to someone else. An object held so far is deleted if owned.
    void AttachSdkObject(Sdk* borrowed, Lifetime lifetime) noexcept
    {
        hold(borrowed, nullptr, std::move(lifetime));
        attached(borrowed);
    }
    /// The same for one that gives a share in itself, which is taken, for one that tells its lifetime itself, or for
    /// one whose lifetime nobody knows.
    void AttachSdkObject(Sdk* borrowed) noexcept
    {
        if constexpr (requires { borrowed->shared(); }) {
            hold_owned(borrowed != nullptr ? borrowed->shared() : nullptr);
            attached(borrowed);
        } else if constexpr (requires { borrowed->lifetime(); }) {
            AttachSdkObject(borrowed, borrowed != nullptr ? Lifetime(borrowed->lifetime()) : Lifetime());
        } else {
            AttachSdkObject(borrowed, Lifetime());
        }
    }

    /// For what belongs to the SDK object, and goes with it.
    [[nodiscard]] Lifetime lifetime() const noexcept { return lifetime_; }

    [[nodiscard]] bool sdk_as(SdkTypeId type, void** object) const noexcept final
    {
        return give<Sdk>(type, object) || (give<Bases>(type, object) || ...);
    }

protected:
    SdkObject() noexcept = default;
    ~SdkObject() = default;

    /// Takes an SDK object over.
    void own(std::unique_ptr<Sdk> object) { hold_owned(std::shared_ptr<Sdk>(std::move(object))); }

    /// Makes and owns an SDK object. Memory running out leaves the wrapper with nothing behind it, which is no failure
    /// of the wrapper's construction.
    template <class Made = Sdk, class... Arguments>
    void own_new(Arguments&&... arguments)
    {
        try {
            hold_owned(std::make_shared<Made>(std::forward<Arguments>(arguments)...));
        } catch (const std::bad_alloc&) {
            hold_owned(nullptr);
        }
    }

private:
    /// What a class does when it is pointed at an SDK object of someone else's, null included.
    virtual void attached(Sdk* /*borrowed*/) noexcept {}

    void hold_owned(std::shared_ptr<Sdk> object) noexcept
    {
        Sdk* const held = object.get();
        Lifetime lifetime{std::weak_ptr<const void>(object)};
        hold(held, std::move(object), std::move(lifetime));
    }

    void hold(Sdk* object, std::shared_ptr<Sdk> owned, Lifetime lifetime) noexcept
    {
        object_ = object;
        lifetime_ = std::move(lifetime);
        owned_.swap(owned);  // what was owned goes when nothing here points at it any more
    }

    template <class Class>
    bool give(SdkTypeId type, void** object) const noexcept
    {
        if (type != sdk_type<Class>()) {
            return false;
        }
        *object = const_cast<std::remove_const_t<Class>*>(static_cast<Class*>(sdk()));
        return true;
    }

    Sdk* object_ = nullptr;
    std::shared_ptr<Sdk> owned_;
    Lifetime lifetime_;
};

}  // namespace vex::server
