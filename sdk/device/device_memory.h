// A device's memory for what reads it whatever connects it, over the control channel.
#pragma once

#include "sdk/control/control_channel.h"
#include "sdk/description/description_source.h"
#include "sdk/wire/bootstrap.h"

namespace vex::device {

/// Reads through the channel, which must outlive it. `capability` is the device's GVCP capability.
[[nodiscard]] inline description::DeviceMemory memory_of(control::ControlChannel& channel, std::uint32_t capability)
{
    return {channel.device().address.to_string(), channel.device().address,
            (capability & wire::bootstrap::capability::manifest_table) != 0,
            [&channel](std::uint64_t address, std::span<std::uint8_t> bytes) {
                return to_result(channel.read_memory(static_cast<std::uint32_t>(address), bytes), channel.device());
            }};
}

}  // namespace vex::device
