// VexBufferConverter through COM.
#include "generated/interface_stubs.h"
#include "sdk/buffer/PvPixelType.h"
#include "tests/com/buffers/objects.h"

using namespace vex;

namespace {

using namespace client;
using Bytes = std::vector<unsigned char>;

class Converter : public ComTest {
protected:
    Ref<IVexBufferConverter> converter = create<IVexBufferConverter>(L"VexKamCOMWrapper.VexBufferConverter.1");

    [[nodiscard]] VexResultCode convert(const Ref<IVexBuffer>& source, const Ref<IVexBuffer>& destination,
                                        VARIANT_BOOL reallocate = 0) const
    {
        return code_of([&](IVexResult** result) {
            return converter->Convert(source.get(), destination.get(), reallocate, result);
        });
    }
    [[nodiscard]] VexResultCode set_filter(IVexFilterRGB* filter) const
    {
        return code_of([&](IVexResult** result) { return converter->SetRGBFilter(filter, result); });
    }
    /// What becomes of an RGB pixel of 10, 20, 30.
    [[nodiscard]] Bytes filtered() const
    {
        const auto destination = new_image(1, 1, VexPixelRGB8Packed);
        EXPECT_EQ(convert(new_image(1, 1, VexPixelRGB8Packed, {10, 20, 30}), destination), VexOK);
        return data_of(destination.get());
    }
    [[nodiscard]] static Ref<IVexFilterRGB> red_gain(double gain)
    {
        auto filter = create<IVexFilterRGB>(L"VexKamCOMWrapper.VexFilterRGB.1");
        EXPECT_EQ(filter->put_GainR(gain), S_OK);
        return filter;
    }
    [[nodiscard]] int threads() const
    {
        return value_of(converter.get(), &IVexBufferConverter::get_MaxNumberOfThreads);
    }
    [[nodiscard]] VexBayerFilterType bayer_filter() const
    {
        return value_of(converter.get(), &IVexBufferConverter::get_BayerFilterType);
    }
};

TEST_F(Converter, StartsWithAsManyThreadsAsItLikes)
{
    EXPECT_EQ(threads(), -1);
    EXPECT_EQ(bayer_filter(), VexBayerFilterSimple);
}

TEST_F(Converter, KeepsTheBayerFilterWhenTheThreadsChange)
{
    ASSERT_EQ(converter->put_BayerFilterType(VexBayerFilter3X3), S_OK);
    for (const int count : {1, 4, 0, -7}) {
        ASSERT_EQ(converter->put_MaxNumberOfThreads(count), S_OK);
        EXPECT_EQ(threads(), count);
        EXPECT_EQ(bayer_filter(), VexBayerFilter3X3);
    }
}

TEST_F(Converter, AnUnknownBayerFilterIsAnErrorWithTheSdksTextAndTheClassAsSource)
{
    ASSERT_EQ(converter->put_BayerFilterType(VexBayerFilter3X3), S_OK);
    EXPECT_EQ(converter->put_BayerFilterType(unnamed<VexBayerFilterType>(9)), DISP_E_EXCEPTION);
    Ref<IErrorInfo> error;
    ASSERT_EQ(GetErrorInfo(0, error.put()), S_OK);
    BSTR text = nullptr;
    ASSERT_EQ(error->GetDescription(&text), S_OK);
    EXPECT_EQ(take(text), L"9 is not a Bayer filter");
    ASSERT_EQ(error->GetSource(&text), S_OK);
    EXPECT_EQ(take(text), L"VexKamCOMWrapper.VexBufferConverter.1");
    GUID interface_id{};
    ASSERT_EQ(error->GetGUID(&interface_id), S_OK);
    EXPECT_EQ(interface_id, __uuidof(IVexBufferConverter));
    ASSERT_EQ(error->GetHelpFile(&text), S_OK);
    EXPECT_EQ(take(text), L"");
    EXPECT_EQ(query<ISupportErrorInfo>(converter.get())->InterfaceSupportsErrorInfo(__uuidof(IVexBufferConverter)),
              S_OK);

    LateBound script(converter.get());
    EXPECT_EQ(script.put(L"BayerFilterType", Variant(9)), DISP_E_EXCEPTION);
    EXPECT_EQ(script.description(), L"9 is not a Bayer filter");
    EXPECT_EQ(script.source(), L"VexKamCOMWrapper.VexBufferConverter.1");
    EXPECT_EQ(bayer_filter(), VexBayerFilter3X3);
}

TEST_F(Converter, SupportReadsAsOne)
{
    VARIANT_BOOL supported = 7;
    ASSERT_EQ(converter->IsConversionSupported(VexPixelMono8, VexPixelWinRGB32, &supported), S_OK);
    EXPECT_EQ(supported, 1);
    ASSERT_EQ(converter->IsConversionSupported(VexPixelMono8, VexPixelBayerRG8, &supported), S_OK);
    EXPECT_EQ(supported, 0);
    LateBound script(converter.get());
    Variant value;
    ASSERT_EQ(script.call(L"IsConversionSupported", {Variant(0x01080001), Variant(0x02208001)}, &value), S_OK);
    EXPECT_EQ(value->boolVal, 1);
}

TEST_F(Converter, SupportIsTheTruthForEveryPairBothWays)
{
    const auto source = new_buffer();
    const auto destination = new_buffer();
    unsigned int supported_pairs = 0;
    for (const auto from : pv_pixel_types) {
        for (const auto to : pv_pixel_types) {
            VARIANT_BOOL supported = 7;
            ASSERT_EQ(converter->IsConversionSupported(static_cast<VexPixelType>(from), static_cast<VexPixelType>(to),
                                                       &supported),
                      S_OK);
            ASSERT_TRUE(supported == 0 || supported == 1);
            ASSERT_EQ(alloc(image_of(source.get()).get(), 5, 2, static_cast<VexPixelType>(from)), VexOK);
            ASSERT_EQ(alloc(image_of(destination.get()).get(), 5, 2, static_cast<VexPixelType>(to)), VexOK);
            EXPECT_EQ(convert(source, destination), supported == 1 ? VexOK : VexNotSupported)
                << std::hex << from << " to " << to;
            supported_pairs += static_cast<unsigned int>(supported);
        }
    }
    EXPECT_EQ(supported_pairs, 57u * 16 + 41);  // sixteen destinations for all, and the others to themselves
}

TEST_F(Converter, ConvertsIntoTheDestinationsPixelType)
{
    const auto source = new_image(2, 1, VexPixelMono8, {5, 6});
    const auto destination = new_image(2, 1, VexPixelBGRA8Packed);
    ASSERT_EQ(convert(source, destination), VexOK);
    EXPECT_EQ(data_of(destination.get()), (Bytes{5, 5, 5, 255, 6, 6, 6, 255}));
}

TEST_F(Converter, ReallocatesWhenAskedByAnyNonZeroValue)
{
    const auto source = new_image(2, 1, VexPixelMono8, {5, 6});
    for (const short asked : std::initializer_list<short>{-1, 1, 2}) {
        const auto destination = new_image(1, 1, VexPixelRGB8Packed);
        EXPECT_EQ(convert(source, destination), VexInvalidParameter);
        EXPECT_EQ(convert(source, destination, asked), VexOK);
        EXPECT_EQ(data_of(destination.get()), (Bytes{5, 5, 5, 6, 6, 6}));
        EXPECT_EQ(value_of(image_of(destination.get()).get(), &IVexImage::get_Width), 2u);
    }
}

TEST_F(Converter, FailuresStandInTheResult)
{
    const auto source = new_image(1, 1, VexPixelMono8);
    EXPECT_EQ(convert(source, new_image(1, 1, VexPixelBayerRG8)), VexNotSupported);
    EXPECT_EQ(convert(source, new_buffer(), -1), VexNotSupported);
    EXPECT_EQ(convert(new_buffer(), source), VexInvalidParameter);
}

TEST_F(Converter, AppliesTheRgbFilterThatIsSet)
{
    const auto filter = red_gain(2);
    ASSERT_EQ(set_filter(filter.get()), VexOK);
    EXPECT_EQ(references(filter.get()), 1u);  // remembered without a reference
    EXPECT_EQ(filtered(), (Bytes{20, 20, 30}));
    ASSERT_EQ(code_of(converter, &IVexBufferConverter::ResetRGBFilter), VexOK);
    EXPECT_EQ(filtered(), (Bytes{10, 20, 30}));
}

TEST_F(Converter, ANullFilterActsAsANewOneAndLeavesTheRememberedOne)
{
    const auto filter = red_gain(2);
    ASSERT_EQ(set_filter(filter.get()), VexOK);
    ASSERT_EQ(set_filter(nullptr), VexOK);
    EXPECT_EQ(filtered(), (Bytes{10, 20, 30}));
    ASSERT_EQ(converter->put_MaxNumberOfThreads(2), S_OK);
    EXPECT_EQ(filtered(), (Bytes{20, 20, 30}));
}

TEST_F(Converter, ChangingTheThreadsPutsTheRememberedFilterBack)
{
    const auto filter = red_gain(2);
    ASSERT_EQ(set_filter(filter.get()), VexOK);
    ASSERT_EQ(code_of(converter, &IVexBufferConverter::ResetRGBFilter), VexOK);
    ASSERT_EQ(filter->put_GainR(3), S_OK);
    ASSERT_EQ(converter->put_MaxNumberOfThreads(1), S_OK);
    EXPECT_EQ(filtered(), (Bytes{30, 20, 30}));  // with the settings of now
}

TEST_F(Converter, WithNoFilterRememberedChangingTheThreadsSetsNone)
{
    ASSERT_EQ(converter->put_MaxNumberOfThreads(1), S_OK);
    EXPECT_EQ(filtered(), (Bytes{10, 20, 30}));
}

TEST_F(Converter, LargeImagesAreSharedAmongThreadsAlikeEachTime)
{
    const auto source = new_image(640, 480, VexPixelBayerRG8);
    Array noise(SafeArrayCreateVector(VT_UI1, 0, 640 * 480));
    void* bytes = nullptr;
    ASSERT_EQ(SafeArrayAccessData(noise.get(), &bytes), S_OK);
    unsigned int state = 1;
    for (int i = 0; i < 640 * 480; ++i) {
        state = state * 1664525 + 1013904223;
        static_cast<unsigned char*>(bytes)[i] = static_cast<unsigned char>(state >> 24);
    }
    SafeArrayUnaccessData(noise.get());
    ASSERT_EQ(source->put_Data(noise.get()), S_OK);
    Bytes first;
    for (const int count : {1, 2, 3}) {
        ASSERT_EQ(converter->put_MaxNumberOfThreads(count), S_OK);
        const auto destination = new_image(640, 480, VexPixelWinRGB32);
        ASSERT_EQ(convert(source, destination), VexOK);
        const auto converted = data_of(destination.get());
        if (first.empty()) {
            first = converted;
        }
        EXPECT_TRUE(converted == first) << count;
    }
}

TEST_F(Converter, NothingAndForeignBuffersAreRefusedCleanly)
{
    Ref<IVexResult> result;
    const auto buffer = new_image(1, 1, VexPixelMono8);
    ForeignObject<vex::idl::Stub<IVexBuffer>> foreign;
    EXPECT_EQ(converter->Convert(nullptr, buffer.get(), 0, result.put()), E_POINTER);
    EXPECT_EQ(converter->Convert(buffer.get(), nullptr, 0, result.put()), E_POINTER);
    EXPECT_EQ(converter->Convert(&foreign, buffer.get(), 0, result.put()), E_INVALIDARG);
    EXPECT_EQ(converter->Convert(buffer.get(), &foreign, 0, result.put()), E_INVALIDARG);
    EXPECT_FALSE(result);
}

}  // namespace
