// A serial port of a device, as a bridge manager works with it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "sdk/base/PvResult.h"
#include "sdk/base/PvString.h"
#include "sdk/bridge_manager/settings.h"

class PvGenParameterArray;

namespace vex::bridge_manager {

/// What a bridge tells of itself at any time.
struct Facts {
    PvString endpoint{};          ///< of the last start, with what was chosen for it; empty for a line
    std::uint32_t baud_rate = 0;  ///< of the device's side, bits per second
    std::uint64_t received = 0;   ///< bytes from the device
    std::uint64_t sent = 0;       ///< bytes to the device
    std::uint64_t dropped = 0;    ///< bytes from the device that nobody got
    bool is_up = false;           ///< the device is connected

    friend bool operator==(const Facts&, const Facts&) = default;
};

/// A port and the one bridge from it, with the parameters of a camera behind it. Counters go on over all starts.
///
/// Thread safety: members that talk to the device, or wait, come from one thread at a time; stop, facts and
/// reset_statistics from any. A stop meanwhile ends what goes on.
class Port {
public:
    Port() = default;
    Port(const Port&) = delete;
    Port& operator=(const Port&) = delete;
    virtual ~Port() = default;

    /// "Serial0" and so on.
    [[nodiscard]] virtual const std::string& name() const noexcept = 0;

    /// As PvSerialBridge::Start; NotConnected when the device object has gone.
    [[nodiscard]] virtual PvResult start(const Settings& settings) = 0;
    /// Nothing when the bridge does not run.
    virtual void stop() = 0;
    /// Sets both sides of a bridge that runs; they stay as they are when one cannot be set so.
    [[nodiscard]] virtual PvResult configure(const Settings& settings) = 0;
    /// As PvSerialBridge::Recover.
    [[nodiscard]] virtual PvResult recover() = 0;

    /// Finds the camera behind the bridge, which runs to an endpoint, and builds its parameters. `made` and what they
    /// are called are set on success only.
    [[nodiscard]] virtual PvResult make_parameters(const Settings& settings, std::unique_ptr<PvGenParameterArray>& made,
                                                   PvString& made_name) = 0;
    /// Connects them again, to the same camera.
    [[nodiscard]] virtual PvResult recover_parameters(PvGenParameterArray& made) = 0;
    /// Ends their connection.
    virtual void end_parameters(PvGenParameterArray& made) = 0;

    [[nodiscard]] virtual Facts facts() const = 0;
    virtual void reset_statistics() = 0;
};

}  // namespace vex::bridge_manager
