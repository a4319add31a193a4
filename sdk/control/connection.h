// One connection to one device: its control channel and what the device said of itself when it was opened.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "sdk/base/PvResult.h"
#include "sdk/control/PvTypes.h"
#include "sdk/control/control_channel.h"
#include "sdk/control/control_transport.h"
#include "sdk/control/privilege.h"
#include "sdk/net/clock.h"
#include "sdk/net/known_path.h"

namespace vex::control {

/// Whom to connect to, and how.
struct ConnectionTarget {
    Endpoint device;
    Ipv4Address local;  ///< 0.0.0.0: by the system's routes
    MacAddress mac;     ///< when not zero, a device with another one is not the device
    std::string hint;   ///< said after a timeout: what may be the cause
    PvAccessType access = PvAccessControl;
    Switchover switchover{};  ///< `allow` holds for PvAccessControl: who wants a device alone does not hand it over
    std::uint16_t local_port = 0;          ///< 0: the system chooses
    std::optional<Returning> returning{};  ///< set to come back to a device whose connection was lost
    RetryPolicy first_request{std::chrono::milliseconds(280), 3};  ///< short, so that a missing device is told soon
};

/// What the bootstrap registers said.
struct DeviceFacts {
    std::uint32_t version = 0;
    std::uint32_t mode = 0;
    std::uint32_t capability = 0;
    std::uint32_t stream_channels = 0;
    std::uint32_t heartbeat_timeout_ms = 0;
    MacAddress mac;
    std::string serial_number;  ///< empty when the device has none
};

/// An open control channel with the privilege asked for.
///
/// Shared by whoever uses it; the device's owner drops it first, the last access under way on another thread last.
///
/// Thread safety: all members may be called from any thread.
class Connection {
public:
    /// Reaches the device, checks that this SDK can talk to it and takes the privilege. `connection` is set on success
    /// only.
    static PvResult open(const ConnectionTarget& target, const RetryPolicy& policy,
                         std::shared_ptr<Connection>& connection);
    /// The same on this transport instead of a UDP socket. The clock must outlive the connection.
    static PvResult open(const ConnectionTarget& target, const RetryPolicy& policy,
                         std::unique_ptr<ControlTransport> transport, const net::Clock& clock,
                         std::shared_ptr<Connection>& connection);

    Connection(const ConnectionTarget& target, std::unique_ptr<ControlTransport> transport, const net::Clock& clock);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Gives the privilege back, in a bounded time, and closes the channel: accesses under way and later ones fail.
    void close() noexcept;
    /// The device is gone or gave control to somebody else: closes the channel and tells nothing to the device. False
    /// when the connection was closed or lost before.
    bool lose(std::string reason);

    /// After a loss: lets the local port go, once the accesses under way have ended.
    void release_port() noexcept;

    [[nodiscard]] ControlChannel& channel() noexcept { return channel_; }
    [[nodiscard]] const DeviceFacts& facts() const noexcept { return facts_; }
    [[nodiscard]] PvAccessType access() const noexcept { return target_.access; }
    /// This side holds control and allows others to take it.
    [[nodiscard]] bool hands_over() const noexcept;
    /// This side holds the privilege to write.
    [[nodiscard]] bool has_control() const noexcept;
    /// What the device said of its controller when this side became it; empty when it does not tell.
    [[nodiscard]] const std::optional<PrivilegeHolder>& holder() const noexcept { return holder_; }
    /// The device still knew this side as its controller, and so has kept its state, when this connection was opened.
    [[nodiscard]] bool kept_control() const noexcept { return kept_control_; }
    [[nodiscard]] const ConnectionTarget& target() const noexcept { return target_; }
    [[nodiscard]] const Endpoint& device() const noexcept { return target_.device; }
    [[nodiscard]] std::string loss_reason() const;

    /// The outcome in words.
    [[nodiscard]] PvResult result_of(const ControlOutcome& outcome) const;
    /// OK, or why nothing may be written.
    [[nodiscard]] PvResult check_writable() const;
    /// OK, or that the device has no such stream channel.
    [[nodiscard]] PvResult check_stream_channel(std::uint32_t channel) const;
    /// Asks the device for the port that it sends the channel from, where it tells, so that streams of this process
    /// know.
    void learn_stream_source(std::uint32_t channel);

private:
    static PvResult open_untold(const ConnectionTarget& target, const RetryPolicy& policy,
                                std::unique_ptr<ControlTransport> transport, const net::Clock& clock,
                                std::shared_ptr<Connection>& connection);
    PvResult read_facts();
    void read_serial_number();
    void enable_capabilities();

    ConnectionTarget target_;
    std::unique_ptr<ControlTransport> transport_;
    ControlChannel channel_;
    DeviceFacts facts_;
    std::optional<PrivilegeHolder> holder_;
    bool kept_control_ = false;
    std::optional<net::KnownPath> path_;  ///< while the connection is open
    std::atomic<bool> ended_{false};
    mutable std::mutex reason_mutex_;
    std::string loss_reason_;
};

}  // namespace vex::control
