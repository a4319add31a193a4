#include "sdk/stream_core/block_parts.h"

#include <algorithm>
#include <limits>

#include "sdk/wire/pixel_format.h"

namespace vex::stream {

namespace {

constexpr std::uint64_t endless = std::numeric_limits<std::uint64_t>::max();
constexpr std::uint32_t custom_format = 0x80000000;

}  // namespace

std::uint64_t unaligned_size(const acquisition::ImageGeometry& image) noexcept
{
    const std::uint64_t pixels = std::uint64_t{image.width} * image.height;
    const unsigned bits = wire::bits_per_pixel(static_cast<std::uint32_t>(image.pixel_type));
    if (bits != 0 && pixels > (endless - 7) / bits) {
        return endless - 1;
    }
    const std::uint64_t bytes = (pixels * bits + 7) / 8;
    const std::uint64_t padding = std::uint64_t{image.padding_x} * image.height + image.padding_y;
    return bytes > endless - 1 - padding ? endless - 1 : bytes + padding;
}

std::uint64_t least_size(const acquisition::ImageGeometry& image) noexcept
{
    return (static_cast<std::uint32_t>(image.pixel_type) & custom_format) != 0 ? 0 : unaligned_size(image);
}

acquisition::ImageGeometry geometry_of(const wire::gvsp::ImageInfo& info) noexcept
{
    return {.width = info.size_x,
            .height = info.size_y,
            .pixel_type = static_cast<PvPixelType>(info.pixel_format),
            .offset_x = info.offset_x,
            .offset_y = info.offset_y,
            .padding_x = info.padding_x,
            .padding_y = info.padding_y};
}

bool BlockParts::read(const wire::gvsp::Leader& leader)
{
    clear();
    const std::size_t count = leader.parts.size() / wire::gvsp::part_size;
    for (std::size_t index = 0; index < count; ++index) {
        const std::optional<wire::gvsp::Part> part = wire::gvsp::decode_part(leader, index);
        if (part.has_value() && !add(*part)) {
            clear();
            return false;
        }
    }
    lay_out();
    return true;
}

bool BlockParts::add(const wire::gvsp::Part& part)
{
    Entry entry;
    PvBufferPart& description = entry.description;
    description.Type = static_cast<PvPartType>(part.data_type);
    description.SourceID = part.source_id;
    description.PurposeID = part.purpose;
    description.RegionID = part.region;
    entry.length = part.length;
    entry.needed = part.length;
    if (part.image.has_value()) {
        const acquisition::ImageGeometry geometry = geometry_of(*part.image);
        if (least_size(geometry) > part.length) {
            return false;
        }
        description.Width = geometry.width;
        description.Height = geometry.height;
        description.OffsetX = geometry.offset_x;
        description.OffsetY = geometry.offset_y;
        description.PaddingX = geometry.padding_x;
        description.PaddingY = geometry.padding_y;
        description.PixelType = geometry.pixel_type;
        if (!image_.has_value()) {
            image_ = geometry;
            image_index_ = parts_.size();
        }
    }
    parts_.push_back(entry);
    return true;
}

void BlockParts::lay_out() noexcept
{
    size_ = image_.has_value() ? parts_[image_index_].length : 0;
    for (std::size_t index = 0; index < parts_.size(); ++index) {
        if (!image_.has_value() || index != image_index_) {
            parts_[index].offset = size_;
            size_ += parts_[index].length;
        }
    }
}

void BlockParts::read(const wire::gvsp::Trailer& trailer) noexcept
{
    for (std::size_t index = 0; index < parts_.size(); ++index) {
        const std::optional<wire::gvsp::TrailerPart> told = wire::gvsp::decode_trailer_part(trailer, index);
        Entry& part = parts_[index];
        if (!told.has_value() || told->data_type != static_cast<std::uint16_t>(part.description.Type)) {
            return;
        }
        if (told->length != 0) {
            part.needed = std::min(part.length, told->length);
        }
        if (part.description.PixelType != PvPixelUndefined && told->size_y != 0) {
            part.description.Height = std::min(part.description.Height, told->size_y);
        }
    }
}

std::optional<std::uint64_t> BlockParts::place(std::size_t part, std::uint64_t offset,
                                               std::uint64_t length) const noexcept
{
    if (part >= parts_.size() || offset > parts_[part].length || length > parts_[part].length - offset) {
        return std::nullopt;
    }
    return parts_[part].offset + offset;
}

bool BlockParts::are_covered(const ByteRanges& bytes) const noexcept
{
    return std::ranges::all_of(parts_, [&](const Entry& part) { return bytes.covers(part.offset, part.needed); });
}

std::vector<acquisition::Part> BlockParts::list(std::uint64_t capacity) const
{
    std::vector<acquisition::Part> list;
    list.reserve(parts_.size());
    for (const Entry& part : parts_) {
        acquisition::Part entry{.description = part.description};
        if (part.offset <= capacity) {
            entry.offset = static_cast<std::uint32_t>(part.offset);
            entry.description.Size = static_cast<std::uint32_t>(std::min(part.needed, capacity - part.offset));
        }
        list.push_back(entry);
    }
    return list;
}

}  // namespace vex::stream
