#include "buffers/VexBuffer.h"

#include <algorithm>
#include <cstring>
#include <memory>

using namespace vex;

namespace {

PvPayloadType to_sdk(VexPayloadType type) noexcept { return static_cast<PvPayloadType>(type); }

}  // namespace

HRESULT CVexBuffer::final_construct()
{
    own_new(PvPayloadTypeImage);
    const HRESULT created = server::create_object(image_);
    return SUCCEEDED(created) ? server::create_object(raw_data_) : created;
}

void CVexBuffer::final_release() noexcept
{
    forget_views();
    image_.reset();
    raw_data_.reset();
}

void CVexBuffer::forget_views() noexcept
{
    // either is missing when it could not be made
    if (owns_sdk_object() && image_) {
        image_->AttachSdkObject(nullptr);
    }
    if (owns_sdk_object() && raw_data_) {
        raw_data_->AttachSdkObject(nullptr);
    }
}

HRESULT CVexBuffer::put_PayloadType(VexPayloadType pVal) noexcept
{
    // the SDK fixes a buffer's payload type when the buffer is made, so the type changes by changing the buffer
    return server::guarded([&] {
        PvBuffer& old = *server::not_null(sdk());
        auto made = std::make_unique<PvBuffer>(to_sdk(pVal));
        made->SetID(old.GetID());
        static_cast<void>(made->Alloc(old.GetSize()));
        if (old.GetDataPointer() != nullptr && made->GetDataPointer() != nullptr) {
            std::memcpy(made->GetDataPointer(), old.GetDataPointer(), std::min(old.GetSize(), made->GetSize()));
        }
        forget_views();
        own(std::move(made));
        return S_OK;
    });
}

HRESULT CVexBuffer::get_Data(SAFEARRAY** pVal) noexcept
{
    return server::guarded([&] {
        PvBuffer& buffer = *server::not_null(sdk());
        return server::bytes_to_array(buffer.GetDataPointer(), buffer.GetSize(), pVal);
    });
}

HRESULT CVexBuffer::put_Data(SAFEARRAY* pVal) noexcept
{
    return server::guarded([&] {
        PvBuffer& buffer = *server::not_null(sdk());
        const HRESULT copied = server::array_to_bytes(pVal, buffer.GetDataPointer(), buffer.GetSize());
        if (SUCCEEDED(copied) && buffer.GetDataPointer() == nullptr) {
            // clients rely on this: without memory the image that was last looked at is freed instead
            image_->Free();
        }
        return copied;
    });
}

HRESULT CVexBuffer::get_OperationResult(IVexResult** pVal) noexcept
{
    // the code alone; the description is the code's own
    return result(pVal, [](PvBuffer& buffer) { return PvResult(buffer.GetOperationResult().GetCode()); });
}

HRESULT CVexBuffer::Detach(SAFEARRAY** aBuffer) noexcept
{
    return server::guarded([&] {
        PvBuffer& buffer = *server::not_null(sdk());
        const std::uint32_t size = buffer.GetSize();
        const std::uint8_t* const detached = buffer.Detach();
        return server::bytes_to_array(size != 0 ? detached : nullptr, size, aBuffer);
    });
}

HRESULT CVexBuffer::GetMissingPacketIds(unsigned int aIndex, unsigned int* aPacketIdLow, unsigned int* aPacketIdHigh,
                                        IVexResult** out) noexcept
{
    return result(out, [&](PvBuffer& buffer) {
        std::uint32_t low = 0;
        std::uint32_t high = 0;
        PvResult outcome = buffer.GetMissingPacketIds(aIndex, low, high);
        server::store(aPacketIdLow, low);
        server::store(aPacketIdHigh, high);
        return outcome;
    });
}

HRESULT CVexBuffer::get_PayloadType(VexPayloadType* pVal) noexcept
{
    return value(pVal, [](PvBuffer& buffer) { return buffer.GetPayloadType(); });
}

HRESULT CVexBuffer::get_ID(UINT64* pVal) noexcept
{
    return value(pVal, [](PvBuffer& buffer) { return buffer.GetID(); });
}

HRESULT CVexBuffer::put_ID(UINT64 pVal) noexcept
{
    return set([&](PvBuffer& buffer) { return buffer.SetID(pVal); });
}

HRESULT CVexBuffer::get_AcquiredSize(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvBuffer& buffer) { return buffer.GetAcquiredSize(); });
}

HRESULT CVexBuffer::get_Size(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvBuffer& buffer) { return buffer.GetSize(); });
}

HRESULT CVexBuffer::get_BlockID(unsigned short* pVal) noexcept
{
    return value(pVal, [](PvBuffer& buffer) { return buffer.GetBlockID(); });
}

HRESULT CVexBuffer::get_Timestamp(UINT64* pVal) noexcept
{
    return value(pVal, [](PvBuffer& buffer) { return buffer.GetTimestamp(); });
}

HRESULT CVexBuffer::put_Timestamp(UINT64 pVal) noexcept
{
    return set([&](PvBuffer& buffer) { return buffer.SetTimestamp(pVal); });
}

HRESULT CVexBuffer::get_ExpectedResendCount(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvBuffer& buffer) { return buffer.GetExpectedResendCount(); });
}

HRESULT CVexBuffer::get_LostPacketCount(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvBuffer& buffer) { return buffer.GetLostPacketCount(); });
}

HRESULT CVexBuffer::get_IgnoredPacketCount(unsigned int* pVal) noexcept
{
    return value(pVal, [](PvBuffer& buffer) { return buffer.GetIgnoredPacketCount(); });
}

HRESULT CVexBuffer::get_Image(IVexImage** pVal) noexcept
{
    return child(pVal, image_, [](PvBuffer& buffer) { return buffer.GetImage(); });
}

HRESULT CVexBuffer::get_RawData(IVexRawData** pVal) noexcept
{
    return child(pVal, raw_data_, [](PvBuffer& buffer) { return buffer.GetRawData(); });
}

HRESULT CVexBuffer::Alloc(unsigned int aSize, IVexResult** out) noexcept
{
    return result(out, [&](PvBuffer& buffer) { return buffer.Alloc(aSize); });
}

HRESULT CVexBuffer::Free() noexcept
{
    return set([](PvBuffer& buffer) { buffer.Free(); });
}

HRESULT CVexBuffer::Attach(INT_PTR aBuffer, unsigned int aSize, IVexResult** out) noexcept
{
    return result(out, [&](PvBuffer& buffer) { return buffer.Attach(server::from_address(aBuffer), aSize); });
}

HRESULT CVexBuffer::GetMissingPacketIdsCount(unsigned int* aCount, IVexResult** out) noexcept
{
    return result_with<std::uint32_t>(
        out, aCount, [](PvBuffer& buffer, std::uint32_t& count) { return buffer.GetMissingPacketIdsCount(count); });
}

HRESULT CVexBuffer::Reset(VexPayloadType aPayloadType, IVexResult** out) noexcept
{
    return result(out, [&](PvBuffer& buffer) { return buffer.Reset(to_sdk(aPayloadType)); });
}
