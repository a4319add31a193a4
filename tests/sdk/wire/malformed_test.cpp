// What the decoders make of damaged messages: nothing, or a view that stays within the bytes given. Each input lies in
// a heap block of exactly its size, so that the sanitized build sees any step beyond it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <random>
#include <string>
#include <tuple>

#include "sdk/wire/gvcp.h"
#include "sdk/wire/gvsp.h"
#include "tests/sdk/wire/golden.h"

using namespace vex;

namespace {

using View = std::span<const std::uint8_t>;

struct Block {
    explicit Block(View source) : memory(std::make_unique<std::uint8_t[]>(source.size())), size(source.size())
    {
        std::copy(source.begin(), source.end(), memory.get());
    }
    [[nodiscard]] View view() const { return {memory.get(), size}; }

    std::unique_ptr<std::uint8_t[]> memory;
    std::size_t size;
};

void expect_within(View part, View whole)
{
    if (part.empty()) {
        return;
    }
    EXPECT_GE(part.data(), whole.data());
    EXPECT_LE(part.data() + part.size(), whole.data() + whole.size());
}

unsigned sum = 0;

/// Reads what a decoder handed out, so that a view beyond the block cannot go unnoticed.
void touch(View view)
{
    for (const std::uint8_t byte : view) {
        sum += byte;
    }
}

void check(View part, View whole)
{
    expect_within(part, whole);
    touch(part);
}

void decode_stream_packet(View bytes)
{
    if (const auto packet = wire::gvsp::decode_packet(bytes)) {
        check(packet->payload, bytes);
        if (const auto leader = wire::gvsp::decode_leader(packet->payload)) {
            check(leader->file_name, bytes);
            check(leader->parts, bytes);
            for (std::size_t i = 0; i <= leader->parts.size() / wire::gvsp::part_size; ++i) {
                std::ignore = wire::gvsp::decode_part(*leader, i);
            }
            if (const auto rest = wire::gvsp::decode_all_in(packet->payload, *leader)) {
                check(rest->data, bytes);
                EXPECT_FALSE(rest->data.empty());
            }
        }
        if (const auto trailer = wire::gvsp::decode_trailer(packet->payload)) {
            check(trailer->parts, bytes);
            for (std::size_t i = 0; i <= trailer->parts.size() / wire::gvsp::trailer_part_size; ++i) {
                std::ignore = wire::gvsp::decode_trailer_part(*trailer, i);
            }
        }
        if (const auto payload = wire::gvsp::decode_h264_payload(packet->payload)) {
            check(payload->data, bytes);
        }
        if (const auto payload = wire::gvsp::decode_placed_payload(packet->payload)) {
            check(payload->data, bytes);
        }
    }
}

/// Feeds the bytes to every decoder and checks all views that come back.
void decode_everything(View input)
{
    const Block block(input);
    const View bytes = block.view();

    if (const auto command = wire::gvcp::decode_command(bytes)) {
        check(command->payload, bytes);
        EXPECT_NE(command->request_id, 0);
        std::ignore = wire::gvcp::decode_force_ip(command->payload);
        std::ignore = wire::gvcp::decode_read_memory(command->payload);
        if (const auto write = wire::gvcp::decode_write_memory(command->payload)) {
            check(write->data, bytes);
        }
        if (const auto range = wire::gvcp::decode_packet_resend(*command)) {
            EXPECT_LE(range->first_packet, range->last_packet);
            EXPECT_NE(range->block_id, 0U);
        }
        std::ignore = wire::gvcp::decode_action(*command);
        const std::size_t events =
            wire::gvcp::for_each_event(*command, [bytes](const wire::gvcp::Event& event) { check(event.data, bytes); });
        EXPECT_LE(events, command->payload.size() / 16);
    }
    if (const auto acknowledge = wire::gvcp::decode_acknowledge(bytes)) {
        check(acknowledge->payload, bytes);
        std::ignore = wire::gvcp::decode_pending(acknowledge->payload);
        std::ignore = wire::gvcp::decode_write_done(acknowledge->payload);
        if (const auto memory = wire::gvcp::decode_read_memory_acknowledge(acknowledge->payload)) {
            check(memory->data, bytes);
        }
        if (const auto device = wire::gvcp::decode_discovery_acknowledge(acknowledge->payload)) {
            EXPECT_LE(device->manufacturer_info.size(), 48U);
            EXPECT_LE(device->user_defined_name.size(), 16U);
        }
    }
    decode_stream_packet(bytes);
}

TEST(Malformed, MessageCutBeforeItsEndIsNoCommandAndNoAcknowledge)
{
    for (const golden::Message& message : golden::all()) {
        for (std::size_t size = 0; size < message.bytes.size(); ++size) {
            const View cut = View(message.bytes).first(size);
            decode_everything(cut);
            // the first 24 messages are GVCP; each says its length, so every cut shows
            if (&message - golden::all().data() < 24) {
                EXPECT_FALSE(wire::gvcp::decode_command(cut)) << message.name << ' ' << size;
                EXPECT_FALSE(wire::gvcp::decode_acknowledge(cut)) << message.name << ' ' << size;
            }
        }
    }
}

TEST(Malformed, PacketCutBeforeItsFixedFieldsEndIsRejected)
{
    const auto reject_cuts = [](const golden::Bytes& whole, std::size_t header, auto decode) {
        EXPECT_TRUE(decode(View(whole).subspan(header)));
        for (std::size_t size = header; size < whole.size(); ++size) {
            EXPECT_FALSE(decode(View(whole).first(size).subspan(header))) << size;
        }
        for (std::size_t size = 0; size < header; ++size) {
            EXPECT_FALSE(wire::gvsp::decode_packet(View(whole).first(size))) << size;
        }
    };
    const auto leader = [](View payload) { return wire::gvsp::decode_leader(payload).has_value(); };
    const auto trailer = [](View payload) { return wire::gvsp::decode_trailer(payload).has_value(); };
    reject_cuts(golden::image_leader(), 8, leader);
    reject_cuts(golden::image_chunks_leader_extended(), 20, leader);
    reject_cuts(golden::raw_leader(), 8, leader);
    reject_cuts(golden::chunk_leader(), 8, leader);
    reject_cuts(golden::jpeg_leader(), 8, leader);
    reject_cuts(golden::h264_leader(), 8, leader);
    reject_cuts(golden::extended_chunk_leader(), 8, leader);
    reject_cuts(golden::multi_zone_leader_extended(), 20, leader);
    reject_cuts(golden::multi_zone_trailer_extended(), 20, trailer);
    reject_cuts(golden::jpeg_trailer(), 8, trailer);
    reject_cuts(golden::image_chunks_trailer_extended(), 20, trailer);
    reject_cuts(golden::raw_trailer(), 8, trailer);
    reject_cuts(golden::chunk_trailer(), 8, trailer);
    reject_cuts(golden::extended_chunk_trailer(), 8, trailer);
}

TEST(Malformed, CommandPayloadsOfTheWrongSizeAreRejected)
{
    const auto command_with = [](golden::Bytes message, std::ptrdiff_t change) {
        const auto size = static_cast<std::size_t>(static_cast<std::ptrdiff_t>(message.size()) + change);
        message.resize(size);
        message[4] = static_cast<std::uint8_t>((size - 8) >> 8);
        message[5] = static_cast<std::uint8_t>(size - 8);
        return message;
    };
    for (const std::ptrdiff_t change : {-4, -1, 1, 4}) {
        const golden::Bytes force_ip = command_with(golden::force_ip(), change);
        EXPECT_FALSE(wire::gvcp::decode_force_ip(wire::gvcp::decode_command(force_ip)->payload)) << change;
        const golden::Bytes read = command_with(golden::read_memory(), change);
        EXPECT_FALSE(wire::gvcp::decode_read_memory(wire::gvcp::decode_command(read)->payload)) << change;
        const golden::Bytes resend = command_with(golden::packet_resend(), change);
        EXPECT_FALSE(wire::gvcp::decode_packet_resend(*wire::gvcp::decode_command(resend))) << change;
        const golden::Bytes extended = command_with(golden::packet_resend_extended(), change);
        EXPECT_FALSE(wire::gvcp::decode_packet_resend(*wire::gvcp::decode_command(extended))) << change;
        const golden::Bytes action = command_with(golden::action(), change);
        EXPECT_FALSE(wire::gvcp::decode_action(*wire::gvcp::decode_command(action))) << change;
        const golden::Bytes scheduled = command_with(golden::action_scheduled(), change);
        EXPECT_FALSE(wire::gvcp::decode_action(*wire::gvcp::decode_command(scheduled))) << change;
    }
}

TEST(Malformed, LyingLengthIsCaughtUpwardsAndObeyedDownwards)
{
    for (const golden::Message& message : golden::all()) {
        if (&message - golden::all().data() >= 24) {
            break;
        }
        const std::size_t truth = message.bytes.size() - 8;
        for (const std::size_t lie : {truth + 1, truth + 4, std::size_t{0x7FFF}, std::size_t{0xFFFF}}) {
            golden::Bytes bytes = message.bytes;
            bytes[4] = static_cast<std::uint8_t>(lie >> 8);
            bytes[5] = static_cast<std::uint8_t>(lie);
            EXPECT_FALSE(wire::gvcp::decode_command(bytes)) << message.name;
            EXPECT_FALSE(wire::gvcp::decode_acknowledge(bytes)) << message.name;
        }
        for (std::size_t lie = 0; lie < truth; ++lie) {
            golden::Bytes bytes = message.bytes;
            bytes[4] = static_cast<std::uint8_t>(lie >> 8);
            bytes[5] = static_cast<std::uint8_t>(lie);
            decode_everything(bytes);
            const auto acknowledge = wire::gvcp::decode_acknowledge(bytes);
            ASSERT_TRUE(acknowledge);
            EXPECT_EQ(acknowledge->payload.size(), lie);
        }
    }
}

std::uint64_t seed_of_this_run()
{
    if (const char* given = std::getenv("VEX_TEST_SEED")) {
        return std::strtoull(given, nullptr, 0);
    }
    return std::random_device{}();
}

std::size_t below(std::mt19937_64& random, std::size_t n) { return static_cast<std::size_t>(random() % n); }

TEST(Malformed, RandomDamageNeverLeavesTheMessage)
{
    const std::uint64_t seed = seed_of_this_run();
    SCOPED_TRACE("VEX_TEST_SEED=" + std::to_string(seed));
    RecordProperty("seed", std::to_string(seed));
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
    std::mt19937_64 random(seed);
    for (int round = 0; round < 20000; ++round) {
        const auto& messages = golden::all();
        golden::Bytes bytes = messages[below(random, messages.size())].bytes;
        const std::uint64_t changes = 1 + random() % 8;
        for (std::uint64_t i = 0; i < changes; ++i) {
            bytes[below(random, bytes.size())] = static_cast<std::uint8_t>(random());
        }
        bytes.resize(below(random, bytes.size() + 8));
        decode_everything(bytes);
    }
}

TEST(Malformed, RandomBytesNeverLeaveTheMessage)
{
    const std::uint64_t seed = seed_of_this_run();
    SCOPED_TRACE("VEX_TEST_SEED=" + std::to_string(seed));
    RecordProperty("seed", std::to_string(seed));
    std::printf("seed %llu\n", static_cast<unsigned long long>(seed));
    std::mt19937_64 random(seed);
    for (int round = 0; round < 20000; ++round) {
        golden::Bytes bytes(below(random, 600));
        std::ranges::generate(bytes, [&random] { return static_cast<std::uint8_t>(random()); });
        // half of them get past the key
        if (!bytes.empty() && round % 2 == 0) {
            bytes[0] = 0x42;
        }
        decode_everything(bytes);
    }
}

}  // namespace
