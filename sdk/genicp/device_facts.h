// What a GenCP device says of itself in its bootstrap registers.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "sdk/base/PvResult.h"
#include "sdk/genicp/client.h"

namespace vex::genicp {

struct DeviceFacts {
    std::uint32_t version = 0;  ///< of GenCP: major in the upper half, minor in the lower one
    std::string manufacturer;
    std::string model;
    std::string family;  ///< empty where the device has none
    std::string device_version;
    std::string manufacturer_info;
    std::string serial_number;
    std::string user_defined_name;  ///< empty where the device has none
    std::uint64_t capability = 0;
    std::uint32_t maximum_response_time_ms = 0;
    std::uint64_t manifest_table = 0;  ///< its address
    std::uint64_t sbrm = 0;            ///< its address; 0 where the device has none
    std::uint64_t configuration = 0;
    std::uint32_t heartbeat_timeout_ms = 0;  ///< 0 where the device has no heartbeat or it is off

    [[nodiscard]] bool has(std::uint64_t one_capability) const noexcept { return (capability & one_capability) != 0; }
};

/// Whether a GenCP device answers: reads its version. NotSupported for a version that is none, else what reading says.
[[nodiscard]] PvResult read_version(Client& client, std::string_view name, std::uint32_t& version);

/// Reads the bootstrap registers. `name` begins failure texts. `facts` is set on success only.
[[nodiscard]] PvResult read_device_facts(Client& client, std::string_view name, DeviceFacts& facts);

}  // namespace vex::genicp
