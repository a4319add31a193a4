// The host's side of GenCP on a serial port: requests and acknowledges, one exchange at a time.
#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "sdk/base/turn_mutex.h"
#include "sdk/genicp/frame_reader.h"
#include "sdk/genicp/outcome.h"
#include "sdk/net/clock.h"
#include "sdk/serial_port/PvSerialPort.h"
#include "sdk/wire/gencp.h"

namespace vex::genicp {

/// The time that a device has for its answer: of each message, in milliseconds.
inline constexpr std::uint32_t default_serial_timeout = 1000;
inline constexpr std::uint32_t shortest_serial_timeout = 10;
inline constexpr std::uint32_t longest_serial_timeout = 60'000;

/// How long a request waits for its answer and how often it is sent.
struct Timing {
    std::chrono::milliseconds answer_timeout{default_serial_timeout};
    unsigned attempts = 4;
    /// Bits a second of the line. The bytes of request and answer get the time that they need on it beside the
    /// time-out; 0 when that is not known and none is given.
    std::uint32_t baud_rate = 0;
};

/// What has happened since the client was made.
struct Statistics {
    std::uint64_t requests = 0;     ///< exchanges begun
    std::uint64_t retries = 0;      ///< frames sent again
    std::uint64_t failures = 0;     ///< exchanges that ended without a good answer
    std::uint64_t pendings = 0;     ///< pending acknowledges heeded
    std::uint64_t stale = 0;        ///< frames that answered nothing asked now
    std::uint64_t malformed = 0;    ///< acknowledges that did not fit their request
    std::uint64_t passed_over = 0;  ///< bytes that were no frame
};

/// One request is outstanding at a time. One that is not answered in time is sent again with the same request ID and
/// marked, so that a device which was merely slow does not carry it out twice. An acknowledge counts when request ID
/// and code fit; whatever else arrives is counted and does not prolong the wait. A pending acknowledge prolongs it by
/// what the device asks for, up to pending_limit in total.
///
/// Long accesses are made in blocks: of largest_block bytes at first, and smaller ones from then on where the device
/// refuses one for its length.
///
/// Thread safety: all members may be called from any thread, which have their messages in turn.
class Client {
public:
    /// The most time that pending acknowledges may add to one exchange, and how many of them are heeded.
    static constexpr std::chrono::milliseconds pending_limit{70'000};
    static constexpr unsigned most_pendings = 100;
    /// A block that is refused is not made smaller than this, in bytes.
    static constexpr std::size_t smallest_block = 64;

    /// The port, which is open, and the clock must outlive the client. Nobody else uses the port meanwhile. The first
    /// request ID is the one behind `last_request_id`.
    explicit Client(PvSerialPort& port, const net::Clock& clock = net::Clock::steady(),
                    std::uint16_t last_request_id = 0) noexcept
        : port_(port), clock_(clock), request_id_(last_request_id)
    {}
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;

    /// Memory of the device, of any address and length.
    [[nodiscard]] Outcome read(std::uint64_t address, std::span<std::uint8_t> destination);
    [[nodiscard]] Outcome write(std::uint64_t address, std::span<const std::uint8_t> source);

    [[nodiscard]] Timing timing() const noexcept;
    void set_timing(const Timing& timing) noexcept;

    /// Fails the exchange under way, within a tenth of a second as far as the port returns when it should, and all
    /// later ones.
    void close() noexcept { closed_ = true; }
    /// The same, and then makes one last write, with one attempt, which the device gets at most a second for.
    [[nodiscard]] Outcome close_with(std::uint64_t address, std::span<const std::uint8_t> source);

    /// The bytes of the longest access that is made with one message.
    [[nodiscard]] std::size_t block_size() const noexcept { return block_; }
    [[nodiscard]] Statistics statistics() const;

private:
    class Exchange;

    /// The caller holds the mutex.
    [[nodiscard]] Outcome read_block(std::uint64_t address, std::span<std::uint8_t> destination);
    /// The caller holds the mutex.
    [[nodiscard]] Outcome write_block(std::uint64_t address, std::span<const std::uint8_t> source);
    [[nodiscard]] bool must_end() const noexcept { return closed_ && !is_last_; }
    /// `access` made of one block after the other, smaller ones where the device refuses their length.
    template <typename Byte, typename Access>
    Outcome in_blocks(wire::gencp::Command command, std::uint64_t address, std::span<Byte> bytes, Access access);

    PvSerialPort& port_;
    const net::Clock& clock_;
    mutable TurnMutex mutex_;  ///< held during an exchange
    std::uint16_t request_id_;
    bool is_last_ = false;  ///< the exchange under way is the one that may run on a closed client
    FrameReader reader_;
    Statistics statistics_;
    std::atomic<std::size_t> block_{wire::gencp::largest_block};
    std::atomic<bool> closed_{false};
    std::atomic<std::uint32_t> answer_timeout_ms_{default_serial_timeout};
    std::atomic<unsigned> attempts_{Timing().attempts};
    std::atomic<std::uint32_t> baud_rate_{0};
};

/// A request ID for a client to begin behind, another one for each: a device that has heard somebody else before takes
/// a request that is marked as sent again for the last one, when it has the same ID.
[[nodiscard]] std::uint16_t some_request_id();

}  // namespace vex::genicp
