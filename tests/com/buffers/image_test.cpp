// VexImage and VexRawData through COM.
#include "tests/com/buffers/objects.h"

#include <array>

namespace {

using namespace client;
using Bytes = std::vector<unsigned char>;

class Image : public ComTest {
protected:
    Ref<IVexBuffer> buffer = new_buffer();
    Ref<IVexImage> image = image_of(buffer.get());
};

TEST_F(Image, ReportsTheGeometryItWasAllocatedWith)
{
    ASSERT_EQ(alloc(image.get(), 640, 480, VexPixelMono8), VexOK);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_Width), 640u);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_Height), 480u);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_PixelType), 0x01080001);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_BitsPerPixel), 8u);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_ImageSize), 307200u);
    EXPECT_EQ(value_of(buffer.get(), &IVexBuffer::get_Size), 307200u);
    EXPECT_EQ(data_of(image.get()).size(), 307200u);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_OffsetX), 0u);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_OffsetY), 0u);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_AcquiredSize), 0u);
}

TEST_F(Image, SizesTellPaddingFromPixels)
{
    ASSERT_EQ(alloc(image.get(), 10, 4, VexPixelRGB8Packed, 2, 7), VexOK);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_PaddingX), 2u);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_PaddingY), 7u);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_RequiredSize), 135u);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_ImageSize), 135u);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_EffectiveImageSize), 120u);
}

TEST_F(Image, AShortArrayChangesOnlyItsOwnBytes)
{
    ASSERT_EQ(alloc(image.get(), 20, 1, VexPixelMono8), VexOK);
    ASSERT_EQ(put_data(image.get(), {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1}), S_OK);
    ASSERT_EQ(put_data(image.get(), {2, 2, 2, 2, 2, 2, 2, 2, 2, 2}), S_OK);
    Bytes expected(20, 1);
    std::fill_n(expected.begin(), 10, static_cast<unsigned char>(2));
    EXPECT_EQ(data_of(image.get()), expected);
}

TEST_F(Image, ArraysOfOtherThanOneDimensionAreRefused)
{
    ASSERT_EQ(alloc(image.get(), 2, 2, VexPixelMono8), VexOK);
    SAFEARRAYBOUND bounds[] = {{2, 0}, {2, 0}};
    const Array square(SafeArrayCreate(VT_UI1, 2, bounds));
    EXPECT_EQ(image->put_Data(square.get()), E_INVALIDARG);
    EXPECT_EQ(image->put_Data(nullptr), E_INVALIDARG);
    EXPECT_EQ(data_of(image.get()), Bytes(4));
}

TEST_F(Image, WithoutMemoryDataIsNullAndWritingDoesNothing)
{
    bool null = false;
    EXPECT_EQ(data_of(image.get(), &null), Bytes());
    EXPECT_TRUE(null);
    EXPECT_EQ(put_data(image.get(), {1, 2}), S_OK);
    EXPECT_EQ(value_of(buffer.get(), &IVexBuffer::get_Size), 0u);
}

TEST_F(Image, AttachThenDetachReturnsTheClientsBytesAndLeavesThem)
{
    std::array<unsigned char, 6> memory{1, 2, 3, 4, 5, 6};
    ASSERT_EQ(code_of([&](IVexResult** result) {
                  return image->Attach(reinterpret_cast<INT_PTR>(memory.data()), 2, 2, VexPixelMono8, 1, 0, result);
              }),
              VexOK);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_Width), 2u);
    Array detached;
    ASSERT_EQ(image->Detach(detached.put()), S_OK);
    EXPECT_EQ(bytes_of(detached.get()), (Bytes{1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(memory, (std::array<unsigned char, 6>{1, 2, 3, 4, 5, 6}));
    ASSERT_EQ(image->Detach(detached.put()), S_OK);
    EXPECT_EQ(detached.get(), nullptr);
}

TEST_F(Image, FreeLeavesTheBufferWithoutMemory)
{
    ASSERT_EQ(alloc(image.get(), 2, 2, VexPixelMono8), VexOK);
    ASSERT_EQ(image->Free(), S_OK);
    EXPECT_EQ(value_of(buffer.get(), &IVexBuffer::get_Size), 0u);
}

TEST_F(Image, ImpossibleImagesFailInTheResult)
{
    EXPECT_EQ(alloc(image.get(), 0, 1, VexPixelMono8), VexInvalidParameter);
    EXPECT_EQ(alloc(image.get(), 1, 1, VexPixelUndefined), VexInvalidParameter);
    EXPECT_EQ(alloc(image.get(), 0xFFFFFFFF, 0xFFFFFFFF, VexPixelRGB16Packed), VexErrOverflow);
    EXPECT_EQ(code_of([&](IVexResult** result) { return image->Attach(0, 1, 1, VexPixelMono8, 0, 0, result); }),
              VexInvalidParameter);
}

TEST_F(Image, SizesThatReachFourGigabytesOrOverflowFailAndChangeNothing)
{
    ASSERT_EQ(alloc(image.get(), 2, 2, VexPixelMono8), VexOK);
    struct Case {
        unsigned int width, height;
        VexPixelType type;
        unsigned short padding_x, padding_y;
    };
    for (const auto& [width, height, type, padding_x, padding_y] : {
             Case{65536, 65536, VexPixelMono8, 0, 0},                            // 4 GiB; 0 in 32 bits
             Case{0x80000001, 2, VexPixelMono8, 0, 0},                           // 2 in 32 bits
             Case{0xFFFFFFFF, 1, VexPixelMono8, 1, 0},                           // 4 GiB with the line's padding
             Case{0xFFFFFFFF, 1, VexPixelMono8, 0, 1},                           // or with the image's
             Case{1, 0x10000, VexPixelMono8, 0xFFFF, 0},                         // 4 GiB, nearly all padding
             Case{0xFFFFFFFF, 0xFFFFFFFF, VexPixelRGB16Packed, 0xFFFF, 0xFFFF},  // more than 64 bits
             Case{0x55555556, 1, VexPixelRGB8Planar, 0, 0},                      // 2 in 32 bits, over three planes
         }) {
        EXPECT_EQ(alloc(image.get(), width, height, type, padding_x, padding_y), VexErrOverflow)
            << width << " " << height;
        unsigned char byte = 0;
        EXPECT_EQ(code_of([&](IVexResult** result) {
                      return image->Attach(reinterpret_cast<INT_PTR>(&byte), width, height, type, padding_x, padding_y,
                                           result);
                  }),
                  VexErrOverflow);
    }
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_Width), 2u);
    EXPECT_EQ(value_of(buffer.get(), &IVexBuffer::get_Size), 4u);
    EXPECT_EQ(data_of(image.get()), Bytes(4));
}

TEST_F(Image, PixelTypesSayHowManyBitsAPixelTakes)
{
    EXPECT_EQ((VexPixelRGB12V1Packed >> 16) & 0xFF, 36);
    EXPECT_EQ((VexPixelYUV411Packed >> 16) & 0xFF, 12);
    ASSERT_EQ(alloc(image.get(), 2, 2, VexPixelRGB12V1Packed), VexOK);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_BitsPerPixel), 36u);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_ImageSize), 18u);
    ASSERT_EQ(alloc(image.get(), 4, 1, VexPixelYUV411Packed), VexOK);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_BitsPerPixel), 12u);
    EXPECT_EQ(value_of(image.get(), &IVexImage::get_ImageSize), 6u);
}

TEST_F(Image, AViewMadeByAClientWrapsNothing)
{
    const auto alone = create<IVexImage>(L"VexKamCOMWrapper.VexImage.1");
    unsigned int width = 0;
    EXPECT_EQ(alone->get_Width(&width), E_POINTER);
    EXPECT_EQ(alloc(alone.get(), 1, 1, VexPixelMono8), VexNotInitialized);
    const auto raw = create<IVexRawData>(L"VexKamCOMWrapper.VexRawData.1");
    UINT64 length = 0;
    EXPECT_EQ(raw->get_PayloadLength(&length), E_POINTER);
}

TEST_F(Image, ScriptsUseIt)
{
    LateBound script(image.get());
    Variant value;
    ASSERT_EQ(script.call(L"Alloc", {Variant(3), Variant(2), Variant(0x01080001), Variant(0), Variant(0)}, &value),
              S_OK);
    ASSERT_EQ(script.get(L"Width", value), S_OK);
    EXPECT_EQ(value.text(), L"3");
    ASSERT_EQ(script.get(L"PixelType", value), S_OK);
    EXPECT_EQ(value.text(), L"17301505");
    ASSERT_EQ(script.get(L"IsImageDropped", value), S_OK);
    EXPECT_EQ(value.type(), VT_BOOL);
    EXPECT_EQ(value->boolVal, 0);
    Variant array(VT_VARIANT, variant_array({Variant(1), Variant(2), Variant(3), Variant(4), Variant(5), Variant(6)}));
    ASSERT_EQ(script.put(L"Data", Variant::by_reference(array)), S_OK);
    EXPECT_EQ(data_of(buffer.get()), (Bytes{1, 2, 3, 4, 5, 6}));
}

}  // namespace
