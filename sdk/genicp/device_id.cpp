#include "sdk/genicp/device_id.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

#include "sdk/base/numbers.h"

namespace vex::genicp {

namespace {

constexpr char separator = ':';

std::string part_of(std::string_view name)
{
    std::string part(trimmed(name));
    std::ranges::replace(part, separator, '_');
    return part;
}

bool fits(const std::string& wanted, const std::string& found) noexcept { return wanted.empty() || wanted == found; }

}  // namespace

std::string DeviceId::text() const
{
    return template_name + separator + std::to_string(baud_rate) + separator + manufacturer + separator + model +
           separator + serial_number;
}

bool DeviceId::names(const DeviceId& other) const noexcept
{
    return fits(manufacturer, other.manufacturer) && fits(model, other.model) &&
           fits(serial_number, other.serial_number);
}

std::optional<DeviceId> parse_device_id(std::string_view text)
{
    std::array<std::string_view, 5> parts{};
    for (std::size_t at = 0;; ++at) {
        const std::size_t end = text.find(separator);
        parts[at] = trimmed(text.substr(0, end));
        if (end == std::string_view::npos) {
            break;
        }
        if (at + 1 == parts.size()) {
            return std::nullopt;
        }
        text = text.substr(end + 1);
    }
    DeviceId id;
    if (!parts[1].empty()) {
        const auto rate = parse_integer(parts[1]);
        if (!rate || *rate < 0 || *rate > std::numeric_limits<std::uint32_t>::max()) {
            return std::nullopt;
        }
        id.baud_rate = static_cast<std::uint32_t>(*rate);
    }
    id.template_name = parts[0];
    id.manufacturer = parts[2];
    id.model = parts[3];
    id.serial_number = parts[4];
    return id;
}

DeviceId device_id_of(std::string_view template_name, std::uint32_t baud_rate, const DeviceFacts& facts)
{
    return {std::string(template_name), baud_rate, part_of(facts.manufacturer), part_of(facts.model),
            part_of(facts.serial_number)};
}

}  // namespace vex::genicp
