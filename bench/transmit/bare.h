// Loops that do nothing but send: what the machine can do.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>

namespace bench {

/// What a sender achieved.
struct Sent {
    double payload_bytes = 0;
    double seconds = 0;
    double processor_seconds = 0;
};

/// Of this process so far.
[[nodiscard]] double processor_seconds();

/// Datagrams of packets of that size to a port of this host, 64 with one call.
[[nodiscard]] Sent send_bare(std::uint16_t port, std::size_t packet_size, std::chrono::milliseconds duration);
/// The same, as trains that the system cuts; nothing sent where it cannot.
[[nodiscard]] Sent send_trains(std::uint16_t port, std::size_t packet_size, std::chrono::milliseconds duration);

/// The same one by one, each at its time by the system's timer, to reach that rate of payload.
void send_paced(std::uint16_t port, std::size_t packet_size, double bytes_per_second,
                std::chrono::milliseconds duration);

}  // namespace bench
