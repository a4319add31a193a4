// A camera, a network and a client around the block assembler, all led by the input, with a model of what may be said
// of a block:
//
// - a buffer is never reported good with a byte missing, and one of whose block only true packets were sent holds just
//   what the camera sent;
// - nothing is written outside a buffer, or into one that the client has;
// - every buffer that the client queued comes back once;
// - no request asks for nothing or for more than the settings allow;
// - every datagram and every block is counted once.
//
// True packets may get lost, come twice, in any order, late or marked as sent again. Forged ones have anything in them.
#include <algorithm>
#include <array>
#include <deque>
#include <memory>
#include <vector>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/stream_core/block_assembler.h"
#include "tests/fuzz/guarded_buffer.h"
#include "tests/fuzz/stream_camera.h"
#include "tests/sdk/stream_core/lander.h"

using namespace vex;

namespace {

using fuzz::Block;
using fuzz::Bytes;
using fuzz::guard;
using fuzz::Guarded;
using fuzz::make_block;
using fuzz::require;
using fuzz::Script;
using fuzz::View;
namespace gvsp = wire::gvsp;
namespace type = wire::gvsp::payload_type;

constexpr std::size_t buffers = 6;
constexpr std::size_t most_steps = 2000;
const Endpoint camera_endpoint{Ipv4Address{0x0A000001}, 40000};

/// All that is around the assembler.
class World final : public stream::BufferPort {
public:
    /// `lands` lets packets land in the buffers before anybody has looked at them, `batch` at a time.
    World(bool lands, std::size_t batch) : lands_(lands), most_in_batch_(batch)
    {
        for (std::size_t i = 0; i < buffers; ++i) {
            memory_.push_back(std::make_unique<Guarded>(60 + 90 * i));
            memory_.back()->handed_back.assign(memory_.back()->content().begin(), memory_.back()->content().end());
        }
    }

    PvBuffer* take() noexcept override
    {
        if (queue_.empty()) {
            return nullptr;
        }
        Guarded& guarded = *queue_.front();
        queue_.pop_front();
        require(guarded.place == Guarded::Place::queue);
        guarded.place = Guarded::Place::assembler;
        std::fill(guarded.memory.begin() + guard, guarded.memory.end() - guard, std::uint8_t{0});
        return &guarded.buffer;
    }
    void deliver(PvBuffer& buffer, stream::BlockFate fate) noexcept override
    {
        Guarded& guarded = of(buffer);
        require(guarded.place == Guarded::Place::assembler);
        guarded.place = Guarded::Place::client;
        guarded.handed_back.assign(guarded.content().begin(), guarded.content().end());
        require(fate != stream::BlockFate::no_buffer && fate != stream::BlockFate::discarded);
        require((fate == stream::BlockFate::complete) == buffer.GetOperationResult().IsOK());
        require(buffer.GetAcquiredSize() <= guarded.size);
        check_contents(guarded);
        if (fate == stream::BlockFate::complete) {
            check_good(guarded);
        }
    }
    void put_back(PvBuffer& buffer) noexcept override
    {
        Guarded& guarded = of(buffer);
        require(guarded.place == Guarded::Place::assembler);
        guarded.place = Guarded::Place::queue;
        queue_.push_front(&guarded);
    }
    void request_resend(const wire::gvcp::PacketResend& range) noexcept override
    {
        require(range.first_packet <= range.last_packet && range.block_id != 0);
        const std::uint64_t packets = std::uint64_t{range.last_packet} - range.first_packet + 1;
        // the tail of a block is asked for with an end that nobody knows
        require(packets <= settings_.maximum_resend_group_size);
        requests_.push_back(range);
    }

    void step(Script& script);
    void end();

private:
    void queue_a_buffer();
    void begin_block(Script& script);
    void send_true(Script& script);
    static void bend(Block& block, Bytes& packet, unsigned how);
    void send_forged(Script& script);
    void flood(Script& script);
    void answer_request(Script& script);
    void set_settings(Script& script);
    void put_in(const Bytes& bytes, const Endpoint& from, bool drained = true);
    void flush_batch();
    void check_sums() const;
    void check_contents(const Guarded& guarded) const;
    void check_good(const Guarded& guarded) const;
    void check_true(const Guarded& guarded, const Block& block) const;

    [[nodiscard]] Block* block(unsigned back)
    {
        return blocks_.empty() ? nullptr
                               : &blocks_[blocks_.size() - 1 - back % std::min<std::size_t>(blocks_.size(), 8)];
    }
    [[nodiscard]] Guarded& of(const PvBuffer& buffer)
    {
        const auto found = std::ranges::find_if(memory_, [&](const auto& one) { return &one->buffer == &buffer; });
        require(found != memory_.end());
        return **found;
    }

    std::vector<std::unique_ptr<Guarded>> memory_;
    std::deque<Guarded*> queue_;
    std::deque<Block> blocks_;
    std::uint64_t next_id_ = 1;
    std::deque<wire::gvcp::PacketResend> requests_;
    stream::StreamSettings settings_;
    stream::BlockAssembler assembler_{*this, camera_endpoint.address};
    net::Clock::time_point now_{std::chrono::seconds(1)};
    std::uint64_t datagrams_ = 0;
    const bool lands_;
    const std::size_t most_in_batch_;
    std::vector<Bytes> batch_;
    Endpoint batch_source_;
    bool batch_drained_ = true;
    assembly::Lander lander_;
};

void World::queue_a_buffer()
{
    for (const auto& one : memory_) {
        if (one->place == Guarded::Place::client) {
            // nobody wrote into it while the client had it
            require(fuzz::equal(one->content(), one->handed_back));
            one->place = Guarded::Place::queue;
            queue_.push_back(one.get());
            return;
        }
    }
}

void World::begin_block(Script& script)
{
    blocks_.push_back(make_block(script, next_id_));
    Block& block = blocks_.back();
    if (block.leader.base_type() == type::multi_part) {
        block.describe_parts();
    }
    // a number that comes again, as after a restart, stands for another block
    for (Block& other : blocks_) {
        if (&other != &block && other.header.block_id == block.header.block_id) {
            other.forged = true;
            block.forged = true;
        }
    }
}

void World::put_in(const Bytes& bytes, const Endpoint& from, bool drained)
{
    if (batch_.size() >= most_in_batch_ || !(from == batch_source_)) {
        flush_batch();
    }
    batch_.push_back(bytes);
    batch_source_ = from;
    batch_drained_ = drained;
}

void World::flush_batch()
{
    if (batch_.empty()) {
        return;
    }
    auto landed =
        lander_.land(batch_, batch_source_, lands_ ? assembler_.landing() : net::Landing{}, batch_.size() % 2 == 0);
    lander_.recall(landed, assembler_.landed_well(landed));
    assembler_.process(landed, now_, batch_drained_);
    datagrams_ += batch_.size();
    batch_.clear();
}

/// Cuts the packet off, or lets it say that it belongs elsewhere.
void World::bend(Block& block, Bytes& packet, unsigned how)
{
    block.forged = true;
    const std::size_t head = block.header.size();
    const bool has_place = block.format == gvsp::Format::multi_zone || block.format == gvsp::Format::multi_part;
    if (has_place && how % 2 == 0 && packet.size() > head + gvsp::payload_head_size) {
        packet[head + gvsp::payload_head_size - 1] = static_cast<std::uint8_t>(how);
    } else if (packet.size() > head) {
        packet.resize(head + how % (packet.size() - head));
    }
}

void World::send_true(Script& script)
{
    const unsigned which = script.next();
    Block* const block = this->block(which >> 5);
    if (block == nullptr) {
        return;
    }
    const std::uint32_t last = block->payload_packets() + 1;
    if ((which & 0x10) != 0) {
        // one packet, as an answer or by accident
        const std::uint32_t id = script.next16() % (last + 1);
        Bytes packet = block->packet(id, (which & 0x08) != 0);
        if ((which & 0x07) == 0x07) {
            bend(*block, packet, script.next());
        }
        put_in(packet, camera_endpoint);
        return;
    }
    // all of it but for what gets lost
    const unsigned lost = (which & 0x0F) != 0 ? script.next16() : 0;
    for (std::uint32_t id = 0; id <= last; ++id) {
        if ((lost >> id % 16 & 1) == 0 || (which & 0x0F) == 0) {
            put_in(block->packet(id, false), camera_endpoint, (which & 0x01) == 0);
        }
    }
}

void World::send_forged(Script& script)
{
    const unsigned which = script.next();
    Block* const target = block(which >> 5);
    if (target == nullptr) {
        return;
    }
    Bytes bytes = target->packet(script.next16() % (target->payload_packets() + 2), false);
    const unsigned changes = 1 + which % 4;
    for (unsigned i = 0; i < changes; ++i) {
        const unsigned at = script.next();
        bytes[at % bytes.size()] = static_cast<std::uint8_t>(script.next());
    }
    if ((which & 0x10) != 0) {
        bytes.resize(script.next() % (bytes.size() + 40), 0xEE);
    }
    // it may speak for any block
    if (const auto packet = gvsp::decode_packet(bytes)) {
        for (Block& one : blocks_) {
            one.forged = one.forged || one.header.block_id == packet->header.block_id;
        }
        const auto leader =
            packet->header.format == gvsp::Format::leader || packet->header.format == gvsp::Format::all_in;
        // data without a zero, so that what was not written shows
        const std::size_t head = packet->header.size();
        for (std::size_t i = head; !leader && packet->header.format != gvsp::Format::trailer && i < bytes.size(); ++i) {
            bytes[i] = std::max(bytes[i], std::uint8_t{1});
        }
    }
    const bool foreign = (which & 0x0C) == 0x0C;
    put_in(bytes, foreign ? Endpoint{Ipv4Address{7}, 1} : camera_endpoint);
}

/// Beginnings of blocks that never go on, or one packet over and over.
void World::flood(Script& script)
{
    const unsigned which = script.next();
    Block* const target = block(which >> 5);
    if (target == nullptr) {
        return;
    }
    gvsp::Header header = target->header;
    Bytes bytes = target->packet(script.next() % (target->payload_packets() + 2), (which & 1) != 0);
    for (unsigned i = 0; i < 100; ++i) {
        put_in(bytes, camera_endpoint);
        if ((which & 2) != 0) {
            header.block_id = gvsp::next_block_id(header.block_id, header.extended_ids);
            for (Block& one : blocks_) {
                one.forged = one.forged || one.header.block_id == header.block_id;
            }
            gvsp::Header next = gvsp::decode_packet(bytes)->header;
            next.block_id = header.block_id;
            gvsp::encode_header(next, bytes);
        }
    }
}

void World::answer_request(Script& script)
{
    if (requests_.empty()) {
        return;
    }
    const wire::gvcp::PacketResend request = requests_.front();
    requests_.pop_front();
    const unsigned how = script.next();
    const auto found =
        std::ranges::find_if(blocks_, [&](const Block& one) { return one.header.block_id == request.block_id; });
    constexpr std::array refusals{gvsp::Status::packet_unavailable, gvsp::Status::packet_and_previous_removed,
                                  gvsp::Status::packet_removed, gvsp::Status::packet_not_yet_available,
                                  gvsp::Status::packet_temporarily_unavailable};
    for (std::uint64_t id = request.first_packet; id <= std::min(request.last_packet, request.first_packet + 40U);
         ++id) {
        if (how < 0xC0 && found != blocks_.end() && id <= found->payload_packets() + 1) {
            if ((how >> id % 6 & 1) == 0) {
                Bytes packet = found->packet(static_cast<std::uint32_t>(id), true);
                if (how >= 0x80) {
                    bend(*found, packet, script.next());
                }
                put_in(packet, camera_endpoint);
            }
            continue;
        }
        gvsp::Header header;
        header.extended_ids = request.extended_ids;
        header.block_id = request.block_id;
        header.packet_id = static_cast<std::uint32_t>(id);
        header.format = gvsp::Format::payload;
        header.status = refusals[how % refusals.size()];
        Bytes bytes(header.size());
        gvsp::encode_header(header, bytes);
        put_in(bytes, camera_endpoint);
    }
}

void World::set_settings(Script& script)
{
    const auto numbers = stream::number_settings();
    const auto switches = stream::switch_settings();
    const unsigned which = script.next() % (numbers.size() + switches.size());
    const unsigned value = script.next();
    if (which < numbers.size()) {
        const stream::NumberSetting& setting = numbers[which];
        settings_.*setting.value = std::clamp(value, setting.min, setting.max);
    } else {
        settings_.*switches[which - numbers.size()].value = value % 2 != 0;
    }
    assembler_.set_settings(settings_);
}

void World::step(Script& script)
{
    const unsigned what = script.next();
    switch (what % 16) {
    case 0:
    case 1: queue_a_buffer(); break;
    case 2:
    case 3: begin_block(script); break;
    case 4: what < 0xE0 ? begin_block(script) : flood(script); break;
    case 5:
    case 6:
    case 7: send_true(script); break;
    case 8: send_forged(script); break;
    case 9: now_ += std::chrono::microseconds(script.next16() * 4); break;
    case 10: now_ += std::chrono::milliseconds(script.next16()); break;
    case 11: answer_request(script); break;
    case 12: set_settings(script); break;
    case 13: assembler_.abort(what < 0x80 ? stream::Ending::aborted : stream::Ending::auto_aborted); break;
    case 14: assembler_.discard(); break;
    default: {
        Guarded& guarded = *memory_[what / 16 % memory_.size()];
        // the client destroys a buffer that it had queued
        require(assembler_.forget(guarded.buffer) == (guarded.place == Guarded::Place::assembler));
        if (guarded.place == Guarded::Place::assembler) {
            guarded.place = Guarded::Place::client;
            guarded.handed_back.assign(guarded.content().begin(), guarded.content().end());
        }
    }
    }
    flush_batch();
    if (requests_.size() > 256) {
        requests_.clear();
    }
    assembler_.on_time(now_);
    check_sums();
}

void World::end()
{
    assembler_.abort();
    check_sums();
    require(assembler_.blocks_in_flight() == 0);
    for (const auto& one : memory_) {
        require(one->place != Guarded::Place::assembler);
        one->check_guards();
        if (one->place == Guarded::Place::client) {
            require(fuzz::equal(one->content(), one->handed_back));
        }
    }
}

void World::check_sums() const
{
    const stream::Counters& counters = assembler_.counters();
    std::uint64_t packets = 0;
    for (const std::uint64_t count : counters.packets) {
        packets += count;
    }
    require(packets == datagrams_);
    std::uint64_t ended = 0;
    for (const std::uint64_t count : counters.blocks) {
        ended += count;
    }
    require(ended + assembler_.blocks_in_flight() == counters.blocks_begun);
    require(assembler_.blocks_in_flight() <= stream::most_blocks_in_flight);
}

/// What a buffer lists lies within it.
void World::check_contents(const Guarded& guarded) const
{
    const PvBuffer& buffer = guarded.buffer;
    std::uint32_t ranges = 0;
    require(buffer.GetMissingPacketIdsCount(ranges).IsOK());
    for (std::uint32_t i = 0; i < std::min(ranges, 64U); ++i) {
        std::uint32_t low = 0;
        std::uint32_t high = 0;
        require(buffer.GetMissingPacketIds(i, low, high).IsOK() && low <= high);
    }
    for (std::uint32_t i = 0; i < buffer.GetChunkCount(); ++i) {
        std::uint32_t id = 0;
        const std::uint8_t* data = nullptr;
        std::uint32_t size = 0;
        require(buffer.GetChunk(i, id, data, size).IsOK());
        fuzz::require_within({data, size}, guarded.content());
    }
    for (std::uint32_t i = 0; i < buffer.GetPartCount(); ++i) {
        PvBufferPart part;
        require(buffer.GetPart(i, part).IsOK());
        fuzz::require_within({part.Data, part.Size}, guarded.content());
    }
    if (const PvImage* image = buffer.GetImage()) {
        require(image->GetImageSize() <= guarded.size);
    }
}

void World::check_good(const Guarded& guarded) const
{
    const PvBuffer& buffer = guarded.buffer;
    const View acquired = guarded.content().first(buffer.GetAcquiredSize());
    // what landed in the place of another and was taken back leaves its bytes there
    const auto has_no_hole = [](View bytes) { return std::ranges::find(bytes, std::uint8_t{0}) == bytes.end(); };
    require(lands_ || has_no_hole(acquired));
    for (std::uint32_t i = 0; i < buffer.GetPartCount(); ++i) {
        PvBufferPart part;
        require(buffer.GetPart(i, part).IsOK() && has_no_hole({part.Data, part.Size}));
    }
    if (const PvImage* image = buffer.GetImage();
        image != nullptr && (static_cast<std::uint32_t>(image->GetPixelType()) & 0x80000000) == 0) {
        // lines of packed formats may lie without gaps
        const std::uint64_t bits = std::uint64_t{image->GetWidth()} * image->GetHeight() * image->GetBitsPerPixel();
        require(acquired.size() >= (bits + 7) / 8);
    }
    for (const Block& block : blocks_) {
        if (!block.forged && block.header.block_id == buffer.GetBlockID64()) {
            check_true(guarded, block);
        }
    }
}

void World::check_true(const Guarded& guarded, const Block& block) const
{
    const PvBuffer& buffer = guarded.buffer;
    require(buffer.GetAcquiredSize() == block.data.size());
    require(fuzz::equal(guarded.content().first(block.data.size()), block.data));
    if (block.leader.base_type() == type::image || block.leader.base_type() == type::multi_zone) {
        const PvImage* const image = buffer.GetImage();
        require(image != nullptr && image->GetWidth() == block.leader.image->size_x &&
                image->GetHeight() == block.leader.image->size_y);
    }
    if (block.leader.base_type() == type::multi_part) {
        require(buffer.GetPartCount() == 2);
        PvBufferPart part;
        require(buffer.GetPart(0, part).IsOK() && part.Size == block.first_part);
        require(buffer.GetPart(1, part).IsOK() && part.Data == guarded.content().data() + block.first_part);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Script script({data, size});
    const unsigned how = script.next();
    World world((how & 1) != 0, 1 + how / 16);
    for (std::size_t i = 0; i < most_steps && !script.is_over(); ++i) {
        world.step(script);
    }
    world.end();
    return 0;
}
