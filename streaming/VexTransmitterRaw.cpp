#include "streaming/VexTransmitterRaw.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using namespace vex;

namespace {

/// How many elements the contract takes an array to hold, its upper bound plus one, and never more than it has.
std::size_t element_count(SAFEARRAY* array)
{
    LONG upper = 0;
    server::require(SafeArrayGetUBound(array, 1, &upper));
    std::size_t held = 1;
    for (USHORT dimension = 0; dimension < array->cDims; ++dimension) {
        held *= array->rgsabound[dimension].cElements;
    }
    return upper < 0 ? 0 : std::min(static_cast<std::size_t>(upper) + 1, held);
}

void require_objects(SAFEARRAY* array)
{
    VARTYPE type = VT_EMPTY;
    if (FAILED(SafeArrayGetVartype(array, &type)) || (type != VT_UNKNOWN && type != VT_DISPATCH)) {
        throw server::HresultError{E_INVALIDARG, "The buffers must be an array of objects"};
    }
}

PvBuffer* buffer_behind(IUnknown* element, std::size_t index)
{
    server::Ref<IVexBuffer> buffer;
    if (element != nullptr) {
        element->QueryInterface(__uuidof(IVexBuffer), buffer.put_void());
    }
    PvBuffer* const found = server::sdk_if<PvBuffer>(buffer.get());
    if (found == nullptr) {
        throw server::HresultError{E_INVALIDARG,
                                   "Element " + std::to_string(index) + " of the buffers is no VexBuffer"};
    }
    return found;
}

}  // namespace

HRESULT CVexTransmitterRaw::LoadBufferPool(SAFEARRAY* aBuffers, IVexResult** result) noexcept
{
    return report(result, [&](PvTransmitterRaw& transmitter) {
        if (aBuffers == nullptr) {
            return transmitter.LoadBufferPool(nullptr, 0);
        }
        const std::size_t count = element_count(aBuffers);
        if (count == 0) {
            return PvResult(PvResult::OK);
        }
        require_objects(aBuffers);
        const server::ArrayLock lock(aBuffers);
        std::vector<PvBuffer*> pool;
        for (std::size_t index = 0; index < count; ++index) {
            IUnknown* element = nullptr;
            std::memcpy(&element, lock.data() + index * sizeof element, sizeof element);
            pool.push_back(buffer_behind(element, index));
        }
        return transmitter.LoadBufferPool(pool.data(), static_cast<std::uint32_t>(pool.size()));
    });
}

HRESULT CVexTransmitterRaw::RetrieveFreeBuffer(IVexBuffer** aBuffer, unsigned int aTimeout,
                                               IVexResult** result) noexcept
{
    return report(result, [&](PvTransmitterRaw& transmitter) {
        *server::not_null(aBuffer, 1) = nullptr;
        PvBuffer* retrieved = nullptr;
        PvResult outcome = transmitter.RetrieveFreeBuffer(&retrieved, aTimeout);
        if (retrieved != nullptr) {
            server::wrap<CVexBuffer>(retrieved, aBuffer);
        }
        return outcome;
    });
}
