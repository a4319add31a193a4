// Types of payload from the software camera to a received buffer.
#include "tests/sdk/eventually.h"
#include "tests/sdk/stream/camera_stream.h"

using namespace vex;
using softcam::PayloadKind;
using test_pattern::FrameSettings;

namespace {

/// The stream loses packets, which are sent again.
transmitter::StreamFaultSettings losses()
{
    transmitter::StreamFaultSettings faults;
    faults.lost = 50;
    faults.seed = 20'261'122;
    return faults;
}

class StreamedPayload : public CameraStream {};

}  // namespace

TEST_F(StreamedPayload, H264IsRawDataWithItsFormatAndTime)
{
    begin({.payload = PayloadKind::h264});
    start();
    for (int i = 0; i < 5; ++i) {
        PvBuffer* const buffer = take_whole();
        ASSERT_NE(buffer, nullptr);
        EXPECT_EQ(buffer->GetPayloadType(), PvPayloadTypeRawData);
        EXPECT_EQ(buffer->GetRawData()->GetFormat(), PvRawDataFormatH264);
        EXPECT_NE(buffer->GetTimestamp(), 0U);
        EXPECT_TRUE(bytes_of(*buffer) == picture(FrameSettings{}, buffer->GetBlockID64()));
        give_back(buffer);
    }
}

TEST_F(StreamedPayload, MultiPartHasItsFirstImageAndEachPart)
{
    begin({.payload = PayloadKind::multi_part});
    start();
    for (int i = 0; i < 5; ++i) {
        PvBuffer* const buffer = take_whole();
        ASSERT_NE(buffer, nullptr);
        ASSERT_EQ(buffer->GetPayloadType(), PvPayloadTypeImage);
        EXPECT_EQ(buffer->GetImage()->GetWidth(), 640U);
        EXPECT_EQ(buffer->GetImage()->GetHeight(), 240U);
        const auto whole = picture(FrameSettings{}, buffer->GetBlockID64());
        ASSERT_EQ(buffer->GetPartCount(), 2U);
        for (std::uint32_t index = 0; index < 2; ++index) {
            PvBufferPart part;
            ASSERT_TRUE(buffer->GetPart(index, part).IsOK());
            EXPECT_EQ(part.Type, PvPartTypeImage2D);
            EXPECT_EQ(part.RegionID, index);
            EXPECT_EQ(part.OffsetY, 240 * index);
            ASSERT_EQ(part.Size, 640U * 240U);
            EXPECT_TRUE(std::equal(part.Data, part.Data + part.Size, whole.begin() + 640 * 240 * index));
        }
        give_back(buffer);
    }
}

TEST_F(StreamedPayload, ChunksOfMultiPartBlocksAreAPart)
{
    begin({.payload = PayloadKind::multi_part});
    ASSERT_TRUE(features().SetBooleanValue("ChunkModeActive", true).IsOK());
    start();
    PvBuffer* const buffer = take_whole();
    ASSERT_NE(buffer, nullptr);
    ASSERT_EQ(buffer->GetPartCount(), 3U);
    PvBufferPart part;
    ASSERT_TRUE(buffer->GetPart(2, part).IsOK());
    EXPECT_EQ(part.Type, PvPartTypeChunkData);
    EXPECT_EQ(part.Size, 2U * (8 + 8)) << "timestamp and frame ID";
}

TEST_F(StreamedPayload, MultiPartNeedsLongIds)
{
    begin({.payload = PayloadKind::multi_part});
    // the camera changes the form of IDs only while its channel is closed
    ASSERT_TRUE(device.ResetStreamDestination().IsOK());
    ASSERT_TRUE(features().SetEnumValue("GevGVSPExtendedIDMode", PvString("Off")).IsOK());
    ASSERT_TRUE(device.SetStreamDestination(stream.GetLocalIPAddress(), stream.GetLocalPort()).IsOK());
    start();
    PvBuffer* const buffer = take_whole();
    ASSERT_NE(buffer, nullptr);
    EXPECT_EQ(buffer->GetPartCount(), 0U);
    EXPECT_EQ(buffer->GetImage()->GetHeight(), 480U) << "a plain image instead";
}

TEST_F(StreamedPayload, LostPacketsOfAllTypesAreSentAgain)
{
    for (const PayloadKind kind : {PayloadKind::image, PayloadKind::h264, PayloadKind::multi_part}) {
        SCOPED_TRACE(static_cast<int>(kind));
        begin({.payload = kind, .stream_faults = losses()});
        set("GevSCPSPacketSize", 1500);
        start();
        for (int i = 0; i < 10; ++i) {
            PvBuffer* const buffer = take_whole();
            ASSERT_NE(buffer, nullptr);
            EXPECT_TRUE(bytes_of(*buffer) == picture(FrameSettings{}, buffer->GetBlockID64()));
            give_back(buffer);
        }
        EXPECT_GT(camera->stream_fault_statistics().lost, 0U);
        TearDown();
        camera.reset();
    }
}

TEST_F(StreamedPayload, SmallBlocksTravelInOnePacketEach)
{
    for (const PayloadKind kind : {PayloadKind::image, PayloadKind::raw_data, PayloadKind::file, PayloadKind::jpeg,
                                   PayloadKind::jpeg2000, PayloadKind::h264}) {
        SCOPED_TRACE(static_cast<int>(kind));
        begin({.payload = kind, .all_in = true});
        set("Width", 64);
        set("Height", 48);
        FrameSettings expected;
        expected.width = 64;
        expected.height = 48;
        start();
        for (std::uint64_t i = 1; i <= 3; ++i) {
            PvBuffer* const buffer = take_whole();
            ASSERT_NE(buffer, nullptr);
            EXPECT_EQ(buffer->GetBlockID64(), i);
            EXPECT_NE(buffer->GetTimestamp(), 0U);
            EXPECT_TRUE(bytes_of(*buffer) == picture(expected, i));
            give_back(buffer);
        }
        // a block is counted after its last packet was sent
        ASSERT_TRUE(eventually([&] { return camera->stream_statistics().blocks == 3; }));
        const auto sent = camera->stream_statistics();
        EXPECT_EQ(sent.packets, 3U);
        EXPECT_EQ(sent.payload_bytes, 3U * 64 * 48);
        TearDown();
        camera.reset();
    }
}

TEST_F(StreamedPayload, BlocksThatDoNotFitOnePacketTravelAsEver)
{
    begin({.all_in = true});
    start();
    PvBuffer* const buffer = take_whole();
    ASSERT_NE(buffer, nullptr);
    EXPECT_TRUE(bytes_of(*buffer) == picture(FrameSettings{}, 1));
    ASSERT_TRUE(eventually([&] { return camera->stream_statistics().blocks == 1; }));
    EXPECT_EQ(camera->stream_statistics().packets, 2U + (640 * 480 + 8963) / 8964);
}
