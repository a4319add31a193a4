// What the camera tells of a frame behind its image, and what a client makes of it.
#include "sdk/buffer/acquisition.h"
#include "sdk/genapi/node_map.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/wire/chunks.h"
#include "tests/sdk/softcam/host_port.h"
#include "tools/softcam/chunks.h"
#include "tools/softcam/description.h"

using namespace vex;
namespace reg = softcam::reg;

namespace {

constexpr std::uint32_t image_bytes = 640 * 480;

class SoftCamChunks : public SoftCam {
protected:
    void enable(std::initializer_list<softcam::ChunkKind> kinds)
    {
        for (std::uint32_t kind = 0; kind < softcam::chunk_kinds; ++kind) {
            ASSERT_EQ(host.write(reg::chunk_enable + 4 * kind, 0), status::success);
        }
        for (const softcam::ChunkKind kind : kinds) {
            ASSERT_EQ(host.write(reg::chunk_enable + 4 * static_cast<std::uint32_t>(kind), 1), status::success);
        }
    }

    std::vector<StreamPacket> take_block()
    {
        host.open_stream();
        start();
        return receive_block(host.stream());
    }

    static Bytes behind_image(const std::vector<StreamPacket>& packets)
    {
        const Bytes data = data_of(packets);
        return data.size() > image_bytes ? Bytes(data.begin() + image_bytes, data.end()) : Bytes{};
    }
};

/// What a stream makes of a whole block.
void fill(PvBuffer& buffer, const Bytes& data, std::uint32_t chunk_bytes)
{
    acquisition::BlockStart start;
    start.payload_size = data.size();
    ASSERT_TRUE(acquisition::begin(buffer, start).IsOK());
    ASSERT_TRUE(acquisition::write(buffer, 0, data));
    acquisition::BlockEnd end;
    end.acquired_size = data.size();
    end.chunks = wire::chunks::area_of({.bytes = acquisition::memory(buffer).first(data.size()),
                                        .payload_type = 0x4001,
                                        .data_size = image_bytes,
                                        .chunk_data_length = chunk_bytes});
    acquisition::finish(buffer, end);
}

}  // namespace

TEST_F(SoftCamChunks, AreNotSentUnlessAskedFor)
{
    EXPECT_EQ(host.read(reg::payload_size), image_bytes);
    const auto packets = take_block();
    ASSERT_FALSE(packets.empty());
    EXPECT_EQ(number_at(packets.front().payload, 2, 2), 1U);
    EXPECT_EQ(data_of(packets).size(), image_bytes);
    EXPECT_EQ(packets.back().payload.size(), 8U);
}

TEST_F(SoftCamChunks, WithoutAnyEnabledTheImageTravelsAlone)
{
    enable({});
    ASSERT_EQ(host.write(reg::chunk_mode_active, 1), status::success);
    EXPECT_EQ(host.read(reg::payload_size), image_bytes);
    const auto packets = take_block();
    ASSERT_FALSE(packets.empty());
    EXPECT_EQ(number_at(packets.front().payload, 2, 2), 1U);
}

TEST_F(SoftCamChunks, StandBehindTheImageAndTheTrailerTellsTheirLength)
{
    enable({softcam::ChunkKind::frame_id, softcam::ChunkKind::width, softcam::ChunkKind::pixel_format});
    ASSERT_EQ(host.write(reg::chunk_mode_active, 1), status::success);
    constexpr std::uint32_t chunk_bytes = 16 + 12 + 12;
    EXPECT_EQ(host.read(reg::payload_size), image_bytes + chunk_bytes);
    const auto packets = take_block();
    ASSERT_FALSE(packets.empty());
    EXPECT_EQ(number_at(packets.front().payload, 2, 2), 0x4001U);
    const Bytes expected{0, 0, 0, 0,    0,    0, 0, 1, 0x5C, 0, 0, 1, 0, 0, 0, 8,  // frame ID
                         0, 0, 2, 0x80, 0x5C, 0, 0, 4, 0,    0, 0, 4,              // width
                         1, 8, 0, 1,    0x5C, 0, 0, 8, 0,    0, 0, 4};             // pixel format
    EXPECT_EQ(behind_image(packets), expected);
    const Bytes& trailer = packets.back().payload;
    ASSERT_EQ(trailer.size(), 16U);
    EXPECT_EQ(number_at(trailer, 2, 2), 0x4001U);
    EXPECT_EQ(number_at(trailer, 4, 4), 480U);
    EXPECT_EQ(number_at(trailer, 8, 4), chunk_bytes);
    EXPECT_EQ(number_at(trailer, 12, 4), 0b1'0001'0010U);
}

TEST_F(SoftCamChunks, CannotBeChangedWhileFramesAreTaken)
{
    ASSERT_EQ(host.write(reg::acquisition_mode, 0), status::success);
    start();
    EXPECT_EQ(host.write(reg::chunk_mode_active, 1), status::access_denied);
    EXPECT_EQ(host.write(reg::chunk_enable, 0), status::access_denied);
    ASSERT_EQ(host.write(reg::acquisition_stop, 1), status::success);
    EXPECT_EQ(host.write(reg::chunk_mode_active, 2), status::invalid_parameter);
    EXPECT_EQ(host.write(reg::chunk_mode_active, 1), status::success);
}

TEST_F(SoftCamChunks, AreFeaturesOfTheCamera)
{
    HostPort port(host);
    PvGenParameterArray features(GenApi::load_node_map(softcam::description_xml(), port));
    for (std::uint32_t kind = 0; kind < softcam::chunk_kinds; ++kind) {
        ASSERT_TRUE(features.SetEnumValue("ChunkSelector", std::int64_t{kind}).IsOK());
        ASSERT_TRUE(features.SetBooleanValue("ChunkEnable", true).IsOK());
    }
    ASSERT_TRUE(features.SetBooleanValue("ChunkModeActive", true).IsOK());
    ASSERT_TRUE(features.SetFloatValue("Gain", 6.0).IsOK());
    ASSERT_TRUE(features.SetIntegerValue("OffsetX", 8).IsOK());
    ASSERT_TRUE(features.SetIntegerValue("OffsetY", 6).IsOK());
    std::int64_t payload_size = 0;
    ASSERT_TRUE(features.GetIntegerValue("PayloadSize", payload_size).IsOK());
    EXPECT_EQ(payload_size, image_bytes + 4 * 16 + 5 * 12);

    const auto packets = take_block();
    ASSERT_FALSE(packets.empty());
    PvBuffer buffer;
    fill(buffer, data_of(packets), static_cast<std::uint32_t>(number_at(packets.back().payload, 8, 4)));
    EXPECT_EQ(buffer.GetChunkCount(), softcam::chunk_kinds);
    EXPECT_FALSE(features.Get(PvString("ChunkWidth"))->IsAvailable());
    ASSERT_TRUE(features.AttachChunks(buffer).IsOK());
    const auto integer = [&](const char* name) {
        std::int64_t value = -1;
        EXPECT_TRUE(features.GetIntegerValue(name, value).IsOK()) << name;
        return value;
    };
    const auto number = [&](const char* name) {
        double value = -1;
        EXPECT_TRUE(features.GetFloatValue(name, value).IsOK()) << name;
        return value;
    };
    EXPECT_EQ(integer("ChunkTimestamp"), static_cast<std::int64_t>(number_at(packets.front().payload, 4, 8)));
    EXPECT_EQ(integer("ChunkFrameID"), 1);
    EXPECT_EQ(number("ChunkExposureTime"), 10'000.0);
    EXPECT_EQ(number("ChunkGain"), 6.0);
    EXPECT_EQ(integer("ChunkWidth"), 640);
    EXPECT_EQ(integer("ChunkHeight"), 480);
    EXPECT_EQ(integer("ChunkOffsetX"), 8);
    EXPECT_EQ(integer("ChunkOffsetY"), 6);
    PvString format;
    EXPECT_TRUE(features.GetEnumValue("ChunkPixelFormat", format).IsOK());
    EXPECT_EQ(format.str(), "Mono8");
}
