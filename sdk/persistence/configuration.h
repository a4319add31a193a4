// What a configuration file holds: named items of five kinds, in the order in which they were stored.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "sdk/genicam/stored_values.h"
#include "sdk/lists/PvProperty.h"

namespace vex::persistence {

enum class ItemKind : std::uint8_t { device, stream, parameters, properties, string };

/// The device that settings were stored from, for people who read the file: settings go to any device.
struct DeviceIdentity {
    std::string vendor;
    std::string model;
    std::string version;
    std::string serial_number;
    std::string user_defined_name;
    std::string mac_address;

    bool operator==(const DeviceIdentity&) const = default;
};

struct Item {
    ItemKind kind = ItemKind::string;
    std::string name{};                    ///< may be empty
    DeviceIdentity identity{};             ///< of a device
    std::vector<StoredValue> values{};     ///< of a device, a stream or a parameter array, in the order of restoring
    std::vector<StoredValue> link{};       ///< of a device
    std::vector<PvProperty> properties{};  ///< of a property list
    std::string text{};                    ///< of a string

    bool operator==(const Item&) const = default;
};

class Configuration {
public:
    /// Puts the item in the place of the first of its kind and name, or at the end where there is none and where it has
    /// no name.
    void store(Item item);
    /// Adds the item at the end.
    void add(Item item) { items_.push_back(std::move(item)); }

    [[nodiscard]] const std::vector<Item>& items() const noexcept { return items_; }
    [[nodiscard]] std::uint32_t count(ItemKind kind) const noexcept;
    /// The first of that kind with exactly that name; null when there is none.
    [[nodiscard]] const Item* find(ItemKind kind, std::string_view name) const noexcept;
    /// By its index, from 0, among those of that kind; null past the last.
    [[nodiscard]] const Item* at(ItemKind kind, std::uint32_t index) const noexcept;

private:
    std::vector<Item> items_;
};

}  // namespace vex::persistence
