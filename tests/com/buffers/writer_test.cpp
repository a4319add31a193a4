// VexBufferWriter through COM.
#include "tests/com/buffers/objects.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "tests/sdk/convert/bmp_reader.h"

namespace {

namespace fs = std::filesystem;
using namespace client;
using Bytes = std::vector<unsigned char>;

class Writer : public ComTest {
protected:
    Writer()
    {
        folder = fs::temp_directory_path() / ("vex_writer_" + std::to_string(GetCurrentProcessId()));
        fs::create_directories(folder);
    }
    ~Writer() override
    {
        std::error_code ignored;
        fs::remove_all(folder, ignored);
    }

    fs::path folder;
    Ref<IVexBufferWriter> writer = create<IVexBufferWriter>(L"VexKamCOMWrapper.VexBufferWriter.1");

    [[nodiscard]] Ref<IVexBufferConverter> converter() const
    {
        Ref<IVexBufferConverter> found;
        EXPECT_EQ(writer->get_Converter(found.put()), S_OK);
        EXPECT_TRUE(found);
        return found;
    }
    [[nodiscard]] Ref<IVexResult> store(const Ref<IVexBuffer>& buffer, const fs::path& name,
                                        VexBufferFormatType type) const
    {
        BSTR text = SysAllocString(name.c_str());
        Ref<IVexResult> result;
        EXPECT_EQ(writer->Store(buffer.get(), text, type, result.put()), S_OK);
        SysFreeString(text);
        EXPECT_TRUE(result);
        return result;
    }
    [[nodiscard]] static VARIANT_BOOL ok(const Ref<IVexResult>& result)
    {
        return value_of(result.get(), &IVexResult::get_IsOK);
    }
    [[nodiscard]] Bytes content(const fs::path& name) const
    {
        std::ifstream stream(name, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    /// Red, green and blue of the second pixel of a stored Bayer image.
    [[nodiscard]] Bytes middle_bayer_pixel() const
    {
        const auto bayer = new_image(3, 3, VexPixelBayerRG8, {10, 20, 30, 40, 50, 61, 70, 80, 91});
        EXPECT_EQ(ok(store(bayer, folder / L"bayer.bmp", VexBufferFormatBMP)), 1);
        const auto bitmap = test::read_bitmap(content(folder / L"bayer.bmp"));
        EXPECT_TRUE(bitmap);
        return bitmap ? Bytes(bitmap->rgb.begin() + 12, bitmap->rgb.begin() + 15) : Bytes();
    }
    const Bytes simple{50, 50, 50};
    const Bytes along_edge{50, 51, 50};
};

TEST_F(Writer, StoresBitmapsAndRawBytes)
{
    const auto image = new_image(2, 1, VexPixelRGB8Packed, {1, 2, 3, 4, 5, 6});
    ASSERT_EQ(ok(store(image, folder / L"image.bmp", VexBufferFormatBMP)), 1);
    const auto bitmap = test::read_bitmap(content(folder / L"image.bmp"));
    ASSERT_TRUE(bitmap);
    EXPECT_EQ(bitmap->rgb, (Bytes{1, 2, 3, 4, 5, 6}));
    ASSERT_EQ(ok(store(image, folder / L"image.raw", VexBufferFormatRaw)), 1);
    EXPECT_EQ(content(folder / L"image.raw"), (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST_F(Writer, TakesNamesInEveryScript)
{
    const auto image = new_image(1, 1, VexPixelMono8, {7});
    const auto name = folder / L"\u56FE\u50CF \u00E9\u0436.raw";
    ASSERT_EQ(ok(store(image, name, VexBufferFormatRaw)), 1);
    EXPECT_EQ(content(name), (Bytes{7}));
}

TEST_F(Writer, AMissingFolderFailsInTheResultWithTheReason)
{
    const auto result = store(new_image(1, 1, VexPixelMono8), folder / L"missing" / L"a.bmp", VexBufferFormatBMP);
    EXPECT_EQ(ok(result), 0);
    EXPECT_EQ(value_of(result.get(), &IVexResult::get_Code), VexCannotOpenFile);
    BSTR text = nullptr;
    ASSERT_EQ(result->get_Description(&text), S_OK);
    const auto description = take(text);
    EXPECT_NE(description.find(L"a.bmp"), std::wstring::npos) << description.size();
    EXPECT_NE(description.find(L"No such file"), std::wstring::npos);
}

TEST_F(Writer, TakesPathsOfMoreThan260Characters)
{
    auto deep = folder;
    for (int depth = 0; depth < 5; ++depth) {
        deep /= std::wstring(60, static_cast<wchar_t>(L'a' + depth));
        ASSERT_NE(CreateDirectoryW((L"\\\\?\\" + deep.native()).c_str(), nullptr), 0) << depth;
    }
    const auto name = deep / L"\u56FE\u50CF.bmp";
    ASSERT_GT(name.native().size(), 300u);
    const auto result = store(new_image(1, 1, VexPixelMono8), name, VexBufferFormatBMP);
    BSTR text = nullptr;
    ASSERT_EQ(result->get_Description(&text), S_OK);
    EXPECT_EQ(ok(result), 1) << fs::path(take(text));
    const auto reachable = L"\\\\?\\" + name.native();
    EXPECT_NE(GetFileAttributesW(reachable.c_str()), INVALID_FILE_ATTRIBUTES);
    // what follows cannot reach so deep
    for (auto at = name; at != folder; at = at.parent_path()) {
        const auto path = L"\\\\?\\" + at.native();
        EXPECT_NE(at == name ? DeleteFileW(path.c_str()) : RemoveDirectoryW(path.c_str()), 0);
    }
}

TEST_F(Writer, AReadOnlyFileAndOneInUseAreKept)
{
    const auto name = folder / L"kept.bmp";
    const auto image = new_image(1, 1, VexPixelMono8);
    std::ofstream(name) << "old";
    ASSERT_NE(SetFileAttributesW(name.c_str(), FILE_ATTRIBUTE_READONLY), 0);
    EXPECT_EQ(value_of(store(image, name, VexBufferFormatBMP).get(), &IVexResult::get_Code), VexCannotOpenFile);
    ASSERT_NE(SetFileAttributesW(name.c_str(), FILE_ATTRIBUTE_NORMAL), 0);

    const HANDLE used = CreateFileW(name.c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(used, INVALID_HANDLE_VALUE);
    EXPECT_EQ(value_of(store(image, name, VexBufferFormatBMP).get(), &IVexResult::get_Code), VexFileError);
    CloseHandle(used);
    EXPECT_EQ(content(name), (Bytes{'o', 'l', 'd'}));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1);
}

TEST_F(Writer, FormatsPassUncheckedToTheSdk)
{
    const auto result = store(new_image(1, 1, VexPixelMono8), folder / L"a.bmp", unnamed<VexBufferFormatType>(5));
    EXPECT_EQ(value_of(result.get(), &IVexResult::get_Code), VexInvalidParameter);
    Ref<IVexResult> nameless;
    EXPECT_EQ(writer->Store(new_image(1, 1, VexPixelMono8).get(), nullptr, VexBufferFormatBMP, nameless.put()), S_OK);
    EXPECT_EQ(ok(nameless), 0);
}

TEST_F(Writer, HandsOutTheSameConverterEachTime)
{
    const auto first = converter();
    EXPECT_EQ(converter().get(), first.get());
    EXPECT_EQ(value_of(first.get(), &IVexBufferConverter::get_MaxNumberOfThreads), -1);
}

TEST_F(Writer, SettingsOfTheConverterAreTheWriters)
{
    ASSERT_EQ(converter()->put_BayerFilterType(VexBayerFilter3X3), S_OK);
    EXPECT_EQ(value_of(converter().get(), &IVexBufferConverter::get_BayerFilterType), VexBayerFilter3X3);
    EXPECT_EQ(middle_bayer_pixel(), along_edge);
    ASSERT_EQ(converter()->put_BayerFilterType(VexBayerFilterSimple), S_OK);
    EXPECT_EQ(middle_bayer_pixel(), simple);

    const auto filter = create<IVexFilterRGB>(L"VexKamCOMWrapper.VexFilterRGB.1");
    ASSERT_EQ(filter->put_GainB(0), S_OK);
    EXPECT_EQ(code_of([&](IVexResult** result) { return converter()->SetRGBFilter(filter.get(), result); }), VexOK);
    EXPECT_EQ(middle_bayer_pixel(), (Bytes{50, 50, 0}));
    EXPECT_EQ(code_of(converter(), &IVexBufferConverter::ResetRGBFilter), VexOK);
    EXPECT_EQ(middle_bayer_pixel(), simple);
}

TEST_F(Writer, AThreadCountPartsTheConverterFromTheWriterUntilItIsReadAgain)
{
    const auto child = converter();
    ASSERT_EQ(child->put_MaxNumberOfThreads(1), S_OK);
    ASSERT_EQ(child->put_BayerFilterType(VexBayerFilter3X3), S_OK);
    EXPECT_EQ(middle_bayer_pixel(), simple);
    EXPECT_EQ(value_of(converter().get(), &IVexBufferConverter::get_BayerFilterType), VexBayerFilterSimple);
    EXPECT_EQ(value_of(child.get(), &IVexBufferConverter::get_MaxNumberOfThreads),
              1);  // the child's own, not the writer's
    ASSERT_EQ(child->put_BayerFilterType(VexBayerFilter3X3), S_OK);
    EXPECT_EQ(middle_bayer_pixel(), along_edge);
}

TEST_F(Writer, AConverterThatOutlivesItsWriterFailsCleanly)
{
    const auto child = converter();
    writer.reset();
    VexBayerFilterType type{};
    EXPECT_EQ(child->get_BayerFilterType(&type), E_POINTER);

    writer = create<IVexBufferWriter>(L"VexKamCOMWrapper.VexBufferWriter.1");
    const auto parted = converter();
    ASSERT_EQ(parted->put_MaxNumberOfThreads(2), S_OK);
    writer.reset();
    EXPECT_EQ(parted->put_BayerFilterType(VexBayerFilter3X3), S_OK);  // has one of its own
}

TEST_F(Writer, ScriptsUseIt)
{
    LateBound script(writer.get());
    const auto image = new_image(1, 1, VexPixelMono8, {7});
    Variant value;
    ASSERT_EQ(
        script.call(L"Store",
                    {Variant(static_cast<IDispatch*>(image.get())), Variant((folder / L"a.raw").c_str()), Variant(1)},
                    &value),
        S_OK);
    Variant done;
    ASSERT_EQ(LateBound(value->pdispVal).get(L"IsOK", done), S_OK);
    EXPECT_EQ(done->boolVal, 1);
    EXPECT_EQ(content(folder / L"a.raw"), (Bytes{7}));
    ASSERT_EQ(script.get(L"Converter", value), S_OK);
    EXPECT_EQ(value.type(), VT_DISPATCH);
}

}  // namespace
