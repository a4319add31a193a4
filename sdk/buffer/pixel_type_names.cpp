#include "sdk/buffer/pixel_type_names.h"

#include <algorithm>
#include <array>

namespace vex {

namespace {

struct NamedPixelType {
    PvPixelType type;
    std::string_view name;
};

constexpr std::array<NamedPixelType, pv_pixel_types.size()> named_types{{
    {PvPixelMono8, "Mono8"},
    {PvPixelMono8Signed, "Mono8Signed"},
    {PvPixelMono10, "Mono10"},
    {PvPixelMono10Packed, "Mono10Packed"},
    {PvPixelMono12, "Mono12"},
    {PvPixelMono12Packed, "Mono12Packed"},
    {PvPixelMono14, "Mono14"},
    {PvPixelMono16, "Mono16"},
    {PvPixelBayerGR8, "BayerGR8"},
    {PvPixelBayerRG8, "BayerRG8"},
    {PvPixelBayerGB8, "BayerGB8"},
    {PvPixelBayerBG8, "BayerBG8"},
    {PvPixelBayerGR10, "BayerGR10"},
    {PvPixelBayerRG10, "BayerRG10"},
    {PvPixelBayerGB10, "BayerGB10"},
    {PvPixelBayerBG10, "BayerBG10"},
    {PvPixelBayerGR12, "BayerGR12"},
    {PvPixelBayerRG12, "BayerRG12"},
    {PvPixelBayerGB12, "BayerGB12"},
    {PvPixelBayerBG12, "BayerBG12"},
    {PvPixelBayerGR10Packed, "BayerGR10Packed"},
    {PvPixelBayerRG10Packed, "BayerRG10Packed"},
    {PvPixelBayerGB10Packed, "BayerGB10Packed"},
    {PvPixelBayerBG10Packed, "BayerBG10Packed"},
    {PvPixelBayerGR12Packed, "BayerGR12Packed"},
    {PvPixelBayerRG12Packed, "BayerRG12Packed"},
    {PvPixelBayerGB12Packed, "BayerGB12Packed"},
    {PvPixelBayerBG12Packed, "BayerBG12Packed"},
    {PvPixelBayerGR16, "BayerGR16"},
    {PvPixelBayerRG16, "BayerRG16"},
    {PvPixelBayerGB16, "BayerGB16"},
    {PvPixelBayerBG16, "BayerBG16"},
    {PvPixelRGB8Packed, "RGB8Packed"},
    {PvPixelBGR8Packed, "BGR8Packed"},
    {PvPixelRGBA8Packed, "RGBA8Packed"},
    {PvPixelBGRA8Packed, "BGRA8Packed"},
    {PvPixelRGB10Packed, "RGB10Packed"},
    {PvPixelBGR10Packed, "BGR10Packed"},
    {PvPixelRGB12Packed, "RGB12Packed"},
    {PvPixelBGR12Packed, "BGR12Packed"},
    {PvPixelRGB16Packed, "RGB16Packed"},
    {PvPixelBGR10V1Packed, "BGR10V1Packed"},
    {PvPixelBGR10V2Packed, "BGR10V2Packed"},
    {PvPixelRGB12V1Packed, "RGB12V1Packed"},
    {PvPixelYUV411Packed, "YUV411Packed"},
    {PvPixelYUV422Packed, "YUV422Packed"},
    {PvPixelYUV422YUYVPacked, "YUV422YUYVPacked"},
    {PvPixelYUV444Packed, "YUV444Packed"},
    {PvPixelRGB8Planar, "RGB8Planar"},
    {PvPixelRGB10Planar, "RGB10Planar"},
    {PvPixelRGB12Planar, "RGB12Planar"},
    {PvPixelRGB16Planar, "RGB16Planar"},
    {PvPixelWinRGB16, "WinRGB16"},
    {PvPixelWinRGB32, "WinRGB32"},
    {PvPixelWinRGB24, "WinRGB24"},
    {PvPixelWinBGR32, "WinBGR32"},
    {PvPixelWinBGR24, "WinBGR24"},
}};
static_assert(std::ranges::equal(named_types, pv_pixel_types, {}, &NamedPixelType::type),
              "every pixel type needs its name");

constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

std::string_view pixel_type_name(PvPixelType type) noexcept
{
    const auto* found = std::ranges::find(named_types, type, &NamedPixelType::type);
    return found != named_types.end() ? found->name : std::string_view();
}

std::optional<PvPixelType> pixel_type_of_name(std::string_view name) noexcept
{
    const auto* found = std::ranges::find_if(named_types, [name](const NamedPixelType& named) {
        return std::ranges::equal(named.name, name, {}, lower, lower);
    });
    return found != named_types.end() ? std::optional(found->type) : std::nullopt;
}

}  // namespace vex
