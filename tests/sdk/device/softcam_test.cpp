// PvDevice and the software camera, two ends of the wire that were written apart.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "sdk/control/discovery.h"
#include "sdk/device/PvDeviceInfo.h"
#include "sdk/device/PvInterface.h"
#include "sdk/device/PvSystem.h"
#include "sdk/device/PvSystemEventSink.h"
#include "tests/sdk/device/device_fixture.h"
#include "tools/softcam/camera.h"

namespace {

using namespace std::chrono_literals;
using device_test::Bytes;
using vex::control::SearchNetwork;

class SoftCamera : public testing::Test {
protected:
    SoftCamera()
    {
        options.adapter = address;
        options.serial_number = "SC-38";
        options.user_defined_name = "thirty-eight";
        camera = std::make_unique<softcam::Camera>(options);
        camera->start();
        device->RegisterEventSink(&sink);
    }

    PvResult connect(PvAccessType access = PvAccessControl) { return device->Connect(PvString(address), access); }

    std::int64_t integer(const char* feature)
    {
        std::int64_t value = -1;
        const PvResult result = device->GetGenParameters()->GetIntegerValue(feature, value);
        EXPECT_TRUE(result.IsOK()) << feature << ": " << result.description();
        return value;
    }

    const std::string address = device_test::loopback(38).to_string();
    softcam::CameraOptions options;
    std::unique_ptr<softcam::Camera> camera;
    device_test::DeviceSink sink;
    std::unique_ptr<PvDevice> device = std::make_unique<PvDevice>();
};

/// The host's network with a time that leaps to the end of a search once everything sought is found.
class LeapingNetwork final : public SearchNetwork {
public:
    [[nodiscard]] std::vector<vex::net::Interface> interfaces() override
    {
        return SearchNetwork::system().interfaces();
    }
    [[nodiscard]] std::unique_ptr<vex::control::SearchPorts> open(std::span<const vex::net::Interface> interfaces,
                                                                  bool broadcasts) override
    {
        return SearchNetwork::system().open(interfaces, broadcasts);
    }
    [[nodiscard]] const vex::net::Clock& clock() const noexcept override { return clock_; }
    void leap() { clock_.ahead += std::chrono::hours(1); }

private:
    struct LeapingClock final : vex::net::Clock {
        [[nodiscard]] time_point now() const noexcept override { return vex::net::Clock::steady().now() + ahead; }
        duration ahead{};
    };
    LeapingClock clock_;
};

/// Ends each search with the software camera, except while it is to look for more.
class LeapingSystem : public PvSystem, public PvSystemEventSink {
public:
    explicit LeapingSystem(LeapingNetwork& network) : PvSystem(network), network_(network) { RegisterEventSink(this); }
    void OnDeviceFound(PvInterface* /*aInterface*/, PvDeviceInfo* aDeviceInfo, bool& /*aIgnore*/) override
    {
        if (leaps && aDeviceInfo->GetSerialNumber().str() == "SC-38") {
            network_.leap();
        }
    }
    bool leaps = false;

private:
    LeapingNetwork& network_;
};

TEST_F(SoftCamera, IsFoundAndConnectedByWhatWasFound)
{
    LeapingNetwork network;
    LeapingSystem system(network);
    system.SetDetectionTimeout(500);
    ASSERT_TRUE(system.Find().IsOK());
    system.leaps = true;
    system.SetDetectionTimeout(20'000);
    std::vector<PvDeviceInfo*> found;
    for (std::uint32_t i = 0; i < system.GetInterfaceCount(); ++i) {
        for (std::uint32_t j = 0; j < system.GetInterface(i)->GetDeviceCount(); ++j) {
            if (system.GetInterface(i)->GetDeviceInfo(j)->GetSerialNumber().str() == "SC-38") {
                found.push_back(system.GetInterface(i)->GetDeviceInfo(j));
            }
        }
    }
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0]->GetModel().str(), "SoftCam");
    EXPECT_EQ(found[0]->GetUserDefinedName().str(), "thirty-eight");
    EXPECT_EQ(found[0]->GetMACAddress().str(), camera->mac().to_string());
    EXPECT_EQ(found[0]->GetIPAddress().str(), address);
    EXPECT_EQ(found[0]->GetAccessStatus(), PvAccessOpen);
    EXPECT_TRUE(found[0]->IsIPConfigurationValid());

    const PvResult connected = device->Connect(found[0]);
    ASSERT_TRUE(connected.IsOK()) << connected.description();
    ASSERT_TRUE(system.Find().IsOK());
    EXPECT_EQ(found[0]->GetAccessStatus(), PvAccessControl);
    device->Disconnect();
    ASSERT_TRUE(device->Connect(found[0]->GetID()).IsOK());
    device->Disconnect();
    ASSERT_TRUE(device->Connect("thirty-eight", PvAccessExclusive).IsOK());
    ASSERT_TRUE(system.Find().IsOK());
    EXPECT_EQ(found[0]->GetAccessStatus(), PvAccessExclusive);
}

TEST_F(SoftCamera, HasFeaturesThatCanAllBeRead)
{
    ASSERT_TRUE(connect().IsOK());
    PvGenParameterArray& features = *device->GetGenParameters();
    EXPECT_GT(features.GetCount(), 50U);
    for (std::uint32_t i = 0; i < features.GetCount(); ++i) {
        PvGenParameter& feature = *features.Get(i);
        PvString name;
        PvString text;
        feature.GetName(name);
        if (!feature.IsReadable()) {
            continue;
        }
        const PvResult result = feature.ToString(text);
        EXPECT_TRUE(result.IsOK()) << name.str() << ": " << result.description();
    }
}

TEST_F(SoftCamera, IsAskedForNeighbouringRegistersInOneMessage)
{
    ASSERT_TRUE(connect(PvAccessReadOnly).IsOK());
    const char* const names[] = {"SensorWidth", "SensorHeight", "WidthMax",          "HeightMax",      "Width",
                                 "Height",      "OffsetX",      "BinningHorizontal", "BinningVertical"};
    std::vector<std::int64_t> one_by_one;
    for (const char* name : names) {
        device->GetGenParameters()->InvalidateCache();
        one_by_one.push_back(integer(name));
    }
    // what is read together depends on time: a machine too busy to read nine registers in a row gets another chance
    constexpr std::uint64_t wanted = 3;
    std::uint64_t messages = std::size(names);
    for (int chance = 0; chance < 50 && messages > wanted; ++chance) {
        device->GetGenParameters()->InvalidateCache();
        const std::uint64_t before = camera->control_statistics().executed;
        for (std::size_t i = 0; i < std::size(names); ++i) {
            EXPECT_EQ(integer(names[i]), one_by_one[i]) << names[i];
        }
        messages = camera->control_statistics().executed - before;
    }
    EXPECT_LE(messages, wanted);
}

TEST_F(SoftCamera, TakesFeaturesAndShowsThem)
{
    ASSERT_TRUE(connect().IsOK());
    PvGenParameterArray& features = *device->GetGenParameters();
    EXPECT_TRUE(features.SetIntegerValue("Width", 320).IsOK());
    EXPECT_TRUE(features.SetIntegerValue("Height", 240).IsOK());
    EXPECT_TRUE(features.SetEnumValue("PixelFormat", PvString("Mono16")).IsOK());
    EXPECT_EQ(integer("PayloadSize"), 320 * 240 * 2);
    EXPECT_TRUE(features.SetString("DeviceUserID", "renamed").IsOK());
    device->Disconnect();
    vex::control::DiscoveryOptions search;
    search.timeout = 20s;
    std::string found;
    SearchNetwork& network = SearchNetwork::system();
    vex::control::Discovery(network.interfaces(), search, network).run([&](const vex::control::FoundDevice& one) {
        found = one.facts.user_defined_name;
        return found != "renamed";
    });
    EXPECT_EQ(found, "renamed");
    PvDevice again;
    EXPECT_TRUE(again.Connect(PvString(address)).IsOK());
    std::int64_t width = 0;
    EXPECT_TRUE(again.GetGenParameters()->GetIntegerValue("Width", width).IsOK());
    EXPECT_EQ(width, 320);
}

TEST_F(SoftCamera, GivesItsDescriptionUnpacked)
{
    ASSERT_TRUE(connect().IsOK());
    PvString name;
    EXPECT_TRUE(device->GetDefaultGenICamXMLFilename(name).IsOK());
    EXPECT_EQ(name.str(), "softcam.xml");
    const auto path = std::filesystem::temp_directory_path() / "vex-device-softcam-dump.xml";
    ASSERT_TRUE(device->DumpGenICamXML(PvString(path.string())).IsOK());
    std::ifstream file(path, std::ios::binary);
    const std::string xml(std::istreambuf_iterator<char>(file), {});
    file.close();
    std::filesystem::remove(path);
    EXPECT_NE(xml.find("<RegisterDescription"), std::string::npos);
    EXPECT_NE(xml.find("</RegisterDescription>"), std::string::npos);
}

TEST_F(SoftCamera, GuardsItsPrivileges)
{
    ASSERT_TRUE(connect().IsOK());
    PvDevice second;
    const PvResult denied = second.Connect(PvString(address));
    EXPECT_EQ(denied.GetCode(), PvResult::StateError);
    EXPECT_NE(denied.description().find("controlled"), std::string::npos) << denied.description();
    ASSERT_TRUE(second.Connect(PvString(address), PvAccessOpen).IsOK());
    std::uint32_t mode = 0;
    EXPECT_TRUE(second.ReadRegister(0x0004, mode).IsOK());
    EXPECT_TRUE(second.WriteRegister(0x0938, 5000).IsFailure());
    second.Disconnect();

    device->Disconnect();
    ASSERT_TRUE(connect(PvAccessExclusive).IsOK());
    const PvResult excluded = second.Connect(PvString(address), PvAccessReadOnly);
    EXPECT_EQ(excluded.GetCode(), PvResult::StateError);
    EXPECT_NE(excluded.description().find("exclusive"), std::string::npos) << excluded.description();
    device->Disconnect();
    EXPECT_TRUE(second.Connect(PvString(address)).IsOK());
}

TEST_F(SoftCamera, IsKeptByTheHeartbeatOfAnIdleApplication)
{
    ASSERT_TRUE(device->GetGenLink()->SetIntegerValue("HeartbeatTimeout", 500).IsOK());
    ASSERT_TRUE(connect().IsOK());
    std::int64_t timeout = 0;
    std::int64_t beats = 0;
    device->GetGenLink()->GetIntegerValue("HeartbeatTimeout", timeout);
    EXPECT_EQ(timeout, 500);
    while (beats < 10) {  // twice the timeout, and more
        std::this_thread::sleep_for(10ms);
        device->GetGenLink()->GetIntegerValue("HeartbeatCount", beats);
    }
    EXPECT_TRUE(device->IsConnected());
    EXPECT_EQ(camera->control_statistics().heartbeat_expired, 0U);
    EXPECT_EQ(sink.disconnections(), 0);
}

TEST_F(SoftCamera, IsToldAsLostWhenItIsSwitchedOffAndComesBack)
{
    ASSERT_TRUE(device->GetGenLink()->SetIntegerValue("HeartbeatTimeout", 500).IsOK());
    ASSERT_TRUE(connect().IsOK());
    camera.reset();
    ASSERT_TRUE(sink.wait_for_disconnection());
    EXPECT_FALSE(device->IsConnected());
    EXPECT_TRUE(connect().IsFailure());
    camera = std::make_unique<softcam::Camera>(options);
    camera->start();
    const PvResult result = connect();
    EXPECT_TRUE(result.IsOK()) << result.description();
    EXPECT_EQ(integer("SensorWidth") > 0, true);
}

TEST_F(SoftCamera, IsToldAsLostWhenItDropsItsController)
{
    ASSERT_TRUE(connect().IsOK());
    camera->responder().drop_control();
    device->ReportStreamTimeout();
    EXPECT_TRUE(sink.wait_for_disconnection());
}

TEST_F(SoftCamera, NegotiatesItsLargestPacketOnTheLoopback)
{
    ASSERT_TRUE(connect().IsOK());
    EXPECT_EQ(integer("GevSCPSPacketSize"), 1500);
    const PvResult result = device->NegotiatePacketSize();
    EXPECT_TRUE(result.IsOK()) << result.description();
    EXPECT_EQ(integer("GevSCPSPacketSize"), 65000);
    std::uint32_t port = 1;
    EXPECT_TRUE(device->ReadRegister(0x0D00, port).IsOK());
    EXPECT_EQ(port & 0xFFFF, 0U);
}

TEST_F(SoftCamera, KeepsItsPacketSizeWhileTheTransportLayerIsLocked)
{
    ASSERT_TRUE(connect().IsOK());
    ASSERT_TRUE(device->GetGenParameters()->SetIntegerValue("TLParamsLocked", 1).IsOK());
    const PvResult result = device->NegotiatePacketSize();
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_NE(result.description().find("is streaming"), std::string::npos);
    EXPECT_EQ(integer("GevSCPSPacketSize"), 1500);
    ASSERT_TRUE(device->GetGenParameters()->SetIntegerValue("TLParamsLocked", 0).IsOK());
    EXPECT_TRUE(device->NegotiatePacketSize().IsOK());
}

TEST_F(SoftCamera, TakesAStreamDestination)
{
    ASSERT_TRUE(connect().IsOK());
    EXPECT_TRUE(device->SetStreamDestination("127.0.0.1", 45678).IsOK());
    EXPECT_EQ(integer("GevSCDA"), 0x7F000001);
    EXPECT_EQ(integer("GevSCPHostPort"), 45678);
    EXPECT_TRUE(device->ResetStreamDestination().IsOK());
    EXPECT_EQ(integer("GevSCPHostPort"), 0);
}

TEST_F(SoftCamera, ReadsAndWritesMemoryOfAnyLength)
{
    ASSERT_TRUE(connect().IsOK());
    const Bytes name = {'a', ' ', 'n', 'a', 'm', 'e'};
    EXPECT_TRUE(device->WriteMemory(0xE9, name.data(), 6).IsOK());
    Bytes read(8);
    EXPECT_TRUE(device->ReadMemory(0xE8, read.data(), 8).IsOK());
    EXPECT_EQ(read, (Bytes{'t', 'a', ' ', 'n', 'a', 'm', 'e', 'e'}));
    const PvResult nowhere = device->ReadMemory(0xEFFFFF00, read.data(), 8);
    EXPECT_EQ(nowhere.GetCode(), PvResult::InvalidParameter);
    EXPECT_NE(nowhere.description().find("0xEFFFFF00"), std::string::npos);
}

TEST_F(SoftCamera, AnswersNothingMoreThanOnce)
{
    ASSERT_TRUE(connect().IsOK());
    for (const char* counter :
         {"StaleAnswerCount", "MalformedAnswerCount", "ForeignDatagramCount", "CommandRetryCount"}) {
        std::int64_t value = -1;
        EXPECT_TRUE(device->GetGenLink()->GetIntegerValue(counter, value).IsOK());
        EXPECT_EQ(value, 0) << counter;
    }
    EXPECT_EQ(camera->control_statistics().malformed, 0U);
    EXPECT_EQ(camera->control_statistics().repeated, 0U);
}

}  // namespace
