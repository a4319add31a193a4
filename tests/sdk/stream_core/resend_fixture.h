// An assembler that asks for missing packets, and a test that plays the device.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <utility>
#include <vector>

#include "tests/sdk/stream_core/assembler_fixture.h"

namespace assembly {

class AssemblerResend : public Assembly {
protected:
    AssemblerResend()
    {
        settings.resend_packet_enable = true;
        apply_settings();
    }

    static std::vector<Bytes> block(std::uint64_t id, std::uint16_t status = 0)
    {
        return packets::image_block({.id = id, .status = status}, image_8x8, packets::picture(64, id), stride, id);
    }
    static std::vector<Bytes> without(std::vector<Bytes> packets, std::size_t first, std::size_t count = 1)
    {
        const auto at = packets.begin() + static_cast<std::ptrdiff_t>(first);
        packets.erase(at, at + static_cast<std::ptrdiff_t>(count));
        return packets;
    }
    void answer(std::uint64_t id, std::uint32_t packet, std::uint16_t status)
    {
        receive(packets::header({.id = id, .status = status}, 3, packet));
    }
    /// First and last packet of each request, oldest first; forgets them.
    Ranges requests()
    {
        Ranges out;
        for (const vex::wire::gvcp::PacketResend& request : std::exchange(port.requests, {})) {
            out.emplace_back(request.first_packet, request.last_packet);
        }
        return out;
    }
    [[nodiscard]] std::vector<PvResult::Code> results() const
    {
        std::vector<PvResult::Code> out;
        for (const Delivered& delivered : port.delivered) {
            out.push_back(delivered.result());
        }
        return out;
    }
    void expect_exact(std::size_t index) const
    {
        const Delivered& delivered = port.delivered.at(index);
        EXPECT_EQ(delivered.result(), PvResult::OK);
        EXPECT_EQ(delivered.data(64), packets::picture(64, delivered.id()));
    }

    /// Until the last of the requests for a packet has been waited for in vain.
    void pass_all_requests()
    {
        for (std::uint32_t i = 0; i <= settings.maximum_resend_request_retry_by_packet; ++i) {
            pass(timeout * (1 << i));
        }
    }

    static constexpr std::uint16_t unavailable = 0x800C;
    static constexpr std::uint16_t not_yet = 0x8010;
    static constexpr std::uint16_t and_previous_gone = 0x8011;
    const vex::net::Clock::duration delay = std::chrono::microseconds(settings.resend_delay_us);
    const vex::net::Clock::duration timeout = std::chrono::milliseconds(settings.resend_request_timeout_ms);
};

}  // namespace assembly
