#include "tests/com/genicam/feature_camera.h"

using namespace vex;

namespace client {

namespace {

constexpr wchar_t address[] = L"127.0.0.1";

std::unique_ptr<device_test::RawCamera> make_camera(const std::string& description)
{
    device_test::RawCameraOptions options;
    options.address = loopback_address;
    options.serial = "COM-FEATURES";
    options.description = description;
    auto camera = std::make_unique<device_test::RawCamera>(options);
    for (std::uint32_t at = 0xB100; at < 0xB200; at += 4) {
        camera->set_reg(at, 0);
    }
    camera->set_reg(0xB100, 640);         // Width
    camera->set_reg(0xB104, 1024);        // WidthMax
    camera->set_reg(0xB108, 0x01080001);  // PixelFormat Mono8
    return camera;
}

}  // namespace

void ConnectedDevice::TearDown() { disconnect(); }

VexResultCode ConnectedDevice::connect()
{
    Ref<IVexResult> result;
    EXPECT_EQ(device->ConnectString(Text(address), VexAccessControl, result.put()), S_OK);
    return code_of(result);
}

VexResultCode ConnectedDevice::disconnect()
{
    Ref<IVexResult> result;
    EXPECT_EQ(device->Disconnect(result.put()), S_OK);
    return code_of(result);
}

Ref<IVexGenParameterArray> ConnectedDevice::features()
{
    Ref<IVexGenParameterArray> found;
    EXPECT_EQ(device->get_GenParameters(found.put()), S_OK);
    return found;
}

DescribedCameraTest::DescribedCameraTest() : camera(make_camera(camera_description(at(0))))
{
    EXPECT_EQ(connect(), VexOK);
    array = features();
    EXPECT_TRUE(array);
}

void DescribedCameraTest::exchange_camera(const std::string& description)
{
    EXPECT_EQ(disconnect(), VexOK);
    camera.reset();
    camera = make_camera(description);
    EXPECT_EQ(connect(), VexOK);
    EXPECT_EQ(features().get(), array.get()) << "the device has one array object, whatever it shows";
}

SoftwareCameraTest::SoftwareCameraTest()
{
    softcam::CameraOptions options;
    options.adapter = "127.0.0.1";
    options.serial_number = "COM-FEATURES";
    camera = std::make_unique<softcam::Camera>(options);
    camera->start();
    EXPECT_EQ(connect(), VexOK);
    array = features();
    EXPECT_TRUE(array);
}

}  // namespace client
