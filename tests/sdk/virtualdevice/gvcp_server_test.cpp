// Devices on real sockets of the loopback network. The bytes are literal, as in the tests without network.
#include "sdk/virtualdevice/gvcp_server.h"

#include <system_error>

#include "tests/sdk/net/wine.h"
#include "tests/sdk/virtualdevice/host_socket.h"
#include "tests/sdk/virtualdevice/responder_fixture.h"

using namespace vex;

namespace {

const char* const first_address = device_address("127.0.0.22");
constexpr const char* second_address = "127.0.0.23";
constexpr const char* third_address = "127.0.0.24";

const Bytes discovery = bytes_of({0x42, 0x11, 0x00, 0x02, 0x00, 0x00, 0x00, 0x01});

net::Interface loopback(const char* address)
{
    return {.id = "lo",
            .description = "loopback",
            .address = *Ipv4Address::parse(address),
            .mask = {0xFF000000},
            .gateway = {},
            .mac = {},
            .mtu = 65536,
            .loopback = true};
}

struct Device {
    explicit Device(const char* address, const net::Clock& clock = net::Clock::steady())
        : responder(describe(address), hooks, clock), server(responder)
    {}
    static virtual_device::DeviceDescription describe(const char* address)
    {
        virtual_device::DeviceDescription d;
        d.serial_number = address;
        d.mac = {{2, 0, 0, 0, 0, 1}};
        d.address = *Ipv4Address::parse(address);
        return d;
    }

    RecordingHooks hooks;
    virtual_device::GvcpResponder responder;
    virtual_device::GvcpServer server;
};

}  // namespace

TEST(GvcpServer, AnswersDiscoveryToItsAddress)
{
    Device device(first_address);
    device.server.start(loopback(first_address));
    HostSocket host;
    host.send(first_address, discovery);
    const auto answer = host.receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->source, (Endpoint{*Ipv4Address::parse(first_address), 3956}));
    ASSERT_EQ(answer->bytes.size(), 256U);
    EXPECT_EQ(u16_at(answer->bytes, 2), 0x0003U);
}

TEST(GvcpServer, TwoDevicesAnswerOneBroadcastEachFromItsOwnAddress)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    Device first(first_address);
    Device second(second_address);
    first.server.start(loopback(first_address));
    second.server.start(loopback(second_address));
    for (const char* broadcast : {"127.255.255.255", "255.255.255.255"}) {
        HostSocket host;
        host.send(broadcast, discovery);
        bool from_first = false;
        bool from_second = false;
        while (!from_first || !from_second) {
            const auto answer = host.receive();
            ASSERT_TRUE(answer) << broadcast << " first " << from_first << " second " << from_second;
            from_first |= answer->source.address == *Ipv4Address::parse(first_address);
            from_second |= answer->source.address == *Ipv4Address::parse(second_address);
        }
    }
}

TEST(GvcpServer, ASecondDeviceOnTheSameAddressIsRefused)
{
    Device first(first_address);
    Device second(first_address);
    first.server.start(loopback(first_address));
    EXPECT_THROW(second.server.start(loopback(first_address)), std::system_error);
    EXPECT_FALSE(second.server.is_running());
}

TEST(GvcpServer, IsSilentAfterStop)
{
    Device device(first_address);
    device.server.start(loopback(first_address));
    device.server.stop();
    EXPECT_FALSE(device.server.is_running());
    HostSocket host;
    host.send(first_address, discovery);
    EXPECT_FALSE(host.receive(std::chrono::milliseconds(100)));
    device.server.start(loopback(first_address));
    host.send(first_address, discovery);
    EXPECT_TRUE(host.receive());
}

TEST(GvcpServer, TakesControlAwayFromASilentApplication)
{
    ManualClock clock;
    Device device(first_address, clock);
    device.server.start(loopback(first_address));
    HostSocket host;
    host.send(first_address, write_register(1, 0x0A00, 2));
    ASSERT_TRUE(host.receive());
    const auto end = net::Clock::steady().now() + std::chrono::seconds(10);
    while (device.responder.statistics().heartbeat_expired == 0 && net::Clock::steady().now() < end) {
        // silence begins when the command has been dealt with, which may be after its answer has come
        clock.advance(std::chrono::seconds(4));
        std::this_thread::yield();
    }
    EXPECT_EQ(device.responder.statistics().heartbeat_expired, 1U);
}

TEST(GvcpServer, RebindMovesTheDeviceToAnotherAddress)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    Device device(first_address);
    device.server.start(loopback(first_address));
    device.server.rebind(loopback(third_address));
    HostSocket host;
    std::optional<Answer> answer;
    for (int i = 0; i < 100 && !answer; ++i) {
        host.send(third_address, discovery);
        answer = host.receive_from(third_address, std::chrono::milliseconds(100));
    }
    ASSERT_TRUE(answer);
    EXPECT_EQ(u32_at(answer->bytes, 8 + 36), 0x7F000018U);
    EXPECT_EQ(device.server.address(), *Ipv4Address::parse(third_address));
}

TEST(GvcpServer, RebindToATakenAddressChangesNothing)
{
    SKIP_WHERE_BINDING_IS_LOOSE();
    Device first(first_address);
    Device second(second_address);
    first.server.start(loopback(first_address));
    second.server.start(loopback(second_address));
    first.server.rebind(loopback(second_address));
    HostSocket host;
    // once the thread has taken note of the wish, the old address still answers
    for (int i = 0; i < 5; ++i) {
        host.send(first_address, discovery);
        EXPECT_TRUE(host.receive_from(first_address));
    }
    EXPECT_EQ(first.server.address(), *Ipv4Address::parse(first_address));
}

TEST(GvcpServer, DropsAndCountsGarbage)
{
    Device device(first_address);
    device.server.start(loopback(first_address));
    HostSocket host;
    host.send(first_address, bytes_of({1, 2, 3}));
    host.send(first_address, Bytes(60000, 0x42));
    host.send(first_address, discovery);
    ASSERT_TRUE(host.receive());
    EXPECT_EQ(device.responder.statistics().malformed, 2U);
}

TEST(FindInterface, KnowsAddressesNamesAndHardwareAddresses)
{
    net::Interface lo = loopback("127.0.0.1");
    net::Interface eth = lo;
    eth.id = "eth0";
    eth.description = "Network card";
    eth.address = {0xC0A80102};
    eth.mac = {{0, 0x11, 0x22, 0x33, 0x44, 0x55}};
    eth.loopback = false;
    const std::vector<net::Interface> all{lo, eth};

    const auto find = [&](std::string_view name) { return virtual_device::find_interface(name, all); };
    EXPECT_EQ(find("192.168.1.2"), eth);
    EXPECT_EQ(find("eth0"), eth);
    EXPECT_EQ(find("Network card"), eth);
    EXPECT_EQ(find("00:11:22:33:44:55"), eth);
    EXPECT_EQ(find("00-11-22-33-44-55"), eth);
    EXPECT_EQ(find(""), eth) << "the first that is not loopback";
    EXPECT_EQ(find("lo"), lo);
    EXPECT_EQ(find("127.0.0.1"), lo);
    ASSERT_TRUE(find("127.9.8.7"));
    EXPECT_EQ(find("127.9.8.7")->address, (Ipv4Address{0x7F090807}));
    EXPECT_EQ(find("192.168.1.3"), std::nullopt);
    EXPECT_EQ(find("eth1"), std::nullopt);
    EXPECT_EQ(find("00:00:00:00:00:00"), std::nullopt);
    EXPECT_EQ(virtual_device::find_interface("", std::vector{lo}), lo);
    EXPECT_EQ(virtual_device::find_interface("", {}), std::nullopt);
}
