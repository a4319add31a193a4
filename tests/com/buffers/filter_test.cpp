// VexFilterRGB and VexFilterDeinterlace through COM.
#include "tests/com/buffers/objects.h"

namespace {

using namespace client;
using Bytes = std::vector<unsigned char>;

class RgbFilter : public ComTest {
protected:
    Ref<IVexFilterRGB> filter = create<IVexFilterRGB>(L"VexKamCOMWrapper.VexFilterRGB.1");
};

class Deinterlace : public ComTest {
protected:
    Ref<IVexFilterDeinterlace> filter = create<IVexFilterDeinterlace>(L"VexKamCOMWrapper.VexFilterDeinterlace.1");
};

TEST_F(RgbFilter, KeepsEachSettingAndResetsThemAll)
{
    ASSERT_EQ(filter->put_GainR(1.5), S_OK);
    ASSERT_EQ(filter->put_GainG(-2.5), S_OK);
    ASSERT_EQ(filter->put_GainB(1e9), S_OK);
    ASSERT_EQ(filter->put_OffsetR(-1), S_OK);
    ASSERT_EQ(filter->put_OffsetG(2), S_OK);
    ASSERT_EQ(filter->put_OffsetB(100000), S_OK);
    EXPECT_EQ(value_of(filter.get(), &IVexFilterRGB::get_GainR), 1.5);
    EXPECT_EQ(value_of(filter.get(), &IVexFilterRGB::get_GainG), -2.5);
    EXPECT_EQ(value_of(filter.get(), &IVexFilterRGB::get_GainB), 1e9);
    EXPECT_EQ(value_of(filter.get(), &IVexFilterRGB::get_OffsetR), -1);
    EXPECT_EQ(value_of(filter.get(), &IVexFilterRGB::get_OffsetG), 2);
    EXPECT_EQ(value_of(filter.get(), &IVexFilterRGB::get_OffsetB), 100000);
    ASSERT_EQ(filter->Reset(), S_OK);
    for (const auto getter : {&IVexFilterRGB::get_GainR, &IVexFilterRGB::get_GainG, &IVexFilterRGB::get_GainB}) {
        EXPECT_EQ(value_of(filter.get(), getter), 1.0);
    }
    for (const auto getter : {&IVexFilterRGB::get_OffsetR, &IVexFilterRGB::get_OffsetG, &IVexFilterRGB::get_OffsetB}) {
        EXPECT_EQ(value_of(filter.get(), getter), 0);
    }
}

TEST_F(RgbFilter, AppliesInPlaceAndFromOneBufferToAnother)
{
    ASSERT_EQ(filter->put_GainR(2), S_OK);
    const auto buffer = new_image(1, 1, VexPixelRGB8Packed, {10, 20, 30});
    const auto out = new_buffer();
    EXPECT_EQ(code_of([&](IVexResult** result) { return filter->ApplyFilter(buffer.get(), out.get(), result); }),
              VexOK);
    EXPECT_EQ(data_of(out.get()), (Bytes{20, 20, 30}));
    EXPECT_EQ(data_of(buffer.get()), (Bytes{10, 20, 30}));
    EXPECT_EQ(code_of([&](IVexResult** result) { return filter->Apply(buffer.get(), result); }), VexOK);
    EXPECT_EQ(data_of(buffer.get()), (Bytes{20, 20, 30}));
    const auto grey = new_image(1, 1, VexPixelMono8);
    EXPECT_EQ(code_of([&](IVexResult** result) { return filter->Apply(grey.get(), result); }), VexNotSupported);
}

TEST_F(RgbFilter, BalancesWhite)
{
    const auto buffer = new_image(1, 1, VexPixelRGB8Packed, {50, 100, 25});
    EXPECT_EQ(code_of([&](IVexResult** result) { return filter->WhiteBalance(buffer.get(), result); }), VexOK);
    EXPECT_EQ(value_of(filter.get(), &IVexFilterRGB::get_GainR), 2.0);
    EXPECT_EQ(value_of(filter.get(), &IVexFilterRGB::get_GainG), 1.0);
    EXPECT_EQ(value_of(filter.get(), &IVexFilterRGB::get_GainB), 4.0);
    const auto white = new_image(1, 1, VexPixelRGB8Packed, {255, 255, 255});
    EXPECT_EQ(code_of([&](IVexResult** result) { return filter->WhiteBalance(white.get(), result); }), VexImageError);
}

TEST_F(RgbFilter, IsAFilterToClientsThatKnowOnlyThose)
{
    const auto base = query<IVexFilter>(filter.get());
    ASSERT_TRUE(base);
    ASSERT_EQ(filter->put_OffsetB(5), S_OK);
    const auto buffer = new_image(1, 1, VexPixelBGR8Packed, {1, 2, 3});
    EXPECT_EQ(code_of([&](IVexResult** result) { return base->Apply(buffer.get(), result); }), VexOK);
    EXPECT_EQ(data_of(buffer.get()), (Bytes{6, 2, 3}));
}

TEST_F(RgbFilter, ScriptsUseIt)
{
    LateBound script(filter.get());
    Variant value;
    ASSERT_EQ(script.put(L"GainG", Variant(2)), S_OK);  // a whole number for a gain
    ASSERT_EQ(script.get(L"GainG", value), S_OK);
    EXPECT_EQ(value.type(), VT_R8);
    EXPECT_EQ(value->dblVal, 2.0);
    const auto buffer = new_image(1, 1, VexPixelRGB8Packed, {1, 2, 3});
    ASSERT_EQ(script.call(L"Apply", {Variant(static_cast<IDispatch*>(buffer.get()))}, &value), S_OK);
    EXPECT_EQ(data_of(buffer.get()), (Bytes{1, 4, 3}));
    ASSERT_EQ(script.call(L"Reset", {}), S_OK);
    ASSERT_EQ(script.get(L"GainG", value), S_OK);
    EXPECT_EQ(value->dblVal, 1.0);
}

TEST_F(Deinterlace, FieldInversionReadsAsOneForAnyNonZeroValue)
{
    EXPECT_EQ(value_of(filter.get(), &IVexFilterDeinterlace::get_FieldInversion), 0);
    for (const short value : std::initializer_list<short>{-1, 1, 2, 0x100}) {
        ASSERT_EQ(filter->put_FieldInversion(value), S_OK);
        EXPECT_EQ(value_of(filter.get(), &IVexFilterDeinterlace::get_FieldInversion), 1);
        ASSERT_EQ(filter->put_FieldInversion(0), S_OK);
        EXPECT_EQ(value_of(filter.get(), &IVexFilterDeinterlace::get_FieldInversion), 0);
    }
}

TEST_F(Deinterlace, WeavesFields)
{
    const auto odd = new_image(1, 2, VexPixelMono8, {1, 3});
    const auto even = new_image(1, 2, VexPixelMono8, {2, 4});
    const auto out = new_buffer();
    const auto weave = [&] {
        return code_of([&](IVexResult** result) {
            return filter->ApplyDeinterlaceFilter(odd.get(), even.get(), out.get(), result);
        });
    };
    EXPECT_EQ(weave(), VexOK);
    EXPECT_EQ(data_of(out.get()), (Bytes{1, 2, 3, 4}));
    ASSERT_EQ(filter->put_FieldInversion(-1), S_OK);
    EXPECT_EQ(weave(), VexOK);
    EXPECT_EQ(data_of(out.get()), (Bytes{2, 1, 4, 3}));
}

TEST_F(Deinterlace, AppliesInPlaceAndFromOneBufferToAnother)
{
    const auto fields = new_image(1, 4, VexPixelMono8, {1, 3, 2, 4});
    const auto out = new_buffer();
    EXPECT_EQ(code_of([&](IVexResult** result) { return filter->ApplyFilter(fields.get(), out.get(), result); }),
              VexOK);
    EXPECT_EQ(data_of(out.get()), (Bytes{1, 2, 3, 4}));
    const auto base = query<IVexFilter>(filter.get());
    EXPECT_EQ(code_of([&](IVexResult** result) { return base->Apply(fields.get(), result); }), VexOK);
    EXPECT_EQ(data_of(fields.get()), (Bytes{1, 2, 3, 4}));
    const auto empty = new_buffer();
    EXPECT_EQ(code_of([&](IVexResult** result) { return filter->Apply(empty.get(), result); }), VexInvalidParameter);
}

}  // namespace
