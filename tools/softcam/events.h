// What the camera tells on its message channel.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <utility>

#include "sdk/virtualdevice/message_channel.h"

namespace softcam {

/// In the order of the EventSelector feature; the event ID is 0x9000 plus the value.
enum class EventKind : std::uint32_t { acquisition_start, frame_start, frame_end, acquisition_end, test };
inline constexpr std::uint32_t event_kinds = 5;

/// Passes on the events that an application has asked for.
///
/// Thread safety: all functions may be called from any thread, with any lock held; none of them waits.
class CameraEvents {
public:
    /// As MessageChannel has it.
    CameraEvents(vex::Ipv4Address source, std::function<bool()> cut_off) : channel_(source, std::move(cut_off)) {}

    /// Bit n stands for the kind n.
    void set_enabled(std::uint32_t mask) noexcept { enabled_ = mask; }

    /// The data of frame events is the block ID, that of the test event `number` in 4 bytes; the others have none.
    void raise(EventKind kind, std::uint64_t timestamp, std::uint64_t number = 0);
    /// Bytes wait at the serial port with this number; the event ID is 0x9010 plus it, the data their count in 4 bytes.
    /// Whether it is wanted is up to the port's registers.
    void tell_received(std::uint32_t port, std::uint64_t timestamp, std::uint32_t count);

    [[nodiscard]] vex::virtual_device::MessageChannel& channel() noexcept { return channel_; }

private:
    std::atomic<std::uint32_t> enabled_{0};
    vex::virtual_device::MessageChannel channel_;
};

}  // namespace softcam
