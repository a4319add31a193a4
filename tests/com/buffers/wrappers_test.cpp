// The wrappers over SDK buffers in a state that only an acquisition brings about.
#include <array>
#include <memory>

#include "buffers/VexBuffer.h"
#include "buffers/VexBufferConverter.h"
#include "sdk/buffer/acquisition.h"
#include "tests/com/buffers/objects.h"

using namespace vex;

namespace {

using namespace client;
using Bytes = std::vector<unsigned char>;

class Wrappers : public ComTest {
protected:
    [[nodiscard]] static Ref<CVexBuffer> wrapper()
    {
        Ref<CVexBuffer> made;
        EXPECT_EQ(server::create_object(made), S_OK);
        return made;
    }

    PvBuffer acquired;
    Ref<CVexBuffer> buffer = wrapper();
};

TEST_F(Wrappers, EachStatusFlagIsItsOwnAndReadsAsOne)
{
    using Status = acquisition::ImageStatus;
    using Getter = HRESULT (STDMETHODCALLTYPE IVexImage::*)(VARIANT_BOOL*);
    const std::pair<Status, Getter> flags[] = {
        {{.partial_line_missing = true}, &IVexImage::get_IsPartialLineMissing},
        {{.full_line_missing = true}, &IVexImage::get_IsFullLineMissing},
        {{.eof_by_line_count = true}, &IVexImage::get_IsEOFByLineCount},
        {{.interlaced_even = true}, &IVexImage::get_IsInterlacedEven},
        {{.interlaced_odd = true}, &IVexImage::get_IsInterlacedOdd},
        {{.image_dropped = true}, &IVexImage::get_IsImageDropped},
        {{.data_overrun = true}, &IVexImage::get_IsDataOverrun},
    };
    buffer->AttachSdkObject(&acquired);
    const auto image = image_of(buffer.get());
    for (const auto& [status, own] : flags) {
        acquisition::finish(acquired, {.status = status});
        for (const auto& [ignored, getter] : flags) {
            VARIANT_BOOL value = 7;
            EXPECT_EQ((image.get()->*getter)(&value), S_OK);
            EXPECT_EQ(value, getter == own ? 1 : 0);
        }
    }
}

TEST_F(Wrappers, WhatTheAcquisitionRecordedIsRead)
{
    const acquisition::PacketRange missing[] = {{2, 4}, {9, 9}};
    ASSERT_TRUE(acquisition::begin(acquired, {.block_id = 0x10007,
                                              .timestamp = 11,
                                              .image = acquisition::ImageGeometry{4, 2, PvPixelMono8, 5, 6, 1, 0}})
                    .IsOK());
    acquisition::finish(acquired, {.result = PvResult(PvResult::TooManyResends, "packet 3 was lost"),
                                   .acquired_size = 9,
                                   .expected_resend_count = 21,
                                   .lost_packet_count = 22,
                                   .ignored_packet_count = 23,
                                   .missing = missing});
    buffer->AttachSdkObject(&acquired);
    EXPECT_EQ(value_of(static_cast<IVexBuffer*>(buffer.get()), &IVexBuffer::get_BlockID), 7u);
    IVexBuffer* const seen = buffer.get();
    EXPECT_EQ(value_of(seen, &IVexBuffer::get_Timestamp), 11u);
    EXPECT_EQ(value_of(seen, &IVexBuffer::get_AcquiredSize), 9u);
    EXPECT_EQ(value_of(seen, &IVexBuffer::get_Size), 10u);
    EXPECT_EQ(value_of(seen, &IVexBuffer::get_ExpectedResendCount), 21u);
    EXPECT_EQ(value_of(seen, &IVexBuffer::get_LostPacketCount), 22u);
    EXPECT_EQ(value_of(seen, &IVexBuffer::get_IgnoredPacketCount), 23u);
    Ref<IVexResult> outcome;
    ASSERT_EQ(seen->get_OperationResult(outcome.put()), S_OK);
    EXPECT_EQ(value_of(outcome.get(), &IVexResult::get_Code), VexTooManyResends);
    BSTR text = nullptr;
    ASSERT_EQ(outcome->get_Description(&text), S_OK);
    EXPECT_EQ(take(text), take(server::to_bstr(PvString(PvResult::text_of(PvResult::TooManyResends)))));

    unsigned int count = 0;
    EXPECT_EQ(code_of([&](IVexResult** result) { return seen->GetMissingPacketIdsCount(&count, result); }), VexOK);
    EXPECT_EQ(count, 2u);
    unsigned int low = 0;
    unsigned int high = 0;
    EXPECT_EQ(code_of([&](IVexResult** result) { return seen->GetMissingPacketIds(0, &low, &high, result); }), VexOK);
    EXPECT_EQ(low, 2u);
    EXPECT_EQ(high, 4u);

    const auto image = image_of(seen);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_OffsetX), 5u);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_OffsetY), 6u);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_AcquiredSize), 9u);
}

TEST_F(Wrappers, ABorrowedBufferIsNeverDeleted)
{
    ASSERT_TRUE(acquired.GetImage()->Alloc(2, 1, PvPixelMono8).IsOK());
    acquired.SetID(5);
    acquired.GetDataPointer()[0] = 77;
    buffer->AttachSdkObject(&acquired);
    const auto image = image_of(buffer.get());
    ASSERT_EQ(buffer->put_PayloadType(VexPayloadTypeRawData), S_OK);  // a copy of the wrapper's own
    EXPECT_EQ(value_of(static_cast<IVexBuffer*>(buffer.get()), &IVexBuffer::get_ID), 5u);
    EXPECT_EQ(data_of(buffer.get()), (Bytes{77, 0}));
    EXPECT_EQ(acquired.GetPayloadType(), PvPayloadTypeImage);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_Width), 2u);  // still the old buffer's, until it is read again
    buffer->AttachSdkObject(&acquired);
    buffer.reset();
    EXPECT_EQ(acquired.GetDataPointer()[0], 77);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_Width), 2u);
}

TEST_F(Wrappers, TheImageIsTheSameObjectAfterTheBufferBehindItChanged)
{
    PvBuffer other;
    ASSERT_TRUE(acquired.GetImage()->Alloc(2, 1, PvPixelMono8).IsOK());
    ASSERT_TRUE(other.GetImage()->Alloc(3, 1, PvPixelMono8).IsOK());
    buffer->AttachSdkObject(&acquired);
    const auto image = image_of(buffer.get());
    buffer->AttachSdkObject(&other);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_Width), 2u);
    EXPECT_EQ(image_of(buffer.get()).get(), image.get());
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_Width), 3u);
}

TEST_F(Wrappers, ABufferThatIsMissingFailsCleanly)
{
    buffer->AttachSdkObject(nullptr);
    unsigned int size = 0;
    EXPECT_EQ(buffer->get_Size(&size), E_POINTER);
    EXPECT_EQ(alloc(buffer.get(), 4), VexNotInitialized);
    EXPECT_EQ(buffer->put_PayloadType(VexPayloadTypeImage), E_POINTER);
}

class TwoDimensions : public Wrappers {
protected:
    TwoDimensions() { EXPECT_EQ(server::create_object(image), S_OK); }

    /// Reads into `array`: the sizes of its dimensions.
    [[nodiscard]] std::array<LONG, 2> read()
    {
        EXPECT_EQ(image->GetData2D(array.put()), S_OK);
        std::array<LONG, 2> upper{-1, -1};
        if (array.get() != nullptr) {
            EXPECT_EQ(SafeArrayGetDim(array.get()), 2u);
            for (UINT dimension = 1; dimension <= 2; ++dimension) {
                LONG lower = -1;
                SafeArrayGetLBound(array.get(), dimension, &lower);
                EXPECT_EQ(lower, 0);
                SafeArrayGetUBound(array.get(), dimension, &upper[dimension - 1]);
            }
        }
        return {upper[0] + 1, upper[1] + 1};
    }
    /// The first bytes in memory.
    [[nodiscard]] Bytes bytes(std::size_t count) const
    {
        void* data = nullptr;
        EXPECT_EQ(SafeArrayAccessData(array.get(), &data), S_OK);
        const auto* first = static_cast<const unsigned char*>(data);
        Bytes copy(first, first + count);
        SafeArrayUnaccessData(array.get());
        return copy;
    }

    Ref<CVexImage> image;
    Array array;
};

TEST_F(TwoDimensions, ALineIsPaddingOffsetAndWidth)
{
    ASSERT_TRUE(acquired.GetImage()->Alloc(3, 2, PvPixelMono8, 1).IsOK());
    for (unsigned char i = 0; i < 8; ++i) {
        acquired.GetDataPointer()[i] = i;
    }
    image->AttachSdkObject(acquired.GetImage());
    EXPECT_EQ(read(), (std::array<LONG, 2>{4, 2}));
    EXPECT_EQ(bytes(8), (Bytes{0, 1, 2, 3, 4, 5, 6, 7}));
    acquired.GetImage()->SetOffsetX(2);
    acquired.GetImage()->SetOffsetY(3);
    EXPECT_EQ(read(), (std::array<LONG, 2>{6, 5}));
}

TEST_F(TwoDimensions, LinesAreAddedUntilTheBytesFit)
{
    ASSERT_TRUE(acquired.GetImage()->Alloc(3, 2, PvPixelRGB8Packed, 0, 1).IsOK());  // 19 bytes in lines of 3
    image->AttachSdkObject(acquired.GetImage());
    EXPECT_EQ(read(), (std::array<LONG, 2>{3, 7}));
}

TEST_F(TwoDimensions, WithoutMemoryThereIsNoArray)
{
    image->AttachSdkObject(acquired.GetImage());
    EXPECT_EQ(read(), (std::array<LONG, 2>{0, 0}));
    EXPECT_EQ(array.get(), nullptr);
}

TEST_F(TwoDimensions, MemoryWithoutGeometryGivesAnArrayWithoutElements)
{
    ASSERT_TRUE(acquired.Alloc(10).IsOK());
    image->AttachSdkObject(acquired.GetImage());
    EXPECT_EQ(read(), (std::array<LONG, 2>{0, 0}));
    EXPECT_NE(array.get(), nullptr);
}

TEST_F(TwoDimensions, OffsetsFromTheNetworkCannotMakeTheArrayTooSmall)
{
    ASSERT_TRUE(acquired.GetImage()->Alloc(3, 2, PvPixelRGB8Packed).IsOK());
    acquired.GetImage()->SetOffsetY(0xFFFFFFFF);
    image->AttachSdkObject(acquired.GetImage());
    EXPECT_EQ(image->GetData2D(array.put()), E_OUTOFMEMORY);
    EXPECT_EQ(array.get(), nullptr);
}

TEST_F(TwoDimensions, WritingCopiesWhatBothHave)
{
    ASSERT_TRUE(acquired.GetImage()->Alloc(3, 2, PvPixelMono8).IsOK());
    image->AttachSdkObject(acquired.GetImage());
    SAFEARRAYBOUND bounds[] = {{2, 0}, {2, 0}};
    *array.put() = SafeArrayCreate(VT_UI1, 2, bounds);
    void* data = nullptr;
    ASSERT_EQ(SafeArrayAccessData(array.get(), &data), S_OK);
    std::fill_n(static_cast<unsigned char*>(data), 4, static_cast<unsigned char>(9));
    SafeArrayUnaccessData(array.get());
    ASSERT_EQ(image->SetData2D(array.get()), S_OK);
    const auto* pixels = acquired.GetDataPointer();
    EXPECT_EQ(Bytes(pixels, pixels + 6), (Bytes{9, 9, 9, 9, 0, 0}));

    const Array vector(byte_array({1, 2}));
    EXPECT_EQ(image->SetData2D(vector.get()), E_INVALIDARG);
    EXPECT_EQ(image->SetData2D(nullptr), E_INVALIDARG);
    EXPECT_EQ(pixels[0], 9);

    ASSERT_TRUE(acquired.GetImage()->Alloc(1, 1, PvPixelMono8).IsOK());
    ASSERT_EQ(image->SetData2D(array.get()), S_OK);  // longer than the image
    EXPECT_EQ(acquired.GetDataPointer()[0], 9);
    acquired.Free();
    EXPECT_EQ(image->SetData2D(array.get()), S_OK);
}

}  // namespace
