// The serial port and the I2C bus of a virtual device, driven as those of any camera.
#include "sdk/virtualdevice/PvVirtualDevice.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "sdk/device/PvDevice.h"
#include "sdk/serial/PvIPEngineI2CBus.h"
#include "sdk/serial/PvSerialPortIPEngine.h"
#include "tests/sdk/control/raw_camera.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t memory = 0xA0;
constexpr std::uint8_t sensor = 0x90;
constexpr std::uint32_t long_time = 20'000;

class VirtualDevicePorts : public testing::Test {
protected:
    VirtualDevicePorts()
    {
        const std::string address = device_test::loopback(74).to_string();
        const PvResult started = camera.StartListening(PvString(address));
        EXPECT_TRUE(started.IsOK()) << started.description();
        const PvResult connected = device.Connect(PvString(address), PvAccessControl);
        EXPECT_TRUE(connected.IsOK()) << connected.description();
    }

    PvVirtualDevice camera;
    PvDevice device;
};

TEST_F(VirtualDevicePorts, AreWhereTheDescriptionSaysSo)
{
    EXPECT_TRUE(PvSerialPortIPEngine::IsSupported(&device, PvIPEngineSerial0));
    EXPECT_FALSE(PvSerialPortIPEngine::IsSupported(&device, PvIPEngineSerial1));
    EXPECT_FALSE(PvSerialPortIPEngine::IsSupported(&device, PvIPEngineSerialBulk0));
    EXPECT_TRUE(PvIPEngineI2CBus::IsSupported(&device, PvIPEngineSerialBulk0));
    EXPECT_FALSE(PvIPEngineI2CBus::IsSupported(&device, PvIPEngineSerial0));
}

TEST_F(VirtualDevicePorts, LoopBytesBackWithoutEvents)
{
    PvSerialPortIPEngine port;
    ASSERT_TRUE(port.Open(&device, PvIPEngineSerial0).IsOK());
    const Bytes sent = {'h', 'e', 'l', 'l', 'o'};
    std::uint32_t count = 0;
    ASSERT_TRUE(port.Write(sent.data(), 5, count).IsOK());
    EXPECT_EQ(count, 5U);
    Bytes received(5);
    ASSERT_TRUE(port.Read(received.data(), 5, count, long_time).IsOK());
    EXPECT_EQ(received, sent);
}

TEST_F(VirtualDevicePorts, ReachAMemoryAndASensor)
{
    PvIPEngineI2CBus bus;
    ASSERT_TRUE(bus.Open(&device, PvIPEngineSerialBulk0).IsOK());
    const Bytes sent = {1, 2, 3, 4};
    ASSERT_TRUE(bus.IndirectBurstWrite(memory, 0x10, sent.data(), 4, true).IsOK());
    // it acknowledges nothing while it stores
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(long_time);
    while (!bus.BurstWrite(memory, nullptr, 0, true).IsOK() && std::chrono::steady_clock::now() < end) {
        std::this_thread::yield();
    }
    Bytes received(4);
    std::uint32_t count = 0;
    ASSERT_TRUE(bus.IndirectBurstRead(memory, 0x10, received.data(), 4, count, false, true).IsOK());
    EXPECT_EQ(count, 4U);
    EXPECT_EQ(received, sent);
    EXPECT_TRUE(bus.IndirectBurstRead(sensor, 0, received.data(), 2, count, true, true).IsOK());
    EXPECT_EQ(bus.BurstWrite(0x20, sent.data(), 1, true).GetCode(), PvResult::NotFound);
}

}  // namespace
