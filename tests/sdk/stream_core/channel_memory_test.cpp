// Who gives a stream's buffers their memory, and when.
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <memory>
#include <vector>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/stream_core/stream_channel.h"
#include "tests/sdk/control/counting_new.h"
#include "tests/sdk/stream_core/line_backend.h"
#include "tests/sdk/stream_core/stream_fixture.h"

using namespace vex;

namespace {

using device_test::AllocationCount;
using packets::picture;
using stream_test::ample;
using stream_test::await;
using stream_test::Bytes;
using stream_test::camera;
using stream_test::host;

constexpr std::uint32_t image_bytes = 4096;

class ChannelMemory : public testing::Test {
protected:
    void SetUp() override
    {
        line->on_read = [this] {
            allocated = AllocationCount::of_this_thread();
            ++reads;
        };
        ASSERT_TRUE(channel.open({.device = camera, .local = host}).IsOK());
    }
    /// Has a block fill the buffer that is queued first.
    void take_block(std::uint32_t size = image_bytes)
    {
        ++id;
        line->arrive(packets::image_block({.id = id}, {.width = size, .height = 1}, picture(size, id), 500, id));
        PvBuffer* retrieved = nullptr;
        PvResult operation;
        ASSERT_TRUE(channel.retrieve(retrieved, operation, ample).IsOK());
        ASSERT_TRUE(operation.IsOK()) << operation.description();
        EXPECT_EQ(Bytes(retrieved->GetDataPointer(), retrieved->GetDataPointer() + size), picture(size, id));
    }
    void queue(PvBuffer& buffer) { ASSERT_TRUE(channel.queue(&buffer).IsOK()); }
    /// What the receive thread has allocated so far, when it waits for packets again.
    [[nodiscard]] int allocated_by_receiving()
    {
        const int before = reads;
        await([&] { return reads > before + 1; });
        EXPECT_GT(reads, before + 1);
        return allocated;
    }

    std::atomic<int> allocated{0};
    std::atomic<int> reads{0};
    std::uint64_t id = 0;
    std::array<PvBuffer, 3> buffers;
    std::shared_ptr<stream_test::Line> line = std::make_shared<stream_test::Line>(camera);
    net::AddedBackend added{std::make_shared<stream_test::LineBackend>(line)};
    stream::StreamChannel channel;
};

TEST_F(ChannelMemory, ABufferIsMadeAsLargeAsTheLargestBlockWhenItIsQueued)
{
    queue(buffers[0]);
    EXPECT_EQ(buffers[0].GetSize(), 0U) << "nothing is known yet";
    take_block();
    queue(buffers[0]);
    take_block(1000);
    ASSERT_TRUE(buffers[1].Alloc(2000).IsOK());
    for (PvBuffer& buffer : buffers) {
        queue(buffer);
        EXPECT_EQ(buffer.GetSize(), image_bytes);
    }
}

TEST_F(ChannelMemory, AttachedMemoryIsLeftAlone)
{
    queue(buffers[0]);
    take_block();
    std::vector<std::uint8_t> memory(100, 0xEE);
    ASSERT_TRUE(buffers[1].Attach(memory.data(), 100).IsOK());
    queue(buffers[1]);
    EXPECT_EQ(buffers[1].GetDataPointer(), memory.data());
    EXPECT_EQ(buffers[1].GetSize(), 100U);
    EXPECT_EQ(memory, std::vector<std::uint8_t>(100, 0xEE));
}

TEST_F(ChannelMemory, ABlockThatDidNotComeWholeMakesNoBufferLarge)
{
    queue(buffers[0]);
    // what it says of its size may be wrong
    line->arrive(packets::image_leader({.id = 1}, {.width = 100'000, .height = 100}, 1));
    line->arrive(packets::payload({.id = 1}, 1, Bytes(500)));
    await([this] { return channel.statistics().counters.stored_bytes == 500; });
    ASSERT_TRUE(channel.abort().IsOK());
    queue(buffers[1]);
    EXPECT_EQ(buffers[1].GetSize(), 0U);
}

TEST_F(ChannelMemory, AnotherOpeningBeginsAnew)
{
    queue(buffers[0]);
    take_block();
    channel.close();
    ASSERT_TRUE(channel.open({.device = camera, .local = host}).IsOK());
    queue(buffers[1]);
    EXPECT_EQ(buffers[1].GetSize(), 0U);
}

TEST_F(ChannelMemory, TheReceiveThreadAllocatesForTheFirstBlocksOnly)
{
    if (!AllocationCount::is_possible()) {
        GTEST_SKIP() << "the sanitizer allocates";
    }
    const int at_first = allocated_by_receiving();
    queue(buffers[0]);
    take_block();
    const int after_one = allocated_by_receiving();
    EXPECT_GT(after_one, at_first) << "what is counted";
    queue(buffers[1]);
    take_block();
    const int before = allocated_by_receiving();
    queue(buffers[2]);  // without memory until now
    take_block();
    EXPECT_EQ(allocated_by_receiving(), before);
}

}  // namespace
