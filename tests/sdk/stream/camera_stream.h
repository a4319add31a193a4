// A device, a stream and the software camera between them, for tests of what arrives.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/device/PvDevice.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/stream/PvStream.h"
#include "sdk/test_pattern/test_pattern.h"
#include "tests/sdk/virtualdevice/host_socket.h"
#include "tools/softcam/camera.h"

/// The camera takes a picture with each software trigger.
class CameraStream : public testing::Test {
protected:
    void begin(softcam::CameraOptions options)
    {
        options.adapter = address;
        options.serial_number = "SC-53";
        camera = std::make_unique<softcam::Camera>(options);
        camera->start();
        ASSERT_TRUE(device.Connect(PvString(address), PvAccessControl).IsOK());
        ASSERT_TRUE(stream.Open(PvString(address)).IsOK());
        ASSERT_TRUE(device.SetStreamDestination(stream.GetLocalIPAddress(), stream.GetLocalPort()).IsOK());
        set("GevSCPSPacketSize", 9000);
        ASSERT_TRUE(features().SetEnumValue("TriggerMode", PvString("On")).IsOK());
        for (auto& buffer : buffers) {
            ASSERT_TRUE(buffer.Alloc(640 * 480 + 100).IsOK());
            ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
        }
    }
    void start() { ASSERT_TRUE(features().ExecuteCommand("AcquisitionStart").IsOK()); }

    void TearDown() override
    {
        device.Disconnect();
        stream.Close();
    }

    PvGenParameterArray& features() { return *device.GetGenParameters(); }
    void set(const char* name, std::int64_t value)
    {
        const PvResult result = features().SetIntegerValue(name, value);
        ASSERT_TRUE(result.IsOK()) << name << ": " << result.description();
    }

    /// The block of one more picture, with its result; null when none came.
    PvBuffer* take(PvResult& result)
    {
        EXPECT_TRUE(features().ExecuteCommand("TriggerSoftware").IsOK());
        PvBuffer* buffer = nullptr;
        const PvResult taken = stream.RetrieveBuffer(&buffer, &result, 30'000);
        EXPECT_TRUE(taken.IsOK()) << taken.description();
        return buffer;
    }
    /// The same when it is complete.
    PvBuffer* take_whole()
    {
        PvResult result;
        PvBuffer* const buffer = take(result);
        EXPECT_TRUE(result.IsOK()) << result.description();
        return result.IsOK() ? buffer : nullptr;
    }
    void give_back(PvBuffer* buffer) { ASSERT_TRUE(stream.QueueBuffer(buffer).IsOK()); }

    static std::vector<std::uint8_t> picture(const vex::test_pattern::FrameSettings& settings, std::uint64_t block_id)
    {
        std::vector<std::uint8_t> bytes(vex::test_pattern::image_bytes(settings));
        vex::test_pattern::render(settings, block_id, bytes);
        return bytes;
    }
    static std::vector<std::uint8_t> bytes_of(const PvBuffer& buffer)
    {
        return {buffer.GetDataPointer(), buffer.GetDataPointer() + buffer.GetAcquiredSize()};
    }

    const std::string address = device_address("127.0.0.53");
    std::unique_ptr<softcam::Camera> camera;
    PvDevice device;
    PvStream stream;
    PvBuffer buffers[3];
};
