// The chunks of a buffer that an acquisition filled.
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "sdk/buffer/acquisition.h"

using namespace vex;

namespace {

using Bytes = std::vector<std::uint8_t>;

void append_chunk(Bytes& area, std::uint32_t id, const Bytes& data)
{
    area.insert(area.end(), data.begin(), data.end());
    for (const std::uint32_t word : {id, static_cast<std::uint32_t>(data.size())}) {
        for (int shift = 24; shift >= 0; shift -= 8) {
            area.push_back(static_cast<std::uint8_t>(word >> shift));
        }
    }
}

/// A buffer of a block of 4 bytes of image and the area behind them.
struct Received {
    explicit Received(const Bytes& area, std::uint32_t layout = 7)
    {
        EXPECT_TRUE(acquisition::begin(buffer, {.payload_size = 4 + area.size()}).IsOK());
        EXPECT_TRUE(acquisition::write(buffer, 4, area));
        acquisition::BlockEnd end;
        end.acquired_size = 4 + area.size();
        end.chunks = acquisition::memory(buffer).subspan(4, area.size());
        end.chunk_layout_id = layout;
        acquisition::finish(buffer, end);
    }

    [[nodiscard]] std::pair<std::uint32_t, Bytes> chunk(std::uint32_t index) const
    {
        std::uint32_t id = 0;
        const std::uint8_t* data = nullptr;
        std::uint32_t size = 0;
        EXPECT_TRUE(buffer.GetChunk(index, id, data, size).IsOK());
        return {id, Bytes(data, data + size)};
    }

    PvBuffer buffer;
};

Bytes three_chunks()
{
    Bytes area;
    append_chunk(area, 0xA1, {1, 2, 3});
    append_chunk(area, 0xF00000B2, {});
    append_chunk(area, 0xA1, {9});
    return area;
}

TEST(BufferChunks, AreListedInTheirOrder)
{
    const Received received(three_chunks());
    EXPECT_EQ(received.buffer.GetChunkCount(), 3U);
    EXPECT_EQ(received.buffer.GetChunkLayoutID(), 7U);
    EXPECT_EQ(received.chunk(0), (std::pair<std::uint32_t, Bytes>{0xA1, {1, 2, 3}}));
    EXPECT_EQ(received.chunk(1), (std::pair<std::uint32_t, Bytes>{0xF00000B2, {}}));
    EXPECT_EQ(received.chunk(2), (std::pair<std::uint32_t, Bytes>{0xA1, {9}}));
}

TEST(BufferChunks, AreFoundByTheirIdTheLastOneFirst)
{
    const Received received(three_chunks());
    const std::uint8_t* data = nullptr;
    std::uint32_t size = 77;
    ASSERT_TRUE(received.buffer.FindChunk(0xA1, data, size).IsOK());
    EXPECT_EQ(Bytes(data, data + size), Bytes{9});
    ASSERT_TRUE(received.buffer.FindChunk(0xF00000B2, data, size).IsOK());
    EXPECT_EQ(size, 0U);
}

TEST(BufferChunks, ThatAreNotThereAreNotFoundAndLeaveTheOutputsAlone)
{
    const Received received(three_chunks());
    std::uint32_t id = 5;
    const std::uint8_t* data = nullptr;
    std::uint32_t size = 6;
    const PvResult beyond = received.buffer.GetChunk(3, id, data, size);
    EXPECT_EQ(beyond.GetCode(), PvResult::NotFound);
    EXPECT_EQ(beyond.description(), "There is no chunk 3; the buffer has 3");
    EXPECT_EQ(received.buffer.FindChunk(5, data, size).GetCode(), PvResult::NotFound);
    EXPECT_EQ(id, 5U);
    EXPECT_EQ(data, nullptr);
    EXPECT_EQ(size, 6U);
}

TEST(BufferChunks, DamagedOnesAreNone)
{
    Bytes area = three_chunks();
    area[area.size() - 1] = 200;
    EXPECT_EQ(Received(area).buffer.GetChunkCount(), 0U);
    // damage further in front makes the rest doubtful, too
    area = three_chunks();
    area[10] = 4;
    EXPECT_EQ(Received(area).buffer.GetChunkCount(), 0U);
    EXPECT_EQ(Received({}).buffer.GetChunkCount(), 0U);
}

TEST(BufferChunks, GoWithTheMemoryTheyLieIn)
{
    const auto gone_after = [](auto&& change) {
        Received received(three_chunks());
        EXPECT_EQ(received.buffer.GetChunkCount(), 3U);
        change(received.buffer);
        return received.buffer.GetChunkCount() == 0 && received.buffer.GetChunkLayoutID() == 0;
    };
    Bytes own(100);
    EXPECT_TRUE(gone_after([](PvBuffer& buffer) { buffer.Free(); }));
    EXPECT_TRUE(gone_after([](PvBuffer& buffer) { EXPECT_TRUE(buffer.Alloc(buffer.GetSize()).IsOK()); }));
    EXPECT_TRUE(gone_after([](PvBuffer& buffer) { EXPECT_TRUE(buffer.Alloc(10).IsOK()); }));
    EXPECT_TRUE(gone_after([&](PvBuffer& buffer) { EXPECT_TRUE(buffer.Attach(own.data(), 100).IsOK()); }));
    EXPECT_TRUE(gone_after([](PvBuffer& buffer) { buffer.Detach(); }));
    EXPECT_TRUE(gone_after([](PvBuffer& buffer) { EXPECT_TRUE(buffer.Reset().IsOK()); }));
    EXPECT_TRUE(gone_after([](PvBuffer& buffer) { EXPECT_TRUE(acquisition::begin(buffer, {}).IsOK()); }));
    EXPECT_TRUE(gone_after([](PvBuffer& buffer) { acquisition::finish(buffer, {}); }));
    // another image took their place
    EXPECT_TRUE(gone_after([](PvBuffer& buffer) {
        EXPECT_TRUE(acquisition::reshape(buffer, {2, 2, PvPixelMono8, 0, 0, 0, 0}).IsOK());
    }));
    EXPECT_TRUE(gone_after([](PvBuffer& buffer) { acquisition::derive(buffer, PvBuffer()); }));
}

}  // namespace
