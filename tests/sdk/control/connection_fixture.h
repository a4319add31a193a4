// A connection over a scripted transport to a raw device, on the test's clock.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <string>
#include <utility>

#include "sdk/control/connection.h"
#include "tests/sdk/control/raw_device.h"
#include "tests/sdk/control/scripted_transport.h"

namespace device_test {

using namespace vex;

inline constexpr Endpoint other_application{{0x7F000001}, 50123};

class ConnectionTest : public testing::Test {
protected:
    static RawCameraOptions sound()
    {
        RawCameraOptions options;
        options.address = ScriptedTransport::camera.address;
        return options;
    }

    RawDevice& start(const RawCameraOptions& options)
    {
        responder = std::make_unique<RawDevice>(options);
        return *responder;
    }

    PvResult open(PvAccessType access)
    {
        auto transport = std::make_unique<ScriptedTransport>(clock);
        transport->on_send = [this, &wire = *transport](const Bytes& request) {
            if (responder) {
                for (Bytes& answer : responder->answers(request, wire.local())) {
                    wire.deliver(std::move(answer), std::chrono::milliseconds(1));
                }
            }
        };
        target.device = ScriptedTransport::camera;
        target.access = access;
        return control::Connection::open(target, {std::chrono::milliseconds(100), 2}, std::move(transport), clock,
                                         connection);
    }

    device_test::ManualClock clock;
    const net::Clock::time_point begin = clock.now();
    std::unique_ptr<RawDevice> responder;
    const std::string name = ScriptedTransport::camera.address.to_string();
    control::ConnectionTarget target;
    std::shared_ptr<control::Connection> connection;
};

}  // namespace device_test
