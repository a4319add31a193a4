// lossy_wire: a bad cable between two network interfaces. What comes in at one goes out at the other; of the UDP
// datagrams some are lost, sent twice or overtaken by later ones, as a printed seed decides.
#include <CLI/CLI.hpp>

#include <arpa/inet.h>
#include <linux/if_packet.h>
#include <net/ethernet.h>
#include <net/if.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <deque>
#include <random>
#include <span>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t largest_frame = 70'000;  // also of a train that the interface was to cut up
/// What the system puts before each frame (PACKET_VNET_HDR), and where it says there that the frame is a train.
constexpr std::size_t head_bytes = 10;
constexpr std::size_t kind_of_train = 1;
constexpr int socket_buffer_bytes = 64 << 20;
/// A datagram that is overtaken waits for a few others, and no longer than this.
constexpr std::chrono::milliseconds longest_hold{1};
constexpr int most_overtaking = 8;

struct Impairment {
    double lost = 0;  // parts of 1000 of the datagrams
    double twice = 0;
    double overtaken = 0;
    unsigned burst = 1;  // datagrams of a stream that are lost in a row
    std::uint64_t seed = 0;
};

struct Counts {
    std::uint64_t forwarded = 0;
    std::uint64_t lost = 0;
    std::uint64_t twice = 0;
    std::uint64_t overtaken = 0;
    std::uint64_t trains = 0;    // frames that the interface was to cut up; one fate for all of their datagrams
    std::uint64_t unwanted = 0;  // lost by the system on the way into or out of this program
};

std::atomic<bool> ended{false};

[[noreturn]] void fail(const std::string& what) { throw std::system_error(errno, std::generic_category(), what); }

/// All frames of one interface, in and out, with what the system keeps beside them of checksums and trains.
class Plug {
public:
    explicit Plug(const std::string& interface) : socket_(::socket(AF_PACKET, SOCK_RAW, htons(ETH_P_ALL)))
    {
        if (socket_ < 0) {
            fail("packet socket");
        }
        const int index = static_cast<int>(if_nametoindex(interface.c_str()));
        sockaddr_ll address{};
        address.sll_family = AF_PACKET;
        address.sll_protocol = htons(ETH_P_ALL);
        address.sll_ifindex = index;
        packet_mreq all_frames{};
        all_frames.mr_ifindex = index;
        all_frames.mr_type = PACKET_MR_PROMISC;
        set(SOL_PACKET, PACKET_VNET_HDR, 1);
        set(SOL_PACKET, PACKET_IGNORE_OUTGOING, 1);
        set(SOL_SOCKET, SO_RCVBUFFORCE, socket_buffer_bytes);
        set(SOL_SOCKET, SO_SNDBUFFORCE, socket_buffer_bytes);
        if (index == 0 || bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            setsockopt(socket_, SOL_PACKET, PACKET_ADD_MEMBERSHIP, &all_frames, sizeof all_frames) != 0) {
            fail("interface " + interface);
        }
    }
    Plug(const Plug&) = delete;
    Plug& operator=(const Plug&) = delete;
    ~Plug() { close(socket_); }

    [[nodiscard]] int descriptor() const { return socket_; }

    /// The next frame behind its head of metadata; empty when there is none.
    std::span<const std::uint8_t> receive(std::span<std::uint8_t> buffer)
    {
        const ssize_t size = recv(socket_, buffer.data(), buffer.size(), MSG_DONTWAIT);
        return buffer.first(size > 0 ? static_cast<std::size_t>(size) : 0);
    }

    bool send(std::span<const std::uint8_t> frame)
    {
        return ::send(socket_, frame.data(), frame.size(), 0) == static_cast<ssize_t>(frame.size());
    }

    /// Frames that the system could not keep for this program since the last call.
    std::uint64_t take_dropped()
    {
        tpacket_stats statistics{};
        socklen_t length = sizeof statistics;
        return getsockopt(socket_, SOL_PACKET, PACKET_STATISTICS, &statistics, &length) == 0 ? statistics.tp_drops : 0;
    }

private:
    void set(int level, int option, int value)
    {
        if (setsockopt(socket_, level, option, &value, sizeof value) != 0) {
            fail("socket option " + std::to_string(option));
        }
    }

    int socket_;
};

enum class Kind : std::uint8_t { other, control, data };

/// Of UDP datagrams whether they are the control channel's, by its port.
Kind kind_of(std::span<const std::uint8_t> frame)
{
    constexpr std::size_t ip = head_bytes + 14;
    constexpr std::uint16_t control_port = 3956;
    if (frame.size() < ip + 28 || frame[ip - 2] != 0x08 || frame[ip - 1] != 0x00 || frame[ip + 9] != IPPROTO_UDP) {
        return Kind::other;
    }
    const std::size_t udp = ip + 4 * (frame[ip] & 0xFU);
    const auto port_at = [&](std::size_t at) { return at + 1 < frame.size() ? frame[at] << 8 | frame[at + 1] : 0; };
    return port_at(udp) == control_port || port_at(udp + 2) == control_port ? Kind::control : Kind::data;
}

bool is_train(std::span<const std::uint8_t> frame) { return frame.size() > 1 && frame[kind_of_train] != 0; }

/// One direction of the cable.
class Strand {
public:
    Strand(Plug& from, Plug& to, const Impairment& impairment, std::uint64_t seed)
        : from_(from), to_(to), impairment_(impairment), random_(seed), buffer_(largest_frame)
    {}

    /// Forwards what has come. True when something waits for its turn.
    bool forward(Counts& counts)
    {
        for (auto frame = from_.receive(buffer_); !frame.empty(); frame = from_.receive(buffer_)) {
            pass(frame, counts);
        }
        const Clock::time_point now = Clock::now();
        while (!held_.empty() && now - held_.front().since >= longest_hold) {
            release(counts);
        }
        return !held_.empty();
    }

private:
    struct Held {
        std::vector<std::uint8_t> frame;
        Clock::time_point since;
        int still_to_overtake = 0;
    };

    bool happens(double of_1000) { return std::uniform_real_distribution<>(0, 1000)(random_) < of_1000; }

    void pass(std::span<const std::uint8_t> frame, Counts& counts)
    {
        const Kind kind = kind_of(frame);
        if (kind == Kind::other) {
            send(frame, counts);
            return;
        }
        counts.trains += is_train(frame) ? 1 : 0;
        if (is_lost(kind)) {
            ++counts.lost;
        } else if (happens(impairment_.overtaken)) {
            ++counts.overtaken;
            held_.push_back({{frame.begin(), frame.end()},
                             Clock::now(),
                             std::uniform_int_distribution<>(1, most_overtaking)(random_)});
        } else {
            send(frame, counts);
            if (happens(impairment_.twice)) {
                ++counts.twice;
                send(frame, counts);
            }
            overtake(counts);
        }
    }

    /// A burst would take all tries of a command with it, because commands wait for each other.
    bool is_lost(Kind kind)
    {
        if (kind == Kind::control) {
            return happens(impairment_.lost);
        }
        if (burst_left_ == 0 && happens(impairment_.lost / impairment_.burst)) {
            burst_left_ = impairment_.burst;
        }
        return burst_left_ > 0 && burst_left_-- > 0;
    }

    void overtake(Counts& counts)
    {
        for (Held& held : held_) {
            --held.still_to_overtake;
        }
        while (!held_.empty() && held_.front().still_to_overtake <= 0) {
            release(counts);
        }
    }

    void release(Counts& counts)
    {
        send(held_.front().frame, counts);
        held_.pop_front();
    }

    void send(std::span<const std::uint8_t> frame, Counts& counts)
    {
        ++(to_.send(frame) ? counts.forwarded : counts.unwanted);
    }

    Plug& from_;
    Plug& to_;
    const Impairment& impairment_;
    std::mt19937_64 random_;
    std::vector<std::uint8_t> buffer_;
    std::deque<Held> held_;
    unsigned burst_left_ = 0;
};

void forward_until_ended(Plug& here, Plug& there, const Impairment& impairment, bool both_ways)
{
    const Impairment sound{};
    Counts counts;
    Strand out(here, there, both_ways ? impairment : sound, impairment.seed);
    Strand back(there, here, impairment, impairment.seed + 1);
    std::printf("forwarding\n");
    std::fflush(stdout);
    while (!ended) {
        std::array<pollfd, 2> inputs = {pollfd{here.descriptor(), POLLIN, 0}, pollfd{there.descriptor(), POLLIN, 0}};
        const bool out_waits = out.forward(counts);
        const bool back_waits = back.forward(counts);
        poll(inputs.data(), inputs.size(), out_waits || back_waits ? 1 : 200);
    }
    counts.unwanted += here.take_dropped() + there.take_dropped();
    for (const auto& [name, count] : {std::pair{"forwarded", counts.forwarded}, std::pair{"lost", counts.lost},
                                      std::pair{"twice", counts.twice}, std::pair{"overtaken", counts.overtaken},
                                      std::pair{"trains", counts.trains}, std::pair{"unwanted", counts.unwanted}}) {
        std::printf("%s %llu\n", name, static_cast<unsigned long long>(count));
    }
}

}  // namespace

int main(int argc, char** argv)
{
    std::string here;
    std::string there;
    bool both_ways = false;
    Impairment impairment;
    impairment.seed = std::random_device{}();
    CLI::App app{"lossy_wire: joins two network interfaces by a bad cable"};
    app.add_option("here", here, "an interface")->required();
    app.add_option("there", there, "another; what comes from there is impaired")->required();
    app.add_flag("--both-ways", both_ways, "what comes from here is impaired, too");
    app.add_option("--lose", impairment.lost, "of 1000 UDP datagrams");
    app.add_option("--burst", impairment.burst, "datagrams of a stream lost in a row")->check(CLI::Range(1, 1000));
    app.add_option("--double", impairment.twice, "of 1000");
    app.add_option("--overtake", impairment.overtaken, "of 1000");
    app.add_option("--seed", impairment.seed, "of all chance");
    CLI11_PARSE(app, argc, argv);
    std::signal(SIGINT, [](int) { ended = true; });
    std::signal(SIGTERM, [](int) { ended = true; });
    std::printf("seed %llu\n", static_cast<unsigned long long>(impairment.seed));
    try {
        Plug first(here);
        Plug second(there);
        forward_until_ended(first, second, impairment, both_ways);
        return 0;
    } catch (const std::exception& error) {
        std::printf("error %s\n", error.what());
        return 1;
    }
}
