// A pipeline on a stream over a real socket, and a sender of blocks.
#pragma once

#include "sdk/pipeline/PvPipeline.h"
#include "tests/sdk/stream_core/stream_fixture.h"

namespace pipeline_test {

using namespace stream_test;

/// Bytes of the images that the sender sends: 8 by 8 pixels.
constexpr std::uint32_t image_bytes = 64;

class Pipelining : public Streaming {
protected:
    void SetUp() override
    {
        Streaming::SetUp();
        pipeline.SetBufferSize(image_bytes);
    }
    void start(std::uint32_t buffers = 4)
    {
        ASSERT_TRUE(pipeline.SetBufferCount(buffers).IsOK());
        const PvResult started = pipeline.Start();
        ASSERT_TRUE(started.IsOK()) << started.description();
    }
    void send_block(std::uint64_t id) { send_image(id, packets::Bytes(image_bytes, static_cast<std::uint8_t>(id))); }
    /// Sends blocks one by one, each when the one before has been taken in.
    void send_blocks(std::uint64_t first, std::uint64_t last)
    {
        for (std::uint64_t id = first; id <= last; ++id) {
            const std::uint64_t before = taken();
            send_block(id);
            await([&] { return taken() > before; });
            ASSERT_GT(taken(), before) << "block " << id;
        }
    }
    /// Blocks that have reached the output queue, and stay there or were dropped from it.
    [[nodiscard]] std::uint64_t taken() const { return pipeline.GetOutputQueueSize() + pipeline.GetBlocksDropped(); }

    PvResult::Code next(std::uint32_t timeout = ample)
    {
        return pipeline.RetrieveNextBuffer(&retrieved, timeout, &operation_result).GetCode();
    }

    PvPipeline pipeline{&stream};
};

}  // namespace pipeline_test
