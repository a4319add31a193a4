// A control channel over a scripted transport and a clock of the test's own.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <string_view>

#include "sdk/control/control_channel.h"
#include "tests/sdk/control/scripted_transport.h"

namespace device_test {

using namespace vex;

inline std::uint16_t id_of(const Bytes& request) { return static_cast<std::uint16_t>(request[6] << 8 | request[7]); }

/// The bytes with the request ID put in.
inline Bytes with_id(Bytes acknowledge, std::uint16_t id)
{
    acknowledge[6] = static_cast<std::uint8_t>(id >> 8);
    acknowledge[7] = static_cast<std::uint8_t>(id);
    return acknowledge;
}

class ControlChannelTest : public testing::Test {
protected:
    /// Answers every request with these bytes, its request ID put in.
    void answer_with(std::string_view bytes, std::chrono::milliseconds delay = {})
    {
        transport.on_send = [this, reply = hex(bytes), delay](const Bytes& request) {
            transport.deliver(with_id(reply, id_of(request)), delay);
        };
    }

    [[nodiscard]] std::chrono::milliseconds elapsed() const
    {
        return std::chrono::duration_cast<std::chrono::milliseconds>(clock.now() - start);
    }

    static std::string text(const control::ControlOutcome& outcome)
    {
        return std::string(to_result(outcome, ScriptedTransport::camera).description());
    }

    ManualClock clock;
    net::Clock::time_point start = clock.now();
    ScriptedTransport transport{clock};
    control::ControlChannel channel{transport, clock};
    std::uint32_t value = 0;
};

}  // namespace device_test
