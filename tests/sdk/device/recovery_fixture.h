// A device whose link is recovered, a sink that writes down what is told, and a camera, for the tests of recovery.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "sdk/device/PvDevice.h"
#include "sdk/device/PvDeviceEventSink.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "tests/sdk/control/raw_camera.h"
#include "tools/softcam/camera.h"

namespace device_test {

using namespace std::chrono_literals;
using Names = std::vector<std::string>;

inline const Names whole_recovery = {"disconnected", "reconnected", "device", "configuration", "acquisition"};

/// Writes down the notifications of a loss and its recovery, and lets the test do something in each.
class RecoverySink : public PvDeviceEventSink {
public:
    void OnLinkDisconnected(PvDevice* aDevice) override { note("disconnected", aDevice); }
    void OnLinkReconnected(PvDevice* aDevice) override { note("reconnected", aDevice); }
    void OnRestoreDevice(PvDevice* aDevice) override { note("device", aDevice); }
    void OnRestoreConfiguration(PvDevice* aDevice) override { note("configuration", aDevice); }
    void OnRestoreAcquisition(PvDevice* aDevice) override { note("acquisition", aDevice); }
    void OnCmdLinkRead(const void*, std::int64_t, std::int64_t) override { ++accesses; }
    void OnCmdLinkWrite(const void*, std::int64_t, std::int64_t) override { ++accesses; }

    bool wait_for(const std::string& name, long n = 1)
    {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, 20s, [&] { return std::count(told_.begin(), told_.end(), name) >= n; });
    }
    Names told()
    {
        const std::scoped_lock lock(mutex_);
        return told_;
    }

    /// What to do in the notification of that name; null for nothing.
    void on(const std::string& name, std::function<void()> handler)
    {
        const std::scoped_lock lock(mutex_);
        handlers_[name] = std::move(handler);
    }
    bool connected_at(const std::string& name)
    {
        const std::scoped_lock lock(mutex_);
        return connected_at_.at(name);
    }

    std::atomic<int> accesses{0};

private:
    void note(const char* name, PvDevice* device)
    {
        const bool connected = device->IsConnected();
        std::function<void()> handler;
        {
            const std::scoped_lock lock(mutex_);
            connected_at_[name] = connected;
            handler = handlers_[name];
        }
        if (handler) {
            handler();
        }
        const std::scoped_lock lock(mutex_);
        told_.emplace_back(name);
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    Names told_;
    std::map<std::string, std::function<void()>> handlers_;
    std::map<std::string, bool> connected_at_;
};

class RecoveryTest : public testing::Test {
protected:
    RecoveryTest()
    {
        device->RegisterEventSink(&sink);
        link().SetIntegerValue("HeartbeatTimeout", 400);
        link().SetBooleanValue("LinkRecoveryEnabled", true);
    }

    void connect(PvAccessType access = PvAccessControl)
    {
        const PvResult result = device->Connect(PvString(address), access);
        ASSERT_TRUE(result.IsOK()) << result.description();
    }

    PvGenParameterArray& link() { return *device->GetGenLink(); }
    PvGenParameterArray& features() { return *device->GetGenParameters(); }
    std::string text(const char* feature)
    {
        PvString value;
        PvGenParameter* const parameter = features().Get(PvString(feature));
        const PvResult result = parameter != nullptr ? parameter->ToString(value) : PvResult(PvResult::NotFound);
        EXPECT_TRUE(result.IsOK()) << feature << ": " << result.description();
        return value.str();
    }
    void set(const char* feature, const char* value)
    {
        const PvResult result = features().Get(PvString(feature))->FromString(PvString(value));
        EXPECT_TRUE(result.IsOK()) << feature << ": " << result.description();
    }
    void execute(const char* command) { EXPECT_TRUE(features().ExecuteCommand(command).IsOK()) << command; }
    std::string recovery_state()
    {
        PvString state;
        EXPECT_TRUE(link().GetString("LinkRecoveryState", state).IsOK());
        return state.str();
    }
    std::int64_t recoveries()
    {
        std::int64_t count = -1;
        EXPECT_TRUE(link().GetIntegerValue("LinkRecoveryCount", count).IsOK());
        return count;
    }
    std::uint32_t reg(std::uint32_t at)
    {
        std::uint32_t value = 0;
        EXPECT_TRUE(device->ReadRegister(at, value).IsOK()) << std::hex << at;
        return value;
    }

    const std::string address = loopback(39).to_string();
    RecoverySink sink;
    std::unique_ptr<PvDevice> device = std::make_unique<PvDevice>();
};

class Recovery : public RecoveryTest {
protected:
    Recovery()
    {
        softcam::CameraOptions options;
        options.adapter = address;
        options.serial_number = "SC-39";
        camera = std::make_unique<softcam::Camera>(options);
        camera->start();
    }

    /// The camera is switched off and on, and recovered.
    void reboot(const softcam::RebootOptions& how = {})
    {
        camera->reboot(how);
        ASSERT_TRUE(sink.wait_for("acquisition")) << recovery_state();
    }

    /// As soon as the camera has missed its controller and nobody else has taken it.
    void let_another_connect()
    {
        PvDevice other;
        while (!other.Connect(PvString(address)).IsOK()) {
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        EXPECT_TRUE(other.Disconnect().IsOK());
    }

    std::unique_ptr<softcam::Camera> camera;
};

}  // namespace device_test
