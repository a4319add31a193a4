// What a table of bridges says of each of them.
#pragma once

#include <string>

#include "sdk/bridge_manager/manager.h"

namespace vex::bridge_manager {

enum class Column { port, other_end, line, from_device, to_device, dropped, parameters, state };
inline constexpr int column_count = 8;

[[nodiscard]] std::string cell(const Row& row, Column column);
/// "Stopped", "Running" and the like, with what went wrong.
[[nodiscard]] std::string state_text(const Row& row);
/// "115200 8N1".
[[nodiscard]] std::string line_text(const PvSerialPortConfiguration& line);

}  // namespace vex::bridge_manager
