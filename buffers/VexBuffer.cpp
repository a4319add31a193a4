#include "buffers/VexBuffer.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <span>

using namespace vex;

void CVexBuffer::final_construct()
{
    own_new(PvPayloadTypeImage);
    image_ = server::make<CVexImage>();
    raw_data_ = server::make<CVexRawData>();
}

HRESULT CVexBuffer::put_PayloadType(VexPayloadType pVal) noexcept
{
    // the SDK fixes a buffer's payload type when the buffer is made, so the type changes by changing the buffer
    return guarded([&] {
        PvBuffer& old = attached_sdk();
        auto made = std::make_unique<PvBuffer>(static_cast<PvPayloadType>(pVal));
        made->SetID(old.GetID());
        static_cast<void>(made->Alloc(old.GetSize()));
        if (old.GetDataPointer() != nullptr && made->GetDataPointer() != nullptr) {
            std::memcpy(made->GetDataPointer(), old.GetDataPointer(), std::min(old.GetSize(), made->GetSize()));
        }
        own(std::move(made));
    });
}

HRESULT CVexBuffer::get_Data(SAFEARRAY** pVal) noexcept
{
    return value(pVal, [](PvBuffer& buffer) { return std::span(buffer.GetDataPointer(), buffer.GetSize()); });
}

HRESULT CVexBuffer::put_Data(SAFEARRAY* pVal) noexcept
{
    return guarded([&] {
        PvBuffer& buffer = attached_sdk();
        server::array_to_bytes(pVal, buffer.GetDataPointer(), buffer.GetSize());
        if (buffer.GetDataPointer() == nullptr) {
            // clients rely on this: without memory the image that was last looked at is freed instead
            image_->Free();
        }
    });
}

HRESULT CVexBuffer::get_OperationResult(IVexResult** pVal) noexcept
{
    // the code alone; the description is the code's own
    return report(pVal, [](PvBuffer& buffer) { return PvResult(buffer.GetOperationResult().GetCode()); });
}

HRESULT CVexBuffer::Detach(SAFEARRAY** aBuffer) noexcept
{
    return value(aBuffer, [](PvBuffer& buffer) {
        const std::uint32_t size = buffer.GetSize();
        const std::uint8_t* const detached = buffer.Detach();
        return std::span(size != 0 ? detached : nullptr, size);
    });
}
