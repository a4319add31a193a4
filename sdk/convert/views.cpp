#include "sdk/convert/views.h"

#include "sdk/base/failure.h"
#include "sdk/buffer/acquisition.h"

namespace vex::convert {
namespace {

template <class Byte, class Buffer>
PvResult check(Buffer* buffer, const char* name, CheckedImage<Byte>& image)
{
    if (buffer == nullptr) {
        return failure(PvResult::InvalidParameter, "There is no ", name);
    }
    auto* pixels = buffer->GetImage();
    if (pixels == nullptr) {
        return failure(PvResult::InvalidParameter, "The ", name, " holds no image; its payload type is ",
                       static_cast<std::int32_t>(buffer->GetPayloadType()));
    }
    if (PvImage::GetPixelBitCount(pixels->GetPixelType()) == 0) {
        return failure(PvResult::InvalidParameter, "The ", name, "'s image has no pixel type");
    }
    if (pixels->GetWidth() == 0 || pixels->GetHeight() == 0) {
        return failure(PvResult::InvalidParameter, "The ", name, "'s image has no pixels");
    }
    auto geometry = *acquisition::geometry(*buffer);
    geometry.padding_y = 0;
    const auto layout = acquisition::line_layout(geometry.pixel_type, geometry.width);
    if (const auto needed = acquisition::required_size(geometry) - geometry.padding_x; needed > buffer->GetSize()) {
        return failure(PvResult::BufferTooSmall, "The ", name, " has ", buffer->GetSize(), " bytes, its image needs ",
                       needed);
    }
    image.format = find_format(geometry.pixel_type);
    image.view.data = buffer->GetDataPointer();
    image.view.width = geometry.width;
    image.view.height = geometry.height;
    image.view.line_bytes = static_cast<std::size_t>(layout.line_bytes);
    image.view.stride = static_cast<std::size_t>(layout.line_bytes) + geometry.padding_x;
    image.view.planes = layout.planes;
    return PvResult::OK;
}

}  // namespace

PvResult check_image(const PvBuffer* buffer, const char* name, CheckedImage<const std::uint8_t>& image)
{
    return check(buffer, name, image);
}

PvResult check_image(PvBuffer* buffer, const char* name, CheckedImage<std::uint8_t>& image)
{
    if (buffer != nullptr && acquisition::is_held(*buffer)) {
        return failure(PvResult::StateError, "The ", name, " is queued; retrieve it first");
    }
    return check(buffer, name, image);
}

bool overlap(const PvBuffer& a, const PvBuffer& b) noexcept
{
    const auto begin = [](const PvBuffer& buffer) { return reinterpret_cast<std::uintptr_t>(buffer.GetDataPointer()); };
    return begin(a) < begin(b) + b.GetSize() && begin(b) < begin(a) + a.GetSize();
}

}  // namespace vex::convert
