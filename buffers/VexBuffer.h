// VexBuffer: memory for one acquired block and what is known about its acquisition.
#pragma once

#include "buffers/VexImage.h"
#include "buffers/VexRawData.h"
#include "sdk/buffer/PvBuffer.h"
#include "server/wrapper.h"

/// Owns its SDK buffer until a stream, pipeline or transmitter shows one of theirs through it.
class CVexBuffer : public vex::server::Wrapper<CVexBuffer>, public vex::server::SdkObject<PvBuffer> {
public:
    HRESULT final_construct();
    void final_release() noexcept;

    HRESULT STDMETHODCALLTYPE get_PayloadType(VexPayloadType* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_PayloadType(VexPayloadType pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Data(SAFEARRAY** pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_Data(SAFEARRAY* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_ID(UINT64* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_ID(UINT64 pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_AcquiredSize(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Size(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_BlockID(unsigned short* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Timestamp(UINT64* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_Timestamp(UINT64 pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_OperationResult(IVexResult** pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_ExpectedResendCount(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_LostPacketCount(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IgnoredPacketCount(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Image(IVexImage** pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_RawData(IVexRawData** pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE Alloc(unsigned int aSize, IVexResult** result) noexcept override;
    HRESULT STDMETHODCALLTYPE Free() noexcept override;
    HRESULT STDMETHODCALLTYPE Attach(INT_PTR aBuffer, unsigned int aSize, IVexResult** result) noexcept override;
    HRESULT STDMETHODCALLTYPE Detach(SAFEARRAY** aBuffer) noexcept override;
    HRESULT STDMETHODCALLTYPE GetMissingPacketIdsCount(unsigned int* aCount, IVexResult** result) noexcept override;
    HRESULT STDMETHODCALLTYPE GetMissingPacketIds(unsigned int aIndex, unsigned int* aPacketIdLow,
                                                  unsigned int* aPacketIdHigh, IVexResult** result) noexcept override;
    HRESULT STDMETHODCALLTYPE Reset(VexPayloadType aPayloadType, IVexResult** result) noexcept override;

private:
    /// Before the buffer's own memory goes: a client that still holds a view finds nothing behind it.
    void forget_views() noexcept;

    vex::server::Ref<CVexImage> image_;
    vex::server::Ref<CVexRawData> raw_data_;
};
