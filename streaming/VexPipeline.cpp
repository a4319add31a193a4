#include "streaming/VexPipeline.h"

#include <memory>

#include "sdk/stream_core/PvStreamBase.h"

using namespace vex;

namespace {

constexpr DISPID on_buffer_created = 1;
constexpr DISPID on_buffer_deleted = 2;

}  // namespace

class CVexPipeline::Pipeline final : public PvPipeline {
public:
    Pipeline(PvStreamBase* stream, CVexPipeline& owner) : PvPipeline(stream), owner_(owner) {}
    ~Pipeline() override { Close(); }

protected:
    void OnBufferCreated(PvBuffer* buffer) override { owner_.tell_of(on_buffer_created, buffer); }
    void OnBufferDeleted(PvBuffer* buffer) override { owner_.tell_of(on_buffer_deleted, buffer); }

private:
    CVexPipeline& owner_;
};

void CVexPipeline::final_release() noexcept
{
    stream_.reset();
    // while the object is whole: the SDK pipeline notifies it of each buffer that goes
    AttachSdkObject(nullptr);
}

STDMETHODIMP CVexPipeline::get_StreamBase(IVexStreamBase** pVal) noexcept
{
    return guarded([&] {
        *server::not_null(pVal) = nullptr;
        stream_.copy_to(pVal);
    });
}

STDMETHODIMP CVexPipeline::put_StreamBase(IVexStreamBase* pVal) noexcept
{
    return guarded([&] {
        const server::Ref<IVexStreamBase> given(pVal);
        stream_ = given;
        // fires an event for each buffer that goes, in which a client may assign again: the latest assignment holds
        AttachSdkObject(nullptr);
        if (pVal == nullptr || stream_.get() != pVal) {
            return S_OK;
        }
        void* stream = nullptr;
        const server::SdkFace* const face = server::sdk_face_of(pVal);
        if (face == nullptr || !face->sdk_as(server::sdk_type<PvStreamBase>(), &stream)) {
            throw server::HresultError{E_INVALIDARG, "The stream is no object of this library"};
        }
        if (stream != nullptr) {
            own(std::make_unique<Pipeline>(static_cast<PvStreamBase*>(stream), *this));
        }
        return S_OK;
    });
}

STDMETHODIMP CVexPipeline::RetrieveNextBuffer(IVexBuffer** aBuffer, unsigned int aTimeout,
                                              IVexResult** aOperationResult, IVexResult** result) noexcept
{
    return guarded([&] {
        *server::not_null(aBuffer, 1) = nullptr;
        PvBuffer* retrieved = nullptr;
        PvResult operation(PvResult::NotInitialized, "No stream is assigned to the pipeline");
        PvPipeline* const pipeline = sdk();
        const PvResult outcome =
            pipeline != nullptr ? pipeline->RetrieveNextBuffer(&retrieved, aTimeout, &operation) : operation;
        // without memory for it the client still gets the buffer
        static_cast<void>(server::CreateResultObject(operation, aOperationResult));
        if (retrieved != nullptr) {
            try {
                server::wrap<CVexBuffer>(retrieved, aBuffer);
            } catch (...) {
                pipeline->ReleaseBuffer(retrieved);  // nobody else could
                throw;
            }
        }
        return server::CreateResultObject(outcome, server::not_null(result));
    });
}

STDMETHODIMP CVexPipeline::Start(IVexResult** result) noexcept
{
    if (sdk() == nullptr) {
        MessageBoxW(nullptr, L"m_pipeline=0", L"", MB_OK);
    }
    return report(result, &PvPipeline::Start);
}

void CVexPipeline::tell_of(DISPID event, PvBuffer* buffer) noexcept
{
    if (!has_sinks()) {
        return;
    }
    call_out([&] {
        server::Ref<CVexBuffer> shown;
        if (buffer != nullptr) {
            if (FAILED(server::create_object(shown))) {
                return;
            }
            shown->AttachSdkObject(buffer);
        }
        fire(event, static_cast<IDispatch*>(shown.detach()));
    });
}
