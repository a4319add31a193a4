// VexSystem: the entry point to the cameras on the host's networks.
#pragma once

#include "devices/VexDeviceInfo.h"
#include "devices/VexInterface.h"
#include "sdk/device/PvSystem.h"
#include "sdk/device/PvSystemEventSink.h"
#include "server/client_sink.h"
#include "server/wrapper.h"

/// Owns the SDK system and is its event sink.
class CVexSystem : public vex::server::Wrapper<CVexSystem>,
                   public PvSystemEventSink,
                   public vex::server::SdkObject<PvSystem> {
public:
    void final_construct();
    void final_release() noexcept;

    STDMETHODIMP get_InterfaceCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvSystem::GetInterfaceCount);
    }
    STDMETHODIMP get_DetectionTimeout(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvSystem::GetDetectionTimeout);
    }
    STDMETHODIMP put_DetectionTimeout(unsigned int pVal) noexcept override
    {
        return set(&PvSystem::SetDetectionTimeout, pVal);
    }
    STDMETHODIMP get_ProtocolVersionMinor(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvSystem::GetProtocolVersionMinor);
    }
    STDMETHODIMP get_ProtocolVersionMajor(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvSystem::GetProtocolVersionMajor);
    }
    STDMETHODIMP Find(IVexResult** result) noexcept override { return report(result, &PvSystem::Find); }
    STDMETHODIMP GetInterface(unsigned int aIndex, IVexInterface** result) noexcept override
    {
        return child(result, looked_up_, &PvSystem::GetInterface, aIndex);
    }
    STDMETHODIMP RegisterEventSink(IVexSystemEventSink* aEventSink) noexcept override
    {
        return client_sink_.set(aEventSink);
    }
    STDMETHODIMP UnregisterEventSink(IVexSystemEventSink* /*aEventSink*/) noexcept override
    {
        return client_sink_.clear();
    }

    /// Shows the device to the advised sinks, then to the client sink; they share one answer.
    void OnDeviceFound(PvInterface* aInterface, PvDeviceInfo* aDeviceInfo, bool& aIgnore) override;

private:
    vex::server::Ref<CVexInterface> looked_up_;        // what GetInterface hands out
    vex::server::Ref<CVexInterface> event_interface_;  // what events show, re-pointed by each
    vex::server::Ref<CVexDeviceInfo> event_device_;
    vex::server::ClientSink<IVexSystemEventSink> client_sink_;
};
