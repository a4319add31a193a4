// The software camera: a GigE Vision camera in a program, at least as strict as hardware.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "sdk/base/address.h"
#include "sdk/net/clock.h"
#include "sdk/transmitterraw/block_transmitter.h"
#include "sdk/virtualdevice/gvcp_responder.h"
#include "sdk/virtualdevice/message_channel.h"

namespace softcam {

struct CameraOptions {
    std::string adapter = "127.0.0.2";  ///< address, interface name or MAC; any address of 127.0.0.0/8 will do
    std::string serial_number = "SC-0001";
    std::string user_defined_name{};
    bool extended_ids = false;    ///< starts in the 64-bit block ID mode, as after a power cycle with it saved
    unsigned drop_per_mille = 0;  ///< of first transmissions, lost on purpose
    std::uint64_t drop_seed = 1;
    std::size_t history_blocks = 16;  ///< blocks that can be sent again
};

/// A camera with its own network sockets and threads.
///
/// Thread safety: start and stop from one thread at a time; the rest from any.
class Camera {
public:
    /// `clock` drives heartbeat, timestamps and frame rate and must outlive the camera.
    explicit Camera(const CameraOptions& options, const vex::net::Clock& clock = vex::net::Clock::steady());
    Camera(const Camera&) = delete;
    Camera& operator=(const Camera&) = delete;
    ~Camera();

    /// Listens from here on. Throws std::runtime_error (std::system_error for the network) that says why not.
    void start();
    /// Ends all threads; within a fraction of a second.
    void stop() noexcept;

    /// Where it listens.
    [[nodiscard]] vex::Ipv4Address address() const;
    [[nodiscard]] vex::MacAddress mac() const;

    [[nodiscard]] vex::virtual_device::GvcpStatistics control_statistics() const;
    [[nodiscard]] vex::transmitter::TransmitterStatistics stream_statistics() const;
    [[nodiscard]] vex::virtual_device::MessageStatistics message_statistics() const;

    /// The camera's protocol machine, for tests that look inside or act as a fault.
    [[nodiscard]] vex::virtual_device::GvcpResponder& responder() noexcept;
    /// Loses packets as `loss` decides instead of by drop_per_mille.
    void set_loss(std::shared_ptr<vex::transmitter::PacketLoss> loss);

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace softcam
