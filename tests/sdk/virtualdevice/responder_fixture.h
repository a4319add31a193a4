// A device without network, driven by literal datagrams.
//
// The bytes are written out here and not made by the project's own encoders, so that a mistake shared by both ends of
// the wire shows.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "sdk/virtualdevice/gvcp_responder.h"
#include "tests/sdk/virtualdevice/manual_clock.h"

using Bytes = std::vector<std::uint8_t>;

inline void append(Bytes& bytes, std::initializer_list<unsigned> values)
{
    for (const unsigned value : values) {
        bytes.push_back(static_cast<std::uint8_t>(value));
    }
}

inline Bytes bytes_of(std::initializer_list<unsigned> values)
{
    Bytes bytes;
    append(bytes, values);
    return bytes;
}

inline Bytes be32(std::uint32_t value)
{
    return bytes_of({value >> 24, (value >> 16) & 0xFF, (value >> 8) & 0xFF, value & 0xFF});
}

inline Bytes joined(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

/// A command: key, flags, code, length, ID, payload.
inline Bytes command(unsigned code, unsigned id, const Bytes& payload, unsigned flags = 0x01)
{
    const auto size = static_cast<unsigned>(payload.size());
    return joined(
        {bytes_of({0x42, flags, code >> 8, code & 0xFF, size >> 8, size & 0xFF, id >> 8, id & 0xFF}), payload});
}

inline Bytes read_register(unsigned id, std::uint32_t address) { return command(0x0080, id, be32(address)); }
inline Bytes write_register(unsigned id, std::uint32_t address, std::uint32_t value)
{
    return command(0x0082, id, joined({be32(address), be32(value)}));
}
inline Bytes read_memory(unsigned id, std::uint32_t address, unsigned count)
{
    return command(0x0084, id, joined({be32(address), bytes_of({0, 0, count >> 8, count & 0xFF})}));
}
inline Bytes write_memory(unsigned id, std::uint32_t address, const Bytes& data)
{
    return command(0x0086, id, joined({be32(address), data}));
}

inline unsigned u16_at(const Bytes& bytes, std::size_t at)
{
    return at + 2 <= bytes.size() ? unsigned{bytes[at]} << 8 | bytes[at + 1] : 0xDEAD;
}
inline std::uint32_t u32_at(const Bytes& bytes, std::size_t at)
{
    return (std::uint32_t{u16_at(bytes, at)} << 16) | u16_at(bytes, at + 2);
}
inline unsigned status_of(const Bytes& acknowledge) { return u16_at(acknowledge, 0); }

namespace status {
inline constexpr unsigned success = 0x0000;
inline constexpr unsigned not_implemented = 0x8001;
inline constexpr unsigned invalid_parameter = 0x8002;
inline constexpr unsigned invalid_address = 0x8003;
inline constexpr unsigned write_protect = 0x8004;
inline constexpr unsigned bad_alignment = 0x8005;
inline constexpr unsigned access_denied = 0x8006;
inline constexpr unsigned busy = 0x8007;
inline constexpr unsigned invalid_header = 0x800E;
}  // namespace status

struct RecordingHooks : vex::virtual_device::DeviceHooks {
    void on_control_changed(bool controlled) override { control_changes.push_back(controlled); }
    void on_stream_channel_changed(unsigned, const vex::virtual_device::StreamChannel& state) override
    {
        channel = state;
    }
    void on_test_packet(unsigned, const vex::virtual_device::StreamChannel& state) override
    {
        test_packets.push_back(state.packet_size);
    }
    void on_packet_resend(const vex::wire::gvcp::PacketResend& range) override { resends.push_back(range); }
    void on_action(unsigned signal, const vex::wire::gvcp::Action&) override { actions.push_back(signal); }
    vex::virtual_device::Status on_force_ip(const vex::wire::gvcp::ForceIp& settings) override
    {
        forced.push_back(settings.address);
        return vex::virtual_device::Status::success;
    }
    std::uint64_t timestamp() override { return now; }
    void reset_timestamp() override { now = 0; }

    std::vector<bool> control_changes;
    vex::virtual_device::StreamChannel channel;
    std::vector<std::uint32_t> test_packets;
    std::vector<vex::wire::gvcp::PacketResend> resends;
    std::vector<unsigned> actions;
    std::vector<vex::Ipv4Address> forced;
    std::uint64_t now = 0x0000000512345678;
};

class Responder : public testing::Test {
protected:
    static constexpr std::uint32_t scratch = 0x00010000;  // a plain read-write register
    static constexpr std::uint32_t counted = 0x00010004;  // one that counts its writes
    static constexpr std::uint32_t write_only = 0x00010008;
    static constexpr std::uint32_t picky = 0x0001000C;  // takes values up to 100
    static constexpr std::uint32_t slow = 0x00010010;   // announces a delay
    static constexpr std::uint32_t table = 0x00020000;  // 1024 bytes, read-only, the low byte of each offset

    static vex::virtual_device::DeviceDescription description()
    {
        vex::virtual_device::DeviceDescription d;
        d.manufacturer = "Vexkam";
        d.model = "TestModel";
        d.device_version = "7.8";
        d.manufacturer_info = "info";
        d.serial_number = "SERIAL-16-CHARS!";
        d.user_defined_name = "left";
        d.mac = {{0x02, 0x11, 0x22, 0x33, 0x44, 0x55}};
        d.address = {0x0A010203};
        d.mask = {0xFFFF0000};
        d.gateway = {0x0A010001};
        d.first_url = "Local:a.zip;100000;20";
        d.stream_channels = 1;
        d.action_signals = 2;
        d.message_channel = true;
        d.extended_ids = true;
        d.packet_resend = true;
        d.largest_packet = 9000;
        return d;
    }

    Responder() : responder(description(), hooks, clock)
    {
        using vex::virtual_device::Access;
        using vex::virtual_device::Status;
        const auto guard = responder.lock();
        auto& map = responder.registers();
        map.add_register(scratch, Access::read_write, 0x11223344);
        map.add_register(counted, Access::read_write, 0, {.refresh = {}, .accept = [this](std::uint32_t&) {
                                                              ++executions;
                                                              return Status::success;
                                                          }});
        map.add_register(write_only, Access::write_only, 0);
        map.add_register(picky, Access::read_write, 0, {.refresh = {}, .accept = [](std::uint32_t& value) {
                                                            return value <= 100 ? Status::success
                                                                                : Status::invalid_parameter;
                                                        }});
        map.add_register(slow, Access::read_write, 0, {.refresh = {}, .accept = [this](std::uint32_t&) {
                                                           responder.announce_delay(std::chrono::milliseconds(750));
                                                           return Status::success;
                                                       }});
        vex::virtual_device::Region region;
        region.address = table;
        for (unsigned i = 0; i < 1024; ++i) {
            region.bytes.push_back(static_cast<std::uint8_t>(i));
        }
        map.add(std::move(region));
    }

    /// Everything that was answered to the datagram.
    std::vector<Bytes> answers(const Bytes& datagram, const vex::Endpoint& from)
    {
        std::vector<Bytes> sent;
        responder.handle(datagram, from, [&](const vex::Endpoint& to, std::span<const std::uint8_t> data) {
            EXPECT_EQ(to, from);
            sent.emplace_back(data.begin(), data.end());
        });
        return sent;
    }
    std::vector<Bytes> answers(const Bytes& datagram) { return answers(datagram, host); }

    /// The one answer; empty when there was none or more than one.
    Bytes ask(const Bytes& datagram, const vex::Endpoint& from)
    {
        const std::vector<Bytes> sent = answers(datagram, from);
        EXPECT_EQ(sent.size(), 1U);
        return sent.size() == 1 ? sent.front() : Bytes{};
    }
    Bytes ask(const Bytes& datagram) { return ask(datagram, host); }

    /// What is answered at this moment to what came before.
    std::vector<Bytes> tick()
    {
        std::vector<Bytes> sent;
        responder.tick([&](const vex::Endpoint&, std::span<const std::uint8_t> data) {
            sent.emplace_back(data.begin(), data.end());
        });
        return sent;
    }

    unsigned next_id() { return ++id_; }
    std::uint32_t read(std::uint32_t address) { return u32_at(ask(read_register(next_id(), address)), 8); }
    unsigned write(std::uint32_t address, std::uint32_t value)
    {
        return status_of(ask(write_register(next_id(), address, value)));
    }
    void take_control() { ASSERT_EQ(write(0x0A00, 2), status::success); }

    const vex::Endpoint host{{0x0A010164}, 50000};
    const vex::Endpoint other{{0x0A010165}, 50000};
    ManualClock clock;
    RecordingHooks hooks;
    int executions = 0;
    vex::virtual_device::GvcpResponder responder;

private:
    unsigned id_ = 0x0FFF;
};
