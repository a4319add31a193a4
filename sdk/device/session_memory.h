// What an application set in a device, to be put back when the device returns after a lost link.
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/genicam/stored_values.h"

class PvGenParameter;
class PvGenParameterArray;

namespace vex::device {

/// How a stream channel of the device was set: the values of its registers.
struct StreamSetting {
    std::uint32_t port = 0;         ///< SCP
    std::uint32_t packet_size = 0;  ///< SCPS, without the bit that fires a test packet
    std::uint32_t destination = 0;
    std::optional<std::uint32_t> packet_delay{};  ///< SCPD, which not every device has

    bool operator==(const StreamSetting&) const = default;
};

/// Remembers the values of the persistent parameters as they were at the beginning of a connection, and then what the
/// application writes to them, for which values of the selectors, in order. A device that lost its settings gets both
/// back in that order, so that what one write does to others happens again. UserSetLoad counts as a write. Where the
/// description calls no parameter persistent, what was written is put back all the same, but for the transport layer's.
///
/// Thread safety: all members may be called from any thread.
class SessionMemory {
public:
    /// Forgets what was, and remembers what is written from now on. No transfers.
    void begin(const PvGenParameterArray& array);
    /// Reads the persistent parameters as they are, after begin(): what is written meanwhile comes after them.
    void read(PvGenParameterArray& array);
    /// Forgets, and remembers nothing until it begins again.
    void end();
    [[nodiscard]] bool has_begun() const noexcept { return begun_; }

    /// The application wrote the parameter, or executed the command.
    void written(PvGenParameter& parameter);
    void set_stream(std::uint32_t channel, const StreamSetting& setting);

    /// The stream channels that were set.
    [[nodiscard]] std::map<std::uint32_t, StreamSetting> streams() const;
    /// The application started an acquisition and did not stop it.
    [[nodiscard]] bool is_acquiring() const noexcept { return acquiring_; }

    /// Puts the parameters back; what could not be is in the result.
    PvResult restore(PvGenParameterArray& array);
    /// Starts the acquisition that was running. One that ends by itself may have ended: only a continuous one is.
    PvResult restart(PvGenParameterArray& array);

private:
    /// A command when `execute` is set.
    struct Write {
        StoredValue what;
        bool execute = false;
    };

    /// To be put back when the application has written it.
    [[nodiscard]] bool is_setting(const GenApi::INode& node) const;

    std::atomic<bool> begun_{false};
    std::atomic<bool> acquiring_{false};
    std::atomic<bool> locked_{false};  ///< TLParamsLocked
    mutable std::mutex mutex_;
    std::vector<StoredValue> at_begin_;
    std::atomic<bool> tells_persistent_{true};  ///< the description does
    std::vector<Write> writes_;                 ///< the last of each parameter and selector values, in order
    std::map<std::uint32_t, StreamSetting> streams_;
};

}  // namespace vex::device
