// Frames found in what a line brings.
#include "sdk/genicp/frame_reader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <span>
#include <string>
#include <vector>

using namespace vex;

namespace {

namespace gencp = wire::gencp;
using genicp::FrameReader;
using Bytes = std::vector<std::uint8_t>;

Bytes answer(std::uint16_t id, const Bytes& data)
{
    const auto frame = gencp::read_memory_acknowledge(id, data);
    return {frame.bytes().begin(), frame.bytes().end()};
}

Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

/// The request IDs of the frames that come out when the bytes go in, in pieces of that size.
std::vector<std::uint16_t> ids(FrameReader& reader, const Bytes& bytes, std::size_t piece)
{
    std::vector<std::uint16_t> found;
    for (std::size_t at = 0; at < bytes.size(); at += piece) {
        auto rest = std::span(bytes).subspan(at, std::min(piece, bytes.size() - at));
        while (!rest.empty()) {
            rest = rest.subspan(reader.add(rest));
            while (const auto frame = reader.next()) {
                found.push_back(frame->request_id);
            }
        }
    }
    return found;
}

using Ids = std::vector<std::uint16_t>;

}  // namespace

TEST(GencpFrameReader, FindsFramesInPiecesOfAnySize)
{
    const Bytes line = answer(1, {1, 2, 3}) + answer(2, {}) + answer(3, Bytes(gencp::largest_scd, 1));
    for (std::size_t piece = 1; piece < 40; ++piece) {
        FrameReader reader;
        EXPECT_EQ(ids(reader, line, piece), (Ids{1, 2, 3})) << piece;
        EXPECT_EQ(reader.passed_over(), 0U);
    }
}

TEST(GencpFrameReader, FindsAFrameBehindGarbage)
{
    const Bytes garbage{0x01, 0x01, 0x00, 0xFF, 0x01};
    FrameReader reader;
    EXPECT_EQ(ids(reader, garbage + answer(7, {9}) + garbage + answer(8, {9}), 1), (Ids{7, 8}));
    EXPECT_EQ(reader.passed_over(), 2 * garbage.size());
}

TEST(GencpFrameReader, FindsAFrameBehindOneThatWasCutOff)
{
    const Bytes cut = answer(1, Bytes(100, 0x55));
    for (std::size_t kept = 1; kept < cut.size(); ++kept) {
        FrameReader reader;
        const Bytes begun(cut.begin(), cut.begin() + static_cast<std::ptrdiff_t>(kept));
        Ids found = ids(reader, begun + answer(2, {1, 2, 3, 4}), 1024);
        while (reader.give_up()) {  // as at a time-out: nothing more comes
            while (const auto frame = reader.next()) {
                found.push_back(frame->request_id);
            }
        }
        EXPECT_EQ(found, (Ids{2})) << kept;
    }
}

TEST(GencpFrameReader, PassesOverAFrameWithAWrongByte)
{
    Bytes wrong = answer(1, {1, 2, 3});
    wrong.back() = 4;
    FrameReader reader;
    EXPECT_EQ(ids(reader, wrong + answer(2, {1}), 5), (Ids{2}));
    EXPECT_EQ(reader.passed_over(), wrong.size());
}

TEST(GencpFrameReader, TellsWhatIsMissing)
{
    FrameReader reader;
    const Bytes frame = answer(1, {1, 2, 3});
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(reader.missing(), gencp::header_size);
    EXPECT_EQ(reader.add(std::span(frame).first(10)), 10U);
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(reader.missing(), 6U);
    EXPECT_EQ(reader.add(std::span(frame).subspan(10, 6)), 6U);
    EXPECT_FALSE(reader.next());
    EXPECT_EQ(reader.missing(), 3U);
    EXPECT_EQ(reader.add(std::span(frame).subspan(16)), 3U);
    EXPECT_TRUE(reader.next());
    EXPECT_EQ(reader.missing(), gencp::header_size);
    EXPECT_FALSE(reader.next());
    EXPECT_FALSE(reader.give_up());
}

TEST(GencpFrameReader, ComesThroughAnythingToTheNextFrame)
{
    const auto seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 200; ++round) {
        FrameReader reader;
        Bytes noise(random() % 5000);
        for (std::uint8_t& byte : noise) {
            byte = static_cast<std::uint8_t>(random() % 4 == 0 ? random() % 3 : random());
        }
        (void)ids(reader, noise, 1 + random() % 100);
        // so much may be taken for the rest of a frame that began in the noise
        (void)ids(reader, Bytes(gencp::largest_frame), 100);
        EXPECT_EQ(ids(reader, answer(9, {1, 2}), 18), (Ids{9})) << round;
    }
}
