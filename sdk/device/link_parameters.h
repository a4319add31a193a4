// The parameters of a connection: timeouts, retries, heartbeat and counters.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "sdk/base/PvResult.h"
#include "sdk/base/debugger.h"
#include "sdk/control/connection.h"
#include "sdk/control/heartbeat.h"
#include "sdk/control/message_receiver.h"
#include "sdk/description/description_source.h"
#include "sdk/device/heartbeat_timeout.h"
#include "sdk/genicam/software_parameters.h"

namespace vex::device {

/// What the application sets; it holds from connection to connection. All members may be used from any thread.
struct LinkSettings {
    std::atomic<std::uint32_t> answer_timeout_ms{500};
    std::atomic<std::uint32_t> retries{3};
    std::atomic<std::uint32_t> heartbeat_timeout_ms{0};  ///< 0: as the device has it
    std::atomic<bool> heartbeat_disabled{false};
    std::atomic<bool> heartbeat_debugger{false};  ///< the device waits longer while the process is debugged
    std::atomic<std::int32_t> byte_order{0};      ///< ByteOrderRule
    std::atomic<bool> recovery{false};
    std::atomic<std::uint16_t> switchover_key{0};  ///< 0: none
    std::atomic<bool> switchover_enabled{false};

    [[nodiscard]] control::Switchover switchover() const noexcept
    {
        return {switchover_key, switchover_key != 0, switchover_enabled};
    }
    [[nodiscard]] control::RetryPolicy retry_policy() const noexcept
    {
        return {std::chrono::milliseconds(answer_timeout_ms), retries + 1};
    }
};

/// The settings, applied to whatever connection there is, and the counters of the connections.
///
/// Thread safety: all members may be called from any thread.
class Link {
public:
    /// `is_debugged`: a debugger is attached to the process.
    explicit Link(std::function<bool()> is_debugged = &is_debugger_attached) : is_debugged_(std::move(is_debugged)) {}

    [[nodiscard]] LinkSettings& settings() noexcept { return settings_; }
    [[nodiscard]] const std::shared_ptr<control::HeartbeatSettings>& heartbeat() const noexcept { return heartbeat_; }
    /// Made when first asked for. Throws bad_alloc.
    [[nodiscard]] SoftwareParameterArray& parameters();
    /// Where the user lets descriptions be read from.
    [[nodiscard]] description::DescriptionPlaces description_places() const;

    /// The connection that settings are applied to and counters read from from now on. Writes the heartbeat settings to
    /// the device when this side controls it; a device that does not take them is left as it is. Calls no event sink.
    void attach(const std::shared_ptr<control::Connection>& connection);
    /// Makes the device wait longer or no longer for its controller, if a debugger has come or gone and the application
    /// wants that. Before each beat; waits for the device for some tenths of a second at most. Calls no event sink.
    void attend_debugger();
    /// Tells the event sinks of the parameters what attaching has changed.
    void tell_attached();
    /// Whose counters of events are shown from now on.
    void set_messages(const std::shared_ptr<control::MessageReceiver>& messages);
    /// Puts back in the device what attach or a setting changed for the connection's time. The counters stay.
    void detach() noexcept;
    void count_loss(std::string reason);
    /// Tells the event sinks of the parameters what count_loss has changed.
    void tell_loss();
    /// What became of the last attempt to recover the link; also tells the event sinks of the parameters.
    void set_recovery_state(std::string state);
    /// A link was recovered and everything put back; also tells the event sinks of the parameters.
    void count_recovery();
    /// Called on the thread that changes the setting. Set it before anybody uses the parameters.
    void on_recovery_changed(std::function<void(bool on)> call) { recovery_changed_ = std::move(call); }
    void count_stream_timeout(std::uint32_t channel);
    void reset_stream_timeouts(std::uint32_t channel);

private:
    [[nodiscard]] std::unique_ptr<SoftwareParameterArray> build_parameters();
    /// Tells the event sinks of a parameter, if anybody has asked for it.
    void changed(const char* parameter);
    void add_settings(SoftwareParameters& parameters);
    void add_description_places(SoftwareParameters& parameters);
    PvResult set_description_cache(const std::string& folder);
    void add_heartbeat(SoftwareParameters& parameters);
    void add_recovery(SoftwareParameters& parameters);
    void add_switchover(SoftwareParameters& parameters);
    void add_round_trips(SoftwareParameters& parameters);
    void add_events(SoftwareParameters& parameters);
    void add_statistics(SoftwareParameters& parameters);
    [[nodiscard]] std::shared_ptr<control::Connection> connection() const;
    [[nodiscard]] control::ControlStatistics statistics() const;
    [[nodiscard]] control::MessageReceiverStatistics message_statistics() const;
    [[nodiscard]] std::uint64_t stream_timeouts() const;
    PvResult apply_heartbeat_timeout(control::Connection& connection);
    PvResult apply_heartbeat_disabled(control::Connection& connection);

    LinkSettings settings_;
    std::shared_ptr<control::HeartbeatSettings> heartbeat_ = std::make_shared<control::HeartbeatSettings>();
    std::function<void(bool)> recovery_changed_;
    std::atomic<std::uint64_t> losses_{0};
    std::atomic<std::uint64_t> recoveries_{0};
    mutable std::mutex mutex_;
    std::shared_ptr<control::Connection> connection_;     ///< the last one also after it was detached, for its counters
    std::shared_ptr<control::MessageReceiver> messages_;  ///< as the connection
    std::string loss_reason_;
    std::string recovery_state_;
    description::DescriptionPlaces description_places_;
    std::map<std::uint32_t, std::uint64_t> stream_timeouts_;  ///< reports by channel
    std::atomic<bool> attached_{false};
    HeartbeatTimeout heartbeat_timeout_{heartbeat_};
    const std::function<bool()> is_debugged_;
    std::once_flag asked_for_;
    std::atomic<SoftwareParameterArray*> made_{nullptr};
    std::unique_ptr<SoftwareParameterArray> parameters_;  ///< last: its functions use everything above
};

}  // namespace vex::device
