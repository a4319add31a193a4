// The order of blocks: wraps, gaps, restarts and what is late.
#include "sdk/stream_core/block_numbering.h"

#include <gtest/gtest.h>

#include <chrono>

using namespace vex;

namespace {

using namespace std::chrono_literals;
using wire::gvsp::Header;
using wire::gvsp::Leader;

class BlockNumbering : public testing::Test {
protected:
    static Header standard(std::uint64_t id) { return header(id, false); }
    static Header extended(std::uint64_t id) { return header(id, true); }
    static Leader leader(std::uint64_t timestamp)
    {
        Leader leader;
        leader.timestamp = timestamp;
        return leader;
    }

    /// Begins and ends the block at once, with a leader of that timestamp; returns how many before it are missing.
    std::uint64_t pass_block(const Header& header, std::uint64_t timestamp = 0)
    {
        const std::int64_t order =
            numbering.has_begun() ? numbering.order_of(header).value() : numbering.begin(header, now);
        numbering.note_begin(order, header.block_id);
        return numbering.note_end(order, {.leader_seen = true, .timestamp = timestamp, .at = now});
    }
    [[nodiscard]] bool is_new_beginning(const Header& header, const Leader* leader = nullptr) const
    {
        return numbering.is_new_beginning(numbering.order_of(header).value(), header, leader, now);
    }

    stream::BlockNumbering numbering;
    static constexpr auto latest = stream::BlockNumbering::latest;
    net::Clock::time_point now{100s};

private:
    static Header header(std::uint64_t id, bool extended_ids)
    {
        Header header;
        header.block_id = id;
        header.extended_ids = extended_ids;
        return header;
    }
};

TEST_F(BlockNumbering, BeginsWithAnyId)
{
    EXPECT_FALSE(numbering.has_begun());
    const std::int64_t first = numbering.begin(standard(4711), now);
    EXPECT_TRUE(numbering.has_begun());
    EXPECT_FALSE(numbering.extended_ids());
    EXPECT_EQ(numbering.order_of(standard(4711)), first);
    EXPECT_FALSE(numbering.has_ended(first));
    EXPECT_TRUE(numbering.has_ended(first - 1));
}

TEST_F(BlockNumbering, FollowsTheDistanceToTheNewestBlock)
{
    const std::int64_t first = numbering.begin(standard(10), now);
    EXPECT_EQ(numbering.order_of(standard(12)), first + 2);
    EXPECT_EQ(numbering.order_of(standard(9)), first - 1);
    numbering.note_begin(first + 2, 12);
    EXPECT_EQ(numbering.order_of(standard(11)), first + 1);
    numbering.note_begin(first + 1, 11);
    EXPECT_EQ(numbering.order_of(standard(12)), first + 2);
    numbering.forget();
    EXPECT_GT(numbering.begin(standard(1), now), first + 2) << "an older block does not become the newest";
}

TEST_F(BlockNumbering, WrapsStandardIdsOnly)
{
    std::int64_t first = numbering.begin(standard(65534), now);
    EXPECT_EQ(numbering.order_of(standard(65535)), first + 1);
    EXPECT_EQ(numbering.order_of(standard(1)), first + 2);
    EXPECT_EQ(numbering.order_of(standard(32766)), first + 32767);
    EXPECT_EQ(numbering.order_of(standard(32767)), first - 32767);
    numbering.forget();
    first = numbering.begin(extended(65535), now);
    EXPECT_EQ(numbering.order_of(extended(65536)), first + 1);
    EXPECT_EQ(numbering.order_of(extended(1)), first - 65534);
}

TEST_F(BlockNumbering, GoesOnForCycles)
{
    const std::int64_t first = numbering.begin(standard(1), now);
    std::uint64_t id = 1;
    for (std::int64_t i = 0; i < 3 * 65535; ++i) {
        const auto order = numbering.order_of(standard(id));
        ASSERT_EQ(order, first + i);
        numbering.note_begin(*order, id);
        ASSERT_EQ(numbering.note_end(*order, {.at = now}), 0U);
        id = wire::gvsp::next_block_id(id, false);
    }
}

TEST_F(BlockNumbering, AnotherFormOrAVeryLongGapIsAnotherNumbering)
{
    const std::uint64_t base = 0x123456789ABC;
    const std::int64_t first = numbering.begin(extended(base), now);
    constexpr std::uint64_t longest = std::uint64_t{1} << 31;
    EXPECT_EQ(numbering.order_of(extended(base + longest)), first + static_cast<std::int64_t>(longest));
    EXPECT_EQ(numbering.order_of(extended(base - longest)), first - static_cast<std::int64_t>(longest));
    EXPECT_FALSE(numbering.order_of(extended(base + longest + 1)));
    EXPECT_FALSE(numbering.order_of(extended(base - longest - 1)));
    EXPECT_FALSE(numbering.order_of(standard(base & 0xFFFF)));
}

TEST_F(BlockNumbering, CountsBlocksOfWhichNothingCame)
{
    EXPECT_EQ(pass_block(standard(10)), 0U);
    EXPECT_EQ(pass_block(standard(11)), 0U);
    EXPECT_EQ(pass_block(standard(15)), 3U);
    EXPECT_TRUE(numbering.has_ended(numbering.order_of(standard(13)).value()));
    EXPECT_EQ(pass_block(standard(1015)), 999U) << "more than are remembered";
    EXPECT_FALSE(numbering.has_ended(numbering.order_of(standard(1016)).value()));
}

TEST_F(BlockNumbering, ALeaderOfAnEndedBlockIsLateWithItsTimestampAndANewBeginningWithAnother)
{
    pass_block(standard(1), 11);
    pass_block(standard(2), 12);
    const Leader same = leader(11);
    const Leader other = leader(12);
    EXPECT_FALSE(is_new_beginning(standard(1), &same));
    EXPECT_TRUE(is_new_beginning(standard(1), &other));
    EXPECT_FALSE(is_new_beginning(standard(3), &other)) << "has not ended";
}

TEST_F(BlockNumbering, ALeaderOfABlockWhoseLeaderWasLostIsLate)
{
    const std::int64_t order = numbering.begin(standard(1), now);
    numbering.note_end(order, {.leader_seen = false, .at = now});
    pass_block(standard(3), 13);
    const Leader leader = BlockNumbering::leader(99);
    EXPECT_FALSE(is_new_beginning(standard(1), &leader));
    EXPECT_FALSE(is_new_beginning(standard(2), &leader)) << "nothing came of it";
}

TEST_F(BlockNumbering, TimeTellsANewBeginning)
{
    pass_block(standard(1), 0);
    const Leader leader = BlockNumbering::leader(0);
    now += latest;
    EXPECT_FALSE(is_new_beginning(standard(1), &leader)) << "a device without a clock";
    EXPECT_FALSE(is_new_beginning(standard(1)));
    now += 1us;
    EXPECT_TRUE(is_new_beginning(standard(1), &leader));
    EXPECT_TRUE(is_new_beginning(standard(1)));
}

TEST_F(BlockNumbering, ALeaderWithTheTimestampOfItsBlockIsLateHoweverLate)
{
    pass_block(standard(1), 11);
    const Leader same = leader(11);
    now += 10 * latest;
    EXPECT_FALSE(is_new_beginning(standard(1), &same));
}

TEST_F(BlockNumbering, APacketMarkedAsSentAgainIsNoNewBeginning)
{
    for (std::uint64_t id = 1; id <= 200; ++id) {
        pass_block(standard(id), id);
    }
    Header resent = standard(199);
    resent.status = wire::gvsp::Status::packet_resend;
    const Leader another = leader(1000);
    now += 10 * latest;
    EXPECT_FALSE(is_new_beginning(resent, &another));
    EXPECT_FALSE(is_new_beginning(resent));
    resent.block_id = 3;
    EXPECT_FALSE(is_new_beginning(resent)) << "ended long ago by count";
}

TEST_F(BlockNumbering, ZeroIsAnIdOfADeviceThatCountsThroughIt)
{
    const Header zero = standard(0);
    EXPECT_FALSE(numbering.can_be_id(zero));
    pass_block(standard(100));
    EXPECT_FALSE(numbering.can_be_id(zero));
    for (const std::uint64_t id : {30000U, 60000U, 65535U}) {
        pass_block(standard(id));
    }
    ASSERT_TRUE(numbering.can_be_id(zero));
    EXPECT_EQ(pass_block(zero), 0U);
    EXPECT_EQ(pass_block(standard(1)), 0U);
    pass_block(standard(30000));
    pass_block(standard(60000));
    EXPECT_EQ(pass_block(standard(1)), 5536U) << "0 is one of them";
    EXPECT_FALSE(numbering.can_be_id(extended(0)));
}

TEST_F(BlockNumbering, ZeroIsSkippedByOtherDevices)
{
    pass_block(standard(65534));
    EXPECT_EQ(pass_block(standard(1)), 1U) << "65535";
}

TEST_F(BlockNumbering, BlocksFromBeforeTheFirstEndedWhenNumberingBegan)
{
    numbering.begin(standard(50), now);
    now += latest;
    EXPECT_FALSE(is_new_beginning(standard(40)));
    now += 1us;
    EXPECT_TRUE(is_new_beginning(standard(40)));
}

TEST_F(BlockNumbering, ABlockThatEndedLongAgoByCountIsANewBeginning)
{
    for (std::uint64_t id = 1; id <= 200; ++id) {
        pass_block(standard(id), id);
    }
    EXPECT_FALSE(is_new_beginning(standard(101)));
    EXPECT_TRUE(is_new_beginning(standard(100)));
}

TEST_F(BlockNumbering, ForgettingLetsOrdersGoOnAscending)
{
    const std::int64_t first = numbering.begin(standard(7), now);
    numbering.note_begin(first + 1, 8);
    numbering.forget();
    EXPECT_FALSE(numbering.has_begun());
    EXPECT_TRUE(numbering.has_ended(first + 1));
    const std::int64_t next = numbering.begin(extended(7), now);
    EXPECT_GT(next, first + 1);
    EXPECT_TRUE(numbering.extended_ids());
    EXPECT_EQ(numbering.note_end(next, {.at = now}), 0U) << "nothing is missing between two numberings";
}

}  // namespace
