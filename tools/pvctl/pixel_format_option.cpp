#include "tools/pvctl/pixel_format_option.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <optional>
#include <stdexcept>

#include "sdk/buffer/pixel_type_names.h"
#include "sdk/wire/pixel_format.h"

using namespace vex;

namespace pvctl {
namespace {

bool is_pixel_type(std::uint32_t code) { return !pixel_type_name(static_cast<PvPixelType>(code)).empty(); }

std::optional<PvPixelType> of_code(std::string_view text)
{
    if (!text.starts_with("0x") && !text.starts_with("0X")) {
        return std::nullopt;
    }
    std::uint32_t code = 0;
    const auto [end, error] = std::from_chars(text.data() + 2, text.data() + text.size(), code, 16);
    if (error != std::errc() || end != text.data() + text.size() || !is_pixel_type(code)) {
        return std::nullopt;
    }
    return static_cast<PvPixelType>(code);
}

std::optional<PvPixelType> of_standard_name(std::string_view name)
{
    const auto code = wire::pixel_format_of_name(name);
    return code && is_pixel_type(*code) ? std::optional(static_cast<PvPixelType>(*code)) : std::nullopt;
}

std::string all_names()
{
    std::string names;
    std::size_t line = 0;
    for (const auto type : pv_pixel_types) {
        const auto name = pixel_type_name(type);
        if (line + name.size() > 100) {
            names += '\n';
            line = 0;
        }
        names.append(line == 0 ? "  " : " ").append(name);
        line += name.size() + 1;
    }
    return names;
}

}  // namespace

PvPixelType pixel_type_named(const std::string& name)
{
    for (const auto& found : {pixel_type_of_name(name), of_standard_name(name), of_code(name)}) {
        if (found) {
            return *found;
        }
    }
    throw std::runtime_error("there is no pixel format '" + name + "'; there are:\n" + all_names());
}

void print_pixel_types()
{
    std::printf("%-20s %-10s %-4s %s\n", "name", "code", "bits", "standard name");
    for (const auto type : pv_pixel_types) {
        std::printf("%-20s 0x%08X %-4u %s\n", std::string(pixel_type_name(type)).c_str(), static_cast<unsigned>(type),
                    wire::bits_per_pixel(type), std::string(wire::pixel_format_name(type)).c_str());
    }
}

}  // namespace pvctl
