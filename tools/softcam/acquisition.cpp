#include "tools/softcam/acquisition.h"

#include <algorithm>

#include "sdk/base/thread_name.h"
#include "sdk/wire/gvsp.h"

using namespace vex;

namespace softcam {

namespace {

// Enough for the whole cycle of a frame of some 16 million bytes; larger ones are rendered each time.
constexpr std::size_t largest_cache = std::size_t{256} << 20;

// The worker looks at the clock at least so often while it waits for the next frame: the clock may be a test's.
constexpr std::chrono::milliseconds longest_wait{5};

constexpr int send_buffer_bytes = 4 << 20;

net::UdpSocket open_socket(Ipv4Address source)
{
    return net::UdpSocket::open({source, 0}, {.broadcast = true, .send_buffer_bytes = send_buffer_bytes});
}

bool moves(test_pattern::Pattern pattern)
{
    using test_pattern::Pattern;
    return pattern == Pattern::card || pattern == Pattern::grey_horizontal_ramp_moving ||
           pattern == Pattern::grey_vertical_ramp_moving || pattern == Pattern::color_gradient_moving;
}

FrameCache::Frame with_chunks(const std::vector<std::uint8_t>& picture, const AcquisitionSettings& settings,
                              const transmitter::Block& block)
{
    auto data = std::make_shared<std::vector<std::uint8_t>>();
    data->reserve(picture.size() + chunk_bytes(settings.chunks));
    data->assign(picture.begin(), picture.end());
    append_chunks(*data, settings.chunks, settings.frame, block.leader.timestamp, block.block_id);
    return data;
}

}  // namespace

FrameCache::Frame FrameCache::frame(const test_pattern::FrameSettings& settings, std::uint64_t block_id)
{
    if (!(settings == settings_)) {
        frames_ = {};
        bytes_ = 0;
        settings_ = settings;
    }
    const std::size_t index = moves(settings.pattern) ? block_id % test_pattern::cycle : 0;
    if (frames_[index]) {
        return frames_[index];
    }
    auto rendered = std::make_shared<std::vector<std::uint8_t>>(test_pattern::image_bytes(settings));
    test_pattern::render(settings, block_id, *rendered);
    if (bytes_ + rendered->size() <= largest_cache) {
        bytes_ += rendered->size();
        frames_[index] = rendered;
    }
    return rendered;
}

Acquisition::Channel::Channel(Ipv4Address source, std::size_t history_blocks, const net::Clock& clock)
    : socket(open_socket(source)), transmitter(socket, history_blocks, clock),
      resends([this](const auto& range, bool extended_status, const std::atomic<bool>& cancelled) {
          transmitter.resend(range, extended_status, cancelled);
      })
{}

Acquisition::Acquisition(Ipv4Address source, unsigned channels, std::size_t history_blocks,
                         const SendingOptions& sending, CameraEvents& events, const net::Clock& clock)
    : how_(sending), events_(events), clock_(clock), epoch_(clock.now())
{
    for (unsigned i = 0; i < channels; ++i) {
        channels_.push_back(std::make_unique<Channel>(source, history_blocks, clock));
    }
    worker_ = std::thread([this] { run(); });
}

Acquisition::~Acquisition()
{
    {
        const std::lock_guard guard(mutex_);
        quit_ = true;
        for (const auto& channel : channels_) {
            channel->transmitter.abort();
        }
    }
    changed_.notify_all();
    worker_.join();
}

void Acquisition::start(const AcquisitionSettings& settings)
{
    const std::lock_guard guard(mutex_);
    settings_ = settings;
    running_ = true;
    triggers_ = 0;
    frames_left_ =
        settings.mode == AcquisitionMode::single_frame ? 1 : std::max<std::uint32_t>(1, settings.frame_count);
    next_frame_ = clock_.now();
    events_.raise(EventKind::acquisition_start, ticks(next_frame_));
    changed_.notify_all();
}

// Called with the lock held.
void Acquisition::end()
{
    if (!running_) {
        return;
    }
    running_ = false;
    events_.raise(EventKind::acquisition_end, ticks(clock_.now()));
    changed_.notify_all();
}

void Acquisition::stop()
{
    const std::lock_guard guard(mutex_);
    end();
}

void Acquisition::abort()
{
    const std::lock_guard guard(mutex_);
    end();
    if (sending_) {
        for (const auto& channel : channels_) {
            channel->transmitter.abort();
        }
    }
}

bool Acquisition::is_running() const
{
    const std::lock_guard guard(mutex_);
    return running_;
}

void Acquisition::change(const AcquisitionSettings& settings)
{
    const std::lock_guard guard(mutex_);
    if (settings.triggered != settings_.triggered) {
        triggers_ = 0;
        next_frame_ = clock_.now();
    }
    settings_ = settings;
    changed_.notify_all();
}

void Acquisition::trigger()
{
    const std::lock_guard guard(mutex_);
    if (running_ && settings_.triggered) {
        ++triggers_;
        changed_.notify_all();
    }
}

void Acquisition::set_channel(unsigned index, const virtual_device::StreamChannel& state)
{
    const std::lock_guard guard(mutex_);
    Channel& channel = *channels_.at(index);
    if (!channel.state.is_open() && state.is_open()) {
        channel.block_id = 0;
    }
    channel.state = state;
    channel.socket.set_dont_fragment(state.do_not_fragment);
    if (!state.is_open()) {
        if (sending_) {
            channel.transmitter.abort();
        }
        channel.resends.clear();
        channel.transmitter.forget();
    }
    changed_.notify_all();
}

void Acquisition::send_test_packet(unsigned channel, const virtual_device::StreamChannel& state)
{
    channels_.at(channel)->transmitter.send_test_packet(state.destination, state.packet_size);
}

void Acquisition::resend(const wire::gvcp::PacketResend& range, bool extended_status)
{
    channels_.at(range.channel)->resends.push(range, extended_status);
}

void Acquisition::set_loss(const std::shared_ptr<transmitter::PacketLoss>& loss)
{
    for (const auto& channel : channels_) {
        channel->transmitter.set_loss(loss);
    }
}

void Acquisition::set_faults(const transmitter::StreamFaultSettings& faults)
{
    const std::lock_guard guard(mutex_);
    transmitter::StreamFaultSettings settings = faults;
    for (const auto& channel : channels_) {
        channel->faults = faults.any() ? std::make_shared<transmitter::StreamFaults>(settings) : nullptr;
        channel->transmitter.set_faults(channel->faults);
        ++settings.seed;
    }
    changed_.notify_all();
}

transmitter::StreamFaultStatistics Acquisition::fault_statistics() const
{
    const std::lock_guard guard(mutex_);
    transmitter::StreamFaultStatistics all;
    for (const auto& channel : channels_) {
        if (channel->faults) {
            all += channel->faults->statistics();
        }
    }
    return all;
}

transmitter::TransmitterStatistics Acquisition::statistics() const
{
    transmitter::TransmitterStatistics all;
    for (const auto& channel : channels_) {
        const auto one = channel->transmitter.statistics();
        all.blocks += one.blocks;
        all.packets += one.packets;
        all.payload_bytes += one.payload_bytes;
        all.resent_packets += one.resent_packets;
        all.refused_packets += one.refused_packets;
        all.lost_packets += one.lost_packets;
        all.send_errors += one.send_errors;
    }
    return all;
}

std::uint64_t Acquisition::timestamp() const
{
    const std::lock_guard guard(mutex_);
    return ticks(clock_.now());
}

std::uint64_t Acquisition::ticks(net::Clock::time_point at) const
{
    return static_cast<std::uint64_t>(std::chrono::nanoseconds(at - epoch_).count());
}

void Acquisition::reset_timestamp()
{
    const std::lock_guard guard(mutex_);
    epoch_ = clock_.now();
}

std::uint16_t Acquisition::source_port(unsigned channel) const
{
    const std::lock_guard guard(mutex_);
    return channels_.at(channel)->socket.local().port;
}

void Acquisition::reopen(Ipv4Address source)
{
    std::unique_lock lock(mutex_);
    if (channels_.front()->socket.local().address == source) {
        return;
    }
    changed_.wait(lock, [this] { return !sending_; });
    for (const auto& channel : channels_) {
        channel->resends.clear();
        channel->socket = open_socket(source);
    }
}

bool Acquisition::ready_for_frame() const
{
    if (!running_) {
        return false;
    }
    return settings_.triggered ? triggers_ > 0 : true;
}

void Acquisition::run()
{
    name_this_thread("softcam-images");
    std::unique_lock lock(mutex_);
    while (!quit_) {
        // packets that a fault holds back come in pauses, too
        const bool faulty = send_held();
        if (!ready_for_frame()) {
            if (faulty) {
                changed_.wait_for(lock, longest_wait);
            } else {
                changed_.wait(lock);
            }
            continue;
        }
        const auto left = next_frame_ - clock_.now();
        if (left > net::Clock::duration::zero()) {
            changed_.wait_for(lock, std::min<net::Clock::duration>(left, longest_wait));
            continue;
        }
        take_frame(lock);
    }
}

// Called with the lock held. Whether something may be held back again.
bool Acquisition::send_held()
{
    bool faulty = false;
    for (const auto& channel : channels_) {
        if (channel->faults) {
            channel->transmitter.send_held();
            faulty = true;
        }
    }
    return faulty;
}

// Called with the lock held.
std::vector<Acquisition::Outgoing> Acquisition::prepare_frame(const AcquisitionSettings& settings,
                                                              std::uint64_t timestamp)
{
    std::vector<Outgoing> frame;
    for (const auto& channel : channels_) {
        const virtual_device::StreamChannel& state = channel->state;
        if (!state.is_open()) {
            continue;
        }
        channel->block_id = wire::gvsp::next_block_id(channel->block_id, state.extended_ids);
        channel->transmitter.clear_abort();
        auto block = std::make_shared<transmitter::Block>();
        block->block_id = channel->block_id;
        block->all_in = how_.all_in;
        block->leader.payload_type = wire::gvsp::payload_type::image;
        block->leader.timestamp = timestamp;
        block->leader.image = wire::gvsp::ImageInfo{.pixel_format = settings.frame.pixel_format,
                                                    .size_x = settings.frame.width,
                                                    .size_y = settings.frame.height,
                                                    .offset_x = settings.frame.offset_x,
                                                    .offset_y = settings.frame.offset_y};
        block->trailer.payload_type = wire::gvsp::payload_type::image;
        block->trailer.size_y = settings.frame.height;
        if (settings.chunks.any()) {
            block->leader.payload_type |= wire::gvsp::payload_type::chunks_appended;
            block->trailer.payload_type |= wire::gvsp::payload_type::chunks_appended;
            block->trailer.chunk_data_length = static_cast<std::uint32_t>(chunk_bytes(settings.chunks));
            block->trailer.chunk_layout_id = settings.chunks.enabled;
        }
        frame.push_back({.channel = channel.get(),
                         .settings = {.destination = state.destination,
                                      .packet_size = state.packet_size,
                                      .extended_ids = state.extended_ids,
                                      .packet_delay = std::chrono::nanoseconds(state.packet_delay),
                                      .trains = how_.trains},
                         .block = std::move(block)});
    }
    return frame;
}

void Acquisition::take_frame(std::unique_lock<std::mutex>& lock)
{
    const AcquisitionSettings settings = settings_;
    const auto now = clock_.now();
    // A camera that fell behind goes on at its rate from here instead of making up with a burst.
    next_frame_ += settings.period;
    if (next_frame_ <= now) {
        next_frame_ = now + settings.period;
    }
    if (settings.triggered) {
        --triggers_;
    }
    const bool last = settings.mode != AcquisitionMode::continuous && --frames_left_ == 0;
    const std::vector<Outgoing> frame = prepare_frame(settings, ticks(now));
    if (frame.empty()) {
        if (last) {
            end();
        }
        return;
    }
    // events tell the first channel's block
    const std::uint64_t block_id = frame.front().block->block_id;
    events_.raise(EventKind::frame_start, ticks(now), block_id);
    if (last) {
        end();
    }
    sending_ = true;
    lock.unlock();

    bool whole = true;
    for (const Outgoing& out : frame) {
        // a channel's block ID chooses the picture, so that each shows the whole cycle
        FrameCache::Frame picture = cache_.frame(settings.frame, out.block->block_id);
        if (settings.chunks.any()) {
            picture = with_chunks(*picture, settings, *out.block);
        }
        out.block->data = *picture;
        out.block->owner = picture;
        send_as(how_.payload, *out.block, out.settings.extended_ids);
        out.channel->transmitter.configure(out.settings);
        whole = !out.channel->transmitter.send(out.block) && whole;
    }

    lock.lock();
    if (whole) {
        events_.raise(EventKind::frame_end, ticks(clock_.now()), block_id);
    }
    sending_ = false;
    changed_.notify_all();
}

}  // namespace softcam
