// VexTransmitterRaw: sends the client's buffers as blocks to a receiver, the opposite direction of a stream.
#pragma once

#include "buffers/VexBuffer.h"
#include "sdk/transmitterraw/PvTransmitterRaw.h"
#include "server/wrapper.h"

/// Owns the SDK transmitter. The buffers of the pool stay the client's, who keeps their objects: no reference is taken.
class CVexTransmitterRaw : public vex::server::Wrapper<CVexTransmitterRaw>,
                           public vex::server::SdkObject<PvTransmitterRaw> {
public:
    void final_construct() { own_new(); }

    STDMETHODIMP get_AveragePayloadThroughput(float* pVal) noexcept override
    {
        return value(pVal, &PvTransmitterRaw::GetAveragePayloadThroughput);
    }
    STDMETHODIMP get_AverageTransmissionRate(float* pVal) noexcept override
    {
        return value(pVal, &PvTransmitterRaw::GetAverageTransmissionRate);
    }
    STDMETHODIMP get_BlocksTransmitted(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvTransmitterRaw::GetBlocksTransmitted);
    }
    STDMETHODIMP get_DestinationIPAddress(BSTR* pVal) noexcept override
    {
        return value(pVal, &PvTransmitterRaw::GetDestinationIPAddress);
    }
    STDMETHODIMP get_DestinationPort(unsigned short* pVal) noexcept override
    {
        return value(pVal, &PvTransmitterRaw::GetDestinationPort);
    }
    STDMETHODIMP get_InstantaneousPayloadThroughput(float* pVal) noexcept override
    {
        return value(pVal, &PvTransmitterRaw::GetInstantaneousPayloadThroughput);
    }
    STDMETHODIMP get_InstantaneousTransmissionRate(float* pVal) noexcept override
    {
        return value(pVal, &PvTransmitterRaw::GetInstantaneousTransmissionRate);
    }
    STDMETHODIMP get_MaxPayloadThroughput(float* pVal) noexcept override
    {
        return value(pVal, &PvTransmitterRaw::GetMaxPayloadThroughput);
    }
    STDMETHODIMP put_MaxPayloadThroughput(float pVal) noexcept override
    {
        return set(&PvTransmitterRaw::SetMaxPayloadThroughput, pVal);
    }
    STDMETHODIMP get_PacketSize(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvTransmitterRaw::GetPacketSize);
    }
    STDMETHODIMP put_PacketSize(unsigned int pVal) noexcept override
    {
        return set(&PvTransmitterRaw::SetPacketSize, pVal);
    }
    STDMETHODIMP get_PayloadBytesTransmitted(UINT64* pVal) noexcept override
    {
        return value(pVal, &PvTransmitterRaw::GetPayloadBytesTransmitted);
    }
    STDMETHODIMP get_QueuedBufferCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvTransmitterRaw::GetQueuedBufferCount);
    }
    STDMETHODIMP get_SamplingTime(UINT64* pVal) noexcept override
    {
        return value(pVal, &PvTransmitterRaw::GetSamplingTime);
    }
    STDMETHODIMP get_SourceIPAddress(BSTR* pVal) noexcept override
    {
        return value(pVal, &PvTransmitterRaw::GetSourceIPAddress);
    }
    STDMETHODIMP get_SourcePort(unsigned short* pVal) noexcept override
    {
        return value(pVal, &PvTransmitterRaw::GetSourcePort);
    }
    STDMETHODIMP get_IsOpen(VARIANT_BOOL* pVal) noexcept override { return value(pVal, &PvTransmitterRaw::IsOpen); }
    STDMETHODIMP AbortQueuedBuffers(VARIANT_BOOL aWaitForCurrentBlock, unsigned int aTimeout,
                                    IVexResult** result) noexcept override
    {
        return report(result, &PvTransmitterRaw::AbortQueuedBuffers, aWaitForCurrentBlock, aTimeout);
    }
    STDMETHODIMP Close(IVexResult** result) noexcept override { return report(result, &PvTransmitterRaw::Close); }
    STDMETHODIMP LoadBufferPool(SAFEARRAY* aBuffers, IVexResult** result) noexcept override;
    STDMETHODIMP Open(BSTR aDestinationIPAddress, unsigned short aDestinationPort, BSTR aSourceIPAddress,
                      unsigned short aSourcePort, VARIANT_BOOL aDontFrag, IVexResult** result) noexcept override
    {
        return report(result, &PvTransmitterRaw::Open, aDestinationIPAddress, aDestinationPort, aSourceIPAddress,
                      aSourcePort, aDontFrag);
    }
    STDMETHODIMP QueueBuffer(IVexBuffer* aBuffer, IVexResult** result) noexcept override
    {
        return report(result, &PvTransmitterRaw::QueueBuffer, aBuffer);
    }
    STDMETHODIMP ResetStats() noexcept override { return set(&PvTransmitterRaw::ResetStats); }
    /// Each buffer is shown by an object of its own.
    STDMETHODIMP RetrieveFreeBuffer(IVexBuffer** aBuffer, unsigned int aTimeout, IVexResult** result) noexcept override;
};
