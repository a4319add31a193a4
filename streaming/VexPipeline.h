// VexPipeline: a pool of buffers that keeps a stream busy by itself.
#pragma once

#include "buffers/VexBuffer.h"
#include "sdk/pipeline/PvPipeline.h"
#include "server/wrapper.h"

/// Owns the SDK pipeline, which there is only while a stream is assigned: each assignment makes a new one, with the
/// SDK's own size and count of buffers. Keeps the client's stream object alive as long as it is assigned.
class CVexPipeline : public vex::server::Wrapper<CVexPipeline>, public vex::server::SdkObject<PvPipeline> {
public:
    void final_release() noexcept;

    STDMETHODIMP get_BufferSize(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvPipeline::GetBufferSize);
    }
    STDMETHODIMP put_BufferSize(unsigned int pVal) noexcept override { return set(&PvPipeline::SetBufferSize, pVal); }
    STDMETHODIMP get_BufferCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvPipeline::GetBufferCount);
    }
    STDMETHODIMP put_BufferCount(unsigned int pVal) noexcept override { return set(&PvPipeline::SetBufferCount, pVal); }
    STDMETHODIMP get_OutputQueueSize(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvPipeline::GetOutputQueueSize);
    }
    STDMETHODIMP get_OutputQueueMaxSize(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvPipeline::GetOutputQueueMaxSize);
    }
    STDMETHODIMP put_OutputQueueMaxSize(unsigned int pVal) noexcept override
    {
        return set(&PvPipeline::SetOutputQueueMaxSize, pVal);
    }
    STDMETHODIMP get_IsStarted(VARIANT_BOOL* pVal) noexcept override { return value(pVal, &PvPipeline::IsStarted); }
    STDMETHODIMP get_StreamBase(IVexStreamBase** pVal) noexcept override;
    STDMETHODIMP put_StreamBase(IVexStreamBase* pVal) noexcept override;
    STDMETHODIMP RetrieveNextBuffer(IVexBuffer** aBuffer, unsigned int aTimeout, IVexResult** aOperationResult,
                                    IVexResult** result) noexcept override;
    STDMETHODIMP ReleaseBuffer(IVexBuffer* aBuffer, IVexResult** result) noexcept override
    {
        return report(result, &PvPipeline::ReleaseBuffer, aBuffer);
    }
    /// Without a stream it first says so in a message box, which waits for the user.
    STDMETHODIMP Start(IVexResult** result) noexcept override;
    STDMETHODIMP Stop(IVexResult** result) noexcept override { return report(result, &PvPipeline::Stop); }
    STDMETHODIMP Reset(IVexResult** result) noexcept override { return report(result, &PvPipeline::Reset); }

private:
    /// The SDK pipeline whose notifications become events.
    class Pipeline;

    /// Tells clients of a buffer by a new wrapper, which is left alive so that they may keep it without a reference.
    void tell_of(DISPID event, PvBuffer* buffer) noexcept;

    vex::server::Ref<IVexStreamBase> stream_;
};
