// VexStreamRaw: a stream channel whose settings are properties, with its statistics.
#pragma once

#include "sdk/streamraw/PvStreamRaw.h"
#include "streaming/VexStatistics.h"
#include "streaming/stream_base_members.h"

/// Owns the SDK stream. A setting that the SDK refuses is raised as error information.
class CVexStreamRaw : public StreamBaseMembers<CVexStreamRaw>,
                      public vex::server::SdkObject<PvStreamRaw, PvStreamBase> {
public:
    void final_construct()
    {
        own_new();
        statistics_ = vex::server::make<CVexStatistics>();
        make_buffer();
    }

    STDMETHODIMP get_ChannelID(unsigned int* pVal) noexcept override { return value(pVal, &PvStreamRaw::GetChannelID); }
    STDMETHODIMP get_RemoteIpAddress(BSTR* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetRemoteIpAddress);
    }
    STDMETHODIMP get_Statistics(IVexStatistics** pVal) noexcept override
    {
        return child(pVal, statistics_, &PvStreamRaw::GetStatistics);
    }
    STDMETHODIMP get_FirstPacketTimeout(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetFirstPacketTimeout);
    }
    STDMETHODIMP put_FirstPacketTimeout(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetFirstPacketTimeout, pVal);
    }
    STDMETHODIMP get_PacketTimeout(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetPacketTimeout);
    }
    STDMETHODIMP put_PacketTimeout(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetPacketTimeout, pVal);
    }
    STDMETHODIMP get_InterPacketTimeout(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetInterPacketTimeout);
    }
    STDMETHODIMP put_InterPacketTimeout(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetInterPacketTimeout, pVal);
    }
    STDMETHODIMP get_RequestTimeout(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetRequestTimeout);
    }
    STDMETHODIMP put_RequestTimeout(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetRequestTimeout, pVal);
    }
    STDMETHODIMP get_ResendPacketEnable(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetResendPacketEnable);
    }
    STDMETHODIMP put_ResendPacketEnable(VARIANT_BOOL pVal) noexcept override
    {
        return set(&PvStreamRaw::SetResendPacketEnable, pVal);
    }
    STDMETHODIMP get_DefaultImageTimeout(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetDefaultImageTimeout);
    }
    STDMETHODIMP put_DefaultImageTimeout(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetDefaultImageTimeout, pVal);
    }
    STDMETHODIMP get_DefaultBlockTimeout(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetDefaultBlockTimeout);
    }
    STDMETHODIMP put_DefaultBlockTimeout(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetDefaultBlockTimeout, pVal);
    }
    STDMETHODIMP get_MaximumPendingResends(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetMaximumPendingResends);
    }
    STDMETHODIMP put_MaximumPendingResends(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetMaximumPendingResends, pVal);
    }
    STDMETHODIMP get_LatencyLevel(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetLatencyLevel);
    }
    STDMETHODIMP put_LatencyLevel(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetLatencyLevel, pVal);
    }
    STDMETHODIMP get_AutoResetOnLackOfResources(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetAutoResetOnLackOfResources);
    }
    STDMETHODIMP put_AutoResetOnLackOfResources(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetAutoResetOnLackOfResources, pVal);
    }
    STDMETHODIMP get_ForceMissingPacketsAtNextBlockStart(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetForceMissingPacketsAtNextBlockStart);
    }
    STDMETHODIMP put_ForceMissingPacketsAtNextBlockStart(VARIANT_BOOL pVal) noexcept override
    {
        return set(&PvStreamRaw::SetForceMissingPacketsAtNextBlockStart, pVal);
    }
    STDMETHODIMP get_MaximumResendRequestRetryByPacket(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetMaximumResendRequestRetryByPacket);
    }
    STDMETHODIMP put_MaximumResendRequestRetryByPacket(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetMaximumResendRequestRetryByPacket, pVal);
    }
    STDMETHODIMP get_MaximumResendGroupSize(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetMaximumResendGroupSize);
    }
    STDMETHODIMP put_MaximumResendGroupSize(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetMaximumResendGroupSize, pVal);
    }
    STDMETHODIMP get_ResendRequestTimeout(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetResendRequestTimeout);
    }
    STDMETHODIMP put_ResendRequestTimeout(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetResendRequestTimeout, pVal);
    }
    STDMETHODIMP get_ResetOnIdle(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetResetOnIdle);
    }
    STDMETHODIMP put_ResetOnIdle(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetResetOnIdle, pVal);
    }
    STDMETHODIMP get_MaximumPreQueuedBuffers(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetMaximumPreQueuedBuffers);
    }
    STDMETHODIMP put_MaximumPreQueuedBuffers(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetMaximumPreQueuedBuffers, pVal);
    }
    STDMETHODIMP get_MaximumInternalRetrieveBuffers(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetMaximumInternalRetrieveBuffers);
    }
    STDMETHODIMP put_MaximumInternalRetrieveBuffers(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetMaximumInternalRetrieveBuffers, pVal);
    }
    STDMETHODIMP get_EnableMissingPacketsList(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetEnableMissingPacketsList);
    }
    STDMETHODIMP put_EnableMissingPacketsList(VARIANT_BOOL pVal) noexcept override
    {
        return set(&PvStreamRaw::SetEnableMissingPacketsList, pVal);
    }
    STDMETHODIMP get_ResendDelay(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamRaw::GetResendDelay);
    }
    STDMETHODIMP put_ResendDelay(unsigned int pVal) noexcept override
    {
        return set(&PvStreamRaw::SetResendDelay, pVal);
    }

private:
    vex::server::Ref<CVexStatistics> statistics_;
};
