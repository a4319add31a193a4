#include "sdk/buffer/acquisition.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <memory>

#include "sdk/buffer/memory.h"

using namespace vex;

namespace {

using acquisition::BlockEnd;
using acquisition::BlockStart;
using acquisition::ImageGeometry;

struct RecordingHolder final : acquisition::Holder {
    void buffer_destroyed(PvBuffer& buffer) noexcept override { destroyed = &buffer; }
    PvBuffer* destroyed = nullptr;
};

constexpr ImageGeometry small_image{4, 3, PvPixelMono8, 1, 2, 0, 0};

TEST(Acquisition, BeginGivesAnEmptyBufferMemoryAndTheBlocksAttributes)
{
    PvBuffer buffer(PvPayloadTypeRawData);
    buffer.SetID(5);
    ASSERT_TRUE(acquisition::begin(buffer, {.payload_type = PvPayloadTypeImage,
                                            .block_id = 1,
                                            .timestamp = 2,
                                            .reception_time = 3,
                                            .payload_size = 0,
                                            .image = small_image})
                    .IsOK());
    EXPECT_EQ(buffer.GetPayloadType(), PvPayloadTypeImage);
    EXPECT_EQ(buffer.GetSize(), 12u);
    EXPECT_EQ(buffer.GetID(), 5u);
    EXPECT_EQ(buffer.GetBlockID(), 1u);
    EXPECT_EQ(buffer.GetTimestamp(), 2u);
    EXPECT_EQ(buffer.GetReceptionTime(), 3u);
    EXPECT_EQ(acquisition::geometry(buffer), small_image);
}

TEST(Acquisition, OwnMemoryGrowsAndNeverShrinks)
{
    PvBuffer buffer;
    ASSERT_TRUE(buffer.Alloc(100).IsOK());
    auto* memory = buffer.GetDataPointer();
    memory[50] = 9;
    ASSERT_TRUE(acquisition::begin(buffer, {.image = small_image}).IsOK());
    EXPECT_EQ(buffer.GetDataPointer(), memory);
    EXPECT_EQ(buffer.GetSize(), 100u);
    EXPECT_EQ(memory[50], 9);
    ASSERT_TRUE(acquisition::begin(buffer, {.payload_size = 101, .image = small_image}).IsOK());
    EXPECT_EQ(buffer.GetSize(), 101u);
}

TEST(Acquisition, AttachedMemoryIsNeverReplaced)
{
    std::array<std::uint8_t, 8> memory{};
    PvBuffer buffer;
    ASSERT_TRUE(buffer.Attach(memory.data(), 8).IsOK());
    const auto result = acquisition::begin(buffer, {.block_id = 4, .image = small_image});
    EXPECT_EQ(result.GetCode(), PvResult::BufferTooSmall);
    EXPECT_NE(result.description().find("8 bytes"), std::string_view::npos);
    EXPECT_EQ(buffer.GetDataPointer(), memory.data());
    EXPECT_EQ(buffer.GetBlockID(), 4u);
    ASSERT_TRUE(acquisition::begin(buffer, {.image = ImageGeometry{4, 2, PvPixelMono8}}).IsOK());
}

TEST(Acquisition, WithoutMemoryTheBufferKeepsWhatItHad)
{
    PvBuffer buffer;
    ASSERT_TRUE(buffer.Alloc(4).IsOK());
    buffer_memory::fail_next_allocations(1);
    EXPECT_EQ(acquisition::begin(buffer, {.payload_size = 5}).GetCode(), PvResult::NotEnoughMemory);
    EXPECT_EQ(buffer.GetSize(), 4u);
    EXPECT_EQ(acquisition::begin(buffer, {.payload_size = 0x100000000ull}).GetCode(), PvResult::ErrOverflow);
    EXPECT_EQ(buffer.GetSize(), 4u);
}

TEST(Acquisition, WritesNeverLeaveTheBlock)
{
    auto memory = std::make_unique<std::uint8_t[]>(8);
    PvBuffer buffer;
    const std::array<std::uint8_t, 4> bytes{1, 2, 3, 4};
    EXPECT_FALSE(acquisition::write(buffer, 0, bytes));
    EXPECT_TRUE(acquisition::write(buffer, 0, {}));
    ASSERT_TRUE(buffer.Attach(memory.get(), 8).IsOK());
    EXPECT_TRUE(acquisition::write(buffer, 4, bytes));
    EXPECT_FALSE(acquisition::write(buffer, 5, bytes));
    EXPECT_FALSE(acquisition::write(buffer, 0xFFFFFFFFFFFFFFFEull, bytes));
    EXPECT_TRUE(acquisition::write(buffer, 8, {}));
    EXPECT_EQ(memory[4], 1);
    EXPECT_EQ(memory[7], 4);
    EXPECT_EQ(acquisition::memory(buffer).size(), 8u);
}

TEST(Acquisition, FinishRecordsTheOutcome)
{
    PvBuffer buffer;
    ASSERT_TRUE(acquisition::begin(buffer, {.image = small_image}).IsOK());
    acquisition::finish(buffer, {.result = PvResult(PvResult::MissingPackets, "packet 3"),
                                 .acquired_size = 1000,
                                 .expected_resend_count = 4,
                                 .lost_packet_count = 5,
                                 .ignored_packet_count = 6,
                                 .status = {.partial_line_missing = true,
                                            .full_line_missing = true,
                                            .eof_by_line_count = true,
                                            .interlaced_even = true,
                                            .interlaced_odd = true,
                                            .image_dropped = true,
                                            .data_overrun = true},
                                 .delivered_lines = 2});
    EXPECT_EQ(buffer.GetOperationResult().GetCode(), PvResult::MissingPackets);
    EXPECT_EQ(buffer.GetOperationResult().description(), "packet 3");
    EXPECT_EQ(buffer.GetAcquiredSize(), 12u);  // capped at the block
    EXPECT_EQ(buffer.GetExpectedResendCount(), 4u);
    EXPECT_EQ(buffer.GetLostPacketCount(), 5u);
    EXPECT_EQ(buffer.GetIgnoredPacketCount(), 6u);
    const auto& image = *buffer.GetImage();
    EXPECT_TRUE(image.IsPartialLineMissing());
    EXPECT_TRUE(image.IsFullLineMissing());
    EXPECT_TRUE(image.IsEOFByLineCount());
    EXPECT_TRUE(image.IsInterlacedEven());
    EXPECT_TRUE(image.IsInterlacedOdd());
    EXPECT_TRUE(image.IsImageDropped());
    EXPECT_TRUE(image.IsDataOverrun());
    EXPECT_EQ(image.GetHeight(), 2u);
    EXPECT_EQ(image.GetImageSize(), 8u);
    EXPECT_EQ(image.GetAcquiredSize(), 8u);
}

TEST(Acquisition, EachStatusFlagIsItsOwn)
{
    using Status = acquisition::ImageStatus;
    using Getter = bool (PvImage::*)() const noexcept;
    const std::pair<Status, Getter> flags[] = {
        {{.partial_line_missing = true}, &PvImage::IsPartialLineMissing},
        {{.full_line_missing = true}, &PvImage::IsFullLineMissing},
        {{.eof_by_line_count = true}, &PvImage::IsEOFByLineCount},
        {{.interlaced_even = true}, &PvImage::IsInterlacedEven},
        {{.interlaced_odd = true}, &PvImage::IsInterlacedOdd},
        {{.image_dropped = true}, &PvImage::IsImageDropped},
        {{.data_overrun = true}, &PvImage::IsDataOverrun},
    };
    PvBuffer buffer;
    PvBuffer derived;
    for (const auto& [status, own] : flags) {
        acquisition::finish(buffer, {.status = status});
        acquisition::derive(derived, buffer);
        for (const auto& [ignored, getter] : flags) {
            EXPECT_EQ((buffer.GetImage()->*getter)(), getter == own);
            EXPECT_EQ((derived.GetImage()->*getter)(), getter == own);
        }
    }
}

TEST(Acquisition, MoreLinesThanAnnouncedAreIgnored)
{
    PvBuffer buffer;
    ASSERT_TRUE(acquisition::begin(buffer, {.image = small_image}).IsOK());
    acquisition::finish(buffer, {.delivered_lines = 4000000000u});
    EXPECT_EQ(buffer.GetImage()->GetHeight(), 3u);
}

TEST(Acquisition, ImageSizeLeavesOutWhatFollowsTheImage)
{
    PvBuffer buffer;
    ASSERT_TRUE(acquisition::begin(buffer, {.payload_size = 20, .image = small_image}).IsOK());
    acquisition::finish(buffer, {.acquired_size = 20});
    EXPECT_EQ(buffer.GetSize(), 20u);
    EXPECT_EQ(buffer.GetImage()->GetImageSize(), 12u);
    EXPECT_EQ(buffer.GetImage()->GetAcquiredSize(), 12u);
    EXPECT_EQ(acquisition::payload(buffer).size(), 12u);
}

TEST(Acquisition, PayloadIsTheAcquiredPartElseTheBlock)
{
    PvBuffer buffer(PvPayloadTypeRawData);
    EXPECT_TRUE(acquisition::payload(buffer).empty());
    ASSERT_TRUE(buffer.Alloc(10).IsOK());
    EXPECT_EQ(acquisition::payload(buffer).size(), 10u);
    acquisition::finish(buffer, {.acquired_size = 4});
    EXPECT_EQ(acquisition::payload(buffer).size(), 4u);
    EXPECT_FALSE(acquisition::geometry(buffer).has_value());
}

TEST(Acquisition, ReshapeKeepsTheMemoryAndRefusesWhatDoesNotFit)
{
    PvBuffer buffer;
    ASSERT_TRUE(buffer.GetImage()->Alloc(4, 4, PvPixelMono8).IsOK());
    auto* memory = buffer.GetDataPointer();
    memory[0] = 7;
    ASSERT_TRUE(acquisition::reshape(buffer, {2, 2, PvPixelBGRA8Packed, 1, 1}).IsOK());
    EXPECT_EQ(buffer.GetImage()->GetWidth(), 2u);
    EXPECT_EQ(buffer.GetDataPointer(), memory);
    EXPECT_EQ(memory[0], 7);
    EXPECT_EQ(acquisition::reshape(buffer, {3, 2, PvPixelBGRA8Packed}).GetCode(), PvResult::BufferTooSmall);
    EXPECT_EQ(buffer.GetImage()->GetWidth(), 2u);
    PvBuffer raw(PvPayloadTypeRawData);
    EXPECT_EQ(acquisition::reshape(raw, {1, 1, PvPixelMono8}).GetCode(), PvResult::InvalidParameter);
}

TEST(Acquisition, DerivedImageTakesOverWhereItCameFrom)
{
    PvBuffer original;
    ASSERT_TRUE(acquisition::begin(original, {.block_id = 1, .timestamp = 2, .reception_time = 3, .image = small_image})
                    .IsOK());
    acquisition::finish(original,
                        {.result = PvResult::MissingPackets, .acquired_size = 5, .status = {.interlaced_odd = true}});
    PvBuffer derived;
    derived.SetID(8);
    ASSERT_TRUE(derived.GetImage()->Alloc(4, 3, PvPixelBGRA8Packed).IsOK());
    acquisition::derive(derived, original);
    EXPECT_EQ(derived.GetID(), 8u);
    EXPECT_EQ(derived.GetBlockID(), 1u);
    EXPECT_EQ(derived.GetTimestamp(), 2u);
    EXPECT_EQ(derived.GetReceptionTime(), 3u);
    EXPECT_EQ(derived.GetOperationResult().GetCode(), PvResult::MissingPackets);
    EXPECT_EQ(derived.GetImage()->GetOffsetY(), 2u);
    EXPECT_TRUE(derived.GetImage()->IsInterlacedOdd());
    EXPECT_EQ(derived.GetAcquiredSize(), 48u);
}

TEST(HeldBuffer, RefusesEveryChangeOfMemoryAndType)
{
    std::array<std::uint8_t, 4> other{};
    PvBuffer buffer;
    RecordingHolder holder;
    ASSERT_TRUE(buffer.GetImage()->Alloc(4, 4, PvPixelMono8).IsOK());
    auto* memory = buffer.GetDataPointer();
    ASSERT_TRUE(acquisition::hold(buffer, holder));
    EXPECT_TRUE(acquisition::is_held(buffer));
    EXPECT_EQ(buffer.Alloc(8).GetCode(), PvResult::StateError);
    EXPECT_EQ(buffer.Attach(other.data(), 4).GetCode(), PvResult::StateError);
    EXPECT_EQ(buffer.Reset(PvPayloadTypeRawData).GetCode(), PvResult::StateError);
    EXPECT_EQ(buffer.GetImage()->Alloc(2, 2, PvPixelMono8).GetCode(), PvResult::StateError);
    EXPECT_EQ(buffer.GetImage()->Attach(other.data(), 2, 2, PvPixelMono8).GetCode(), PvResult::StateError);
    EXPECT_EQ(buffer.Detach(), nullptr);
    buffer.Free();
    buffer.GetImage()->Free();
    EXPECT_EQ(buffer.GetDataPointer(), memory);
    EXPECT_EQ(buffer.GetImage()->GetWidth(), 4u);
    acquisition::release(buffer, holder);
    EXPECT_TRUE(buffer.Alloc(8).IsOK());
}

TEST(HeldBuffer, HasOneHolderAtATime)
{
    PvBuffer buffer;
    RecordingHolder first;
    RecordingHolder second;
    ASSERT_TRUE(acquisition::hold(buffer, first));
    EXPECT_FALSE(acquisition::hold(buffer, first));
    EXPECT_FALSE(acquisition::hold(buffer, second));
    acquisition::release(buffer, second);
    EXPECT_TRUE(acquisition::is_held(buffer));
    acquisition::release(buffer, first);
    EXPECT_FALSE(acquisition::is_held(buffer));
    EXPECT_TRUE(acquisition::hold(buffer, second));
    acquisition::release(buffer, second);
}

TEST(HeldBuffer, TellsItsHolderWhenItIsDestroyed)
{
    RecordingHolder holder;
    auto buffer = std::make_unique<PvBuffer>();
    auto* address = buffer.get();
    ASSERT_TRUE(acquisition::hold(*buffer, holder));
    buffer.reset();
    EXPECT_EQ(holder.destroyed, address);
}

}  // namespace
