// What stands behind a PvDevice.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "sdk/control/connection.h"
#include "sdk/control/heartbeat.h"
#include "sdk/control/message_receiver.h"
#include "sdk/description/description_source.h"
#include "sdk/device/PvDevice.h"
#include "sdk/device/device_thread.h"
#include "sdk/device/event_sinks.h"
#include "sdk/device/feature_poller.h"
#include "sdk/device/link_parameters.h"
#include "sdk/device/register_port.h"
#include "sdk/device/session_memory.h"
#include "sdk/genicam/PvGenParameterArray.h"

/// Shared by the device object, by its threads and by the operations under way on it: the event sinks that these call
/// may destroy the device object. No sink is called with a lock held, but for those of the command link.
class PvDevice::Impl : public std::enable_shared_from_this<PvDevice::Impl> {
public:
    explicit Impl(PvDevice& its_owner);

    /// A description and the features made from it. They are kept for as long as the device object lives, because the
    /// application may hold on to them; devices with the same description share them one after the other.
    struct Features {
        Features(vex::description::Description its_description, std::shared_ptr<vex::device::EventSinks> sinks,
                 const std::atomic<std::int32_t>& byte_order);

        vex::description::Description description;
        vex::device::RegisterPort port;
        std::unique_ptr<PvGenParameterArray> array;  ///< after the port that it uses
        std::optional<std::chrono::milliseconds> polling_interval;
    };

    PvResult connect(const vex::control::ConnectionTarget& target);
    PvResult disconnect();
    /// The end of the device object: disconnects, and calls no sink any more.
    void shut_down();
    /// The live connection; null when there is none.
    [[nodiscard]] std::shared_ptr<vex::control::Connection> connection() const;
    /// The features of the last connection; null before the first.
    [[nodiscard]] Features* features() const;
    /// The features read the device anew, after registers were written that they may have cached.
    void invalidate_features();
    /// A recovery under way ends without a connection, soon.
    void cancel_recovery();
    /// The setting of recovery was changed.
    void on_recovery_changed(bool on);

    /// OK with `connection` set, or why the device cannot be written to.
    PvResult writable_connection(std::shared_ptr<vex::control::Connection>& connection) const;
    /// The same for the registers of a stream channel.
    PvResult stream_connection(std::uint32_t channel, std::shared_ptr<vex::control::Connection>& connection) const;

    PvResult set_stream_destination(std::uint32_t channel, vex::Ipv4Address address, std::uint16_t port);
    PvResult negotiate_packet_size(std::uint32_t channel, std::uint32_t default_size);
    PvResult report_stream_timeout(std::uint32_t channel);
    PvResult wait_for_messages(std::chrono::milliseconds timeout);

    PvDevice& owner;
    std::shared_ptr<vex::device::EventSinks> sinks = std::make_shared<vex::device::EventSinks>();
    vex::device::Link link;
    vex::device::DeviceThread thread;

private:
    /// What ran for a connection; destroyed without a lock held, because that waits for it.
    struct Threads {
        std::shared_ptr<vex::control::Heartbeat> heartbeat;
        std::shared_ptr<vex::device::FeaturePoller> poller;
        std::shared_ptr<vex::control::MessageReceiver> messages;
    };

    /// The part of connect that goes on under its lock. `attached`: the link's parameters have changed.
    PvResult open(const vex::control::ConnectionTarget& target, bool& attached, std::vector<Threads>& ended);
    /// Makes a connection this device's: loads its features and lets its threads run. With `recovered`, only while the
    /// recovery of that connection is wanted, and only with the features that it had. Under connect's lock.
    PvResult establish(const std::shared_ptr<vex::control::Connection>& opened,
                       const vex::control::Connection* recovered, std::vector<Threads>& ended);
    /// The part of disconnect that needs no sinks: closes the connection and hands out what ran for it, to be stopped.
    /// Gives back the features that were available, if any.
    Features* close(Threads& ended);
    static void stop(const Threads& ended);
    PvResult load_features(vex::control::Connection& connection, std::shared_ptr<Features>& features);
    Threads take_threads();
    /// Whoever waits for events looks again.
    void wake_waiters();
    /// Starts to poll features of a new connection that want it.
    void poll(const Features& features, const std::shared_ptr<vex::control::Connection>& connection);
    /// Lets the device send its events to this host, if it has any. Without them the connection is as good.
    void open_messages(const std::shared_ptr<vex::control::Connection>& opened);
    /// The receiver of the connection that there is.
    [[nodiscard]] std::shared_ptr<vex::control::MessageReceiver> messages() const;
    /// On the receiver's thread.
    void on_messages();
    /// Tells the events that wait, on the device's thread.
    void tell_events();
    void tell_event(const vex::control::ReceivedEvent& event);

    /// For the SDK's threads, which nothing thrown may leave.
    void post(vex::device::DeviceThread::Task task) noexcept;
    /// On the heartbeat's thread.
    void on_lost(const std::shared_ptr<vex::control::Connection>& lost, const std::string& reason);
    /// The rest of it, on the device's thread: what may call the application.
    void tell_lost(const std::shared_ptr<vex::control::Connection>& lost);

    // Recovery, on the device's thread.
    /// Until it succeeds, cannot succeed, or is not wanted any more.
    void recover(const std::shared_ptr<vex::control::Connection>& lost);
    [[nodiscard]] bool is_recovering(const vex::control::Connection& lost) const;
    /// One search for the device. OK when there is a new connection; Aborted when none is wanted any more.
    PvResult try_to_recover(vex::control::Connection& lost);
    PvResult reopen(vex::control::Connection& lost, vex::control::ConnectionTarget target);
    PvResult reopen_and_compare(vex::control::Connection& lost, const vex::control::ConnectionTarget& target,
                                std::vector<Threads>& ended);
    /// Tells of the new connection and puts back what the device has lost.
    void restore(const std::shared_ptr<vex::control::Connection>& recovered);
    PvResult restore_streams(vex::control::Connection& recovered);
    void tell(void (PvDeviceEventSink::*notification)(PvDevice*));

    /// Begins to remember what the application sets in the device that is connected; false, and nothing is remembered,
    /// when recovery is not to put it back.
    [[nodiscard]] bool begin_memory();
    /// Reads the settings that the device has now, behind begin_memory().
    void read_memory();
    void on_written(PvGenParameter& parameter);
    void remember_stream(vex::control::Connection& connection, std::uint32_t channel);

    std::mutex connect_mutex_;  ///< one Connect or Disconnect at a time; never taken by the heartbeat itself
    mutable std::mutex state_mutex_;
    std::shared_ptr<vex::control::Connection> connection_;
    const vex::control::Connection* recovering_ = nullptr;  ///< the lost connection that is to be made again
    Threads threads_;
    std::vector<std::shared_ptr<Features>> all_features_;
    Features* features_ = nullptr;
    vex::device::SessionMemory memory_;

    std::atomic<bool> events_posted_{false};  ///< tell_events() is going to run
    std::mutex events_mutex_;                 ///< taken before state_mutex_ where both are held
    std::condition_variable events_told_;
    bool telling_events_ = false;  ///< an event was taken that is not told yet
};
