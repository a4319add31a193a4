#include "bench/stream/load.h"

#include <netinet/in.h>
#include <netinet/udp.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <new>
#include <string>
#include <thread>

#include "bench/stream/block.h"
#include "bench/stream/lossy_sender.h"
#include "sdk/net/udp_socket.h"
#include "tools/softcam/camera.h"

#ifndef UDP_SEGMENT
#define UDP_SEGMENT 103
#endif

using namespace vex;

namespace bench {

namespace {

constexpr std::uint64_t block_ids = 65535;

/// Of the block that follows so many.
std::uint64_t id_of(std::uint64_t sent) { return sent % block_ids + 1; }

/// Sends a block whole, or a part of it, so that a pace can be kept within it.
class BlockSender {
public:
    explicit BlockSender(const Load& load) : load_(load), block_(load)
    {
        to_.sin_family = AF_INET;
        to_.sin_addr.s_addr = htonl(host.value);
    }

    void send(std::uint64_t block_id, std::uint16_t port, Progress& progress)
    {
        to_.sin_port = htons(port);
        block_.number(block_id);
        send_train(block_.leader(), block_.leader().size(), false);
        const std::size_t step = part_bytes();
        for (std::size_t at = 0; at < block_.payload().size(); at += step) {
            keep_pace();
            const std::size_t size = std::min(step, block_.payload().size() - at);
            send_train(block_.payload().subspan(at, size), block_.datagram(), load_.segmentation);
            sent_bytes_ += size;
        }
        progress.last_packet_at.store(now_ns(), std::memory_order_release);
        send_train(block_.trailer(), block_.trailer().size(), false);
    }

private:
    /// Without a pace the whole block, otherwise as much as 16 packets.
    [[nodiscard]] std::size_t part_bytes()
    {
        return load_.bytes_per_second > 0 ? block_.datagram() * 16 : block_.payload().size();
    }

    void keep_pace()
    {
        if (load_.bytes_per_second <= 0) {
            return;
        }
        if (begin_ns_ == 0) {
            begin_ns_ = now_ns();
        }
        const auto due =
            begin_ns_ + static_cast<std::int64_t>(static_cast<double>(sent_bytes_) / load_.bytes_per_second * 1e9);
        while (now_ns() < due) {
            ::sched_yield();
        }
    }

    void send_train(std::span<std::uint8_t> bytes, std::size_t datagram, bool segmentation)
    {
        const int segment = segmentation ? static_cast<int>(datagram) : 0;
        if (load_.segmentation && ::setsockopt(descriptor(), IPPROTO_UDP, UDP_SEGMENT, &segment, sizeof segment) != 0) {
            fail("UDP_SEGMENT");
        }
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
                messages[count].msg_hdr.msg_name = &to_;
                messages[count].msg_hdr.msg_namelen = sizeof to_;
                messages[count].msg_hdr.msg_iov = &parts[count];
                messages[count].msg_hdr.msg_iovlen = 1;
            }
            for (std::size_t sent = 0; sent < count;) {
                const int done = ::sendmmsg(descriptor(), &messages[sent], static_cast<unsigned>(count - sent), 0);
                if (done < 0) {
                    fail("sendmmsg");
                }
                sent += static_cast<std::size_t>(done);
            }
        }
    }

    [[nodiscard]] int descriptor() const { return static_cast<int>(socket_.handle()); }

    const Load load_;
    Block block_;
    net::UdpSocket socket_ = net::UdpSocket::open({camera, 0}, {.send_buffer_bytes = 8 << 20});
    sockaddr_in to_{};
    std::uint64_t sent_bytes_ = 0;
    std::int64_t begin_ns_ = 0;
};

bool may_send(const Load& load, const Progress& progress, std::uint64_t sent)
{
    if (load.blocks != 0 && sent >= load.blocks) {
        return false;
    }
    if (load.one_at_a_time) {
        return sent < progress.blocks_wanted.load(std::memory_order_acquire);
    }
    return load.blocks_ahead == 0 ||
           sent < progress.blocks_received.load(std::memory_order_acquire) + load.blocks_ahead;
}

/// Sends blocks until it is killed.
[[noreturn]] void run_sender(const Load& load, Progress* progress, int ports_pipe)
{
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    softcam::CameraOptions options;
    options.adapter = camera.to_string();
    softcam::Camera control(options);
    const bool answers = load.loss != 0 || load.answers;
    if (!answers) {
        control.start();
    }
    std::vector<std::uint16_t> ports(load.streams);
    const auto size = static_cast<ssize_t>(ports.size() * sizeof ports[0]);
    // says that the camera listens
    if (::write(ports_pipe, "r", 1) != 1 ||
        ::recv(ports_pipe, ports.data(), static_cast<std::size_t>(size), MSG_WAITALL) != size) {
        std::_Exit(1);
    }
    progress[0].first_packet_at.store(now_ns(), std::memory_order_release);
    if (answers) {
        run_lossy_sender(load, progress[0], ports.at(0));
    }
    BlockSender sender(load);
    for (;;) {
        bool idle = true;
        for (std::size_t i = 0; i < ports.size(); ++i) {
            const std::uint64_t sent = progress[i].blocks_sent.load(std::memory_order_relaxed);
            if (!may_send(load, progress[i], sent)) {
                continue;
            }
            sender.send(id_of(sent), ports[i], progress[i]);
            progress[i].blocks_sent.store(sent + 1, std::memory_order_release);
            idle = false;
        }
        if (idle) {
            ::sched_yield();
        }
    }
}

}  // namespace

void fail(const char* what)
{
    std::perror(what);
    std::exit(1);
}

Sender::Sender(const Load& load)
{
    void* memory =
        ::mmap(nullptr, most_streams * sizeof(Progress), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    std::array<int, 2> ends{};
    if (memory == MAP_FAILED || ::socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()) != 0) {
        fail("memory and a pipe for the sender");
    }
    shared_ = static_cast<Progress*>(memory);
    std::uninitialized_default_construct_n(shared_, most_streams);
    process_ = ::fork();
    if (process_ < 0) {
        fail("fork");
    }
    if (process_ == 0) {
        ::close(ends[0]);
        run_sender(load, shared_, ends[1]);
    }
    ::close(ends[1]);
    pipe_ = ends[0];
    char ready = 0;
    if (::read(pipe_, &ready, 1) != 1) {
        fail("the sender does not start");
    }
}

Sender::~Sender()
{
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
    ::close(pipe_);
    ::munmap(shared_, most_streams * sizeof(Progress));
}

void Sender::start(std::span<const std::uint16_t> ports)
{
    if (::write(pipe_, ports.data(), ports.size_bytes()) != static_cast<ssize_t>(ports.size_bytes())) {
        fail("the sender has gone");
    }
}

std::int64_t now_ns()
{
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

void Sender::go_on(const Receiver& receiver, std::size_t stream)
{
    Progress& shared = progress(stream);
    const std::uint64_t sent = shared.blocks_sent.load(std::memory_order_acquire);
    std::uint64_t received = sent;
    if (!receiver.nothing_came()) {
        // the newest that has this ID; the one that is being sent is not counted as sent
        received = sent + 1 - (id_of(sent) + block_ids - receiver.block_id()) % block_ids;
    }
    shared.blocks_received.store(received, std::memory_order_release);
}

double resident_megabytes()
{
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word) {
        if (word == "VmRSS:") {
            double kilobytes = 0;
            status >> kilobytes;
            return kilobytes / 1e3;
        }
    }
    return 0;
}

double processor_seconds()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    const auto seconds = [](const timeval& time) {
        return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
    };
    return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

}  // namespace bench
