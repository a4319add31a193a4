// Registers, memory, features, stream channels and the link's parameters of a connected PvDevice.
#include <cstring>

#include "tests/description/builders.h"
#include "tests/sdk/device/device_fixture.h"

namespace {

using namespace std::chrono_literals;
using device_test::Bytes;
using device_test::DeviceSink;
using device_test::DeviceTest;
using device_test::hex;
using device_test::RawCamera;

class DeviceAccess : public DeviceTest {};

TEST_F(DeviceAccess, ToRegisters)
{
    start_and_connect();
    std::uint32_t value = 0;
    EXPECT_TRUE(device->ReadRegister(0xA000, value).IsOK());
    EXPECT_EQ(value, 0x11223344U);
    EXPECT_TRUE(device->WriteRegister(0xA004, 0xCAFEF00D).IsOK());
    EXPECT_EQ(camera->reg(0xA004), 0xCAFEF00DU);
    const PvResult missing = device->ReadRegister(0xFFFFFFF0, value);
    EXPECT_EQ(missing.GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(missing.description(), name() + ": reading register 0xFFFFFFF0 failed: invalid address (status 0x8003)");
    const PvResult protectedRegister = device->WriteRegister(0x0000, 1);
    EXPECT_EQ(protectedRegister.GetCode(), PvResult::StateError);
    EXPECT_NE(protectedRegister.description().find("write protect"), std::string::npos);
}

TEST_F(DeviceAccess, ToMemoryOfAnyAddressAndLength)
{
    start_and_connect();
    Bytes written(701);
    for (std::size_t i = 0; i < written.size(); ++i) {
        written[i] = static_cast<std::uint8_t>(i * 5);
    }
    EXPECT_TRUE(device->WriteMemory(0xB003, written.data(), 701).IsOK());
    Bytes read(701);
    EXPECT_TRUE(device->ReadMemory(0xB003, read.data(), 701).IsOK());
    EXPECT_EQ(read, written);
    EXPECT_EQ(camera->bytes_at(0xB000, 3), std::string("\x00\x00\xB0", 3));
    EXPECT_EQ(device->ReadMemory(0xB000, nullptr, 1).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(device->WriteMemory(0xB000, nullptr, 1).GetCode(), PvResult::InvalidParameter);
    EXPECT_TRUE(device->ReadMemory(0xB000, nullptr, 0).IsOK());
    EXPECT_TRUE(device->ReadMemory(0xB3F0, read.data(), 64).IsFailure());
}

TEST_F(DeviceAccess, IsToldToTheSinks)
{
    start_and_connect();
    device->RegisterEventSink(&sink);
    std::uint32_t value = 0;
    Bytes bytes = {1, 2, 3};
    device->ReadRegister(0xA000, value);
    device->WriteRegister(0xA004, 0x01020304);
    device->WriteMemory(0xB001, bytes.data(), 3);
    device->ReadMemory(0xB001, bytes.data(), 3);
    device->ReadRegister(0xFFFFFFF0, value);  // fails
    device->GetGenParameters()->SetIntegerValue("Value", 7);
    const auto accesses = sink.take_accesses();
    const std::vector<DeviceSink::Access> expected = {{false, 0xA000, hex("11223344")},
                                                      {true, 0xA004, hex("01020304")},
                                                      {true, 0xB001, hex("010203")},
                                                      {false, 0xB001, hex("010203")},
                                                      {true, 0xA000, hex("00000007")}};
    EXPECT_EQ(accesses, expected);

    // the heartbeat is no access of the application's
    const std::int64_t beats = link_value("HeartbeatCount");
    while (link_value("HeartbeatCount") < beats + 2) {
        std::this_thread::yield();
    }
    EXPECT_TRUE(sink.take_accesses().empty());
    EXPECT_TRUE(device->UnregisterEventSink(&sink).IsOK());
    device->ReadRegister(0xA000, value);
    EXPECT_TRUE(sink.take_accesses().empty());
}

TEST_F(DeviceAccess, NotificationsCannotConnectOrDisconnect)
{
    start_and_connect();
    device->RegisterEventSink(&sink);
    std::vector<PvResult::Code> codes;
    sink.on_access = [&] {
        codes.push_back(device->Disconnect().GetCode());
        codes.push_back(device->Connect(PvString(name())).GetCode());
    };
    std::int64_t value = 0;
    EXPECT_TRUE(device->GetGenParameters()->GetIntegerValue("Value", value).IsOK());
    EXPECT_EQ(codes, (std::vector{PvResult::StateError, PvResult::StateError}));
    EXPECT_TRUE(device->IsConnected());
    device->UnregisterEventSink(&sink);
}

TEST_F(DeviceAccess, FeaturesUseTheMessagesThatFitThem)
{
    start_and_connect();
    PvGenParameterArray& array = *device->GetGenParameters();
    std::int64_t value = 0;
    PvString text;
    const int single = camera->count(0x0080);
    const int blocks = camera->count(0x0084);
    EXPECT_TRUE(array.GetIntegerValue("Wide", value).IsOK());
    EXPECT_EQ(value, 0x0000B0100000B014);
    EXPECT_EQ(camera->count(0x0084), blocks + 1);
    EXPECT_TRUE(array.SetString("Text", "hello").IsOK());
    EXPECT_EQ(camera->bytes_at(0xB100, 8), std::string("hello\0\0\0", 8));
    EXPECT_TRUE(array.GetString("Text", text).IsOK());
    EXPECT_EQ(text.str(), "hello");
    EXPECT_GE(camera->count(0x0080), single);
}

TEST_F(DeviceAccess, AFailingFeatureSaysWhichAddressAndWhy)
{
    auto options = sound();
    options.description = device_test::raw_description(
        {.more = camera_xml::int_reg("Nowhere", 0xE000) + camera_xml::int_reg("Outside", 0x100000000),
         .listed = {"Nowhere", "Outside"}});
    start_and_connect(options);
    std::int64_t value = 0;
    const PvResult nowhere = device->GetGenParameters()->GetIntegerValue("Nowhere", value);
    EXPECT_EQ(nowhere.GetCode(), PvResult::InvalidParameter);
    EXPECT_NE(nowhere.description().find("0xE000"), std::string::npos) << nowhere.description();
    EXPECT_NE(nowhere.description().find("invalid address"), std::string::npos) << nowhere.description();
    EXPECT_EQ(device->GetGenParameters()->GetIntegerValue("Outside", value).GetCode(), PvResult::InvalidParameter);
}

// ---- byte order ----

struct ByteOrder {
    const char* name;
    std::uint32_t mode;
    int schema_minor;
    const char* declared;
    const char* rule;
    std::int64_t expected;  // of the register that READREG gives as 0x11223344
};

class ByteOrders : public DeviceTest, public testing::WithParamInterface<ByteOrder> {};

TEST_P(ByteOrders, OfRegistersIsTheStandards)
{
    auto options = sound();
    options.mode = GetParam().mode;
    options.description =
        device_test::raw_description({.schema_minor = GetParam().schema_minor, .byte_order = GetParam().declared});
    start_and_connect(options);
    EXPECT_TRUE(device->GetGenLink()->SetEnumValue("RegisterByteOrder", PvString(GetParam().rule)).IsOK());
    std::int64_t value = 0;
    EXPECT_TRUE(device->GetGenParameters()->GetIntegerValue("Value", value).IsOK());
    EXPECT_EQ(value, GetParam().expected);
    EXPECT_TRUE(device->GetGenParameters()->SetIntegerValue("Value", GetParam().expected + 1).IsOK());
    EXPECT_TRUE(device->GetGenParameters()->GetIntegerValue("Value", value).IsOK());
    EXPECT_EQ(value, GetParam().expected + 1);
}

INSTANTIATE_TEST_SUITE_P(
    Device, ByteOrders,
    testing::Values(ByteOrder{"BigEndianNewSchema", 0x80000001, 1, "BigEndian", "Automatic", 0x11223344},
                    ByteOrder{"BigEndianOldSchema", 0x80000001, 0, "BigEndian", "Automatic", 0x11223344},
                    // READMEM of a little-endian device has the bytes of a register the other way round
                    ByteOrder{"LittleEndianNewSchema", 0x00000001, 1, "LittleEndian", "Automatic", 0x11223344},
                    ByteOrder{"LittleEndianOldSchema", 0x00000001, 0, "BigEndian", "Automatic", 0x11223344},
                    // declares the new schema and behaves as the old one
                    ByteOrder{"LittleEndianForcedLegacy", 0x00000001, 1, "BigEndian", "Legacy", 0x11223344},
                    ByteOrder{"LittleEndianForcedMemory", 0x00000001, 0, "LittleEndian", "Memory", 0x11223344}),
    [](const auto& tested) { return std::string(tested.param.name); });

TEST_F(DeviceAccess, OfFeaturesGoesUpToTheLastAddress)
{
    auto options = sound();
    options.description = device_test::raw_description(
        {.more = camera_xml::int_reg("Last", 0xFFFFFFFC) + camera_xml::int_reg("Beyond", 0xFFFFFFFD),
         .listed = {"Last", "Beyond"}});
    start_and_connect(options);
    camera->set_reg(0xFFFFFFFC, 9);
    std::int64_t value = 0;
    const PvResult last = device->GetGenParameters()->GetIntegerValue("Last", value);
    EXPECT_TRUE(last.IsOK()) << last.description();
    EXPECT_EQ(value, 9);
    EXPECT_EQ(device->GetGenParameters()->GetIntegerValue("Beyond", value).GetCode(), PvResult::InvalidParameter);
}

// ---- stream channels ----

TEST_F(DeviceAccess, SetsAndResetsTheStreamDestination)
{
    start_and_connect();
    camera->set_reg(0x0D00, 0x00020000);  // the device's third network interface
    EXPECT_TRUE(device->SetStreamDestination("239.1.2.3", 50000).IsOK());
    EXPECT_EQ(camera->reg(0x0D18), 0xEF010203U);
    EXPECT_EQ(camera->reg(0x0D00), 0x00020000U | 50000U);
    EXPECT_TRUE(device->ResetStreamDestination().IsOK());
    EXPECT_EQ(camera->reg(0x0D18), 0U);
    EXPECT_EQ(camera->reg(0x0D00), 0x00020000U);
}

TEST_F(DeviceAccess, TellsWhatAStreamDestinationReadsAndWrites)
{
    start_and_connect();
    device->RegisterEventSink(&sink);
    ASSERT_TRUE(device->SetStreamDestination("239.1.2.3", 0x1234).IsOK());
    const auto accesses = sink.take_accesses();
    ASSERT_EQ(accesses.size(), 3U);
    EXPECT_FALSE(accesses[0].write);
    EXPECT_EQ(accesses[0].address, 0x0D00);
    EXPECT_EQ(accesses[1], (device_test::DeviceSink::Access{true, 0x0D18, {239, 1, 2, 3}}));
    EXPECT_EQ(accesses[2], (device_test::DeviceSink::Access{true, 0x0D00, {0, 0, 0x12, 0x34}}));
}

TEST_F(DeviceAccess, TellsTheFeaturesOfAStreamDestination)
{
    auto options = sound();
    options.description =
        device_test::raw_description({.more = camera_xml::int_reg("GevSCDA", 0x0D18), .listed = {"GevSCDA"}});
    start_and_connect(options);
    std::int64_t destination = -1;
    EXPECT_TRUE(device->GetGenParameters()->GetIntegerValue("GevSCDA", destination).IsOK());
    EXPECT_EQ(destination, 0);
    EXPECT_TRUE(device->SetStreamDestination("239.1.2.3", 50000).IsOK());
    EXPECT_TRUE(device->GetGenParameters()->GetIntegerValue("GevSCDA", destination).IsOK());
    EXPECT_EQ(destination, 0xEF010203);
}

TEST_F(DeviceAccess, RefusesStreamDestinationsThatAreNone)
{
    start_and_connect();
    EXPECT_EQ(device->SetStreamDestination("camera", 50000).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(device->SetStreamDestination("0.0.0.0", 50000).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(device->SetStreamDestination("127.0.0.1", 0).GetCode(), PvResult::InvalidParameter);
    const PvResult channel = device->SetStreamDestination("127.0.0.1", 50000, 1);
    EXPECT_EQ(channel.GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(channel.description(), "The device " + name() + " has 1 stream channels; there is no channel 1");
    EXPECT_EQ(device->ResetStreamDestination(7).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(device->NegotiatePacketSize(7).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(device->ReportStreamTimeout(7).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(device->ResetStreamTimeoutCounter(7).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(camera->reg(0x0D00), 0U);
}

TEST_F(DeviceAccess, NegotiatesWithinTheFeaturesLimitsAndTellsTheFeature)
{
    start_and_connect();
    std::int64_t before = 0;
    device->GetGenParameters()->GetIntegerValue("GevSCPSPacketSize", before);
    EXPECT_EQ(before, 1500);
    const PvResult result = device->NegotiatePacketSize();
    EXPECT_TRUE(result.IsOK()) << result.description();
    EXPECT_EQ(camera->reg(0x0D04), 8100U);
    std::int64_t after = 0;
    device->GetGenParameters()->GetIntegerValue("GevSCPSPacketSize", after);
    EXPECT_EQ(after, 8100);
}

TEST_F(DeviceAccess, CountsReportedStreamTimeouts)
{
    start_and_connect();
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(device->ReportStreamTimeout().IsOK());
    }
    EXPECT_EQ(link_value("StreamTimeoutCount"), 3);
    EXPECT_TRUE(device->ResetStreamTimeoutCounter().IsOK());
    EXPECT_EQ(link_value("StreamTimeoutCount"), 0);
}

// ---- reset ----

TEST_F(DeviceAccess, ResetsByTheDevicesFeature)
{
    start_and_connect();
    EXPECT_TRUE(device->Reset().IsOK());
    EXPECT_EQ(camera->reg(0xA008), 1U);
}

TEST_F(DeviceAccess, AResetThatIsNotAcknowledgedIsAReset)
{
    start_and_connect();
    device->GetGenLink()->SetIntegerValue("AnswerTimeout", 20);
    camera->intercept([&](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x82 && request[10] == 0xA0 && request[11] == 0x08) {
            return std::vector<Bytes>{};
        }
        return std::nullopt;
    });
    const PvResult result = device->Reset();
    EXPECT_TRUE(result.IsOK());
    EXPECT_NE(result.description().find("did not acknowledge"), std::string::npos);
}

// ---- the link ----

TEST_F(DeviceAccess, TheLinksRetriesAreTheApplications)
{
    start_and_connect();
    PvGenParameterArray& link = *device->GetGenLink();
    EXPECT_EQ(link_value("AnswerTimeout"), 500);
    EXPECT_EQ(link_value("CommandRetries"), 3);
    EXPECT_TRUE(link.SetIntegerValue("AnswerTimeout", 30).IsOK());
    EXPECT_TRUE(link.SetIntegerValue("CommandRetries", 1).IsOK());
    EXPECT_EQ(link.SetIntegerValue("AnswerTimeout", 0).GetCode(), PvResult::InvalidParameter);
    camera->intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] == 0x80 && request[10] == 0xA0) {
            return std::vector<Bytes>{};
        }
        return std::nullopt;
    });
    std::uint32_t value = 0;
    const PvResult result = device->ReadRegister(0xA000, value);
    EXPECT_EQ(result.GetCode(), PvResult::Timeout);
    EXPECT_NE(result.description().find("no answer (2 attempts, "), std::string::npos) << result.description();
    EXPECT_EQ(link_value("CommandRetryCount"), 1);
    EXPECT_EQ(link_value("CommandFailureCount"), 1);

    // it holds for the next connection too
    camera->intercept(nullptr);
    device->Disconnect();
    ASSERT_TRUE(connect().IsOK());
    EXPECT_EQ(link_value("AnswerTimeout"), 30);
}

TEST_F(DeviceAccess, TheLinkCountsAndForgets)
{
    start_and_connect();
    std::uint32_t value = 0;
    device->ReadRegister(0xA000, value);
    EXPECT_GE(link_value("CommandCount"), 10);
    // the heartbeat goes on, so the extremes are read last
    for (const char* name : {"LastRoundTripTime", "MeanRoundTripTime", "RoundTripTimePercentile99"}) {
        const std::int64_t time = link_value(name);
        EXPECT_LE(link_value("ShortestRoundTripTime"), time) << name;
        EXPECT_GE(link_value("LongestRoundTripTime"), time) << name;
    }
    EXPECT_GT(link_value("ShortestRoundTripTime"), 0);
    camera->intercept([](const Bytes& request) -> std::optional<std::vector<Bytes>> {
        if (request[3] != 0x80 || request[10] != 0xA0) {
            return std::nullopt;
        }
        const Bytes good = RawCamera::ack(request, 0, {0, 0, 0, 9});
        Bytes stale = good;
        stale[6] = static_cast<std::uint8_t>(stale[6] ^ 0x40);
        Bytes pending = RawCamera::ack(request, 0, {0, 0, 0, 100});
        pending[3] = 0x89;
        const Bytes cut(good.begin(), good.begin() + 9);
        return std::vector<Bytes>{stale, cut, pending, good};
    });
    EXPECT_TRUE(device->ReadRegister(0xA000, value).IsOK());
    EXPECT_EQ(value, 9U);
    EXPECT_EQ(link_value("StaleAnswerCount"), 1);
    EXPECT_EQ(link_value("MalformedAnswerCount"), 1);
    EXPECT_EQ(link_value("PendingAnswerCount"), 1);
    EXPECT_EQ(link_value("ForeignDatagramCount"), 0);
    EXPECT_TRUE(device->GetGenLink()->ExecuteCommand("ResetStatistics").IsOK());
    EXPECT_EQ(link_value("StaleAnswerCount"), 0);
}

TEST_F(DeviceAccess, TheHeartbeatTimeoutIsWrittenToTheDevice)
{
    start_and_connect();
    EXPECT_EQ(link_value("HeartbeatTimeout"), 400);
    EXPECT_TRUE(device->GetGenLink()->SetIntegerValue("HeartbeatTimeout", 5000).IsOK());
    EXPECT_EQ(camera->reg(0x0938), 5000U);
    EXPECT_EQ(link_value("HeartbeatTimeout"), 5000);
    device->Disconnect();
    camera->set_reg(0x0938, 400);
    ASSERT_TRUE(connect().IsOK());
    EXPECT_EQ(camera->reg(0x0938), 5000U);
}

TEST_F(DeviceAccess, TheHeartbeatCanBeSwitchedOffWhereTheDeviceAllowsIt)
{
    start_and_connect();
    EXPECT_EQ(device->GetGenLink()->SetBooleanValue("HeartbeatDisable", true).GetCode(), PvResult::NotSupported);
    device->Disconnect();

    auto options = sound();
    options.capabilities |= 0x20000000;
    start_and_connect(options);
    EXPECT_TRUE(device->GetGenLink()->SetBooleanValue("HeartbeatDisable", true).IsOK());
    EXPECT_EQ(camera->reg(0x0954), 1U);
    device->Disconnect();
    EXPECT_EQ(camera->reg(0x0954), 0U);
    ASSERT_TRUE(connect().IsOK());
    EXPECT_EQ(camera->reg(0x0954), 1U);
    EXPECT_TRUE(device->GetGenLink()->SetBooleanValue("HeartbeatDisable", false).IsOK());
    EXPECT_EQ(camera->reg(0x0954), 0U);
}

// ---- FORCEIP ----

TEST_F(DeviceAccess, SetsAnIpConfigurationWithoutAConnection)
{
    start();
    const PvResult result = PvDevice::SetIPConfiguration("02:11:22:33:44:24", "127.1.2.3", "", "");
    EXPECT_TRUE(result.IsOK()) << result.description();
    EXPECT_EQ(camera->reg(0x0024), 0x7F010203U);
    EXPECT_EQ(camera->reg(0x0034), 0xFF000000U);
    EXPECT_EQ(PvDevice::SetIPConfiguration("nobody", "127.1.2.3", "", "").GetCode(), PvResult::InvalidParameter);
}

}  // namespace
