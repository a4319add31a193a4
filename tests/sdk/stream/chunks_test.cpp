// A camera's chunks from its registers to the features of a received buffer: device, stream and software camera.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/device/PvDevice.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/stream/PvStream.h"
#include "tests/sdk/virtualdevice/host_socket.h"
#include "tools/softcam/camera.h"

namespace {

class StreamedChunks : public testing::Test {
protected:
    void SetUp() override
    {
        camera_ =
            std::make_unique<softcam::Camera>(softcam::CameraOptions{.adapter = address, .serial_number = "SC-52"});
        camera_->start();
        ASSERT_TRUE(device.Connect(PvString(address), PvAccessControl).IsOK());
        ASSERT_TRUE(stream.Open(PvString(address)).IsOK());
        ASSERT_TRUE(device.SetStreamDestination(stream.GetLocalIPAddress(), stream.GetLocalPort()).IsOK());
    }
    void TearDown() override
    {
        device.Disconnect();
        stream.Close();
    }

    PvGenParameterArray& features() { return *device.GetGenParameters(); }
    std::int64_t integer(const char* name)
    {
        std::int64_t value = -1;
        const PvResult result = features().GetIntegerValue(name, value);
        EXPECT_TRUE(result.IsOK()) << name << ": " << result.description();
        return value;
    }

    const std::string address = device_address("127.0.0.52");
    PvDevice device;
    PvStream stream;
    PvBuffer buffers[2];

private:
    std::unique_ptr<softcam::Camera> camera_;
};

}  // namespace

TEST_F(StreamedChunks, AreFeaturesOfTheBufferThatIsAttached)
{
    ASSERT_TRUE(features().SetBooleanValue("ChunkModeActive", true).IsOK());
    ASSERT_TRUE(features().SetEnumValue("ChunkSelector", PvString("Width")).IsOK());
    ASSERT_TRUE(features().SetBooleanValue("ChunkEnable", true).IsOK());
    ASSERT_TRUE(features().SetEnumValue("AcquisitionMode", PvString("MultiFrame")).IsOK());
    ASSERT_TRUE(features().SetIntegerValue("AcquisitionFrameCount", 2).IsOK());
    const auto payload_size = static_cast<std::uint32_t>(integer("PayloadSize"));
    for (PvBuffer& buffer : buffers) {
        ASSERT_TRUE(buffer.Alloc(payload_size).IsOK());
        ASSERT_TRUE(stream.QueueBuffer(&buffer).IsOK());
    }
    ASSERT_TRUE(features().ExecuteCommand("AcquisitionStart").IsOK());
    std::int64_t timestamps[2]{};
    for (std::int64_t i = 0; i < 2; ++i) {
        PvBuffer* buffer = nullptr;
        PvResult result;
        ASSERT_TRUE(stream.RetrieveBuffer(&buffer, &result, 30'000).IsOK());
        ASSERT_TRUE(result.IsOK()) << result.description();
        EXPECT_EQ(buffer->GetAcquiredSize(), payload_size);
        EXPECT_EQ(buffer->GetChunkCount(), 3U);
        ASSERT_TRUE(features().AttachChunks(*buffer).IsOK());
        EXPECT_EQ(integer("ChunkWidth"), buffer->GetImage()->GetWidth());
        EXPECT_EQ(integer("ChunkFrameID"), static_cast<std::int64_t>(buffer->GetBlockID64()));
        EXPECT_EQ(integer("ChunkTimestamp"), static_cast<std::int64_t>(buffer->GetTimestamp()));
        timestamps[i] = integer("ChunkTimestamp");
    }
    EXPECT_GT(timestamps[1], timestamps[0]);
    ASSERT_TRUE(features().DetachChunks().IsOK());
    EXPECT_FALSE(features().Get(PvString("ChunkWidth"))->IsAvailable());
}
