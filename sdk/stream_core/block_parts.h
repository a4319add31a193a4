// The parts of a multi-part block, and where they lie in a buffer.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "sdk/buffer/acquisition.h"
#include "sdk/stream_core/byte_ranges.h"
#include "sdk/wire/gvsp.h"

namespace vex::stream {

/// Bytes of an image whose lines follow each other without being filled up to whole bytes, as some packed formats do;
/// saturates.
[[nodiscard]] std::uint64_t unaligned_size(const acquisition::ImageGeometry& image) noexcept;
/// Bytes that an image needs at least. Formats of a maker's own may be compressed: no bytes are certain.
[[nodiscard]] std::uint64_t least_size(const acquisition::ImageGeometry& image) noexcept;
[[nodiscard]] acquisition::ImageGeometry geometry_of(const wire::gvsp::ImageInfo& info) noexcept;

/// The first part that is an image lies at the beginning of the buffer, where it is the buffer's image; the others
/// follow in their order.
///
/// Memory is kept from block to block. Not thread-safe.
class BlockParts {
public:
    void clear() noexcept
    {
        parts_.clear();
        image_.reset();
        size_ = 0;
    }

    /// What the leader says; throws std::bad_alloc. False when it contradicts itself: an image that its part has no
    /// room for.
    bool read(const wire::gvsp::Leader& leader);
    /// What became of the parts: one that is shorter than announced needs no more bytes than it has.
    void read(const wire::gvsp::Trailer& trailer) noexcept;

    /// Of the first part that is an image.
    [[nodiscard]] const std::optional<acquisition::ImageGeometry>& image() const noexcept { return image_; }
    /// Lines of that image that were delivered, by the trailer; 0 without an image.
    [[nodiscard]] std::uint32_t image_lines() const noexcept
    {
        return image_.has_value() ? parts_[image_index_].description.Height : 0;
    }
    /// Bytes of all parts.
    [[nodiscard]] std::uint64_t size() const noexcept { return size_; }
    /// Where bytes of a part belong in the buffer; nothing when the part does not have them.
    [[nodiscard]] std::optional<std::uint64_t> place(std::size_t part, std::uint64_t offset,
                                                     std::uint64_t length) const noexcept;
    [[nodiscard]] bool are_covered(const ByteRanges& bytes) const noexcept;
    /// The parts for the buffer, as far as they lie within `capacity` bytes. Throws std::bad_alloc.
    [[nodiscard]] std::vector<acquisition::Part> list(std::uint64_t capacity) const;

private:
    struct Entry {
        PvBufferPart description;
        std::uint64_t offset = 0;
        std::uint64_t length = 0;
        std::uint64_t needed = 0;
    };

    bool add(const wire::gvsp::Part& part);
    void lay_out() noexcept;

    std::vector<Entry> parts_;
    std::optional<acquisition::ImageGeometry> image_;
    std::size_t image_index_ = 0;
    std::uint64_t size_ = 0;
};

}  // namespace vex::stream
