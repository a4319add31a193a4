// GenCP frames: the golden ones both ways, and everything that is no frame.
#include "sdk/wire/gencp.h"

#include <gtest/gtest.h>

#include <set>
#include <string_view>

#include "tests/sdk/wire/golden.h"

using namespace vex;

namespace {

namespace gencp = wire::gencp;
using golden::Bytes;
using golden::copy;

namespace frames {
#define GOLDEN(name, hex)                                                                                              \
    inline Bytes name() { return golden::bytes(hex); }
#include "tests/sdk/wire/golden/gencp_frames.inc"
#undef GOLDEN

const std::vector<Bytes> all{
#define GOLDEN(name, hex) golden::bytes(hex),
#include "tests/sdk/wire/golden/gencp_frames.inc"
#undef GOLDEN
};
}  // namespace frames

/// A golden frame as it is understood; its bytes live as long as this.
struct Decoded {
    explicit Decoded(Bytes frame) : bytes(std::move(frame))
    {
        const auto decoded = gencp::decode_frame(bytes);
        EXPECT_TRUE(decoded.has_value());
        if (decoded) {
            view = *decoded;
        }
    }

    Bytes bytes;
    gencp::FrameView view;
};

constexpr std::array<std::uint8_t, 4> cafe = {0xCA, 0xFE, 0xBA, 0xBE};

}  // namespace

TEST(GencpReadMemory, CarriesAddressAndLength)
{
    EXPECT_EQ(copy(gencp::read_memory(1, {0, 4}).bytes()), frames::read_version());
    EXPECT_EQ(copy(gencp::read_memory(0xFFFE, {0x123456789ABCDEF0, 1008}).bytes()), frames::read_far());
    const Decoded frame(frames::read_far());
    EXPECT_EQ(frame.view.command, gencp::Command::read_memory);
    EXPECT_EQ(frame.view.request_id, 0xFFFE);
    EXPECT_EQ(frame.view.channel, gencp::control_channel);
    EXPECT_TRUE(frame.view.acknowledge_requested());
    const auto read = gencp::decode_read_memory(frame.view.scd);
    ASSERT_TRUE(read);
    EXPECT_EQ(read->address, 0x123456789ABCDEF0U);
    EXPECT_EQ(read->count, 1008);
}

TEST(GencpReadMemory, IsMarkedWhenItIsSentAgain)
{
    gencp::Frame frame = gencp::read_memory(1, {0, 4});
    frame.mark_resent();
    EXPECT_EQ(copy(frame.bytes()), frames::read_version_again());
    frame.mark_resent();
    EXPECT_EQ(copy(frame.bytes()), frames::read_version_again());
}

TEST(GencpReadMemory, AcknowledgeIsTheData)
{
    EXPECT_EQ(copy(gencp::read_memory_acknowledge(1, std::array<std::uint8_t, 4>{0, 1, 0, 2}).bytes()),
              frames::read_version_ack());
    const Decoded odd(frames::read_odd_ack());
    EXPECT_EQ(odd.view.command, acknowledge_of(gencp::Command::read_memory));
    EXPECT_TRUE(gencp::is_acknowledge(odd.view.command));
    EXPECT_EQ(odd.view.status(), gencp::Status::success);
    EXPECT_EQ(copy(odd.view.scd), (Bytes{'M', 'o', 'n', 'o', '8'}));
    EXPECT_EQ(copy(gencp::read_memory_acknowledge(0x0102, odd.view.scd).bytes()), frames::read_odd_ack());
}

TEST(GencpReadMemory, RefusalHasAStatusAndNoData)
{
    EXPECT_EQ(copy(gencp::refusal(gencp::Command::read_memory_ack, 0x0102, gencp::Status::invalid_address).bytes()),
              frames::read_refused());
    const Decoded frame(frames::read_refused());
    EXPECT_TRUE(gencp::is_failure(frame.view.status()));
    EXPECT_EQ(std::string_view(gencp::text_of(frame.view.status())), "invalid address");
    EXPECT_TRUE(frame.view.scd.empty());
}

TEST(GencpWriteMemory, CarriesAddressAndData)
{
    EXPECT_EQ(copy(gencp::write_memory(2, {0x10000, cafe}).bytes()), frames::write_word());
    const Decoded odd(frames::write_odd());
    const auto write = gencp::decode_write_memory(odd.view.scd);
    ASSERT_TRUE(write);
    EXPECT_EQ(write->address, 0x184U);
    EXPECT_EQ(copy(write->data), (Bytes{'b', 'o', 'x'}));
    EXPECT_EQ(copy(gencp::write_memory(3, *write).bytes()), frames::write_odd());
    EXPECT_FALSE(gencp::decode_write_memory(odd.view.scd.first(8)));
}

TEST(GencpWriteMemory, AcknowledgeTellsTheLengthWhereTheDeviceDoes)
{
    EXPECT_EQ(copy(gencp::write_memory_acknowledge(2, 4).bytes()), frames::write_ack_with_length());
    EXPECT_EQ(copy(gencp::write_memory_acknowledge(2, std::nullopt).bytes()), frames::write_ack_without_length());
    EXPECT_EQ(gencp::decode_number(Decoded(frames::write_ack_with_length()).view.scd), 4);
    EXPECT_FALSE(gencp::decode_number(Decoded(frames::write_ack_without_length()).view.scd));
}

TEST(GencpPending, TellsMilliseconds)
{
    EXPECT_EQ(copy(gencp::pending_acknowledge(2, 500).bytes()), frames::pending());
    EXPECT_EQ(gencp::decode_number(Decoded(frames::pending()).view.scd), 500);
}

TEST(GencpEvent, CarriesIdentifierTimeAndData)
{
    const Decoded frame(frames::one_event());
    const auto event = gencp::decode_event(frame.view.scd);
    ASSERT_TRUE(event);
    EXPECT_EQ(event->event_id, 0x9001);
    EXPECT_EQ(event->timestamp, 0x0102030405060708U);
    EXPECT_EQ(copy(event->data), (Bytes{0xAA, 0x55}));
    EXPECT_EQ(copy(gencp::event(7, *event).bytes()), frames::one_event());
    EXPECT_FALSE(gencp::decode_event(frame.view.scd.first(13)));
    EXPECT_FALSE(gencp::decode_event(frame.view.scd.first(11)));
}

TEST(GencpChecksum, IsTheInvertedSumInOnesComplement)
{
    EXPECT_EQ(gencp::checksum({}), 0xFFFF);
    EXPECT_EQ(gencp::checksum(std::array<std::uint8_t, 1>{0x12}), 0xEDFF);
    EXPECT_EQ(gencp::checksum(std::array<std::uint8_t, 4>{0xFF, 0xFF, 0x00, 0x01}), 0xFFFE);
    EXPECT_EQ(gencp::checksum(std::array<std::uint8_t, 6>{0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x01}), 0xFFFE)
        << "the carry of a carry counts, too";
    EXPECT_TRUE(gencp::decode_frame(frames::sum_is_zero()));
    EXPECT_TRUE(gencp::decode_frame(frames::sum_carries()));
    const Bytes full(gencp::largest_scd, 0xFF);
    EXPECT_EQ(copy(gencp::read_memory_acknowledge(1, full).bytes()), frames::sum_carries());
}

TEST(GencpFrame, IsNoneWithAnyByteChanged)
{
    for (const Bytes& frame : frames::all) {
        for (std::size_t at = 0; at < frame.size(); ++at) {
            Bytes broken = frame;
            broken[at] = static_cast<std::uint8_t>(broken[at] ^ 0x10);
            EXPECT_FALSE(gencp::decode_frame(broken)) << "byte " << at << " of " << frame.size();
        }
    }
}

TEST(GencpFrame, IsNoneWithAnotherLength)
{
    for (Bytes frame : frames::all) {
        frame.push_back(0);
        EXPECT_FALSE(gencp::decode_frame(frame));
        frame.pop_back();
        while (!frame.empty()) {
            frame.pop_back();
            EXPECT_FALSE(gencp::decode_frame(frame)) << frame.size();
        }
    }
}

TEST(GencpFrame, AnnouncesNoMoreThanTheLongestScd)
{
    Bytes header(gencp::header_size);
    header[0] = 1;
    header[12] = 0x04;
    const auto seal = [&] {
        const std::uint16_t sum = gencp::checksum(std::span(header).subspan(6));
        header[2] = static_cast<std::uint8_t>(sum >> 8);
        header[3] = static_cast<std::uint8_t>(sum);
    };
    seal();
    EXPECT_EQ(gencp::decode_header(std::span(header).first<gencp::header_size>()), gencp::largest_scd);
    header[13] = 1;
    seal();
    EXPECT_FALSE(gencp::decode_header(std::span(header).first<gencp::header_size>()));
}

TEST(GencpRegisters, AreOneAfterTheOther)
{
    std::uint64_t next = 0;
    for (const gencp::Register& one : gencp::abrm::registers) {
        EXPECT_EQ(one.address, next);
        next = one.address + one.length;
    }
    EXPECT_EQ(next, gencp::abrm::end);
    EXPECT_EQ(gencp::abrm::device_capability, 0x1C4U);
    EXPECT_EQ(gencp::abrm::access_privilege, 0x204U);
}

TEST(GencpStatus, HasWordsForEachCodeAndForOthers)
{
    std::set<std::string_view> words;
    for (const unsigned code : {0U, 0x8001U, 0x8002U, 0x8003U, 0x8004U, 0x8005U, 0x8006U, 0x8007U, 0x800BU, 0x800EU,
                                0x800FU, 0x8FFFU, 0xA123U}) {
        words.insert(gencp::text_of(static_cast<gencp::Status>(code)));
    }
    EXPECT_EQ(words.size(), 13U);
    EXPECT_FALSE(gencp::is_failure(gencp::Status::success));
    EXPECT_EQ(std::string_view(gencp::text_of(static_cast<gencp::Status>(0xA123))), "unknown status");
}

TEST(GencpText, EndsAtTheFirstZero)
{
    const Bytes field{'a', 'b', 0, 'c'};
    EXPECT_EQ(copy(gencp::text_of(field)), (Bytes{'a', 'b'}));
    EXPECT_EQ(copy(gencp::text_of(std::span(field).first(2))), (Bytes{'a', 'b'}));
    EXPECT_TRUE(gencp::text_of(std::span<const std::uint8_t>()).empty());
}
