// What a stream tells of the system that receives for it, shown with a receiver of the test's own.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/net/receive_backends.h"
#include "sdk/stream_core/stream_channel.h"
#include "tests/sdk/stream_core/packets.h"

using namespace vex;

namespace {

using packets::Bytes;
using packets::picture;

constexpr Ipv4Address camera{0x7F000028};
constexpr Ipv4Address host{0x7F000001};
constexpr std::uint32_t ample = 10'000;

/// What arrives, by the test's word.
struct Line {
    std::mutex mutex;
    std::condition_variable changed;
    std::deque<Bytes> packets;
    std::uint64_t dropped = 0;

    void arrive(Bytes packet)
    {
        {
            const std::lock_guard lock(mutex);
            packets.push_back(std::move(packet));
        }
        changed.notify_all();
    }
};

class LineReceiver final : public net::PacketReceiver {
public:
    explicit LineReceiver(std::shared_ptr<Line> line) : line_(std::move(line)) {}

    std::span<const net::Datagram> read(const net::Landing&) override
    {
        const std::lock_guard lock(line_->mutex);
        if (line_->packets.empty()) {
            return {};
        }
        packet_ = std::move(line_->packets.front());
        line_->packets.pop_front();
        datagram_ = {.data = packet_, .source = {camera, 20000}};
        return {&datagram_, 1};
    }
    bool wait(std::chrono::milliseconds timeout) override
    {
        std::unique_lock lock(line_->mutex);
        return line_->changed.wait_for(lock, timeout, [this] { return !line_->packets.empty(); });
    }
    bool drained() const noexcept override { return true; }
    std::optional<std::uint64_t> dropped_by_system() const noexcept override
    {
        const std::lock_guard lock(line_->mutex);
        return line_->dropped;
    }
    std::size_t buffer_bytes() const noexcept override { return 4096; }

private:
    std::shared_ptr<Line> line_;
    Bytes packet_;
    net::Datagram datagram_;
};

class LineBackend final : public net::ReceiveBackend {
public:
    explicit LineBackend(std::shared_ptr<Line> line) : line_(std::move(line)) {}

    std::string_view name() const noexcept override { return "line"; }
    bool privileged() const noexcept override { return false; }
    bool serves(const net::ReceivePath&) const noexcept override { return true; }
    std::unique_ptr<net::PacketReceiver> create(const net::ReceiverOptions&) const override
    {
        return std::make_unique<LineReceiver>(line_);
    }

private:
    std::shared_ptr<Line> line_;
};

class ChannelFacts : public testing::Test {
protected:
    void SetUp() override { ASSERT_TRUE(channel.open({.device = camera, .local = host}).IsOK()); }

    void fail_a_block()
    {
        ASSERT_TRUE(channel.queue(&buffer).IsOK());
        std::vector<Bytes> block = packets::image_block({.id = 1}, {}, picture(64, 1), 20, 1);
        block[1] = packets::header({.id = 1}, 8, 1);
        for (Bytes& packet : block) {
            line->arrive(std::move(packet));
        }
        PvBuffer* retrieved = nullptr;
        PvResult operation_result;
        ASSERT_TRUE(channel.retrieve(retrieved, operation_result, ample).IsOK());
        ASSERT_EQ(operation_result.GetCode(), PvResult::InvalidDataFormat);
    }

    std::shared_ptr<Line> line = std::make_shared<Line>();
    net::AddedBackend added{std::make_shared<LineBackend>(line)};
    stream::StreamChannel channel;
    PvBuffer buffer;
};

TEST_F(ChannelFacts, TellTheSystemsBufferAndItsDropsAlsoAfterClose)
{
    line->dropped = 7;
    EXPECT_EQ(channel.system_facts().buffer_bytes, 4096U);
    EXPECT_EQ(channel.system_facts().dropped, 7U);
    channel.close();
    line->dropped = 8;
    EXPECT_EQ(channel.system_facts().buffer_bytes, 4096U);
    EXPECT_EQ(channel.system_facts().dropped, 7U);
}

TEST_F(ChannelFacts, TheLastErrorTellsOfPacketsThatTheSystemThrewAway)
{
    EXPECT_TRUE(channel.last_error().IsOK());
    line->dropped = 7;
    EXPECT_TRUE(channel.last_error().IsOK()) << "no block failed";
    fail_a_block();
    EXPECT_EQ(channel.last_error().GetCode(), PvResult::InvalidDataFormat);
    const std::string text(channel.last_error().description());
    EXPECT_NE(text.find("7 packets"), std::string::npos) << text;
    EXPECT_NE(text.find("4096 bytes"), std::string::npos) << text;
    EXPECT_NE(text.find("Block 1"), std::string::npos) << "the block's own text";
    EXPECT_EQ(channel.last_error(true, false).description(), text);
    channel.reset_statistics();
    EXPECT_TRUE(channel.last_error().IsOK());
}

TEST_F(ChannelFacts, TheLastErrorIsPlainWhenNothingWasThrownAway)
{
    fail_a_block();
    const std::string text(channel.last_error().description());
    EXPECT_EQ(text.find("threw"), std::string::npos) << text;
    EXPECT_NE(text.find("Block 1"), std::string::npos) << text;
}

TEST_F(ChannelFacts, ATimeoutTellsThatPacketsComeButNoBlockEnds)
{
    ASSERT_TRUE(channel.queue(&buffer).IsOK());
    line->arrive(packets::image_leader({.id = 1}, {}, 1));
    PvBuffer* retrieved = nullptr;
    PvResult result;
    for (int i = 0; i < 100 && channel.statistics().counters.blocks_begun == 0; ++i) {
        channel.retrieve(retrieved, result, 20);
    }
    channel.retrieve(retrieved, result, 1);
    EXPECT_EQ(result.description(), "No block was completed within 1 ms: packets have come, but no block has ended");
}

}  // namespace
