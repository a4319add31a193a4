// The datagrams of searches, control and message channels of this program, as a file that packet dissectors read.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "sdk/base/address.h"

namespace pvctl {

/// Captures while it exists, or until it is stopped. One object at a time.
class Capture {
public:
    struct Packet {
        std::chrono::system_clock::time_point time;
        vex::Endpoint source;
        vex::Endpoint destination;
        std::string payload;
    };

    Capture();
    ~Capture();
    Capture(const Capture&) = delete;
    Capture& operator=(const Capture&) = delete;

    void stop();
    /// After stop().
    [[nodiscard]] std::vector<Packet>& packets() noexcept { return packets_; }
    /// Packets that came after the capture was full.
    [[nodiscard]] std::uint64_t left_out() const noexcept { return left_out_; }

private:
    std::mutex mutex_;
    std::vector<Packet> packets_;
    std::size_t bytes_ = 0;
    std::uint64_t left_out_ = 0;
};

/// The packets as a pcap file: IPv4 without a link layer. What a socket does not see (identification, time to live, UDP
/// checksum) is left at a usual value or 0.
[[nodiscard]] std::string pcap_of(const std::vector<Capture::Packet>& packets);

}  // namespace pvctl
