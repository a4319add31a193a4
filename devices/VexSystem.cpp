#include "devices/VexSystem.h"

using namespace vex;

namespace {
constexpr DISPID on_device_found = 1;
}

void CVexSystem::final_construct()
{
    own_new();
    looked_up_ = server::make<CVexInterface>();
    event_interface_ = server::make<CVexInterface>();
    event_device_ = server::make<CVexDeviceInfo>();
    if (sdk() != nullptr) {
        sdk()->RegisterEventSink(this);
    }
}

void CVexSystem::final_release() noexcept
{
    looked_up_.reset();
    event_interface_.reset();
    event_device_.reset();
    AttachSdkObject(nullptr);
}

void CVexSystem::OnDeviceFound(PvInterface* aInterface, PvDeviceInfo* aDeviceInfo, bool& aIgnore)
{
    call_out([&] {
        IVexInterface* found_on = nullptr;
        if (aInterface != nullptr) {
            event_interface_->AttachSdkObject(aInterface);
            found_on = event_interface_.get();
        }
        IVexDeviceInfo* found = nullptr;
        if (aDeviceInfo != nullptr) {
            event_device_->AttachSdkObject(aDeviceInfo);
            found = event_device_.get();
        }
        // the one boolean that the library makes itself, so it is automation's own truth
        VARIANT_BOOL ignore = aIgnore ? VARIANT_TRUE : VARIANT_FALSE;
        tell(on_device_found, client_sink_, &IVexSystemEventSink::OnDeviceFound, found_on, found, &ignore);
        aIgnore = ignore != VARIANT_FALSE;
    });
}
