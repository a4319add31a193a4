// The small camera for tests on real sockets.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

#include "sdk/net/udp_socket.h"
#include "tests/sdk/control/raw_device.h"

namespace device_test {

/// Sockets bound to different loopback addresses are told apart. Where they are not (Wine sends from 127.0.0.1 whatever
/// the socket is bound to) there can be one camera at a time, at that address.
[[nodiscard]] bool has_loopback_addresses();
/// The address 127.0.0.`last`, or the one that there is.
[[nodiscard]] vex::Ipv4Address loopback(std::uint8_t last);

/// Thread safety: all members may be called from any thread.
class RawCamera final : public RawDevice {
public:
    explicit RawCamera(RawCameraOptions options);
    ~RawCamera() override;

private:
    void run();
    void send_test_packet(const vex::Endpoint& destination, const Bytes& packet) override;

    std::atomic<bool> stop_{false};
    vex::net::UdpSocket unicast_;
    vex::net::UdpSocket directed_;
    vex::net::UdpSocket limited_;
    std::thread thread_;
};

}  // namespace device_test
