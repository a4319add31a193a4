// PvIPEngineI2CBus and the memory and the sensor of a software camera.
#include "sdk/serial/PvIPEngineI2CBus.h"

#include "sdk/serial/PvSerialPortIPEngine.h"
#include "sdk/serial/released_buses.h"
#include "tests/sdk/serial/camera_fixture.h"

using namespace std::chrono_literals;

namespace {

using serial_test::Bytes;
using serial_test::OtherCamera;

constexpr std::uint8_t memory = 0xA0;
constexpr std::uint8_t sensor = 0x90;

class EngineI2CBus : public serial_test::CameraTest {
protected:
    EngineI2CBus() : CameraTest(72)
    {
        const PvResult opened = bus.Open(device.get(), PvIPEngineSerialBulk1);
        EXPECT_TRUE(opened.IsOK()) << opened.description();
    }

    PvResult write_from(std::uint8_t slave, std::uint8_t offset, const Bytes& bytes, bool fast = true)
    {
        return bus.IndirectBurstWrite(slave, offset, bytes.data(), static_cast<std::uint32_t>(bytes.size()), fast);
    }
    Bytes read_from(std::uint8_t slave, std::uint8_t offset, std::size_t size, bool combined = true, bool fast = true)
    {
        Bytes bytes(size, 0xEE);
        result =
            bus.IndirectBurstRead(slave, offset, bytes.data(), static_cast<std::uint32_t>(size), count, fast, combined);
        bytes.resize(count);
        return bytes;
    }
    /// As whoever waits for the memory to have stored does.
    void await_stored()
    {
        ASSERT_TRUE(await([&] { return bus.BurstWrite(memory, nullptr, 0, true).IsOK(); }));
    }

    PvIPEngineI2CBus bus;
    PvResult result;
    std::uint32_t count = 77;
};

TEST_F(EngineI2CBus, IsWhereTheDescriptionSaysSo)
{
    EXPECT_TRUE(PvIPEngineI2CBus::IsSupported(device.get(), PvIPEngineSerialBulk1));
    EXPECT_FALSE(PvIPEngineI2CBus::IsSupported(device.get(), PvIPEngineSerial0));
    EXPECT_FALSE(PvIPEngineI2CBus::IsSupported(device.get(), PvIPEngineSerialInvalid));
    EXPECT_FALSE(PvIPEngineI2CBus::IsSupported(nullptr, PvIPEngineSerialBulk1));
}

TEST_F(EngineI2CBus, WritesAndReadsTheMemory)
{
    result = write_from(memory, 0x20, {1, 2, 3, 4});
    ASSERT_TRUE(result.IsOK()) << result.description();
    await_stored();
    EXPECT_EQ(read_from(memory, 0x20, 4), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(read_from(memory, 0x21, 2, false), (Bytes{2, 3}));
    EXPECT_EQ(read_from(memory, 0x22, 2, true, false), (Bytes{3, 4}));
    Bytes next(1);
    EXPECT_TRUE(bus.BurstRead(memory, next.data(), 1, count, true).IsOK());
    EXPECT_EQ(count, 1U);
    EXPECT_EQ(next, Bytes{0xFF});  // behind what was read
}

TEST_F(EngineI2CBus, TellsOfNoAcknowledgeWhileTheMemoryStores)
{
    // seen at least once, unless this thread stood still for the 5 ms that it takes
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(write_from(memory, 0x30, {1}).IsOK());
    const PvResult busy = bus.BurstWrite(memory, nullptr, 0, true);
    if (std::chrono::steady_clock::now() - begin < 5ms) {
        EXPECT_EQ(busy.GetCode(), PvResult::NotFound);
    }
    await_stored();
}

TEST_F(EngineI2CBus, TakesAddressesAsTheyAreOnTheWire)
{
    EXPECT_EQ(read_from(sensor, 2, 2), (Bytes{0x4B, 0x00}));
    EXPECT_EQ(read_from(sensor | 1, 2, 2), (Bytes{0x4B, 0x00}));
    EXPECT_EQ(read_from(sensor >> 1, 2, 2), Bytes());
    EXPECT_EQ(result.GetCode(), PvResult::NotFound);
    EXPECT_TRUE(says(result, "0x48")) << result.description();
}

TEST_F(EngineI2CBus, KeepsTheBusForACombinedTransferOfTwoCalls)
{
    const std::uint8_t offset = 3;
    ASSERT_TRUE(bus.MasterTransmitter(sensor, &offset, 1, true, false).IsOK());
    Bytes bytes(2);
    ASSERT_TRUE(bus.MasterReceiverAfterFirstByte(sensor, bytes.data(), 2, count, true, true).IsOK());
    EXPECT_EQ(bytes, (Bytes{0x50, 0x00}));
}

TEST_F(EngineI2CBus, AsksTheDeviceForWhatTheCallSays)
{
    const auto command = [&] {
        PvString name;
        EXPECT_TRUE(device->GetGenParameters()->GetEnumValue("IPEngineBulk1I2CCommand", name).IsOK());
        return name.str();
    };
    const auto is_fast = [&] {
        PvString name;
        EXPECT_TRUE(device->GetGenParameters()->GetEnumValue("IPEngineBulk1I2CSpeed", name).IsOK());
        return name == PvString("Fast");
    };
    const auto stops = [&] {
        bool stop = false;
        EXPECT_TRUE(device->GetGenParameters()->GetBooleanValue("IPEngineBulk1I2CStop", stop).IsOK());
        return stop;
    };
    (void)read_from(sensor, 2, 2, true, true);
    EXPECT_EQ(command(), "ReceiveFromOffsetCombined");
    EXPECT_TRUE(is_fast());
    EXPECT_TRUE(stops());
    EXPECT_EQ(get("IPEngineBulk1I2COffset"), 2);
    (void)read_from(sensor, 0, 2, false, false);
    EXPECT_EQ(command(), "ReceiveFromOffset");
    EXPECT_FALSE(is_fast());
    EXPECT_EQ(get("IPEngineBulk1I2COffset"), 0);
    const std::uint8_t offset = 3;
    EXPECT_TRUE(bus.MasterTransmitter(sensor, &offset, 1, true, false).IsOK());
    EXPECT_EQ(command(), "Transmit");
    EXPECT_FALSE(stops());
}

TEST_F(EngineI2CBus, MakesTheLongestTransferAndNoLongerOne)
{
    Bytes bytes(1024);
    EXPECT_TRUE(bus.BurstRead(memory, bytes.data(), 1024, count, true).IsOK());
    EXPECT_EQ(count, 1024U);
    bytes.resize(1025);
    result = bus.BurstRead(memory, bytes.data(), 1025, count, true);
    EXPECT_EQ(result.GetCode(), PvResult::InvalidParameter);
    EXPECT_TRUE(says(result, "1024")) << result.description();
    EXPECT_EQ(count, 0U);
}

TEST_F(EngineI2CBus, MakesTransfersOfNoBytes)
{
    EXPECT_TRUE(bus.BurstWrite(memory, nullptr, 0, false).IsOK());
    EXPECT_TRUE(bus.BurstRead(memory, nullptr, 0, count, false).IsOK());
    EXPECT_EQ(count, 0U);
    EXPECT_EQ(bus.BurstWrite(0x20, nullptr, 0, false).GetCode(), PvResult::NotFound);
    EXPECT_EQ(bus.BurstWrite(memory, nullptr, 1, false).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(bus.BurstRead(memory, nullptr, 1, count, false).GetCode(), PvResult::InvalidParameter);
}

TEST_F(EngineI2CBus, ClearsABusThatIsStuck)
{
    camera->set_side_channel_faults({.i2c = {.stuck = 1000, .seed = 1}});
    result = bus.BurstWrite(memory, nullptr, 0, true);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    camera->set_side_channel_faults({});
    EXPECT_TRUE(bus.BurstWrite(memory, nullptr, 0, true).IsOK());
}

TEST_F(EngineI2CBus, HasOneOpener)
{
    result = bus.Open(device.get(), PvIPEngineSerialBulk1);
    EXPECT_TRUE(says(result, "This I2C bus object")) << result.description();
    PvIPEngineI2CBus other;
    result = other.Open(device.get(), PvIPEngineSerialBulk1);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_TRUE(says(result, "an I2C bus object has it")) << result.description();
    EXPECT_TRUE(bus.Close().IsOK());
    EXPECT_FALSE(bus.IsOpened());
    EXPECT_TRUE(other.Open(device.get(), PvIPEngineSerialBulk1).IsOK());
    EXPECT_TRUE(other.Close().IsOK());
}

TEST_F(EngineI2CBus, FailsToOpenWithWords)
{
    PvIPEngineI2CBus other;
    EXPECT_EQ(other.Open(nullptr, PvIPEngineSerialBulk1).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(other.Open(device.get(), PvIPEngineSerialInvalid).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(other.Open(device.get(), PvIPEngineSerial0).GetCode(), PvResult::NotSupported);
    EXPECT_EQ(other.BurstWrite(memory, nullptr, 0, true).GetCode(), PvResult::NotConnected);
    EXPECT_TRUE(other.Close().IsOK());
}

TEST_F(EngineI2CBus, WorksAgainWhenItsDeviceIsConnectedAgain)
{
    ASSERT_TRUE(device->Disconnect().IsOK());
    EXPECT_FALSE(bus.IsOpened());
    EXPECT_EQ(bus.BurstWrite(memory, nullptr, 0, true).GetCode(), PvResult::NotConnected);
    connect();
    EXPECT_TRUE(bus.IsOpened());
    EXPECT_TRUE(bus.BurstWrite(memory, nullptr, 0, true).IsOK());
}

TEST_F(EngineI2CBus, DoesNotGoOnWithAnotherDevice)
{
    ASSERT_TRUE(device->Disconnect().IsOK());
    camera.reset();
    const OtherCamera other(76);
    ASSERT_TRUE(device->Connect(PvString(other.address)).IsOK());
    EXPECT_FALSE(bus.IsOpened());
    EXPECT_EQ(bus.BurstWrite(memory, nullptr, 0, true).GetCode(), PvResult::NotConnected);
}

TEST_F(EngineI2CBus, OutlivesItsDevice)
{
    device.reset();
    EXPECT_FALSE(bus.IsOpened());
    EXPECT_EQ(bus.BurstWrite(memory, nullptr, 0, true).GetCode(), PvResult::NotConnected);
    EXPECT_TRUE(bus.Close().IsOK());
}

TEST_F(EngineI2CBus, StaysOpenWhenItsOwnerReleasesIt)
{
    const std::size_t before = vex::serial::ReleasedBuses::count();
    ASSERT_TRUE(bus.Close().IsOK());
    vex::serial::ReleasedBuses::keep(std::make_unique<PvIPEngineI2CBus>());  // closed: nothing to keep
    EXPECT_EQ(vex::serial::ReleasedBuses::count(), before);
    auto left = std::make_unique<PvIPEngineI2CBus>();
    ASSERT_TRUE(left->Open(device.get(), PvIPEngineSerialBulk1).IsOK());
    vex::serial::ReleasedBuses::keep(std::move(left));
    EXPECT_EQ(vex::serial::ReleasedBuses::count(), before + 1);
    result = bus.Open(device.get(), PvIPEngineSerialBulk1);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_TRUE(says(result, "released without being closed")) << result.description();
}

}  // namespace
