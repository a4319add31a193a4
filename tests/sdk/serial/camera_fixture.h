// A software camera with serial ports and an I2C bus, and a device object for it.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "sdk/device/PvDevice.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "tests/sdk/control/raw_camera.h"
#include "tools/softcam/camera.h"

namespace serial_test {

using Bytes = std::vector<std::uint8_t>;

/// A camera in the place of the fixture's, which has been stopped: under Wine there is one at a time.
class OtherCamera {
public:
    explicit OtherCamera(std::uint8_t host) : address(device_test::loopback(host).to_string())
    {
        softcam::CameraOptions options;
        options.adapter = address;
        options.serial_number = "SC-OTHER";
        camera_ = std::make_unique<softcam::Camera>(options);
        camera_->start();
    }

    const std::string address;

private:
    std::unique_ptr<softcam::Camera> camera_;
};

class CameraTest : public testing::Test {
protected:
    explicit CameraTest(std::uint8_t host) : address(device_test::loopback(host).to_string())
    {
        softcam::CameraOptions options;
        options.adapter = address;
        options.serial_number = "SC-SERIAL";
        camera = std::make_unique<softcam::Camera>(options);
        camera->start();
        connect();
    }

    void connect(PvAccessType access = PvAccessControl)
    {
        const PvResult result = device->Connect(PvString(address), access);
        ASSERT_TRUE(result.IsOK()) << result.description();
    }

    /// Waits until `condition` holds; whether it came to hold within twenty seconds.
    template <class Condition>
    [[nodiscard]] static bool await(Condition condition)
    {
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        while (!condition()) {
            if (std::chrono::steady_clock::now() >= end) {
                return false;
            }
            std::this_thread::yield();
        }
        return true;
    }

    static std::string text_of(const PvResult& result) { return std::string(result.description()); }
    static bool says(const PvResult& result, const std::string& what)
    {
        return text_of(result).find(what) != std::string::npos;
    }

    void set(const char* feature, std::int64_t value)
    {
        const PvResult result = device->GetGenParameters()->SetIntegerValue(feature, value);
        EXPECT_TRUE(result.IsOK()) << feature << ": " << result.description();
    }
    std::int64_t get(const char* feature)
    {
        std::int64_t value = -1;
        const PvResult result = device->GetGenParameters()->GetIntegerValue(feature, value);
        EXPECT_TRUE(result.IsOK()) << feature << ": " << result.description();
        return value;
    }

    const std::string address;
    std::unique_ptr<softcam::Camera> camera;
    std::unique_ptr<PvDevice> device = std::make_unique<PvDevice>();
};

}  // namespace serial_test
