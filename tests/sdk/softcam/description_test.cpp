// The description and the registers must tell the same story.
#include "tools/softcam/description.h"

#include <zlib.h>

#include <map>
#include <pugixml.hpp>

#include "tests/sdk/softcam/camera_fixture.h"

using Description = SoftCam;

namespace {

std::uint64_t little(const Bytes& bytes, std::size_t at, std::size_t count)
{
    std::uint64_t value = 0;
    for (std::size_t i = count; i-- > 0;) {
        value = (value << 8) | bytes.at(at + i);
    }
    return value;
}

std::string inflated(const Bytes& archive, std::size_t at, std::size_t packed, std::size_t size)
{
    std::string text(size, '\0');
    z_stream stream{};
    EXPECT_EQ(inflateInit2(&stream, -15), Z_OK);
    Bytes in(archive.begin() + static_cast<long>(at), archive.begin() + static_cast<long>(at + packed));
    stream.next_in = in.data();
    stream.avail_in = static_cast<uInt>(in.size());
    stream.next_out = reinterpret_cast<Bytef*>(text.data());
    stream.avail_out = static_cast<uInt>(text.size());
    EXPECT_EQ(inflate(&stream, Z_FINISH), Z_STREAM_END);
    EXPECT_EQ(stream.total_out, size);
    inflateEnd(&stream);
    return text;
}

void visit(const pugi::xml_node& node, const std::function<void(const pugi::xml_node&)>& each)
{
    each(node);
    for (const pugi::xml_node& child : node.children()) {
        visit(child, each);
    }
}

}  // namespace

TEST(DescriptionText, NamesOnlyRegistersThatExistAndAllOfThem)
{
    const std::string xml = softcam::description_xml();
    EXPECT_EQ(xml.find('@'), std::string::npos);
    for (const softcam::reg::Named& named : softcam::reg::all) {
        char text[16];
        std::snprintf(text, sizeof text, "0x%08X", named.address);
        EXPECT_NE(xml.find(text), std::string::npos) << named.name << " is nobody's";
    }
}

TEST(DescriptionText, IsWellFormedAndItsReferencesHaveTargets)
{
    pugi::xml_document document;
    const std::string xml = softcam::description_xml();
    ASSERT_TRUE(document.load_buffer(xml.data(), xml.size()));
    std::map<std::string, int> names;
    visit(document, [&](const pugi::xml_node& node) {
        const std::string type = node.name();
        if (type != "EnumEntry" && node.attribute("Name") && type.front() != 'p' && type != "Expression" &&
            type != "Constant") {
            ++names[node.attribute("Name").value()];
        }
    });
    for (const auto& [name, count] : names) {
        EXPECT_EQ(count, 1) << name;
    }
    visit(document, [&](const pugi::xml_node& node) {
        const std::string type = node.name();
        if (type.size() > 1 && type[0] == 'p' && type[1] >= 'A' && type[1] <= 'Z') {
            EXPECT_EQ(names.count(node.child_value()), 1U) << type << " " << node.child_value();
        }
    });
}

TEST_F(Description, LiesZippedWhereTheUrlSays)
{
    const Bytes url = host.read_bytes(0x0200, 512);
    const std::string text(url.begin(), std::find(url.begin(), url.end(), 0));
    unsigned location = 0;
    unsigned length = 0;
    ASSERT_EQ(std::sscanf(text.c_str(), "Local:softcam.zip;%x;%x", &location, &length), 2) << text;

    Bytes archive;
    while (archive.size() < length) {
        const auto left = static_cast<unsigned>(length - archive.size());
        const Bytes part =
            host.read_bytes(static_cast<std::uint32_t>(location + archive.size()), std::min(512U, (left + 3) / 4 * 4));
        ASSERT_FALSE(part.empty());
        archive.insert(archive.end(), part.begin(), part.end());
    }
    archive.resize(length);

    // the end record leads to the central directory, that to the one file
    const std::size_t end = length - 22;
    ASSERT_EQ(little(archive, end, 4), 0x06054B50U);
    EXPECT_EQ(little(archive, end + 10, 2), 1U);
    const std::size_t central = little(archive, end + 16, 4);
    EXPECT_EQ(central + little(archive, end + 12, 4), end);
    ASSERT_EQ(little(archive, central, 4), 0x02014B50U);
    const std::size_t local = little(archive, central + 42, 4);
    ASSERT_EQ(little(archive, local, 4), 0x04034B50U);
    EXPECT_EQ(little(archive, local + 8, 2), 8U) << "deflated";
    const std::size_t name_length = little(archive, local + 26, 2);
    EXPECT_EQ(std::string(archive.begin() + static_cast<long>(local + 30),
                          archive.begin() + static_cast<long>(local + 30 + name_length)),
              "softcam.xml");
    const std::size_t packed = little(archive, central + 20, 4);
    const std::size_t size = little(archive, central + 24, 4);
    EXPECT_LT(packed * 5, size);
    const std::string xml = inflated(archive, local + 30 + name_length, packed, size);
    EXPECT_EQ(xml, softcam::description_xml());
    EXPECT_EQ(crc32(0, reinterpret_cast<const Bytef*>(xml.data()), static_cast<uInt>(xml.size())),
              little(archive, central + 16, 4));
}

TEST_F(Description, EveryRegisterItDeclaresCanBeAccessedAsDeclared)
{
    pugi::xml_document document;
    const std::string xml = softcam::description_xml();
    ASSERT_TRUE(document.load_buffer(xml.data(), xml.size()));
    int registers = 0;
    visit(document, [&](const pugi::xml_node& node) {
        const auto address = node.child("Address");
        if (!address || node.child("pAddress") || std::string(node.child("pPort").child_value()) != "Device") {
            return;
        }
        ++registers;
        const auto location = static_cast<std::uint32_t>(std::stoul(address.child_value(), nullptr, 0));
        // a message holds no more of the larger ones
        const auto length = std::min(512U, static_cast<unsigned>(std::stoul(node.child("Length").child_value())));
        const std::string access = node.child("AccessMode").child_value();
        const Bytes answer = host.ask(read_memory(host.next_id(), location, length));
        const std::string what = node.attribute("Name").value() + (" at " + std::string(address.child_value()));
        EXPECT_EQ(status_of(answer), access == "WO" ? status::access_denied : status::success) << what;
        if (access == "RO") {
            const unsigned refused = host.write_bytes(location, Bytes(length));
            // a few bootstrap registers are written by others than their feature
            if (location >= 0xA000) {
                EXPECT_EQ(refused, status::write_protect) << what;
            }
        }
    });
    EXPECT_GT(registers, 60);
}
