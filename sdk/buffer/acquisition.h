// What streams and transmitters need of a buffer beyond its public members: filling it, reading it out, holding it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "sdk/buffer/PvBuffer.h"

namespace vex::acquisition {

struct ImageGeometry {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    PvPixelType pixel_type = PvPixelUndefined;
    std::uint32_t offset_x = 0;
    std::uint32_t offset_y = 0;
    std::uint16_t padding_x = 0;  ///< bytes after each line
    std::uint16_t padding_y = 0;  ///< bytes after the image

    friend bool operator==(const ImageGeometry&, const ImageGeometry&) = default;
};

/// How the pixels of a line lie in memory: one line, or one in each of three planes.
struct LineLayout {
    std::uint64_t line_bytes = 0;  ///< of one plane's line, without padding
    std::uint32_t planes = 1;
};
[[nodiscard]] LineLayout line_layout(PvPixelType type, std::uint32_t width) noexcept;

/// Bytes that an image of this geometry takes, padding included; saturates instead of wrapping. A code that is no
/// enumerator is sized by its own bit count.
/// A planar type has the lines of three planes, padding X after each.
[[nodiscard]] std::uint64_t required_size(const ImageGeometry& geometry) noexcept;

/// What is known when a block begins.
struct BlockStart {
    PvPayloadType payload_type = PvPayloadTypeImage;
    std::uint64_t block_id = 0;
    std::uint64_t timestamp = 0;       ///< device ticks
    std::uint64_t reception_time = 0;  ///< host microseconds, monotonic
    /// Bytes to make room for. The image's own required size is made room for in any case.
    std::uint64_t payload_size = 0;
    bool keeps_bytes = false;                             ///< larger memory begins with the bytes of the old
    std::optional<ImageGeometry> image{};                 ///< used for the image payload type
    std::optional<std::uint64_t> announced_raw_length{};  ///< used for the raw data payload type
    PvRawDataFormat raw_format = PvRawDataFormatUnknown;  ///< used for the raw data payload type
    std::span<const std::uint8_t> file_name{};            ///< used for the file payload type; copied
};

/// Makes the buffer ready for a block: payload type and attributes of the start, everything of an earlier acquisition
/// cleared, and memory of at least the needed size. Own memory grows when needed (then zeroed) and never shrinks;
/// memory that suffices keeps its bytes, so that lost packets show the old image and no time goes into clearing. The
/// user's ID stays.
///
/// BufferTooSmall when attached memory does not suffice, ErrOverflow for 4 GiB and more, NotEnoughMemory: the
/// attributes are set, the memory is as it was. Works on a held buffer.
PvResult begin(PvBuffer& buffer, const BlockStart& start);

/// Gives the buffer memory of at least that size for the block to come, so that begin() need not. The bytes are not
/// kept. Attached memory, and what there is no memory for, stays as it is: that shows with the block.
void grow(PvBuffer& buffer, std::uint64_t size) noexcept;

/// The whole data block, for writing. Stays valid until the next begin() or the buffer is given back.
[[nodiscard]] std::span<std::uint8_t> memory(PvBuffer& buffer) noexcept;
/// Copies bytes to an offset of the block; false, and nothing written, when they do not fit whole.
bool write(PvBuffer& buffer, std::uint64_t offset, std::span<const std::uint8_t> bytes) noexcept;

struct PacketRange {
    std::uint32_t low = 0;
    std::uint32_t high = 0;
};

struct ImageStatus {
    bool partial_line_missing = false;
    bool full_line_missing = false;
    bool eof_by_line_count = false;
    bool interlaced_even = false;
    bool interlaced_odd = false;
    bool image_dropped = false;
    bool data_overrun = false;
};

/// A part of a multi-part block, by its place in the buffer's memory.
struct Part {
    PvBufferPart description;  ///< Data is not used
    std::uint32_t offset = 0;  ///< offset and Size lie within the memory
};

/// What is known when a block has ended, whole or not.
struct BlockEnd {
    PvResult result{};
    std::uint64_t acquired_size = 0;  ///< bytes received; capped at the block's size
    std::uint32_t expected_resend_count = 0;
    std::uint32_t lost_packet_count = 0;
    std::uint32_t ignored_packet_count = 0;
    std::span<const PacketRange> missing{};  ///< copied; ascending, not overlapping
    ImageStatus status{};
    /// Lines that the trailer announced. Fewer than the leader's height shorten the image; more lengthen it, if the
    /// bytes for them came.
    std::optional<std::uint32_t> delivered_lines{};
    /// The part of the block that consists of chunks; empty where there are none.
    std::span<const std::uint8_t> chunks{};
    std::uint32_t chunk_layout_id = 0;
    std::span<const Part> parts{};  ///< copied
};

/// Records how a block ended. Never fails: without memory for the lists of missing packets and parts they stay empty.
void finish(PvBuffer& buffer, const BlockEnd& end) noexcept;

/// Gives the buffer's image another geometry over the memory that it has. Status flags are cleared.
///
/// Fails and changes nothing: InvalidParameter when the payload type is not image, BufferTooSmall.
PvResult reshape(PvBuffer& buffer, const ImageGeometry& geometry);
/// Marks an image made from another one: it takes over block ID, timestamps, offsets, status flags and operation result
/// and counts as acquired whole. Both must be images.
void derive(PvBuffer& buffer, const PvBuffer& original) noexcept;
/// The image is no field of an interlaced one (any more).
void mark_progressive(PvBuffer& buffer) noexcept;

/// Geometry of the buffer's image; nothing when it is no image or has no pixel type.
[[nodiscard]] std::optional<ImageGeometry> geometry(const PvBuffer& buffer) noexcept;
/// The bytes to send for this buffer: an image's GetImageSize(), else the acquired size, else the whole block.
[[nodiscard]] std::span<const std::uint8_t> payload(const PvBuffer& buffer) noexcept;

/// One that keeps buffers of others in its queues.
class Holder {
public:
    /// The buffer is being destroyed. On return the holder must not touch it any more; it waits if one of its threads
    /// is filling the buffer at this moment. Called on the thread that destroys the buffer.
    virtual void buffer_destroyed(PvBuffer& buffer) noexcept = 0;

protected:
    ~Holder() = default;
};

/// Takes hold of a buffer; false when another (or the same) holder has it.
[[nodiscard]] bool hold(PvBuffer& buffer, Holder& holder) noexcept;
/// Gives the buffer back to its user; no effect unless `holder` holds it.
void release(PvBuffer& buffer, Holder& holder) noexcept;
[[nodiscard]] bool is_held(const PvBuffer& buffer) noexcept;

}  // namespace vex::acquisition
