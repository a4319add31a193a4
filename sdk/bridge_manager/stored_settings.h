// The settings of bridges as properties.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "sdk/bridge_manager/settings.h"
#include "sdk/lists/PvPropertyList.h"

namespace vex::bridge_manager {

/// What a list says of one port.
struct StoredRow {
    bool is_mentioned = false;
    std::optional<bool> running{};      ///< nothing where the list does not tell
    Settings settings{};                ///< where the list does not tell, those of before
    std::vector<std::string> faults{};  ///< values that are none; a line for each, without the port
};

/// Properties are named SerialBridge.PORT.NAME; names and values are listed in docs/windows.md, and depend on no
/// locale. Those that the list has already get the new values, others are added; the rest of the list stays.
void store_row(const std::string& port, const Settings& settings, bool running, PvPropertyList& list);

/// Names that are not known are left alone: they are somebody else's, or a later version's. Of several properties with
/// one name the last counts.
[[nodiscard]] StoredRow read_row(const std::string& port, const PvPropertyList& list, const Settings& before);

/// The ports that the list has properties for and that are not among `known`; each once, in the list's order.
[[nodiscard]] std::vector<std::string> unknown_ports(const PvPropertyList& list, std::span<const std::string> known);

}  // namespace vex::bridge_manager
