// A camera whose images change their size or format from one block to the next.
#include <algorithm>
#include <tuple>
#include <vector>

#include "tests/sdk/stream_core/resend_fixture.h"

using namespace vex;

namespace {

using namespace assembly;
using packets::ImageForm;
using packets::picture;
using stream::BlockFate;

const ImageForm wide{.width = 16, .height = 10, .offset_x = 4, .padding_x = 2};  // 180 bytes
const ImageForm deep{.pixel_format = 0x01100007, .width = 4, .height = 4};       // 32 bytes

std::vector<Bytes> image(std::uint64_t id, const ImageForm& form, std::size_t size, std::size_t packet = stride)
{
    return packets::image_block({.id = id}, form, picture(size, id), packet, id);
}

class AssemblerGeometry : public Assembly {
protected:
    /// The latest block came whole and shows this geometry and its own bytes.
    void expect_whole(const ImageForm& form, std::uint32_t size)
    {
        ASSERT_FALSE(port.delivered.empty());
        const Delivered& block = port.delivered.back();
        ASSERT_EQ(block.result(), PvResult::OK) << block.buffer->GetOperationResult().description();
        expect_geometry(*block.buffer->GetImage(), form);
        EXPECT_EQ(block.buffer->GetAcquiredSize(), size);
        EXPECT_EQ(block.data(size), picture(size, block.id()));
    }
    static void expect_geometry(const PvImage& shown, const ImageForm& form)
    {
        EXPECT_EQ(shown.GetWidth(), form.width);
        EXPECT_EQ(shown.GetHeight(), form.height);
        EXPECT_EQ(static_cast<std::uint32_t>(shown.GetPixelType()), form.pixel_format);
        EXPECT_EQ(shown.GetOffsetX(), form.offset_x);
        EXPECT_EQ(shown.GetPaddingX(), form.padding_x);
    }
};

TEST_F(AssemblerGeometry, EachBlockShowsItsOwnInBuffersThatAreUsedAgain)
{
    PvBuffer buffer;
    std::uint64_t id = 0;
    std::uint32_t largest = 0;
    for (int round = 0; round < 3; ++round) {
        for (const auto& [form, size, packet] :
             {std::tuple{image_8x8, 64U, 20U}, {wide, 180U, 20U}, {deep, 32U, 20U}, {wide, 180U, 50U}}) {
            port.idle.push_back(&buffer);
            receive(image(++id, form, size, packet));
            expect_whole(form, size);
            largest = std::max(largest, size);
            EXPECT_EQ(buffer.GetSize(), largest) << "memory only grows";
        }
    }
    EXPECT_EQ(blocks(BlockFate::complete), 12U);
}

TEST_F(AssemblerGeometry, ALargerImageThatDoesNotFitIsToldAsSuchAndTheNextOneThatFitsIsWhole)
{
    queue(3, 64);
    receive(image(1, image_8x8, 64));
    expect_whole(image_8x8, 64);
    receive(image(2, wide, 180));
    ASSERT_EQ(port.delivered.size(), 2U);
    const Delivered& large = port.delivered[1];
    EXPECT_EQ(large.result(), PvResult::BufferTooSmall);
    EXPECT_EQ(large.buffer->GetOperationResult().description(), "Block 2 needs 180 bytes, the buffer has 64");
    expect_geometry(*large.buffer->GetImage(), wide);
    EXPECT_EQ(large.buffer->GetAcquiredSize(), 64U);
    EXPECT_EQ(large.buffer->GetLostPacketCount(), 0U);
    Bytes fitting = picture(180, 2);
    fitting.resize(64);
    EXPECT_EQ(large.data(64), fitting);
    receive(image(3, deep, 32));
    expect_whole(deep, 32);
}

TEST_F(AssemblerGeometry, WithoutItsLeaderABlockIsNeverTakenForOneOfTheSizeBefore)
{
    PvBuffer buffers[2];
    port.idle = {&buffers[0], &buffers[1]};
    receive(image(1, image_8x8, 64));
    std::vector<Bytes> headless = image(2, wide, 180);
    headless.erase(headless.begin());
    receive(headless);
    pass(100ms);
    ASSERT_EQ(port.delivered.size(), 2U);
    EXPECT_NE(port.delivered[1].result(), PvResult::OK);
    EXPECT_EQ(assembler.counters().images, 1U);
}

/// The same where packets are asked for again.
class AssemblerGeometryResend : public AssemblerResend {
protected:
    void SetUp() override
    {
        port.idle = {&buffers[0], &buffers[1], &buffers[2]};
        receive(image(1, image_8x8, 64));
        ASSERT_EQ(results(), (std::vector{PvResult::OK}));
    }

    PvBuffer buffers[3];
};

TEST_F(AssemblerGeometryResend, TheTailOfALargerImageIsAskedForAsFarAsItGoes)
{
    const std::vector<Bytes> large = image(2, wide, 180);  // 9 packets, the trailer is the tenth
    receive(without(large, 4, 7));
    pass(timeout);
    EXPECT_EQ(requests(), (Ranges{{4, 4}}));
    receive(large[4]);
    pass(timeout);
    EXPECT_EQ(requests(), (Ranges{{5, 10}}));
    receive(std::vector<Bytes>(large.begin() + 5, large.end()));
    ASSERT_EQ(results(), (std::vector{PvResult::OK, PvResult::OK}));
    EXPECT_EQ(port.delivered[1].data(180), picture(180, 2));
}

TEST_F(AssemblerGeometryResend, TheTailOfASmallerImageIsAskedForNoFurtherThanItsTrailer)
{
    const std::vector<Bytes> small = image(2, deep, 32);  // 2 packets
    receive(without(small, 2, 2));
    receive(image(3, deep, 32)[0]);
    pass(delay);
    EXPECT_EQ(requests(), (Ranges{{2, 3}}));
    receive(std::vector<Bytes>(small.begin() + 2, small.end()));
    ASSERT_EQ(results(), (std::vector{PvResult::OK, PvResult::OK}));
    EXPECT_EQ(port.delivered[1].data(32), picture(32, 2));
}

TEST_F(AssemblerGeometryResend, ABlockWithoutItsLeaderIsGivenAsMuchMemoryAsTheOneBefore)
{
    const std::vector<Bytes> block = image(2, image_8x8, 64);
    receive(without(block, 0));
    pass(delay);
    EXPECT_EQ(requests(), (Ranges{{0, 0}}));
    receive(block[0]);
    ASSERT_EQ(results(), (std::vector{PvResult::OK, PvResult::OK}));
    EXPECT_EQ(port.delivered[1].data(64), picture(64, 2));
}

TEST_F(AssemblerGeometryResend, AnImageThatOutgrewItsBufferBeforeItsLeaderCameIsToldAsTooLarge)
{
    receive(without(image(2, wide, 180), 0));
    pass(100ms);
    EXPECT_EQ(requests(), Ranges{}) << "nothing would complete it";
    EXPECT_EQ(results(), (std::vector{PvResult::OK, PvResult::BufferTooSmall}));
    receive(image(3, wide, 180));
    ASSERT_EQ(results().size(), 3U);
    EXPECT_EQ(results()[2], PvResult::OK);
}

}  // namespace
