// Connecting and disconnecting a PvDevice, by all its ways and against all its odds.
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>

#include "sdk/device/PvDeviceInfo.h"
#include "sdk/device/PvInterface.h"
#include "sdk/device/PvSystem.h"
#include "sdk/device/access.h"
#include "sdk/wire/bootstrap.h"
#include "tests/description/builders.h"
#include "tests/sdk/device/device_fixture.h"

namespace {

using namespace std::chrono_literals;
using device_test::Bytes;
using device_test::DeviceTest;
using device_test::RawCamera;

class DeviceConnect : public DeviceTest {};

TEST_F(DeviceConnect, IsNothingBeforeTheFirstConnection)
{
    std::uint32_t value = 0;
    unsigned char byte = 0;
    PvString name;
    EXPECT_FALSE(device->IsConnected());
    EXPECT_FALSE(device->IsIPEngine());
    EXPECT_EQ(device->GetGenParameters(), nullptr);
    EXPECT_NE(device->GetGenLink(), nullptr);
    EXPECT_TRUE(device->Disconnect().IsOK());
    EXPECT_EQ(device->ReadRegister(0, value).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(device->WriteRegister(0, 1).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(device->ReadMemory(0, &byte, 1).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(device->WriteMemory(0, &byte, 1).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(device->SetStreamDestination("127.0.0.1", 1).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(device->ResetStreamDestination().GetCode(), PvResult::NotConnected);
    EXPECT_EQ(device->NegotiatePacketSize().GetCode(), PvResult::NotConnected);
    EXPECT_EQ(device->Reset().GetCode(), PvResult::NotConnected);
    EXPECT_EQ(device->WaitForMessagingChannelIdle(0).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(device->ReportStreamTimeout().GetCode(), PvResult::NotConnected);
    EXPECT_EQ(device->ResetStreamTimeoutCounter().GetCode(), PvResult::NotConnected);
    EXPECT_EQ(device->DumpGenICamXML("never.xml").GetCode(), PvResult::NotConnected);
    EXPECT_EQ(device->GetDefaultGenICamXMLFilename(name).GetCode(), PvResult::NotConnected);
    EXPECT_TRUE(name.empty());
}

TEST_F(DeviceConnect, ByAddressBringsTheFeatures)
{
    start_and_connect();
    EXPECT_TRUE(device->IsConnected());
    EXPECT_EQ(camera->reg(0x0A00), 2U);
    ASSERT_NE(device->GetGenParameters(), nullptr);
    std::int64_t value = 0;
    EXPECT_TRUE(device->GetGenParameters()->GetIntegerValue("Value", value).IsOK());
    EXPECT_EQ(value, 0x11223344);
    EXPECT_TRUE(device->GetGenParameters()->SetIntegerValue("Value", 0x55667788).IsOK());
    EXPECT_EQ(camera->reg(0xA000), 0x55667788U);
    EXPECT_TRUE(device->WaitForMessagingChannelIdle(0).IsOK());
}

TEST_F(DeviceConnect, ByWhatASearchFound)
{
    start();
    PvSystem system;
    system.SetDetectionTimeout(300);
    ASSERT_TRUE(system.Find().IsOK());
    PvDeviceInfo* found = nullptr;
    for (std::uint32_t i = 0; i < system.GetInterfaceCount(); ++i) {
        for (std::uint32_t j = 0; j < system.GetInterface(i)->GetDeviceCount(); ++j) {
            if (system.GetInterface(i)->GetDeviceInfo(j)->GetSerialNumber().str() == "RAW-36") {
                found = system.GetInterface(i)->GetDeviceInfo(j);
            }
        }
    }
    ASSERT_NE(found, nullptr);
    EXPECT_TRUE(device->Connect(found).IsOK());
    EXPECT_TRUE(device->Disconnect().IsOK());
    // another camera took the address since
    auto options = sound();
    options.mac[5] = 0x99;
    start(options);
    EXPECT_EQ(device->Connect(found).GetCode(), PvResult::NotFound);
}

TEST_F(DeviceConnect, ByMacAddress)
{
    start();
    for (const char* who : {"02:11:22:33:44:24", "02-11-22-33-44-24"}) {
        const PvResult result = device->Connect(who);
        EXPECT_TRUE(result.IsOK()) << who << ": " << result.description();
        EXPECT_EQ(device->Connect(who).GetCode(), PvResult::StateError);
        EXPECT_TRUE(device->Disconnect().IsOK());
    }
}

TEST_F(DeviceConnect, RefusesBadArguments)
{
    start();
    EXPECT_EQ(device->Connect(static_cast<const PvDeviceInfo*>(nullptr)).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(device->Connect("").GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(connect(PvAccessUnknown).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(connect(static_cast<PvAccessType>(17)).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(camera->count(0x0080), 0);
}

TEST_F(DeviceConnect, OnceAtATime)
{
    start_and_connect();
    const PvResult again = connect();
    EXPECT_EQ(again.GetCode(), PvResult::StateError);
    EXPECT_EQ(again.description(), "Connected already, to " + name());
    EXPECT_TRUE(device->IsConnected());
}

TEST_F(DeviceConnect, ASecondApplicationIsToldWhoHasControl)
{
    start_and_connect();
    PvDevice second;
    const PvResult denied = second.Connect(PvString(name()));
    EXPECT_EQ(denied.GetCode(), PvResult::StateError);
    EXPECT_NE(denied.description().find("is controlled by 127.0.0.1, port "), std::string::npos);
    EXPECT_FALSE(second.IsConnected());
    EXPECT_TRUE(second.Connect(PvString(name()), PvAccessReadOnly).IsOK());
    std::uint32_t value = 0;
    EXPECT_TRUE(second.ReadRegister(0xA000, value).IsOK());
    EXPECT_EQ(value, 0x11223344U);
    EXPECT_TRUE(device->IsConnected());
}

TEST_F(DeviceConnect, ForReadingWritesNothing)
{
    start();
    ASSERT_TRUE(connect(PvAccessReadOnly).IsOK());
    const int writes = camera->count(0x0082) + camera->count(0x0086);
    const unsigned char byte = 0;
    std::int64_t value = 0;
    EXPECT_TRUE(device->GetGenParameters()->GetIntegerValue("Value", value).IsOK());
    EXPECT_EQ(device->GetGenParameters()->SetIntegerValue("Value", 1).GetCode(), PvResult::StateError);
    EXPECT_EQ(device->WriteRegister(0xA000, 1).GetCode(), PvResult::StateError);
    EXPECT_EQ(device->WriteMemory(0xA000, &byte, 1).GetCode(), PvResult::StateError);
    EXPECT_EQ(device->SetStreamDestination("127.0.0.1", 5000).GetCode(), PvResult::StateError);
    EXPECT_EQ(device->ResetStreamDestination().GetCode(), PvResult::StateError);
    EXPECT_EQ(device->NegotiatePacketSize().GetCode(), PvResult::StateError);
    EXPECT_EQ(device->Reset().GetCode(), PvResult::StateError);
    EXPECT_TRUE(device->Disconnect().IsOK());
    EXPECT_EQ(camera->count(0x0082) + camera->count(0x0086), writes);
    EXPECT_EQ(writes, 0);
}

TEST_F(DeviceConnect, OpensTheMessageChannelWithTimeoutAndRetries)
{
    namespace bootstrap = vex::wire::bootstrap;
    start();
    camera->set_reg(bootstrap::message_channel_count, 1);
    for (const std::uint32_t at : {bootstrap::message_channel_port, bootstrap::message_channel_destination,
                                   bootstrap::message_channel_timeout, bootstrap::message_channel_retry_count}) {
        camera->set_reg(at, 0);
    }
    ASSERT_TRUE(connect().IsOK());
    EXPECT_EQ(camera->reg(bootstrap::message_channel_timeout), 200U) << "milliseconds";
    EXPECT_EQ(camera->reg(bootstrap::message_channel_retry_count), 3U);
    EXPECT_EQ(camera->reg(bootstrap::message_channel_destination), camera->reg(bootstrap::primary_application_ip));
    EXPECT_NE(camera->reg(bootstrap::message_channel_port), 0U);
}

TEST_F(DeviceConnect, OpenLeavesItToTheDeviceWhatMayBeWritten)
{
    start();
    ASSERT_TRUE(connect(PvAccessOpen).IsOK());
    const PvResult result = device->WriteRegister(0xA000, 1);
    EXPECT_EQ(result.GetCode(), PvResult::StateError);
    EXPECT_NE(result.description().find("writing register 0xA000 failed: access denied"), std::string::npos);
}

TEST_F(DeviceConnect, DisconnectingGivesControlBackAndKeepsTheFeatureObjects)
{
    start_and_connect();
    PvGenParameterArray* const array = device->GetGenParameters();
    PvGenInteger* const feature = array->GetInteger("Value");
    std::int64_t cached = 0;
    EXPECT_TRUE(array->GetIntegerValue("GevSCPSPacketSize", cached).IsOK());
    EXPECT_TRUE(device->Disconnect().IsOK());
    EXPECT_EQ(array->GetIntegerValue("GevSCPSPacketSize", cached).GetCode(), PvResult::NotConnected);
    EXPECT_FALSE(device->IsConnected());
    EXPECT_EQ(camera->reg(0x0A00), 0U);
    EXPECT_EQ(device->GetGenParameters(), array);
    EXPECT_TRUE(feature->SetValue(5).IsFailure());

    ASSERT_TRUE(connect().IsOK());
    EXPECT_EQ(device->GetGenParameters(), array);
    EXPECT_TRUE(feature->SetValue(6).IsOK());
    EXPECT_EQ(camera->reg(0xA000), 6U);
}

TEST_F(DeviceConnect, ADeviceWithAnotherDescriptionHasOtherFeatures)
{
    start_and_connect();
    PvGenParameterArray* const first = device->GetGenParameters();
    PvGenInteger* const old_feature = first->GetInteger("Value");
    device->Disconnect();

    auto options = sound();
    options.description = device_test::raw_description(
        {.more = camera_xml::category("IPEngine", {}) + camera_xml::integer("Extra", {.value = 3}),
         .listed = {"Extra"}});
    start_and_connect(options);
    EXPECT_NE(device->GetGenParameters(), first);
    std::int64_t value = 0;
    EXPECT_TRUE(device->GetGenParameters()->GetIntegerValue("Extra", value).IsOK());
    EXPECT_EQ(value, 3);
    EXPECT_TRUE(device->IsIPEngine());
    EXPECT_TRUE(old_feature->SetValue(1).IsFailure());  // alive, and belongs to no connection

    device->Disconnect();
    EXPECT_FALSE(device->IsIPEngine());
    start_and_connect();
    EXPECT_EQ(device->GetGenParameters(), first);
    EXPECT_TRUE(old_feature->SetValue(1).IsOK());
    EXPECT_FALSE(device->IsIPEngine());
}

TEST_F(DeviceConnect, TheSameDescriptionHasTheNameThatTheDeviceGivesIt)
{
    auto other = sound();
    other.url = "Local:other.xml;10000;0";
    PvString name;
    for (const auto& [options, expected] :
         {std::pair(sound(), "raw.xml"), {other, "other.xml"}, {sound(), "raw.xml"}}) {
        start_and_connect(options);
        EXPECT_TRUE(device->GetDefaultGenICamXMLFilename(name).IsOK());
        EXPECT_EQ(name.str(), expected);
        device->Disconnect();
    }
}

TEST_F(DeviceConnect, LendsItsConnectionUntilItDisconnects)
{
    EXPECT_EQ(vex::device::connection_of(*device), nullptr);
    start_and_connect();
    const auto connection = vex::device::connection_of(*device);
    ASSERT_NE(connection, nullptr);
    std::uint32_t version = 0;
    EXPECT_TRUE(connection->channel().read_register(0, version).ok());
    EXPECT_NE(version, 0U);
    EXPECT_TRUE(device->Disconnect().IsOK());
    EXPECT_EQ(vex::device::connection_of(*device), nullptr);
    EXPECT_EQ(connection->channel().read_register(0, version).kind, vex::control::ControlOutcome::Kind::closed);
}

TEST_F(DeviceConnect, WritesTheDescriptionToAFile)
{
    start_and_connect();
    PvString name;
    EXPECT_TRUE(device->GetDefaultGenICamXMLFilename(name).IsOK());
    EXPECT_EQ(name.str(), "raw.xml");
    const auto path =
        std::filesystem::temp_directory_path() /
        (u8"vex-d\u00FCmp-" +
         std::filesystem::path(std::to_string(std::hash<std::thread::id>()(std::this_thread::get_id()))).u8string() +
         u8".xml");
    const std::u8string text = path.u8string();
    EXPECT_TRUE(device->DumpGenICamXML(PvString(std::string(text.begin(), text.end()))).IsOK());
    std::ifstream file(path, std::ios::binary);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), device_test::raw_description());
    file.close();
    std::filesystem::remove(path);
    EXPECT_EQ(device->DumpGenICamXML("/no such folder/x.xml").GetCode(), PvResult::CannotOpenFile);
}

TEST_F(DeviceConnect, LeavesAFileThatMayNotBeReplacedAsItIs)
{
    start_and_connect();
    const auto path = std::filesystem::temp_directory_path() /
                      ("vex-kept-" + std::to_string(std::hash<std::thread::id>()(std::this_thread::get_id())) + ".xml");
    std::ofstream(path) << "kept";
    std::filesystem::permissions(path, std::filesystem::perms::owner_read);
    const PvResult result = device->DumpGenICamXML(PvString(path.string()));
    EXPECT_EQ(result.GetCode(), PvResult::CannotOpenFile);
    EXPECT_NE(result.description().find("read-only"), std::string::npos) << result.description();
    std::ifstream file(path);
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), "kept");
    file.close();
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    std::filesystem::remove(path);
}

// ---- descriptions that cannot be had ----

struct BadDescription {
    const char* name;
    const char* url;
    const char* second_url;
    const char* description;
    PvResult::Code code;
    const char* text;
};

class BadDescriptions : public DeviceTest, public testing::WithParamInterface<BadDescription> {};

TEST_P(BadDescriptions, FailTheConnectionAndReleaseTheDevice)
{
    auto options = sound();
    options.url = GetParam().url;
    options.second_url = GetParam().second_url;
    options.description = GetParam().description;
    start(options);
    const PvResult result = connect();
    EXPECT_EQ(result.GetCode(), GetParam().code) << result.description();
    EXPECT_NE(result.description().find(GetParam().text), std::string::npos) << result.description();
    EXPECT_NE(result.description().find(name()), std::string::npos) << result.description();
    EXPECT_FALSE(device->IsConnected());
    EXPECT_EQ(device->GetGenParameters(), nullptr);
    EXPECT_EQ(camera->reg(0x0A00), 0U);
}

INSTANTIATE_TEST_SUITE_P(
    Url, BadDescriptions,
    testing::Values(
        BadDescription{"None", "", "", "x", PvResult::GenICamXMLError, "no URL"},
        BadDescription{"Http", "http://maker.example/c.xml", "", "x", PvResult::NotSupported,
                       "http://maker.example/c.xml"},
        BadDescription{"File", "File:c.xml", "", "x", PvResult::NotSupported, "File:c.xml"},
        BadDescription{"NoNumbers", "Local:c.xml", "", "x", PvResult::GenICamXMLError, "no usable address"},
        BadDescription{"NoLength", "Local:c.xml;10000;00", "", "x", PvResult::GenICamXMLError, "length of 0"},
        BadDescription{"TooLong", "Local:c.xml;10000;F0000000", "", "x", PvResult::GenICamXMLError,
                       "length of 4026531840"},
        BadDescription{"NoMemoryThere", "Local:c.xml;E0000000;100", "", "x", PvResult::InvalidParameter, "0xE0000000"},
        BadDescription{"NoXml", "Local:c.xml;10000;0", "", "this is not XML", PvResult::GenICamXMLError,
                       "cannot be used"},
        BadDescription{"BrokenZip", "Local:c.zip;10000;0", "", "PK\x03\x04 and no more", PvResult::GenICamXMLError,
                       "cannot be used"},
        BadDescription{"BothBad", "Local:c.xml", "http://maker.example/", "x", PvResult::GenICamXMLError,
                       "Local:c.xml"}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(DeviceConnect, ADeviceThatCannotBeUsedSupervisesItsApplicationAgain)
{
    auto options = sound();
    options.capabilities |= 0x20000000;
    options.description = "this is not XML";
    start(options);
    std::vector<std::uint8_t> written;
    camera->intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x82 && request[10] == 0x09 && request[11] == 0x54) {
            written.push_back(request[15]);
        }
        return std::nullopt;
    });
    ASSERT_TRUE(device->GetGenLink()->SetBooleanValue("HeartbeatDisable", true).IsOK());
    EXPECT_EQ(connect().GetCode(), PvResult::GenICamXMLError);
    EXPECT_EQ(camera->reg(0x0954), 0U);
    EXPECT_EQ(written, (std::vector<std::uint8_t>{1, 0}));
}

TEST_F(DeviceConnect, TakesTheSecondUrlWhenTheFirstLeadsNowhere)
{
    auto options = sound();
    char second[64];
    std::snprintf(second, sizeof second, "local:///second.xml;0x10000;%zx", options.description.size());
    options.url = "http://maker.example/c.xml";
    options.second_url = second;
    start_and_connect(options);
    PvString name;
    EXPECT_TRUE(device->GetDefaultGenICamXMLFilename(name).IsOK());
    EXPECT_EQ(name.str(), "second.xml");
}

TEST_F(DeviceConnect, ADeviceThatIsNotThereCostsLessThanASecond)
{
    const auto begin = std::chrono::steady_clock::now();
    const PvResult result = connect();
    EXPECT_EQ(result.GetCode(), PvResult::Timeout);
    EXPECT_NE(result.description().find(name()), std::string::npos);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1500ms);
}

TEST_F(DeviceConnect, ADeviceThatVanishesWhileItsDescriptionIsReadIsToldAsLost)
{
    auto options = sound();
    options.description.append(50'000, ' ');
    start(options);
    std::atomic<int> blocks{0};
    camera->intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x84 && ++blocks > 20) {
            camera->mute(true);
        }
        return std::nullopt;
    });
    device->RegisterEventSink(&sink);
    ASSERT_TRUE(device->GetGenLink()->SetIntegerValue("AnswerTimeout", 60).IsOK());
    const PvResult result = connect();
    EXPECT_EQ(result.GetCode(), PvResult::Timeout);
    EXPECT_NE(result.description().find(name()), std::string::npos);
    EXPECT_FALSE(device->IsConnected());
    EXPECT_EQ(sink.disconnections(), 0);  // it never was connected
    camera->mute(false);
    camera->intercept(nullptr);
    camera->set_control(0);
    EXPECT_TRUE(connect().IsOK());
}

TEST_F(DeviceConnect, ConnectsAndDisconnectsFromManyThreads)
{
    start();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 10; ++i) {
                std::uint32_t value = 0;
                std::int64_t feature = 0;
                switch ((t + i) % 4) {
                case 0: device->Connect(PvString(name())); break;
                case 1: device->Disconnect(); break;
                case 2: device->ReadRegister(0xA000, value); break;
                default:
                    if (PvGenParameterArray* array = device->GetGenParameters()) {
                        array->GetIntegerValue("Value", feature);
                    }
                    break;
                }
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    device->Disconnect();
    EXPECT_EQ(camera->reg(0x0A00), 0U);
}

}  // namespace
