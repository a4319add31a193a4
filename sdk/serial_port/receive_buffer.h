// What a serial port has received and nobody has read yet.
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <span>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/net/clock.h"

namespace vex::serial_port {

/// A ring of bytes between the thread that receives and those that read. It begins closed.
///
/// Thread safety: all members may be called from any thread.
class ReceiveBuffer {
public:
    static constexpr std::uint32_t default_size = 65'536;
    static constexpr std::uint32_t largest_size = 64 * 1024 * 1024;

    /// `clock` outlives the buffer. With a clock that stands still, nudge() makes waiting reads look at it again.
    explicit ReceiveBuffer(const net::Clock& clock = net::Clock::steady()) : clock_(clock) {}
    ReceiveBuffer(const ReceiveBuffer&) = delete;
    ReceiveBuffer& operator=(const ReceiveBuffer&) = delete;

    // ---- the port's side ----

    /// Begins anew, empty and with nothing dropped. NotEnoughMemory.
    [[nodiscard]] PvResult open();
    /// Ends reads that wait, discards what nobody has read, and answers later reads with `later`.
    void close(PvResult now, PvResult later) noexcept;
    /// No more will come. What is there can still be read; then reads answer `why`, the latest that was told. Nothing
    /// happens to a buffer that is closed.
    void end(PvResult why) noexcept;
    /// After end(): more comes again. What is there stays. Nothing happens to a buffer that is closed.
    void resume() noexcept;

    /// Takes received bytes, as many as there is room for, and counts the rest as dropped. The number taken. A buffer
    /// that is closed or at its end takes none and counts none.
    std::size_t put(std::span<const std::uint8_t> bytes) noexcept;
    /// The same for who keeps the rest: it is not counted.
    std::size_t offer(std::span<const std::uint8_t> bytes) noexcept;
    /// Waits up to `time` until there is room or nothing more can come; the room in bytes.
    [[nodiscard]] std::size_t wait_for_room(std::chrono::milliseconds time);

    // ---- the reader's side ----

    /// Reads as PvSerialPort::Read does. What a reader waits for may be longer than the buffer.
    [[nodiscard]] PvResult read(std::span<std::uint8_t> bytes, std::uint32_t& count, std::chrono::milliseconds time);
    [[nodiscard]] std::uint32_t ready() const noexcept;
    void flush() noexcept;

    [[nodiscard]] std::uint32_t size() const noexcept;
    /// 1 to largest_size bytes; InvalidParameter otherwise, NotEnoughMemory. Held bytes stay, the oldest of them where
    /// not all fit; the others are counted as dropped.
    [[nodiscard]] PvResult resize(std::uint32_t size);

    /// Bytes that were received and had no room, since the port was opened.
    [[nodiscard]] std::uint64_t dropped() const noexcept;

    /// Makes whoever waits look at the clock.
    void nudge() noexcept;

private:
    /// Takes what there is room for, under the lock.
    std::size_t add(std::span<const std::uint8_t> bytes) noexcept;
    /// Moves up to `wanted.size()` held bytes out; the number moved.
    std::size_t take(std::span<std::uint8_t> wanted) noexcept;
    [[nodiscard]] bool ended() const noexcept { return !end_.IsOK(); }
    /// One wait of a thread that goes on until `deadline`; false when that has passed.
    bool wait(std::unique_lock<std::mutex>& lock, net::Clock::time_point deadline);

    const net::Clock& clock_;
    mutable std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<std::uint8_t> ring_;
    std::uint32_t size_ = default_size;
    std::size_t first_ = 0;  ///< where the oldest byte stands
    std::size_t held_ = 0;
    std::uint64_t dropped_ = 0;
    std::uint64_t closings_ = 0;
    bool open_ = false;
    PvResult end_ = PvResult(PvResult::NotConnected);  ///< why no more comes; OK while it may
    PvResult closed_with_;                             ///< for the reads that the last closing interrupted
};

}  // namespace vex::serial_port
