#include "bench/stream/lossy_sender.h"

#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>

#include <array>
#include <chrono>
#include <optional>
#include <random>
#include <utility>

#include "bench/stream/block.h"
#include "sdk/net/udp_socket.h"
#include "sdk/wire/gvcp.h"

using namespace vex;

namespace bench {

namespace {

using namespace std::chrono_literals;
namespace gvcp = wire::gvcp;

constexpr std::size_t packets_per_call = 16;

class LossySender {
public:
    LossySender(const Load& load, Progress& progress, std::uint16_t port)
        : load_(load), progress_(progress), block_(load), random_(load.seed)
    {
        to_.sin_family = AF_INET;
        to_.sin_addr.s_addr = htonl(host.value);
        to_.sin_port = htons(port);
    }

    void send(std::uint64_t block_id)
    {
        number(block_id);
        for (std::size_t first = 0; first <= block_.packets() + 1; first += packets_per_call) {
            keep_pace();
            send_range(first, std::min(first + packets_per_call - 1, block_.packets() + 1));
            answer_requests();
            number(block_id);
        }
    }

    void answer_requests()
    {
        std::array<std::uint8_t, 600> message{};
        while (const auto received = control_.receive(message, 0ms)) {
            const auto command = gvcp::decode_command(std::span(message).first(received->size));
            const auto range = command.has_value() ? gvcp::decode_packet_resend(*command) : std::nullopt;
            if (!range.has_value()) {
                continue;
            }
            progress_.requests.fetch_add(1);
            progress_.packets_requested.fetch_add(range->last_packet - range->first_packet + 1);
            number(range->block_id);
            send_range(range->first_packet, std::min<std::size_t>(range->last_packet, block_.packets() + 1));
        }
    }

private:
    void number(std::uint64_t block_id)
    {
        if (std::exchange(numbered_, block_id) != block_id) {
            block_.number(block_id);
        }
    }

    void keep_pace()
    {
        if (load_.bytes_per_second <= 0) {
            return;
        }
        begin_ns_ = begin_ns_ == 0 ? now_ns() : begin_ns_;
        const auto due = begin_ns_ + static_cast<std::int64_t>(static_cast<double>(first_sent_bytes_) /
                                                               load_.bytes_per_second * 1e9);
        while (now_ns() < due) {
            answer_requests();
            ::sched_yield();
        }
        first_sent_bytes_ += packets_per_call * block_.datagram();
    }

    bool is_lost()
    {
        if (burst_left_ == 0 && chance_(random_) < load_.loss / static_cast<double>(load_.burst)) {
            burst_left_ = load_.burst;
        }
        if (burst_left_ == 0) {
            return false;
        }
        --burst_left_;
        progress_.packets_lost.fetch_add(1);
        return true;
    }

    void send_range(std::size_t first, std::size_t last)
    {
        while (first <= last) {
            std::array<net::OutgoingDatagram, packets_per_call> datagrams{};
            std::size_t count = 0;
            for (; first <= last && count < datagrams.size(); ++first) {
                if (!is_lost()) {
                    datagrams[count++] = {block_.packet(first), {}};
                }
            }
            std::error_code error;
            const Endpoint destination{host, ntohs(to_.sin_port)};
            if (socket_.send_batch(destination, std::span(datagrams).first(count), error) != count) {
                fail("sending");
            }
        }
    }

    const Load load_;
    Progress& progress_;
    Block block_;
    std::uint64_t numbered_ = 0;
    net::UdpSocket socket_ = net::UdpSocket::open({camera, 0}, {.send_buffer_bytes = 8 << 20});
    net::UdpSocket control_ = net::UdpSocket::open({camera, gvcp::port}, {.receive_buffer_bytes = 4 << 20});
    sockaddr_in to_{};
    std::mt19937_64 random_;
    std::uniform_real_distribution<double> chance_{0, 1};
    std::size_t burst_left_ = 0;
    std::uint64_t first_sent_bytes_ = 0;
    std::int64_t begin_ns_ = 0;
};

}  // namespace

void run_lossy_sender(const Load& load, Progress& progress, std::uint16_t port)
{
    LossySender sender(load, progress, port);
    for (std::uint64_t sent = 0;; ++sent) {
        while ((load.blocks != 0 && sent >= load.blocks) ||
               (load.blocks_ahead != 0 && sent >= progress.blocks_received.load() + load.blocks_ahead)) {
            sender.answer_requests();
            ::sched_yield();
        }
        sender.send(sent % 65535 + 1);
        progress.last_packet_at.store(now_ns(), std::memory_order_release);
        progress.blocks_sent.store(sent + 1, std::memory_order_release);
    }
}

}  // namespace bench
