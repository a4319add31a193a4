// A host's socket on the loopback network, for talking to devices in the same process.
#pragma once

#include <algorithm>
#include <chrono>
#include <optional>
#include <string_view>
#include <vector>

#include "sdk/net/clock.h"
#include "sdk/net/udp_socket.h"
#include "tests/sdk/net/wine.h"

/// A loopback address for a device: the asked one where the system tells loopback addresses apart.
inline const char* device_address(const char* wanted) { return under_wine() ? "127.0.0.1" : wanted; }

struct Answer {
    std::vector<std::uint8_t> bytes;
    vex::Endpoint source;
};

class HostSocket {
public:
    explicit HostSocket(std::string_view address = "127.0.0.1")
        : socket_(vex::net::UdpSocket::open({*vex::Ipv4Address::parse(address), 0},
                                            {.broadcast = true, .receive_buffer_bytes = 8 << 20}))
    {}

    [[nodiscard]] std::uint16_t port() const { return socket_.local().port; }
    [[nodiscard]] vex::Endpoint local() const { return socket_.local(); }

    void send(std::string_view address, const std::vector<std::uint8_t>& bytes, std::uint16_t port = 3956)
    {
        socket_.send_to({*vex::Ipv4Address::parse(address), port}, bytes);
    }

    /// The next datagram; empty when none comes in time.
    std::optional<Answer> receive(std::chrono::milliseconds timeout = std::chrono::seconds(5))
    {
        std::vector<std::uint8_t> buffer(65536);
        const auto received = socket_.receive(buffer, timeout);
        if (!received) {
            return std::nullopt;
        }
        buffer.resize(received->size);
        return Answer{std::move(buffer), received->source};
    }

    /// The first datagram from that address; others are dropped.
    std::optional<Answer> receive_from(std::string_view address,
                                       std::chrono::milliseconds timeout = std::chrono::seconds(5))
    {
        const auto end = vex::net::Clock::steady().now() + timeout;
        while (true) {
            const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - vex::net::Clock::steady().now());
            auto answer = receive(std::max(left, std::chrono::milliseconds(0)));
            if (!answer || answer->source.address == *vex::Ipv4Address::parse(address)) {
                return answer;
            }
        }
    }

private:
    vex::net::UdpSocket socket_;
};
