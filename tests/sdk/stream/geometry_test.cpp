// Images whose size and format change while they are streamed.
#include "tests/sdk/stream/camera_stream.h"

using namespace vex;
using test_pattern::FrameSettings;

namespace {

class ChangedGeometry : public CameraStream {
protected:
    void SetUp() override
    {
        begin({.free_geometry = true});
        start();
    }

    /// The next picture is complete and looks as it should.
    void expect_picture()
    {
        PvBuffer* const buffer = take_whole();
        ASSERT_NE(buffer, nullptr);
        EXPECT_EQ(buffer->GetImage()->GetWidth(), expected.width);
        EXPECT_EQ(buffer->GetImage()->GetHeight(), expected.height);
        EXPECT_EQ(buffer->GetImage()->GetOffsetX(), expected.offset_x);
        EXPECT_EQ(static_cast<std::uint32_t>(buffer->GetImage()->GetPixelType()), expected.pixel_format);
        EXPECT_TRUE(bytes_of(*buffer) == picture(expected, buffer->GetBlockID64()));
        give_back(buffer);
    }

    FrameSettings expected;
};

}  // namespace

TEST_F(ChangedGeometry, TakesEffectWithTheNextBlock)
{
    expect_picture();
    set("Width", expected.width = 320);
    expect_picture();
    set("Height", expected.height = 240);
    expect_picture();
    set("OffsetX", expected.offset_x = 100);
    expect_picture();
    ASSERT_TRUE(features().SetEnumValue("PixelFormat", PvString("Mono16")).IsOK());
    expected.pixel_format = PvPixelMono16;
    expect_picture();
    set("Height", expected.height = 100);
    ASSERT_TRUE(features().SetEnumValue("PixelFormat", PvString("RGB8Packed")).IsOK());
    expected.pixel_format = PvPixelRGB8Packed;
    expect_picture();
    set("OffsetX", expected.offset_x = 0);
    set("Width", expected.width = 640);
    set("Height", expected.height = 480);
    ASSERT_TRUE(features().SetEnumValue("PixelFormat", PvString("Mono8")).IsOK());
    expected.pixel_format = PvPixelMono8;
    expect_picture();
}

TEST_F(ChangedGeometry, ABufferOfItsOwnMemoryGrows)
{
    expect_picture();
    set("Width", expected.width = 1280);
    set("Height", expected.height = 960);
    for (int i = 0; i < 4; ++i) {
        expect_picture();
    }
}

TEST_F(ChangedGeometry, AttachedMemoryThatIsTooSmallIsTold)
{
    expect_picture();
    std::vector<std::vector<std::uint8_t>> memory(3, std::vector<std::uint8_t>(640 * 480 + 64, 0xAB));
    ASSERT_TRUE(stream.AbortQueuedBuffers().IsOK());
    PvBuffer* buffer = nullptr;
    PvResult result;
    while (stream.RetrieveBuffer(&buffer, &result, 0).IsOK()) {
    }
    for (std::size_t i = 0; i < 3; ++i) {
        ASSERT_TRUE(buffers[i].Attach(memory[i].data(), 640 * 480).IsOK());
        give_back(&buffers[i]);
    }
    expect_picture();
    set("Height", 481);
    for (int i = 0; i < 3; ++i) {
        buffer = take(result);
        ASSERT_NE(buffer, nullptr);
        EXPECT_EQ(result.GetCode(), PvResult::BufferTooSmall) << result.description();
        EXPECT_NE(result.description().find("307840"), std::string::npos) << result.description();
        give_back(buffer);
    }
    for (const auto& bytes : memory) {
        EXPECT_TRUE(std::all_of(bytes.begin() + 640 * 480, bytes.end(), [](std::uint8_t b) { return b == 0xAB; }))
            << "nothing behind the memory was written";
    }
    set("Height", 480);
    expect_picture();
}

TEST(LockedGeometry, IsRefusedWhilePicturesAreTaken)
{
    const std::string address = device_address("127.0.0.53");
    softcam::Camera camera({.adapter = address, .serial_number = "SC-53"});
    camera.start();
    PvDevice device;
    ASSERT_TRUE(device.Connect(PvString(address), PvAccessControl).IsOK());
    ASSERT_TRUE(device.GetGenParameters()->ExecuteCommand("AcquisitionStart").IsOK());
    EXPECT_FALSE(device.GetGenParameters()->SetIntegerValue("Width", 320).IsOK());
    ASSERT_TRUE(device.GetGenParameters()->ExecuteCommand("AcquisitionStop").IsOK());
    EXPECT_TRUE(device.GetGenParameters()->SetIntegerValue("Width", 320).IsOK());
    device.Disconnect();
}
