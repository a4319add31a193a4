// Telling joined datagrams apart, with control data made by hand.
#include "sdk/net/coalesced.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <vector>

using namespace vex;

namespace {

using net::ControlKind;
using net::Datagram;
using Bytes = std::vector<std::uint8_t>;

constexpr ControlKind wanted{17, 3};
constexpr Endpoint sender{{0x0A000001}, 20202};

/// A control message as both systems lay it out on 64 bits; `length` other than 0 lies about its length.
Bytes control_message(ControlKind kind, const Bytes& data, std::uint64_t length = 0)
{
    const std::uint64_t told = length != 0 ? length : 16 + data.size();
    Bytes message(16);
    std::memcpy(message.data(), &told, 8);
    std::memcpy(message.data() + 8, &kind.level, 4);
    std::memcpy(message.data() + 12, &kind.type, 4);
    message.insert(message.end(), data.begin(), data.end());
    message.resize((message.size() + 7) / 8 * 8);
    return message;
}

Bytes joined(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes& part : parts) {
        all.insert(all.end(), part.begin(), part.end());
    }
    return all;
}

Bytes little_endian(std::uint32_t value)
{
    Bytes bytes(4);
    std::memcpy(bytes.data(), &value, 4);
    return bytes;
}

TEST(NumberInControl, IsThatOfTheKindAskedFor)
{
    EXPECT_EQ(net::number_in_control(control_message(wanted, little_endian(1472)), wanted), 1472U);
    const Bytes chain = joined({control_message({17, 4}, little_endian(1)), control_message({18, 3}, little_endian(2)),
                                control_message({0, 0}, {}), control_message({1, 2}, {1, 2, 3}),
                                control_message(wanted, little_endian(70'000))});
    EXPECT_EQ(net::number_in_control(chain, wanted), 70'000U);
    EXPECT_EQ(net::number_in_control(chain, {17, 4}), 1U);
    EXPECT_EQ(net::number_in_control(chain, {17, 5}), 0U);
}

TEST(NumberInControl, MayBeShorterOrLongerThanFourBytes)
{
    EXPECT_EQ(net::number_in_control(control_message(wanted, {0xC0, 0x05}), wanted), 1472U);
    EXPECT_EQ(net::number_in_control(control_message(wanted, {9, 0, 0, 0, 7, 7, 7, 7}), wanted), 9U);
    EXPECT_EQ(net::number_in_control(control_message(wanted, {}), wanted), 0U);
}

TEST(NumberInControl, IsNoneInDamagedChains)
{
    EXPECT_EQ(net::number_in_control({}, wanted), 0U);
    EXPECT_EQ(net::number_in_control(Bytes(15), wanted), 0U);
    const Bytes good = control_message(wanted, little_endian(5));
    // lengths of less than a header, of more than there is, and near the end of what a length can be
    for (const std::uint64_t length : {1ULL, 15ULL, 25ULL, 1000ULL, ~0ULL, ~0ULL - 6}) {
        const Bytes bad = control_message({1, 1}, little_endian(1), length);
        EXPECT_EQ(net::number_in_control(joined({bad, good}), wanted), 0U) << length;
    }
    // the last message need not be filled up
    EXPECT_EQ(net::number_in_control(std::span(good).first(20), wanted), 5U);
    EXPECT_EQ(net::number_in_control(std::span(good).first(19), wanted), 0U);
}

class SplitBlock : public testing::Test {
protected:
    /// The lengths of the datagrams, which must follow each other from the block's begin.
    std::vector<std::size_t> split(std::size_t size, std::size_t segment, std::size_t largest = 9000)
    {
        block.resize(size);
        std::iota(block.begin(), block.end(), std::uint8_t{0});
        datagrams.clear();
        net::split_block(block, segment, sender, largest, datagrams);
        std::vector<std::size_t> lengths;
        for (const Datagram& one : datagrams) {
            EXPECT_EQ(one.source, sender);
            lengths.push_back(one.data.size());
        }
        return lengths;
    }

    SplitBlock() { datagrams.reserve(10); }

    using Lengths = std::vector<std::size_t>;
    Bytes block;
    std::vector<Datagram> datagrams;
};

TEST_F(SplitBlock, CutsIntoEqualDatagramsAndARest)
{
    EXPECT_EQ(split(3000, 1000), (Lengths{1000, 1000, 1000}));
    EXPECT_EQ(split(2500, 1000), (Lengths{1000, 1000, 500}));
    for (std::size_t i = 0; i < datagrams.size(); ++i) {
        EXPECT_EQ(datagrams[i].data.data(), block.data() + i * 1000);
    }
    EXPECT_EQ(split(2001, 1000), (Lengths{1000, 1000, 1}));
    EXPECT_EQ(split(3, 1), (Lengths{1, 1, 1}));
}

TEST_F(SplitBlock, LeavesASingleDatagramWhole)
{
    EXPECT_EQ(split(1472, 0), (Lengths{1472}));
    EXPECT_EQ(split(1472, 1472), (Lengths{1472}));
    EXPECT_EQ(split(100, 1472), (Lengths{100}));
    EXPECT_EQ(split(0, 0), (Lengths{0}));
    EXPECT_EQ(split(0, 1472), (Lengths{0}));
}

TEST_F(SplitBlock, LeavesOutWhatIsTooLong)
{
    EXPECT_EQ(split(2500, 1000, 999), (Lengths{500}));
    EXPECT_EQ(split(2500, 1000, 1000), (Lengths{1000, 1000, 500}));
    EXPECT_EQ(split(1473, 0, 1472), (Lengths{}));
}

TEST_F(SplitBlock, NeverGrowsTheList)
{
    const Datagram* const memory = datagrams.data();
    const std::size_t room = datagrams.capacity();
    EXPECT_EQ(split(100, 1).size(), room);
    EXPECT_EQ(datagrams.data(), memory);
}

}  // namespace
