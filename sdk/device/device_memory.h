// A device's memory for what reads it whatever connects it, over the control channel.
#pragma once

#include "sdk/control/control_channel.h"
#include "sdk/description/description_source.h"

namespace vex::device {

/// Reads through the channel, which must outlive it.
[[nodiscard]] inline description::DeviceMemory memory_of(control::ControlChannel& channel)
{
    return {channel.device().address.to_string(), channel.device().address,
            [&channel](std::uint64_t address, std::span<std::uint8_t> bytes) {
                return to_result(channel.read_memory(static_cast<std::uint32_t>(address), bytes), channel.device());
            }};
}

}  // namespace vex::device
