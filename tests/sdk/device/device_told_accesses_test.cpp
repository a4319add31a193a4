// The accesses of Connect, Disconnect and the negotiation of a packet size, as the command link notifications tell
// them.
#include <algorithm>
#include <thread>

#include "tests/sdk/device/device_fixture.h"
#include "tests/sdk/net/wine.h"

namespace {

using device_test::Bytes;
using device_test::DeviceSink;
using device_test::DeviceTest;
using device_test::hex;
using Access = DeviceSink::Access;
using Accesses = std::vector<Access>;

constexpr std::int64_t privilege = 0x0A00;
constexpr std::int64_t packet_size = 0x0D04;

class DeviceToldAccesses : public DeviceTest {
protected:
    DeviceToldAccesses() { device->RegisterEventSink(&sink); }

    static bool has(const Accesses& told, const Access& access)
    {
        return std::find(told.begin(), told.end(), access) != told.end();
    }
    static bool has_write(const Accesses& told)
    {
        return std::any_of(told.begin(), told.end(), [](const Access& access) { return access.write; });
    }
};

TEST_F(DeviceToldAccesses, OfConnecting)
{
    start();
    const auto thread = std::this_thread::get_id();
    bool elsewhere = false;
    bool connected = true;
    sink.on_access = [&] {
        elsewhere = elsewhere || std::this_thread::get_id() != thread;
        connected = connected && device->IsConnected();
    };
    ASSERT_TRUE(connect().IsOK());
    EXPECT_FALSE(elsewhere);
    EXPECT_TRUE(connected) << "they are told when the device is connected";

    const Accesses told = sink.take_accesses();
    ASSERT_GE(told.size(), 4U);
    EXPECT_EQ(told.front(), (Access{false, 0x0000, hex("00020000")})) << "the version is what is read first";
    EXPECT_TRUE(has(told, {true, privilege, hex("00000002")}));
    const std::string& text = camera->options().description;
    EXPECT_TRUE(has(told, {false, 0x10000, Bytes(text.begin(), text.end())})) << "the description, as one access";
    // the heartbeat goes on, untold
    const std::int64_t beats = link_value("HeartbeatCount");
    while (link_value("HeartbeatCount") < beats + 2) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(sink.take_accesses().empty());
}

TEST_F(DeviceToldAccesses, OfConnectingThatFails)
{
    start();
    PvDevice other;
    ASSERT_TRUE(other.Connect(PvString(name())).IsOK());
    bool connected = false;
    sink.on_access = [&] { connected = connected || device->IsConnected(); };
    EXPECT_EQ(connect().GetCode(), PvResult::StateError);
    EXPECT_FALSE(connected);
    const Accesses told = sink.take_accesses();
    EXPECT_TRUE(has(told, {false, privilege, hex("00000002")}));
    EXPECT_FALSE(has_write(told));
    EXPECT_TRUE(other.Disconnect().IsOK());
}

TEST_F(DeviceToldAccesses, OfDisconnecting)
{
    start_and_connect();
    sink.take_accesses();
    bool connected = false;
    sink.on_access = [&] { connected = connected || device->IsConnected(); };
    EXPECT_TRUE(device->Disconnect().IsOK());
    EXPECT_FALSE(connected);
    EXPECT_EQ(sink.take_accesses(), (Accesses{{true, privilege, hex("00000000")}}));
    EXPECT_TRUE(device->Disconnect().IsOK());
    EXPECT_TRUE(sink.take_accesses().empty());
}

TEST_F(DeviceToldAccesses, OfTheNegotiationOfThePacketSize)
{
    start_and_connect();
    sink.take_accesses();
    ASSERT_TRUE(device->NegotiatePacketSize().IsOK());
    const Accesses told = sink.take_accesses();
    const auto is_test = [](const Access& access) {
        return access.write && access.address == packet_size && (access.bytes[0] & 0x80) != 0;
    };
    EXPECT_TRUE(std::any_of(told.begin(), told.end(), is_test));
    Accesses sizes;
    std::copy_if(told.begin(), told.end(), std::back_inserter(sizes),
                 [](const Access& access) { return access.write && access.address == packet_size; });
    ASSERT_FALSE(sizes.empty());
    EXPECT_EQ(sizes.back().bytes, hex("00001FA4")) << "8100, for good";
}

TEST_F(DeviceToldAccesses, OfAStreamDestinationThatIsRefused)
{
    start_and_connect();
    sink.take_accesses();
    camera->intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x82) {
            return std::vector<Bytes>{device_test::RawCamera::ack(request, 0x8005, {})};
        }
        return std::nullopt;
    });
    EXPECT_TRUE(device->SetStreamDestination("127.0.0.1", 50000).IsFailure());
    EXPECT_EQ(sink.take_accesses(), (Accesses{{false, 0x0D00, hex("00000000")}})) << "what was read before";
}

TEST_F(DeviceToldAccesses, CanNeitherConnectNorDisconnect)
{
    start();
    std::vector<PvResult::Code> codes;
    sink.on_access = [&] {
        codes.push_back(device->Disconnect().GetCode());
        codes.push_back(device->Connect(PvString(name())).GetCode());
    };
    ASSERT_TRUE(connect().IsOK());
    EXPECT_TRUE(device->Disconnect().IsOK());
    EXPECT_FALSE(codes.empty());
    EXPECT_EQ(std::count(codes.begin(), codes.end(), PvResult::StateError), static_cast<long>(codes.size()));
}

TEST_F(DeviceToldAccesses, LetOtherThreadsConnectAndDisconnectMeanwhile)
{
    start();
    bool once = true;
    sink.on_access = [&] {
        if (std::exchange(once, false)) {
            std::thread([&] {
                EXPECT_TRUE(device->Disconnect().IsOK());
                EXPECT_TRUE(connect().IsOK());
            }).join();
        }
    };
    EXPECT_TRUE(connect().IsOK());
    EXPECT_TRUE(device->IsConnected());
    once = true;
    EXPECT_TRUE(device->Disconnect().IsOK());
    EXPECT_TRUE(device->IsConnected()) << "the other thread's connection";
}

TEST_F(DeviceToldAccesses, MayReleaseTheDeviceThatConnects)
{
    start();
    sink.on_access = [&] { device.reset(); };
    PvDevice* const connecting = device.get();
    EXPECT_TRUE(connecting->Connect(PvString(name())).IsOK());
    EXPECT_EQ(sink.take_accesses().size(), 1U);
    EXPECT_EQ(camera->reg(privilege), 0U);
}

TEST_F(DeviceToldAccesses, MayReleaseTheDeviceThatDisconnects)
{
    start_and_connect();
    sink.take_accesses();
    sink.on_access = [&] { device.reset(); };
    PvDevice* const disconnecting = device.get();
    EXPECT_TRUE(disconnecting->Disconnect().IsOK());
    EXPECT_EQ(sink.take_accesses().size(), 1U);
}

TEST_F(DeviceToldAccesses, OfAnotherDeviceUsedInTheNotificationAreItsOwn)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    start();
    auto options = sound();
    options.address = device_test::loopback(37);
    options.mac[5] = 0x25;
    device_test::RawCamera second(options);
    PvDevice other;
    DeviceSink its_sink;
    other.RegisterEventSink(&its_sink);
    ASSERT_TRUE(other.Connect(PvString(options.address.to_string())).IsOK());
    its_sink.take_accesses();
    bool once = true;
    sink.on_access = [&] {
        std::uint32_t value = 0;
        if (std::exchange(once, false)) {
            EXPECT_TRUE(other.ReadRegister(0xA000, value).IsOK());
        }
    };
    ASSERT_TRUE(connect().IsOK());
    EXPECT_EQ(its_sink.take_accesses(), (Accesses{{false, 0xA000, hex("11223344")}}));
    EXPECT_FALSE(has(sink.take_accesses(), {false, 0xA000, hex("11223344")}));
    other.UnregisterEventSink(&its_sink);
}

}  // namespace
