#include "tools/pvctl/capture.h"

#include "sdk/control/datagram_tap.h"

using namespace vex;

namespace pvctl {

namespace {

constexpr std::size_t most_bytes = 64 << 20;
constexpr std::uint32_t ip_header_bytes = 20;
constexpr std::uint32_t udp_header_bytes = 8;
constexpr std::uint32_t raw_ip = 101;  // the file's link type

void append_little(std::string& to, std::uint32_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i) {
        to += static_cast<char>(value >> (8 * i));
    }
}

void append_big(std::string& to, std::uint32_t value, int bytes)
{
    for (int i = bytes - 1; i >= 0; --i) {
        to += static_cast<char>(value >> (8 * i));
    }
}

std::uint32_t checksum_of(const std::string& header)
{
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i + 1 < header.size(); i += 2) {
        sum += static_cast<std::uint8_t>(header[i]) << 8 | static_cast<std::uint8_t>(header[i + 1]);
    }
    sum = (sum & 0xFFFF) + (sum >> 16);
    return ~(sum + (sum >> 16)) & 0xFFFF;
}

std::string ip_header(const Capture::Packet& packet, std::uint32_t total)
{
    constexpr std::uint32_t version_and_length = 0x4500;
    constexpr std::uint32_t ttl_and_udp = 64 << 8 | 17;
    const auto make = [&](std::uint32_t checksum) {
        std::string header;
        append_big(header, version_and_length, 2);
        append_big(header, total, 2);
        append_big(header, 0, 4);
        append_big(header, ttl_and_udp, 2);
        append_big(header, checksum, 2);
        append_big(header, packet.source.address.value, 4);
        append_big(header, packet.destination.address.value, 4);
        return header;
    };
    return make(checksum_of(make(0)));
}

}  // namespace

Capture::Capture()
{
    control::tap::listen([this](const control::tap::Datagram& datagram) {
        const std::scoped_lock lock(mutex_);
        if (bytes_ + datagram.bytes.size() > most_bytes) {
            ++left_out_;
            return;
        }
        bytes_ += datagram.bytes.size();
        packets_.push_back({std::chrono::system_clock::now(), datagram.source, datagram.destination,
                            std::string(datagram.bytes.begin(), datagram.bytes.end())});
    });
}

Capture::~Capture() { stop(); }

void Capture::stop() { control::tap::stop_listening(); }

std::string pcap_of(const std::vector<Capture::Packet>& packets)
{
    std::string file;
    append_little(file, 0xA1B2C3D4, 4);  // microseconds, in this byte order
    append_little(file, 2, 2);
    append_little(file, 4, 2);
    append_little(file, 0, 4);
    append_little(file, 0, 4);
    append_little(file, 65535, 4);
    append_little(file, raw_ip, 4);
    for (const Capture::Packet& packet : packets) {
        using std::chrono::microseconds;
        const auto time = std::chrono::duration_cast<microseconds>(packet.time.time_since_epoch()).count();
        const auto payload = static_cast<std::uint32_t>(packet.payload.size());
        const std::uint32_t total = ip_header_bytes + udp_header_bytes + payload;
        append_little(file, static_cast<std::uint32_t>(time / 1'000'000), 4);
        append_little(file, static_cast<std::uint32_t>(time % 1'000'000), 4);
        append_little(file, total, 4);
        append_little(file, total, 4);
        file += ip_header(packet, total);
        append_big(file, packet.source.port, 2);
        append_big(file, packet.destination.port, 2);
        append_big(file, udp_header_bytes + payload, 2);
        append_big(file, 0, 2);
        file += packet.payload;
    }
    return file;
}

}  // namespace pvctl
