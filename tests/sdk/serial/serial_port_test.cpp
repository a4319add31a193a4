// PvSerialPortIPEngine and a software camera: bytes, events, openers, and devices that go and come.
#include "sdk/serial/PvSerialPortIPEngine.h"

#include <algorithm>
#include <future>
#include <random>

#include "tests/sdk/serial/camera_fixture.h"

using namespace std::chrono_literals;

namespace {

using serial_test::Bytes;
using serial_test::OtherCamera;

constexpr std::uint32_t long_time = 20'000;

Bytes random_bytes(std::size_t count, std::uint64_t seed)
{
    std::mt19937_64 random(seed);
    Bytes bytes(count);
    std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(random()); });
    return bytes;
}

class EngineSerialPort : public serial_test::CameraTest {
protected:
    EngineSerialPort() : CameraTest(71) {}

    PvResult open(PvIPEngineSerial which = PvIPEngineSerial0) { return port.Open(device.get(), which); }
    PvResult write(const Bytes& bytes)
    {
        return port.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), count);
    }
    PvResult write(const std::string& text) { return write(Bytes(text.begin(), text.end())); }
    /// As many as asked for, however long that takes.
    Bytes read(std::size_t size, std::uint32_t time = long_time)
    {
        Bytes bytes(size);
        result = port.Read(bytes.data(), static_cast<std::uint32_t>(size), count, time);
        bytes.resize(count);
        return bytes;
    }
    std::string line(std::size_t size)
    {
        const Bytes bytes = read(size);
        return {bytes.begin(), bytes.end()};
    }
    bool notifies()
    {
        bool on = false;
        EXPECT_TRUE(device->GetGenParameters()->GetBooleanValue("IPEngineSerial0ReceiveNotification", on).IsOK());
        return on;
    }

    PvSerialPortIPEngine port;
    PvResult result;
    std::uint32_t count = 0;
};

// ---- opening ----

TEST_F(EngineSerialPort, IsWhereTheDescriptionSaysSo)
{
    EXPECT_TRUE(device->IsIPEngine());
    EXPECT_TRUE(PvSerialPortIPEngine::IsSupported(device.get(), PvIPEngineSerial0));
    EXPECT_TRUE(PvSerialPortIPEngine::IsSupported(device.get(), PvIPEngineSerial1));
    EXPECT_TRUE(PvSerialPortIPEngine::IsSupported(device.get(), PvIPEngineSerialBulk0));
    EXPECT_FALSE(PvSerialPortIPEngine::IsSupported(device.get(), PvIPEngineSerialBulk1));  // an I2C bus
    EXPECT_FALSE(PvSerialPortIPEngine::IsSupported(device.get(), PvIPEngineSerialBulk7));
    EXPECT_FALSE(PvSerialPortIPEngine::IsSupported(device.get(), PvIPEngineSerialInvalid));
    EXPECT_FALSE(PvSerialPortIPEngine::IsSupported(nullptr, PvIPEngineSerial0));
    ASSERT_TRUE(device->Disconnect().IsOK());
    EXPECT_FALSE(PvSerialPortIPEngine::IsSupported(device.get(), PvIPEngineSerial0));
}

TEST_F(EngineSerialPort, OpensAndCloses)
{
    EXPECT_FALSE(port.IsOpened());
    EXPECT_TRUE(port.Close().IsOK());
    result = open();
    ASSERT_TRUE(result.IsOK()) << result.description();
    EXPECT_TRUE(port.IsOpened());
    EXPECT_TRUE(notifies());
    EXPECT_TRUE(port.Close().IsOK());
    EXPECT_FALSE(port.IsOpened());
    EXPECT_FALSE(notifies());
    EXPECT_TRUE(open().IsOK());
}

TEST_F(EngineSerialPort, FailsToOpenWithWords)
{
    EXPECT_EQ(port.Open(nullptr, PvIPEngineSerial0).GetCode(), PvResult::InvalidParameter);
    result = open(PvIPEngineSerialInvalid);
    EXPECT_EQ(result.GetCode(), PvResult::InvalidParameter);
    EXPECT_TRUE(says(result, "no port -1")) << result.description();
    result = open(static_cast<PvIPEngineSerial>(10));
    EXPECT_EQ(result.GetCode(), PvResult::InvalidParameter);
    result = open(PvIPEngineSerialBulk7);
    EXPECT_EQ(result.GetCode(), PvResult::NotSupported);
    EXPECT_TRUE(says(result, "Bulk7")) << result.description();
    EXPECT_EQ(open(PvIPEngineSerialBulk1).GetCode(), PvResult::NotSupported);
    ASSERT_TRUE(device->Disconnect().IsOK());
    EXPECT_EQ(open().GetCode(), PvResult::NotConnected);
    connect(PvAccessReadOnly);
    EXPECT_FALSE(open().IsOK());
    EXPECT_FALSE(port.IsOpened());
}

TEST_F(EngineSerialPort, HasOneOpener)
{
    ASSERT_TRUE(open().IsOK());
    EXPECT_EQ(open(PvIPEngineSerial1).GetCode(), PvResult::StateError);
    PvSerialPortIPEngine other;
    result = other.Open(device.get(), PvIPEngineSerial0);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_TRUE(says(result, "a serial port object has it")) << result.description();
    EXPECT_TRUE(other.Open(device.get(), PvIPEngineSerial1).IsOK());
    ASSERT_TRUE(port.Close().IsOK());
    EXPECT_TRUE(other.Close().IsOK());
    EXPECT_TRUE(other.Open(device.get(), PvIPEngineSerial0).IsOK());
}

TEST_F(EngineSerialPort, ThatIsNotOpenSaysSo)
{
    EXPECT_EQ(write(Bytes{1}).GetCode(), PvResult::NotConnected);
    (void)read(1, 0);
    EXPECT_EQ(result.GetCode(), PvResult::NotConnected);
    EXPECT_EQ(port.GetRxBytesReady(count).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(port.FlushRxBuffer().GetCode(), PvResult::NotConnected);
    EXPECT_TRUE(port.GetRxBufferSize(count).IsOK());
    EXPECT_EQ(count, 65'536U);
    EXPECT_TRUE(port.SetRxBufferSize(1000).IsOK());
}

// ---- bytes ----

TEST_F(EngineSerialPort, LoopsBytesBack)
{
    ASSERT_TRUE(open().IsOK());
    const Bytes bytes = random_bytes(300, 1);
    result = write(bytes);
    EXPECT_TRUE(result.IsOK()) << result.description();
    EXPECT_EQ(count, 300U);
    EXPECT_EQ(read(300), bytes);
    EXPECT_TRUE(result.IsOK()) << result.description();
}

TEST_F(EngineSerialPort, WritesAndReadsNothing)
{
    ASSERT_TRUE(open().IsOK());
    EXPECT_TRUE(port.Write(nullptr, 0, count).IsOK());
    EXPECT_TRUE(port.Read(nullptr, 0, count, 0).IsOK());
    EXPECT_EQ(port.Write(nullptr, 1, count).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(port.Read(nullptr, 1, count, 0).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(read(1, 0), Bytes());
    EXPECT_EQ(result.GetCode(), PvResult::Timeout);
}

TEST_F(EngineSerialPort, TalksWithACommandLineDevice)
{
    ASSERT_TRUE(open(PvIPEngineSerial1).IsOK());
    ASSERT_TRUE(write(std::string("id\r")).IsOK());
    EXPECT_EQ(line(19), "SoftCam SC-SERIAL\r\n");
    ASSERT_TRUE(write(std::string("temp\r")).IsOK());
    EXPECT_EQ(line(11), "temp 38.5\r\n");
}

TEST_F(EngineSerialPort, HearsOfBytesThatComeLater)
{
    ASSERT_TRUE(open(PvIPEngineSerialBulk0).IsOK());
    set("IPEngineBulk0BaudRate", 9600);
    const Bytes bytes = random_bytes(20, 2);
    const auto begin = std::chrono::steady_clock::now();
    ASSERT_TRUE(write(bytes).IsOK());
    EXPECT_EQ(read(20), bytes);
    // the last of 20 is out after 20 characters of 1.04 ms, and in after another
    EXPECT_GE(std::chrono::steady_clock::now() - begin, 21ms);
}

TEST_F(EngineSerialPort, MovesManyBytesAtOnceBothWays)
{
    constexpr std::uint64_t seed = 3;
    SCOPED_TRACE("seed " + std::to_string(seed));
    ASSERT_TRUE(open().IsOK());
    const Bytes bytes = random_bytes(200'000, seed);
    auto writer = std::async(std::launch::async, [&] {
        std::uint32_t written = 0;
        const PvResult done = port.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), written);
        EXPECT_TRUE(done.IsOK()) << done.description();
        return written;
    });
    EXPECT_TRUE(read(bytes.size()) == bytes);
    EXPECT_EQ(writer.get(), bytes.size());
    EXPECT_EQ(port.dropped_bytes(), 0U);
}

TEST_F(EngineSerialPort, LosesNothingToALossyControlChannel)
{
    constexpr std::uint64_t seed = 4;
    SCOPED_TRACE("seed " + std::to_string(seed));
    ASSERT_TRUE(open().IsOK());
    device->GetGenLink()->SetIntegerValue("HeartbeatTimeout", 5000);
    camera->set_control_faults({.seed = seed, .lost = 10});
    const Bytes bytes = random_bytes(20'000, seed);
    auto writer = std::async(std::launch::async, [&] {
        std::uint32_t written = 0;
        const PvResult done = port.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), written);
        EXPECT_TRUE(done.IsOK()) << done.description();
    });
    EXPECT_TRUE(read(bytes.size(), 60'000) == bytes);
    writer.get();
    EXPECT_GT(camera->fault_statistics().lost, 0U);
}

TEST_F(EngineSerialPort, DiscardsWhatCameBeforeItWasOpened)
{
    ASSERT_TRUE(open().IsOK());
    ASSERT_TRUE(write(random_bytes(10, 5)).IsOK());
    ASSERT_TRUE(await([&] { return port.GetRxBytesReady(count).IsOK() && count == 10; }));
    ASSERT_TRUE(port.Close().IsOK());
    ASSERT_TRUE(open().IsOK());
    EXPECT_EQ(read(1, 0), Bytes());
    EXPECT_EQ(get("IPEngineSerial0ReceiveCount"), 0);
}

TEST_F(EngineSerialPort, Flushes)
{
    ASSERT_TRUE(open().IsOK());
    ASSERT_TRUE(write(random_bytes(10, 6)).IsOK());
    ASSERT_TRUE(await([&] { return port.GetRxBytesReady(count).IsOK() && count == 10; }));
    EXPECT_TRUE(port.FlushRxBuffer().IsOK());
    EXPECT_TRUE(port.GetRxBytesReady(count).IsOK());
    EXPECT_EQ(count, 0U);
}

TEST_F(EngineSerialPort, FlushesWhatTheDeviceHolds)
{
    ASSERT_TRUE(port.SetRxBufferSize(10).IsOK());
    ASSERT_TRUE(open().IsOK());
    ASSERT_TRUE(write(random_bytes(100, 12)).IsOK());
    ASSERT_TRUE(await([&] { return port.GetRxBytesReady(count).IsOK() && count == 10; }));
    EXPECT_TRUE(port.FlushRxBuffer().IsOK());
    EXPECT_EQ(get("IPEngineSerial0ReceiveCount"), 0);
    EXPECT_EQ(read(1, 0), Bytes());
}

TEST_F(EngineSerialPort, LeavesBytesWithTheDeviceWhileItsBufferIsFull)
{
    ASSERT_TRUE(port.SetRxBufferSize(10).IsOK());
    ASSERT_TRUE(open().IsOK());
    const Bytes bytes = random_bytes(1000, 7);
    ASSERT_TRUE(write(bytes).IsOK());
    EXPECT_TRUE(read(1000) == bytes);
    EXPECT_EQ(port.dropped_bytes(), 0U);
}

TEST_F(EngineSerialPort, FailsToWriteWhatTheDeviceDoesNotTake)
{
    ASSERT_TRUE(port.SetRxBufferSize(10).IsOK());
    ASSERT_TRUE(open().IsOK());
    set("IPEngineSerial0BaudRate", 921'600);
    result = write(random_bytes(200'000, 11));  // more than both sides hold when nobody reads
    EXPECT_EQ(result.GetCode(), PvResult::Timeout);
    EXPECT_TRUE(says(result, "of 200000 bytes")) << result.description();
    EXPECT_GT(count, 65'536U);
    EXPECT_LT(count, 200'000U);
}

TEST_F(EngineSerialPort, CountsWhatTheDeviceLost)
{
    camera->set_side_channel_faults({.uart = {.overruns = 500, .seed = 8}});
    ASSERT_TRUE(open().IsOK());
    ASSERT_TRUE(write(random_bytes(500, 8)).IsOK());
    ASSERT_TRUE(await([&] { return port.GetRxBytesReady(count).IsOK() && count + port.dropped_bytes() == 500; }));
    EXPECT_GT(port.dropped_bytes(), 100U);
}

TEST_F(EngineSerialPort, ReadsWithoutEvents)
{
    ASSERT_TRUE(open().IsOK());
    ASSERT_TRUE(device->GetGenParameters()->SetBooleanValue("IPEngineSerial0ReceiveNotification", false).IsOK());
    const Bytes bytes = random_bytes(10, 9);
    ASSERT_TRUE(write(bytes).IsOK());
    EXPECT_EQ(read(10), bytes);
}

// ---- closing and losing ----

TEST_F(EngineSerialPort, EndsAReadWhenItIsClosed)
{
    ASSERT_TRUE(open().IsOK());
    auto reader = std::async(std::launch::async, [&] {
        std::uint8_t byte = 0;
        std::uint32_t read = 0;
        return port.Read(&byte, 1, read, 60'000).GetCode();
    });
    ASSERT_TRUE(port.Close().IsOK());
    const auto code = reader.get();
    EXPECT_TRUE(code == PvResult::Aborted || code == PvResult::NotConnected) << code;  // it may begin after that
}

TEST_F(EngineSerialPort, FailsWhenTheDeviceIsDisconnectedAndGoesOnLater)
{
    ASSERT_TRUE(open().IsOK());
    ASSERT_TRUE(device->Disconnect().IsOK());
    EXPECT_FALSE(port.IsOpened());
    EXPECT_EQ(write(Bytes{1}).GetCode(), PvResult::NotConnected);
    (void)read(1, 60'000);  // ends as soon as it is noticed
    EXPECT_EQ(result.GetCode(), PvResult::NotConnected);
    connect();
    ASSERT_TRUE(await([&] { return port.IsOpened(); }));
    ASSERT_TRUE(write(Bytes{1, 2}).IsOK());
    EXPECT_EQ(read(2), (Bytes{1, 2}));
}

TEST_F(EngineSerialPort, KeepsWhatIsWrittenAsSoonAsItIsOpenAgain)
{
    ASSERT_TRUE(open().IsOK());
    ASSERT_TRUE(device->Disconnect().IsOK());
    connect();
    ASSERT_TRUE(await([&] { return port.IsOpened(); }));
    ASSERT_TRUE(write(Bytes{1, 2}).IsOK());
    EXPECT_EQ(read(2), (Bytes{1, 2}));
}

TEST_F(EngineSerialPort, GoesOnWhenTheLinkIsRecovered)
{
    device->GetGenLink()->SetBooleanValue("LinkRecoveryEnabled", true);
    device->GetGenLink()->SetIntegerValue("HeartbeatTimeout", 400);
    ASSERT_TRUE(open().IsOK());
    set("IPEngineSerial0BaudRate", 19'200);
    ASSERT_TRUE(write(Bytes{8, 9}).IsOK());
    EXPECT_EQ(read(2), (Bytes{8, 9}));
    camera->reboot();
    std::int64_t recoveries = 0;
    ASSERT_TRUE(await([&] {
        return device->GetGenLink()->GetIntegerValue("LinkRecoveryCount", recoveries).IsOK() && recoveries == 1;
    }));
    ASSERT_TRUE(await([&] { return port.IsOpened(); }));
    EXPECT_EQ(get("IPEngineSerial0BaudRate"), 19'200);
    result = write(Bytes{1, 2});
    EXPECT_TRUE(result.IsOK()) << result.description();
    EXPECT_EQ(read(2), (Bytes{1, 2}));
}

TEST_F(EngineSerialPort, DoesNotGoOnWithAnotherDevice)
{
    ASSERT_TRUE(open().IsOK());
    ASSERT_TRUE(device->Disconnect().IsOK());
    camera.reset();
    const OtherCamera other(75);
    ASSERT_TRUE(device->Connect(PvString(other.address)).IsOK());
    ASSERT_TRUE(await([&] {
        (void)read(1, 0);
        return says(result, "another device is connected");
    }));
    EXPECT_FALSE(port.IsOpened());
    EXPECT_EQ(write(Bytes{1}).GetCode(), PvResult::NotConnected);
}

TEST_F(EngineSerialPort, OutlivesItsDevice)
{
    ASSERT_TRUE(open().IsOK());
    device.reset();
    EXPECT_FALSE(port.IsOpened());
    EXPECT_EQ(write(Bytes{1}).GetCode(), PvResult::NotConnected);
    EXPECT_TRUE(port.FlushRxBuffer().IsOK());
    EXPECT_TRUE(port.Close().IsOK());
    device = std::make_unique<PvDevice>();
    connect();
    EXPECT_TRUE(open().IsOK());
}

TEST_F(EngineSerialPort, ClosesWhenItIsDestroyed)
{
    {
        PvSerialPortIPEngine other;
        ASSERT_TRUE(other.Open(device.get(), PvIPEngineSerial0).IsOK());
    }
    EXPECT_TRUE(open().IsOK());
}

TEST_F(EngineSerialPort, LetsTheHeartbeatThrough)
{
    device->GetGenLink()->SetIntegerValue("HeartbeatTimeout", 500);
    ASSERT_TRUE(open().IsOK());
    const Bytes bytes = random_bytes(1'000'000, 10);
    auto writer = std::async(std::launch::async, [&] {
        std::uint32_t written = 0;
        return port.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), written).IsOK();
    });
    EXPECT_TRUE(read(bytes.size(), 60'000) == bytes);
    EXPECT_TRUE(writer.get());
    EXPECT_TRUE(device->IsConnected());
    EXPECT_EQ(camera->control_statistics().heartbeat_expired, 0U);
}

}  // namespace
