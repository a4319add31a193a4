// VexBuffer through COM.
#include "tests/com/buffers/objects.h"

#include <array>
#include <numeric>

namespace {

using namespace client;
using Bytes = std::vector<unsigned char>;

class Buffer : public ComTest {
protected:
    Ref<IVexBuffer> buffer = new_buffer();

    [[nodiscard]] unsigned int size() const { return value_of(buffer.get(), &IVexBuffer::get_Size); }
    [[nodiscard]] VexPayloadType payload_type() const { return value_of(buffer.get(), &IVexBuffer::get_PayloadType); }
};

TEST_F(Buffer, StartsAsAnEmptyImage)
{
    EXPECT_EQ(payload_type(), 1);
    EXPECT_EQ(size(), 0u);
    bool null = false;
    EXPECT_EQ(data_of(buffer.get(), &null), Bytes());
    EXPECT_TRUE(null);
    EXPECT_EQ(value_of(buffer.get(), &IVexBuffer::get_ID), 0u);
    EXPECT_EQ(value_of(buffer.get(), &IVexBuffer::get_AcquiredSize), 0u);
    EXPECT_EQ(value_of(buffer.get(), &IVexBuffer::get_BlockID), 0u);
    EXPECT_EQ(value_of(buffer.get(), &IVexBuffer::get_Timestamp), 0u);
    EXPECT_EQ(value_of(buffer.get(), &IVexBuffer::get_ExpectedResendCount), 0u);
    EXPECT_EQ(value_of(buffer.get(), &IVexBuffer::get_LostPacketCount), 0u);
    EXPECT_EQ(value_of(buffer.get(), &IVexBuffer::get_IgnoredPacketCount), 0u);
    EXPECT_EQ(code_of(buffer, &IVexBuffer::get_OperationResult), VexOK);
}

TEST_F(Buffer, TakesAnIdAndATimestampOf64Bits)
{
    ASSERT_EQ(buffer->put_ID(0xFEDCBA9876543210u), S_OK);
    ASSERT_EQ(buffer->put_Timestamp(0x8000000000000001u), S_OK);
    EXPECT_EQ(value_of(buffer.get(), &IVexBuffer::get_ID), 0xFEDCBA9876543210u);
    EXPECT_EQ(value_of(buffer.get(), &IVexBuffer::get_Timestamp), 0x8000000000000001u);
}

TEST_F(Buffer, AfterAllocDataHasThatManyBytesAndAShorterArrayChangesOnlyItsOwn)
{
    ASSERT_EQ(alloc(buffer.get(), 100), VexOK);
    EXPECT_EQ(size(), 100u);
    EXPECT_EQ(data_of(buffer.get()).size(), 100u);
    Array all(SafeArrayCreateVector(VT_UI1, 0, 100));
    void* bytes = nullptr;
    ASSERT_EQ(SafeArrayAccessData(all.get(), &bytes), S_OK);
    std::iota(static_cast<unsigned char*>(bytes), static_cast<unsigned char*>(bytes) + 100, std::uint8_t{100});
    SafeArrayUnaccessData(all.get());
    ASSERT_EQ(buffer->put_Data(all.get()), S_OK);

    const Array forty(SafeArrayCreateVector(VT_UI1, 0, 40));  // zeros
    ASSERT_EQ(buffer->put_Data(forty.get()), S_OK);
    const auto data = data_of(buffer.get());
    ASSERT_EQ(data.size(), 100u);
    for (std::size_t i = 0; i < 100; ++i) {
        EXPECT_EQ(data[i], i < 40 ? 0 : 100 + i);
    }
}

TEST_F(Buffer, ALongerArrayIsCutToTheBlock)
{
    ASSERT_EQ(alloc(buffer.get(), 3), VexOK);
    ASSERT_EQ(put_data(buffer.get(), {1, 2, 3, 4, 5}), S_OK);
    EXPECT_EQ(data_of(buffer.get()), (Bytes{1, 2, 3}));
}

TEST_F(Buffer, AnArrayCountsFromZeroWhateverItsLowerBound)
{
    ASSERT_EQ(alloc(buffer.get(), 5), VexOK);
    ASSERT_EQ(put_data(buffer.get(), {1, 2, 3, 4, 5}, 5),
              S_OK);  // 5 to 9: ten bytes long, of which the block takes five
    EXPECT_EQ(data_of(buffer.get()), (Bytes{1, 2, 3, 4, 5}));
    ASSERT_EQ(put_data(buffer.get(), {9, 8, 7}, -2), S_OK);  // -2 to 0: one byte long
    EXPECT_EQ(data_of(buffer.get()), (Bytes{9, 2, 3, 4, 5}));
    ASSERT_EQ(put_data(buffer.get(), {6, 6, 6}, -5), S_OK);  // up to -3: none
    EXPECT_EQ(data_of(buffer.get()), (Bytes{9, 2, 3, 4, 5}));

    ASSERT_EQ(alloc(buffer.get(), 20), VexOK);
    ASSERT_EQ(put_data(buffer.get(), {1, 2, 3, 4, 5}, 5), S_OK);
    const auto data = data_of(buffer.get());
    EXPECT_EQ(Bytes(data.begin(), data.begin() + 5), (Bytes{1, 2, 3, 4, 5}));
    EXPECT_EQ(Bytes(data.begin() + 10, data.end()), Bytes(10));  // nothing beyond the tenth byte
}

TEST_F(Buffer, ArraysOfOtherThanOneDimensionAreRefused)
{
    ASSERT_EQ(alloc(buffer.get(), 4), VexOK);
    ASSERT_EQ(put_data(buffer.get(), {1, 2, 3, 4}), S_OK);
    SAFEARRAYBOUND bounds[] = {{2, 0}, {2, 0}};
    const Array square(SafeArrayCreate(VT_UI1, 2, bounds));
    EXPECT_EQ(buffer->put_Data(square.get()), E_INVALIDARG);
    EXPECT_EQ(buffer->put_Data(nullptr), E_INVALIDARG);
    EXPECT_EQ(data_of(buffer.get()), (Bytes{1, 2, 3, 4}));
    buffer->Free();
    EXPECT_EQ(buffer->put_Data(square.get()), E_INVALIDARG);
}

TEST_F(Buffer, WithoutMemoryTheImageLastReadIsFreedInstead)
{
    EXPECT_EQ(put_data(buffer.get(), {1}), S_OK);  // no image was read yet
    const auto image = image_of(buffer.get());
    ASSERT_EQ(alloc(image.get(), 4, 4, VexPixelMono8), VexOK);
    ASSERT_EQ(buffer->Free(), S_OK);
    EXPECT_EQ(put_data(buffer.get(), {1, 2, 3}), S_OK);
    EXPECT_EQ(size(), 0u);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_Width), 4u);
}

TEST_F(Buffer, AnotherPayloadTypeKeepsIdAndBytesOnly)
{
    ASSERT_EQ(alloc(buffer.get(), 100), VexOK);
    ASSERT_EQ(buffer->put_ID(7), S_OK);
    ASSERT_EQ(buffer->put_Timestamp(8), S_OK);
    ASSERT_EQ(put_data(buffer.get(), {1, 2, 3}), S_OK);
    const auto before = data_of(buffer.get());
    ASSERT_EQ(buffer->put_PayloadType(VexPayloadTypeRawData), S_OK);
    EXPECT_EQ(payload_type(), VexPayloadTypeRawData);
    EXPECT_EQ(size(), 100u);
    EXPECT_EQ(value_of(buffer.get(), &IVexBuffer::get_ID), 7u);
    EXPECT_EQ(data_of(buffer.get()), before);
    EXPECT_EQ(value_of(buffer.get(), &IVexBuffer::get_Timestamp), 0u);
    Ref<IVexRawData> raw;
    ASSERT_EQ(buffer->get_RawData(raw.put()), S_OK);
    ASSERT_TRUE(raw);
    EXPECT_EQ(value_of(raw.get(), &IVexRawData::get_PayloadLength), 100u);
}

TEST_F(Buffer, AnyPayloadTypePassesUnchecked)
{
    for (const int type : {-1, 3, 4, 5, 0x8000, 77}) {
        ASSERT_EQ(buffer->put_PayloadType(unnamed<VexPayloadType>(type)), S_OK);
        EXPECT_EQ(static_cast<int>(payload_type()), type);
    }
}

TEST_F(Buffer, APayloadTypeSetOverAttachedMemoryMakesACopy)
{
    std::array<unsigned char, 4> memory{1, 2, 3, 4};
    ASSERT_EQ(code_of([&](IVexResult** result) {
                  return buffer->Attach(reinterpret_cast<INT_PTR>(memory.data()), 4, result);
              }),
              VexOK);
    ASSERT_EQ(buffer->put_PayloadType(VexPayloadTypeRawData), S_OK);
    ASSERT_EQ(put_data(buffer.get(), {9}), S_OK);
    EXPECT_EQ(memory, (std::array<unsigned char, 4>{1, 2, 3, 4}));
    EXPECT_EQ(data_of(buffer.get()), (Bytes{9, 2, 3, 4}));
}

TEST_F(Buffer, AttachThenDetachReturnsTheClientsBytesAndLeavesThem)
{
    std::array<unsigned char, 16> memory{};
    std::iota(memory.begin(), memory.end(), std::uint8_t{1});
    const auto original = memory;
    ASSERT_EQ(code_of([&](IVexResult** result) {
                  return buffer->Attach(reinterpret_cast<INT_PTR>(memory.data()), 16, result);
              }),
              VexOK);
    EXPECT_EQ(size(), 16u);
    ASSERT_EQ(put_data(buffer.get(), {1}), S_OK);  // written in place
    Array detached;
    ASSERT_EQ(buffer->Detach(detached.put()), S_OK);
    EXPECT_EQ(bytes_of(detached.get()), Bytes(original.begin(), original.end()));
    EXPECT_EQ(memory, original);
    EXPECT_EQ(size(), 0u);
    ASSERT_EQ(buffer->Detach(detached.put()), S_OK);
    EXPECT_EQ(detached.get(), nullptr);
}

TEST_F(Buffer, DetachOfAnEmptyBufferOrOfItsOwnMemoryGivesANullArray)
{
    Array detached;
    ASSERT_EQ(buffer->Detach(detached.put()), S_OK);
    EXPECT_EQ(detached.get(), nullptr);
    ASSERT_EQ(alloc(buffer.get(), 8), VexOK);
    ASSERT_EQ(buffer->Detach(detached.put()), S_OK);
    EXPECT_EQ(detached.get(), nullptr);
    EXPECT_EQ(size(), 0u);
}

TEST_F(Buffer, FailuresOfTheSdkStandInTheResult)
{
    EXPECT_EQ(alloc(buffer.get(), 0), VexInvalidParameter);
    EXPECT_EQ(code_of([&](IVexResult** result) { return buffer->Attach(0, 16, result); }), VexInvalidParameter);
    EXPECT_EQ(code_of([&](IVexResult** result) { return buffer->Reset(VexPayloadTypeUndefined, result); }),
              VexInvalidParameter);
    EXPECT_EQ(size(), 0u);
    EXPECT_EQ(payload_type(), VexPayloadTypeImage);
}

TEST_F(Buffer, MissingPacketOutputsAreWrittenWhateverTheResult)
{
    unsigned int count = 77;
    EXPECT_EQ(code_of([&](IVexResult** result) { return buffer->GetMissingPacketIdsCount(&count, result); }), VexOK);
    EXPECT_EQ(count, 0u);
    unsigned int low = 77;
    unsigned int high = 77;
    EXPECT_EQ(code_of([&](IVexResult** result) { return buffer->GetMissingPacketIds(0, &low, &high, result); }),
              VexNotFound);
    EXPECT_EQ(low, 0u);
    EXPECT_EQ(high, 0u);
}

TEST_F(Buffer, ResetChangesTheTypeInPlace)
{
    ASSERT_EQ(alloc(buffer.get(), 3), VexOK);
    ASSERT_EQ(put_data(buffer.get(), {1, 2, 3}), S_OK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return buffer->Reset(VexPayloadTypeRawData, result); }), VexOK);
    EXPECT_EQ(payload_type(), VexPayloadTypeRawData);
    EXPECT_EQ(data_of(buffer.get()), (Bytes{1, 2, 3}));
}

TEST_F(Buffer, ViewsAreThereForTheirPayloadTypeOnlyAndTheSameEachTime)
{
    const auto image = image_of(buffer.get());
    ASSERT_TRUE(image);
    EXPECT_EQ(image_of(buffer.get()).get(), image.get());
    EXPECT_EQ(references(image.get()), 2u);  // the buffer's and this one
    auto* raw = reinterpret_cast<IVexRawData*>(this);
    ASSERT_EQ(buffer->get_RawData(&raw), S_OK);
    EXPECT_EQ(raw, nullptr);

    ASSERT_EQ(buffer->put_PayloadType(VexPayloadTypeRawData), S_OK);
    auto* none = reinterpret_cast<IVexImage*>(this);
    ASSERT_EQ(buffer->get_Image(&none), S_OK);
    EXPECT_EQ(none, nullptr);
    Ref<IVexRawData> first;
    Ref<IVexRawData> second;
    ASSERT_EQ(buffer->get_RawData(first.put()), S_OK);
    ASSERT_EQ(buffer->get_RawData(second.put()), S_OK);
    ASSERT_TRUE(first);
    EXPECT_EQ(first.get(), second.get());

    ASSERT_EQ(buffer->put_PayloadType(VexPayloadTypeImage), S_OK);
    EXPECT_EQ(image_of(buffer.get()).get(), image.get());
}

TEST_F(Buffer, AViewThatOutlivesItsBufferFailsCleanly)
{
    const auto image = image_of(buffer.get());
    ASSERT_EQ(alloc(image.get(), 4, 4, VexPixelMono8), VexOK);
    ASSERT_EQ(buffer->put_PayloadType(VexPayloadTypeRawData), S_OK);
    unsigned int width = 0;
    EXPECT_EQ(image->get_Width(&width), E_POINTER);
    ASSERT_EQ(buffer->put_PayloadType(VexPayloadTypeImage), S_OK);
    EXPECT_EQ(image_of(buffer.get()).get(), image.get());
    EXPECT_EQ(image->get_Width(&width), S_OK);
    buffer.reset();
    EXPECT_EQ(image->get_Width(&width), E_POINTER);
    EXPECT_EQ(alloc(image.get(), 4, 4, VexPixelMono8), VexNotInitialized);
}

TEST_F(Buffer, ScriptsReadAndWriteEveryProperty)
{
    LateBound script(buffer.get());
    Variant value;
    ASSERT_EQ(script.call(L"Alloc", {Variant(4)}, &value), S_OK);
    ASSERT_EQ(value.type(), VT_DISPATCH);
    Variant ok;
    ASSERT_EQ(LateBound(value->pdispVal).get(L"IsOK", ok), S_OK);
    EXPECT_EQ(ok->boolVal, 1);
    ASSERT_EQ(script.get(L"Size", value), S_OK);
    EXPECT_EQ(value.text(), L"4");

    Variant array(VT_VARIANT, variant_array({Variant(1), Variant(2), Variant(255)}));
    ASSERT_EQ(script.put(L"Data", Variant::by_reference(array)), S_OK);
    EXPECT_EQ(data_of(buffer.get()), (Bytes{1, 2, 255, 0}));
    ASSERT_EQ(script.put(L"Data", Variant(VT_UI1, byte_array({9, 8}))), S_OK);
    ASSERT_EQ(script.get(L"Data", value), S_OK);
    ASSERT_EQ(value.type(), VT_ARRAY | VT_UI1);
    EXPECT_EQ(bytes_of(value->parray), (Bytes{9, 8, 255, 0}));

    ASSERT_EQ(script.put(L"ID", Variant(5)), S_OK);
    ASSERT_EQ(script.get(L"ID", value), S_OK);
    EXPECT_EQ(value.text(), L"5");
    ASSERT_EQ(script.put(L"PayloadType", Variant(2)), S_OK);
    ASSERT_EQ(script.get(L"PayloadType", value), S_OK);
    EXPECT_EQ(value.text(), L"2");
    ASSERT_EQ(script.get(L"Image", value), S_OK);
    EXPECT_EQ(value.type(), VT_DISPATCH);
    EXPECT_EQ(value->pdispVal, nullptr);

    Variant low(7);
    Variant high(7);
    ASSERT_EQ(script.call(L"GetMissingPacketIds", {Variant(0), Variant::by_reference(low), Variant::by_reference(high)},
                          &value),
              S_OK);
    EXPECT_EQ(low.text(), L"0");
    EXPECT_EQ(high.text(), L"0");

    SAFEARRAYBOUND bounds[] = {{2, 0}, {2, 0}};
    EXPECT_EQ(script.put(L"Data", Variant(VT_UI1, SafeArrayCreate(VT_UI1, 2, bounds))), DISP_E_EXCEPTION);
    EXPECT_EQ(script.scode(), E_INVALIDARG);
}

}  // namespace
