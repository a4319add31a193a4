// The device's end of GVCP: takes command datagrams, executes them on a register space and answers.
//
// It knows neither sockets nor threads, so that every rule of the protocol is tested with literal datagrams and a clock
// that the test moves. GvcpServer puts it on the network.
#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <mutex>
#include <optional>
#include <random>
#include <span>
#include <vector>

#include "sdk/base/address.h"
#include "sdk/net/clock.h"
#include "sdk/virtualdevice/bootstrap_device.h"
#include "sdk/virtualdevice/datagram_handler.h"
#include "sdk/virtualdevice/register_map.h"
#include "sdk/wire/gvcp.h"

namespace vex::virtual_device {

/// Where and how a stream channel sends, as its registers say.
struct StreamChannel {
    Endpoint destination;           ///< port 0: closed
    std::uint32_t packet_size = 0;  ///< IP and UDP headers included, bytes
    bool do_not_fragment = false;
    std::uint32_t packet_delay = 0;  ///< timestamp ticks
    bool extended_ids = false;

    [[nodiscard]] bool is_open() const noexcept { return destination.port != 0 && !destination.address.is_any(); }
};

/// Where and how events are told, as the message channel's registers say.
struct MessageChannelState {
    Endpoint destination;                 ///< port 0: closed
    std::chrono::milliseconds timeout{};  ///< until an event is told again; 0: no acknowledge is asked for
    std::uint32_t retry_count = 0;

    [[nodiscard]] bool is_open() const noexcept { return destination.port != 0 && !destination.address.is_any(); }
};

/// What the owner of the device is asked and told. Every call comes with the responder's lock held, on the thread that
/// handled the datagram; an implementation must not call back into handle(), tick() or lock().
class DeviceHooks {
public:
    virtual ~DeviceHooks() = default;
    /// An application took control, gave it up or lost it; nothing is told when one hands it over to another, and the
    /// channels stay open then. Without control all channels are closed.
    virtual void on_control_changed(bool /*controlled*/) {}
    virtual void on_stream_channel_changed(unsigned /*channel*/, const StreamChannel& /*state*/) {}
    virtual void on_message_channel_changed(const MessageChannelState& /*state*/) {}
    /// One test packet of the channel's packet size is wanted at its destination.
    virtual void on_test_packet(unsigned /*channel*/, const StreamChannel& /*state*/) {}
    virtual void on_packet_resend(const wire::gvcp::PacketResend& /*range*/) {}
    virtual void on_action(unsigned /*signal*/, const wire::gvcp::Action& /*action*/) {}
    /// The device is to change its address; 0.0.0.0 means that it restarts its address configuration. The answer is
    /// sent before the change takes effect.
    virtual Status on_force_ip(const wire::gvcp::ForceIp& /*settings*/) { return Status::access_denied; }
    /// The device's time in ticks of DeviceDescription::timestamp_frequency.
    virtual std::uint64_t timestamp() = 0;
    virtual void reset_timestamp() {}
    /// Called now and then, at the latest at the time that the last call gave, and after each datagram: for what goes
    /// on in the device by itself.
    virtual std::optional<net::Clock::time_point> on_tick() { return std::nullopt; }
    /// An application wrote to a register that outlives restarts, which has its new value. Anything but success becomes
    /// the answer.
    virtual Status on_persistent_change() { return Status::success; }
    /// The registers are as after power-on; what else the device has is to be so, too.
    virtual void on_restart() {}
};

/// What became of the datagrams.
struct GvcpStatistics {
    std::uint64_t received = 0;           ///< all datagrams
    std::uint64_t executed = 0;           ///< commands carried out, successfully or not
    std::uint64_t repeated = 0;           ///< retries answered from memory
    std::uint64_t not_for_us = 0;         ///< FORCEIP for another device, ACTION that no signal matches
    std::uint64_t malformed = 0;          ///< dropped: not a GVCP command
    std::uint64_t denied = 0;             ///< refused for want of privilege
    std::uint64_t heartbeat_expired = 0;  ///< control taken away from a silent application
};

/// The protocol machine of one device.
///
/// Thread safety: all public functions may be called from any thread; a lock inside serialises them. The register map
/// is touched only with that lock held: see lock().
class GvcpResponder final : public DatagramHandler {
public:
    /// `hooks` and `clock` must outlive the responder.
    GvcpResponder(const DeviceDescription& description, DeviceHooks& hooks,
                  const net::Clock& clock = net::Clock::steady());

    void handle(std::span<const std::uint8_t> datagram, const Endpoint& source, const Send& send) override;

    /// Takes control away from an application that has been silent for longer than the heartbeat timeout.
    net::Clock::duration tick(const Send& send) override;

    /// Serialises access to registers() with the handling of datagrams.
    [[nodiscard]] std::unique_lock<std::mutex> lock() { return std::unique_lock(mutex_); }

    /// The register space; the owner adds its own regions above wire::bootstrap::manufacturer_space. Hold lock(), or be
    /// in a hook.
    [[nodiscard]] RegisterMap& registers() noexcept { return registers_; }
    /// The state of a stream channel; hold lock(), or be in a hook.
    [[nodiscard]] StreamChannel stream_channel(unsigned channel) const;
    [[nodiscard]] MessageChannelState message_channel() const;
    /// True while an application holds control; hold lock(), or be in a hook.
    [[nodiscard]] bool controlled() const noexcept { return controller_.has_value(); }
    /// Whether the application that controls the device asked for the newer status codes.
    [[nodiscard]] bool extended_status() const;

    /// From within a register hook: the running command will take about `time`. The application is told, when it
    /// enabled pending acknowledges, so that it waits instead of trying again.
    void announce_delay(std::chrono::milliseconds time);

    /// The registers as they are now are what restart() brings back, but for those that outlive a restart: the
    /// user-defined name and the persistent address configuration. Call it once the owner's regions are there, with
    /// lock() held.
    void remember_power_on() { registers_.remember_power_on(); }
    /// As after switching off and on: nobody has control, all channels are closed, no request is remembered and the
    /// registers are as remember_power_on() found them. The address stays. Ends with DeviceHooks::on_restart(). Takes
    /// the lock.
    void restart();
    /// From within a hook: restart() comes once the running command has been answered.
    void restart_when_answered() { restart_when_answered_ = true; }

    /// The device's address changed. Takes the lock.
    void set_address(Ipv4Address address, Ipv4Address mask, Ipv4Address gateway);

    /// Ends control as if the application had been silent. Takes the lock.
    void drop_control();

    [[nodiscard]] GvcpStatistics statistics() const;

private:
    struct Answered {
        Endpoint source;
        std::uint64_t used = 0;  // for finding the entry that was used longest ago
        net::Clock::time_point answered{};
        std::vector<std::uint8_t> request;
        std::vector<std::uint8_t> acknowledge;
    };

    struct Scheduled {
        unsigned signal = 0;
        wire::gvcp::Action action;  // with a time
    };
    struct Deferred {
        net::Clock::time_point due;
        Endpoint destination;
        wire::gvcp::Message message;
    };

    void add_identity_registers();
    /// A read-only register that keeps its value.
    void add_constant(std::uint32_t address, std::uint32_t value);
    void add_capability_registers();
    void add_timestamp_registers();
    void add_block_id_register();
    void add_control_registers();
    void add_message_registers();
    void add_stream_registers(unsigned channel);
    void add_action_registers();

    void expire();
    void execute(const wire::gvcp::CommandView& command);
    void discovery(const wire::gvcp::CommandView& command);
    void force_ip(const wire::gvcp::CommandView& command);
    void read_registers(const wire::gvcp::CommandView& command);
    void write_registers(const wire::gvcp::CommandView& command);
    void read_memory(const wire::gvcp::CommandView& command);
    void write_memory(const wire::gvcp::CommandView& command);
    void packet_resend(const wire::gvcp::CommandView& command);
    void action(const wire::gvcp::CommandView& command);
    /// action_late when it was due already and done at once, overflow when it could not be kept.
    [[nodiscard]] Status act_or_schedule(unsigned signal, const wire::gvcp::Action& action);
    /// The status as an application that did not enable the newer codes is told.
    [[nodiscard]] Status told(Status status) const;
    /// Returns how long it is until the next one, at most until the heartbeat is to be looked at.
    net::Clock::duration run_due_actions();
    [[nodiscard]] Endpoint reply_address(const wire::gvcp::CommandView& command) const;

    [[nodiscard]] Status read_allowed(std::uint32_t address, std::size_t length);
    [[nodiscard]] Status write_allowed(std::uint32_t address, std::size_t length);
    /// Whether the application in control lets another one have it that asks so.
    [[nodiscard]] bool hands_over(std::uint32_t request) const;
    [[nodiscard]] Status accept_privilege(std::uint32_t& value);
    [[nodiscard]] bool heartbeat_disabled() const;
    void release_control();
    void close_channels();
    void power_cycle();
    void store_address(Ipv4Address address, Ipv4Address mask, Ipv4Address gateway);

    [[nodiscard]] Status after_write(Status status);
    void answer(const wire::gvcp::Message& message);
    void answer_status(const wire::gvcp::CommandView& command, Status status);
    bool answer_from_memory(std::span<const std::uint8_t> datagram);

    DeviceDescription description_;
    DeviceHooks& hooks_;
    const net::Clock& clock_;
    mutable std::mutex mutex_;
    RegisterMap registers_;
    GvcpStatistics statistics_;

    std::optional<Endpoint> controller_;
    net::Clock::time_point last_command_{};

    // the datagram being handled
    Endpoint source_;
    std::uint16_t request_id_ = 0;
    bool answer_wanted_ = false;
    bool restart_when_answered_ = false;
    const Send* send_ = nullptr;
    Answered* remembered_ = nullptr;  // where its answer is kept for retries

    std::vector<Scheduled> scheduled_;
    std::vector<Deferred> deferred_;
    std::mt19937_64 random_;

    std::array<Answered, 8> answered_;  // the last change that each of the last few applications made
    std::uint64_t answers_ = 0;
};

}  // namespace vex::virtual_device
