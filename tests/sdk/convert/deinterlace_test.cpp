#include <gtest/gtest.h>

#include "sdk/buffer/acquisition.h"
#include "sdk/buffer/memory.h"
#include "sdk/convert/PvFilterDeinterlace.h"
#include "tests/sdk/convert/images.h"

using namespace vex;

namespace {

using test::Bytes;

TEST(Deinterlace, WeavesTwoFieldsOddFirst)
{
    PvFilterDeinterlace filter;
    EXPECT_FALSE(filter.GetFieldInversion());
    const auto odd = test::image(2, 2, PvPixelMono8, {1, 1, 3, 3});
    const auto even = test::image(2, 2, PvPixelMono8, {2, 2, 4, 4});
    PvBuffer out;
    ASSERT_TRUE(filter.Apply(odd.get(), even.get(), &out).IsOK());
    EXPECT_EQ(out.GetImage()->GetHeight(), 4u);
    EXPECT_EQ(test::bytes_of(out), (Bytes{1, 1, 2, 2, 3, 3, 4, 4}));
    filter.SetFieldInversion(true);
    ASSERT_TRUE(filter.Apply(odd.get(), even.get(), &out).IsOK());
    EXPECT_EQ(test::bytes_of(out), (Bytes{2, 2, 1, 1, 4, 4, 3, 3}));
}

TEST(Deinterlace, TheFieldThatComesFirstMayHaveOneLineMore)
{
    PvFilterDeinterlace filter;
    const auto longer = test::image(1, 2, PvPixelMono8, {1, 3});
    const auto shorter = test::image(1, 1, PvPixelMono8, {2});
    PvBuffer out;
    ASSERT_TRUE(filter.Apply(longer.get(), shorter.get(), &out).IsOK());
    EXPECT_EQ(test::bytes_of(out), (Bytes{1, 2, 3}));
    EXPECT_EQ(filter.Apply(shorter.get(), longer.get(), &out).GetCode(), PvResult::InvalidParameter);
    filter.SetFieldInversion(true);
    ASSERT_TRUE(filter.Apply(shorter.get(), longer.get(), &out).IsOK());
    EXPECT_EQ(test::bytes_of(out), (Bytes{1, 2, 3}));
}

TEST(Deinterlace, InPlaceTheOddFieldLiesAboveTheEvenOne)
{
    PvFilterDeinterlace filter;
    const auto frame = test::image(1, 5, PvPixelMono8, {1, 3, 5, 2, 4});
    ASSERT_TRUE(filter.Apply(frame.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*frame), (Bytes{1, 2, 3, 4, 5}));
    filter.SetFieldInversion(true);
    const auto inverted = test::image(1, 5, PvPixelMono8, {2, 4, 1, 3, 5});
    ASSERT_TRUE(filter.Apply(inverted.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*inverted), (Bytes{1, 2, 3, 4, 5}));
    const auto line = test::image(1, 1, PvPixelMono8, {9});
    ASSERT_TRUE(filter.Apply(line.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*line), (Bytes{9}));
}

TEST(Deinterlace, FromOneBufferIntoAnother)
{
    PvFilterDeinterlace filter;
    const auto in = test::image(1, 4, PvPixelMono8, {1, 3, 2, 4});
    PvBuffer out;
    ASSERT_TRUE(filter.Apply(in.get(), &out).IsOK());
    EXPECT_EQ(test::bytes_of(out), (Bytes{1, 2, 3, 4}));
    EXPECT_EQ(test::bytes_of(*in), (Bytes{1, 3, 2, 4}));
    ASSERT_TRUE(filter.Apply(in.get(), in.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*in), (Bytes{1, 2, 3, 4}));
}

TEST(Deinterlace, FillsAttachedMemoryThatJustSuffices)
{
    PvFilterDeinterlace filter;
    const auto in = test::image(1, 4, PvPixelMono8, {1, 3, 2, 4});
    Bytes memory(4);
    PvBuffer out;
    ASSERT_TRUE(out.Attach(memory.data(), 4).IsOK());
    ASSERT_TRUE(filter.Apply(in.get(), &out).IsOK());
    EXPECT_EQ(out.GetDataPointer(), memory.data());
    EXPECT_EQ(memory, (Bytes{1, 2, 3, 4}));
}

TEST(Deinterlace, HonoursPaddingAndPlanes)
{
    PvFilterDeinterlace filter;
    const auto padded = test::image(1, 4, PvPixelMono8, {1, 9, 3, 9, 2, 9, 4, 9}, 1);
    ASSERT_TRUE(filter.Apply(padded.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*padded), (Bytes{1, 9, 2, 9, 3, 9, 4, 9}));
    const auto planar = test::image(1, 2, PvPixelRGB8Planar, {1, 2, 3, 4, 5, 6});
    filter.SetFieldInversion(true);
    ASSERT_TRUE(filter.Apply(planar.get()).IsOK());
    EXPECT_EQ(test::bytes_of(*planar), (Bytes{2, 1, 4, 3, 6, 5}));
}

TEST(Deinterlace, TheFrameIsNoFieldAnyMore)
{
    PvFilterDeinterlace filter;
    const auto odd = test::image(1, 1, PvPixelMono8, {1});
    const auto even = test::image(1, 1, PvPixelMono8, {2});
    acquisition::finish(*odd, {.status = {.interlaced_odd = true}});
    PvBuffer out;
    ASSERT_TRUE(filter.Apply(odd.get(), even.get(), &out).IsOK());
    EXPECT_FALSE(out.GetImage()->IsInterlacedOdd());
    EXPECT_TRUE(odd->GetImage()->IsInterlacedOdd());
}

TEST(Deinterlace, RefusesFieldsThatDoNotFit)
{
    PvFilterDeinterlace filter;
    const auto field = test::blank(2, 2, PvPixelMono8);
    PvBuffer out;
    const auto code = [&](const PvBuffer* odd, const PvBuffer* even, PvBuffer* to) {
        return filter.Apply(odd, even, to).GetCode();
    };
    EXPECT_EQ(code(field.get(), test::blank(3, 2, PvPixelMono8).get(), &out), PvResult::InvalidParameter);
    EXPECT_EQ(code(field.get(), test::blank(2, 4, PvPixelMono8).get(), &out), PvResult::InvalidParameter);
    EXPECT_EQ(code(test::blank(2, 4, PvPixelMono8).get(), field.get(), &out), PvResult::InvalidParameter);
    EXPECT_EQ(code(field.get(), test::blank(2, 2, PvPixelMono16).get(), &out), PvResult::InvalidParameter);
    EXPECT_EQ(code(field.get(), field.get(), field.get()), PvResult::InvalidParameter);
    EXPECT_EQ(code(nullptr, field.get(), &out), PvResult::InvalidParameter);
    EXPECT_EQ(code(field.get(), nullptr, &out), PvResult::InvalidParameter);
    EXPECT_EQ(code(field.get(), field.get(), nullptr), PvResult::InvalidParameter);
    EXPECT_EQ(filter.Apply(static_cast<PvBuffer*>(nullptr)).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(out.GetSize(), 0u);
    buffer_memory::fail_next_allocations(1);
    EXPECT_EQ(code(field.get(), field.get(), &out), PvResult::NotEnoughMemory);
    EXPECT_EQ(code(field.get(), field.get(), &out), PvResult::OK);  // one field twice is a frame
}

}  // namespace
