// VexBuffer: memory for one acquired block and what is known about its acquisition.
#pragma once

#include "buffers/VexImage.h"
#include "buffers/VexRawData.h"
#include "sdk/buffer/PvBuffer.h"
#include "server/wrapper.h"

/// Owns its SDK buffer until a stream, pipeline or transmitter shows one of theirs through it.
class CVexBuffer : public vex::server::Wrapper<CVexBuffer>, public vex::server::SdkObject<PvBuffer> {
public:
    void final_construct();

    STDMETHODIMP get_PayloadType(VexPayloadType* pVal) noexcept override
    {
        return value(pVal, &PvBuffer::GetPayloadType);
    }
    STDMETHODIMP put_PayloadType(VexPayloadType pVal) noexcept override;
    STDMETHODIMP get_Data(SAFEARRAY** pVal) noexcept override;
    STDMETHODIMP put_Data(SAFEARRAY* pVal) noexcept override;
    STDMETHODIMP get_ID(UINT64* pVal) noexcept override { return value(pVal, &PvBuffer::GetID); }
    STDMETHODIMP put_ID(UINT64 pVal) noexcept override { return set(&PvBuffer::SetID, pVal); }
    STDMETHODIMP get_AcquiredSize(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvBuffer::GetAcquiredSize);
    }
    STDMETHODIMP get_Size(unsigned int* pVal) noexcept override { return value(pVal, &PvBuffer::GetSize); }
    STDMETHODIMP get_BlockID(unsigned short* pVal) noexcept override { return value(pVal, &PvBuffer::GetBlockID); }
    STDMETHODIMP get_Timestamp(UINT64* pVal) noexcept override { return value(pVal, &PvBuffer::GetTimestamp); }
    STDMETHODIMP put_Timestamp(UINT64 pVal) noexcept override { return set(&PvBuffer::SetTimestamp, pVal); }
    STDMETHODIMP get_OperationResult(IVexResult** pVal) noexcept override;
    STDMETHODIMP get_ExpectedResendCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvBuffer::GetExpectedResendCount);
    }
    STDMETHODIMP get_LostPacketCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvBuffer::GetLostPacketCount);
    }
    STDMETHODIMP get_IgnoredPacketCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvBuffer::GetIgnoredPacketCount);
    }
    STDMETHODIMP get_Image(IVexImage** pVal) noexcept override
    {
        return child(pVal, image_, overload<PvImage*()>(&PvBuffer::GetImage));
    }
    STDMETHODIMP get_RawData(IVexRawData** pVal) noexcept override
    {
        return child(pVal, raw_data_, overload<PvRawData*()>(&PvBuffer::GetRawData));
    }
    STDMETHODIMP Alloc(unsigned int aSize, IVexResult** result) noexcept override
    {
        return report(result, &PvBuffer::Alloc, aSize);
    }
    STDMETHODIMP Free() noexcept override { return set(&PvBuffer::Free); }
    STDMETHODIMP Attach(INT_PTR aBuffer, unsigned int aSize, IVexResult** result) noexcept override
    {
        return report(result, &PvBuffer::Attach, aBuffer, aSize);
    }
    STDMETHODIMP Detach(SAFEARRAY** aBuffer) noexcept override;
    STDMETHODIMP GetMissingPacketIdsCount(unsigned int* aCount, IVexResult** result) noexcept override
    {
        return report(result, &PvBuffer::GetMissingPacketIdsCount, aCount);
    }
    STDMETHODIMP GetMissingPacketIds(unsigned int aIndex, unsigned int* aPacketIdLow, unsigned int* aPacketIdHigh,
                                     IVexResult** result) noexcept override
    {
        return report(result, &PvBuffer::GetMissingPacketIds, aIndex, aPacketIdLow, aPacketIdHigh);
    }
    STDMETHODIMP Reset(VexPayloadType aPayloadType, IVexResult** result) noexcept override
    {
        return report(result, &PvBuffer::Reset, aPayloadType);
    }

private:
    vex::server::Ref<CVexImage> image_;
    vex::server::Ref<CVexRawData> raw_data_;
};
