#include "sdk/finder/device_table.h"

#include <algorithm>
#include <utility>

#include "sdk/base/address.h"

namespace vex::finder {

namespace {

/// Of ASCII letters; other ones stay as they are.
std::string lower(std::string_view text)
{
    std::string made(text);
    for (char& letter : made) {
        if (letter >= 'A' && letter <= 'Z') {
            letter = static_cast<char>(letter + ('a' - 'A'));
        }
    }
    return made;
}

/// Addresses by their numbers, everything else by its letters.
bool is_before(const Device& a, const Device& b, Column column)
{
    if (column == Column::address) {
        const auto first = Ipv4Address::parse(a.address);
        const auto second = Ipv4Address::parse(b.address);
        if (first && second && *first != *second) {
            return *first < *second;
        }
    }
    const std::string first = lower(cell(a, column));
    const std::string second = lower(cell(b, column));
    return first != second ? first < second : a.id < b.id;
}

bool matches(const Device& device, const std::string& filter)
{
    for (int column = 0; column < column_count; ++column) {
        if (lower(cell(device, static_cast<Column>(column))).find(filter) != std::string::npos) {
            return true;
        }
    }
    return false;
}

std::string key_of(const Device& device) { return device.interface_id + '\n' + device.id; }

std::string heading_of(const Interface& interface) { return interface.description + "  " + interface.address; }

}  // namespace

std::string state_text(const Device& device)
{
    if (!device.is_reachable) {
        return "Wrong subnet";
    }
    switch (device.access) {
    case PvAccessOpen: return "Available";
    case PvAccessControl: return "In use by another application";
    case PvAccessExclusive: return "In exclusive use by another application";
    default: return "Unknown";
    }
}

std::string cell(const Device& device, Column column)
{
    switch (column) {
    case Column::name: return device.name.empty() ? device.model : device.name;
    case Column::model: return device.vendor.empty() ? device.model : device.vendor + " " + device.model;
    case Column::address: return device.address;
    case Column::mac: return device.mac;
    case Column::serial_number: return device.serial_number;
    case Column::state: return state_text(device);
    }
    return {};
}

std::string details(const Device& device)
{
    std::string text;
    const auto add = [&text](const char* name, const std::string& value) {
        if (!value.empty()) {
            text += std::string(name) + ": " + value + "\r\n";
        }
    };
    add("Name", device.name);
    add("Vendor", device.vendor);
    add("Model", device.model);
    add("Version", device.version);
    add("Serial number", device.serial_number);
    add("MAC address", device.mac);
    add("IP address", device.address);
    add("Subnet mask", device.mask);
    add("Gateway", device.gateway);
    add("Manufacturer", device.manufacturer_info);
    add("State", state_text(device));
    return text;
}

std::string proposed_address(const Interface& interface, const std::vector<std::string>& taken)
{
    const auto host = Ipv4Address::parse(interface.address);
    const auto mask = Ipv4Address::parse(interface.mask);
    if (!host || !mask) {
        return {};
    }
    const std::uint32_t bits = mask->value;
    const std::uint32_t network = host->value & bits;
    const std::uint32_t last = network | ~bits;  // broadcasts
    for (std::uint32_t candidate = last - 1; candidate > network && candidate < last; --candidate) {
        const std::string text = Ipv4Address{candidate}.to_string();
        if (candidate != host->value && std::ranges::find(taken, text) == taken.end()) {
            return text;
        }
    }
    return {};
}

void DeviceTable::set(std::shared_ptr<const Found> found, const IsListed& is_listed)
{
    found_ = std::move(found);
    // asking may call the client, who may do anything: the answers are put in one by one
    std::vector<std::shared_ptr<const Device>> listed;
    const std::shared_ptr<const Found> now = found_;
    for (const Device& device : now->devices) {
        const auto known = answers_.find(key_of(device));
        bool answer = true;
        if (known != answers_.end() && known->second.about.says_the_same(device)) {
            answer = known->second.is_listed;
        } else {
            answer = !is_listed || is_listed(device);
            answers_[key_of(device)] = {device, answer};
        }
        if (answer) {
            listed.push_back({now, &device});
        }
    }
    listed_ = std::move(listed);
    if (chosen_) {
        const auto same = std::ranges::find_if(listed_, [this](const auto& device) { return device->is(*chosen_); });
        if (same != listed_.end()) {
            chosen_ = *same;
        }
    }
    arrange();
}

void DeviceTable::set_filter(std::string_view text)
{
    filter_ = lower(text);
    arrange();
}

void DeviceTable::sort_by(Column column)
{
    descending_ = column == sorted_by_ && !descending_;
    sorted_by_ = column;
    arrange();
}

void DeviceTable::arrange()
{
    rows_.clear();
    if (!found_) {
        return;
    }
    // a device whose interface has gone stands without heading until it is missing
    std::vector<std::pair<std::string, std::string>> sections;
    for (const Interface& interface : found_->interfaces) {
        sections.emplace_back(interface.id, heading_of(interface));
    }
    for (const auto& device : listed_) {
        const bool has_section =
            std::ranges::any_of(sections, [&](const auto& section) { return section.first == device->interface_id; });
        if (!has_section) {
            sections.emplace_back(device->interface_id, std::string());
        }
    }
    for (const auto& [id, heading] : sections) {
        std::vector<std::shared_ptr<const Device>> shown;
        for (const auto& device : listed_) {
            if (device->interface_id == id && (filter_.empty() || matches(*device, filter_))) {
                shown.push_back(device);
            }
        }
        std::ranges::stable_sort(shown, [this](const auto& a, const auto& b) {
            return descending_ ? is_before(*b, *a, sorted_by_) : is_before(*a, *b, sorted_by_);
        });
        if (!shown.empty() && !heading.empty()) {
            rows_.push_back({heading, nullptr});
        }
        for (auto& device : shown) {
            rows_.push_back({{}, std::move(device)});
        }
    }
}

void DeviceTable::choose(int row)
{
    const bool is_row = row >= 0 && row < static_cast<int>(rows_.size());
    chosen_ = is_row ? rows_[static_cast<std::size_t>(row)].device : nullptr;
}

std::optional<int> DeviceTable::chosen_row() const
{
    if (!chosen_) {
        return std::nullopt;
    }
    const auto found =
        std::ranges::find_if(rows_, [this](const Row& row) { return row.device && row.device->is(*chosen_); });
    return found != rows_.end() ? std::optional(static_cast<int>(found - rows_.begin())) : std::nullopt;
}

}  // namespace vex::finder
