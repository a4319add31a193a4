// A test with a camera that searches find. It answers broadcasts also where the system hands these only to sockets that
// are bound to no address of the host.
#pragma once

#include <memory>

#include "tests/com/devices/camera_client.h"
#include "tests/sdk/control/raw_camera.h"
#include "tests/sdk/device/raw_description.h"

namespace client {

class FoundCameraTest : public ComTest {
protected:
    static device_test::RawCameraOptions camera_options()
    {
        device_test::RawCameraOptions options;
        options.address = vex::loopback_address;
        options.serial = "COM-TEST";
        options.name = "tested";
        options.description = device_test::raw_description();
        return options;
    }

    static void SetUpTestSuite() { camera_ = std::make_unique<device_test::RawCamera>(camera_options()); }
    static void TearDownTestSuite() { camera_.reset(); }

    static inline std::unique_ptr<device_test::RawCamera> camera_;
};

}  // namespace client
