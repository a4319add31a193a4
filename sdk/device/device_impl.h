// What stands behind a PvDevice.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "sdk/control/connection.h"
#include "sdk/control/heartbeat.h"
#include "sdk/description/description_source.h"
#include "sdk/device/PvDevice.h"
#include "sdk/device/event_sinks.h"
#include "sdk/device/feature_poller.h"
#include "sdk/device/link_parameters.h"
#include "sdk/device/register_port.h"
#include "sdk/genicam/PvGenParameterArray.h"

class PvDevice::Impl {
public:
    explicit Impl(PvDevice& its_owner);
    ~Impl();

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
    /// The live connection; null when there is none.
    [[nodiscard]] std::shared_ptr<vex::control::Connection> connection() const;
    /// The features of the last connection; null before the first.
    [[nodiscard]] Features* features() const;
    /// The features read the device anew, after registers were written that they may have cached.
    void invalidate_features();

    /// OK with `connection` set, or why the device cannot be written to.
    PvResult writable_connection(std::shared_ptr<vex::control::Connection>& connection) const;
    /// The same for the registers of a stream channel.
    PvResult stream_connection(std::uint32_t channel, std::shared_ptr<vex::control::Connection>& connection) const;

    PvResult set_stream_destination(std::uint32_t channel, vex::Ipv4Address address, std::uint16_t port);
    PvResult negotiate_packet_size(std::uint32_t channel, std::uint32_t default_size);
    PvResult report_stream_timeout(std::uint32_t channel);

    PvDevice& owner;
    std::shared_ptr<vex::device::EventSinks> sinks = std::make_shared<vex::device::EventSinks>();
    vex::device::Link link;

private:
    PvResult load_features(vex::control::Connection& connection, std::shared_ptr<Features>& features);
    /// Replaces the heartbeat and gives the former one back, to be stopped without a lock.
    std::shared_ptr<vex::control::Heartbeat> exchange_heartbeat(std::shared_ptr<vex::control::Heartbeat> next);
    /// The same for what polls.
    std::shared_ptr<vex::device::FeaturePoller> exchange_poller(std::shared_ptr<vex::device::FeaturePoller> next);
    /// Starts to poll features of a new connection that want it.
    void poll(const std::shared_ptr<Features>& features, const std::shared_ptr<vex::control::Connection>& connection);
    void on_lost(const std::shared_ptr<vex::control::Connection>& lost, const std::string& reason);

    std::mutex connect_mutex_;  ///< one Connect or Disconnect at a time; never taken by the heartbeat itself
    mutable std::mutex state_mutex_;
    std::shared_ptr<vex::control::Connection> connection_;
    std::shared_ptr<vex::control::Heartbeat> heartbeat_;
    std::shared_ptr<vex::device::FeaturePoller> poller_;
    std::vector<std::shared_ptr<Features>> all_features_;
    Features* features_ = nullptr;
};
