#include "sdk/buffer/PvBuffer.h"

#include <gtest/gtest.h>

#ifdef __linux__
#include <unistd.h>
#endif

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <memory>
#include <numeric>
#include <vector>

#include "sdk/buffer/acquisition.h"
#include "sdk/buffer/memory.h"

using namespace vex;

namespace {

bool all_zero(const PvBuffer& buffer)
{
    return std::all_of(buffer.GetDataPointer(), buffer.GetDataPointer() + buffer.GetSize(),
                       [](std::uint8_t byte) { return byte == 0; });
}

TEST(Buffer, NewOneIsAnEmptyImageThatWasNeverAcquired)
{
    PvBuffer buffer;
    EXPECT_EQ(buffer.GetPayloadType(), PvPayloadTypeImage);
    EXPECT_EQ(buffer.GetDataPointer(), nullptr);
    EXPECT_EQ(buffer.GetSize(), 0u);
    EXPECT_EQ(buffer.GetAcquiredSize(), 0u);
    EXPECT_EQ(buffer.GetID(), 0u);
    EXPECT_EQ(buffer.GetBlockID(), 0u);
    EXPECT_EQ(buffer.GetTimestamp(), 0u);
    EXPECT_EQ(buffer.GetReceptionTime(), 0u);
    EXPECT_TRUE(buffer.GetOperationResult().IsOK());
    EXPECT_NE(buffer.GetImage(), nullptr);
    EXPECT_EQ(buffer.GetRawData(), nullptr);
}

TEST(Buffer, HasTheViewOfItsPayloadTypeOnly)
{
    PvBuffer image(PvPayloadTypeImage);
    EXPECT_NE(image.GetImage(), nullptr);
    EXPECT_EQ(image.GetRawData(), nullptr);
    PvBuffer raw(PvPayloadTypeRawData);
    EXPECT_EQ(raw.GetImage(), nullptr);
    EXPECT_NE(raw.GetRawData(), nullptr);
    for (const auto type : {PvPayloadTypeUndefined, PvPayloadTypeFile, PvPayloadTypeChunkData,
                            PvPayloadTypeExtendedChunkData, PvPayloadTypeDeviceSpecificBase}) {
        PvBuffer other(type);
        EXPECT_EQ(other.GetPayloadType(), type);
        EXPECT_EQ(other.GetImage(), nullptr);
        EXPECT_EQ(other.GetRawData(), nullptr);
    }
}

TEST(Buffer, PayloadTypeValuesAreTheProtocols)
{
    EXPECT_EQ(static_cast<int>(PvPayloadTypeUndefined), -1);
    EXPECT_EQ(static_cast<int>(PvPayloadTypeExtendedChunkData), 5);
    EXPECT_EQ(static_cast<int>(PvPayloadTypeDeviceSpecificBase), 0x8000);
}

TEST(Buffer, AllocGivesAnAlignedZeroedBlockOfTheSize)
{
    PvBuffer buffer;
    for (const std::uint32_t size : {1u, 100u, 4096u, 1'000'003u, 40'000'007u}) {
        ASSERT_TRUE(buffer.Alloc(size).IsOK());
        EXPECT_EQ(buffer.GetSize(), size);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.GetDataPointer()) % 64, 0u);
        EXPECT_TRUE(all_zero(buffer));
        std::memset(buffer.GetDataPointer(), 0xAA, size);
    }
}

TEST(Buffer, AllocOfTheSameSizeZeroesTheBlockAgain)
{
    PvBuffer buffer;
    for (const std::uint32_t size : {64u, 40'000'007u}) {
        ASSERT_TRUE(buffer.Alloc(size).IsOK());
        std::memset(buffer.GetDataPointer(), 0xAA, size);
        acquisition::finish(buffer, {.acquired_size = 12});
        ASSERT_EQ(buffer.GetAcquiredSize(), 12u);
        ASSERT_TRUE(buffer.Alloc(size).IsOK());
        EXPECT_EQ(buffer.GetSize(), size);
        EXPECT_TRUE(all_zero(buffer));
        EXPECT_EQ(buffer.GetAcquiredSize(), 0u);
    }
}

#ifdef __linux__
/// Bytes of this process that are in memory.
std::uint64_t resident_bytes()
{
    std::uint64_t total = 0;
    std::uint64_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    EXPECT_NE(resident, 0u);
    return resident * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

TEST(Buffer, ALargeBlockTakesMemoryOnlyWhereItIsUsed)
{
    constexpr std::uint32_t size = 1u << 29;
    PvBuffer buffer;
    if (buffer_memory::pages_from > size) {  // where overruns of large blocks shall be seen, they cost memory
        ASSERT_TRUE(buffer.Alloc(40'000'007).IsOK());
        EXPECT_DEATH(buffer.GetDataPointer()[40'000'007] = 1, "heap-buffer-overflow");
        return;
    }
    const std::uint64_t before = resident_bytes();
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(buffer.Alloc(size).IsOK());
        EXPECT_LT(resident_bytes(), before + size / 4);
        for (const std::uint32_t at : {0u, size / 2, size - 1}) {
            EXPECT_EQ(buffer.GetDataPointer()[at], 0);
            buffer.GetDataPointer()[at] = 1;
        }
    }
    std::memset(buffer.GetDataPointer(), 1, size);
    EXPECT_GE(resident_bytes(), before + size / 4);
    buffer.Free();
    EXPECT_LT(resident_bytes(), before + size / 4);
}
#endif

TEST(Buffer, AllocOfNothingFailsAndChangesNothing)
{
    PvBuffer buffer;
    ASSERT_TRUE(buffer.Alloc(16).IsOK());
    auto* before = buffer.GetDataPointer();
    const auto result = buffer.Alloc(0);
    EXPECT_EQ(result.GetCode(), PvResult::InvalidParameter);
    EXPECT_NE(result.description().find("0 bytes"), std::string_view::npos);
    EXPECT_EQ(buffer.GetDataPointer(), before);
    EXPECT_EQ(buffer.GetSize(), 16u);
}

TEST(Buffer, FailedAllocationKeepsTheOldBlock)
{
    PvBuffer buffer;
    ASSERT_TRUE(buffer.Alloc(16).IsOK());
    buffer.GetDataPointer()[3] = 77;
    buffer_memory::fail_next_allocations(1);
    const auto result = buffer.Alloc(4'000'000'000u);
    EXPECT_EQ(result.GetCode(), PvResult::NotEnoughMemory);
    EXPECT_NE(result.description().find("4000000000"), std::string_view::npos);
    EXPECT_EQ(buffer.GetSize(), 16u);
    EXPECT_EQ(buffer.GetDataPointer()[3], 77);
}

TEST(Buffer, AllocKeepsTheUsersIdAndTheTimestamp)
{
    PvBuffer buffer;
    buffer.SetID(0x1234567890ABCDEF);
    ASSERT_TRUE(buffer.SetTimestamp(99).IsOK());
    ASSERT_TRUE(buffer.Alloc(10).IsOK());
    EXPECT_EQ(buffer.GetID(), 0x1234567890ABCDEFu);
    EXPECT_EQ(buffer.GetTimestamp(), 99u);
}

TEST(Buffer, FreeLeavesNoMemory)
{
    PvBuffer buffer;
    ASSERT_TRUE(buffer.Alloc(10).IsOK());
    buffer.Free();
    EXPECT_EQ(buffer.GetDataPointer(), nullptr);
    EXPECT_EQ(buffer.GetSize(), 0u);
    buffer.Free();
    EXPECT_EQ(buffer.GetSize(), 0u);
}

TEST(Buffer, AttachUsesTheCallersMemoryInPlaceAndDetachGivesItBack)
{
    std::array<std::uint8_t, 16> memory{};
    std::iota(memory.begin(), memory.end(), std::uint8_t{1});
    const auto copy = memory;
    PvBuffer buffer;
    ASSERT_TRUE(buffer.Attach(memory.data(), 16).IsOK());
    EXPECT_EQ(buffer.GetDataPointer(), memory.data());
    EXPECT_EQ(buffer.GetSize(), 16u);
    EXPECT_EQ(buffer.Detach(), memory.data());
    EXPECT_EQ(memory, copy);
    EXPECT_EQ(buffer.GetDataPointer(), nullptr);
    EXPECT_EQ(buffer.GetSize(), 0u);
}

TEST(Buffer, DetachOfOwnMemoryOrNoneGivesNothing)
{
    PvBuffer buffer;
    EXPECT_EQ(buffer.Detach(), nullptr);
    ASSERT_TRUE(buffer.Alloc(10).IsOK());
    EXPECT_EQ(buffer.Detach(), nullptr);
    EXPECT_EQ(buffer.GetSize(), 0u);
}

TEST(Buffer, AttachRefusesNothingAndItsOwnMemory)
{
    std::uint8_t byte = 0;
    PvBuffer buffer;
    EXPECT_EQ(buffer.Attach(nullptr, 10).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(buffer.Attach(&byte, 0).GetCode(), PvResult::InvalidParameter);
    ASSERT_TRUE(buffer.Alloc(10).IsOK());
    EXPECT_EQ(buffer.Attach(buffer.GetDataPointer(), 10).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(buffer.GetSize(), 10u);
}

TEST(Buffer, AllocAndFreeAndDestructionLeaveAttachedMemoryToItsOwner)
{
    auto memory = std::make_unique<std::uint8_t[]>(32);  // the address sanitizer sees a release by the buffer
    memory[31] = 5;
    {
        PvBuffer buffer;
        ASSERT_TRUE(buffer.Attach(memory.get(), 32).IsOK());
        ASSERT_TRUE(buffer.Alloc(32).IsOK());
        EXPECT_NE(buffer.GetDataPointer(), memory.get());
        ASSERT_TRUE(buffer.Attach(memory.get(), 32).IsOK());
        buffer.Free();
        ASSERT_TRUE(buffer.Attach(memory.get(), 32).IsOK());
        ASSERT_TRUE(buffer.Attach(memory.get(), 16).IsOK());
        EXPECT_EQ(buffer.GetSize(), 16u);
    }
    EXPECT_EQ(memory[31], 5);
}

TEST(Buffer, BlockIdShowsTheLow16Bits)
{
    PvBuffer buffer;
    ASSERT_TRUE(acquisition::begin(buffer, {.block_id = 0x123456789ull}).IsOK());
    EXPECT_EQ(buffer.GetBlockID(), 0x6789u);
    EXPECT_EQ(buffer.GetBlockID64(), 0x123456789ull);
}

TEST(Buffer, ResetChangesTheTypeInPlaceAndForgetsTheAcquisition)
{
    PvBuffer buffer;
    ASSERT_TRUE(buffer.GetImage()->Alloc(4, 4, PvPixelMono8).IsOK());
    buffer.SetID(7);
    auto* memory = buffer.GetDataPointer();
    const acquisition::PacketRange missing[] = {{3, 5}};
    ASSERT_TRUE(acquisition::begin(buffer, {.block_id = 9,
                                            .timestamp = 10,
                                            .reception_time = 11,
                                            .payload_size = 16,
                                            .image = acquisition::ImageGeometry{4, 4, PvPixelMono8}})
                    .IsOK());
    acquisition::finish(buffer, {.result = PvResult::MissingPackets,
                                 .acquired_size = 12,
                                 .expected_resend_count = 1,
                                 .lost_packet_count = 2,
                                 .ignored_packet_count = 3,
                                 .missing = missing});
    memory[0] = 42;

    ASSERT_TRUE(buffer.Reset(PvPayloadTypeRawData).IsOK());
    EXPECT_EQ(buffer.GetPayloadType(), PvPayloadTypeRawData);
    EXPECT_EQ(buffer.GetImage(), nullptr);
    ASSERT_NE(buffer.GetRawData(), nullptr);
    EXPECT_EQ(buffer.GetRawData()->GetPayloadLength(), 16u);
    EXPECT_EQ(buffer.GetDataPointer(), memory);
    EXPECT_EQ(memory[0], 42);
    EXPECT_EQ(buffer.GetID(), 7u);
    EXPECT_EQ(buffer.GetBlockID64(), 0u);
    EXPECT_EQ(buffer.GetTimestamp(), 0u);
    EXPECT_EQ(buffer.GetReceptionTime(), 0u);
    EXPECT_EQ(buffer.GetAcquiredSize(), 0u);
    EXPECT_TRUE(buffer.GetOperationResult().IsOK());
    EXPECT_EQ(buffer.GetExpectedResendCount(), 0u);
    EXPECT_EQ(buffer.GetLostPacketCount(), 0u);
    EXPECT_EQ(buffer.GetIgnoredPacketCount(), 0u);
    std::uint32_t count = 1;
    ASSERT_TRUE(buffer.GetMissingPacketIdsCount(count).IsOK());
    EXPECT_EQ(count, 0u);

    ASSERT_TRUE(buffer.Reset(PvPayloadTypeImage).IsOK());
    EXPECT_EQ(buffer.GetImage()->GetWidth(), 0u);
    EXPECT_EQ(buffer.GetImage()->GetPixelType(), PvPixelUndefined);
}

TEST(Buffer, ALengthOfRawDataIsForgottenWithItsBlock)
{
    PvBuffer buffer(PvPayloadTypeRawData);
    ASSERT_TRUE(buffer.Alloc(16).IsOK());
    const acquisition::BlockStart announced{.payload_type = PvPayloadTypeRawData, .announced_raw_length = 5};
    ASSERT_TRUE(acquisition::begin(buffer, announced).IsOK());
    EXPECT_EQ(buffer.GetRawData()->GetPayloadLength(), 5u);
    ASSERT_TRUE(acquisition::begin(buffer, {.payload_type = PvPayloadTypeRawData}).IsOK());
    EXPECT_EQ(buffer.GetRawData()->GetPayloadLength(), 16u);
    ASSERT_TRUE(acquisition::begin(buffer, announced).IsOK());
    ASSERT_TRUE(buffer.Reset(PvPayloadTypeRawData).IsOK());
    EXPECT_EQ(buffer.GetRawData()->GetPayloadLength(), 16u);
}

TEST(Buffer, ResetTakesPayloadTypesOnly)
{
    PvBuffer buffer;
    for (const int type : {-1, 0, 6, 0x7FFF, 0x10000}) {
        EXPECT_EQ(buffer.Reset(static_cast<PvPayloadType>(type)).GetCode(), PvResult::InvalidParameter) << type;
        EXPECT_EQ(buffer.GetPayloadType(), PvPayloadTypeImage);
    }
    for (const int type : {1, 2, 3, 4, 5, 0x8000, 0xFFFF}) {
        EXPECT_TRUE(buffer.Reset(static_cast<PvPayloadType>(type)).IsOK()) << type;
        EXPECT_EQ(static_cast<int>(buffer.GetPayloadType()), type);
    }
}

TEST(Buffer, ResetKeepsAttachedMemoryAttached)
{
    std::array<std::uint8_t, 8> memory{};
    PvBuffer buffer;
    ASSERT_TRUE(buffer.Attach(memory.data(), 8).IsOK());
    ASSERT_TRUE(buffer.Reset(PvPayloadTypeRawData).IsOK());
    EXPECT_EQ(buffer.Detach(), memory.data());
}

TEST(MissingPacketIds, ListsTheRangesAndNamesAnIndexThatHasNone)
{
    const acquisition::PacketRange missing[] = {{2, 2}, {7, 12}};
    PvBuffer buffer;
    acquisition::finish(buffer, {.missing = missing});
    std::uint32_t count = 0;
    ASSERT_TRUE(buffer.GetMissingPacketIdsCount(count).IsOK());
    EXPECT_EQ(count, 2u);
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    ASSERT_TRUE(buffer.GetMissingPacketIds(1, low, high).IsOK());
    EXPECT_EQ(low, 7u);
    EXPECT_EQ(high, 12u);
    const auto result = buffer.GetMissingPacketIds(2, low, high);
    EXPECT_EQ(result.GetCode(), PvResult::NotFound);
    EXPECT_NE(result.description().find("range 2"), std::string_view::npos);
    EXPECT_EQ(low, 7u);
    EXPECT_EQ(high, 12u);
}

TEST(RawData, LengthIsWhatWasAnnouncedElseTheBlock)
{
    PvBuffer buffer(PvPayloadTypeRawData);
    EXPECT_EQ(buffer.GetRawData()->GetPayloadLength(), 0u);
    ASSERT_TRUE(buffer.Alloc(100).IsOK());
    EXPECT_EQ(buffer.GetRawData()->GetPayloadLength(), 100u);
    ASSERT_TRUE(acquisition::begin(
                    buffer, {.payload_type = PvPayloadTypeRawData, .payload_size = 60, .announced_raw_length = 60})
                    .IsOK());
    EXPECT_EQ(buffer.GetRawData()->GetPayloadLength(), 60u);
    EXPECT_EQ(buffer.GetSize(), 100u);
}

}  // namespace
