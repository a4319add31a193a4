// PvBufferPart: one part of a block that consists of several.
#pragma once

#include <cstdint>

#include "sdk/buffer/PvPixelType.h"

/// What a part of a multi-part block holds. Values from DeviceSpecificBase on belong to the device's maker.
enum PvPartType : std::int32_t {
    PvPartTypeUndefined = -1,
    PvPartTypeImage2D = 0x0001,
    PvPartTypePlane2DOfTwo = 0x0002,
    PvPartTypePlane2DOfThree = 0x0003,
    PvPartTypePlane2DOfFour = 0x0004,
    PvPartTypeImage3D = 0x0005,
    PvPartTypePlane3DOfTwo = 0x0006,
    PvPartTypePlane3DOfThree = 0x0007,
    PvPartTypePlane3DOfFour = 0x0008,
    PvPartTypeConfidenceMap = 0x0009,
    PvPartTypeChunkData = 0x000A,
    PvPartTypeJPEG = 0x000B,
    PvPartTypeJPEG2000 = 0x000C,
    PvPartTypeDeviceSpecificBase = 0x8000,
};

/// A part as the device described it, with its bytes.
struct PvBufferPart {
    PvPartType Type = PvPartTypeUndefined;
    /// The part's bytes in the buffer's data block; valid until the buffer is queued or its memory changed.
    const std::uint8_t* Data = nullptr;
    std::uint32_t Size = 0;  ///< bytes

    // 0 and PvPixelUndefined for parts that are no images
    std::uint32_t Width = 0;   ///< pixels
    std::uint32_t Height = 0;  ///< lines
    std::uint32_t OffsetX = 0;
    std::uint32_t OffsetY = 0;
    std::uint16_t PaddingX = 0;  ///< bytes after each line
    std::uint16_t PaddingY = 0;  ///< bytes after the last line
    PvPixelType PixelType = PvPixelUndefined;

    // which parts belong together, by numbers of the device's own
    std::uint8_t SourceID = 0;
    std::uint16_t PurposeID = 0;
    std::uint16_t RegionID = 0;
};
