// A terminal's end of a serial port: never waits for it.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/bridge/camera_side.h"
#include "sdk/control/worker.h"
#include "sdk/serial_port/PvSerialPortConfiguration.h"

namespace vex::terminal {

/// How it goes with the port.
struct State {
    bool is_up = false;
    PvResult failure{};  ///< of the last write or setting; OK when it went well
    PvSerialPortConfiguration line{};
    std::vector<std::uint32_t> baud_rates{};  ///< that the device lists; empty where it lists none
    std::uint64_t lost = 0;                   ///< bytes that came and were lost on the way
};

/// Reads, writes and sets a port that is open, on two threads of its own.
///
/// Thread safety: send and configure from any thread; the rest from one at a time.
class Session {
public:
    /// Called on the session's threads: bytes that came, in their order, and every change of the state.
    struct Listener {
        std::function<void(std::vector<std::uint8_t>)> received;
        std::function<void(const State&)> changed;
    };

    Session(std::shared_ptr<bridge::CameraSide> side, Listener listener);
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;
    /// Closes the port; bytes that were not written yet are lost. The listener is not called any more once this
    /// returns.
    ~Session();

    /// Bytes to write, behind those that wait. More than most_waiting bytes are refused as a whole: false.
    bool send(std::vector<std::uint8_t> bytes);
    /// Sets the line, after what waits was written.
    void configure(const PvSerialPortConfiguration& line);

    static constexpr std::size_t most_waiting = 1024 * 1024;

private:
    class Shared;

    const std::shared_ptr<Shared> shared_;
    control::Worker receiver_;
    control::Worker sender_;
};

}  // namespace vex::terminal
