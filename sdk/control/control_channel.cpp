#include "sdk/control/control_channel.h"

#include <algorithm>
#include <cstring>

#include "sdk/control/access_log.h"
#include "sdk/control/control_exchange.h"
#include "sdk/wire/bytes.h"

namespace vex::control {

namespace {

using std::chrono::milliseconds;
using wire::gvcp::Command;
using Kind = ControlOutcome::Kind;

constexpr std::uint32_t word = 4;
constexpr std::size_t most_writes_per_message = 67;
constexpr std::size_t largest_block = wire::gvcp::largest_memory_block;
static_assert(largest_block % word == 0);

constexpr std::uint32_t length_of(std::span<const std::uint8_t> bytes) noexcept
{
    return static_cast<std::uint32_t>(bytes.size());
}

/// Of any write with a good status, whatever stands in its index: a write that was carried out is not sent again.
constexpr auto is_done = [](std::span<const std::uint8_t> /*payload*/) { return true; };

/// The outcome of an access, which the thread's log is told of when it is good. `what` is a value or bytes.
template <typename What>
ControlOutcome noted(const ControlOutcome& outcome, bool is_write, std::uint32_t address, What what) noexcept
{
    if (outcome.ok()) {
        AccessLog::note(is_write, address, what);
    }
    return outcome;
}

}  // namespace

ControlChannel::ControlChannel(ControlTransport& transport, const net::Clock& clock) noexcept
    : transport_(transport), clock_(clock)
{
    set_retry_policy({});
}

RetryPolicy ControlChannel::retry_policy() const noexcept { return {milliseconds(answer_timeout_ms_), attempts_}; }

void ControlChannel::set_retry_policy(RetryPolicy policy) noexcept
{
    constexpr auto longest = std::chrono::duration_cast<milliseconds>(std::chrono::hours(1)).count();
    answer_timeout_ms_ =
        static_cast<std::uint32_t>(std::clamp<milliseconds::rep>(policy.answer_timeout.count(), 1, longest));
    attempts_ = std::max(policy.attempts, 1U);
}

void ControlChannel::close() noexcept
{
    closed_ = true;
    transport_.wake();
}

ControlOutcome ControlChannel::close_with(const RegisterWrite& last, RetryPolicy policy) noexcept
{
    close();
    const std::scoped_lock lock(mutex_);
    is_last_ = true;
    const auto message = wire::gvcp::write_registers(next_request_id(), {&last, 1});
    const auto outcome = exchange(message, {Command::write_register, last.address, word}, policy, is_done);
    is_last_ = false;
    return noted(outcome, true, last.address, last.value);
}

std::uint16_t ControlChannel::next_request_id() noexcept
{
    // 0 is no request ID
    if (++request_id_ == 0) {
        request_id_ = 1;
    }
    return request_id_;
}

// ---- one exchange ----

template <typename Accept, typename Refused>
ControlOutcome ControlChannel::exchange(const wire::gvcp::Message& message, Access access, RetryPolicy policy,
                                        Accept accept, Refused refused) noexcept
{
    Exchange exchange(*this, message, access, policy);
    while (exchange.send()) {
        while (const auto acknowledge = exchange.await()) {
            exchange.judge(*acknowledge, accept, refused);
        }
    }
    return exchange.outcome();
}

template <typename Accept>
ControlOutcome ControlChannel::exchange(const wire::gvcp::Message& message, Access access, RetryPolicy policy,
                                        Accept accept) noexcept
{
    return exchange(message, access, policy, accept, [](std::span<const std::uint8_t>, ControlOutcome&) {});
}

/// What an operation of several messages may take in all, so that a device which answers every message at the last
/// moment cannot keep the caller waiting for hours. The time that the device has asked for does not count.
class ControlChannel::Budget {
public:
    Budget(const ControlChannel& channel, std::size_t messages) noexcept
        : channel_(channel), begin_(channel.clock_.now()),
          end_(begin_ + operation_limit + operation_limit_per_message * static_cast<milliseconds::rep>(messages))
    {}

    /// Turns a good outcome into a failed one when the time is used up although there is more to do.
    [[nodiscard]] ControlOutcome check(ControlOutcome outcome, bool more) noexcept
    {
        if (!more || !outcome.ok()) {
            return outcome;
        }
        end_ += outcome.granted;
        // spares a look at the clock: the outcome is as old as the answer
        const time_point now = channel_.last_answer();
        if (now >= end_) {
            outcome.kind = Kind::too_slow;
            outcome.waited = std::chrono::duration_cast<milliseconds>(now - begin_);
        }
        return outcome;
    }

private:
    const ControlChannel& channel_;
    const time_point begin_;
    time_point end_;
};

// ---- registers ----

ControlOutcome ControlChannel::read_register(std::uint32_t address, std::uint32_t& value) noexcept
{
    return read_register(address, value, retry_policy());
}

ControlOutcome ControlChannel::read_register(std::uint32_t address, std::uint32_t& value, RetryPolicy policy) noexcept
{
    const std::scoped_lock lock(mutex_);
    const auto message = wire::gvcp::read_registers(next_request_id(), {&address, 1});
    const auto outcome =
        exchange(message, {Command::read_register, address, word}, policy, [&](std::span<const std::uint8_t> payload) {
            if (payload.size() < word) {
                return false;
            }
            value = wire::load_be32(payload.data());
            return true;
        });
    return noted(outcome, false, address, value);
}

ControlOutcome ControlChannel::write_register(std::uint32_t address, std::uint32_t value) noexcept
{
    return write_register(address, value, retry_policy());
}

ControlOutcome ControlChannel::write_register(std::uint32_t address, std::uint32_t value, RetryPolicy policy) noexcept
{
    const std::scoped_lock lock(mutex_);
    const RegisterWrite write{address, value};
    const auto message = wire::gvcp::write_registers(next_request_id(), {&write, 1});
    return noted(exchange(message, {Command::write_register, address, word}, policy, is_done), true, address, value);
}

ControlOutcome ControlChannel::read_registers(std::span<const std::uint32_t> addresses,
                                              std::span<std::uint32_t> values) noexcept
{
    return read_registers(addresses, values, retry_policy());
}

ControlOutcome ControlChannel::read_registers(std::span<const std::uint32_t> addresses, std::span<std::uint32_t> values,
                                              RetryPolicy policy) noexcept
{
    Budget budget(*this, addresses.size());
    ControlOutcome outcome;
    while (outcome.ok() && !addresses.empty()) {
        std::size_t done = 1;
        if (concatenation_ && addresses.size() > 1) {
            outcome = read_concatenated(addresses.first(std::min(addresses.size(), most_reads_per_message)), values,
                                        policy, done);
        } else {
            outcome = read_register(addresses.front(), values.front(), policy);
        }
        addresses = addresses.subspan(done);
        values = values.subspan(done);
        outcome = budget.check(outcome, !addresses.empty());
    }
    return outcome;
}

ControlOutcome ControlChannel::read_concatenated(std::span<const std::uint32_t> addresses,
                                                 std::span<std::uint32_t> values, RetryPolicy policy,
                                                 std::size_t& done) noexcept
{
    const std::scoped_lock lock(mutex_);
    const auto message = wire::gvcp::read_registers(next_request_id(), addresses);
    const auto length = static_cast<std::uint32_t>(addresses.size()) * word;
    const auto outcome = exchange(
        message, {Command::read_register, addresses.front(), length}, policy,
        [&](std::span<const std::uint8_t> payload) {
            const std::size_t count = std::min(payload.size() / word, addresses.size());
            for (std::size_t i = 0; i < count; ++i) {
                values[i] = wire::load_be32(payload.data() + i * word);
            }
            done = count;
            return count > 0;
        },
        [&](std::span<const std::uint8_t> payload, ControlOutcome& end) {
            // the values that precede the one refused are there; the first that is missing was refused
            end.address = addresses[std::min(payload.size() / word, addresses.size() - 1)];
        });
    // some devices claim to take several registers and answer the first one only: go on singly
    if (outcome.ok() && done < addresses.size()) {
        concatenation_ = false;
    }
    for (std::size_t i = 0; outcome.ok() && i < done; ++i) {
        AccessLog::note(false, addresses[i], values[i]);
    }
    return outcome;
}

ControlOutcome ControlChannel::write_registers(std::span<const RegisterWrite> writes) noexcept
{
    Budget budget(*this, writes.size());
    ControlOutcome outcome;
    while (outcome.ok() && !writes.empty()) {
        std::size_t count = 1;
        if (concatenation_ && writes.size() > 1) {
            count = std::min(writes.size(), most_writes_per_message);
            outcome = write_concatenated(writes.first(count));
        } else {
            outcome = write_register(writes.front().address, writes.front().value);
        }
        writes = writes.subspan(count);
        outcome = budget.check(outcome, !writes.empty());
    }
    return outcome;
}

ControlOutcome ControlChannel::write_concatenated(std::span<const RegisterWrite> writes) noexcept
{
    const std::scoped_lock lock(mutex_);
    const auto message = wire::gvcp::write_registers(next_request_id(), writes);
    const auto length = static_cast<std::uint32_t>(writes.size()) * word;
    const auto outcome = exchange(message, {Command::write_register, writes.front().address, length}, retry_policy(),
                                  is_done, [&](std::span<const std::uint8_t> payload, ControlOutcome& end) {
                                      if (const auto written = wire::gvcp::decode_write_done(payload)) {
                                          end.address =
                                              writes[std::min<std::size_t>(*written, writes.size() - 1)].address;
                                      }
                                  });
    for (const RegisterWrite& write : outcome.ok() ? writes : std::span<const RegisterWrite>()) {
        AccessLog::note(true, write.address, write.value);
    }
    return outcome;
}

// ---- memory ----

ControlOutcome ControlChannel::read_memory(std::uint32_t address, std::span<std::uint8_t> destination) noexcept
{
    const std::uint32_t begin = address;
    const std::span<const std::uint8_t> whole = destination;
    Budget budget(*this, destination.size() / largest_block + 1);
    ControlOutcome outcome;
    while (outcome.ok() && !destination.empty()) {
        // an access that begins inside a word spends part of its block on the bytes before
        const std::size_t count = std::min(destination.size(), largest_block - address % word);
        outcome = read_block(address, destination.first(count));
        address += static_cast<std::uint32_t>(count);
        destination = destination.subspan(count);
        outcome = budget.check(outcome, !destination.empty());
    }
    return noted(outcome, false, begin, whole);
}

ControlOutcome ControlChannel::read_block(std::uint32_t address, std::span<std::uint8_t> destination) noexcept
{
    const std::uint32_t before = address % word;
    const auto count = static_cast<std::uint16_t>((before + destination.size() + word - 1) / word * word);
    const std::scoped_lock lock(mutex_);
    const auto message = wire::gvcp::read_memory(next_request_id(), {address - before, count});
    return exchange(message, {Command::read_memory, address, length_of(destination)}, retry_policy(),
                    [&](std::span<const std::uint8_t> payload) {
                        const auto answer = wire::gvcp::decode_read_memory_acknowledge(payload);
                        if (!answer || answer->address != address - before || answer->data.size() < count) {
                            return false;
                        }
                        std::memcpy(destination.data(), answer->data.data() + before, destination.size());
                        return true;
                    });
}

ControlOutcome ControlChannel::write_memory(std::uint32_t address, std::span<const std::uint8_t> source) noexcept
{
    const std::uint32_t begin = address;
    const std::span<const std::uint8_t> whole = source;
    Budget budget(*this, source.size() / (write_memory_ ? largest_block : word) + 1);
    ControlOutcome outcome;
    while (outcome.ok() && !source.empty()) {
        const std::uint32_t before = address % word;
        std::size_t count = std::min(source.size(), largest_block) / word * word;
        if (before != 0 || source.size() < word) {
            count = std::min<std::size_t>(word - before, source.size());
            outcome = write_part_of_word(address, source.first(count));
        } else {
            outcome = write_block(address, source.first(count));
        }
        address += static_cast<std::uint32_t>(count);
        source = source.subspan(count);
        outcome = budget.check(outcome, !source.empty());
    }
    // without WRITEMEM these were accesses to registers, which are noted as such
    return write_memory_ ? noted(outcome, true, begin, whole) : outcome;
}

ControlOutcome ControlChannel::write_part_of_word(std::uint32_t address, std::span<const std::uint8_t> source) noexcept
{
    const std::uint32_t before = address % word;
    std::array<std::uint8_t, word> whole{};
    if (const auto outcome = read_block(address - before, whole); !outcome) {
        return outcome;
    }
    std::memcpy(whole.data() + before, source.data(), source.size());
    return write_block(address - before, whole);
}

ControlOutcome ControlChannel::write_block(std::uint32_t address, std::span<const std::uint8_t> source) noexcept
{
    if (!write_memory_) {
        return write_block_by_registers(address, source);
    }
    const std::scoped_lock lock(mutex_);
    const auto message = wire::gvcp::write_memory(next_request_id(), {address, source});
    return exchange(message, {Command::write_memory, address, length_of(source)}, retry_policy(), is_done);
}

ControlOutcome ControlChannel::write_block_by_registers(std::uint32_t address,
                                                        std::span<const std::uint8_t> source) noexcept
{
    std::array<RegisterWrite, largest_block / word> writes;
    const std::size_t count = source.size() / word;
    for (std::size_t i = 0; i < count; ++i) {
        writes[i] = {address + static_cast<std::uint32_t>(i) * word, wire::load_be32(source.data() + i * word)};
    }
    return write_registers(std::span(writes).first(count));
}

// ---- statistics ----

ControlStatistics ControlChannel::statistics() const noexcept
{
    ControlStatistics all;
    all.requests = requests_.get();
    all.retries = retries_.get();
    all.failures = failures_.get();
    all.pendings = pendings_.get();
    all.stale = stale_.get();
    all.foreign = foreign_.get();
    all.malformed = malformed_.get();
    all.round_trips = round_trips_.summary();
    return all;
}

void ControlChannel::reset_statistics() noexcept
{
    for (Counter* counter : {&requests_, &retries_, &failures_, &pendings_, &stale_, &foreign_, &malformed_}) {
        counter->set(0);
    }
    round_trips_.reset();
}

}  // namespace vex::control
