#include "gui/VexDeviceFinderWnd.h"

#include <memory>

using namespace vex;

namespace {

constexpr DISPID on_found = 1;

/// The SDK's window, which shows each device that it finds to the owner.
class PvDeviceFinderWndDerived final : public PvDeviceFinderWnd {
public:
    explicit PvDeviceFinderWndDerived(CVexDeviceFinderWnd& owner)
        : child_(server::make<CVexDeviceInfo>()), owner_(owner)
    {}

protected:
    bool OnFound(PvDeviceInfo* aDeviceInfo) override
    {
        // the client may release the owner, and this with it
        const server::Ref<CVexDeviceInfo> shown = child_;
        shown->AttachSdkObject(aDeviceInfo);
        return owner_.is_listed(shown.get());
    }

private:
    const server::Ref<CVexDeviceInfo> child_;
    CVexDeviceFinderWnd& owner_;
};

}  // namespace

void CVexDeviceFinderWnd::final_construct()
{
    own(std::make_unique<PvDeviceFinderWndDerived>(*this));
    selected_ = server::make<CVexDeviceInfo>();
}

void CVexDeviceFinderWnd::final_release() noexcept
{
    // while the object is whole: its window asks it until it is gone
    AttachSdkObject(nullptr);
}

bool CVexDeviceFinderWnd::is_listed(IVexDeviceInfo* device) noexcept
{
    VARIANT_BOOL answer = VARIANT_TRUE;
    fire(on_found, device, &answer);
    return answer != VARIANT_FALSE;
}
