// VexDevice as clients use it, against a software camera.
#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <vector>

#include "tests/com/devices/camera_client.h"

namespace {

using namespace client;

// registers that every device has
constexpr unsigned int serial_number = 0x00D8;
constexpr unsigned int user_defined_name = 0x00E8;
constexpr unsigned int heartbeat_timeout = 0x0938;
constexpr unsigned int stream_port = 0x0D00;
constexpr unsigned int packet_size = 0x0D04;
constexpr unsigned int stream_address = 0x0D18;

class Device : public CameraTest {
protected:
    [[nodiscard]] VexResultCode connect(const wchar_t* to = address, VexAccessType access = VexAccessControl) const
    {
        return code_of([&](IVexResult** result) { return device->ConnectString(Text(to), access, result); });
    }
    [[nodiscard]] VexResultCode disconnect() const
    {
        return code_of([&](IVexResult** result) { return device->Disconnect(result); });
    }
    [[nodiscard]] VARIANT_BOOL is_connected() const { return value_of(device, &IVexDevice::get_IsConnected); }
    [[nodiscard]] Ref<IVexGenParameterArray> parameters() const
    {
        return object_of(device, &IVexDevice::get_GenParameters);
    }
    [[nodiscard]] unsigned int read(unsigned int at) const
    {
        unsigned int value = 0;
        EXPECT_EQ(code_of([&](IVexResult** result) { return device->ReadRegister(at, &value, result); }), VexOK);
        return value;
    }

    Ref<IVexDevice> device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
};

TEST_F(Device, IsDisconnectedAndHasNoFeaturesAtFirst)
{
    EXPECT_EQ(is_connected(), 0);
    EXPECT_EQ(value_of(device, &IVexDevice::get_IsIPEngine), 0);
    EXPECT_FALSE(parameters());
    EXPECT_EQ(disconnect(), VexOK);
}

TEST_F(Device, HasLinkParametersBeforeAnyConnection)
{
    const auto get_link = [&](IVexGenParameterArray** out) { return device->get_GenLink(out); };
    const auto link = object_of<IVexGenParameterArray>(get_link);
    ASSERT_TRUE(link);
    EXPECT_EQ(object_of<IVexGenParameterArray>(get_link).get(), link.get());
    __int64 timeout = 0;
    EXPECT_EQ(
        code_of([&](IVexResult** result) { return link->GetIntegerValue(Text(L"AnswerTimeout"), &timeout, result); }),
        VexOK);
    EXPECT_GT(timeout, 0);
}

TEST_F(Device, ConnectsByAddressAndShowsItsFeatures)
{
    ASSERT_EQ(connect(), VexOK);
    EXPECT_EQ(is_connected(), 1);  // not VARIANT_TRUE
    const auto features = parameters();
    ASSERT_TRUE(features);
    EXPECT_EQ(parameters().get(), features.get());
    EXPECT_NE(object_of(device, &IVexDevice::get_GenLink).get(), features.get());
    __int64 width = 0;
    EXPECT_EQ(code_of([&](IVexResult** result) { return features->GetIntegerValue(Text(L"Width"), &width, result); }),
              VexOK);
    EXPECT_GT(width, 0);
    EXPECT_EQ(disconnect(), VexOK);
    EXPECT_EQ(is_connected(), 0);
    // the array of the last connection stays
    EXPECT_EQ(parameters().get(), features.get());
}

TEST_F(Device, ReportsAFailedConnectionInTheResultAlone)
{
    EXPECT_EQ(connect(L""), VexInvalidParameter);
    EXPECT_EQ(connect(nullptr), VexInvalidParameter);
    EXPECT_EQ(connect(address, VexAccessUnknown), VexInvalidParameter);
    EXPECT_EQ(connect(L"no camera of this name"), VexNotFound);
    EXPECT_EQ(is_connected(), 0);
    ASSERT_EQ(connect(), VexOK);
    EXPECT_EQ(connect(), VexStateError);
    EXPECT_EQ(is_connected(), 1);
}

TEST_F(Device, IsRefusedWhileAnotherHoldsControl)
{
    ASSERT_EQ(connect(), VexOK);
    const auto second = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice");
    Ref<IVexResult> result;
    ASSERT_EQ(second->ConnectString(Text(address), VexAccessExclusive, result.put()), S_OK);
    EXPECT_EQ(value_of(result, &IVexResult::get_Code), VexStateError);
    EXPECT_NE(text_of(result, &IVexResult::get_Description), L"");
}

TEST_F(Device, RefusesWhatIsNoDeviceInformation)
{
    Ref<IVexResult> result;
    EXPECT_EQ(device->ConnectDeviceInfo(nullptr, VexAccessControl, result.put()), E_POINTER);
}

TEST_F(Device, SavesItsDescription)
{
    BSTR name = SysAllocString(L"stale");
    SysFreeString(std::exchange(name, nullptr));
    EXPECT_NE(code_of([&](IVexResult** result) { return device->GetDefaultGenICamXMLFilename(&name, result); }), VexOK);
    // written although the call failed
    EXPECT_NE(name, nullptr);
    EXPECT_EQ(take(std::exchange(name, nullptr)), L"");

    ASSERT_EQ(connect(), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return device->GetDefaultGenICamXMLFilename(&name, result); }), VexOK);
    const std::wstring file_name = take(name);
    ASSERT_GT(file_name.size(), 4U);
    EXPECT_EQ(file_name.substr(file_name.size() - 4), L".xml");

    const std::filesystem::path path = std::filesystem::temp_directory_path() / L"com_device_test.xml";
    EXPECT_EQ(code_of([&](IVexResult** result) { return device->DumpGenICamXML(Text(path.wstring()), result); }),
              VexOK);
    std::string start(5, '\0');
    std::ifstream(path, std::ios::binary).read(start.data(), 5);
    EXPECT_EQ(start, "<?xml");
    std::filesystem::remove(path);
    EXPECT_EQ(code_of([&](IVexResult** result) {
                  return device->DumpGenICamXML(Text(L"Q:\\no\\such\\folder\\x.xml"), result);
              }),
              VexCannotOpenFile);
}

TEST_F(Device, ReadsAndWritesRegisters)
{
    unsigned int value = 1;
    EXPECT_EQ(code_of([&](IVexResult** result) { return device->ReadRegister(packet_size, &value, result); }),
              VexNotConnected);
    EXPECT_EQ(value, 0U);
    ASSERT_EQ(connect(), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return device->WriteRegister(heartbeat_timeout, 4321, result); }),
              VexOK);
    EXPECT_EQ(read(heartbeat_timeout), 4321U);
    EXPECT_NE(code_of([&](IVexResult** result) { return device->WriteRegister(0, 1, result); }), VexOK);
    EXPECT_NE(code_of([&](IVexResult** result) { return device->ReadRegister(2, &value, result); }), VexOK);
}

TEST_F(Device, ReadsAndWritesMemoryInTheClientsArray)
{
    ASSERT_EQ(connect(), VexOK);
    const Variant read_into(VT_UI1, SafeArrayCreateVector(VT_UI1, 0, 16));
    EXPECT_EQ(
        code_of([&](IVexResult** result) { return device->ReadMemory(serial_number, read_into->parray, 16, result); }),
        VexOK);
    const std::vector<unsigned char> bytes = bytes_of(read_into->parray);
    EXPECT_EQ(std::string(bytes.begin(), bytes.begin() + 9), std::string("COM-TEST\0", 9));

    const Variant written(VT_UI1, byte_array({'n', 'a', 'm', 'e', 0, 0, 0, 0}));
    EXPECT_EQ(code_of([&](IVexResult** result) {
                  return device->WriteMemory(user_defined_name, written->parray, 8, result);
              }),
              VexOK);
    // a part of the array only
    EXPECT_EQ(code_of([&](IVexResult** result) {
                  return device->ReadMemory(user_defined_name, read_into->parray, 4, result);
              }),
              VexOK);
    const std::vector<unsigned char> after = bytes_of(read_into->parray);
    EXPECT_EQ(std::string(after.begin(), after.begin() + 8), "nameTEST");
}

TEST_F(Device, PassesTheByteCountOnUncheckedByTheArraysSize)
{
    ASSERT_EQ(connect(), VexOK);
    // an array of four elements over memory that has sixteen
    std::array<unsigned char, 16> memory{};
    SAFEARRAY* array = nullptr;
    ASSERT_EQ(SafeArrayAllocDescriptorEx(VT_UI1, 1, &array), S_OK);
    array->cbElements = 1;
    array->rgsabound[0] = {4, 0};
    array->pvData = memory.data();
    array->fFeatures |= FADF_AUTO | FADF_FIXEDSIZE;
    EXPECT_EQ(code_of([&](IVexResult** result) { return device->ReadMemory(serial_number, array, 16, result); }),
              VexOK);
    EXPECT_EQ(std::string(memory.begin(), memory.begin() + 8), "COM-TEST");
    array->pvData = nullptr;
    EXPECT_EQ(SafeArrayDestroyDescriptor(array), S_OK);
}

TEST_F(Device, ReturnsTheFailureOfAnArrayThatCannotBeAccessed)
{
    ASSERT_EQ(connect(), VexOK);
    Ref<IVexResult> result;
    EXPECT_EQ(device->ReadMemory(serial_number, nullptr, 16, result.put()), E_INVALIDARG);
    EXPECT_FALSE(result);
    EXPECT_EQ(device->WriteMemory(user_defined_name, nullptr, 16, result.put()), E_INVALIDARG);
    EXPECT_FALSE(result);
}

TEST_F(Device, SetsAndResetsTheStreamsDestination)
{
    ASSERT_EQ(connect(), VexOK);
    const auto set = [&](const wchar_t* ip, unsigned short port, unsigned int channel) {
        return code_of(
            [&](IVexResult** result) { return device->SetStreamDestination(Text(ip), port, channel, result); });
    };
    EXPECT_EQ(set(L"127.0.0.1", 5004, 0), VexOK);
    EXPECT_EQ(read(stream_address), 0x7F000001U);
    EXPECT_EQ(read(stream_port) & 0xFFFF, 5004U);
    EXPECT_EQ(set(L"127.0.0.1", 0, 0), VexInvalidParameter);
    EXPECT_EQ(set(L"somewhere", 5004, 0), VexInvalidParameter);
    EXPECT_EQ(set(nullptr, 5004, 0), VexInvalidParameter);
    EXPECT_EQ(set(L"127.0.0.1", 5004, 77), VexInvalidParameter);
    EXPECT_EQ(code_of([&](IVexResult** result) { return device->ResetStreamDestination(0, result); }), VexOK);
    EXPECT_EQ(read(stream_port) & 0xFFFF, 0U);
}

TEST_F(Device, NegotiatesThePacketSize)
{
    ASSERT_EQ(connect(), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return device->NegotiatePacketSize(0, 1440, result); }), VexOK);
    EXPECT_GE(read(packet_size) & 0xFFFF, 1440U);
    EXPECT_NE(code_of([&](IVexResult** result) { return device->NegotiatePacketSize(9, 0, result); }), VexOK);
}

TEST_F(Device, PassesOnWhatTheSdkSaysOfStreamTimeoutsAndEvents)
{
    const auto wait = [&] {
        return code_of([&](IVexResult** result) { return device->WaitForMessagingChannelIdle(100, result); });
    };
    const auto report = [&] {
        return code_of([&](IVexResult** result) { return device->ReportStreamTimeout(0, result); });
    };
    const auto reset = [&] {
        return code_of([&](IVexResult** result) { return device->ResetStreamTimeoutCounter(0, result); });
    };
    EXPECT_EQ(report(), VexNotConnected);
    ASSERT_EQ(connect(), VexOK);
    EXPECT_EQ(wait(), VexOK);
    EXPECT_EQ(report(), VexOK);
    const auto link = object_of(device, &IVexDevice::get_GenLink);
    const auto reported = [&] {
        __int64 count = -1;
        EXPECT_EQ(code_of([&](IVexResult** result) {
                      return link->GetIntegerValue(Text(L"StreamTimeoutCount"), &count, result);
                  }),
                  VexOK);
        return count;
    };
    EXPECT_EQ(reported(), 1);
    EXPECT_EQ(reset(), VexOK);
    EXPECT_EQ(reported(), 0);
}

TEST_F(Device, SetsIpConfigurationsWithoutAConnection)
{
    const auto set = [&](const wchar_t* mac, const wchar_t* ip, BSTR mask, BSTR gateway) {
        return code_of([&](IVexResult** result) {
            return device->SetIPConfiguration(Text(mac), Text(ip), mask, gateway, result);
        });
    };
    EXPECT_EQ(set(L"no address", L"127.0.0.9", nullptr, nullptr), VexInvalidParameter);
    EXPECT_EQ(set(L"02:00:00:00:00:99", L"nowhere", nullptr, nullptr), VexInvalidParameter);
    EXPECT_EQ(set(L"02:00:00:00:00:99", L"127.0.0.9", Text(L"mask"), nullptr), VexInvalidParameter);
    EXPECT_EQ(set(L"02:00:00:00:00:99", L"127.0.0.9", nullptr, Text(L"gateway")), VexInvalidParameter);
    // null mask and gateway are empty texts, which are allowed: nothing but the device is missing
    EXPECT_EQ(set(L"02:00:00:00:00:99", L"127.0.0.9", nullptr, nullptr), VexNotFound);
}

TEST_F(Device, ResetsTheCamera)
{
    EXPECT_EQ(code_of([&](IVexResult** result) { return device->Reset(result); }), VexNotConnected);
    ASSERT_EQ(connect(), VexOK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return device->Reset(result); }), VexOK);
    EXPECT_TRUE(await([&] { return is_connected() == 0; }));
    EXPECT_TRUE(await([&] { return connect() == VexOK; }));
}

TEST_F(Device, WorksLateBound)
{
    LateBound script(device.get());
    Variant value;
    ASSERT_EQ(script.get(L"GenParameters", value), S_OK);
    EXPECT_EQ(value.type(), VT_DISPATCH);
    EXPECT_EQ(value->pdispVal, nullptr);
    ASSERT_EQ(script.call(L"ConnectString", {Variant(address), Variant(1)}, &value), S_OK);
    ASSERT_EQ(LateBound(value->pdispVal).get(L"Code", value), S_OK);
    EXPECT_EQ(value.text(), L"0");
    ASSERT_EQ(script.get(L"IsConnected", value), S_OK);
    EXPECT_EQ(value.type(), VT_BOOL);
    EXPECT_EQ(value->boolVal, 1);

    // out-parameters into a script's own variables
    Variant registered;
    ASSERT_EQ(script.call(L"ReadRegister",
                          {Variant(static_cast<int>(stream_address)), Variant::by_reference(registered)}, &value),
              S_OK);
    EXPECT_EQ(registered.text(), L"0");
    Variant name;
    ASSERT_EQ(script.call(L"GetDefaultGenICamXMLFilename", {Variant::by_reference(name)}, &value), S_OK);
    EXPECT_EQ(name.type(), VT_BSTR);
    EXPECT_NE(name.text(), L"");

    // and into its array
    Variant bytes(VT_UI1, SafeArrayCreateVector(VT_UI1, 0, 8));
    ASSERT_EQ(script.call(L"ReadMemory",
                          {Variant(static_cast<int>(serial_number)), Variant::by_reference(bytes), Variant(8)}, &value),
              S_OK);
    const std::vector<unsigned char> read = bytes_of(bytes->parray);
    EXPECT_EQ(std::string(read.begin(), read.end()), "COM-TEST");

    // optional looking texts may be empty
    ASSERT_EQ(script.call(L"SetIPConfiguration",
                          {Variant(L"no address"), Variant(L"127.0.0.9"), Variant(L""), Variant(L"")}, &value),
              S_OK);
    ASSERT_EQ(script.call(L"Disconnect", {}, &value), S_OK);
    ASSERT_EQ(script.get(L"IsConnected", value), S_OK);
    EXPECT_EQ(value->boolVal, 0);
}

TEST_F(Device, DisconnectsWhenItIsReleased)
{
    ASSERT_EQ(connect(), VexOK);
    device = {};
    device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
    EXPECT_EQ(connect(address, VexAccessExclusive), VexOK);
}

}  // namespace
