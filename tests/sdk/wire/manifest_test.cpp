// The manifest table. The bytes are literal.
#include "sdk/wire/manifest.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

using namespace vex;

namespace {

namespace manifest = wire::manifest;

using EntryBytes = std::array<std::uint8_t, manifest::entry_size>;

/// A ZIP file of 0x1234 bytes at 0x00A00000: file version 3.7.300, schema 1.1.
EntryBytes entry()
{
    constexpr std::array<std::uint8_t, 24> head = {3, 7,    0x01, 0x2C, 1, 1, 0x04, 0, 0, 0, 0,    0,
                                                   0, 0xA0, 0,    0,    0, 0, 0,    0, 0, 0, 0x12, 0x34};
    EntryBytes bytes{};
    std::ranges::copy(head, bytes.begin());
    return bytes;
}

std::array<std::uint8_t, manifest::count_size> count(std::uint8_t number) { return {0, 0, 0, 0, 0, 0, 0, number}; }

}  // namespace

TEST(Manifest, EntryIsRead)
{
    const auto read = manifest::decode_entry(entry());
    ASSERT_TRUE(read);
    EXPECT_EQ(read->file, (manifest::Version{3, 7, 300}));
    EXPECT_EQ(read->schema, (manifest::Version{1, 1, 0}));
    EXPECT_EQ(read->format, manifest::Format::zip);
    EXPECT_EQ(read->address, 0x00A00000U);
    EXPECT_EQ(read->length, 0x1234U);
    EntryBytes again{};
    manifest::encode_entry(*read, again);
    EXPECT_EQ(again, entry());
}

TEST(Manifest, EntryThatNoFileCanHaveIsNone)
{
    struct Case {
        std::size_t at;
        std::uint8_t byte;
        const char* what;
    };
    for (const Case& c : {Case{6, 0x08, "an unknown format"}, Case{8, 1, "an address beyond 32 bits"},
                          Case{11, 1, "an address just beyond 32 bits"}, Case{16, 0x80, "a length beyond 32 bits"}}) {
        EntryBytes bytes = entry();
        bytes[c.at] = c.byte;
        EXPECT_FALSE(manifest::decode_entry(bytes)) << c.what;
    }
    EntryBytes empty = entry();
    empty[22] = empty[23] = 0;
    EXPECT_FALSE(manifest::decode_entry(empty));
    EXPECT_FALSE(manifest::decode_entry(EntryBytes{}));
    EntryBytes last = entry();
    last[12] = last[13] = last[14] = 0xFF;
    last[22] = 1;
    last[23] = 0;
    EXPECT_TRUE(manifest::decode_entry(last)) << "up to the last byte there is";
    last[23] = 1;
    EXPECT_FALSE(manifest::decode_entry(last)) << "and one beyond";
}

TEST(Manifest, CountIsWhatATableCanHave)
{
    EXPECT_EQ(manifest::most_entries, 31U);
    EXPECT_EQ(manifest::decode_count(count(1)), 1U);
    EXPECT_EQ(manifest::decode_count(count(31)), 31U);
    EXPECT_FALSE(manifest::decode_count(count(0)));
    EXPECT_FALSE(manifest::decode_count(count(32)));
    auto large = count(1);
    large[0] = 0x80;
    EXPECT_FALSE(manifest::decode_count(large));
    std::array<std::uint8_t, manifest::count_size> encoded{};
    manifest::encode_count(7, encoded);
    EXPECT_EQ(encoded, count(7));
}

TEST(Manifest, LongEntryMayLieBeyond32Bits)
{
    EntryBytes far = entry();
    far[8] = 0x01;
    EXPECT_FALSE(manifest::decode_entry(far));
    const auto read = manifest::decode_long_entry(far);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->address, 0x0100000000A00000U);
    EXPECT_EQ(read->length, 0x1234U);
    EXPECT_EQ(read->file, (manifest::Version{3, 7, 300}));
    far[16] = 0xFF;
    EXPECT_FALSE(manifest::decode_long_entry(far)) << "it goes beyond the last address";
}
