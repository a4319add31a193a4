// How a transmitter sends: as fast as it can beside bare loops in the same run, and at a set throughput.
//
//   transmit_bench [MILLISECONDS]
//
// Everything goes over loopback to a socket of this process. The rates are those of a machine that also receives.
#include <sys/socket.h>
#include <time.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <thread>
#include <vector>

#include "bench/transmit/bare.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/net/udp_socket.h"
#include "sdk/transmitterraw/PvTransmitterRaw.h"

using namespace vex;

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

net::UdpSocket open_receiver(int buffer_bytes)
{
    return net::UdpSocket::open({loopback_address, 0}, {.receive_buffer_bytes = buffer_bytes});
}

/// Keeps a transmitter busy with images.
class Load {
public:
    Load(std::uint16_t port, std::uint32_t packet_size, float megabits, std::uint32_t width, std::uint32_t height,
         PvPacketTrains trains)
    {
        for (auto& buffer : buffers_) {
            buffer = std::make_unique<PvBuffer>();
            require(buffer->GetImage()->Alloc(width, height, PvPixelMono8));
            pool_.push_back(buffer.get());
        }
        require(transmitter_.LoadBufferPool(pool_.data(), static_cast<std::uint32_t>(pool_.size())));
        require(transmitter_.SetPacketSize(packet_size));
        require(transmitter_.SetMaxPayloadThroughput(megabits));
        require(transmitter_.SetPacketTrains(trains));
        require(transmitter_.Open("127.0.0.1", port, "127.0.0.1"));
    }

    void run(std::chrono::milliseconds duration)
    {
        for (const auto begin = Clock::now(); Clock::now() - begin < duration;) {
            PvBuffer* buffer = nullptr;
            require(transmitter_.RetrieveFreeBuffer(&buffer, 10'000));
            require(transmitter_.QueueBuffer(buffer));
        }
        require(transmitter_.AbortQueuedBuffers(true, 10'000));
    }

    [[nodiscard]] double payload_bytes() const
    {
        return static_cast<double>(transmitter_.GetPayloadBytesTransmitted());
    }

private:
    static void require(const PvResult& result)
    {
        if (!result.IsOK()) {
            std::fprintf(stderr, "transmit_bench: %s\n", result.GetDescription().str().c_str());
            std::exit(1);
        }
    }

    std::array<std::unique_ptr<PvBuffer>, 3> buffers_;
    std::vector<PvBuffer*> pool_;
    PvTransmitterRaw transmitter_;
};

Sent send_with_transmitter(std::uint16_t port, std::uint32_t packet_size, PvPacketTrains trains,
                           std::chrono::milliseconds duration)
{
    Load load(port, packet_size, 0, 4096, 2048, trains);
    const auto begin = Clock::now();
    const double processor = processor_seconds();
    load.run(duration);
    return {.payload_bytes = load.payload_bytes(),
            .seconds = std::chrono::duration<double>(Clock::now() - begin).count(),
            .processor_seconds = processor_seconds() - processor};
}

void print(const char* what, const Sent& sent, const Sent& bare)
{
    const auto rate = [](const Sent& of) { return of.payload_bytes / of.seconds / 1e9; };
    const auto cost = [](const Sent& of) { return of.processor_seconds / (of.payload_bytes / 1e9); };
    if (sent.payload_bytes <= 0) {
        std::printf("  %-13s not on this system\n", what);
        return;
    }
    std::printf("  %-13s %6.3f s/GB (%.2f of bare)  %6.2f GB/s (%.2f of bare)\n", what, cost(sent),
                cost(sent) / cost(bare), rate(sent), rate(sent) / rate(bare));
}

void measure_throughput(std::chrono::milliseconds duration)
{
    // nobody reads it: what sending costs, until the packets are thrown away
    const net::UdpSocket receiver = open_receiver(1 << 16);
    const std::uint16_t port = receiver.local().port;
    std::puts("As fast as it can: processor seconds for a payload gigabyte, and the rate");
    for (const std::uint32_t packet_size : {1500U, 9000U}) {
        std::printf(" packets of %u bytes\n", packet_size);
        const Sent bare = send_bare(port, packet_size, duration);
        print("bare", bare, bare);
        print("transmitter", send_with_transmitter(port, packet_size, PvPacketTrainsNever, duration), bare);
        const Sent trains = send_trains(port, packet_size, duration);
        print("bare, trains", trains, trains);
        if (trains.payload_bytes > 0) {
            print("transmitter", send_with_transmitter(port, packet_size, PvPacketTrainsAlways, duration), trains);
        }
    }
}

/// Reads packets with the times at which the system got them.
class Listener {
public:
    struct Packet {
        double seconds;
        std::size_t payload;
    };

    Listener() : socket_(open_receiver(16 << 20))
    {
        const int on = 1;
        ::setsockopt(static_cast<int>(socket_.handle()), SOL_SOCKET, SO_TIMESTAMPNS, &on, sizeof on);
        packets_.reserve(1 << 20);
        thread_ = std::thread([this] { run(); });
    }
    [[nodiscard]] std::uint16_t port() const { return socket_.local().port; }
    const std::vector<Packet>& finish()
    {
        stop_ = true;
        thread_.join();
        return packets_;
    }

private:
    void run()
    {
        constexpr std::size_t header = 8;
        constexpr std::uint8_t payload_format = 3;
        std::array<std::uint8_t, 65536> bytes;
        std::array<std::uint8_t, 256> control;
        while (true) {
            iovec part{bytes.data(), bytes.size()};
            msghdr message{};
            message.msg_iov = &part;
            message.msg_iovlen = 1;
            message.msg_control = control.data();
            message.msg_controllen = control.size();
            const auto size = ::recvmsg(static_cast<int>(socket_.handle()), &message, MSG_DONTWAIT);
            if (size < 0) {
                if (stop_) {
                    return;
                }
                std::this_thread::sleep_for(std::chrono::microseconds(500));
                continue;
            }
            timespec at{};
            if (const cmsghdr* told = CMSG_FIRSTHDR(&message); told != nullptr) {
                std::memcpy(&at, CMSG_DATA(told), sizeof at);
            }
            packets_.push_back({static_cast<double>(at.tv_sec % 100'000) + static_cast<double>(at.tv_nsec) / 1e9,
                                bytes[4] == payload_format ? static_cast<std::size_t>(size) - header : 0});
        }
    }

    net::UdpSocket socket_;
    std::atomic<bool> stop_{false};
    std::vector<Packet> packets_;
    std::thread thread_;
};

void print_pacing(const char* what, float megabits, const std::vector<Listener::Packet>& packets)
{
    // one second from the first packet on
    double payload = 0;
    double longest = 0;
    std::size_t above = 0;
    std::size_t burst = 0;
    for (std::size_t i = 0, first = 0; i < packets.size() && packets[i].seconds < packets[0].seconds + 1.0; ++i) {
        payload += static_cast<double>(packets[i].payload);
        const double interval = i > 0 ? packets[i].seconds - packets[i - 1].seconds : 0;
        longest = std::max(longest, interval);
        above += interval > 2e-3 ? 1 : 0;
        while (packets[i].seconds - packets[first].seconds > 1e-3) {
            ++first;
        }
        burst = std::max(burst, i - first + 1);
    }
    const double reached = payload * 8 / 1e6;
    const double in_a_millisecond = static_cast<double>(megabits) * 1e6 / 8 / 1464 / 1e3;
    std::printf(
        "  %6.0f Mbit/s, %-11s %8.2f reached (%+.2f %%), longest interval %5.2f ms, %zu above 2 ms, most in 1 ms "
        "%zu (%.1f at the rate)\n",
        static_cast<double>(megabits), what, reached, 100 * (reached / static_cast<double>(megabits) - 1),
        longest * 1e3, above, burst, in_a_millisecond);
}

void measure_pacing(float megabits)
{
    constexpr std::chrono::milliseconds duration(1300);
    {
        Listener listener;
        std::thread sender(
            [&] { send_paced(listener.port(), 1500, static_cast<double>(megabits) * 1e6 / 8, duration); });
        sender.join();
        print_pacing("bare", megabits, listener.finish());
    }
    Listener listener;
    Load load(listener.port(), 1500, megabits, 1024, 256, PvPacketTrainsNever);
    load.run(duration);
    print_pacing("transmitter", megabits, listener.finish());
}

}  // namespace

}  // namespace bench

int main(int argc, char** argv)
{
    const std::chrono::milliseconds duration(argc > 1 ? std::atoi(argv[1]) : 1000);
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    bench::measure_throughput(duration);
    std::puts("At a set throughput, packets of 1500 bytes, over one second");
    for (const float megabits : {20.0F, 100.0F, 400.0F, 1000.0F, 2000.0F}) {
        bench::measure_pacing(megabits);
    }
    return 0;
}
