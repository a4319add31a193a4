// The members that all stream classes share.
#pragma once

#include "buffers/VexBuffer.h"
#include "sdk/stream_core/PvStreamBase.h"
#include "server/wrapper.h"

/// Implements IVexStreamBase for stream class T, whose SDK object is a PvStreamBase. Retrieved buffers are shown by one
/// wrapper, made with the stream and re-pointed by each retrieval; the client's own buffer objects are not recorded.
template <class T>
class StreamBaseMembers : public vex::server::Wrapper<T> {
public:
    HRESULT STDMETHODCALLTYPE get_QueuedBufferCount(unsigned int* pVal) noexcept override
    {
        return this->value(pVal, [](PvStreamBase& stream) { return stream.GetQueuedBufferCount(); });
    }
    HRESULT STDMETHODCALLTYPE get_QueuedBufferMaximum(unsigned int* pVal) noexcept override
    {
        return this->value(pVal, [](PvStreamBase& stream) { return stream.GetQueuedBufferMaximum(); });
    }
    HRESULT STDMETHODCALLTYPE get_LocalPort(unsigned short* pVal) noexcept override
    {
        return this->value(pVal, [](PvStreamBase& stream) { return stream.GetLocalPort(); });
    }
    HRESULT STDMETHODCALLTYPE get_LocalIPAddress(BSTR* pVal) noexcept override
    {
        return this->value(pVal, [](PvStreamBase& stream) { return stream.GetLocalIPAddress(); });
    }
    HRESULT STDMETHODCALLTYPE get_MulticastIPAddress(BSTR* pVal) noexcept override
    {
        return this->value(pVal, [](PvStreamBase& stream) { return stream.GetMulticastIPAddress(); });
    }
    HRESULT STDMETHODCALLTYPE get_IsOpen(VARIANT_BOOL* pVal) noexcept override
    {
        return this->value(pVal, [](PvStreamBase& stream) { return stream.IsOpen(); });
    }
    HRESULT STDMETHODCALLTYPE OpenUnicast(BSTR aIPAddress, unsigned short aLocalPort, unsigned short aChannelID,
                                          BSTR aLocalIPAddress, IVexResult** out) noexcept override
    {
        return this->result(out, [&](PvStreamBase& stream) {
            return stream.Open(vex::server::from_bstr(aIPAddress), aLocalPort, aChannelID,
                               vex::server::from_bstr(aLocalIPAddress));
        });
    }
    HRESULT STDMETHODCALLTYPE OpenMulticast(BSTR aIPAddress, BSTR aMulticastAddr, unsigned short aDataPort,
                                            unsigned short aChannelID, BSTR aLocalIPAddress,
                                            IVexResult** out) noexcept override
    {
        return this->result(out, [&](PvStreamBase& stream) {
            return stream.Open(vex::server::from_bstr(aIPAddress), vex::server::from_bstr(aMulticastAddr), aDataPort,
                               aChannelID, vex::server::from_bstr(aLocalIPAddress));
        });
    }
    HRESULT STDMETHODCALLTYPE Close(IVexResult** out) noexcept override
    {
        return this->result(out, [](PvStreamBase& stream) { return stream.Close(); });
    }
    HRESULT STDMETHODCALLTYPE AbortQueuedBuffers(IVexResult** out) noexcept override
    {
        return this->result(out, [](PvStreamBase& stream) { return stream.AbortQueuedBuffers(); });
    }
    HRESULT STDMETHODCALLTYPE QueueBuffer(IVexBuffer* aBuffer, IVexResult** out) noexcept override
    {
        return this->result(
            out, [&](PvStreamBase& stream) { return stream.QueueBuffer(&vex::server::sdk_of<CVexBuffer>(aBuffer)); });
    }
    HRESULT STDMETHODCALLTYPE RetrieveBuffer(IVexBuffer** aBuffer, IVexResult** aOperationResult, unsigned int aTimeout,
                                             IVexResult** out) noexcept override
    {
        return this->result(out, [&](PvStreamBase& stream) {
            *vex::server::not_null(aBuffer) = nullptr;
            PvBuffer* retrieved = nullptr;
            PvResult operation;
            PvResult outcome = stream.RetrieveBuffer(&retrieved, &operation, aTimeout);
            // without memory for it the client still gets the buffer
            static_cast<void>(vex::server::CreateResultObject(operation, aOperationResult));
            if (retrieved != nullptr) {
                buffer_->AttachSdkObject(retrieved);
                buffer_->AddRef();
                *aBuffer = buffer_.get();
            }
            return outcome;
        });
    }
    HRESULT STDMETHODCALLTYPE FlushPacketQueue(IVexResult** out) noexcept override
    {
        return this->result(out, [](PvStreamBase& stream) { return stream.FlushPacketQueue(); });
    }
    HRESULT STDMETHODCALLTYPE IsDriverInstalled(BSTR aIPAddress, VARIANT_BOOL* aInstalled, BSTR aLocalIPAddress,
                                                IVexResult** out) noexcept override
    {
        return this->result(out, [&] {
            bool installed = false;
            PvResult outcome = PvStreamBase::IsDriverInstalled(vex::server::from_bstr(aIPAddress), installed,
                                                               vex::server::from_bstr(aLocalIPAddress));
            vex::server::store(aInstalled, installed);
            return outcome;
        });
    }

protected:
    HRESULT create_buffer() noexcept { return vex::server::create_object(buffer_); }
    void release_buffer() noexcept { buffer_.reset(); }

private:
    vex::server::Ref<CVexBuffer> buffer_;
};
