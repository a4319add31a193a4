#include "sdk/wire/pixel_format.h"

#include <algorithm>

#include "sdk/wire/pixel_format_table.h"

namespace vex::wire {

namespace {

constexpr auto by_name = [] {
    auto table = pixel_format_table;
    std::ranges::sort(table, {}, &NamedPixelFormat::name);
    return table;
}();

static_assert(std::ranges::adjacent_find(pixel_format_table, std::ranges::greater_equal{}, &NamedPixelFormat::code) ==
              pixel_format_table.end());
static_assert(std::ranges::adjacent_find(by_name, {}, &NamedPixelFormat::name) == by_name.end());

}  // namespace

std::string_view pixel_format_name(std::uint32_t pixel_format) noexcept
{
    const auto at = std::ranges::lower_bound(pixel_format_table, pixel_format, {}, &NamedPixelFormat::code);
    return at != pixel_format_table.end() && at->code == pixel_format ? at->name : std::string_view{};
}

std::optional<std::uint32_t> pixel_format_of_name(std::string_view name) noexcept
{
    const auto at = std::ranges::lower_bound(by_name, name, {}, &NamedPixelFormat::name);
    if (at == by_name.end() || at->name != name) {
        return std::nullopt;
    }
    return at->code;
}

}  // namespace vex::wire
