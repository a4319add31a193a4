// How fast a stream receives, beside loops that do nothing but read the socket.
//
// A process of its own sends image blocks over the loopback interface, never more than two ahead of the receiver, so
// that nothing is lost and the slower of the two sets the pace. Printed are payload rate and processor time of the
// receiving process, and both as a ratio to the plainest loop of the same run.
#include <netinet/in.h>
#include <netinet/udp.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <span>
#include <string>
#include <vector>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/net/receive_backends.h"
#include "sdk/net/udp_socket.h"
#include "sdk/stream_core/PvStreamBase.h"
#include "sdk/wire/gvsp.h"

using namespace vex;

#ifndef UDP_SEGMENT
#define UDP_SEGMENT 103
#endif
#ifndef UDP_GRO
#define UDP_GRO 104
#endif

namespace {

using namespace std::chrono_literals;
namespace gvsp = wire::gvsp;

constexpr std::uint32_t width = 1024;
constexpr std::uint32_t height = 1024;
constexpr std::size_t image_bytes = std::size_t{width} * height;
constexpr std::uint64_t blocks_ahead = 2;
constexpr Ipv4Address camera{0x7F00002F};  // 127.0.0.47
constexpr Ipv4Address host{0x7F000001};

/// What sender and receiver share.
struct Progress {
    std::atomic<std::uint64_t> blocks_received{0};
};

struct Load {
    std::size_t packet_size;
    bool segmentation;  // the sender hands whole trains of packets to the kernel
};

[[noreturn]] void fail(const char* what)
{
    std::perror(what);
    std::exit(1);
}

/// One block as a train of equal datagrams; the last payload packet is filled up so that all have one size.
class Block {
public:
    explicit Block(std::size_t packet_size)
        : data_(gvsp::data_per_packet(packet_size, false)), datagram_(data_ + gvsp::standard_header_size),
          packets_((image_bytes + data_ - 1) / data_), bytes_(packets_ * datagram_, 0x5A)
    {
        std::array<std::uint8_t, gvsp::largest_leader> fields{};
        gvsp::Leader leader;
        leader.payload_type = gvsp::payload_type::image;
        leader.image = gvsp::ImageInfo{.pixel_format = 0x01080001, .size_x = width, .size_y = height};
        std::size_t size = gvsp::encode_leader(leader, fields);
        leader_.assign(gvsp::standard_header_size, 0);
        leader_.insert(leader_.end(), fields.begin(), fields.begin() + static_cast<std::ptrdiff_t>(size));
        gvsp::Trailer trailer;
        trailer.payload_type = gvsp::payload_type::image;
        trailer.size_y = height;
        size = gvsp::encode_trailer(trailer, fields);
        trailer_.assign(gvsp::standard_header_size, 0);
        trailer_.insert(trailer_.end(), fields.begin(), fields.begin() + static_cast<std::ptrdiff_t>(size));
    }

    void number(std::uint64_t block_id)
    {
        gvsp::Header header;
        header.block_id = block_id;
        header.format = gvsp::Format::leader;
        gvsp::encode_header(header, leader_);
        header.format = gvsp::Format::payload;
        for (std::size_t i = 0; i < packets_; ++i) {
            header.packet_id = static_cast<std::uint32_t>(i + 1);
            gvsp::encode_header(header, std::span(bytes_).subspan(i * datagram_, datagram_));
        }
        header.format = gvsp::Format::trailer;
        header.packet_id = static_cast<std::uint32_t>(packets_ + 1);
        gvsp::encode_header(header, trailer_);
    }

    [[nodiscard]] std::size_t datagram() const { return datagram_; }
    [[nodiscard]] std::span<std::uint8_t> leader() { return leader_; }
    [[nodiscard]] std::span<std::uint8_t> trailer() { return trailer_; }
    [[nodiscard]] std::span<std::uint8_t> payload() { return bytes_; }

private:
    std::size_t data_;
    std::size_t datagram_;
    std::size_t packets_;
    std::vector<std::uint8_t> leader_;
    std::vector<std::uint8_t> bytes_;
    std::vector<std::uint8_t> trailer_;
};

void send_train(int socket, const sockaddr_in& to, std::span<std::uint8_t> bytes, std::size_t datagram,
                bool segmentation)
{
    // a train must fit into one IP datagram's length and the kernel's limit of segments
    const std::size_t unit = segmentation ? std::min<std::size_t>(65000 / datagram, 60) * datagram : datagram;
    constexpr std::size_t batch = 64;
    std::array<mmsghdr, batch> messages{};
    std::array<iovec, batch> parts{};
    for (std::size_t at = 0; at < bytes.size();) {
        std::size_t count = 0;
        for (; count < batch && at < bytes.size(); ++count) {
            parts[count] = {bytes.data() + at, std::min(unit, bytes.size() - at)};
            at += parts[count].iov_len;
            messages[count].msg_hdr = {};
            messages[count].msg_hdr.msg_name = const_cast<sockaddr_in*>(&to);
            messages[count].msg_hdr.msg_namelen = sizeof to;
            messages[count].msg_hdr.msg_iov = &parts[count];
            messages[count].msg_hdr.msg_iovlen = 1;
        }
        for (std::size_t sent = 0; sent < count;) {
            const int done = ::sendmmsg(socket, &messages[sent], static_cast<unsigned>(count - sent), 0);
            if (done < 0) {
                fail("sendmmsg");
            }
            sent += static_cast<std::size_t>(done);
        }
    }
}

/// Sends blocks until it is killed.
[[noreturn]] void run_sender(std::uint16_t port, const Load& load, const Progress& progress)
{
    net::UdpSocket socket = net::UdpSocket::open({camera, 0}, {.send_buffer_bytes = 8 << 20});
    const int descriptor = static_cast<int>(socket.handle());
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(host.value);
    Block block(load.packet_size);
    const int segment = static_cast<int>(block.datagram());
    for (std::uint64_t sent = 0;; ++sent) {
        while (sent >= progress.blocks_received.load(std::memory_order_acquire) + blocks_ahead) {
            ::sched_yield();
        }
        block.number(sent % 65535 + 1);
        send_train(descriptor, to, block.leader(), block.leader().size(), false);
        if (load.segmentation && ::setsockopt(descriptor, IPPROTO_UDP, UDP_SEGMENT, &segment, sizeof segment) != 0) {
            fail("UDP_SEGMENT");
        }
        send_train(descriptor, to, block.payload(), block.datagram(), load.segmentation);
        const int none = 0;
        if (load.segmentation && ::setsockopt(descriptor, IPPROTO_UDP, UDP_SEGMENT, &none, sizeof none) != 0) {
            fail("UDP_SEGMENT");
        }
        send_train(descriptor, to, block.trailer(), block.trailer().size(), false);
    }
}

struct Figures {
    double megabytes_per_second = 0;
    double seconds_per_gigabyte = 0;
    std::uint64_t failures = 0;  // blocks that did not come whole
};

double processor_seconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

/// A way to receive: opened, then asked for one block after the other.
class Receiver {
public:
    virtual ~Receiver() = default;
    [[nodiscard]] virtual std::uint16_t port() const = 0;
    /// Whether the next block came whole.
    virtual bool receive_block() = 0;
};

/// Counts datagrams until a trailer; looks at nothing but their format.
class Loop : public Receiver {
public:
    [[nodiscard]] std::uint16_t port() const override { return socket_.local().port; }

protected:
    /// Whether it ended a block.
    bool count(const std::uint8_t* datagram, std::size_t size)
    {
        if (datagram[4] == 3) {
            bytes_ += size - gvsp::standard_header_size;
        }
        return datagram[4] == 2;
    }
    bool end_block()
    {
        const bool whole = bytes_ >= image_bytes;
        bytes_ = 0;
        return whole;
    }

    net::UdpSocket socket_ = net::UdpSocket::open({host, 0}, {.receive_buffer_bytes = 16 << 20});

private:
    std::size_t bytes_ = 0;
};

/// recvmmsg, with or without coalescing by the kernel.
class BareLoop final : public Loop {
public:
    explicit BareLoop(bool coalescing) : slot_(coalescing ? 65536 : 9216), memory_(slots * slot_)
    {
        const int on = 1;
        if (coalescing && ::setsockopt(descriptor(), IPPROTO_UDP, UDP_GRO, &on, sizeof on) != 0) {
            fail("UDP_GRO");
        }
    }

    bool receive_block() override
    {
        for (;;) {
            if (next_ == filled_) {
                refill();
            }
            for (; next_ < filled_; ++next_) {
                if (count_slot(next_)) {
                    ++next_;
                    return end_block();
                }
            }
        }
    }

private:
    static constexpr std::size_t slots = 64;

    [[nodiscard]] int descriptor() const { return static_cast<int>(socket_.handle()); }

    void refill()
    {
        for (std::size_t i = 0; i < slots; ++i) {
            parts_[i] = {memory_.data() + i * slot_, slot_};
            messages_[i].msg_hdr = {};
            messages_[i].msg_hdr.msg_iov = &parts_[i];
            messages_[i].msg_hdr.msg_iovlen = 1;
            messages_[i].msg_hdr.msg_control = controls_[i].data();
            messages_[i].msg_hdr.msg_controllen = controls_[i].size();
        }
        const int count = ::recvmmsg(descriptor(), messages_.data(), slots, MSG_WAITFORONE, nullptr);
        if (count < 0) {
            fail("recvmmsg");
        }
        next_ = 0;
        filled_ = static_cast<std::size_t>(count);
    }

    bool count_slot(std::size_t slot)
    {
        const std::size_t size = messages_[slot].msg_len;
        std::size_t segment = size;
        const cmsghdr* control = CMSG_FIRSTHDR(&messages_[slot].msg_hdr);
        if (control != nullptr && control->cmsg_level == IPPROTO_UDP && control->cmsg_type == UDP_GRO) {
            int value = 0;
            std::memcpy(&value, CMSG_DATA(control), sizeof value);
            segment = static_cast<std::size_t>(value);
        }
        bool ended = false;
        for (std::size_t at = 0; at < size; at += segment) {
            ended = count(memory_.data() + slot * slot_ + at, std::min(segment, size - at)) || ended;
        }
        return ended;
    }

    std::size_t slot_;
    std::vector<std::uint8_t> memory_;
    std::array<mmsghdr, slots> messages_{};
    std::array<iovec, slots> parts_{};
    alignas(cmsghdr) std::array<std::array<char, CMSG_SPACE(sizeof(int))>, slots> controls_{};
    std::size_t next_ = 0;
    std::size_t filled_ = 0;
};

/// The SDK's packet receiver without what the stream does with the packets.
class PacketLoop final : public Loop {
public:
    bool receive_block() override
    {
        for (;;) {
            while (next_ < batch_.size()) {
                const net::Datagram& datagram = batch_[next_++];
                if (count(datagram.data.data(), datagram.data.size())) {
                    return end_block();
                }
            }
            batch_ = receiver_->receive(1000ms);
            next_ = 0;
        }
    }

private:
    std::unique_ptr<net::PacketReceiver> receiver_ =
        net::create_receiver({.socket = socket_, .path = {camera, host}}, "coalescing");
    std::span<const net::Datagram> batch_;
    std::size_t next_ = 0;
};

class Stream : public PvStreamBase {};

/// The whole way: assembled, delivered through the queue, retrieved, queued again.
class StreamReceiver final : public Receiver {
public:
    StreamReceiver()
    {
        if (!stream_.Open(camera.to_string(), 0, 0, host.to_string()).IsOK()) {
            fail("open");
        }
        for (PvBuffer& buffer : buffers_) {
            buffer.Alloc(static_cast<std::uint32_t>(image_bytes));
            stream_.QueueBuffer(&buffer);
        }
    }
    [[nodiscard]] std::uint16_t port() const override { return stream_.GetLocalPort(); }
    bool receive_block() override
    {
        PvBuffer* buffer = nullptr;
        PvResult operation_result;
        if (!stream_.RetrieveBuffer(&buffer, &operation_result, 2000).IsOK()) {
            return false;
        }
        stream_.QueueBuffer(buffer);
        return operation_result.IsOK();
    }

private:
    std::array<PvBuffer, 8> buffers_;
    Stream stream_;
};

template <class Way, class... Arguments>
Figures measure(const Load& load, std::chrono::milliseconds duration, Arguments... arguments)
{
    void* shared = ::mmap(nullptr, sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) {
        fail("mmap");
    }
    auto* progress = new (shared) Progress;
    int port_pipe[2];
    if (::pipe(port_pipe) != 0) {
        fail("pipe");
    }
    // forked before any thread of this round exists; the port follows
    const pid_t sender = ::fork();
    if (sender < 0) {
        fail("fork");
    }
    if (sender == 0) {
        std::uint16_t port = 0;
        if (::read(port_pipe[0], &port, sizeof port) != sizeof port) {
            std::_Exit(1);
        }
        run_sender(port, load, *progress);
    }

    Figures figures;
    {
        Way way(arguments...);
        const std::uint16_t port = way.port();
        if (::write(port_pipe[1], &port, sizeof port) != sizeof port) {
            fail("write");
        }
        const auto next = [&] {
            const bool whole = way.receive_block();
            progress->blocks_received.fetch_add(1, std::memory_order_release);
            return whole;
        };
        for (int i = 0; i < 20; ++i) {
            next();
        }
        const double processor = processor_seconds();
        const auto start = std::chrono::steady_clock::now();
        std::uint64_t blocks = 0;
        std::chrono::duration<double> elapsed{};
        do {
            figures.failures += next() ? 0 : 1;
            ++blocks;
            elapsed = std::chrono::steady_clock::now() - start;
        } while (elapsed < duration);
        const double bytes = static_cast<double>(blocks - figures.failures) * static_cast<double>(image_bytes);
        figures.megabytes_per_second = bytes / 1e6 / elapsed.count();
        figures.seconds_per_gigabyte = (processor_seconds() - processor) / (bytes / 1e9);
        ::kill(sender, SIGKILL);
        ::waitpid(sender, nullptr, 0);
    }
    ::close(port_pipe[0]);
    ::close(port_pipe[1]);
    ::munmap(shared, sizeof(Progress));
    return figures;
}

void print(const char* name, const Figures& figures, const Figures& reference)
{
    std::printf("  %-34s %8.0f MB/s  %5.2f s/GB   rate x%.2f  time x%.2f   %llu failed\n", name,
                figures.megabytes_per_second, figures.seconds_per_gigabyte,
                figures.megabytes_per_second / reference.megabytes_per_second,
                figures.seconds_per_gigabyte / reference.seconds_per_gigabyte,
                static_cast<unsigned long long>(figures.failures));
}

}  // namespace

int main(int argc, char** argv)
{
    const std::chrono::milliseconds duration(argc > 1 ? std::atoi(argv[1]) : 1500);
    std::printf("1024x1024 Mono8 blocks over loopback, a sender process, %lld ms each\n",
                static_cast<long long>(duration.count()));
    for (const Load load : {Load{1500, false}, Load{1500, true}, Load{9000, false}, Load{9000, true}}) {
        std::printf("packet size %zu, %s\n", load.packet_size,
                    load.segmentation ? "sent in trains (UDP_SEGMENT)" : "sent one by one (sendmmsg)");
        const Figures bare = measure<BareLoop>(load, duration, false);
        print("bare recvmmsg", bare, bare);
        print("bare recvmmsg, UDP_GRO", measure<BareLoop>(load, duration, true), bare);
        print("PacketReceiver, nothing assembled", measure<PacketLoop>(load, duration), bare);
        print("PvStream, retrieved and queued again", measure<StreamReceiver>(load, duration), bare);
    }
    return 0;
}
