#include "sdk/buffer/PvImage.h"

#include <algorithm>
#include <limits>

#include "sdk/base/failure.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/buffer/acquisition.h"
#include "sdk/wire/pixel_format.h"

using namespace vex;

namespace {

constexpr std::uint64_t largest_size = std::numeric_limits<std::uint32_t>::max();

std::uint32_t saturated(std::uint64_t size) noexcept
{
    return static_cast<std::uint32_t>(std::min(size, largest_size));
}

/// Checks a geometry that a caller wants memory for.
PvResult check_geometry(const acquisition::ImageGeometry& geometry)
{
    if (!wire::is_well_formed(geometry.pixel_type)) {
        return failure(PvResult::InvalidParameter, static_cast<std::uint32_t>(geometry.pixel_type),
                       " is not a pixel type");
    }
    if (geometry.width == 0 || geometry.height == 0) {
        return failure(PvResult::InvalidParameter, "An image needs a width and a height, not ", geometry.width, " x ",
                       geometry.height);
    }
    if (acquisition::required_size(geometry) > largest_size) {
        return failure(PvResult::ErrOverflow, "An image of ", geometry.width, " x ", geometry.height,
                       " pixels does not fit below 4 GiB");
    }
    return PvResult::OK;
}

}  // namespace

std::uint8_t* PvImage::GetDataPointer() noexcept { return buffer_.GetDataPointer(); }
const std::uint8_t* PvImage::GetDataPointer() const noexcept { return buffer_.GetDataPointer(); }

std::uint32_t PvImage::GetAcquiredSize() const noexcept { return std::min(buffer_.GetAcquiredSize(), GetImageSize()); }

std::uint32_t PvImage::GetRequiredSize() const noexcept
{
    return saturated(
        acquisition::required_size({width_, height_, pixel_type_, offset_x_, offset_y_, padding_x_, padding_y_}));
}

std::uint32_t PvImage::GetImageSize() const noexcept { return std::min(GetRequiredSize(), buffer_.GetSize()); }

std::uint32_t PvImage::GetEffectiveImageSize() const noexcept
{
    return saturated(acquisition::required_size({width_, height_, pixel_type_, 0, 0, 0, 0}));
}

std::uint32_t PvImage::GetLineSize() const noexcept
{
    return saturated(acquisition::line_layout(pixel_type_, width_).line_bytes);
}

PvResult PvImage::Alloc(std::uint32_t size_x, std::uint32_t size_y, PvPixelType pixel_type, std::uint16_t padding_x,
                        std::uint16_t padding_y)
{
    const acquisition::ImageGeometry wanted{size_x, size_y, pixel_type, 0, 0, padding_x, padding_y};
    if (auto checked = check_geometry(wanted); !checked.IsOK()) {
        return checked;
    }
    auto allocated = buffer_.Alloc(static_cast<std::uint32_t>(acquisition::required_size(wanted)));
    if (allocated.IsOK()) {
        set_geometry(size_x, size_y, pixel_type, padding_x, padding_y);
    }
    return allocated;
}

void PvImage::Free() noexcept { buffer_.Free(); }

PvResult PvImage::Attach(void* memory, std::uint32_t size_x, std::uint32_t size_y, PvPixelType pixel_type,
                         std::uint16_t padding_x, std::uint16_t padding_y)
{
    const acquisition::ImageGeometry wanted{size_x, size_y, pixel_type, 0, 0, padding_x, padding_y};
    if (auto checked = check_geometry(wanted); !checked.IsOK()) {
        return checked;
    }
    auto attached = buffer_.Attach(memory, static_cast<std::uint32_t>(acquisition::required_size(wanted)));
    if (attached.IsOK()) {
        set_geometry(size_x, size_y, pixel_type, padding_x, padding_y);
    }
    return attached;
}

std::uint8_t* PvImage::Detach() noexcept { return buffer_.Detach(); }

void PvImage::clear() noexcept { set_geometry(0, 0, PvPixelUndefined, 0, 0); }

void PvImage::set_geometry(std::uint32_t size_x, std::uint32_t size_y, PvPixelType pixel_type, std::uint16_t padding_x,
                           std::uint16_t padding_y) noexcept
{
    width_ = size_x;
    height_ = size_y;
    pixel_type_ = pixel_type;
    offset_x_ = 0;
    offset_y_ = 0;
    padding_x_ = padding_x;
    padding_y_ = padding_y;
    partial_line_missing_ = false;
    full_line_missing_ = false;
    eof_by_line_count_ = false;
    interlaced_even_ = false;
    interlaced_odd_ = false;
    image_dropped_ = false;
    data_overrun_ = false;
}
