#include "sdk/convert/PvBufferWriter.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>

#ifdef _WIN32
#include <windows.h>
#else
#include <csignal>
#include <sys/resource.h>
#endif

#include "sdk/buffer/acquisition.h"
#include "sdk/convert/PvFilterRGB.h"
#include "sdk/convert/bmp.h"
#include "tests/sdk/convert/bmp_reader.h"
#include "tests/sdk/convert/images.h"

using namespace vex;

namespace {

namespace fs = std::filesystem;
using test::Bytes;

class Writer : public testing::Test {
protected:
    Writer()
    {
        std::random_device random;
        folder_ = fs::temp_directory_path() / ("writer_test_" + std::to_string(random()));
        fs::create_directory(folder_);
    }
    ~Writer() override
    {
        std::error_code ignored;
        fs::permissions(folder_, fs::perms::owner_all, ignored);
        fs::remove_all(folder_, ignored);
    }

    [[nodiscard]] PvString name(const fs::path& file) const { return {(folder_ / file).c_str()}; }
    /// The path in the form in which this program can reach it whatever its length.
    [[nodiscard]] static fs::path reachable(const fs::path& path)
    {
#ifdef _WIN32
        return fs::path(L"\\\\?\\" + fs::path(path).make_preferred().native());
#else
        return path;
#endif
    }
    [[nodiscard]] Bytes content(const fs::path& file) const
    {
        std::ifstream stream(folder_ / file, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }
    [[nodiscard]] std::size_t files() const
    {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder_), fs::directory_iterator()));
    }
    [[nodiscard]] std::optional<test::Bitmap> stored(const PvBuffer& buffer)
    {
        const auto result = writer_.Store(&buffer, name("image.bmp"), PvBufferFormatBMP);
        EXPECT_TRUE(result.IsOK()) << result.description();
        EXPECT_EQ(files(), 1u);
        return test::read_bitmap(content("image.bmp"));
    }

    fs::path folder_;
    PvBufferWriter writer_;
};

TEST_F(Writer, MonochromeImagesBecomeGreyBitmapsOfEightBits)
{
    const auto image = test::image(3, 2, PvPixelMono8, {1, 2, 3, 4, 5, 255});
    const auto bitmap = stored(*image);
    ASSERT_TRUE(bitmap);
    EXPECT_EQ(bitmap->width, 3u);
    EXPECT_EQ(bitmap->height, 2u);
    EXPECT_EQ(bitmap->bits, 8u);
    EXPECT_EQ(bitmap->rgb, (Bytes{1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4, 4, 5, 5, 5, 255, 255, 255}));

    const auto deep = stored(*test::image(1, 1, PvPixelMono12Packed, {0xAB, 0x0C}));
    ASSERT_TRUE(deep);
    EXPECT_EQ(deep->bits, 8u);
    EXPECT_EQ(deep->rgb, (Bytes{0xAB, 0xAB, 0xAB}));
}

TEST_F(Writer, ColourImagesBecomeBitmapsOf24Bits)
{
    const auto bitmap = stored(*test::image(1, 2, PvPixelRGB8Packed, {1, 2, 3, 4, 5, 6}));
    ASSERT_TRUE(bitmap);
    EXPECT_EQ(bitmap->bits, 24u);
    EXPECT_EQ(bitmap->rgb, (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST_F(Writer, ImagesOfFourBytesAPixelBecomeBitmapsOf32Bits)
{
    const auto bitmap = stored(*test::image(2, 1, PvPixelRGBA8Packed, {1, 2, 3, 4, 5, 6, 7, 8}));
    ASSERT_TRUE(bitmap);
    EXPECT_EQ(bitmap->bits, 32u);
    EXPECT_EQ(bitmap->rgb, (Bytes{1, 2, 3, 5, 6, 7}));
    EXPECT_EQ(bitmap->fourth, (Bytes{4, 8}));
}

TEST_F(Writer, EveryPixelTypeAndWidthReadsBackAsConverted)
{
    PvBufferConverter converter;
    for (const auto type : pv_pixel_types) {
        for (const std::uint32_t width : {1u, 4u, 5u, 6u, 7u}) {
            const auto image = test::blank(width, 3, type, 1);
            test::fill_random(*image, type + width);
            const auto rgb = test::blank(width, 3, PvPixelRGB8Packed);
            ASSERT_TRUE(converter.Convert(image.get(), rgb.get()).IsOK());
            const auto bitmap = stored(*image);
            ASSERT_TRUE(bitmap) << std::hex << type;
            EXPECT_EQ(bitmap->rgb, test::bytes_of(*rgb)) << std::hex << type << " " << width;
        }
    }
}

TEST_F(Writer, ItsConvertersFiltersActOnTheBitmap)
{
    PvFilterRGB filter;
    filter.SetGainR(2);
    ASSERT_TRUE(writer_.GetConverter()->SetRGBFilter(filter).IsOK());
    const auto bitmap = stored(*test::image(1, 1, PvPixelRGB8Packed, {10, 20, 30}));
    ASSERT_TRUE(bitmap);
    EXPECT_EQ(bitmap->rgb, (Bytes{20, 20, 30}));
    EXPECT_EQ(writer_.GetConverter(), writer_.GetConverter());

    const auto bayer = test::image(3, 3, PvPixelBayerRG8, {10, 20, 30, 40, 50, 61, 70, 80, 91});
    ASSERT_TRUE(writer_.GetConverter()->ResetRGBFilter().IsOK());
    EXPECT_EQ(stored(*bayer)->rgb[13], 50);  // simple: the mean of all four
    ASSERT_TRUE(writer_.GetConverter()->SetBayerFilter(PvBayerFilter3X3).IsOK());
    EXPECT_EQ(stored(*bayer)->rgb[13], 51);
}

TEST_F(Writer, RawIsTheImagesBytesOrTheAcquiredOnes)
{
    const auto image = test::image(2, 2, PvPixelMono8, {1, 2, 9, 3, 4, 9}, 1);
    ASSERT_TRUE(writer_.Store(image.get(), name("image.raw"), PvBufferFormatRaw).IsOK());
    EXPECT_EQ(content("image.raw"), (Bytes{1, 2, 9, 3, 4, 9}));

    PvBuffer raw(PvPayloadTypeRawData);
    ASSERT_TRUE(raw.Alloc(4).IsOK());
    raw.GetDataPointer()[0] = 7;
    ASSERT_TRUE(writer_.Store(&raw, name("raw.raw"), PvBufferFormatRaw).IsOK());
    EXPECT_EQ(content("raw.raw"), (Bytes{7, 0, 0, 0}));
    acquisition::finish(raw, {.acquired_size = 2});
    ASSERT_TRUE(writer_.Store(&raw, name("raw.raw"), PvBufferFormatRaw).IsOK());
    EXPECT_EQ(content("raw.raw"), (Bytes{7, 0}));
    EXPECT_EQ(files(), 2u);
}

TEST_F(Writer, ReplacesAnOlderFile)
{
    std::ofstream(folder_ / "image.bmp") << "old";
    EXPECT_TRUE(stored(*test::blank(1, 1, PvPixelMono8)));
}

TEST_F(Writer, TakesNamesInEveryScript)
{
    const fs::path file(u8"b\u00EDld \u56FE\u50CF \U0001F4F7.bmp");
    const auto image = test::blank(1, 1, PvPixelMono8);
    const auto result = writer_.Store(image.get(), name(file));
    ASSERT_TRUE(result.IsOK()) << result.description();
    EXPECT_TRUE(fs::exists(folder_ / file));
    EXPECT_EQ(files(), 1u);
}

TEST_F(Writer, TakesPathsOfAnyLength)
{
    const auto image = test::image(1, 1, PvPixelMono8, {5});
    fs::path file;
    for (int depth = 0; depth < 6; ++depth) {
        file /= std::string(60, static_cast<char>('a' + depth));
        fs::create_directory(reachable(folder_ / file));
    }
    file /= "image.raw";
    ASSERT_GT((folder_ / file).native().size(), 300u);
    for (int times = 0; times < 2; ++times) {  // the second time it replaces the first
        const auto result = writer_.Store(image.get(), name(file), PvBufferFormatRaw);
        ASSERT_TRUE(result.IsOK()) << result.description();
    }
    EXPECT_EQ(fs::file_size(reachable(folder_ / file)), 1u);
    EXPECT_FALSE(fs::exists(reachable((folder_ / file).concat(".0.tmp"))));
    for (; !file.empty(); file = file.parent_path()) {  // from the bottom, as not everything on Windows reaches so deep
        EXPECT_TRUE(fs::remove(reachable(folder_ / file)));
    }
    EXPECT_EQ(files(), 0u);
}

TEST_F(Writer, TakesTheLongestNameThatAFileCanHave)
{
    const auto image = test::image(1, 1, PvPixelMono8, {5});
    const std::string longest(255, 'x');
    const auto result = writer_.Store(image.get(), name(longest), PvBufferFormatRaw);
    ASSERT_TRUE(result.IsOK()) << result.description();
    EXPECT_EQ(fs::file_size(reachable(folder_ / longest)), 1u);
    EXPECT_EQ(files(), 1u);
    const auto refused = writer_.Store(image.get(), name(longest + "x"), PvBufferFormatRaw);
    EXPECT_FALSE(refused.IsOK());
    EXPECT_EQ(files(), 1u);
}

TEST_F(Writer, AMissingFolderIsNamedWithTheReason)
{
    const auto image = test::blank(1, 1, PvPixelMono8);
    for (const auto type : {PvBufferFormatBMP, PvBufferFormatRaw}) {
        const auto result = writer_.Store(image.get(), name("missing/image.bmp"), type);
        EXPECT_EQ(result.GetCode(), PvResult::CannotOpenFile);
        EXPECT_NE(result.description().find("image.bmp"), std::string_view::npos) << result.description();
        EXPECT_NE(result.description().find("No such file"), std::string_view::npos) << result.description();
    }
    EXPECT_EQ(files(), 0u);
}

TEST_F(Writer, AFolderIsNotReplaced)
{
    fs::create_directory(folder_ / "image.bmp");
    const auto image = test::blank(1, 1, PvPixelMono8);
    EXPECT_EQ(writer_.Store(image.get(), name("image.bmp")).GetCode(), PvResult::CannotOpenFile);
    EXPECT_TRUE(fs::is_directory(folder_ / "image.bmp"));
    EXPECT_EQ(files(), 1u);
}

TEST_F(Writer, AReadOnlyFileIsNotReplaced)
{
    std::ofstream(folder_ / "image.bmp") << "old";
    constexpr auto write = fs::perms::owner_write | fs::perms::group_write | fs::perms::others_write;
    fs::permissions(folder_ / "image.bmp", write, fs::perm_options::remove);
    const auto image = test::blank(1, 1, PvPixelMono8);
    const auto result = writer_.Store(image.get(), name("image.bmp"));
    EXPECT_EQ(result.GetCode(), PvResult::CannotOpenFile);
    EXPECT_NE(result.description().find("read-only"), std::string_view::npos);
    EXPECT_EQ(content("image.bmp"), (Bytes{'o', 'l', 'd'}));
    EXPECT_EQ(files(), 1u);
    fs::permissions(folder_ / "image.bmp", write, fs::perm_options::add);
}

TEST_F(Writer, ATakenNameBesideTheTargetIsLeftAlone)
{
    std::ofstream(folder_ / "image.raw.0.tmp") << "somebody's";
    const auto image = test::image(1, 1, PvPixelMono8, {5});
    ASSERT_TRUE(writer_.Store(image.get(), name("image.raw"), PvBufferFormatRaw).IsOK());
    EXPECT_EQ(content("image.raw"), (Bytes{5}));
    EXPECT_EQ(content("image.raw.0.tmp").size(), 10u);
    EXPECT_EQ(files(), 2u);
}

#ifdef _WIN32
TEST_F(Writer, AFileInUseIsKeptAndNothingIsLeftBesideIt)
{
    std::ofstream(folder_ / "image.bmp") << "old";
    const HANDLE used =
        CreateFileW((folder_ / "image.bmp").c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    ASSERT_NE(used, INVALID_HANDLE_VALUE);
    const auto image = test::blank(1, 1, PvPixelMono8);
    const auto result = writer_.Store(image.get(), name("image.bmp"));
    CloseHandle(used);
    EXPECT_EQ(result.GetCode(), PvResult::FileError);
    EXPECT_NE(result.description().find("image.bmp: "), std::string_view::npos) << result.description();
    EXPECT_EQ(content("image.bmp"), (Bytes{'o', 'l', 'd'}));
    EXPECT_EQ(files(), 1u);
}

TEST_F(Writer, APipeIsWrittenToDirectlyAndItsErrorReported)
{
    const auto pipe_name = L"\\\\.\\pipe\\writer_test_" + std::to_wstring(GetCurrentProcessId());
    const auto small = test::image(1, 1, PvPixelMono8, {5});
    const auto large = test::blank(500, 500, PvPixelMono8);
    for (const auto* image : {small.get(), large.get()}) {
        const HANDLE pipe =
            CreateNamedPipeW(pipe_name.c_str(), PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE, 1, 0, 64, 0, nullptr);
        ASSERT_NE(pipe, INVALID_HANDLE_VALUE);
        std::uint8_t first = 0;
        std::thread reader([&] {
            DWORD count = 0;
            ConnectNamedPipe(pipe, nullptr);
            ReadFile(pipe, &first, 1, &count, nullptr);
            CloseHandle(pipe);  // the large image's writer finds nobody at the other end
        });
        const auto result = writer_.Store(image, pipe_name.c_str(), PvBufferFormatRaw);
        reader.join();
        if (image == small.get()) {
            EXPECT_TRUE(result.IsOK()) << result.description();
            EXPECT_EQ(first, 5);
        } else {
            EXPECT_EQ(result.GetCode(), PvResult::FileError);
            EXPECT_NE(result.description().find("pipe"), std::string_view::npos) << result.description();
        }
    }
}
#else
TEST_F(Writer, AFullDiskLeavesTheOlderFileAndNoHalfOne)
{
    std::ofstream(folder_ / "image.bmp") << "old";
    const auto image = test::blank(200, 200, PvPixelRGB8Packed);
    // stands for a full disk: no file may grow beyond 10,000 bytes
    auto* const previous = std::signal(SIGXFSZ, SIG_IGN);
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &limit), 0);
    const rlimit small{10000, limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    const auto bmp = writer_.Store(image.get(), name("image.bmp"), PvBufferFormatBMP);
    const auto raw = writer_.Store(image.get(), name("image.bmp"), PvBufferFormatRaw);
    setrlimit(RLIMIT_FSIZE, &limit);
    std::signal(SIGXFSZ, previous);
    EXPECT_EQ(bmp.GetCode(), PvResult::FileError);
    EXPECT_EQ(raw.GetCode(), PvResult::FileError);
    EXPECT_NE(bmp.description().find("File too large"), std::string_view::npos) << bmp.description();
    EXPECT_EQ(content("image.bmp"), (Bytes{'o', 'l', 'd'}));
    EXPECT_EQ(files(), 1u);
}

TEST_F(Writer, ADeviceIsWrittenToDirectlyAndItsErrorReported)
{
    const auto small = test::blank(1, 1, PvPixelMono8);
    const auto large = test::blank(500, 500, PvPixelMono8);
    for (const auto* image : {small.get(), large.get()}) {
        for (const auto type : {PvBufferFormatBMP, PvBufferFormatRaw}) {
            const auto result = writer_.Store(image, "/dev/full", type);
            EXPECT_EQ(result.GetCode(), PvResult::FileError);
            EXPECT_NE(result.description().find("No space left"), std::string_view::npos) << result.description();
        }
    }
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
}

TEST_F(Writer, ALinkKeepsPointingToTheFile)
{
    std::ofstream(folder_ / "file.raw") << "old";
    fs::create_symlink("file.raw", folder_ / "link.raw");
    const auto image = test::image(1, 1, PvPixelMono8, {5});
    ASSERT_TRUE(writer_.Store(image.get(), name("link.raw"), PvBufferFormatRaw).IsOK());
    EXPECT_TRUE(fs::is_symlink(folder_ / "link.raw"));
    EXPECT_EQ(content("file.raw"), (Bytes{5}));
}
#endif

TEST(BitmapHeader, OfAFileBeyond4GiBThereIsNone)
{
    // lines of 4 bytes after headers and palette; lines of 12 after headers
    constexpr std::uint32_t most_grey = (0xFFFFFFFF - 1078) / 4;
    constexpr std::uint32_t most_coloured = (0xFFFFFFFF - 54) / 12;
    EXPECT_TRUE(convert::bmp::header(4, most_grey, 8));
    EXPECT_FALSE(convert::bmp::header(4, most_grey + 1, 8));
    EXPECT_TRUE(convert::bmp::header(4, most_coloured, 24));
    EXPECT_FALSE(convert::bmp::header(4, most_coloured + 1, 24));
}

TEST_F(Writer, RefusesWhatAFormatCannotHold)
{
    const auto image = test::blank(1, 1, PvPixelMono8);
    PvBuffer raw(PvPayloadTypeRawData);
    ASSERT_TRUE(raw.Alloc(4).IsOK());
    PvBuffer empty;
    const auto unknown = test::blank(8, 1, static_cast<PvPixelType>(0x010A0046));
    const auto code = [&](const PvBuffer* buffer, const PvString& file, int type) {
        return writer_.Store(buffer, file, static_cast<PvBufferFormatType>(type)).GetCode();
    };
    EXPECT_EQ(code(nullptr, name("a"), 0), PvResult::InvalidParameter);
    EXPECT_EQ(code(image.get(), "", 0), PvResult::InvalidParameter);
    EXPECT_EQ(code(image.get(), name("a"), 2), PvResult::InvalidParameter);
    EXPECT_EQ(code(&raw, name("a"), 0), PvResult::NotSupported);
    EXPECT_EQ(code(&empty, name("a"), 0), PvResult::InvalidParameter);
    EXPECT_EQ(code(&empty, name("a"), 1), PvResult::InvalidParameter);
    EXPECT_EQ(code(unknown.get(), name("a"), 0), PvResult::NotSupported);
    EXPECT_EQ(code(unknown.get(), name("raw"), 1), PvResult::OK);
    EXPECT_EQ(files(), 1u);
}

}  // namespace
