// One connection to one device on a serial line.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <string>

#include "sdk/base/PvResult.h"
#include "sdk/genicp/client.h"
#include "sdk/genicp/device_facts.h"
#include "sdk/genicp/heartbeat.h"
#include "sdk/genicp/serial_link.h"
#include "sdk/net/clock.h"

namespace vex::genicp {

/// A line, its device and the privilege to write to it, from open() to close() or destruction.
///
/// A line has one host, so a privilege that an earlier connection left behind is taken over. A device whose heartbeat
/// is on is asked for its privilege several times within the time that it gives, by a thread of the connection.
///
/// Thread safety: all members may be called from any thread.
class Connection {
public:
    /// So many beats in a row that are not answered end the connection.
    static constexpr int most_missed_beats = 3;

    /// Takes the privilege where the device has one, and begins the heartbeat where that is on. `name` begins failure
    /// texts. The clock must outlive the connection. `connection` is set on success only.
    [[nodiscard]] static PvResult open(std::unique_ptr<SerialLink> link, std::string name, DeviceFacts facts,
                                       const Timing& timing, const net::Clock& clock,
                                       std::shared_ptr<Connection>& connection);

    Connection(std::unique_ptr<SerialLink> link, std::string name, DeviceFacts facts, const Timing& timing,
               const net::Clock& clock);
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    /// Closes.
    ~Connection();

    /// Gives the privilege back, with one attempt, and closes the port: accesses under way and later ones fail. Once
    /// more does nothing.
    void close() noexcept;

    /// Memory of the device. NotConnected when the connection is lost or closed, with the reason.
    [[nodiscard]] PvResult read(std::uint64_t address, std::span<std::uint8_t> destination);
    [[nodiscard]] PvResult write(std::uint64_t address, std::span<const std::uint8_t> source);

    /// One beat: asks for the privilege and takes it again where the device has forgotten it. False when the connection
    /// is lost.
    [[nodiscard]] bool beat();

    /// The device does not answer any more, or the line has gone.
    [[nodiscard]] bool is_lost() const noexcept { return lost_; }
    [[nodiscard]] const DeviceFacts& facts() const noexcept { return facts_; }
    [[nodiscard]] const std::string& name() const noexcept { return name_; }
    [[nodiscard]] Client& client() noexcept { return client_; }

private:
    [[nodiscard]] PvResult take_privilege();
    /// The outcome in words; a line that has gone ends the connection.
    [[nodiscard]] PvResult judge(const Outcome& outcome);

    std::unique_ptr<SerialLink> link_;
    std::string name_;
    DeviceFacts facts_;
    Client client_;
    std::atomic<bool> lost_{false};
    int missed_ = 0;  ///< of the heartbeat only
    std::mutex close_mutex_;
    bool closed_ = false;
    bool privileged_ = false;
    std::optional<Heartbeat> heartbeat_;
};

}  // namespace vex::genicp
