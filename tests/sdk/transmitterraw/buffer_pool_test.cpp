#include "sdk/transmitterraw/buffer_pool.h"

#include <gtest/gtest.h>

#include <array>
#include <optional>

#include "sdk/buffer/PvBuffer.h"

using vex::transmitter::BufferPool;

TEST(BufferPool, GivesTheOneThatIsFreeForTheLongestTime)
{
    std::array<PvBuffer, 3> buffers;
    BufferPool pool;
    EXPECT_TRUE(pool.empty());
    ASSERT_TRUE(pool.load(std::array{&buffers[0], &buffers[1], &buffers[2]}).IsOK());
    EXPECT_EQ(pool.take(), &buffers[0]);
    pool.use(buffers[1]);
    pool.make_free(buffers[0]);
    EXPECT_EQ(pool.take(), &buffers[2]);
    EXPECT_EQ(pool.take(), &buffers[0]);
    EXPECT_FALSE(pool.has_free());
    EXPECT_EQ(pool.take(), nullptr);
    EXPECT_FALSE(pool.empty());
}

TEST(BufferPool, WhoIsUsedBecomesAMemberAndAStrangerDoesNot)
{
    PvBuffer used;
    PvBuffer stranger;
    BufferPool pool;
    pool.use(used);
    pool.make_free(used);
    pool.make_free(stranger);
    EXPECT_EQ(pool.take(), &used);
    EXPECT_EQ(pool.take(), nullptr);
    pool.remove(used);
    pool.make_free(used);
    EXPECT_EQ(pool.take(), nullptr);
}

TEST(BufferPool, ADestroyedBufferIsNeitherFreeNorAMember)
{
    std::optional<PvBuffer> buffer(std::in_place);
    BufferPool pool;
    ASSERT_TRUE(pool.load(std::array{&*buffer}).IsOK());
    EXPECT_TRUE(pool.has_free());
    buffer.reset();
    EXPECT_FALSE(pool.has_free());
    EXPECT_EQ(pool.take(), nullptr);
    EXPECT_TRUE(pool.empty());
}

TEST(BufferPool, AnotherBufferAtTheAddressOfADestroyedOneIsAnotherOne)
{
    std::optional<PvBuffer> buffer(std::in_place);
    BufferPool pool;
    ASSERT_TRUE(pool.load(std::array{&*buffer}).IsOK());
    buffer.reset();
    buffer.emplace();
    EXPECT_FALSE(pool.has_free()) << "the new one was never loaded";
    pool.use(*buffer);
    pool.make_free(*buffer);
    EXPECT_EQ(pool.take(), &*buffer);
    EXPECT_EQ(pool.take(), nullptr);
}

TEST(BufferPool, AnImproperListChangesNothing)
{
    PvBuffer member;
    PvBuffer other;
    BufferPool pool;
    ASSERT_TRUE(pool.load(std::array{&member}).IsOK());
    EXPECT_EQ(pool.load(std::array{&other, &other}).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(pool.load(std::array<PvBuffer*, 1>{nullptr}).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(pool.take(), &member);
}
