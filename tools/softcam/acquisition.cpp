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

bool moves(test_pattern::Pattern pattern)
{
    using test_pattern::Pattern;
    return pattern == Pattern::card || pattern == Pattern::grey_horizontal_ramp_moving ||
           pattern == Pattern::grey_vertical_ramp_moving || pattern == Pattern::color_gradient_moving;
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

Acquisition::Acquisition(Ipv4Address source, std::size_t history_blocks, CameraEvents& events, const net::Clock& clock)
    : events_(events), clock_(clock),
      socket_(net::UdpSocket::open({source, 0}, {.broadcast = true, .send_buffer_bytes = send_buffer_bytes})),
      transmitter_(socket_, history_blocks, clock), epoch_(clock.now()), worker_([this] { run(); })
{}

Acquisition::~Acquisition()
{
    {
        const std::lock_guard guard(mutex_);
        quit_ = true;
        transmitter_.abort();
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
        transmitter_.abort();
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

void Acquisition::set_channel(const virtual_device::StreamChannel& channel)
{
    const std::lock_guard guard(mutex_);
    if (!channel_.is_open() && channel.is_open()) {
        block_id_ = 0;
    }
    channel_ = channel;
    socket_.set_dont_fragment(channel.do_not_fragment);
    if (!channel.is_open()) {
        if (sending_) {
            transmitter_.abort();
        }
        transmitter_.forget();
    }
    changed_.notify_all();
}

void Acquisition::send_test_packet(const virtual_device::StreamChannel& channel)
{
    transmitter_.send_test_packet(channel.destination, channel.packet_size);
}

void Acquisition::resend(const wire::gvcp::PacketResend& range, bool extended_status)
{
    transmitter_.resend(range, extended_status);
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

std::uint16_t Acquisition::source_port() const
{
    const std::lock_guard guard(mutex_);
    return socket_.local().port;
}

void Acquisition::reopen(Ipv4Address source)
{
    std::unique_lock lock(mutex_);
    if (socket_.local().address == source) {
        return;
    }
    changed_.wait(lock, [this] { return !sending_; });
    socket_ = net::UdpSocket::open({source, 0}, {.broadcast = true, .send_buffer_bytes = send_buffer_bytes});
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
        if (!ready_for_frame()) {
            changed_.wait(lock);
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

void Acquisition::take_frame(std::unique_lock<std::mutex>& lock)
{
    const AcquisitionSettings settings = settings_;
    const virtual_device::StreamChannel channel = channel_;
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
    if (!channel.is_open()) {
        if (last) {
            end();
        }
        return;
    }

    block_id_ = wire::gvsp::next_block_id(block_id_, channel.extended_ids);
    auto block = std::make_shared<transmitter::Block>();
    block->block_id = block_id_;
    block->leader.payload_type = wire::gvsp::payload_type::image;
    block->leader.timestamp = ticks(now);
    block->leader.image = wire::gvsp::ImageInfo{.pixel_format = settings.frame.pixel_format,
                                                .size_x = settings.frame.width,
                                                .size_y = settings.frame.height,
                                                .offset_x = settings.frame.offset_x,
                                                .offset_y = settings.frame.offset_y};
    block->trailer.payload_type = wire::gvsp::payload_type::image;
    block->trailer.size_y = settings.frame.height;
    const std::uint64_t block_id = block_id_;
    events_.raise(EventKind::frame_start, ticks(now), block_id);
    if (last) {
        end();
    }
    sending_ = true;
    transmitter_.clear_abort();
    lock.unlock();

    const FrameCache::Frame frame = cache_.frame(settings.frame, block_id);
    block->data = *frame;
    block->owner = frame;
    transmitter_.configure({.destination = channel.destination,
                            .packet_size = channel.packet_size,
                            .extended_ids = channel.extended_ids,
                            .packet_delay = std::chrono::nanoseconds(channel.packet_delay)});
    const std::error_code error = transmitter_.send(std::move(block));

    lock.lock();
    if (!error) {
        events_.raise(EventKind::frame_end, ticks(clock_.now()), block_id);
    }
    sending_ = false;
    changed_.notify_all();
}

}  // namespace softcam
