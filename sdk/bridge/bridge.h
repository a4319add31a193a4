// A bridge between a serial port of a camera and something on the computer, whatever both are.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/bridge/camera_side.h"
#include "sdk/bridge/host_side.h"
#include "sdk/bridge/pump.h"
#include "sdk/serial_port/PvSerialPortConfiguration.h"

namespace vex::bridge {

/// What PvSerialBridge does, but for names and devices.
///
/// Thread safety: all members may be called from any thread.
class Bridge {
public:
    using OpenHost = std::function<PvResult(std::unique_ptr<HostSide>&)>;
    using OpenCamera = std::function<PvResult(std::unique_ptr<CameraSide>&)>;

    Bridge() = default;
    Bridge(const Bridge&) = delete;
    Bridge& operator=(const Bridge&) = delete;
    ~Bridge() { (void)stop(); }

    /// Opens both sides and joins them; the results of opening, StateError when it runs, NotSupported when the camera
    /// cannot be set so. A failure leaves everything as it was. `line` is the configuration of the host's line; without
    /// one the camera stays as it is set, unless configure() said more.
    [[nodiscard]] PvResult start(const OpenHost& open_host, const OpenCamera& open_camera,
                                 const std::optional<PvSerialPortConfiguration>& line);
    /// StateError when it does not run.
    [[nodiscard]] PvResult stop();
    [[nodiscard]] bool runs() const;
    /// StateError when it does not run; otherwise the first side's result that fails.
    [[nodiscard]] PvResult recover();

    [[nodiscard]] PvSerialPortConfiguration configuration() const;
    /// InvalidParameter, NotSupported: nothing has changed.
    [[nodiscard]] PvResult configure(const PvSerialPortConfiguration& configuration);
    [[nodiscard]] std::uint32_t hard_coded_baud_rate() const;
    [[nodiscard]] PvResult set_hard_coded_baud_rate(std::uint32_t baud_rate);
    /// Of the camera's side.
    [[nodiscard]] std::uint32_t baud_rate() const;
    [[nodiscard]] std::vector<std::uint32_t> supported_baud_rates() const;

    [[nodiscard]] std::uint64_t received_from_device() const noexcept { return counters_.received_from_device; }
    [[nodiscard]] std::uint64_t sent_to_device() const noexcept { return counters_.sent_to_device; }
    [[nodiscard]] std::uint64_t dropped() const;
    void reset_statistics();

private:
    struct Running {
        std::unique_ptr<HostSide> host;
        std::unique_ptr<CameraSide> camera;
        std::unique_ptr<Pump> pump;  ///< destroyed first
    };

    [[nodiscard]] std::shared_ptr<Running> running() const;
    /// The line's settings, with the rate of the camera's side.
    [[nodiscard]] static PvSerialPortConfiguration for_camera(PvSerialPortConfiguration line, std::uint32_t hard_coded);
    /// What the line has to be set to before a start is complete; `line` gets what the configuration is then.
    [[nodiscard]] PvResult prepare(CameraSide& camera, const std::optional<PvSerialPortConfiguration>& given,
                                   PvSerialPortConfiguration& line) const;
    /// After the device was away: it may have forgotten.
    [[nodiscard]] PvResult set_again(CameraSide& camera);

    Counters counters_;
    std::mutex control_mutex_;  ///< one start, stop or setting at a time; taken before the others
    std::mutex line_mutex_;     ///< one setting of the camera's line; taken before the next
    mutable std::mutex mutex_;  ///< for what follows
    PvSerialPortConfiguration configuration_;
    bool configured_ = false;  ///< by configure()
    std::uint32_t hard_coded_ = 0;
    std::vector<std::uint32_t> rates_;
    std::uint64_t dropped_offset_ = 0;  ///< modulo 2^64: what the ports of before dropped, less what was reset
    std::shared_ptr<Running> running_;
};

}  // namespace vex::bridge
