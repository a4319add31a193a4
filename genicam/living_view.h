// A pointer to an SDK object that knows when that object is gone.
#pragma once

#include <memory>
#include <utility>

/// The SDK object of a view: like server::SdkObject, but null again once the object, or what it belongs to, has gone.
/// Clients keep parameters for longer than devices stay connected.
///
/// Not synchronised.
template <class Sdk>
class LivingView {
public:
    using SdkType = Sdk;

    LivingView(const LivingView&) = delete;
    LivingView& operator=(const LivingView&) = delete;

    /// Null when nothing is attached, and when what was attached has gone.
    [[nodiscard]] Sdk* sdk() const noexcept { return lifetime_.expired() ? nullptr : sdk_; }

    /// Points the view at an SDK object, which lives as long as `lifetime` has not expired.
    void AttachSdkObject(Sdk* borrowed, std::weak_ptr<const void> lifetime) noexcept
    {
        sdk_ = borrowed;
        lifetime_ = std::move(lifetime);
    }
    /// The same for one that tells its lifetime itself; null for none.
    void AttachSdkObject(Sdk* borrowed) noexcept
        requires requires { borrowed->lifetime(); }
    {
        AttachSdkObject(borrowed, borrowed != nullptr ? borrowed->lifetime() : std::weak_ptr<const void>());
    }

protected:
    LivingView() noexcept = default;
    ~LivingView() = default;

private:
    Sdk* sdk_ = nullptr;
    std::weak_ptr<const void> lifetime_;
};
