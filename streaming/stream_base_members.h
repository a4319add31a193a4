// The members that all stream classes share.
#pragma once

#include "buffers/VexBuffer.h"
#include "sdk/stream_core/PvStreamBase.h"
#include "server/wrapper.h"

/// Implements IVexStreamBase for stream class T, whose SDK object is a PvStreamBase. Retrieved buffers are shown by one
/// wrapper, made with the stream and re-pointed by each retrieval; the client's own buffer objects are not recorded.
template <class T>
class StreamBaseMembers : public vex::server::Wrapper<T> {
protected:
    using vex::server::Wrapper<T>::report;
    using vex::server::Wrapper<T>::value;

public:
    STDMETHODIMP get_QueuedBufferCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamBase::GetQueuedBufferCount);
    }
    STDMETHODIMP get_QueuedBufferMaximum(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStreamBase::GetQueuedBufferMaximum);
    }
    STDMETHODIMP get_LocalPort(unsigned short* pVal) noexcept override
    {
        return value(pVal, &PvStreamBase::GetLocalPort);
    }
    STDMETHODIMP get_LocalIPAddress(BSTR* pVal) noexcept override
    {
        return value(pVal, &PvStreamBase::GetLocalIPAddress);
    }
    STDMETHODIMP get_MulticastIPAddress(BSTR* pVal) noexcept override
    {
        return value(pVal, &PvStreamBase::GetMulticastIPAddress);
    }
    STDMETHODIMP get_IsOpen(VARIANT_BOOL* pVal) noexcept override { return value(pVal, &PvStreamBase::IsOpen); }
    STDMETHODIMP OpenUnicast(BSTR aIPAddress, unsigned short aLocalPort, unsigned short aChannelID,
                             BSTR aLocalIPAddress, IVexResult** result) noexcept override
    {
        using Open = PvResult(const PvString&, std::uint16_t, std::uint16_t, const PvString&);
        return report(result, vex::server::overload<Open>(&PvStreamBase::Open), aIPAddress, aLocalPort, aChannelID,
                      aLocalIPAddress);
    }
    STDMETHODIMP OpenMulticast(BSTR aIPAddress, BSTR aMulticastAddr, unsigned short aDataPort,
                               unsigned short aChannelID, BSTR aLocalIPAddress, IVexResult** result) noexcept override
    {
        using Open = PvResult(const PvString&, const PvString&, std::uint16_t, std::uint16_t, const PvString&);
        return report(result, vex::server::overload<Open>(&PvStreamBase::Open), aIPAddress, aMulticastAddr, aDataPort,
                      aChannelID, aLocalIPAddress);
    }
    STDMETHODIMP Close(IVexResult** result) noexcept override { return report(result, &PvStreamBase::Close); }
    STDMETHODIMP AbortQueuedBuffers(IVexResult** result) noexcept override
    {
        return report(result, &PvStreamBase::AbortQueuedBuffers);
    }
    STDMETHODIMP QueueBuffer(IVexBuffer* aBuffer, IVexResult** result) noexcept override
    {
        return report(result, &PvStreamBase::QueueBuffer, aBuffer);
    }
    STDMETHODIMP RetrieveBuffer(IVexBuffer** aBuffer, IVexResult** aOperationResult, unsigned int aTimeout,
                                IVexResult** result) noexcept override
    {
        return report(result, [&](PvStreamBase& stream) {
            *vex::server::not_null(aBuffer, 1) = nullptr;
            PvBuffer* retrieved = nullptr;
            PvResult operation;
            PvResult outcome = stream.RetrieveBuffer(&retrieved, &operation, aTimeout);
            // without memory for it the client still gets the buffer
            static_cast<void>(vex::server::CreateResultObject(operation, aOperationResult));
            if (retrieved != nullptr) {
                buffer_->AttachSdkObject(retrieved);
                buffer_.copy_to(aBuffer);
            }
            return outcome;
        });
    }
    STDMETHODIMP FlushPacketQueue(IVexResult** result) noexcept override
    {
        return report(result, &PvStreamBase::FlushPacketQueue);
    }
    STDMETHODIMP IsDriverInstalled(BSTR aIPAddress, VARIANT_BOOL* aInstalled, BSTR aLocalIPAddress,
                                   IVexResult** result) noexcept override
    {
        return report(result, &PvStreamBase::IsDriverInstalled, aIPAddress, aInstalled, aLocalIPAddress);
    }

protected:
    /// Part of the object's final construction.
    void make_buffer() { buffer_ = vex::server::make<CVexBuffer>(); }

private:
    vex::server::Ref<CVexBuffer> buffer_;
};
