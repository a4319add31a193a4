// PvPixelType: how the pixels of an image are laid out in memory.
#pragma once

#include <array>
#include <cstdint>

/// Pixel layouts: the codes of the streaming protocol and, from 0x8000 on, those of Windows bitmaps.
///
/// Bits 24 to 31 tell monochrome and Bayer (1) from colour (2), bits 16 to 23 hold the bits that one pixel occupies,
/// bits 0 to 15 the identifier. Values of more than 8 bits are little-endian, in the low bits of their 16-bit word,
/// unless the name says packed.
///
/// - `Mono10Packed`, `Mono12Packed` and their Bayer kin: two pixels in three bytes. The first and third byte hold the
/// high
///   eight bits of each, the middle one the low bits, those of the first pixel in its low half.
/// - `RGB12V1Packed`: the same packing over the sequence R0 G0 B0 R1 G1 B1; two pixels in nine bytes.
/// - `BGR10V1Packed`: byte 0 holds the low two bits of red (bits 0 and 1), green and blue, bytes 1 to 3 the high eight
/// of
///   red, green and blue. `BGR10V2Packed`: a 32-bit word with red in bits 0 to 9, green in 10 to 19, blue in 20 to 29.
///   The standard once gave these two codes names that start with blue; later it corrected the names, not the layouts.
/// - `YUV411Packed`: U Y0 Y1 V Y2 Y3. `YUV422Packed`: U Y0 V Y1. `YUV422YUYVPacked`: Y0 U Y1 V. `YUV444Packed`: U Y V.
/// - Planar: all red lines, then all green, then all blue.
/// - `WinRGB16`: 16-bit words with five bits each, red in bits 10 to 14, as an uncompressed 16-bit bitmap has them.
///   `WinRGB24` and `WinRGB32` have Windows' own order in memory, blue first (a 32-bit pixel is 0xAARRGGBB read as a
///   number); `WinBGR24` and `WinBGR32` have red first, as a COLORREF does.
///
/// Each line starts on a byte of its own: where a line does not fill its last byte, the rest of that byte is unused.
enum PvPixelType : std::uint32_t {
    PvPixelUndefined = 0x00000000,
    PvPixelMono8 = 0x01080001,
    PvPixelMono8Signed = 0x01080002,
    PvPixelMono10 = 0x01100003,
    PvPixelMono10Packed = 0x010C0004,
    PvPixelMono12 = 0x01100005,
    PvPixelMono12Packed = 0x010C0006,
    PvPixelMono14 = 0x01100025,
    PvPixelMono16 = 0x01100007,
    PvPixelBayerGR8 = 0x01080008,
    PvPixelBayerRG8 = 0x01080009,
    PvPixelBayerGB8 = 0x0108000A,
    PvPixelBayerBG8 = 0x0108000B,
    PvPixelBayerGR10 = 0x0110000C,
    PvPixelBayerRG10 = 0x0110000D,
    PvPixelBayerGB10 = 0x0110000E,
    PvPixelBayerBG10 = 0x0110000F,
    PvPixelBayerGR12 = 0x01100010,
    PvPixelBayerRG12 = 0x01100011,
    PvPixelBayerGB12 = 0x01100012,
    PvPixelBayerBG12 = 0x01100013,
    PvPixelBayerGR10Packed = 0x010C0026,
    PvPixelBayerRG10Packed = 0x010C0027,
    PvPixelBayerGB10Packed = 0x010C0028,
    PvPixelBayerBG10Packed = 0x010C0029,
    PvPixelBayerGR12Packed = 0x010C002A,
    PvPixelBayerRG12Packed = 0x010C002B,
    PvPixelBayerGB12Packed = 0x010C002C,
    PvPixelBayerBG12Packed = 0x010C002D,
    PvPixelBayerGR16 = 0x0110002E,
    PvPixelBayerRG16 = 0x0110002F,
    PvPixelBayerGB16 = 0x01100030,
    PvPixelBayerBG16 = 0x01100031,
    PvPixelRGB8Packed = 0x02180014,
    PvPixelBGR8Packed = 0x02180015,
    PvPixelRGBA8Packed = 0x02200016,
    PvPixelBGRA8Packed = 0x02200017,
    PvPixelRGB10Packed = 0x02300018,
    PvPixelBGR10Packed = 0x02300019,
    PvPixelRGB12Packed = 0x0230001A,
    PvPixelBGR12Packed = 0x0230001B,
    PvPixelRGB16Packed = 0x02300033,
    PvPixelBGR10V1Packed = 0x0220001C,
    PvPixelBGR10V2Packed = 0x0220001D,
    PvPixelRGB12V1Packed = 0x02240034,
    PvPixelYUV411Packed = 0x020C001E,
    PvPixelYUV422Packed = 0x0210001F,
    PvPixelYUV422YUYVPacked = 0x02100032,
    PvPixelYUV444Packed = 0x02180020,
    PvPixelRGB8Planar = 0x02180021,
    PvPixelRGB10Planar = 0x02300022,
    PvPixelRGB12Planar = 0x02300023,
    PvPixelRGB16Planar = 0x02300024,
    PvPixelWinRGB16 = 0x02108000,
    PvPixelWinRGB32 = 0x02208001,
    PvPixelWinRGB24 = 0x02188002,
    PvPixelWinBGR32 = 0x02208003,
    PvPixelWinBGR24 = 0x02188004,
};

static_assert(sizeof(PvPixelType) == 4);

/// Every pixel type but Undefined, for those who need to walk them.
inline constexpr std::array<PvPixelType, 57> pv_pixel_types = {
    PvPixelMono8,           PvPixelMono8Signed,     PvPixelMono10,           PvPixelMono10Packed,
    PvPixelMono12,          PvPixelMono12Packed,    PvPixelMono14,           PvPixelMono16,
    PvPixelBayerGR8,        PvPixelBayerRG8,        PvPixelBayerGB8,         PvPixelBayerBG8,
    PvPixelBayerGR10,       PvPixelBayerRG10,       PvPixelBayerGB10,        PvPixelBayerBG10,
    PvPixelBayerGR12,       PvPixelBayerRG12,       PvPixelBayerGB12,        PvPixelBayerBG12,
    PvPixelBayerGR10Packed, PvPixelBayerRG10Packed, PvPixelBayerGB10Packed,  PvPixelBayerBG10Packed,
    PvPixelBayerGR12Packed, PvPixelBayerRG12Packed, PvPixelBayerGB12Packed,  PvPixelBayerBG12Packed,
    PvPixelBayerGR16,       PvPixelBayerRG16,       PvPixelBayerGB16,        PvPixelBayerBG16,
    PvPixelRGB8Packed,      PvPixelBGR8Packed,      PvPixelRGBA8Packed,      PvPixelBGRA8Packed,
    PvPixelRGB10Packed,     PvPixelBGR10Packed,     PvPixelRGB12Packed,      PvPixelBGR12Packed,
    PvPixelRGB16Packed,     PvPixelBGR10V1Packed,   PvPixelBGR10V2Packed,    PvPixelRGB12V1Packed,
    PvPixelYUV411Packed,    PvPixelYUV422Packed,    PvPixelYUV422YUYVPacked, PvPixelYUV444Packed,
    PvPixelRGB8Planar,      PvPixelRGB10Planar,     PvPixelRGB12Planar,      PvPixelRGB16Planar,
    PvPixelWinRGB16,        PvPixelWinRGB32,        PvPixelWinRGB24,         PvPixelWinBGR32,
    PvPixelWinBGR24,
};
