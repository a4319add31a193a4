// The negotiation of the stream's packet size: which packets arrive is tried out, not computed.
#pragma once

#include <cstdint>
#include <memory>

#include "sdk/base/PvResult.h"
#include "sdk/device/connection.h"

namespace vex::device {

/// The sizes that the device takes, in bytes from the IP header to the last data byte.
struct PacketSizeLimits {
    std::uint32_t smallest = 576;
    std::uint32_t largest = 65535;
    std::uint32_t step = 4;
};

/// Finds the largest packet that arrives and leaves the device at it; see PvDevice::NegotiatePacketSize. `mtu` is the
/// host interface's, 0 when not known.
PvResult negotiate_packet_size(Connection& connection, std::uint32_t channel, std::uint32_t default_size,
                               PacketSizeLimits limits, std::uint32_t mtu);

}  // namespace vex::device
