// What a buffer shows of blocks that are neither plain images nor plain raw data.
#include <gtest/gtest.h>

#include <array>
#include <string>
#include <vector>

#include "sdk/buffer/acquisition.h"

using namespace vex;

namespace {

using acquisition::BlockEnd;
using acquisition::BlockStart;

constexpr std::array<std::uint8_t, 5> name{'a', '.', 'b', 'i', 'n'};

TEST(BufferContents, AFileHasItsName)
{
    PvBuffer buffer;
    BlockStart start;
    start.payload_type = PvPayloadTypeFile;
    start.file_name = name;
    ASSERT_TRUE(acquisition::begin(buffer, start).IsOK());
    EXPECT_EQ(buffer.GetFileName().str(), "a.bin");
    // the next block is another
    ASSERT_TRUE(acquisition::begin(buffer, {}).IsOK());
    EXPECT_EQ(buffer.GetFileName().str(), "");
    start.payload_type = PvPayloadTypeRawData;
    ASSERT_TRUE(acquisition::begin(buffer, start).IsOK());
    EXPECT_EQ(buffer.GetFileName().str(), "");
}

TEST(BufferContents, RawDataNameTheirFormat)
{
    PvBuffer buffer;
    const auto begin = [&](PvRawDataFormat format) {
        BlockStart start;
        start.payload_type = PvPayloadTypeRawData;
        start.raw_format = format;
        EXPECT_TRUE(acquisition::begin(buffer, start).IsOK());
        EXPECT_EQ(buffer.GetRawData()->GetFormat(), format);
        return std::string(buffer.GetRawData()->GetFormatName());
    };
    EXPECT_EQ(begin(PvRawDataFormatJPEG), "JPEG");
    EXPECT_EQ(begin(PvRawDataFormatJPEG2000), "JPEG 2000");
    EXPECT_EQ(begin(PvRawDataFormatH264), "H.264");
    EXPECT_EQ(begin(PvRawDataFormatMultiPart), "Multi-part");
    EXPECT_EQ(begin(PvRawDataFormatUnknown), "");
    begin(PvRawDataFormatJPEG);
    ASSERT_TRUE(buffer.Reset(PvPayloadTypeRawData).IsOK());
    EXPECT_EQ(buffer.GetRawData()->GetFormat(), PvRawDataFormatUnknown);
}

/// A buffer of 100 bytes with two parts.
void fill(PvBuffer& buffer)
{
    BlockStart start;
    start.payload_size = 100;
    ASSERT_TRUE(acquisition::begin(buffer, start).IsOK());
    std::array<acquisition::Part, 2> parts{};
    parts[0].description.Type = PvPartTypeImage2D;
    parts[0].description.Size = 12;
    parts[0].description.Width = 4;
    parts[0].description.Height = 3;
    parts[0].description.PixelType = PvPixelMono8;
    parts[0].description.RegionID = 5;
    parts[1].description.Type = PvPartTypeJPEG;
    parts[1].description.Size = 88;
    parts[1].offset = 12;
    BlockEnd end;
    end.acquired_size = 100;
    end.parts = parts;
    acquisition::finish(buffer, end);
}

TEST(BufferContents, PartsAreFoundByIndex)
{
    PvBuffer buffer;
    fill(buffer);
    ASSERT_EQ(buffer.GetPartCount(), 2U);
    PvBufferPart part;
    ASSERT_TRUE(buffer.GetPart(0, part).IsOK());
    EXPECT_EQ(part.Type, PvPartTypeImage2D);
    EXPECT_EQ(part.Data, buffer.GetDataPointer());
    EXPECT_EQ(part.Size, 12U);
    EXPECT_EQ(part.Height, 3U);
    EXPECT_EQ(part.RegionID, 5U);
    ASSERT_TRUE(buffer.GetPart(1, part).IsOK());
    EXPECT_EQ(part.Type, PvPartTypeJPEG);
    EXPECT_EQ(part.Data, buffer.GetDataPointer() + 12);
    EXPECT_EQ(part.PixelType, PvPixelUndefined);
    part.Size = 77;
    const PvResult beyond = buffer.GetPart(2, part);
    EXPECT_EQ(beyond.GetCode(), PvResult::NotFound);
    EXPECT_EQ(beyond.description(), "There is no part 2; the buffer has 2");
    EXPECT_EQ(part.Size, 77U);
}

TEST(BufferContents, PartsGoWithTheMemoryTheyLieIn)
{
    PvBuffer buffer;
    fill(buffer);
    buffer.Free();
    EXPECT_EQ(buffer.GetPartCount(), 0U);
    fill(buffer);
    ASSERT_TRUE(buffer.Alloc(100).IsOK());
    EXPECT_EQ(buffer.GetPartCount(), 0U);
    fill(buffer);
    ASSERT_TRUE(buffer.Reset().IsOK());
    EXPECT_EQ(buffer.GetPartCount(), 0U);
    fill(buffer);
    acquisition::finish(buffer, {});
    EXPECT_EQ(buffer.GetPartCount(), 0U);
}

}  // namespace
