// GenCP through a serial port of a camera: the simulated serial camera hangs on the software camera's UART.
#include <gtest/gtest.h>

#include <array>
#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "sdk/bridge/PvSerialBridge.h"
#include "sdk/device/PvDevice.h"
#include "sdk/genicp/PvGenParameterArrayCL.h"
#include "sdk/genicp/connection.h"
#include "sdk/genicp/descriptions.h"
#include "sdk/serial/PvSerialPortIPEngine.h"
#include "sdk/wire/bytes.h"
#include "tests/sdk/control/raw_camera.h"
#include "tests/sdk/genicp/gencp_on_uart.h"
#include "tools/softcam/camera.h"

using namespace vex;

namespace {

/// A camera's port as what a connection goes over. Its rate is a feature of the camera.
class EngineLink final : public genicp::SerialLink {
public:
    explicit EngineLink(PvDevice& device)
    {
        const PvResult opened = port_.Open(&device, PvIPEngineSerial1);
        EXPECT_TRUE(opened.IsOK()) << opened.description();
    }
    [[nodiscard]] PvSerialPort& port() noexcept override { return port_; }
    [[nodiscard]] PvResult set_baud_rate(std::uint32_t /*baud_rate*/) override { return PvResult::OK; }

private:
    PvSerialPortIPEngine port_;
};

class GencpOnEnginePort : public testing::Test {
protected:
    GencpOnEnginePort() : address_(device_test::loopback(93).to_string())
    {
        softcam::CameraOptions options;
        options.adapter = address_;
        options.serial1_device = [] { return std::make_unique<genicp_test::GencpOnUart>(); };
        camera = std::make_unique<softcam::Camera>(options);
        camera->start();
        const PvResult connected = device.Connect(PvString(address_));
        EXPECT_TRUE(connected.IsOK()) << connected.description();
    }
    void connect(std::chrono::milliseconds answer_timeout = std::chrono::seconds(5))
    {
        auto link = std::make_unique<EngineLink>(device);
        genicp::Client client(link->port(), net::Clock::steady(), genicp::some_request_id());
        genicp::DeviceFacts facts;
        const PvResult read = genicp::read_device_facts(client, "Serial1", facts);
        ASSERT_TRUE(read.IsOK()) << read.description();
        EXPECT_EQ(facts.serial_number, "SL-0001");
        genicp::Timing timing;
        timing.answer_timeout = answer_timeout;
        timing.attempts = 20;
        const PvResult opened =
            genicp::Connection::open(std::move(link), "Serial1", facts, timing, net::Clock::steady(), connection);
        ASSERT_TRUE(opened.IsOK()) << opened.description();
    }
    void write_and_read_back(std::uint32_t value)
    {
        std::array<std::uint8_t, 4> bytes{};
        wire::store_be32(bytes.data(), value);
        const PvResult written = connection->write(softlink::address::width, bytes);
        ASSERT_TRUE(written.IsOK()) << written.description();
        bytes = {};
        ASSERT_TRUE(connection->read(softlink::address::width, bytes).IsOK());
        EXPECT_EQ(wire::load_be32(bytes.data()), value);
    }

    const std::string address_;
    std::unique_ptr<softcam::Camera> camera;
    PvDevice device;
    std::shared_ptr<genicp::Connection> connection;
};

}  // namespace

TEST_F(GencpOnEnginePort, ReadsAndWritesMemoryAndTheDescription)
{
    connect();
    write_and_read_back(800);
    std::string plain;
    std::string packed;
    ASSERT_TRUE(genicp::read_description(connection.get(), "", "Device:0", plain).IsOK());
    ASSERT_TRUE(genicp::read_description(connection.get(), "", "Device:1", packed).IsOK());
    EXPECT_EQ(plain, packed);
    EXPECT_EQ(connection->client().statistics().retries, 0U);
}

TEST_F(GencpOnEnginePort, ComesThroughLostCharacters)
{
    connect(std::chrono::milliseconds(50));
    softcam::SideChannelFaults faults;
    faults.uart.lost = 5;
    faults.uart.seed = 20;
    camera->set_side_channel_faults(faults);
    for (std::uint32_t value = 16; value <= 16 * 50; value += 16) {
        ASSERT_NO_FATAL_FAILURE(write_and_read_back(value));
    }
    EXPECT_GT(connection->client().statistics().retries, 0U);
}

TEST_F(GencpOnEnginePort, CameraLinkArraysReachItByABridge)
{
    PvSerialBridge bridge;
    const PvResult started = bridge.Start("tcp:0", &device, PvIPEngineSerial1);
    ASSERT_TRUE(started.IsOK()) << started.description();
    PvGenParameterArrayCL array;
    ASSERT_TRUE(array.SetSerialTimeout(5000).IsOK());
    for (int round = 0; round < 2; ++round) {
        const PvResult connected = array.Connect(bridge.GetName(), "GenCP");
        ASSERT_TRUE(connected.IsOK()) << connected.description();
        EXPECT_EQ(array.GetDeviceID(), PvString("GenCP:9600:Vex:SoftLink:SL-0001"));
        const PvResult built = array.Build("Device");
        ASSERT_TRUE(built.IsOK()) << built.description();
        ASSERT_TRUE(array.SetIntegerValue("Width", 800).IsOK());
        array.InvalidateCache();
        std::int64_t width = 0;
        ASSERT_TRUE(array.GetIntegerValue("Width", width).IsOK());
        EXPECT_EQ(width, 800);
        ASSERT_TRUE(bridge.Stop().IsOK());
        array.InvalidateCache();
        EXPECT_EQ(array.GetIntegerValue("Width", width).GetCode(), PvResult::NotConnected);
        ASSERT_TRUE(bridge.Start("tcp:0", &device, PvIPEngineSerial1).IsOK());
    }
    EXPECT_EQ(bridge.GetBytesDropped(), 0U);
}

TEST_F(GencpOnEnginePort, EndsWithTheDevice)
{
    connect();
    device.Disconnect();
    std::array<std::uint8_t, 4> bytes{};
    EXPECT_EQ(connection->read(softlink::address::width, bytes).GetCode(), PvResult::NotConnected);
    EXPECT_TRUE(connection->is_lost());
}
