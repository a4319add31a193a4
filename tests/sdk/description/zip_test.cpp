// The archives that devices pack their descriptions into.

#include <gtest/gtest.h>

#include <zlib.h>

#include <algorithm>
#include <cstring>

#include "sdk/description/zip.h"

using namespace vex;

namespace {

using Bytes = std::vector<std::uint8_t>;

struct File {
    std::string name = "camera.xml";
    std::string text = {};
    bool deflate = true;
    // what the archive says instead of the truth, when set
    std::optional<std::uint32_t> check_sum = std::nullopt;
    std::optional<std::uint32_t> size = std::nullopt;
    std::uint16_t flags = 0;
    std::optional<std::uint16_t> method = std::nullopt;
    std::string extra = {};
    std::string comment = {};
};

void put16(Bytes& out, std::uint32_t value)
{
    out.push_back(static_cast<std::uint8_t>(value));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
}

void put32(Bytes& out, std::uint32_t value)
{
    put16(out, value);
    put16(out, value >> 16);
}

void put(Bytes& out, std::string_view text) { out.insert(out.end(), text.begin(), text.end()); }

std::string deflated(const std::string& text)
{
    z_stream stream{};
    EXPECT_EQ(deflateInit2(&stream, 9, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY), Z_OK);
    std::string out(deflateBound(&stream, static_cast<uLong>(text.size())), '\0');
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(text.data()));
    stream.avail_in = static_cast<uInt>(text.size());
    stream.next_out = reinterpret_cast<Bytef*>(out.data());
    stream.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(deflate(&stream, Z_FINISH), Z_STREAM_END);
    out.resize(stream.total_out);
    deflateEnd(&stream);
    return out;
}

Bytes archive(const std::vector<File>& files)
{
    Bytes out;
    Bytes directory;
    for (const File& file : files) {
        const std::string packed = file.deflate ? deflated(file.text) : file.text;
        const auto sum = static_cast<std::uint32_t>(
            crc32(0, reinterpret_cast<const Bytef*>(file.text.data()), static_cast<uInt>(file.text.size())));
        const auto offset = static_cast<std::uint32_t>(out.size());
        const auto common = [&](Bytes& to) {
            put16(to, 20);
            put16(to, file.flags);
            put16(to, file.method.value_or(file.deflate ? 8 : 0));
            put32(to, 0);  // time
            put32(to, file.check_sum.value_or(sum));
            put32(to, static_cast<std::uint32_t>(packed.size()));
            put32(to, file.size.value_or(static_cast<std::uint32_t>(file.text.size())));
            put16(to, static_cast<std::uint32_t>(file.name.size()));
            put16(to, static_cast<std::uint32_t>(file.extra.size()));
        };
        put(out, "PK\3\4");
        common(out);
        put(out, file.name + file.extra);
        put(out, packed);
        put(directory, "PK\1\2");
        put16(directory, 20);
        common(directory);
        put16(directory, static_cast<std::uint32_t>(file.comment.size()));
        put16(directory, 0);
        put16(directory, 0);
        put32(directory, 0);
        put32(directory, offset);
        put(directory, file.name + file.extra + file.comment);
    }
    const auto start = static_cast<std::uint32_t>(out.size());
    out.insert(out.end(), directory.begin(), directory.end());
    put(out, "PK\5\6");
    put32(out, 0);
    put16(out, static_cast<std::uint32_t>(files.size()));
    put16(out, static_cast<std::uint32_t>(files.size()));
    put32(out, static_cast<std::uint32_t>(directory.size()));
    put32(out, start);
    put16(out, 0);
    return out;
}

std::string refusal(const Bytes& bytes, const description::ZipLimits& limits = {})
{
    try {
        static_cast<void>(description::unzip_description(bytes, limits));
    } catch (const GenApi::DescriptionError& error) {
        EXPECT_EQ(error.code(), PvResult::GenICamXMLError);
        const std::string text = error.what();
        const std::string prefix = "the packed description cannot be unpacked: ";
        EXPECT_TRUE(text.starts_with(prefix)) << text;
        return text.substr(std::min(prefix.size(), text.size()));
    }
    return "accepted";
}

const std::string xml = "<RegisterDescription>" + std::string(500, ' ') + "</RegisterDescription>";

}  // namespace

TEST(Zip, UnpacksADeflatedFile) { EXPECT_EQ(description::load_description(archive({{.text = xml}})), xml); }

TEST(Zip, UnpacksAStoredFile)
{
    EXPECT_EQ(description::load_description(archive({{.text = xml, .deflate = false}})), xml);
}

TEST(Zip, TakesPlainTextAsItIs)
{
    const Bytes bytes(xml.begin(), xml.end());
    EXPECT_FALSE(description::is_zip(bytes));
    EXPECT_EQ(description::load_description(bytes), xml);
}

TEST(Zip, TakesTheFirstXmlFileOfSeveral)
{
    const Bytes bytes = archive({{.name = "readme.txt", .text = "hello"},
                                 {.name = "dir/Camera.XML", .text = xml},
                                 {.name = "other.xml", .text = "<a/>"}});
    EXPECT_EQ(description::unzip_description(bytes), xml);
}

TEST(Zip, PassesOverExtraFieldsAndCommentsOfFiles)
{
    const Bytes bytes = archive({{.name = "readme.txt", .text = "no", .extra = "a time", .comment = "of no use"},
                                 {.text = xml, .extra = "another time", .comment = "of use"}});
    EXPECT_EQ(description::load_description(bytes), xml);
}

TEST(Zip, TakesAnOnlyFileWhateverItsName)
{
    EXPECT_EQ(description::unzip_description(archive({{.name = "description", .text = xml}})), xml);
}

TEST(Zip, IgnoresWhatFollowsTheArchive)
{
    Bytes bytes = archive({{.text = xml}});
    bytes.resize(bytes.size() + 300'000, 0xFF);
    EXPECT_EQ(description::unzip_description(bytes), xml);
}

TEST(Zip, RefusesSeveralFilesWithoutXml)
{
    EXPECT_EQ(refusal(archive({{.name = "a"}, {.name = "b"}})), "none of its 2 files is named *.xml");
}

TEST(Zip, RefusesAnEmptyArchive) { EXPECT_EQ(refusal(archive({})), "the archive is empty"); }

TEST(Zip, RefusesEveryTruncation)
{
    const Bytes whole = archive({{.text = xml}});
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        EXPECT_NE(refusal(cut), "accepted") << size;
    }
    EXPECT_EQ(refusal({whole.begin(), whole.begin() + 40}), "the archive's end is missing");
}

TEST(Zip, RefusesAWrongCheckSum)
{
    EXPECT_EQ(refusal(archive({{.text = xml, .check_sum = 1}})), "the check sum of camera.xml is wrong");
    EXPECT_EQ(refusal(archive({{.text = xml, .deflate = false, .check_sum = 1}})),
              "the check sum of camera.xml is wrong");
}

TEST(Zip, RefusesDamagedData)
{
    Bytes bytes = archive({{.text = xml}});
    std::fill_n(bytes.begin() + 40, 10, std::uint8_t{0xFF});
    EXPECT_EQ(refusal(bytes), "the data of camera.xml are damaged");
}

TEST(Zip, RefusesSizesThatAreNotTrue)
{
    const auto size = static_cast<std::uint32_t>(xml.size());
    EXPECT_EQ(refusal(archive({{.text = xml, .size = size - 1}})),
              "camera.xml has " + std::to_string(size) + " bytes; the archive says " + std::to_string(size - 1));
    EXPECT_EQ(refusal(archive({{.text = xml, .size = size - 10}})),
              "the data of camera.xml are longer than the archive says");
    EXPECT_EQ(refusal(archive({{.text = xml, .size = size + 10}})),
              "camera.xml has " + std::to_string(size) + " bytes; the archive says " + std::to_string(size + 10));
    EXPECT_EQ(refusal(archive({{.text = xml, .deflate = false, .size = size + 1}})),
              "the sizes of camera.xml contradict each other");
}

TEST(Zip, RefusesABombBeforeItUnpacks)
{
    const std::string zeros(std::size_t{8} << 20, '\0');
    EXPECT_EQ(refusal(archive({{.text = zeros}})), "camera.xml would grow to more than 200 times its packed size");
    EXPECT_EQ(refusal(archive({{.text = xml, .size = 0x7FFFFFFF}})),
              "camera.xml would have 2147483647 bytes; the limit is 67108864");
    EXPECT_EQ(refusal(archive({{.text = xml}}), {.largest_text = 100}),
              "camera.xml would have " + std::to_string(xml.size()) + " bytes; the limit is 100");
}

TEST(Zip, RefusesWhatItCannotUnpack)
{
    EXPECT_EQ(refusal(archive({{.text = xml, .flags = 1}})), "camera.xml is encrypted");
    EXPECT_EQ(refusal(archive({{.text = xml, .method = std::uint16_t{12}}})),
              "camera.xml is packed by method 12; only stored and deflated files can be unpacked");
}

TEST(Zip, SurvivesEveryDamagedByte)
{
    const Bytes whole = archive({{.text = xml}});
    for (std::size_t at = 0; at < whole.size(); ++at) {
        for (const std::uint8_t damage : {std::uint8_t{0x00}, std::uint8_t{0xFF}, std::uint8_t{0x80}}) {
            Bytes bytes = whole;
            bytes[at] ^= damage;
            try {
                EXPECT_EQ(description::unzip_description(bytes), xml);
            } catch (const GenApi::DescriptionError&) {
                // refused: as good
            }
        }
    }
}
