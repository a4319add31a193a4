#include "sdk/control/packet_size.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/net/known_path.h"
#include "sdk/wire/bootstrap.h"

namespace vex::control {

namespace {

namespace bootstrap = wire::bootstrap;
namespace stream = wire::bootstrap::stream;
using std::chrono::milliseconds;

constexpr std::uint32_t headers = 28;  // IP and UDP
/// The most that the packet size register can say; with headers off, also the most that a datagram can hold.
constexpr std::uint32_t largest_size = 0xFFFF;
constexpr std::uint32_t smallest_size = 48;
/// What every Ethernet carries.
constexpr std::uint32_t usual_size = 1500;
/// How long an open channel is watched for a stream that is under way.
constexpr milliseconds stream_watch{20};
/// How long each firing of a test packet is waited for.
constexpr std::array<milliseconds, 3> waits = {milliseconds(20), milliseconds(40), milliseconds(80)};

class UdpTestPackets final : public TestPackets {
public:
    /// Throws std::system_error when there can be no socket at this address.
    explicit UdpTestPackets(Ipv4Address local)
    {
        net::UdpOptions options;
        options.receive_buffer_bytes = 1 << 18;
        socket_ = net::UdpSocket::open({local, 0}, options);
    }

    [[nodiscard]] Endpoint local() const noexcept override { return socket_.local(); }
    std::optional<net::Received> receive(std::span<std::uint8_t> buffer, milliseconds timeout) noexcept override
    {
        return socket_.receive(buffer, timeout);
    }

private:
    net::UdpSocket socket_;
};

/// The test itself, on one stream channel that is diverted to the test packets' own port meanwhile.
class Probe {
public:
    Probe(ControlChannel& control, std::uint32_t channel, TestPackets& packets, const net::Clock& clock)
        : control_(control), channel_(channel), packets_(packets), clock_(clock)
    {}
    ~Probe() { restore(); }
    Probe(const Probe&) = delete;
    Probe& operator=(const Probe&) = delete;

    /// Remembers the channel's registers and points it to this end.
    PvResult divert()
    {
        const std::array<std::uint32_t, 3> addresses = {address(stream::packet_size), address(stream::port),
                                                        address(stream::destination)};
        std::array<std::uint32_t, 3> values{};
        if (const auto outcome = control_.read_registers(addresses, values); !outcome.ok()) {
            return result_of(outcome);
        }
        original_size_ = values[0] & ~stream::fire_test_packet;
        original_port_ = values[1];
        original_destination_ = values[2];

        diverted_ = true;
        const Endpoint here = packets_.local();
        const std::uint32_t port = (original_port_ & ~std::uint32_t{0xFFFF}) | here.port;
        const std::array<RegisterWrite, 2> writes = {RegisterWrite{address(stream::destination), here.address.value},
                                                     RegisterWrite{address(stream::port), port}};
        return result_of(control_.write_registers(writes));
    }

    enum class Answer : std::uint8_t {
        arrived,      ///< a packet of this size arrived whole
        silent,       ///< none did
        not_taken,    ///< the device does not take the size; `taken` has what it takes instead, 0 when nothing
        unreachable,  ///< the control channel failed; `failure` says how
    };

    Answer test(std::uint32_t size)
    {
        for (const milliseconds wait : waits) {
            const std::uint32_t value =
                (original_size_ & stream::pixel_big_endian) | stream::fire_test_packet | stream::do_not_fragment | size;
            taken = size;
            auto outcome = control_.write_register(address(stream::packet_size), value);
            if (outcome.ok()) {
                outcome = control_.read_register(address(stream::packet_size), taken);
            }
            if (outcome.kind == ControlOutcome::Kind::refused) {
                taken = 0;
                return Answer::not_taken;
            }
            if (!outcome.ok()) {
                failure = result_of(outcome);
                return Answer::unreachable;
            }
            taken &= stream::packet_size_mask;
            if (taken != size) {
                return Answer::not_taken;
            }
            if (wait_for(size, wait)) {
                return Answer::arrived;
            }
        }
        return Answer::silent;
    }

    /// Sets the size for good and reads it back; another value read back is an error.
    PvResult set_size(std::uint32_t size)
    {
        const std::uint32_t value = (original_size_ & ~stream::packet_size_mask) | size;
        std::uint32_t now = 0;
        auto outcome = control_.write_register(address(stream::packet_size), value);
        if (outcome.ok()) {
            outcome = control_.read_register(address(stream::packet_size), now);
        }
        if (!outcome.ok()) {
            return result_of(outcome);
        }
        if ((now & stream::packet_size_mask) != size) {
            return vex::failure(PvResult::GenericError, control_.device().address.to_string(), ": the packet size ",
                                std::to_string(size), " was set, but the device has ",
                                std::to_string(now & stream::packet_size_mask));
        }
        settled_ = true;
        net::note_packet_size(control_.device().address, channel_, size);
        return PvResult::OK;
    }

    /// Puts destination and port back, and the size too unless a new one was set.
    PvResult restore() noexcept
    {
        if (!diverted_) {
            return PvResult::OK;
        }
        diverted_ = false;
        const std::uint32_t closed_port = original_port_ & ~std::uint32_t{0xFFFF};
        std::vector<RegisterWrite> writes;
        if (!settled_) {
            writes.push_back({address(stream::packet_size), original_size_});
        }
        // closed first: between the two writes the stream must not go where it never was meant to
        writes.push_back({address(stream::port), closed_port});
        auto outcome = control_.write_registers(writes);
        const auto destination = control_.write_register(address(stream::destination), original_destination_);
        if (!was_open()) {
            return result_of(outcome);  // some devices do not let the destination of a closed channel be cleared
        }
        if (outcome.ok()) {
            outcome = destination;
        }
        if (outcome.ok()) {
            outcome = control_.write_register(address(stream::port), original_port_);
        }
        return result_of(outcome);
    }

    /// Whether the device sends although no test packet was asked for. The channel is diverted.
    bool is_streaming()
    {
        return was_open() && wait_until(clock_.now() + stream_watch, [](std::size_t /*size*/) { return true; });
    }

    [[nodiscard]] std::uint32_t original_size() const noexcept { return original_size_ & stream::packet_size_mask; }

    std::uint32_t taken = 0;
    PvResult failure;

private:
    [[nodiscard]] std::uint32_t address(std::uint32_t offset) const noexcept
    {
        return bootstrap::stream_register(channel_, offset);
    }

    [[nodiscard]] bool was_open() const noexcept { return (original_port_ & 0xFFFF) != 0; }

    bool wait_for(std::uint32_t size, milliseconds wait)
    {
        return wait_until(clock_.now() + wait, [size](std::size_t received) { return received == size - headers; });
    }

    /// Waits for a datagram of the device that has a size that is wanted.
    template <typename Wanted>
    bool wait_until(net::Clock::time_point end, Wanted wanted)
    {
        for (;;) {
            const auto left = std::chrono::ceil<milliseconds>(end - clock_.now());
            const auto received = packets_.receive(buffer_, std::max(left, milliseconds(0)));
            if (received && !received->truncated && received->source.address == control_.device().address &&
                wanted(received->size)) {
                return true;
            }
            if (left.count() <= 0) {
                return false;
            }
        }
    }

    [[nodiscard]] PvResult result_of(const ControlOutcome& outcome) const
    {
        return to_result(outcome, control_.device());
    }

    ControlChannel& control_;
    std::uint32_t channel_;
    TestPackets& packets_;
    const net::Clock& clock_;
    std::vector<std::uint8_t> buffer_ = std::vector<std::uint8_t>(largest_size);
    std::uint32_t original_size_ = 0;
    std::uint32_t original_port_ = 0;
    std::uint32_t original_destination_ = 0;
    bool diverted_ = false;
    bool settled_ = false;
};

/// The largest size of the device's steps that is not above `size`.
std::uint32_t step_down(std::uint32_t size, const PacketSizeLimits& limits)
{
    return size <= limits.smallest ? limits.smallest : size - (size - limits.smallest) % limits.step;
}

PacketSizeLimits sane(PacketSizeLimits limits, std::uint32_t mtu)
{
    limits.smallest = std::clamp(limits.smallest, smallest_size, usual_size);
    limits.step = std::clamp<std::uint32_t>(limits.step, 1, 1024);
    limits.largest = std::min({limits.largest, largest_size, mtu == 0 ? largest_size : mtu});
    limits.largest = step_down(std::max(limits.largest, limits.smallest), limits);
    return limits;
}

/// Searches between the limits. 0 when nothing arrives; empty when the control channel failed.
std::optional<std::uint32_t> largest_that_arrives(Probe& probe, PacketSizeLimits limits)
{
    using Answer = Probe::Answer;
    std::uint32_t good = 0;
    std::uint32_t too_large = limits.largest + limits.step;
    const auto try_size = [&](std::uint32_t size) {
        Answer answer = probe.test(size);
        if (answer == Answer::not_taken && probe.taken > good && probe.taken < size) {
            // a device that clamps, or has other steps, names the size to try instead
            size = probe.taken;
            answer = probe.test(size);
        }
        if (answer == Answer::arrived) {
            good = size;
        } else {
            too_large = std::min(too_large, size);
        }
        return answer;
    };

    Answer answer = try_size(limits.largest);
    // the search needs a size that arrives to start from: what every network carries, what was set, the least
    for (const std::uint32_t start : {step_down(usual_size, limits), probe.original_size(), limits.smallest}) {
        if (answer != Answer::unreachable && good == 0 && start >= limits.smallest && start < too_large) {
            answer = try_size(start);
        }
    }
    while (answer != Answer::unreachable && good != 0 && good + limits.step < too_large) {
        answer = try_size(good + std::max((too_large - good) / 2 / limits.step, std::uint32_t{1}) * limits.step);
    }
    if (answer == Answer::unreachable) {
        return std::nullopt;
    }
    return good;
}

PvResult streaming(const std::string& name)
{
    return failure(PvResult::StateError, name,
                   " is streaming; the packet size can be negotiated when the acquisition has ended");
}

}  // namespace

PvResult negotiate_packet_size(ControlChannel& control, const PacketSizeTask& task, TestPackets& packets,
                               const net::Clock& clock)
{
    const std::string name = control.device().address.to_string();
    const std::uint32_t default_size = task.default_size;
    if (default_size > largest_size || (default_size != 0 && default_size < smallest_size)) {
        return failure(PvResult::InvalidParameter, "A packet size of ", std::to_string(default_size),
                       " bytes is impossible; it is from ", std::to_string(smallest_size), " to ",
                       std::to_string(largest_size));
    }
    if (task.locked) {
        return streaming(name);
    }
    Probe probe(control, task.channel, packets, clock);
    if (PvResult result = probe.divert(); !result.IsOK()) {
        return result;
    }

    if (probe.is_streaming()) {
        PvResult result = probe.restore();
        return result.IsOK() ? streaming(name) : result;
    }
    const auto size = largest_that_arrives(probe, sane(task.limits, task.mtu));
    if (!size) {
        return probe.failure;
    }
    if (*size != 0) {
        if (PvResult result = probe.set_size(*size); !result.IsOK()) {
            return result;
        }
        return probe.restore();
    }

    const std::string reason = name + ": no test packet arrived; the device sends none, or something on the way (a "
                                      "firewall, another subnet) lets none pass";
    if (default_size == 0) {
        if (PvResult result = probe.restore(); !result.IsOK()) {
            return result;
        }
        return failure(PvResult::NotSupported, reason, ". The packet size stays ",
                       std::to_string(probe.original_size()));
    }
    if (PvResult result = probe.set_size(default_size); !result.IsOK()) {
        return result;
    }
    if (PvResult result = probe.restore(); !result.IsOK()) {
        return result;
    }
    return {PvResult::OK, reason + ". The packet size was set to the default, " + std::to_string(default_size)};
}

PvResult negotiate_packet_size(ControlChannel& control, const PacketSizeTask& task)
{
    std::optional<UdpTestPackets> packets;
    try {
        packets.emplace(control.local().address);
    } catch (const std::system_error& error) {
        return failure(PvResult::NetworkError, error.what());
    }
    return negotiate_packet_size(control, task, *packets, net::Clock::steady());
}

}  // namespace vex::control
