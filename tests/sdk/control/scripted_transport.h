// A control transport whose datagrams and whose time are the test's.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string_view>
#include <vector>

#include "sdk/control/control_transport.h"
#include "sdk/net/clock.h"

namespace device_test {

using Bytes = std::vector<std::uint8_t>;

/// "42 01 00 80" as bytes; independent of the project's own encoders.
inline Bytes hex(std::string_view text)
{
    Bytes bytes;
    int digits = 0;
    unsigned value = 0;
    for (const char c : text) {
        if (c == ' ') {
            continue;
        }
        const auto digit = static_cast<unsigned>(c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10);
        value = value * 16 + digit;
        if (++digits == 2) {
            bytes.push_back(static_cast<std::uint8_t>(value));
            digits = 0;
            value = 0;
        }
    }
    return bytes;
}

class ManualClock final : public vex::net::Clock {
public:
    [[nodiscard]] time_point now() const noexcept override { return now_ += step; }
    void advance(duration by) { now_ += by; }

    duration step{};  ///< what passes between two looks

private:
    mutable time_point now_{std::chrono::hours(1)};
};

/// What a socket receives, by script: receiving moves the clock to the next datagram's arrival or by the timeout.
class ScriptedInbox {
public:
    explicit ScriptedInbox(ManualClock& clock) : clock_(clock) {}

    void deliver(Bytes datagram, vex::Endpoint source, std::chrono::milliseconds delay = {})
    {
        arrivals_.push_back({clock_.now() + delay, std::move(datagram), source});
    }

    std::optional<vex::net::Received> receive(std::span<std::uint8_t> buffer,
                                              std::chrono::milliseconds timeout) noexcept
    {
        const auto next = std::min_element(arrivals_.begin(), arrivals_.end(),
                                           [](const Arrival& a, const Arrival& b) { return a.at < b.at; });
        if (next == arrivals_.end() || next->at > clock_.now() + timeout) {
            clock_.advance(timeout);
            return std::nullopt;
        }
        clock_.advance(std::max(next->at - clock_.now(), vex::net::Clock::duration{}));
        const Arrival arrival = *next;
        arrivals_.erase(next);
        const std::size_t size = std::min(buffer.size(), arrival.datagram.size());
        if (size > 0) {
            std::memcpy(buffer.data(), arrival.datagram.data(), size);
        }
        return vex::net::Received{size, size < arrival.datagram.size(), arrival.source};
    }

private:
    struct Arrival {
        vex::net::Clock::time_point at;
        Bytes datagram;
        vex::Endpoint source;
    };

    ManualClock& clock_;
    std::vector<Arrival> arrivals_;
};

/// Answers come from `on_send` and from deliver().
class ScriptedTransport final : public vex::control::ControlTransport {
public:
    static constexpr vex::Endpoint camera{{0xC0A80102}, 3956};
    static constexpr vex::Endpoint stranger{{0xC0A80109}, 3956};

    explicit ScriptedTransport(ManualClock& clock) : inbox_(clock) {}

    /// Called for each datagram sent; usually delivers.
    std::function<void(const Bytes& request)> on_send;
    std::vector<Bytes> sent;
    std::error_code send_error;

    void deliver(Bytes datagram, std::chrono::milliseconds delay = {}, vex::Endpoint source = camera)
    {
        inbox_.deliver(std::move(datagram), source, delay);
    }

    std::error_code send(std::span<const std::uint8_t> datagram) noexcept override
    {
        sent.emplace_back(datagram.begin(), datagram.end());
        if (!send_error && on_send) {
            on_send(sent.back());
        }
        return send_error;
    }

    std::optional<vex::net::Received> receive(std::span<std::uint8_t> buffer,
                                              std::chrono::milliseconds timeout) noexcept override
    {
        return inbox_.receive(buffer, timeout);
    }

    void wake() noexcept override { deliver({}, {}, local()); }
    [[nodiscard]] vex::Endpoint device() const noexcept override { return camera; }
    [[nodiscard]] vex::Endpoint local() const noexcept override { return {{0xC0A80101}, 40000}; }

private:
    ScriptedInbox inbox_;
};

}  // namespace device_test
