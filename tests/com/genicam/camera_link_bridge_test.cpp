// The whole way: features of a serial camera that hangs on a serial port of a network camera, by a bridge.
#include <memory>
#include <string>

#include "tests/com/devices/camera_client.h"
#include "tests/sdk/genicp/gencp_on_uart.h"

namespace {

using namespace client;

class CameraLinkByBridge : public CameraTest {
protected:
    static void SetUpTestSuite()
    {
        softcam::CameraOptions options;
        options.adapter = "127.0.0.1";
        options.serial1_device = [] { return std::make_unique<genicp_test::GencpOnUart>(); };
        camera_ = std::make_unique<softcam::Camera>(options);
        camera_->start();
    }

    void join(const std::wstring& name)
    {
        ASSERT_EQ(code_of([&](IVexResult** result) {
                      return device->ConnectString(Text(address), VexAccessControl, result);
                  }),
                  VexOK);
        ASSERT_EQ(code_of([&](IVexResult** result) {
                      return bridge->Start(Text(name), device.get(), VexIPEngineSerial1, result);
                  }),
                  VexOK);
        const std::wstring port = text_of(bridge, &IVexSerialBridge::get_Name);
        ASSERT_EQ(code_of([&](IVexResult** result) { return array->Connect(Text(port), Text(L"GenCP"), result); }),
                  VexOK);
        EXPECT_EQ(text_of(array, &IVexGenParameterArrayCL::get_DeviceID), L"GenCP:9600:Vex:SoftLink:SL-0001");
        ASSERT_EQ(code_of([&](IVexResult** result) { return array->Build(Text(L"Device"), result); }), VexOK);
    }
    [[nodiscard]] VexResultCode width(__int64& value) const
    {
        EXPECT_EQ(code_of(array, &IVexGenParameterArray::InvalidateCache), VexOK);
        return code_of([&](IVexResult** result) { return array->GetIntegerValue(Text(L"Width"), &value, result); });
    }

    Ref<IVexDevice> device = create<IVexDevice>(__uuidof(VexDevice));
    Ref<IVexSerialBridge> bridge = create<IVexSerialBridge>(__uuidof(VexSerialBridge));
    Ref<IVexGenParameterArrayCL> array = create<IVexGenParameterArrayCL>(__uuidof(VexGenParameterArrayCL));
};

}  // namespace

TEST_F(CameraLinkByBridge, ReadsAndWritesFeaturesByATcpPort)
{
    join(L"tcp:0");
    ASSERT_EQ(code_of([&](IVexResult** result) { return array->SetIntegerValue(Text(L"Width"), 800, result); }), VexOK);
    __int64 value = 0;
    EXPECT_EQ(width(value), VexOK);
    EXPECT_EQ(value, 800);
}

TEST_F(CameraLinkByBridge, ReadsFeaturesByAPipeUntilTheBridgeStops)
{
    join(L"pipe:bridge-" + std::to_wstring(GetCurrentProcessId()));
    __int64 value = 0;
    EXPECT_EQ(width(value), VexOK);
    ASSERT_EQ(code_of(bridge, &IVexSerialBridge::Stop), VexOK);
    EXPECT_EQ(width(value), VexNotConnected);
}
