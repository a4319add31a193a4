// VexSerialPortIPEngine and VexIPEngineI2CBus as clients use them, against a software camera.
#include <vector>

#include "tests/com/devices/camera_client.h"

namespace {

using namespace client;

using Bytes = std::vector<unsigned char>;

constexpr unsigned char memory = 0xA0;
constexpr unsigned char sensor = 0x90;
constexpr unsigned int long_time = 20'000;

class SideChannels : public CameraTest {
protected:
    SideChannels() { EXPECT_EQ(connect(), VexOK); }

    [[nodiscard]] VexResultCode connect() const
    {
        return code_of([&](IVexResult** out) { return device->ConnectString(Text(address), VexAccessControl, out); });
    }
    [[nodiscard]] VexResultCode open(const Ref<IVexSerialPortIPEngine>& which, VexIPEngineSerial number)
    {
        EXPECT_EQ(which->Open(device.get(), number, result.put()), S_OK);
        return value_of(result, &IVexResult::get_Code);
    }
    [[nodiscard]] VexResultCode open(const Ref<IVexIPEngineI2CBus>& which,
                                     VexIPEngineSerial number = VexIPEngineSerialBulk1)
    {
        EXPECT_EQ(which->Open(device.get(), number, result.put()), S_OK);
        return value_of(result, &IVexResult::get_Code);
    }
    [[nodiscard]] bool says(const std::wstring& what) const
    {
        return text_of(result, &IVexResult::get_Description).find(what) != std::wstring::npos;
    }
    static Ref<IVexIPEngineI2CBus> new_bus()
    {
        return create<IVexIPEngineI2CBus>(L"VexKamCOMWrapper.VexIPEngineI2CBus.1");
    }

    Ref<IVexDevice> device = create<IVexDevice>(L"VexKamCOMWrapper.VexDevice.1");
    Ref<IVexSerialPortIPEngine> port = create<IVexSerialPortIPEngine>(L"VexKamCOMWrapper.VexSerialPortIPEngin.1");
    Ref<IVexResult> result;
    unsigned int count = 77;
};

// ---- serial ports ----

TEST_F(SideChannels, TellWithOneWhichPortsThereAre)
{
    VARIANT_BOOL supported = 7;
    EXPECT_EQ(port->IsSupported(device.get(), VexIPEngineSerial0, &supported), S_OK);
    EXPECT_EQ(supported, 1);
    EXPECT_EQ(port->IsSupported(device.get(), VexIPEngineSerialBulk1, &supported), S_OK);
    EXPECT_EQ(supported, 0);
    EXPECT_EQ(port->IsSupported(device.get(), VexIPEngineSerialInvalid, &supported), S_OK);
    EXPECT_EQ(supported, 0);
    const auto bus = new_bus();
    EXPECT_EQ(bus->IsSupported(device.get(), VexIPEngineSerialBulk1, &supported), S_OK);
    EXPECT_EQ(supported, 1);
    EXPECT_EQ(bus->IsSupported(device.get(), VexIPEngineSerial0, &supported), S_OK);
    EXPECT_EQ(supported, 0);
    EXPECT_EQ(value_of(device, &IVexDevice::get_IsIPEngine), 1);
}

TEST_F(SideChannels, LoopBytesBackInPlace)
{
    ASSERT_EQ(open(port, VexIPEngineSerial0), VexOK);
    EXPECT_EQ(value_of(port, &IVexSerialPort::get_IsOpened), 1);
    Variant sent(VT_UI1, byte_array({1, 2, 3, 4}));
    EXPECT_EQ(port->Write(sent->parray, 3, &count, result.put()), S_OK);
    EXPECT_EQ(value_of(result, &IVexResult::get_Code), VexOK);
    EXPECT_EQ(count, 3u);
    Variant got(VT_UI1, byte_array({9, 9, 9, 9}, 2));
    EXPECT_EQ(port->Read(got->parray, 3, &count, long_time, result.put()), S_OK);
    EXPECT_EQ(value_of(result, &IVexResult::get_Code), VexOK);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(bytes_of(got->parray), (Bytes{1, 2, 3, 9}));
    EXPECT_EQ(port->Read(got->parray, 1, &count, 0, result.put()), S_OK);
    EXPECT_EQ(value_of(result, &IVexResult::get_Code), VexTimeout);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(code_of(port, &IVexSerialPort::Close), VexOK);
    EXPECT_EQ(value_of(port, &IVexSerialPort::get_IsOpened), 0);
}

TEST_F(SideChannels, AreIVexSerialPortsToo)
{
    const auto plain = query<IVexSerialPort>(port.get());
    ASSERT_TRUE(plain);
    EXPECT_EQ(value_of(plain, &IVexSerialPort::get_RxBufferSize), 65'536u);
}

TEST_F(SideChannels, NameTheirOwnClassInErrors)
{
    unsigned int ready = 7;
    EXPECT_EQ(port->get_RxBytesReady(&ready), DISP_E_EXCEPTION);
    EXPECT_EQ(ready, 0u);
    Ref<IErrorInfo> info;
    ASSERT_EQ(GetErrorInfo(0, info.put()), S_OK);
    GUID interface_id{};
    EXPECT_EQ(info->GetGUID(&interface_id), S_OK);
    EXPECT_EQ(interface_id, __uuidof(IVexSerialPortIPEngine));
    BSTR source = nullptr;
    EXPECT_EQ(info->GetSource(&source), S_OK);
    EXPECT_EQ(take(source), L"VexKamCOMWrapper.VexSerialPortIPEngin.1");
}

TEST_F(SideChannels, HaveOneOpener)
{
    ASSERT_EQ(open(port, VexIPEngineSerial0), VexOK);
    const auto other = create<IVexSerialPortIPEngine>(L"VexKamCOMWrapper.VexSerialPortIPEngin.1");
    EXPECT_EQ(open(other, VexIPEngineSerial0), VexStateError);
    EXPECT_TRUE(says(L"a serial port object has it"));
    port = {};
    EXPECT_EQ(open(other, VexIPEngineSerial0), VexOK);
}

TEST_F(SideChannels, FailToOpenWithWords)
{
    EXPECT_EQ(open(port, VexIPEngineSerialInvalid), VexInvalidParameter);
    EXPECT_TRUE(says(L"no port -1"));
    EXPECT_EQ(open(port, VexIPEngineSerialBulk7), VexNotSupported);
    EXPECT_EQ(port->Open(nullptr, VexIPEngineSerial0, result.put()), E_POINTER);
    EXPECT_EQ(code_of(device, &IVexDevice::Disconnect), VexOK);
    EXPECT_EQ(open(port, VexIPEngineSerial0), VexNotConnected);
}

TEST_F(SideChannels, AnswerReadsWithoutAnArrayAtOnce)
{
    ASSERT_EQ(open(port, VexIPEngineSerial0), VexOK);
    EXPECT_NE(port->Read(nullptr, 1, &count, 0, result.put()), S_OK);
    EXPECT_FALSE(result);
    EXPECT_EQ(count, 77u);
    const auto bus = new_bus();
    EXPECT_NE(bus->BurstRead(memory, nullptr, 1, &count, VARIANT_TRUE, result.put()), S_OK);
    EXPECT_FALSE(result);
    EXPECT_EQ(count, 77u);
}

TEST_F(SideChannels, OutliveTheirDevice)
{
    ASSERT_EQ(open(port, VexIPEngineSerial0), VexOK);
    device = {};
    EXPECT_EQ(value_of(port, &IVexSerialPort::get_IsOpened), 0);
    Variant array(VT_UI1, byte_array({1}));
    EXPECT_EQ(port->Write(array->parray, 1, &count, result.put()), S_OK);
    EXPECT_EQ(value_of(result, &IVexResult::get_Code), VexNotConnected);
    EXPECT_EQ(code_of(port, &IVexSerialPort::Close), VexOK);
}

TEST_F(SideChannels, GoOnAfterAnotherConnect)
{
    ASSERT_EQ(open(port, VexIPEngineSerial0), VexOK);
    EXPECT_EQ(code_of(device, &IVexDevice::Disconnect), VexOK);
    EXPECT_EQ(value_of(port, &IVexSerialPort::get_IsOpened), 0);
    EXPECT_EQ(connect(), VexOK);
    EXPECT_TRUE(await([&] { return value_of(port, &IVexSerialPort::get_IsOpened) == 1; }));
}

TEST_F(SideChannels, WorkLateBound)
{
    LateBound late(port.get());
    Variant outcome;
    ASSERT_EQ(late.call(L"Open", {Variant(device.get()), Variant(1)}, &outcome), S_OK);
    Variant count_variable(0);
    // what a script has: arrays of variants in variables
    Variant line(VT_VARIANT, variant_array({Variant(105), Variant(100), Variant(13)}));
    ASSERT_EQ(
        late.call(L"Write", {Variant::by_reference(line), Variant(3), Variant::by_reference(count_variable)}, &outcome),
        S_OK);
    EXPECT_EQ(count_variable.text(), L"3");
    Variant answer(VT_VARIANT, variant_array({Variant(0), Variant(0), Variant(0)}));
    ASSERT_EQ(late.call(L"Read",
                        {Variant::by_reference(answer), Variant(3), Variant::by_reference(count_variable),
                         Variant(static_cast<int>(long_time))},
                        &outcome),
              S_OK);
    EXPECT_EQ(count_variable.text(), L"3");
    VARIANT first{};
    LONG index = 0;
    ASSERT_EQ(SafeArrayGetElement(answer->parray, &index, &first), S_OK);
    ASSERT_EQ(VariantChangeType(&first, &first, 0, VT_I4), S_OK);
    EXPECT_EQ(V_I4(&first), 'S');  // of SoftCam
    VariantClear(&first);
}

// ---- I2C ----

TEST_F(SideChannels, TransferOverI2c)
{
    const auto bus = new_bus();
    EXPECT_EQ(value_of(bus, &IVexIPEngineI2CBus::get_IsOpened), 0);
    ASSERT_EQ(open(bus), VexOK);
    EXPECT_EQ(value_of(bus, &IVexIPEngineI2CBus::get_IsOpened), 1);
    Variant sent(VT_UI1, byte_array({5, 6, 7}));
    EXPECT_EQ(bus->IndirectBurstWrite(memory, 0x40, sent->parray, 3, 1, result.put()), S_OK);
    EXPECT_EQ(value_of(result, &IVexResult::get_Code), VexOK);
    EXPECT_TRUE(await([&] {
        return code_of([&](IVexResult** out) { return bus->BurstWrite(memory, sent->parray, 0, -1, out); }) == VexOK;
    }));
    Variant got(VT_UI1, byte_array({0, 0, 0, 9}));
    EXPECT_EQ(bus->IndirectBurstRead(memory, 0x40, got->parray, 3, &count, 0, -1, result.put()), S_OK);
    EXPECT_EQ(count, 3u);
    EXPECT_EQ(bytes_of(got->parray), (Bytes{5, 6, 7, 9}));

    Variant offset(VT_UI1, byte_array({2}));
    EXPECT_EQ(bus->MasterTransmitter(sensor, offset->parray, 1, -1, 0, result.put()), S_OK);
    EXPECT_EQ(bus->MasterReceiverAfterFirstByte(sensor, got->parray, 2, &count, -1, -1, result.put()), S_OK);
    EXPECT_EQ(bytes_of(got->parray), (Bytes{0x4B, 0x00, 7, 9}));
    EXPECT_EQ(bus->BurstRead(0x20, got->parray, 2, &count, 0, result.put()), S_OK);
    EXPECT_EQ(value_of(result, &IVexResult::get_Code), VexNotFound);
    EXPECT_EQ(count, 0u);
    EXPECT_EQ(code_of(bus, &IVexIPEngineI2CBus::Close), VexOK);
}

TEST_F(SideChannels, TakeAnyTruthForTheFastMode)
{
    const auto bus = new_bus();
    ASSERT_EQ(open(bus), VexOK);
    const auto features = object_of(device, &IVexDevice::get_GenParameters);
    const auto speed_after = [&](VARIANT_BOOL fast) {
        Variant none(VT_UI1, byte_array({0}));
        EXPECT_EQ(bus->BurstWrite(memory, none->parray, 0, fast, result.put()), S_OK);
        BSTR speed = nullptr;
        EXPECT_EQ(features->GetEnumValueStr(Text(L"IPEngineBulk1I2CSpeed"), &speed, result.put()), S_OK);
        return take(speed);
    };
    EXPECT_EQ(speed_after(0), L"Standard");
    EXPECT_EQ(speed_after(1), L"Fast");
    EXPECT_EQ(speed_after(0), L"Standard");
    EXPECT_EQ(speed_after(-1), L"Fast");
}

TEST_F(SideChannels, LeaveABusOpenThatIsReleasedOpen)
{
    auto bus = new_bus();
    ASSERT_EQ(open(bus), VexOK);
    bus = {};
    bus = new_bus();
    EXPECT_EQ(open(bus), VexStateError);
    EXPECT_TRUE(says(L"released without being closed"));
}

}  // namespace
