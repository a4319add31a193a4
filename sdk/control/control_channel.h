// The control channel's client: requests and acknowledges of GVCP, one exchange at a time.
#pragma once

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "sdk/base/turn_mutex.h"
#include "sdk/control/control_outcome.h"
#include "sdk/control/control_transport.h"
#include "sdk/control/round_trips.h"
#include "sdk/net/clock.h"
#include "sdk/wire/gvcp.h"

namespace vex::control {

/// How long a request waits for its acknowledge and how often it is sent.
struct RetryPolicy {
    std::chrono::milliseconds answer_timeout{500};
    unsigned attempts = 4;
};

/// What has happened on a channel since it was made.
struct ControlStatistics {
    std::uint64_t requests = 0;    ///< exchanges begun
    std::uint64_t retries = 0;     ///< datagrams sent again
    std::uint64_t failures = 0;    ///< exchanges that ended without a good acknowledge
    std::uint64_t pendings = 0;    ///< PENDING_ACKs that extended an exchange
    std::uint64_t stale = 0;       ///< datagrams of the device that answered nothing asked now
    std::uint64_t foreign = 0;     ///< datagrams from anybody else
    std::uint64_t malformed = 0;   ///< datagrams of the device that were no acknowledge or a broken one
    RoundTripSummary round_trips;  ///< of good answers, from the last sending
};

/// A write of one register.
using wire::gvcp::RegisterWrite;

/// The client end of one device's control channel.
///
/// One request is outstanding at a time. A request that is not answered in time is sent again with the same request ID,
/// so that a device which was merely slow does not carry it out twice. An acknowledge counts when source, request ID
/// and code fit; whatever else arrives is counted and does not prolong the wait. A PENDING_ACK prolongs it by what the
/// device asks for, up to pending_limit in total.
///
/// Nothing is allocated on the heap by an access that succeeds.
///
/// Thread safety: all members may be called from any thread, which have their messages in turn: who reads or writes
/// much, or often, lets others in between.
class ControlChannel {
public:
    using time_point = net::Clock::time_point;

    /// The most time that PENDING_ACKs may add to one exchange, and how many of them are heeded. A single one can ask
    /// for 65,535 ms.
    static constexpr std::chrono::milliseconds pending_limit{70'000};
    static constexpr unsigned most_pendings = 100;
    static constexpr std::size_t most_reads_per_message = 135;
    /// An operation of several messages is given up after this plus this much for each message.
    static constexpr std::chrono::milliseconds operation_limit{10'000};
    static constexpr std::chrono::milliseconds operation_limit_per_message{50};

    /// The transport and the clock must outlive the channel.
    ControlChannel(ControlTransport& transport, const net::Clock& clock) noexcept;

    ControlOutcome read_register(std::uint32_t address, std::uint32_t& value) noexcept;
    ControlOutcome read_register(std::uint32_t address, std::uint32_t& value, RetryPolicy policy) noexcept;
    ControlOutcome write_register(std::uint32_t address, std::uint32_t value) noexcept;
    ControlOutcome write_register(std::uint32_t address, std::uint32_t value, RetryPolicy policy) noexcept;

    /// Reads one value for each address, with as few messages as the device allows. `values` is at least as long as
    /// `addresses`.
    ControlOutcome read_registers(std::span<const std::uint32_t> addresses, std::span<std::uint32_t> values) noexcept;
    ControlOutcome read_registers(std::span<const std::uint32_t> addresses, std::span<std::uint32_t> values,
                                  RetryPolicy policy) noexcept;
    /// Writes in order; stops at the first that fails, which the outcome names.
    ControlOutcome write_registers(std::span<const RegisterWrite> writes) noexcept;

    /// Memory of any address and length, in blocks of 512 bytes. Devices take whole words only: reads are widened to
    /// words and the excess dropped, writes read the words that they cover in part first.
    ControlOutcome read_memory(std::uint32_t address, std::span<std::uint8_t> destination) noexcept;
    ControlOutcome write_memory(std::uint32_t address, std::span<const std::uint8_t> source) noexcept;

    /// The device takes several registers in one message; false until set.
    void set_concatenation(bool supported) noexcept { concatenation_ = supported; }
    [[nodiscard]] bool concatenation() const noexcept { return concatenation_; }
    /// The device takes WRITEMEM; true until set. Without it memory is written register by register.
    void set_write_memory(bool supported) noexcept { write_memory_ = supported; }

    [[nodiscard]] RetryPolicy retry_policy() const noexcept;
    void set_retry_policy(RetryPolicy policy) noexcept;

    /// Ends the exchange under way soon and fails all later ones.
    void close() noexcept;
    /// The same, and then sends one last write.
    ControlOutcome close_with(const RegisterWrite& last, RetryPolicy policy) noexcept;
    [[nodiscard]] bool is_closed() const noexcept { return closed_; }
    /// An access waits for its turn.
    [[nodiscard]] bool is_awaited() const noexcept { return mutex_.is_awaited(); }
    /// Returns when the exchange that was under way has ended.
    void wait_for_exchange() noexcept { const std::scoped_lock lock(mutex_); }

    /// When the device last acknowledged anything, refusals and PENDING_ACKs included; the epoch before it did.
    [[nodiscard]] time_point last_answer() const noexcept
    {
        return time_point(net::Clock::duration(last_answer_.load(std::memory_order_relaxed)));
    }

    [[nodiscard]] ControlStatistics statistics() const noexcept;
    void reset_statistics() noexcept;

    [[nodiscard]] Endpoint device() const noexcept { return transport_.device(); }
    [[nodiscard]] Endpoint local() const noexcept { return transport_.local(); }

private:
    /// What a request is about, for the outcome.
    struct Access {
        wire::gvcp::Command command;
        std::uint32_t address;
        std::uint32_t length;
    };

    /// Sends the message, which carries the current request ID, until a good acknowledge comes whose payload `accept`
    /// takes; false from it means that the payload is broken. The payload of a refusal is shown to `refused`. The
    /// caller holds the mutex.
    template <typename Accept, typename Refused>
    ControlOutcome exchange(const wire::gvcp::Message& message, Access access, RetryPolicy policy, Accept accept,
                            Refused refused) noexcept;
    template <typename Accept>
    ControlOutcome exchange(const wire::gvcp::Message& message, Access access, RetryPolicy policy,
                            Accept accept) noexcept;
    ControlOutcome read_concatenated(std::span<const std::uint32_t> addresses, std::span<std::uint32_t> values,
                                     RetryPolicy policy, std::size_t& done) noexcept;
    ControlOutcome write_concatenated(std::span<const RegisterWrite> writes) noexcept;
    ControlOutcome read_block(std::uint32_t address, std::span<std::uint8_t> destination) noexcept;
    ControlOutcome write_block(std::uint32_t address, std::span<const std::uint8_t> source) noexcept;
    ControlOutcome write_block_by_registers(std::uint32_t address, std::span<const std::uint8_t> source) noexcept;
    ControlOutcome write_part_of_word(std::uint32_t address, std::span<const std::uint8_t> source) noexcept;

    class Exchange;
    /// The end of what an operation of so many messages may take.
    class Budget;
    std::uint16_t next_request_id() noexcept;
    [[nodiscard]] bool must_end() const noexcept { return closed_ && !is_last_; }

    /// A counter that one thread at a time writes and any thread reads.
    class Counter {
    public:
        void add(std::uint64_t count = 1) noexcept { set(get() + count); }
        void set(std::uint64_t value) noexcept { value_.store(value, std::memory_order_relaxed); }
        [[nodiscard]] std::uint64_t get() const noexcept { return value_.load(std::memory_order_relaxed); }

    private:
        std::atomic<std::uint64_t> value_{0};
    };

    ControlTransport& transport_;
    const net::Clock& clock_;
    TurnMutex mutex_;  ///< held during an exchange
    std::uint16_t request_id_ = 0;
    std::array<std::uint8_t, 2048> buffer_;
    bool is_last_ = false;  ///< the exchange under way is the one that may run on a closed channel
    std::atomic<bool> closed_{false};
    std::atomic<net::Clock::duration::rep> last_answer_{0};
    std::atomic<bool> concatenation_{false};
    std::atomic<bool> write_memory_{true};
    std::atomic<std::uint32_t> answer_timeout_ms_;
    std::atomic<unsigned> attempts_;
    Counter requests_, retries_, failures_, pendings_, stale_, foreign_, malformed_;
    RoundTrips round_trips_;
};

}  // namespace vex::control
