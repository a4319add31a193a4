// PvBufferConverter: images from one pixel type to another.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/buffer/PvPixelType.h"

class PvBuffer;
class PvFilterRGB;

/// How the colours that a Bayer pixel lacks are found.
enum PvBayerFilterType : std::int32_t {
    PvBayerFilterSimple = 1,  ///< the rounded mean of the two or four nearest pixels that have it (bilinear)
    PvBayerFilter3X3 = 2,     ///< the same, but along edges within the eight neighbours, which come out cleaner
};
static_assert(sizeof(PvBayerFilterType) == 4);

/// Converts images.
///
/// From every pixel type to: Mono8, Mono16, RGB8Packed, BGR8Packed, RGBA8Packed, BGRA8Packed, RGB16Packed, RGB8Planar,
/// YUV422Packed, YUV422YUYVPacked, YUV444Packed and the five Windows types; and from each to itself, which copies.
///
/// - Narrowing keeps the most significant bits; widening repeats them below, so that full scale stays full scale.
/// - YUV is BT.601 over the full range 0 to 255, computed with coefficients of 14 fractional bits and rounded to
/// nearest.
///   Chroma that several pixels share is repeated for each; the other way, that of a pair is the rounded mean.
/// - Grey is the Y of YUV. A signed 8-bit value counts from -128 as black.
/// - The Bayer types name the colours of the image's own first pixels, whatever offsets the image has in the sensor.
///   Beyond the borders the image is mirrored, the border pixels not repeated.
/// - Alpha is carried from RGBA8Packed and BGRA8Packed to each other; elsewhere it is written as 255.
/// - All types have their lines from top to bottom, the Windows types too: a bitmap over such lines has a negative
/// height.
///   Where Convert gives a Windows image another size or memory, padding X makes each line a multiple of four bytes, as
///   bitmaps need it.
/// - Padding bytes of the destination are not written.
///
/// Large images are divided among threads that the converter keeps. The result does not depend on their number.
///
/// Thread safety: not synchronised; different converters may run at the same time.
class PvBufferConverter {
public:
    /// `threads`: how many threads work on an image, the caller's included; the number of processors when 0 or less.
    explicit PvBufferConverter(std::int32_t threads = -1) noexcept;
    ~PvBufferConverter();
    PvBufferConverter(const PvBufferConverter&) = delete;
    PvBufferConverter& operator=(const PvBufferConverter&) = delete;

    [[nodiscard]] static bool IsConversionSupported(PvPixelType source, PvPixelType destination) noexcept;

    /// Converts to the pixel type that the destination's image has, keeping its padding. With `realloc_if_needed` the
    /// destination takes over the source's size and, if its memory is too small for that, gets memory of its own;
    /// without, width and height must be equal and the memory must suffice. The destination takes over block ID,
    /// timestamps, offsets and status.
    ///
    /// Fails and touches nothing: InvalidParameter (no image, sizes differ, shared memory), NotSupported,
    /// BufferTooSmall, NotEnoughMemory, ErrOverflow, StateError (a stream holds the destination).
    PvResult Convert(const PvBuffer* source, PvBuffer* destination, bool realloc_if_needed = false);

    [[nodiscard]] PvBayerFilterType GetBayerFilter() const noexcept { return bayer_filter_; }
    /// InvalidParameter, and no change, for a value that is no filter.
    PvResult SetBayerFilter(PvBayerFilterType filter);

    /// From now on every conversion of a colour image (Bayer, RGB, YUV) applies the settings that the filter has now;
    /// the filter itself may change or go away. Conversions between the same types that cannot be destinations for
    /// others, and monochrome images, are not filtered.
    PvResult SetRGBFilter(const PvFilterRGB& filter);
    PvResult ResetRGBFilter();

private:
    struct Engine;

    std::int32_t threads_;
    PvBayerFilterType bayer_filter_ = PvBayerFilterSimple;
    std::unique_ptr<PvFilterRGB> rgb_filter_;  // the settings at SetRGBFilter; null when none
    std::unique_ptr<Engine> engine_;           // threads and scratch memory, made by the first conversion
};
