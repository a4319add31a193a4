// The software camera: a GigE Vision camera in a program, at least as strict as hardware.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "sdk/base/address.h"
#include "sdk/net/clock.h"
#include "sdk/peripherals/serial_device.h"
#include "sdk/transmitterraw/block_transmitter.h"
#include "sdk/virtualdevice/gvcp_responder.h"
#include "sdk/virtualdevice/message_channel.h"
#include "tools/softcam/faults.h"
#include "tools/softcam/files.h"
#include "tools/softcam/payload.h"
#include "tools/softcam/side_channels.h"

namespace softcam {

struct CameraOptions {
    std::string adapter = "127.0.0.2";  ///< address, interface name or MAC; any address of 127.0.0.0/8 will do
    std::string serial_number = "SC-0001";
    std::string user_defined_name{};
    bool extended_ids = false;        ///< starts in the 64-bit block ID mode, as after a power cycle with it saved
    std::size_t history_blocks = 16;  ///< blocks that can be sent again, of each channel
    unsigned stream_channels = 1;     ///< 1 to 8; all of them send the same pictures
    PayloadKind payload = PayloadKind::image;
    bool all_in = false;                                    ///< blocks that fit one packet travel in one
    vex::net::Trains trains = vex::net::Trains::automatic;  ///< of packets that leave together
    bool free_geometry = false;  ///< size, position and format of images may change while frames are taken
    bool manifest = false;       ///< lists its description in a manifest table, too
    ControlFaults control_faults{};
    FileFaults file_faults{};
    /// Their seeds follow one another from this one, a port after the other.
    SideChannelFaults side_channel_faults{};
    /// What hangs on Serial0, made for each camera; empty: a loopback plug.
    std::function<std::unique_ptr<vex::peripherals::SerialDevice>()> serial0_device{};
    /// What hangs on Serial1, made for each camera; empty: a command line device.
    std::function<std::unique_ptr<vex::peripherals::SerialDevice>()> serial1_device{};
    /// Of each channel by itself; their seeds follow one another from this one.
    vex::transmitter::StreamFaultSettings stream_faults{};
    /// Where the user-defined name and the persistent address configuration are kept between runs; empty: nowhere.
    std::string state_file{};
};

/// How the camera comes back from switching off and on.
struct RebootOptions {
    std::string adapter{};                   ///< as in CameraOptions; empty: see Camera
    std::chrono::milliseconds silence{200};  ///< until it answers again, by the camera's clock
    std::string description{};               ///< another description, as XML; empty: the same
};

/// A camera with its own network sockets and threads.
///
/// Switched on, it listens at its persistent address when an application gave it one that this host has, else where the
/// options say.
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
    /// Silence as of a pulled cable, in control, stream and events, until told otherwise: see FaultyLink.
    void go_silent(bool silent);
    /// The same for a time of the camera's clock.
    void go_silent_for(std::chrono::milliseconds time);
    /// Switches the camera off and on: nobody controls it, all registers are as after power-on but for the user-defined
    /// name, the persistent address configuration and saved user sets, and it is silent for a while. MAC address and
    /// serial number stay. Returns when the camera listens at its address, silent still; a camera that was stopped
    /// does so from start() on. Throws as start() does, and stays at the old address then. Not from a hook, and not
    /// beside start() and stop().
    void reboot(const RebootOptions& options = {});
    void set_control_faults(const ControlFaults& faults);
    [[nodiscard]] FaultStatistics fault_statistics() const;
    /// From the next operation on a file on.
    void set_file_faults(const FileFaults& faults);
    /// Of serial ports and the I2C bus, from now on; the draws begin anew.
    void set_side_channel_faults(const SideChannelFaults& faults);

    /// Loses packets as `loss` decides, beside the stream's faults.
    void set_loss(std::shared_ptr<vex::transmitter::PacketLoss> loss);
    /// From the next packet on; the draws begin anew.
    void set_stream_faults(const vex::transmitter::StreamFaultSettings& faults);
    /// Of all channels together, since the faults were set.
    [[nodiscard]] vex::transmitter::StreamFaultStatistics stream_fault_statistics() const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

}  // namespace softcam
