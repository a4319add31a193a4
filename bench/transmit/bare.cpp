#include "bench/transmit/bare.h"

#include <arpa/inet.h>
#include <netinet/udp.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <time.h>
#include <unistd.h>

#include <array>
#include <vector>

#ifndef UDP_SEGMENT
#define UDP_SEGMENT 103
#endif

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t batch = 64;
constexpr std::size_t ip_udp_headers = 28;
constexpr std::size_t stream_header = 8;
constexpr std::size_t largest_train = 65'000;
// As much memory as the transmitter's images have, so that the caches are no better off.
constexpr std::size_t image_bytes = std::size_t{24} << 20;

class Socket {
public:
    explicit Socket(std::uint16_t port) : descriptor_(::socket(AF_INET, SOCK_DGRAM, 0))
    {
        address_.sin_family = AF_INET;
        address_.sin_port = htons(port);
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const int buffer = 4 << 20;
        ::setsockopt(descriptor_, SOL_SOCKET, SO_SNDBUF, &buffer, sizeof buffer);
    }
    Socket(const Socket&) = delete;
    Socket& operator=(const Socket&) = delete;
    ~Socket() { ::close(descriptor_); }

    [[nodiscard]] int descriptor() const { return descriptor_; }
    sockaddr_in& address() { return address_; }

private:
    int descriptor_;
    sockaddr_in address_{};
};

/// Calls `send_some`, which returns the datagrams that it sent, until the time is over.
template <typename SendSome>
Sent run(std::size_t data, std::chrono::milliseconds duration, SendSome send_some)
{
    const auto begin = Clock::now();
    const double processor = processor_seconds();
    double packets = 0;
    while (Clock::now() - begin < duration) {
        const int sent = send_some();
        if (sent <= 0) {
            break;
        }
        packets += sent;
    }
    return {.payload_bytes = packets * static_cast<double>(data),
            .seconds = std::chrono::duration<double>(Clock::now() - begin).count(),
            .processor_seconds = processor_seconds() - processor};
}

}  // namespace

double processor_seconds()
{
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

Sent send_bare(std::uint16_t port, std::size_t packet_size, std::chrono::milliseconds duration)
{
    Socket socket(port);
    const std::size_t data = packet_size - ip_udp_headers - stream_header;
    std::vector<std::uint8_t> image(image_bytes);
    std::array<std::array<std::uint8_t, stream_header>, batch> heads{};
    std::array<std::array<iovec, 2>, batch> parts{};
    std::array<mmsghdr, batch> messages{};
    std::size_t offset = 0;
    return run(data, duration, [&] {
        for (std::size_t i = 0; i < batch; ++i) {
            offset = offset + 2 * data > image.size() ? 0 : offset + data;
            parts[i] = {iovec{heads[i].data(), stream_header}, iovec{image.data() + offset, data}};
            messages[i].msg_hdr.msg_name = &socket.address();
            messages[i].msg_hdr.msg_namelen = sizeof(sockaddr_in);
            messages[i].msg_hdr.msg_iov = parts[i].data();
            messages[i].msg_hdr.msg_iovlen = parts[i].size();
        }
        return ::sendmmsg(socket.descriptor(), messages.data(), batch, 0);
    });
}

Sent send_trains(std::uint16_t port, std::size_t packet_size, std::chrono::milliseconds duration)
{
    Socket socket(port);
    const int segment = static_cast<int>(packet_size - ip_udp_headers);
    if (::setsockopt(socket.descriptor(), SOL_UDP, UDP_SEGMENT, &segment, sizeof segment) != 0) {
        return {};
    }
    const auto datagram = static_cast<std::size_t>(segment);
    const std::size_t data = datagram - stream_header;
    const std::size_t count = std::min(batch, largest_train / datagram);
    std::vector<std::uint8_t> image(image_bytes);
    std::array<std::array<std::uint8_t, stream_header>, batch> heads{};
    std::array<std::array<iovec, 2>, batch> parts{};
    std::size_t offset = 0;
    return run(data, duration, [&] {
        for (std::size_t i = 0; i < count; ++i) {
            offset = offset + 2 * data > image.size() ? 0 : offset + data;
            parts[i] = {iovec{heads[i].data(), stream_header}, iovec{image.data() + offset, data}};
        }
        msghdr message{};
        message.msg_name = &socket.address();
        message.msg_namelen = sizeof(sockaddr_in);
        message.msg_iov = parts[0].data();
        message.msg_iovlen = 2 * count;
        return ::sendmsg(socket.descriptor(), &message, 0) > 0 ? static_cast<int>(count) : -1;
    });
}

void send_paced(std::uint16_t port, std::size_t packet_size, double bytes_per_second,
                std::chrono::milliseconds duration)
{
    constexpr unsigned long timer_slack_ns = 1000;
    ::prctl(PR_SET_TIMERSLACK, timer_slack_ns, 0, 0, 0);
    Socket socket(port);
    const std::size_t data = packet_size - ip_udp_headers - stream_header;
    std::vector<std::uint8_t> packet(data + stream_header);
    packet[4] = 3;  // payload
    const std::chrono::nanoseconds distance(
        static_cast<std::int64_t>(static_cast<double>(data) / bytes_per_second * 1e9));
    const auto begin = Clock::now();
    for (auto next = begin; next - begin < duration; next += distance) {
        if (const auto left = next - Clock::now(); left > Clock::duration::zero()) {
            const auto ns = std::chrono::duration_cast<std::chrono::nanoseconds>(left).count();
            const timespec time{static_cast<time_t>(ns / 1'000'000'000), static_cast<long>(ns % 1'000'000'000)};
            ::nanosleep(&time, nullptr);
        }
        ::sendto(socket.descriptor(), packet.data(), packet.size(), 0,
                 reinterpret_cast<const sockaddr*>(&socket.address()), sizeof(sockaddr_in));
    }
}

}  // namespace bench
