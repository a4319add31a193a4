#include "sdk/genicp/client.h"

#include <algorithm>
#include <array>
#include <limits>
#include <mutex>
#include <random>
#include <utility>

#include "sdk/base/numbers.h"
#include "sdk/base/trace.h"

namespace vex::genicp {

namespace gencp = wire::gencp;

namespace {

using std::chrono::milliseconds;
using Kind = Outcome::Kind;

/// How long a port is read from before somebody looks whether the client was closed.
constexpr milliseconds longest_wait{100};

constexpr std::uint64_t bits_of_character = 12;  // start, 8 data bits, parity, 2 stop bits

milliseconds line_time(std::size_t bytes, std::uint32_t baud_rate) noexcept
{
    return milliseconds(baud_rate == 0 ? 0 : (1000 * bits_of_character * bytes + baud_rate - 1) / baud_rate);
}

bool is_in_memory(std::uint64_t address, std::size_t length) noexcept
{
    return length == 0 || length - 1 <= std::numeric_limits<std::uint64_t>::max() - address;
}

Outcome outside(gencp::Command command, std::uint64_t address, std::size_t length)
{
    Outcome outcome;
    outcome.kind = Kind::outside;
    outcome.command = command;
    outcome.address = address;
    outcome.length = length;
    return outcome;
}

}  // namespace

/// A request on its way, until one of its answers or its time ends it. The caller holds the mutex.
class Client::Exchange {
public:
    /// `answer` is the length of the SCD of a good acknowledge, at most.
    Exchange(Client& client, gencp::Frame frame, std::uint16_t id, const Outcome& request, std::size_t answer)
        : client_(client), frame_(frame), id_(id), timing_(client.timing()),
          time_(timing_.answer_timeout +
                line_time(frame.bytes().size() + gencp::header_size + answer, timing_.baud_rate)),
          begin_(client.clock_.now()), outcome_(request)
    {}

    /// Sends until a good acknowledge comes whose SCD `accept` takes; false from it means that it does not fit.
    template <typename Accept>
    Outcome run(Accept accept)
    {
        ++client_.statistics_.requests;
        do {
            ++outcome_.attempts;
            outcome_.kind = Kind::no_answer;
            if (send()) {
                await(accept);
            }
        } while (is_worth_another());
        if (!outcome_.ok()) {
            ++client_.statistics_.failures;
        }
        outcome_.waited = std::chrono::duration_cast<milliseconds>(client_.clock_.now() - begin_);
        trace::write(trace::Category::serial, outcome_.ok() ? trace::Level::debug : trace::Level::warning, [&] {
            return outcome_.ok()
                       ? "device on a serial port: access to " + std::to_string(outcome_.length) + " bytes at " +
                             to_hex_text(outcome_.address) + ": done in " + std::to_string(outcome_.waited.count()) +
                             " ms, sent " + std::to_string(outcome_.attempts) + " times"
                       : std::string(to_result(outcome_, "device on a serial port").description());
        });
        return outcome_;
    }

private:
    [[nodiscard]] bool is_worth_another() const noexcept
    {
        const bool lost_on_line = outcome_.kind == Kind::no_answer || outcome_.kind == Kind::malformed ||
                                  (outcome_.kind == Kind::refused && outcome_.status == gencp::Status::invalid_header);
        return lost_on_line && outcome_.attempts < timing_.attempts;
    }

    bool send()
    {
        if (client_.must_end()) {
            outcome_.kind = Kind::closed;
            return false;
        }
        if (outcome_.attempts > 1) {
            frame_.mark_resent();
            ++client_.statistics_.retries;
        }
        const auto bytes = frame_.bytes();
        std::uint32_t written = 0;
        PvResult sent = client_.port_.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), written);
        deadline_ = client_.clock_.now() + time_;
        if (!sent.IsOK()) {
            outcome_.kind = client_.must_end() ? Kind::closed : Kind::port_failed;
            outcome_.port = std::move(sent);
        }
        return outcome_.kind == Kind::no_answer;
    }

    template <typename Accept>
    void await(Accept accept)
    {
        while (const auto frame = receive()) {
            const bool pending = frame->command == gencp::Command::pending_ack;
            if (frame->request_id != id_ || frame->channel != gencp::control_channel ||
                (!pending && frame->command != gencp::acknowledge_of(outcome_.command))) {
                ++client_.statistics_.stale;
            } else if (gencp::is_failure(frame->status())) {
                outcome_.kind = Kind::refused;
                outcome_.status = frame->status();
                return;
            } else if (pending) {
                if (!prolong(gencp::decode_number(frame->scd))) {
                    return;
                }
            } else if (accept(frame->scd)) {
                outcome_.kind = Kind::done;
                return;
            } else {
                note_malformed();
            }
        }
    }

    /// The next frame, or nothing when the time is over or the port fails.
    std::optional<gencp::FrameView> receive()
    {
        FrameReader& reader = client_.reader_;
        std::array<std::uint8_t, gencp::largest_frame> bytes{};
        for (;;) {
            const auto frame = reader.next();
            client_.statistics_.passed_over = reader.passed_over();
            if (frame) {
                return frame;
            }
            const auto now = client_.clock_.now();
            if (now >= deadline_) {
                // what has begun never ends; a whole frame may stand behind its beginning
                if (!reader.give_up()) {
                    return std::nullopt;
                }
                continue;
            }
            std::uint32_t got = 0;
            // rounded up, so that a wait never ends before its time and then spins
            const auto left = std::min(std::chrono::ceil<milliseconds>(deadline_ - now), longest_wait);
            PvResult result = client_.port_.Read(bytes.data(), static_cast<std::uint32_t>(reader.missing()), got,
                                                 static_cast<std::uint32_t>(left.count()));
            reader.add(std::span(bytes).first(std::min<std::size_t>(got, bytes.size())));
            if (client_.must_end()) {
                outcome_.kind = Kind::closed;
                return std::nullopt;
            }
            if (!result.IsOK() && result.GetCode() != PvResult::Timeout) {
                outcome_.kind = Kind::port_failed;
                outcome_.port = std::move(result);
                return std::nullopt;
            }
        }
    }

    bool prolong(std::optional<std::uint16_t> more)
    {
        if (!more) {
            note_malformed();
            return true;
        }
        const auto now = client_.clock_.now();
        if (pendings_ == 0) {
            pending_end_ = now + pending_limit;
        }
        ++pendings_;
        ++client_.statistics_.pendings;
        if (pendings_ > most_pendings || now >= pending_end_) {
            outcome_.kind = Kind::pending_too_long;
            return false;
        }
        // the announced time is the device's own; the way back takes as long as any answer's
        deadline_ = std::min(now + milliseconds(*more) + time_, pending_end_);
        return true;
    }

    void note_malformed() noexcept
    {
        outcome_.kind = Kind::malformed;
        ++client_.statistics_.malformed;
    }

    Client& client_;
    gencp::Frame frame_;
    std::uint16_t id_;
    Timing timing_;
    milliseconds time_;
    net::Clock::time_point begin_;
    net::Clock::time_point deadline_{};
    net::Clock::time_point pending_end_{};
    unsigned pendings_ = 0;
    Outcome outcome_;
};

template <typename Byte, typename Access>
Outcome Client::in_blocks(gencp::Command command, std::uint64_t address, std::span<Byte> bytes, Access access)
{
    if (!is_in_memory(address, bytes.size())) {
        return outside(command, address, bytes.size());
    }
    std::size_t longest = block_;
    bool shrunk = false;
    while (!bytes.empty()) {
        const auto block = bytes.first(std::min(longest, bytes.size()));
        Outcome outcome = access(address, block);
        if (outcome.ok()) {
            address += block.size();
            bytes = bytes.subspan(block.size());
            if (shrunk) {
                block_ = longest;  // only now is it known that the length was to blame
            }
        } else if (outcome.kind == Kind::refused && outcome.status == gencp::Status::invalid_parameter &&
                   block.size() > smallest_block) {
            constexpr std::size_t word = 4;
            longest = std::max(block.size() / 2 / word * word, smallest_block);
            shrunk = true;
        } else {
            return outcome;
        }
    }
    return {};
}

Outcome Client::read(std::uint64_t address, std::span<std::uint8_t> destination)
{
    return in_blocks(gencp::Command::read_memory, address, destination,
                     [this](std::uint64_t at, std::span<std::uint8_t> block) {
                         const std::scoped_lock lock(mutex_);
                         return read_block(at, block);
                     });
}

Outcome Client::write(std::uint64_t address, std::span<const std::uint8_t> source)
{
    return in_blocks(gencp::Command::write_memory, address, source,
                     [this](std::uint64_t at, std::span<const std::uint8_t> block) {
                         const std::scoped_lock lock(mutex_);
                         return write_block(at, block);
                     });
}

Outcome Client::read_block(std::uint64_t address, std::span<std::uint8_t> destination)
{
    Outcome request;
    request.command = gencp::Command::read_memory;
    request.address = address;
    request.length = destination.size();
    const std::uint16_t id = ++request_id_;
    const auto frame = gencp::read_memory(id, {address, static_cast<std::uint16_t>(destination.size())});
    return Exchange(*this, frame, id, request, destination.size()).run([&](std::span<const std::uint8_t> scd) {
        if (scd.size() != destination.size()) {
            return false;
        }
        std::copy(scd.begin(), scd.end(), destination.begin());
        return true;
    });
}

Outcome Client::write_block(std::uint64_t address, std::span<const std::uint8_t> source)
{
    Outcome request;
    request.command = gencp::Command::write_memory;
    request.address = address;
    request.length = source.size();
    const std::uint16_t id = ++request_id_;
    const auto frame = gencp::write_memory(id, {address, source});
    constexpr std::size_t longest_answer = 4;
    return Exchange(*this, frame, id, request, longest_answer).run([&](std::span<const std::uint8_t> scd) {
        // devices without the capability send nothing; a length of 0 is as good as none
        const auto written = gencp::decode_number(scd);
        return scd.empty() || (written && (*written == source.size() || *written == 0));
    });
}

Outcome Client::close_with(std::uint64_t address, std::span<const std::uint8_t> source)
{
    closed_ = true;
    const std::scoped_lock lock(mutex_);
    is_last_ = true;
    attempts_ = 1;
    answer_timeout_ms_ = std::min(answer_timeout_ms_.load(), default_serial_timeout);
    Outcome outcome = write_block(address, source);
    is_last_ = false;
    return outcome;
}

std::uint16_t some_request_id()
{
    constexpr std::uint32_t step = 0x3571;  // more than a probe or a short connection uses up
    static std::atomic<std::uint32_t> next{std::random_device{}()};
    return static_cast<std::uint16_t>(next.fetch_add(step));
}

Timing Client::timing() const noexcept
{
    Timing timing;
    timing.answer_timeout = milliseconds(answer_timeout_ms_);
    timing.attempts = attempts_;
    timing.baud_rate = baud_rate_;
    return timing;
}

void Client::set_timing(const Timing& timing) noexcept
{
    answer_timeout_ms_ = static_cast<std::uint32_t>(
        std::clamp<milliseconds::rep>(timing.answer_timeout.count(), 1, longest_serial_timeout));
    attempts_ = std::max(timing.attempts, 1U);
    baud_rate_ = timing.baud_rate;
}

Statistics Client::statistics() const
{
    const std::scoped_lock lock(mutex_);
    return statistics_;
}

}  // namespace vex::genicp
