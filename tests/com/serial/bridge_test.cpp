// VexSerialBridge as clients use it, between a software camera and a program at the other end of a pipe.
#include <span>
#include <string>
#include <system_error>
#include <vector>

#include "sdk/net/pipe.h"
#include "tests/com/devices/camera_client.h"
#include "tests/sdk/net/serial_wire.h"

namespace {

using namespace client;
using vex::net::Pipe;
using vex::net::PipeName;

constexpr std::chrono::milliseconds patience{30'000};

class SerialBridge : public CameraTest {
protected:
    SerialBridge()
    {
        EXPECT_EQ(
            code_of([&](IVexResult** out) { return device->ConnectString(Text(address), VexAccessControl, out); }),
            VexOK);
    }

    VexResultCode start(const wchar_t* name = L"tcp:0", VexIPEngineSerial port = VexIPEngineSerial0)
    {
        EXPECT_EQ(bridge->Start(Text(name), device.get(), port, result.put()), S_OK);
        return value_of(result, &IVexResult::get_Code);
    }
    VexResultCode set(const Ref<IVexSerialPortConfiguration>& configuration)
    {
        EXPECT_EQ(bridge->SetSerialPortConfiguration(configuration.get(), result.put()), S_OK);
        return value_of(result, &IVexResult::get_Code);
    }
    Ref<IVexSerialPortConfiguration> configuration()
    {
        return object_of(bridge, &IVexSerialBridge::GetSerialPortConfiguration);
    }
    static unsigned int rate(const Ref<IVexSerialPortConfiguration>& of)
    {
        return value_of(of, &IVexSerialPortConfiguration::get_BaudRate);
    }
    [[nodiscard]] bool says(const std::wstring& what) const
    {
        return text_of(result, &IVexResult::get_Description).find(what) != std::wstring::npos;
    }
    [[nodiscard]] long long feature(const wchar_t* name)
    {
        const auto features = object_of(device, &IVexDevice::get_GenParameters);
        __int64 value = -1;
        EXPECT_EQ(features->GetIntegerValue(Text(name), &value, result.put()), S_OK);
        EXPECT_EQ(value_of(result, &IVexResult::get_Code), VexOK);
        return value;
    }
    /// Sends a line to the camera's command line device, and what it answers.
    static std::string ask(const std::string& name, const std::string& line, std::size_t size)
    {
        const auto pipe = Pipe::connect(*PipeName::parse(name), patience);
        std::error_code error;
        pipe->write({reinterpret_cast<const std::uint8_t*>(line.data()), line.size()}, patience, error);
        std::vector<std::uint8_t> bytes(size);
        std::size_t count = 0;
        while (count < size && !error) {
            count += pipe->read(std::span(bytes).subspan(count), patience, error);
        }
        return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(count)};
    }
    std::string name()
    {
        const std::wstring wide = text_of(bridge, &IVexSerialBridge::get_Name);
        return {wide.begin(), wide.end()};
    }

    Ref<IVexDevice> device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
    Ref<IVexSerialBridge> bridge = create<IVexSerialBridge>(L"VexKamCOMWrapper.VexSerialBridge.1");
    Ref<IVexResult> result;
};

TEST_F(SerialBridge, HasNothingToTellAtFirst)
{
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::get_BaudRate), 9600u);
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::get_BytesReceivedFromDevice), 0u);
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::get_BytesSentToDevice), 0u);
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::get_DevicePort), VexIPEngineSerialInvalid);
    EXPECT_EQ(text_of(bridge, &IVexSerialBridge::get_Name), L"");
    EXPECT_EQ(text_of(bridge, &IVexSerialBridge::get_SerialPort), L"");
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::get_SupportedBaudRateCount), 0u);
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::GetHardCodedBaudRate), 0u);
    EXPECT_EQ(code_of(bridge, &IVexSerialBridge::Stop), VexStateError);
    EXPECT_EQ(code_of(bridge, &IVexSerialBridge::Recover), VexStateError);
}

TEST_F(SerialBridge, CarriesAndCountsBytes)
{
    ASSERT_EQ(start(L"tcp:0", VexIPEngineSerial1), VexOK);
    EXPECT_EQ(ask(name(), "id\r", 18), "SoftCam COM-TEST\r\n");
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::get_DevicePort), VexIPEngineSerial1);
    EXPECT_TRUE(await([&] { return value_of(bridge, &IVexSerialBridge::get_BytesSentToDevice) == 3; }));
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::get_BytesReceivedFromDevice), 18u);
    EXPECT_EQ(code_of(bridge, &IVexSerialBridge::Recover), VexOK);
    EXPECT_EQ(code_of(bridge, &IVexSerialBridge::Stop), VexOK);
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::get_BytesSentToDevice), 3u);
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::get_BytesReceivedFromDevice), 18u);
    EXPECT_EQ(bridge->ResetStatistics(), S_OK);
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::get_BytesSentToDevice), 0u);
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::get_BytesReceivedFromDevice), 0u);
}

TEST_F(SerialBridge, ServesANamedPipe)
{
    const std::wstring named = L"com-test-" + std::to_wstring(GetCurrentProcessId());
    ASSERT_EQ(start(named.c_str(), VexIPEngineSerial1), VexOK);
    EXPECT_EQ(text_of(bridge, &IVexSerialBridge::get_Name), named);
    EXPECT_EQ(ask(name(), "temp\r", 11), "temp 38.5\r\n");
}

TEST_F(SerialBridge, ShowsItsConfigurationByOneObject)
{
    const auto first = configuration();
    ASSERT_TRUE(first);
    EXPECT_EQ(rate(first), 9600u);
    ASSERT_EQ(first->put_BaudRate(57'600), S_OK);
    EXPECT_EQ(rate(first), 57'600u);
    const auto second = configuration();
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(rate(first), 9600u) << "as it is";
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::get_BaudRate), 9600u) << "changing it changes nothing";
}

TEST_F(SerialBridge, TakesItsOwnConfigurationObjectWithAChange)
{
    ASSERT_EQ(start(), VexOK);
    const auto shown = configuration();
    EXPECT_EQ(rate(shown), 115'200u);
    ASSERT_EQ(shown->put_BaudRate(57'600), S_OK);
    EXPECT_EQ(feature(L"IPEngineSerial0BaudRate"), 115'200);
    ASSERT_EQ(set(shown), VexOK);
    EXPECT_EQ(feature(L"IPEngineSerial0BaudRate"), 57'600);
    EXPECT_EQ(rate(configuration()), 57'600u);
    ASSERT_EQ(shown->MakeInvalid(), S_OK);
    EXPECT_EQ(set(shown), VexInvalidParameter);
    EXPECT_TRUE(says(L"baud rate 0")) << text_of(result, &IVexResult::get_Description);
    EXPECT_EQ(rate(configuration()), 57'600u);
}

TEST_F(SerialBridge, LeavesTheCallersConfigurationAlone)
{
    const auto mine = create<IVexSerialPortConfiguration>(L"VexKamCOMWrapper.VexSerialPortConfigu.1");
    ASSERT_EQ(mine->put_BaudRate(38'400), S_OK);
    ASSERT_EQ(mine->put_StopBits(2), S_OK);
    ASSERT_EQ(set(mine), VexOK);
    EXPECT_EQ(rate(configuration()), 38'400u);
    EXPECT_NE(configuration().get(), mine.get());
    ASSERT_EQ(mine->put_BaudRate(19'200), S_OK);
    EXPECT_EQ(rate(configuration()), 38'400u) << "a copy was taken";

    EXPECT_EQ(bridge->Starts(Text(L"COM199"), mine.get(), device.get(), VexIPEngineSerial0, result.put()), S_OK);
    EXPECT_EQ(value_of(result, &IVexResult::get_Code), VexNotFound);
    EXPECT_EQ(rate(mine), 19'200u);
    EXPECT_EQ(value_of(mine, &IVexSerialPortConfiguration::get_StopBits), 2u);
}

TEST_F(SerialBridge, JoinsASerialLine)
{
    SKIP_WITHOUT_WIRE();
    SerialWire wire;
    const std::wstring line(wire.name().begin(), wire.name().end());
    const auto mine = create<IVexSerialPortConfiguration>(L"VexKamCOMWrapper.VexSerialPortConfigu.1");
    ASSERT_EQ(mine->put_BaudRate(57'600), S_OK);
    EXPECT_EQ(bridge->Starts(Text(line), mine.get(), device.get(), VexIPEngineSerial1, result.put()), S_OK);
    ASSERT_EQ(value_of(result, &IVexResult::get_Code), VexOK) << text_of(result, &IVexResult::get_Description);
    EXPECT_EQ(rate(mine), 57'600u);
    EXPECT_EQ(text_of(bridge, &IVexSerialBridge::get_SerialPort), line);
    EXPECT_EQ(text_of(bridge, &IVexSerialBridge::get_Name), L"");
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::get_BaudRate), 57'600u);
    EXPECT_EQ(feature(L"IPEngineSerial1BaudRate"), 57'600);
    wire.send("id\r");
    const auto bytes = wire.receive(18);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "SoftCam COM-TEST\r\n");
}

TEST_F(SerialBridge, KeepsAHardCodedBaudRate)
{
    ASSERT_EQ(start(), VexOK);
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::get_SupportedBaudRateCount), 11u);
    const auto supported = [&](unsigned int index) {
        unsigned int listed = 77;
        EXPECT_EQ(bridge->GetSupportedBaudRate(index, &listed), S_OK);
        return listed;
    };
    EXPECT_EQ(supported(0), 1200u);
    EXPECT_EQ(supported(10), 921'600u);
    EXPECT_EQ(supported(11), 0u);
    const auto hard_code = [&](unsigned int baud_rate) {
        EXPECT_EQ(bridge->SetHardCodedBaudRate(baud_rate, result.put()), S_OK);
        return value_of(result, &IVexResult::get_Code);
    };
    EXPECT_EQ(hard_code(19'200), VexOK);
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::GetHardCodedBaudRate), 19'200u);
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::get_BaudRate), 19'200u);
    EXPECT_EQ(feature(L"IPEngineSerial0BaudRate"), 19'200);
    EXPECT_EQ(hard_code(12'345), VexNotSupported);
    EXPECT_EQ(value_of(bridge, &IVexSerialBridge::GetHardCodedBaudRate), 19'200u);
}

TEST_F(SerialBridge, FailsToStartWithWords)
{
    EXPECT_EQ(start(L"a/b"), VexInvalidParameter);
    EXPECT_TRUE(says(L"cannot be the name"));
    EXPECT_EQ(start(L"tcp:0", VexIPEngineSerialBulk7), VexNotSupported);
    EXPECT_TRUE(says(L"Bulk7"));
    EXPECT_EQ(bridge->Start(Text(L"tcp:0"), nullptr, VexIPEngineSerial0, result.put()), E_POINTER);
    EXPECT_FALSE(result);
    EXPECT_EQ(bridge->SetSerialPortConfiguration(nullptr, result.put()), E_POINTER);
    ASSERT_EQ(start(), VexOK);
    EXPECT_EQ(start(), VexStateError);
    EXPECT_TRUE(says(L"runs already"));
    const auto port = create<IVexSerialPortIPEngine>(L"VexKamCOMWrapper.VexSerialPortIPEngin.1");
    EXPECT_EQ(port->Open(device.get(), VexIPEngineSerial0, result.put()), S_OK);
    EXPECT_EQ(value_of(result, &IVexResult::get_Code), VexStateError);
    EXPECT_EQ(code_of(bridge, &IVexSerialBridge::Stop), VexOK);
    EXPECT_EQ(code_of(device, &IVexDevice::Disconnect), VexOK);
    EXPECT_EQ(start(), VexNotConnected);
}

TEST_F(SerialBridge, LeavesAConfigurationObjectThatFailsWhenItGoes)
{
    const auto kept = configuration();
    ASSERT_EQ(start(), VexOK);
    bridge = {};
    unsigned int number = 5;
    EXPECT_EQ(kept->get_BaudRate(&number), E_POINTER);
    EXPECT_EQ(number, 5u);
    EXPECT_EQ(kept->put_BaudRate(1), E_POINTER);
    const auto judged = object_of(kept, &IVexSerialPortConfiguration::get_IsValid);
    EXPECT_EQ(value_of(judged, &IVexResult::get_Code), VexNotInitialized);
    // and the port is free again
    const auto port = create<IVexSerialPortIPEngine>(L"VexKamCOMWrapper.VexSerialPortIPEngin.1");
    EXPECT_EQ(port->Open(device.get(), VexIPEngineSerial0, result.put()), S_OK);
    EXPECT_EQ(value_of(result, &IVexResult::get_Code), VexOK);
}

TEST_F(SerialBridge, OutlivesItsDevice)
{
    ASSERT_EQ(start(), VexOK);
    device = {};
    EXPECT_EQ(code_of(bridge, &IVexSerialBridge::Recover), VexNotConnected);
    EXPECT_EQ(code_of(bridge, &IVexSerialBridge::Stop), VexOK);
}

TEST_F(SerialBridge, IsUsedLateBound)
{
    LateBound script(bridge.get());
    Variant value;
    const auto number = [&](const wchar_t* member) {
        EXPECT_EQ(script.get(member, value), S_OK);
        return value.text();
    };
    ASSERT_EQ(script.call(L"Start", {Variant(L"tcp:0"), Variant(device.get()), Variant(1)}, &value), S_OK);
    Variant ok;
    EXPECT_EQ(LateBound(value->pdispVal).get(L"IsOK", ok), S_OK);
    EXPECT_EQ(ok->boolVal, 1);
    EXPECT_EQ(ask(name(), "id\r", 18), "SoftCam COM-TEST\r\n");
    EXPECT_EQ(number(L"BytesReceivedFromDevice"), L"18");
    EXPECT_EQ(value.type(), VT_UI8);
    EXPECT_EQ(number(L"DevicePort"), L"1");
    Variant first;
    ASSERT_EQ(script.call(L"GetSerialPortConfiguration", {}, &first), S_OK);
    LateBound shown(first->pdispVal);
    EXPECT_EQ(shown.put(L"BaudRate", Variant(57'600)), S_OK);
    ASSERT_EQ(script.call(L"SetSerialPortConfiguration", {first}, &value), S_OK);
    EXPECT_EQ(number(L"BaudRate"), L"57600");
    EXPECT_EQ(shown.put(L"BaudRate", Variant(300)), S_OK);
    Variant second;
    ASSERT_EQ(script.call(L"GetSerialPortConfiguration", {}, &second), S_OK);
    EXPECT_EQ(first->pdispVal, second->pdispVal);
    EXPECT_EQ(shown.get(L"BaudRate", value), S_OK);
    EXPECT_EQ(value.text(), L"57600");
    EXPECT_EQ(script.call(L"ResetStatistics", {}), S_OK);
    EXPECT_EQ(number(L"BytesReceivedFromDevice"), L"0");
    ASSERT_EQ(script.call(L"Stop", {}, &value), S_OK);
}

TEST_F(SerialBridge, RefusesNullOutputs)
{
    EXPECT_EQ(bridge->get_BaudRate(nullptr), E_POINTER);
    EXPECT_EQ(bridge->get_BytesSentToDevice(nullptr), E_POINTER);
    EXPECT_EQ(bridge->get_Name(nullptr), E_POINTER);
    EXPECT_EQ(bridge->GetSerialPortConfiguration(nullptr), E_POINTER);
    EXPECT_EQ(bridge->Stop(nullptr), E_POINTER);
}

}  // namespace
