// The raw camera's GenICam description.
#pragma once

#include <string>

namespace device_test {

/// Features over the raw camera's registers at 0xA000 and 0xB000. `schema_minor` 0 is the older schema; `byte_order` is
/// "BigEndian" or "LittleEndian"; `more` is put among the nodes.
std::string raw_description(int schema_minor = 1, const std::string& byte_order = "BigEndian",
                            const std::string& more = {}, const std::string& more_features = {});

}  // namespace device_test
