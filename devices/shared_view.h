// A view that takes a share in the SDK object that it shows.
#pragma once

#include <memory>

/// The SDK object of a view: like server::SdkObject, but what is shown lives as long as it is shown. Clients keep what
/// a search found for longer than the system that searched.
///
/// Not synchronised.
template <class Sdk>
class SharedView {
public:
    using SdkType = Sdk;

    SharedView(const SharedView&) = delete;
    SharedView& operator=(const SharedView&) = delete;

    /// Null when nothing is attached.
    [[nodiscard]] Sdk* sdk() const noexcept { return share_.get(); }

    /// Points the view at an SDK object; null for none.
    void AttachSdkObject(Sdk* shown) noexcept { share_ = shown != nullptr ? shown->shared() : nullptr; }

protected:
    SharedView() noexcept = default;
    ~SharedView() = default;

private:
    std::shared_ptr<Sdk> share_;
};
