// The chunks of buffers as features: of a small description, and of real cameras' that the environment names.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <thread>

#include "sdk/buffer/acquisition.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/wire/chunks.h"
#include "tests/sdk/genapi/memory_port.h"

namespace {

using namespace camera_xml;
using Bytes = std::vector<std::uint8_t>;

struct OneChunk {
    std::uint32_t id;
    Bytes data;
};

/// What a stream makes of a block of chunks.
void fill(PvBuffer& buffer, const std::vector<OneChunk>& chunks)
{
    Bytes area;
    for (const OneChunk& chunk : chunks) {
        area.insert(area.end(), chunk.data.begin(), chunk.data.end());
        area.resize(area.size() + vex::wire::chunks::tail_size);
        vex::wire::chunks::encode_tail(chunk.id, static_cast<std::uint32_t>(chunk.data.size()),
                                       std::span(area).last(vex::wire::chunks::tail_size));
    }
    vex::acquisition::BlockStart start;
    start.payload_type = PvPayloadTypeChunkData;
    start.block_id = 33;
    start.payload_size = area.size();
    ASSERT_TRUE(vex::acquisition::begin(buffer, start).IsOK());
    ASSERT_TRUE(vex::acquisition::write(buffer, 0, area));
    vex::acquisition::BlockEnd end;
    end.acquired_size = area.size();
    end.chunks = vex::acquisition::memory(buffer).first(area.size());
    vex::acquisition::finish(buffer, end);
}

Bytes word(std::uint8_t value) { return {0, 0, 0, value}; }

const std::string body =
    root({"ChunkControl"}) + category("ChunkControl", {"ChunkWidth", "ChunkGain", "ChunkPlace", "Width"}) +
    port("First", element("ChunkID", "a1")) + port("Second", element("ChunkID", "f00000b2")) +
    int_reg("ChunkWidth", 0, {.access = "RO", .port = "First"}) +
    int_reg("ChunkGain", -4, {.access = "RO", .port = "Second"}) +
    int_reg("ChunkPlace", 0x7FFFFFFFFFFFFFFF, {.length = 8, .access = "RO", .port = "Second"}) + int_reg("Width", 0);

struct Chunks : testing::Test {
    [[nodiscard]] std::int64_t value(const char* name) const
    {
        std::int64_t result = -1;
        EXPECT_TRUE(array.GetIntegerValue(name, result).IsOK()) << name;
        return result;
    }
    [[nodiscard]] bool is_available(const char* name) const { return array.Get(PvString(name))->IsAvailable(); }

    MemoryPort port;
    PvGenParameterArray array{GenApi::load_node_map(description(body), port)};
    PvBuffer buffer;
};

}  // namespace

TEST_F(Chunks, OfABufferAreFeatures)
{
    EXPECT_FALSE(is_available("ChunkWidth"));
    fill(buffer, {{0xA1, word(7)}, {0x55, Bytes(1000)}, {0xF00000B2, {1, 2, 3, 4, 0, 0, 0, 9}}});
    ASSERT_TRUE(array.AttachChunks(buffer).IsOK());
    EXPECT_EQ(value("ChunkWidth"), 7);
    EXPECT_EQ(value("ChunkGain"), 9);
    EXPECT_EQ(value("ChunkPlace"), 4 + 8 + 1000 + 8);
    ASSERT_TRUE(array.DetachChunks().IsOK());
    EXPECT_FALSE(is_available("ChunkWidth"));
    EXPECT_FALSE(is_available("ChunkGain"));
    EXPECT_TRUE(is_available("Width"));
    EXPECT_TRUE(array.DetachChunks().IsOK());
}

TEST_F(Chunks, OfAnotherBufferTakeTheirPlace)
{
    fill(buffer, {{0xA1, word(7)}, {0xF00000B2, word(9)}});
    ASSERT_TRUE(array.AttachChunks(buffer).IsOK());
    EXPECT_EQ(value("ChunkWidth"), 7);
    PvBuffer next;
    fill(next, {{0xA1, word(8)}});
    ASSERT_TRUE(array.AttachChunks(next).IsOK());
    EXPECT_EQ(value("ChunkWidth"), 8);
    EXPECT_FALSE(is_available("ChunkGain"));
}

TEST_F(Chunks, StayWhenTheBufferChangesOrGoes)
{
    {
        PvBuffer brief;
        fill(brief, {{0xA1, word(7)}});
        ASSERT_TRUE(array.AttachChunks(brief).IsOK());
        std::fill_n(brief.GetDataPointer(), brief.GetSize(), std::uint8_t{0xEE});
        EXPECT_EQ(value("ChunkWidth"), 7);
        brief.Free();
        EXPECT_EQ(value("ChunkWidth"), 7);
    }
    array.InvalidateCache();
    EXPECT_EQ(value("ChunkWidth"), 7);
}

TEST_F(Chunks, OfTheSameIdCountTheLast)
{
    fill(buffer, {{0xA1, word(7)}, {0xA1, word(8)}});
    ASSERT_TRUE(array.AttachChunks(buffer).IsOK());
    EXPECT_EQ(value("ChunkWidth"), 8);
}

TEST_F(Chunks, ThatAreMissingLeaveNoOlderValues)
{
    fill(buffer, {{0xA1, word(7)}});
    ASSERT_TRUE(array.AttachChunks(buffer).IsOK());
    PvBuffer empty;
    const PvResult none = array.AttachChunks(empty);
    EXPECT_EQ(none.GetCode(), PvResult::NoAvailableData);
    EXPECT_EQ(none.description(), "The buffer of block 0 has no chunks");
    EXPECT_FALSE(is_available("ChunkWidth"));
}

TEST_F(Chunks, OfAQueuedBufferAreRefused)
{
    struct Nobody final : vex::acquisition::Holder {
        void buffer_destroyed(PvBuffer&) noexcept override {}
    } holder;
    fill(buffer, {{0xA1, word(7)}});
    ASSERT_TRUE(array.AttachChunks(buffer).IsOK());
    ASSERT_TRUE(vex::acquisition::hold(buffer, holder));
    EXPECT_EQ(array.AttachChunks(buffer).GetCode(), PvResult::StateError);
    EXPECT_FALSE(is_available("ChunkWidth"));
    vex::acquisition::release(buffer, holder);
    EXPECT_TRUE(array.AttachChunks(buffer).IsOK());
}

TEST_F(Chunks, NeedAnArrayThatWasBuilt)
{
    struct Unbuilt : PvGenParameterArray {
    } unbuilt;
    EXPECT_EQ(unbuilt.AttachChunks(buffer).GetCode(), PvResult::NotInitialized);
    EXPECT_EQ(unbuilt.DetachChunks().GetCode(), PvResult::NotInitialized);
}

TEST_F(Chunks, MayBeAttachedWhileOthersRead)
{
    PvBuffer other;
    fill(buffer, {{0xA1, word(7)}});
    fill(other, {{0xA1, word(8)}});
    ASSERT_TRUE(array.AttachChunks(buffer).IsOK());
    std::atomic<bool> done = false;
    std::thread reader([&] {
        while (!done) {
            const std::int64_t seen = value("ChunkWidth");
            EXPECT_TRUE(seen == 7 || seen == 8) << seen;
        }
    });
    for (int i = 0; i < 1000; ++i) {
        EXPECT_TRUE(array.AttachChunks(i % 2 == 0 ? other : buffer).IsOK());
    }
    done = true;
    reader.join();
}

namespace {

/// A device whose registers say that it has everything.
class FullPort final : public GenApi::IPort {
public:
    void read(std::int64_t, std::span<std::uint8_t> out) override { std::ranges::fill(out, std::uint8_t{0xFF}); }
    void write(std::int64_t, std::span<const std::uint8_t>) override {}
    [[nodiscard]] bool is_open() const noexcept override { return true; }
};

/// The identifiers that a description gives its chunks, in its own words.
std::vector<std::uint32_t> chunk_ids(const std::string& xml)
{
    std::vector<std::uint32_t> ids;
    static const std::regex pattern("<ChunkID>\\s*(?:0x)?([0-9A-Fa-f]{1,8})\\s*</ChunkID>");
    for (auto at = std::sregex_iterator(xml.begin(), xml.end(), pattern); at != std::sregex_iterator(); ++at) {
        ids.push_back(static_cast<std::uint32_t>(std::stoul((*at)[1], nullptr, 16)));
    }
    return ids;
}

std::size_t readable_chunk_features(const PvGenParameterArray& array)
{
    std::size_t count = 0;
    for (std::uint32_t i = 0; i < array.GetCount(); ++i) {
        PvGenParameter* const parameter = array.Get(i);
        const std::string name(parameter->GetNode()->name());
        PvString text;
        count += name.starts_with("Chunk") && parameter->IsReadable() && !parameter->IsWritable() &&
                 parameter->ToString(text).IsOK();
    }
    return count;
}

}  // namespace

TEST(ChunksOfRealCameras, AreFeaturesOnlyWhileAttached)
{
    const char* const folder = std::getenv("VEX_CAMERA_XML");
    if (folder == nullptr || *folder == '\0') {
        GTEST_SKIP() << "VEX_CAMERA_XML names no folder with descriptions";
    }
    std::size_t cameras = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != ".xml") {
            continue;
        }
        std::ifstream stream(entry.path(), std::ios::binary);
        const std::string xml{std::istreambuf_iterator<char>(stream), {}};
        std::vector<OneChunk> chunks;
        for (const std::uint32_t id : chunk_ids(xml)) {
            chunks.push_back({id, Bytes(64, 1)});
        }
        if (chunks.empty()) {
            continue;
        }
        SCOPED_TRACE(entry.path().filename().string());
        FullPort port;
        PvGenParameterArray array(GenApi::load_node_map(xml, port));
        const std::size_t without = readable_chunk_features(array);
        PvBuffer buffer;
        fill(buffer, chunks);
        EXPECT_TRUE(array.AttachChunks(buffer).IsOK());
        const std::size_t with = readable_chunk_features(array);
        EXPECT_TRUE(array.DetachChunks().IsOK());
        EXPECT_EQ(readable_chunk_features(array), without);
        EXPECT_GT(with, without);
        std::cout << entry.path().filename().string() << ": " << chunks.size() << " chunks, " << with - without
                  << " features\n";
        ++cameras;
    }
    EXPECT_GT(cameras, 0U);
}
