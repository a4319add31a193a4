#include "tests/com/frame/test_classes.h"

using namespace vex;

HRESULT CTestTransmitter::LoadBufferPool(SAFEARRAY* aBuffers, IVexResult** out) noexcept
{
    pool_was_null = aBuffers == nullptr;
    pool.clear();
    if (aBuffers != nullptr) {
        const server::ArrayLock buffers(aBuffers);
        auto** first = reinterpret_cast<IUnknown**>(buffers.data());
        pool.assign(first, first + aBuffers->rgsabound[0].cElements);
    }
    return report(out, [] { return PvResult::OK; });
}

HRESULT CTestStream::RetrieveBuffer(IVexBuffer** aBuffer, IVexResult** aOperationResult, unsigned int aTimeout,
                                    IVexResult** out) noexcept
{
    return report(out, [&]() -> PvResult {
        *server::not_null(aBuffer) = to_hand_out;
        if (to_hand_out != nullptr) {
            to_hand_out->AddRef();
        }
        if (aTimeout == 0) {
            *server::not_null(aOperationResult) = nullptr;
            return PvResult::Timeout;
        }
        if (FAILED(server::CreateResultObject({PvResult::MissingPackets, "2 packets"}, aOperationResult))) {
            throw std::bad_alloc();
        }
        return PvResult::OK;
    });
}

HRESULT CTestStream::QueueBuffer(IVexBuffer* aBuffer, IVexResult** out) noexcept
{
    return report(out, [&] {
        queued = aBuffer;
        return server::sdk_as<FakeSdk>(aBuffer, 1).outcome;
    });
}
