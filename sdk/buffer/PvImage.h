// PvImage: the image side of a buffer - geometry, pixel type and status of the pixels in the buffer's memory.
#pragma once

#include <cstdint>

#include "sdk/base/PvResult.h"
#include "sdk/buffer/PvPixelType.h"
#include "sdk/wire/pixel_format.h"

class PvBuffer;

namespace vex::acquisition {
struct Access;
}

/// The image in a buffer. It has no memory of its own: it describes the bytes of its buffer's data block, and its
/// Alloc, Attach, Detach and Free act on that block.
///
/// Geometry: lines run from the top of the picture to the bottom, each with GetPaddingX() bytes after its pixels; after
/// the last line follow GetPaddingY() bytes. Planar types have the lines of the red plane, then green's, then blue's.
/// Offsets say where in the sensor the first pixel lies and take no memory.
///
/// Lives as long as its buffer and is found with PvBuffer::GetImage.
///
/// Thread safety: as its buffer.
class PvImage {
public:
    PvImage(const PvImage&) = delete;
    PvImage& operator=(const PvImage&) = delete;

    /// The first pixel; null while the buffer has no memory.
    [[nodiscard]] std::uint8_t* GetDataPointer() noexcept;
    [[nodiscard]] const std::uint8_t* GetDataPointer() const noexcept;

    /// Pixels per line.
    [[nodiscard]] std::uint32_t GetWidth() const noexcept { return width_; }
    /// Lines. When a device ends an image early, the lines that it announced at the end.
    [[nodiscard]] std::uint32_t GetHeight() const noexcept { return height_; }
    [[nodiscard]] PvPixelType GetPixelType() const noexcept { return pixel_type_; }
    /// Bits that one pixel occupies in memory, whatever its significant bits; 0 without a pixel type.
    [[nodiscard]] std::uint32_t GetBitsPerPixel() const noexcept { return GetPixelBitCount(pixel_type_); }
    [[nodiscard]] static constexpr std::uint32_t GetPixelBitCount(PvPixelType type) noexcept
    {
        return vex::wire::bits_per_pixel(type);
    }

    /// Bytes of the image that were acquired; less than GetImageSize() when packets were lost or the image ended early.
    [[nodiscard]] std::uint32_t GetAcquiredSize() const noexcept;
    /// Bytes that this geometry needs, padding included: (line + padding X) * height + padding Y.
    [[nodiscard]] std::uint32_t GetRequiredSize() const noexcept;
    /// Bytes of the data block that belong to the image: GetRequiredSize(), but never more than the block holds. What
    /// follows them in the block (chunks, for instance) is not the image's.
    [[nodiscard]] std::uint32_t GetImageSize() const noexcept;
    /// Bytes of pixels alone: line * height, without any padding.
    [[nodiscard]] std::uint32_t GetEffectiveImageSize() const noexcept;

    [[nodiscard]] std::uint32_t GetOffsetX() const noexcept { return offset_x_; }
    [[nodiscard]] std::uint32_t GetOffsetY() const noexcept { return offset_y_; }
    void SetOffsetX(std::uint32_t offset) noexcept { offset_x_ = offset; }
    void SetOffsetY(std::uint32_t offset) noexcept { offset_y_ = offset; }
    /// Bytes after each line.
    [[nodiscard]] std::uint16_t GetPaddingX() const noexcept { return padding_x_; }
    /// Bytes after the last line.
    [[nodiscard]] std::uint16_t GetPaddingY() const noexcept { return padding_y_; }

    /// Bytes of one line's pixels (of one plane, where the type is planar), and the distance in bytes from one line to
    /// the next.
    [[nodiscard]] std::uint32_t GetLineSize() const noexcept;
    [[nodiscard]] std::uint32_t GetLineStride() const noexcept { return GetLineSize() + padding_x_; }

    /// Status of the image as the device and the receiver reported it; all false for an image made by hand.
    [[nodiscard]] bool IsPartialLineMissing() const noexcept { return partial_line_missing_; }
    [[nodiscard]] bool IsFullLineMissing() const noexcept { return full_line_missing_; }
    /// The image ended because its number of lines was reached, not because the source signalled the end.
    [[nodiscard]] bool IsEOFByLineCount() const noexcept { return eof_by_line_count_; }
    [[nodiscard]] bool IsInterlacedEven() const noexcept { return interlaced_even_; }
    [[nodiscard]] bool IsInterlacedOdd() const noexcept { return interlaced_odd_; }
    /// The device dropped the image; there are no pixels to trust.
    [[nodiscard]] bool IsImageDropped() const noexcept { return image_dropped_; }
    /// The device could not send the data as fast as they arose.
    [[nodiscard]] bool IsDataOverrun() const noexcept { return data_overrun_; }

    /// Gives the image this geometry and the buffer a block of exactly the required size, by the rules of
    /// PvBuffer::Alloc. Offsets become 0, status flags are cleared.
    ///
    /// Fails and changes nothing: InvalidParameter for no width, no height or what is neither a PvPixelType nor a
    /// well-formed code of another pixel format (wire::is_well_formed); ErrOverflow for an image of 4 GiB or more;
    /// NotEnoughMemory; StateError while a stream holds the buffer.
    PvResult Alloc(std::uint32_t size_x, std::uint32_t size_y, PvPixelType pixel_type, std::uint16_t padding_x = 0,
                   std::uint16_t padding_y = 0);
    /// Frees the buffer's memory as PvBuffer::Free does; the geometry stays, so that the same image can be filled
    /// again.
    void Free() noexcept;
    /// Gives the image this geometry over the caller's memory, which must hold the required size and stay in place
    /// until Detach, Free or the buffer's end. Offsets become 0, status flags are cleared. Fails as Alloc does, and
    /// with InvalidParameter for a null address.
    PvResult Attach(void* memory, std::uint32_t size_x, std::uint32_t size_y, PvPixelType pixel_type,
                    std::uint16_t padding_x = 0, std::uint16_t padding_y = 0);
    /// As PvBuffer::Detach; the geometry stays.
    std::uint8_t* Detach() noexcept;

private:
    friend class PvBuffer;
    friend struct vex::acquisition::Access;

    explicit PvImage(PvBuffer& buffer) noexcept : buffer_(buffer) {}
    void clear() noexcept;
    void set_geometry(std::uint32_t size_x, std::uint32_t size_y, PvPixelType pixel_type, std::uint16_t padding_x,
                      std::uint16_t padding_y) noexcept;

    PvBuffer& buffer_;
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    PvPixelType pixel_type_ = PvPixelUndefined;
    std::uint32_t offset_x_ = 0;
    std::uint32_t offset_y_ = 0;
    std::uint16_t padding_x_ = 0;
    std::uint16_t padding_y_ = 0;
    bool partial_line_missing_ = false;
    bool full_line_missing_ = false;
    bool eof_by_line_count_ = false;
    bool interlaced_even_ = false;
    bool interlaced_odd_ = false;
    bool image_dropped_ = false;
    bool data_overrun_ = false;
};
