// Moves bytes between a device's UART and this program, each once.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "sdk/serial/uart_features.h"
#include "sdk/serial_port/receive_buffer.h"

namespace vex::serial {

/// What the device has received is read and then taken by its position, so that a transfer whose acknowledge was lost
/// neither doubles nor loses a byte. What there is room for in the device is asked only when what was known is used up.
///
/// Thread safety: begin() and receive() from one thread at a time, transmit() from one thread beside it; the rest from
/// any.
class UartLink {
public:
    /// Goes on with this port. `anew`: its counters have begun anew, or what it holds is not wanted. Fails only then,
    /// when they cannot be read.
    [[nodiscard]] PvResult begin(std::shared_ptr<UartAccess> access, bool anew);

    /// Moves at most a block into `buffer`, no more than it has room for. `more`: there is more in the device, and room
    /// for it.
    [[nodiscard]] PvResult receive(serial_port::ReceiveBuffer& buffer, bool& more);
    /// Discards what `buffer` holds, and what receive() is about to put into it. From any thread.
    void discard(serial_port::ReceiveBuffer& buffer);
    /// Hands at most a block of `bytes` to the device; `written` is 0, and the result OK, when it has no room. After a
    /// failure it is not known whether the device has taken them.
    [[nodiscard]] PvResult transmit(std::span<const std::uint8_t> bytes, std::uint32_t& written);

    /// Bytes that the device had no room for since begin() with `anew`.
    [[nodiscard]] std::uint32_t overruns() const noexcept { return overruns_; }

private:
    struct Header;

    [[nodiscard]] std::shared_ptr<UartAccess> access() const;
    /// Reads the received block.
    [[nodiscard]] PvResult look(UartAccess& port, Header& header);
    [[nodiscard]] std::uint64_t discards_so_far() const;
    /// Puts into the buffer what there is room for, or drops all where something was discarded since; how many bytes
    /// the device need not keep.
    [[nodiscard]] std::uint32_t hand_on(std::span<const std::uint8_t> bytes, serial_port::ReceiveBuffer& buffer,
                                        std::uint64_t discards);
    /// How many bytes of a block that begins at `position` with `count` were handed on already.
    [[nodiscard]] std::uint32_t known(std::uint32_t position, std::uint32_t count);

    mutable std::mutex mutex_;
    std::shared_ptr<UartAccess> access_;
    std::uint64_t discards_ = 0;
    std::atomic<std::uint32_t> room_{0};  ///< in the device, at least
    std::atomic<std::uint32_t> overruns_{0};
    // the receiving thread's
    std::optional<std::uint32_t> next_;  ///< position of the byte to hand on next
    std::uint32_t first_overruns_ = 0;
    std::vector<std::uint8_t> received_;
    // the transmitting thread's
    std::vector<std::uint8_t> sent_;
};

}  // namespace vex::serial
