// Devices that list their descriptions in a manifest table.
#include "sdk/description/manifest_choice.h"

#include <gtest/gtest.h>

#include "sdk/wire/bytes.h"
#include "tests/sdk/description/device_in_memory.h"

using namespace vex;

namespace {

struct Listed {
    std::uint32_t file_version = 0x01000000;  ///< 1.0.0
    std::uint32_t kind = 0x01010000;          ///< XML of schema 1.1
    std::uint64_t address = 0;
    std::uint64_t length = 0;
};

/// A description that says who it is.
std::string xml(const std::string& who) { return "<?xml version=\"1.0\"?><RegisterDescription who=\"" + who + "\"/>"; }

struct ManifestChoice : testing::Test {
    ManifestChoice()
    {
        device.has_manifest = true;
        device.put_file(0x0200, "first.xml", 0x20000, xml("first"));
    }

    void put_table(const std::vector<Listed>& entries) { put_table(entries, entries.size()); }
    void put_table(const std::vector<Listed>& entries, std::uint64_t count)
    {
        std::string table(8 + entries.size() * 64, '\0');
        auto* bytes = reinterpret_cast<std::uint8_t*>(table.data());
        wire::store_be64(bytes, count);
        for (const Listed& entry : entries) {
            std::uint8_t* const at = bytes + 8 + 64 * (&entry - entries.data());
            wire::store_be32(at, entry.file_version);
            wire::store_be32(at + 4, entry.kind);
            wire::store_be64(at + 8, entry.address);
            wire::store_be64(at + 16, entry.length);
        }
        device.put(0x9000, table);
    }
    /// A file of the device, and its entry.
    Listed file(const std::string& who, std::uint32_t kind = 0x01010000, std::uint32_t file_version = 0x01000000)
    {
        const std::string text = xml(who);
        next_ += 0x1000;
        device.put(next_, text);
        return {file_version, kind, next_, text.size()};
    }

    /// Who the description that is chosen says it is.
    std::string fetched()
    {
        description::Description description;
        const PvResult result = description::fetch_description(device.memory(), {}, description);
        EXPECT_TRUE(result.IsOK()) << result.description();
        const std::size_t begin = description.xml.find("who=\"") + 5;
        return description.xml.substr(begin, description.xml.find('"', begin) - begin);
    }

    description_test::DeviceInMemory device;

private:
    std::uint32_t next_ = 0x30000;
};

}  // namespace

TEST_F(ManifestChoice, NewestSchemaThatIsKnownIsTaken)
{
    put_table({file("1.0", 0x01000000, 0x09000000), file("1.1", 0x01010000), file("1.2", 0x01020000),
               file("2.0", 0x02000000), file("0.9", 0x00090000)});
    EXPECT_EQ(fetched(), "1.1");
}

TEST_F(ManifestChoice, NewestFileOfASchemaIsTaken)
{
    put_table({file("1.2.3", 0x01010000, 0x01020003), file("1.10.0", 0x01010000, 0x010A0000),
               file("again", 0x01010000, 0x010A0000), file("1.3.999", 0x01010000, 0x010303E7)});
    EXPECT_EQ(fetched(), "1.10.0") << "of equal ones the first";
}

TEST_F(ManifestChoice, FileThatCannotBeOneIsPassedOver)
{
    Listed beyond = file("beyond", 0x01010000, 0x02000000);
    beyond.address = 0x100000000;
    Listed endless = file("endless", 0x01010000, 0x02000000);
    endless.length = 0x01000001;
    Listed empty = file("empty", 0x01010000, 0x02000000);
    empty.length = 0;
    put_table({beyond, endless, empty, file("unknown format", 0x01010800, 0x02000000), file("sound")});
    EXPECT_EQ(fetched(), "sound");
}

TEST_F(ManifestChoice, UrlIsFollowedWhenTheTableIsNone)
{
    EXPECT_EQ(fetched(), "first") << "empty";
    for (const std::uint64_t count : {std::uint64_t{32}, std::uint64_t{0x0800000000000000}, ~std::uint64_t{0}}) {
        put_table({file("listed")}, count);
        EXPECT_EQ(fetched(), "first") << count;
    }
    put_table({file("2.0", 0x02000000)});
    EXPECT_EQ(fetched(), "first") << "nothing usable";
}

TEST_F(ManifestChoice, UrlIsFollowedWhenTheTableOrItsFileCannotBeRead)
{
    const Listed listed = file("listed");
    put_table({listed});
    EXPECT_EQ(fetched(), "listed");
    for (const std::uint64_t refused : {std::uint64_t{0x9000}, std::uint64_t{0x9008}, listed.address}) {
        device.refusals = {{refused, PvResult::GenericError}};
        EXPECT_EQ(fetched(), "first") << refused;
    }
    device.refusals.clear();
    device.put(listed.address, "PK\x03\x04 and no more");
    EXPECT_EQ(fetched(), "first");
}

TEST_F(ManifestChoice, SecondUrlIsTheLastResort)
{
    device.put(0x0200, std::string(512, '\0'));
    device.put_file(0x0400, "second.xml", 0x28000, xml("second"));
    EXPECT_EQ(fetched(), "second");
}

TEST_F(ManifestChoice, LostConnectionEndsTheSearch)
{
    device.refusals = {{0x9000, PvResult::NotConnected}};
    description::Description description;
    EXPECT_EQ(description::fetch_description(device.memory(), {}, description).GetCode(), PvResult::NotConnected);
    EXPECT_EQ(device.reads.size(), 1U);
}

TEST_F(ManifestChoice, DeviceWithoutATableIsNotAskedForOne)
{
    put_table({file("listed")});
    device.has_manifest = false;
    EXPECT_EQ(fetched(), "first");
    for (const auto& [address, length] : device.reads) {
        EXPECT_FALSE(address >= 0x9000 && address < 0x9800) << address;
    }
}
