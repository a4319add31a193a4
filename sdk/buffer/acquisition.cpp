#include "sdk/buffer/acquisition.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

#include "sdk/base/failure.h"
#include "sdk/buffer/memory.h"
#include "sdk/wire/pixel_format.h"

namespace vex::acquisition {

/// The one way into the private members of the buffer's classes.
struct Access {
    static PvResult make_room(PvBuffer& buffer, std::uint64_t needed, bool keeps_bytes)
    {
        if (needed <= buffer.size_) {
            return PvResult::OK;
        }
        if (needed > std::numeric_limits<std::uint32_t>::max()) {
            return failure(PvResult::ErrOverflow, "A block of ", needed, " bytes does not fit below 4 GiB");
        }
        if (buffer.attached_) {
            return failure(PvResult::BufferTooSmall, "The attached memory has ", buffer.size_,
                           " bytes, the block needs ", needed);
        }
        if (!replace_memory(buffer, static_cast<std::uint32_t>(needed), keeps_bytes)) {
            return failure(PvResult::NotEnoughMemory, "There is no memory for a block of ", needed, " bytes");
        }
        return PvResult::OK;
    }

    /// By memory of its own, where what it has is its own, too.
    static bool replace_memory(PvBuffer& buffer, std::uint32_t size, bool keeps_bytes) noexcept
    {
        auto* const memory = buffer_memory::allocate(size);
        if (memory == nullptr) {
            return false;
        }
        if (keeps_bytes && buffer.data_ != nullptr) {
            std::memcpy(memory, buffer.data_, buffer.size_);
        }
        buffer_memory::release(buffer.data_, buffer.size_);
        buffer.data_ = memory;
        buffer.size_ = size;
        return true;
    }

    static void grow(PvBuffer& buffer, std::uint64_t size) noexcept
    {
        if (!buffer.attached_ && size > buffer.size_ && size <= std::numeric_limits<std::uint32_t>::max() &&
            replace_memory(buffer, static_cast<std::uint32_t>(size), false)) {
            buffer.forget_contents();
        }
    }

    static PvResult begin(PvBuffer& buffer, const BlockStart& start)
    {
        buffer.clear_acquisition();
        buffer.payload_type_ = start.payload_type;
        buffer.block_id_ = start.block_id;
        buffer.timestamp_ = start.timestamp;
        buffer.reception_time_ = start.reception_time;
        std::uint64_t needed = start.payload_size;
        if (start.payload_type == PvPayloadTypeImage && start.image) {
            set_geometry(buffer, *start.image);
            needed = std::max(needed, required_size(*start.image));
        }
        if (start.payload_type == PvPayloadTypeRawData && start.announced_raw_length) {
            buffer.raw_data_.announced_ = true;
            buffer.raw_data_.payload_length_ = *start.announced_raw_length;
        }
        if (start.payload_type == PvPayloadTypeRawData) {
            buffer.raw_data_.format_ = start.raw_format;
        }
        if (start.payload_type == PvPayloadTypeFile) {
            set_file_name(buffer, start.file_name);
        }
        return make_room(buffer, needed, start.keeps_bytes);
    }

    static void set_file_name(PvBuffer& buffer, std::span<const std::uint8_t> name) noexcept
    {
        try {
            buffer.file_name_.assign(name.begin(), name.end());
        } catch (const std::bad_alloc&) {
            buffer.file_name_.clear();
        }
    }

    static void finish(PvBuffer& buffer, const BlockEnd& end) noexcept
    {
        set_result(buffer, end.result);
        buffer.acquired_size_ = static_cast<std::uint32_t>(std::min<std::uint64_t>(end.acquired_size, buffer.size_));
        buffer.expected_resend_count_ = end.expected_resend_count;
        buffer.lost_packet_count_ = end.lost_packet_count;
        buffer.ignored_packet_count_ = end.ignored_packet_count;
        buffer.missing_.clear();
        try {
            buffer.missing_.reserve(end.missing.size());
            for (const auto& range : end.missing) {
                buffer.missing_.push_back({range.low, range.high});
            }
        } catch (const std::bad_alloc&) {
            buffer.missing_.clear();
        }
        set_chunks(buffer, end.chunks, end.chunk_layout_id);
        set_parts(buffer, end.parts);
        auto& image = buffer.image_;
        image.partial_line_missing_ = end.status.partial_line_missing;
        image.full_line_missing_ = end.status.full_line_missing;
        image.eof_by_line_count_ = end.status.eof_by_line_count;
        image.interlaced_even_ = end.status.interlaced_even;
        image.interlaced_odd_ = end.status.interlaced_odd;
        image.image_dropped_ = end.status.image_dropped;
        image.data_overrun_ = end.status.data_overrun;
        if (end.delivered_lines) {
            set_height(buffer, *end.delivered_lines);
        }
    }

    static void set_height(PvBuffer& buffer, std::uint32_t lines) noexcept
    {
        auto& image = buffer.image_;
        if (lines <= image.height_) {
            image.height_ = lines;
        } else if (auto taller = vex::acquisition::geometry(buffer)) {
            taller->height = lines;
            taller->padding_y = 0;
            image.height_ = required_size(*taller) <= buffer.acquired_size_ ? lines : image.height_;
        }
    }

    static void set_chunks(PvBuffer& buffer, std::span<const std::uint8_t> chunks, std::uint32_t layout_id) noexcept
    {
        buffer.forget_contents();
        if (!chunks.empty()) {
            buffer.chunks_at_ = static_cast<std::uint32_t>(chunks.data() - buffer.data_);
            buffer.chunks_size_ = static_cast<std::uint32_t>(chunks.size());
            buffer.chunk_layout_id_ = layout_id;
        }
    }

    static void set_parts(PvBuffer& buffer, std::span<const Part> parts) noexcept
    {
        buffer.parts_.clear();
        try {
            buffer.parts_.reserve(parts.size());
            for (const Part& part : parts) {
                buffer.parts_.push_back({part.description, part.offset});
            }
        } catch (const std::bad_alloc&) {
            buffer.parts_.clear();
        }
    }

    static PvResult reshape(PvBuffer& buffer, const ImageGeometry& geometry)
    {
        if (buffer.GetImage() == nullptr) {
            return failure(PvResult::InvalidParameter, "The buffer's payload is not an image");
        }
        if (const auto needed = required_size(geometry); needed > buffer.size_) {
            return failure(PvResult::BufferTooSmall, "The buffer has ", buffer.size_, " bytes, the image needs ",
                           needed);
        }
        set_geometry(buffer, geometry);
        buffer.forget_contents();
        return PvResult::OK;
    }

    static void derive(PvBuffer& buffer, const PvBuffer& original) noexcept
    {
        buffer.block_id_ = original.block_id_;
        buffer.timestamp_ = original.timestamp_;
        buffer.reception_time_ = original.reception_time_;
        set_result(buffer, original.operation_result_);
        auto& to = buffer.image_;
        const auto& from = original.image_;
        to.offset_x_ = from.offset_x_;
        to.offset_y_ = from.offset_y_;
        to.partial_line_missing_ = from.partial_line_missing_;
        to.full_line_missing_ = from.full_line_missing_;
        to.eof_by_line_count_ = from.eof_by_line_count_;
        to.interlaced_even_ = from.interlaced_even_;
        to.interlaced_odd_ = from.interlaced_odd_;
        to.image_dropped_ = from.image_dropped_;
        to.data_overrun_ = from.data_overrun_;
        buffer.acquired_size_ = to.GetImageSize();
        buffer.forget_contents();
    }

    static void mark_progressive(PvBuffer& buffer) noexcept
    {
        buffer.image_.interlaced_even_ = false;
        buffer.image_.interlaced_odd_ = false;
    }

    static void set_geometry(PvBuffer& buffer, const ImageGeometry& geometry) noexcept
    {
        buffer.image_.set_geometry(geometry.width, geometry.height, geometry.pixel_type, geometry.padding_x,
                                   geometry.padding_y);
        buffer.image_.offset_x_ = geometry.offset_x;
        buffer.image_.offset_y_ = geometry.offset_y;
    }

    static void set_result(PvBuffer& buffer, const PvResult& result) noexcept
    {
        try {
            buffer.operation_result_ = result;
        } catch (const std::bad_alloc&) {
            buffer.operation_result_ = result.GetCode();
        }
    }

    static bool hold(PvBuffer& buffer, Holder& holder) noexcept
    {
        Holder* nobody = nullptr;
        return buffer.holder_.compare_exchange_strong(nobody, &holder, std::memory_order_acq_rel);
    }

    static void release(PvBuffer& buffer, Holder& holder) noexcept
    {
        Holder* expected = &holder;
        buffer.holder_.compare_exchange_strong(expected, nullptr, std::memory_order_acq_rel);
    }

    static bool is_held(const PvBuffer& buffer) noexcept { return buffer.is_held(); }
};

LineLayout line_layout(PvPixelType type, std::uint32_t width) noexcept
{
    switch (type) {
    case PvPixelRGB8Planar: return {width, 3};
    case PvPixelRGB10Planar:
    case PvPixelRGB12Planar:
    case PvPixelRGB16Planar: return {std::uint64_t{width} * 2, 3};
    default: return {wire::line_bytes(type, width), 1};
    }
}

std::uint64_t required_size(const ImageGeometry& geometry) noexcept
{
    constexpr auto saturated = std::numeric_limits<std::uint64_t>::max();
    const auto layout = line_layout(geometry.pixel_type, geometry.width);
    const std::uint64_t stride = layout.line_bytes + geometry.padding_x;
    const std::uint64_t lines = std::uint64_t{geometry.height} * layout.planes;
    if (lines != 0 && stride > (saturated - geometry.padding_y) / lines) {
        return saturated;
    }
    return stride * lines + geometry.padding_y;
}

PvResult begin(PvBuffer& buffer, const BlockStart& start) { return Access::begin(buffer, start); }

void grow(PvBuffer& buffer, std::uint64_t size) noexcept { Access::grow(buffer, size); }

std::span<std::uint8_t> memory(PvBuffer& buffer) noexcept { return {buffer.GetDataPointer(), buffer.GetSize()}; }

bool write(PvBuffer& buffer, std::uint64_t offset, std::span<const std::uint8_t> bytes) noexcept
{
    const std::uint64_t size = buffer.GetSize();
    if (offset > size || bytes.size() > size - offset) {
        return false;
    }
    if (!bytes.empty()) {
        std::memcpy(buffer.GetDataPointer() + offset, bytes.data(), bytes.size());
    }
    return true;
}

void finish(PvBuffer& buffer, const BlockEnd& end) noexcept { Access::finish(buffer, end); }

PvResult reshape(PvBuffer& buffer, const ImageGeometry& geometry) { return Access::reshape(buffer, geometry); }
void derive(PvBuffer& buffer, const PvBuffer& original) noexcept { Access::derive(buffer, original); }
void mark_progressive(PvBuffer& buffer) noexcept { Access::mark_progressive(buffer); }

std::optional<ImageGeometry> geometry(const PvBuffer& buffer) noexcept
{
    const auto* image = buffer.GetImage();
    if (image == nullptr || image->GetPixelType() == PvPixelUndefined) {
        return std::nullopt;
    }
    return ImageGeometry{image->GetWidth(),   image->GetHeight(),   image->GetPixelType(), image->GetOffsetX(),
                         image->GetOffsetY(), image->GetPaddingX(), image->GetPaddingY()};
}

std::span<const std::uint8_t> payload(const PvBuffer& buffer) noexcept
{
    std::size_t size = buffer.GetAcquiredSize() != 0 ? buffer.GetAcquiredSize() : buffer.GetSize();
    if (geometry(buffer)) {
        size = buffer.GetImage()->GetImageSize();
    }
    return {buffer.GetDataPointer(), size};
}

bool hold(PvBuffer& buffer, Holder& holder) noexcept { return Access::hold(buffer, holder); }
void release(PvBuffer& buffer, Holder& holder) noexcept { Access::release(buffer, holder); }
bool is_held(const PvBuffer& buffer) noexcept { return Access::is_held(buffer); }

}  // namespace vex::acquisition
