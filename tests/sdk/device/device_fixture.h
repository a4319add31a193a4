// A raw camera with a description, a device object and a sink, for the tests of PvDevice.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "sdk/device/PvDevice.h"
#include "sdk/device/PvDeviceEventSink.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "tests/sdk/control/raw_camera.h"
#include "tests/sdk/device/raw_description.h"

namespace device_test {

/// Writes down what it is told.
class DeviceSink : public PvDeviceEventSink {
public:
    struct Access {
        bool write;
        std::int64_t address;
        Bytes bytes;
        bool operator==(const Access&) const = default;
    };

    void OnLinkDisconnected(PvDevice* aDevice) override
    {
        {
            const std::scoped_lock lock(mutex_);
            device = aDevice;
            thread = std::this_thread::get_id();
            connected_when_told = aDevice->IsConnected();
        }
        if (on_disconnected) {
            on_disconnected();
        }
        const std::scoped_lock lock(mutex_);
        ++disconnections_;
        changed_.notify_all();
    }
    void OnCmdLinkRead(const void* aBuffer, std::int64_t aAddress, std::int64_t aLength) override
    {
        note(false, aBuffer, aAddress, aLength);
    }
    void OnCmdLinkWrite(const void* aBuffer, std::int64_t aAddress, std::int64_t aLength) override
    {
        note(true, aBuffer, aAddress, aLength);
    }

    /// Waits for the nth loss to have been told completely.
    bool wait_for_disconnection(int n = 1)
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(20), [&] { return disconnections_ >= n; });
    }
    [[nodiscard]] int disconnections()
    {
        const std::scoped_lock lock(mutex_);
        return disconnections_;
    }
    std::vector<Access> take_accesses()
    {
        const std::scoped_lock lock(mutex_);
        return std::exchange(accesses_, {});
    }

    std::function<void()> on_disconnected;
    std::function<void()> on_access;
    PvDevice* device = nullptr;
    std::thread::id thread;
    bool connected_when_told = true;

private:
    void note(bool write, const void* buffer, std::int64_t address, std::int64_t length)
    {
        {
            const std::scoped_lock lock(mutex_);
            const auto* bytes = static_cast<const std::uint8_t*>(buffer);
            accesses_.push_back({write, address, Bytes(bytes, bytes + length)});
        }
        if (on_access) {
            on_access();
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    int disconnections_ = 0;
    std::vector<Access> accesses_;
};

class DeviceTest : public testing::Test {
protected:
    static RawCameraOptions sound()
    {
        RawCameraOptions options;
        options.address = loopback(36);
        options.mac = {0x02, 0x11, 0x22, 0x33, 0x44, 0x24};
        options.serial = "RAW-36";
        options.name = "the raw one";
        options.description = raw_description();
        options.heartbeat_timeout = 400;
        return options;
    }

    RawCamera& start(const RawCameraOptions& options = sound())
    {
        camera.reset();
        camera = std::make_unique<RawCamera>(options);
        return *camera;
    }

    PvResult connect(PvAccessType access = PvAccessControl) { return device->Connect(PvString(name()), access); }

    /// A camera and a connection to it.
    void start_and_connect(const RawCameraOptions& options = sound())
    {
        start(options);
        const PvResult result = connect();
        ASSERT_TRUE(result.IsOK()) << result.description();
    }

    static std::string name() { return loopback(36).to_string(); }

    std::int64_t link_value(const char* parameter)
    {
        std::int64_t value = -1;
        EXPECT_TRUE(device->GetGenLink()->GetIntegerValue(parameter, value).IsOK()) << parameter;
        return value;
    }

    std::unique_ptr<RawCamera> camera;
    DeviceSink sink;
    std::unique_ptr<PvDevice> device = std::make_unique<PvDevice>();
};

}  // namespace device_test
