#include "sdk/convert/PvBufferConverter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "sdk/buffer/acquisition.h"
#include "sdk/buffer/memory.h"
#include "sdk/convert/PvFilterRGB.h"
#include "tests/sdk/convert/images.h"

using namespace vex;

namespace {

using test::Bytes;

const std::set<PvPixelType> destinations = {
    PvPixelMono8,       PvPixelMono16,      PvPixelRGB8Packed,   PvPixelBGR8Packed,       PvPixelRGBA8Packed,
    PvPixelBGRA8Packed, PvPixelRGB16Packed, PvPixelYUV422Packed, PvPixelYUV422YUYVPacked, PvPixelYUV444Packed,
    PvPixelRGB8Planar,  PvPixelWinRGB16,    PvPixelWinRGB32,     PvPixelWinRGB24,         PvPixelWinBGR32,
    PvPixelWinBGR24,
};

struct FixedHolder final : acquisition::Holder {
    void buffer_destroyed(PvBuffer&) noexcept override {}
};

TEST(Converter, SupportsEveryTypeToTheDestinationsAndToItself)
{
    for (const auto from : pv_pixel_types) {
        for (const auto to : pv_pixel_types) {
            EXPECT_EQ(PvBufferConverter::IsConversionSupported(from, to), from == to || destinations.count(to) == 1)
                << std::hex << from << " " << to;
        }
    }
    EXPECT_FALSE(PvBufferConverter::IsConversionSupported(PvPixelUndefined, PvPixelMono8));
    EXPECT_FALSE(PvBufferConverter::IsConversionSupported(PvPixelMono8, PvPixelUndefined));
    EXPECT_FALSE(PvBufferConverter::IsConversionSupported(PvPixelUndefined, PvPixelUndefined));
    EXPECT_FALSE(PvBufferConverter::IsConversionSupported(static_cast<PvPixelType>(0x010A0046), PvPixelMono8));
}

TEST(Converter, ConvertsWhatItSupportsAndTouchesNothingWhereItDoesNot)
{
    PvBufferConverter converter;
    for (const auto from : pv_pixel_types) {
        for (const auto to : pv_pixel_types) {
            const auto source = test::blank(7, 5, from);
            test::fill_random(*source, from);
            const auto destination = test::blank(7, 5, to);
            test::fill_random(*destination, 1);
            const auto before = test::bytes_of(*destination);
            const auto result = converter.Convert(source.get(), destination.get());
            if (PvBufferConverter::IsConversionSupported(from, to)) {
                EXPECT_TRUE(result.IsOK()) << result.description();
                EXPECT_NE(test::bytes_of(*destination), before) << std::hex << from << " " << to;
            } else {
                EXPECT_EQ(result.GetCode(), PvResult::NotSupported);
                EXPECT_EQ(test::bytes_of(*destination), before) << std::hex << from << " " << to;
            }
        }
    }
}

TEST(Converter, SameTypeIsACopyOfThePixels)
{
    PvBufferConverter converter;
    for (const auto type : pv_pixel_types) {
        const auto source = test::blank(9, 3, type, 2);
        test::fill_random(*source, 5);
        const auto destination = test::blank(9, 3, type, 5);
        ASSERT_TRUE(converter.Convert(source.get(), destination.get()).IsOK());
        const auto& from = *source->GetImage();
        const auto& to = *destination->GetImage();
        const auto lines = from.GetRequiredSize() / from.GetLineStride();
        for (std::uint32_t y = 0; y < lines; ++y) {
            const auto* a = from.GetDataPointer() + y * from.GetLineStride();
            const auto* b = to.GetDataPointer() + y * to.GetLineStride();
            EXPECT_TRUE(std::equal(a, a + from.GetLineSize(), b)) << std::hex << type;
        }
    }
}

/// The pixels of an image without its padding.
Bytes pixels(const PvBuffer& buffer)
{
    const auto& image = *buffer.GetImage();
    Bytes bytes;
    for (std::uint32_t y = 0; y < image.GetRequiredSize() / image.GetLineStride(); ++y) {
        const auto* line = image.GetDataPointer() + y * image.GetLineStride();
        bytes.insert(bytes.end(), line, line + image.GetLineSize());
    }
    return bytes;
}

TEST(Converter, PaddingOfTheSourceIsSkippedAndThatOfTheDestinationUntouched)
{
    PvBufferConverter converter;
    for (const auto from : pv_pixel_types) {
        for (const auto to : destinations) {
            const auto plain_source = test::blank(5, 4, from);
            test::fill_random(*plain_source, 77);
            const auto plain = test::blank(5, 4, to);
            ASSERT_TRUE(converter.Convert(plain_source.get(), plain.get()).IsOK());

            const auto source = test::blank(5, 4, from, 3);
            test::fill_random(*source, 78);
            const auto& geometry = *plain_source->GetImage();
            for (std::uint32_t y = 0; y < geometry.GetRequiredSize() / geometry.GetLineSize(); ++y) {
                std::copy_n(geometry.GetDataPointer() + y * geometry.GetLineSize(), geometry.GetLineSize(),
                            source->GetDataPointer() + y * source->GetImage()->GetLineStride());
            }
            const auto destination = test::blank(5, 4, to, 7, 11);
            std::fill_n(destination->GetDataPointer(), destination->GetSize(), std::uint8_t{0xEE});
            ASSERT_TRUE(converter.Convert(source.get(), destination.get()).IsOK());
            EXPECT_EQ(pixels(*destination), pixels(*plain)) << std::hex << from << " " << to;
            const auto& image = *destination->GetImage();
            for (std::uint32_t y = 0; y < image.GetRequiredSize() / image.GetLineStride(); ++y) {
                for (std::uint32_t x = image.GetLineSize(); x < image.GetLineStride(); ++x) {
                    ASSERT_EQ(image.GetDataPointer()[y * image.GetLineStride() + x], 0xEE)
                        << std::hex << from << " " << to;
                }
            }
        }
    }
}

/// The type that stands between a type and a destination and loses no more than that does.
PvPixelType intermediate(PvPixelType from, PvPixelType to)
{
    const auto id = from & 0xFFFF;
    const bool colour = (from >> 24) == 2;
    const bool bayer = !colour && ((id >= 0x08 && id <= 0x13) || (id >= 0x26 && id <= 0x31));
    const auto bits = PvImage::GetPixelBitCount(from);
    const bool deep =
        colour ? (bits == 48 || bits == 36 || from == PvPixelBGR10V1Packed || from == PvPixelBGR10V2Packed) : bits > 8;
    if (!colour && !bayer) {
        return deep ? PvPixelMono16 : PvPixelMono8;
    }
    const bool to_words = to == PvPixelMono16 || to == PvPixelRGB16Packed;
    return deep && (colour || to_words) ? PvPixelRGB16Packed : PvPixelRGB8Packed;
}

TEST(Converter, EveryWayAgreesWithTheOneOverAnotherType)
{
    PvBufferConverter converter;
    ASSERT_TRUE(converter.SetBayerFilter(PvBayerFilter3X3).IsOK());
    const std::set<PvPixelType> yuv = {PvPixelYUV411Packed, PvPixelYUV422Packed, PvPixelYUV422YUYVPacked,
                                       PvPixelYUV444Packed};
    for (const auto from : pv_pixel_types) {
        for (const auto to : destinations) {
            // between YUV types, and from there to grey, there is no detour over RGB; alpha would be lost on it
            if (from == to || (yuv.count(from) != 0 && (yuv.count(to) != 0 || (to >> 24) == 1)) ||
                ((from == PvPixelRGBA8Packed || from == PvPixelBGRA8Packed) &&
                 (to == PvPixelRGBA8Packed || to == PvPixelBGRA8Packed))) {
                continue;
            }
            const auto source = test::blank(13, 5, from);
            test::fill_random(*source, from ^ to);
            const auto between = test::blank(13, 5, intermediate(from, to));
            const auto over = test::blank(13, 5, to);
            const auto straight = test::blank(13, 5, to);
            ASSERT_TRUE(converter.Convert(source.get(), between.get()).IsOK());
            ASSERT_TRUE(converter.Convert(between.get(), over.get()).IsOK());
            ASSERT_TRUE(converter.Convert(source.get(), straight.get()).IsOK());
            EXPECT_EQ(test::bytes_of(*straight), test::bytes_of(*over)) << std::hex << from << " " << to;
        }
    }
}

TEST(Converter, AnyNumberOfThreadsGivesTheSameBytes)
{
    for (const auto from : {PvPixelBayerRG8, PvPixelBayerGB12Packed, PvPixelYUV422Packed, PvPixelRGB12V1Packed,
                            PvPixelRGB10Planar, PvPixelRGB8Planar, PvPixelMono16}) {
        for (const auto to : {PvPixelBGRA8Packed, PvPixelYUV422Packed, PvPixelRGB8Planar}) {
            const auto source = test::blank(641, 483, from);
            test::fill_random(*source, 9);
            Bytes first;
            for (const int threads : {1, 2, 3, 5, -1, 0, 100}) {
                PvBufferConverter converter(threads);
                ASSERT_TRUE(converter.SetBayerFilter(PvBayerFilter3X3).IsOK());
                const auto destination = test::blank(641, 483, to);
                ASSERT_TRUE(converter.Convert(source.get(), destination.get()).IsOK());
                if (first.empty()) {
                    first = test::bytes_of(*destination);
                }
                EXPECT_TRUE(test::bytes_of(*destination) == first) << threads;
            }
        }
    }
}

TEST(Converter, CanBeUsedAgainForOtherSizesAndTypes)
{
    PvBufferConverter converter(2);
    for (const std::uint32_t width : {1000u, 3u, 2000u, 1u}) {
        for (const auto from : {PvPixelBayerRG12, PvPixelMono8}) {
            const auto source = test::blank(width, 200, from);
            test::fill_random(*source, width);
            const auto destination = test::blank(width, 200, PvPixelBGRA8Packed);
            ASSERT_TRUE(converter.Convert(source.get(), destination.get()).IsOK());
            const auto other = test::blank(width, 200, PvPixelBGRA8Packed);
            ASSERT_TRUE(PvBufferConverter(1).Convert(source.get(), other.get()).IsOK());
            EXPECT_TRUE(test::bytes_of(*destination) == test::bytes_of(*other));
        }
    }
}

TEST(Converter, WithoutReallocationSizesMustBeEqualAndMemorySufficient)
{
    PvBufferConverter converter;
    const auto source = test::blank(4, 4, PvPixelMono8);
    const auto other_size = test::blank(8, 8, PvPixelRGB8Packed);
    auto result = converter.Convert(source.get(), other_size.get());
    EXPECT_EQ(result.GetCode(), PvResult::InvalidParameter);
    EXPECT_NE(result.description().find("8 x 8"), std::string_view::npos);
    EXPECT_EQ(other_size->GetImage()->GetWidth(), 8u);

    const auto no_memory = test::blank(4, 4, PvPixelRGB8Packed);
    no_memory->Free();
    EXPECT_EQ(converter.Convert(source.get(), no_memory.get()).GetCode(), PvResult::BufferTooSmall);
    ASSERT_TRUE(no_memory->Alloc(47).IsOK());
    EXPECT_EQ(converter.Convert(source.get(), no_memory.get()).GetCode(), PvResult::BufferTooSmall);
    ASSERT_TRUE(no_memory->Alloc(48).IsOK());
    EXPECT_TRUE(converter.Convert(source.get(), no_memory.get()).IsOK());
}

TEST(Converter, ReallocationGivesTheDestinationTheSourcesSize)
{
    PvBufferConverter converter;
    const auto source = test::image(4, 3, PvPixelMono8, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12});
    const auto small = test::blank(2, 2, PvPixelRGB8Packed);
    ASSERT_TRUE(converter.Convert(source.get(), small.get(), true).IsOK());
    EXPECT_EQ(small->GetImage()->GetWidth(), 4u);
    EXPECT_EQ(small->GetImage()->GetHeight(), 3u);
    EXPECT_EQ(small->GetSize(), 36u);
    EXPECT_EQ(small->GetDataPointer()[35], 12);

    const auto large = test::blank(20, 20, PvPixelRGB8Packed);
    const auto* memory = large->GetDataPointer();
    ASSERT_TRUE(converter.Convert(source.get(), large.get(), true).IsOK());
    EXPECT_EQ(large->GetDataPointer(), memory);  // was not needed
    EXPECT_EQ(large->GetImage()->GetWidth(), 4u);
    EXPECT_EQ(large->GetImage()->GetImageSize(), 36u);
}

TEST(Converter, ReallocationLeavesAttachedMemoryToItsOwner)
{
    PvBufferConverter converter;
    const auto source = test::blank(4, 4, PvPixelMono8);
    test::fill_random(*source, 2);
    Bytes memory(4, 0xAA);
    PvBuffer destination;
    ASSERT_TRUE(destination.GetImage()->Attach(memory.data(), 2, 2, PvPixelMono8).IsOK());
    ASSERT_TRUE(converter.Convert(source.get(), &destination, true).IsOK());
    EXPECT_EQ(memory, Bytes(4, 0xAA));
    EXPECT_EQ(test::bytes_of(destination), test::bytes_of(*source));
}

TEST(Converter, WindowsLinesAreAllocatedInMultiplesOfFourBytes)
{
    PvBufferConverter converter;
    const auto source = test::blank(5, 2, PvPixelMono8);
    for (const auto& [type, stride] : {std::pair{PvPixelWinRGB24, 16u},
                                       {PvPixelWinBGR24, 16u},
                                       {PvPixelWinRGB16, 12u},
                                       {PvPixelWinRGB32, 20u},
                                       {PvPixelBGR8Packed, 15u}}) {
        const auto destination = test::blank(1, 1, type);
        ASSERT_TRUE(converter.Convert(source.get(), destination.get(), true).IsOK());
        EXPECT_EQ(destination->GetImage()->GetLineStride(), stride);
        const auto by_hand = test::blank(5, 2, type);
        ASSERT_TRUE(converter.Convert(source.get(), by_hand.get(), true).IsOK());
        EXPECT_EQ(by_hand->GetImage()->GetPaddingX(), 0u);  // as the user wanted it
    }
}

TEST(Converter, FailuresNameTheirCauseAndChangeNothing)
{
    PvBufferConverter converter;
    const auto source = test::blank(4, 4, PvPixelMono8);
    const auto destination = test::blank(4, 4, PvPixelRGB8Packed);
    PvBuffer raw(PvPayloadTypeRawData);
    ASSERT_TRUE(raw.Alloc(100).IsOK());
    PvBuffer untyped;
    ASSERT_TRUE(untyped.Alloc(100).IsOK());
    PvBuffer empty;
    EXPECT_EQ(converter.Convert(nullptr, destination.get()).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(converter.Convert(source.get(), nullptr).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(converter.Convert(&raw, destination.get()).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(converter.Convert(source.get(), &raw, true).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(converter.Convert(&untyped, destination.get()).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(converter.Convert(&empty, destination.get()).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(converter.Convert(source.get(), &untyped, true).GetCode(), PvResult::NotSupported);
    EXPECT_EQ(converter.Convert(source.get(), source.get()).GetCode(), PvResult::InvalidParameter);

    const auto short_source = test::blank(4, 4, PvPixelMono8);
    ASSERT_TRUE(short_source->Alloc(15).IsOK());
    const auto result = converter.Convert(short_source.get(), destination.get());
    EXPECT_EQ(result.GetCode(), PvResult::BufferTooSmall);
    EXPECT_NE(result.description().find("15 bytes"), std::string_view::npos);

    PvBuffer sharing;
    ASSERT_TRUE(sharing.GetImage()->Attach(source->GetDataPointer() + 15, 1, 1, PvPixelMono8).IsOK());
    EXPECT_EQ(converter.Convert(source.get(), &sharing, true).GetCode(), PvResult::InvalidParameter);

    FixedHolder holder;
    ASSERT_TRUE(acquisition::hold(*destination, holder));
    EXPECT_EQ(converter.Convert(source.get(), destination.get()).GetCode(), PvResult::StateError);
    acquisition::release(*destination, holder);
    EXPECT_EQ(destination->GetImage()->GetWidth(), 4u);
    EXPECT_TRUE(converter.Convert(source.get(), destination.get()).IsOK());
}

TEST(Converter, FailedReallocationKeepsTheDestination)
{
    PvBufferConverter converter;
    const auto source = test::blank(4, 4, PvPixelMono8);
    const auto destination = test::blank(2, 2, PvPixelRGB8Packed);
    destination->GetDataPointer()[0] = 3;
    buffer_memory::fail_next_allocations(1);
    EXPECT_EQ(converter.Convert(source.get(), destination.get(), true).GetCode(), PvResult::NotEnoughMemory);
    EXPECT_EQ(destination->GetImage()->GetWidth(), 2u);
    EXPECT_EQ(destination->GetDataPointer()[0], 3);
    EXPECT_TRUE(converter.Convert(source.get(), destination.get(), true).IsOK());
}

TEST(Converter, ADestinationPastFourGigabytesFails)
{
    PvBufferConverter converter(1);
    const std::uint32_t width = 1u << 16;
    Bytes memory(std::size_t{width} * 1024);
    PvBuffer source;
    ASSERT_TRUE(source.GetImage()->Attach(memory.data(), width, 1024, PvPixelMono8).IsOK());
    PvBuffer destination;
    ASSERT_TRUE(destination.GetImage()->Alloc(1, 1, PvPixelRGB16Packed, 0xFFFF, 0).IsOK());
    // 1024 lines of 6 * 65536 + 65535 bytes fit; of a source 16 times as high they would not
    ASSERT_TRUE(converter.Convert(&source, &destination, true).IsOK());
    ASSERT_TRUE(source.GetImage()->Attach(memory.data(), 4096, 16384, PvPixelMono8).IsOK());
    ASSERT_TRUE(destination.GetImage()->Alloc(1, 1, PvPixelRGB16Packed, 0xFFFF, 0).IsOK());
    ASSERT_EQ(16384ull * (4096 * 6 + 65535) >> 32, 0u);
    ASSERT_TRUE(source.GetImage()->Attach(memory.data(), 64, 1 << 20, PvPixelMono8).IsOK());
    EXPECT_EQ(converter.Convert(&source, &destination, true).GetCode(), PvResult::ErrOverflow);
}

TEST(Converter, TheResultTakesOverWhereItCameFrom)
{
    PvBufferConverter converter;
    const auto source = test::blank(4, 4, PvPixelMono8);
    ASSERT_TRUE(
        acquisition::begin(
            *source, {.block_id = 77, .timestamp = 88, .image = acquisition::ImageGeometry{4, 4, PvPixelMono8, 6, 8}})
            .IsOK());
    const auto destination = test::blank(4, 4, PvPixelRGB8Packed);
    destination->SetID(5);
    ASSERT_TRUE(converter.Convert(source.get(), destination.get()).IsOK());
    EXPECT_EQ(destination->GetBlockID(), 77u);
    EXPECT_EQ(destination->GetTimestamp(), 88u);
    EXPECT_EQ(destination->GetImage()->GetOffsetX(), 6u);
    EXPECT_EQ(destination->GetImage()->GetOffsetY(), 8u);
    EXPECT_EQ(destination->GetAcquiredSize(), 48u);
    EXPECT_EQ(destination->GetID(), 5u);
}

TEST(Converter, LastLineNeedsNoPaddingInMemory)
{
    PvBufferConverter converter;
    const auto source = test::blank(4, 2, PvPixelMono8, 4);
    ASSERT_TRUE(source->Alloc(12).IsOK());
    const auto destination = test::blank(4, 2, PvPixelMono8);
    EXPECT_TRUE(converter.Convert(source.get(), destination.get()).IsOK());
}

TEST(BayerFilter, StartsSimpleAndTakesOnlyFilters)
{
    PvBufferConverter converter;
    EXPECT_EQ(converter.GetBayerFilter(), PvBayerFilterSimple);
    EXPECT_TRUE(converter.SetBayerFilter(PvBayerFilter3X3).IsOK());
    for (const int value : {0, 3, -1}) {
        const auto result = converter.SetBayerFilter(static_cast<PvBayerFilterType>(value));
        EXPECT_EQ(result.GetCode(), PvResult::InvalidParameter);
        EXPECT_NE(result.description().find(std::to_string(value)), std::string_view::npos);
    }
    EXPECT_EQ(converter.GetBayerFilter(), PvBayerFilter3X3);
}

}  // namespace
