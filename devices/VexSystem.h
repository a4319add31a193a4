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
    HRESULT final_construct();
    void final_release() noexcept;

    HRESULT STDMETHODCALLTYPE get_InterfaceCount(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_DetectionTimeout(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_DetectionTimeout(unsigned int pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_ProtocolVersionMinor(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_ProtocolVersionMajor(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE Find(IVexResult** result) noexcept override;
    HRESULT STDMETHODCALLTYPE GetInterface(unsigned int aIndex, IVexInterface** result) noexcept override;
    HRESULT STDMETHODCALLTYPE RegisterEventSink(IVexSystemEventSink* aEventSink) noexcept override;
    HRESULT STDMETHODCALLTYPE UnregisterEventSink(IVexSystemEventSink* aEventSink) noexcept override;

    /// Shows the device to the advised sinks, then to the client sink; they share one answer.
    void OnDeviceFound(PvInterface* aInterface, PvDeviceInfo* aDeviceInfo, bool& aIgnore) override;

private:
    vex::server::Ref<CVexInterface> looked_up_;        // what GetInterface hands out
    vex::server::Ref<CVexInterface> event_interface_;  // what events show, re-pointed by each
    vex::server::Ref<CVexDeviceInfo> event_device_;
    vex::server::ClientSink<IVexSystemEventSink> client_sink_;
};
