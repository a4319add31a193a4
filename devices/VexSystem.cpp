#include "devices/VexSystem.h"

using namespace vex;

namespace {
constexpr DISPID on_device_found = 1;
}

HRESULT CVexSystem::final_construct()
{
    own_new();
    HRESULT created = server::create_object(looked_up_);
    if (SUCCEEDED(created)) {
        created = server::create_object(event_interface_);
    }
    if (SUCCEEDED(created)) {
        created = server::create_object(event_device_);
    }
    if (SUCCEEDED(created) && sdk() != nullptr) {
        sdk()->RegisterEventSink(this);
    }
    return created;
}

void CVexSystem::final_release() noexcept
{
    looked_up_.reset();
    event_interface_.reset();
    event_device_.reset();
    AttachSdkObject(nullptr);
}

HRESULT CVexSystem::get_InterfaceCount(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvSystem& system) { return system.GetInterfaceCount(); });
}

HRESULT CVexSystem::get_DetectionTimeout(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvSystem& system) { return system.GetDetectionTimeout(); });
}

HRESULT CVexSystem::put_DetectionTimeout(unsigned int pVal) noexcept
{
    return set([&](PvSystem& system) { system.SetDetectionTimeout(pVal); });
}

HRESULT CVexSystem::get_ProtocolVersionMinor(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvSystem& system) { return system.GetProtocolVersionMinor(); });
}

HRESULT CVexSystem::get_ProtocolVersionMajor(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvSystem& system) { return system.GetProtocolVersionMajor(); });
}

HRESULT CVexSystem::Find(IVexResult** out) noexcept
{
    return result(out, [](PvSystem& system) { return system.Find(); });
}

HRESULT CVexSystem::GetInterface(unsigned int aIndex, IVexInterface** out) noexcept
{
    return child(out, looked_up_, [&](PvSystem& system) { return system.GetInterface(aIndex); });
}

HRESULT CVexSystem::RegisterEventSink(IVexSystemEventSink* aEventSink) noexcept { return client_sink_.set(aEventSink); }

HRESULT CVexSystem::UnregisterEventSink(IVexSystemEventSink* /*aEventSink*/) noexcept { return client_sink_.clear(); }

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
