// The raw camera's GenICam description.
#pragma once

#include <string>
#include <vector>

namespace device_test {

struct RawFeatures {
    int schema_minor = 1;                  ///< 0 is the older schema
    std::string byte_order = "BigEndian";  ///< of Value: or "LittleEndian"
    std::string more{};                    ///< further nodes
    std::vector<std::string> listed{};     ///< those of them that are features
};

/// Features over the raw camera's registers at 0xA000 and 0xB000.
std::string raw_description(const RawFeatures& features = {});

}  // namespace device_test
