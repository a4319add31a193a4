// The negotiation of the stream's packet size: which packets arrive is tried out, not computed.
#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

#include "sdk/base/PvResult.h"
#include "sdk/control/control_channel.h"
#include "sdk/net/clock.h"
#include "sdk/net/udp_socket.h"

namespace vex::control {

/// The sizes that the device takes, in bytes from the IP header to the last data byte.
struct PacketSizeLimits {
    std::uint32_t smallest = 576;
    std::uint32_t largest = 65535;
    std::uint32_t step = 4;
};

/// Which stream channel's size is negotiated, and within what.
struct PacketSizeTask {
    std::uint32_t channel = 0;
    std::uint32_t default_size = 0;  ///< set when no test packet arrives; 0: the size stays as it was
    PacketSizeLimits limits;
    std::uint32_t mtu = 0;  ///< the host interface's, in bytes; 0 when not known
    bool locked = false;    ///< the device's features say that it is streaming
};

/// Where the device's test packets arrive.
///
/// Thread safety: one thread at a time.
class TestPackets {
public:
    virtual ~TestPackets() = default;

    /// The address and port that the device is to send to.
    [[nodiscard]] virtual Endpoint local() const noexcept = 0;
    /// Waits up to `timeout` for a datagram; empty on timeout.
    virtual std::optional<net::Received> receive(std::span<std::uint8_t> buffer,
                                                 std::chrono::milliseconds timeout) noexcept = 0;
};

/// Finds the largest packet that arrives and leaves the device at it; see PvDevice::NegotiatePacketSize.
PvResult negotiate_packet_size(ControlChannel& control, const PacketSizeTask& task, TestPackets& packets,
                               const net::Clock& clock);
/// The same with a UDP socket of its own.
PvResult negotiate_packet_size(ControlChannel& control, const PacketSizeTask& task);

}  // namespace vex::control
