// Cameras for the tests that reach features through the registered server: one described by the test, written without
// the project's own message codec, and the software camera.
#pragma once

#include <memory>
#include <string>

#include "tests/com/genicam/feature_client.h"
#include "tests/sdk/control/raw_camera.h"
#include "tools/softcam/camera.h"

namespace client {

/// A test with a device of the registered server.
class ConnectedDevice : public ComTest {
protected:
    /// Disconnects while the test's sinks still stand: that changes features, too.
    void TearDown() override;

    [[nodiscard]] VexResultCode connect();
    VexResultCode disconnect();
    /// The features of the device; null before the first connection.
    [[nodiscard]] Ref<IVexGenParameterArray> features();

    Ref<IVexDevice> device = create<IVexDevice>(__uuidof(VexDevice));
};

/// The features of `camera_description` behind a socket.
class DescribedCameraTest : public ParameterLookUps<ConnectedDevice> {
protected:
    DescribedCameraTest();

    /// Puts another camera at the address, and connects to it.
    void exchange_camera(const std::string& description);
    /// Where a register of the description is in this camera.
    static constexpr std::uint32_t at(std::uint32_t described) { return 0xB000 + described; }

    std::unique_ptr<device_test::RawCamera> camera;
};

/// The features of the software camera.
class SoftwareCameraTest : public ParameterLookUps<ConnectedDevice> {
protected:
    SoftwareCameraTest();

    std::unique_ptr<softcam::Camera> camera;
};

}  // namespace client
