#include "sdk/virtualdevice/PvVirtualDevice.h"

#include <set>

#include "sdk/genapi/node_map.h"
#include "sdk/net/interfaces.h"
#include "tests/sdk/virtualdevice/host_socket.h"
#include "tests/sdk/virtualdevice/responder_fixture.h"

namespace {

const char* const address = device_address("127.0.0.25");
struct ClosedPort final : GenApi::IPort {
    void read(std::int64_t, std::span<std::uint8_t>) override {}
    void write(std::int64_t, std::span<const std::uint8_t>) override {}
    [[nodiscard]] bool is_open() const noexcept override { return false; }
};

const Bytes discovery = bytes_of({0x42, 0x01, 0x00, 0x02, 0x00, 0x00, 0x00, 0x01});

}  // namespace

TEST(VirtualDevice, AnswersDiscoveryFromStartToStop)
{
    PvVirtualDevice device;
    HostSocket host;
    ASSERT_TRUE(device.StartListening(address).IsOK());
    host.send(address, discovery);
    const auto answer = host.receive();
    ASSERT_TRUE(answer);
    EXPECT_EQ(std::string(answer->bytes.begin() + 8 + 72, answer->bytes.begin() + 8 + 78), "Vexkam");

    device.StopListening();
    host.send(address, discovery);
    EXPECT_FALSE(host.receive(std::chrono::milliseconds(100)));
}

TEST(VirtualDevice, SaysWhichInterfaceWasTaken)
{
    PvVirtualDevice device;
    const PvResult result = device.StartListening(address);
    ASSERT_TRUE(result.IsOK());
    EXPECT_NE(result.description().find(address), std::string::npos) << result.description();
}

TEST(VirtualDevice, TakesAnInterfaceByItsName)
{
    for (const vex::net::Interface& adapter : vex::net::list_interfaces()) {
        if (adapter.loopback) {
            PvVirtualDevice device;
            const PvResult result = device.StartListening(PvString(adapter.id));
            // another program may have the port of that very interface
            EXPECT_TRUE(result.IsOK() || result.GetCode() == PvResult::NetworkError) << result.description();
            EXPECT_NE(result.description().find(adapter.address.to_string()), std::string::npos)
                << result.description();
            return;
        }
    }
}

TEST(VirtualDevice, CanListenAgain)
{
    PvVirtualDevice device;
    HostSocket host;
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(device.StartListening(address).IsOK());
        host.send(address, discovery);
        EXPECT_TRUE(host.receive());
        device.StopListening();
    }
}

TEST(VirtualDevice, ServesADescriptionWhereItsUrlSays)
{
    PvVirtualDevice device;
    ASSERT_TRUE(device.StartListening(address).IsOK());
    HostSocket host;
    host.send(address, read_memory(1, 0x0200, 512));
    const auto url = host.receive();
    ASSERT_TRUE(url);
    const std::string text(url->bytes.begin() + 12, std::find(url->bytes.begin() + 12, url->bytes.end(), 0));
    unsigned location = 0;
    unsigned length = 0;
    ASSERT_EQ(std::sscanf(text.c_str(), "Local:virtualdevice.xml;%x;%x", &location, &length), 2) << text;

    std::string xml;
    for (unsigned at = 0, id = 2; at < length; at += 512, ++id) {
        const unsigned count = std::min(512U, (length - at + 3) / 4 * 4);
        host.send(address, read_memory(id, location + at, count));
        const auto part = host.receive();
        ASSERT_TRUE(part);
        ASSERT_EQ(status_of(part->bytes), status::success);
        xml.append(part->bytes.begin() + 12, part->bytes.end());
    }
    xml.resize(length);
    ClosedPort port;
    const auto map = GenApi::load_node_map(xml, port);
    EXPECT_TRUE(map->diagnostics().empty());
    std::set<std::string> names;
    for (const auto* feature : map->features()) {
        names.insert(std::string(feature->name()));
    }
    for (const char* name :
         {"DeviceVendorName", "DeviceModelName", "Width", "Height", "PixelFormat", "PayloadSize", "AcquisitionMode",
          "AcquisitionStart", "AcquisitionStop", "TLParamsLocked", "GevSCPSPacketSize", "GevSCPD", "GevSCDA",
          "GevSCPHostPort", "GevCCP", "GevHeartbeatTimeout"}) {
        EXPECT_TRUE(names.contains(name)) << name;
    }
}

TEST(VirtualDevice, AnUnknownInterfaceIsNotFoundAndNamedInTheDescription)
{
    PvVirtualDevice device;
    const PvResult result = device.StartListening("no-such-interface");
    EXPECT_EQ(result.GetCode(), PvResult::NotFound);
    EXPECT_NE(result.description().find("no-such-interface"), std::string::npos);
}

TEST(VirtualDevice, StartingTwiceIsAStateErrorAndGoesOnListening)
{
    PvVirtualDevice device;
    ASSERT_TRUE(device.StartListening(address).IsOK());
    EXPECT_EQ(device.StartListening(address).GetCode(), PvResult::StateError);
    HostSocket host;
    host.send(address, discovery);
    EXPECT_TRUE(host.receive());
}

TEST(VirtualDevice, AnAddressThatIsTakenIsANetworkError)
{
    PvVirtualDevice first;
    PvVirtualDevice second;
    ASSERT_TRUE(first.StartListening(address).IsOK());
    const PvResult result = second.StartListening(address);
    EXPECT_EQ(result.GetCode(), PvResult::NetworkError);
    EXPECT_NE(result.description().find(address), std::string::npos) << result.description();
    first.StopListening();
    EXPECT_TRUE(second.StartListening(address).IsOK());
}

TEST(VirtualDeviceStop, WithoutStartDoesNothing)
{
    PvVirtualDevice device;
    device.StopListening();
    device.StopListening();
}

TEST(VirtualDeviceStart, WithoutANameTakesSomeInterface)
{
    PvVirtualDevice device;
    const PvResult result = device.StartListening("");
    // another program may have the port of that very interface
    EXPECT_TRUE(result.IsOK() || result.GetCode() == PvResult::NetworkError) << result.description();
}
