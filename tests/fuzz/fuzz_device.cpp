// Datagrams of several applications to a device, with time passing in between. The input is a row of records: length
// (2 bytes), sender and seconds passed (4 bits each), datagram.
#include "sdk/virtualdevice/gvcp_responder.h"

#include <algorithm>
#include <vector>

#include "tests/fuzz/input.h"

using namespace vex;

namespace {

using fuzz::require;
using fuzz::View;

class StepClock final : public net::Clock {
public:
    [[nodiscard]] time_point now() const noexcept override { return now_; }
    void advance(duration by) noexcept { now_ += by; }

private:
    time_point now_{std::chrono::hours(1)};
};

struct Hooks final : virtual_device::DeviceHooks {
    void on_control_changed(bool taken) override
    {
        require(taken != controlled);
        controlled = taken;
    }
    void on_stream_channel_changed(unsigned channel, const virtual_device::StreamChannel& state) override
    {
        require(channel < 2 && state.packet_size >= 576 && state.packet_size <= 9000);
        require(controlled || !state.is_open());
    }
    void on_packet_resend(const wire::gvcp::PacketResend& range) override
    {
        require(range.channel < 2 && range.first_packet <= range.last_packet);
    }
    void on_action(unsigned signal, const wire::gvcp::Action&) override { require(signal < 3); }
    virtual_device::Status on_force_ip(const wire::gvcp::ForceIp&) override
    {
        require(!controlled);
        return virtual_device::Status::success;
    }
    std::uint64_t timestamp() override { return 1; }

    bool controlled = false;
};

virtual_device::DeviceDescription description()
{
    virtual_device::DeviceDescription d;
    d.serial_number = "fuzz";
    d.mac = {{2, 0, 0, 0, 0, 1}};
    d.stream_channels = 2;
    d.action_signals = 3;
    d.message_channel = true;
    d.extended_ids = true;
    d.packet_resend = true;
    d.largest_packet = 9000;
    return d;
}

void check_answer(View request, View answer)
{
    require(answer.size() >= 8 && answer.size() <= 548);
    require((unsigned{answer[4]} << 8 | answer[5]) == answer.size() - 8);
    require(answer[6] == request[6] && answer[7] == request[7]);
    require((request[1] & 0x01) != 0);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    StepClock clock;
    Hooks hooks;
    virtual_device::GvcpResponder responder(description(), hooks, clock);
    {
        const auto guard = responder.lock();
        auto& map = responder.registers();
        map.add_register(0xA000, virtual_device::Access::read_write, 0);
        map.add_string(0xA010, virtual_device::Access::read_write, 64, "text");
        map.add_register(0xA100, virtual_device::Access::read_write, 0,
                         {.refresh = {}, .accept = [&](std::uint32_t&) {
                              responder.announce_delay(std::chrono::milliseconds(100));
                              return virtual_device::Status::success;
                          }});
    }

    std::uint64_t datagrams = 0;
    for (View rest{data, size}; rest.size() >= 3;) {
        const std::size_t length = std::min<std::size_t>((std::size_t{rest[0]} << 8 | rest[1]) % 1024, rest.size() - 3);
        const Endpoint source{{0x0A000001U + (rest[2] & 3)}, static_cast<std::uint16_t>(1000 + (rest[2] >> 2 & 3))};
        clock.advance(std::chrono::seconds(rest[2] >> 4));
        // memory of exactly that length, so that reading beyond it shows
        const std::vector<std::uint8_t> datagram(rest.begin() + 3, rest.begin() + 3 + static_cast<long>(length));
        rest = rest.subspan(3 + length);
        ++datagrams;
        responder.handle(datagram, source, [&](const Endpoint& to, View answer) {
            const bool everybody = to == Endpoint{limited_broadcast, source.port} && (datagram[1] & 0x10) != 0;
            require(to == source || everybody);
            check_answer(datagram, answer);
        });
        responder.tick([](const Endpoint&, View) {});
    }
    const virtual_device::GvcpStatistics statistics = responder.statistics();
    require(statistics.received == datagrams);
    require(statistics.received == statistics.executed + statistics.repeated + statistics.malformed);
    return 0;
}
