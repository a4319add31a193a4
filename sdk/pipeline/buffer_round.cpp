#include "sdk/pipeline/buffer_round.h"

#include <algorithm>
#include <chrono>
#include <new>
#include <system_error>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/base/thread_name.h"
#include "sdk/buffer/acquisition.h"

namespace vex::pipeline {

namespace {

constexpr std::uint32_t first_buffer_size = 1U << 20;
constexpr std::uint32_t first_buffer_count = 16;
/// On the word of a leader alone no buffer of the pool becomes larger than this.
constexpr std::uint64_t most_growth = 1U << 30;

/// Bytes that the block would have needed that did not fit into this buffer.
std::uint64_t needed_by(const PvBuffer& buffer)
{
    std::uint64_t needed = 0;
    if (const auto image = acquisition::geometry(buffer)) {
        needed = acquisition::required_size(*image);
    } else if (const PvRawData* raw = buffer.GetRawData()) {
        needed = raw->GetPayloadLength();
    }
    // what came with it, or all of it, is of unknown size
    return needed > buffer.GetSize() ? needed : std::uint64_t{buffer.GetSize()} * 2;
}

PvResult out_of_range(const char* what, std::uint32_t count, std::uint32_t most)
{
    return failure(PvResult::InvalidParameter, what, " ", count, ": the stream holds 1 to ", most, " buffers");
}

}  // namespace

BufferRound::BufferRound(std::shared_ptr<stream::StreamChannel> channel)
    : channel_(std::move(channel)), buffer_size_(first_buffer_size), buffer_count_(first_buffer_count),
      most_output_(most_buffers())
{}

BufferRound::~BufferRound() { stop(); }

/// That the stream takes, or would take if there were one.
std::uint32_t BufferRound::most_buffers() const
{
    return channel_ != nullptr ? channel_->most_buffers() : stream::StreamSettings{}.maximum_pre_queued_buffers;
}

std::uint32_t BufferRound::buffer_size() const
{
    const std::lock_guard lock(mutex_);
    return buffer_size_;
}

void BufferRound::set_buffer_size(std::uint32_t size)
{
    const std::lock_guard lock(mutex_);
    buffer_size_ = size;
}

std::uint32_t BufferRound::buffer_count() const
{
    const std::lock_guard lock(mutex_);
    return buffer_count_;
}

PvResult BufferRound::set_buffer_count(std::uint32_t count)
{
    if (const std::uint32_t most = most_buffers(); count == 0 || count > most) {
        return out_of_range("The number of buffers cannot be", count, most);
    }
    const std::lock_guard lock(mutex_);
    buffer_count_ = count;
    for (const auto& member : pool_) {
        if (member->place == Place::idle) {
            settle(*member);
        }
    }
    return PvResult::OK;
}

std::uint32_t BufferRound::output_size() const
{
    const std::lock_guard lock(mutex_);
    return static_cast<std::uint32_t>(output_.size());
}

std::uint32_t BufferRound::most_output() const
{
    const std::lock_guard lock(mutex_);
    return most_output_;
}

PvResult BufferRound::set_most_output(std::uint32_t count)
{
    if (const std::uint32_t most = most_buffers(); count == 0 || count > most) {
        return out_of_range("The output queue's maximum cannot be", count, most);
    }
    const std::lock_guard lock(mutex_);
    most_output_ = count;
    while (output_.size() > most_output_) {
        drop_oldest_output();
    }
    return PvResult::OK;
}

std::uint64_t BufferRound::blocks_dropped() const
{
    const std::lock_guard lock(mutex_);
    return dropped_;
}

PvBuffer* BufferRound::make_buffer()
{
    std::uint32_t size = 0;
    {
        const std::lock_guard lock(mutex_);
        if (wanted_ >= buffer_count_) {
            return nullptr;
        }
        size = buffer_size_;
    }
    auto made = std::make_unique<Member>(Member{std::make_unique<PvBuffer>(), Place::created});
    if (size != 0 && !made->buffer->Alloc(size).IsOK()) {
        throw std::bad_alloc();
    }
    const std::lock_guard lock(mutex_);
    if (wanted_ >= buffer_count_) {
        return nullptr;  // another call was faster
    }
    output_.reserve(pool_.size() + 1);
    pool_.push_back(std::move(made));
    ++wanted_;
    return pool_.back()->buffer.get();
}

void BufferRound::admit(PvBuffer& buffer)
{
    const std::lock_guard lock(mutex_);
    if (Member* member = find(&buffer)) {
        settle(*member);
    }
}

std::unique_ptr<PvBuffer> BufferRound::take_surplus()
{
    const std::lock_guard lock(mutex_);
    const auto found =
        std::find_if(pool_.begin(), pool_.end(), [](const auto& member) { return member->place == Place::surplus; });
    if (found == pool_.end()) {
        return nullptr;
    }
    std::unique_ptr<PvBuffer> buffer = std::move((*found)->buffer);
    pool_.erase(found);
    return buffer;
}

PvResult BufferRound::may_start() const
{
    if (channel_ == nullptr) {
        return failure(PvResult::NotConnected, "The pipeline has no stream");
    }
    if (is_running()) {
        return failure(PvResult::StateError, "The pipeline is started already");
    }
    if (!channel_->endpoints().has_value()) {
        return failure(PvResult::NotConnected, "The pipeline's stream is not open");
    }
    return PvResult::OK;
}

PvResult BufferRound::start()
{
    if (PvResult possible = may_start(); !possible.IsOK()) {
        return possible;
    }
    end_run(true);
    const std::lock_guard lock(mutex_);
    if (state_ != State::stopped) {
        return failure(PvResult::StateError, "The pipeline is started already");
    }
    if (PvResult claimed = channel_->make_claim(claim_); !claimed.IsOK()) {
        return claimed;
    }
    clear_output();
    state_ = State::running;
    ++starts_;
    queue_idle();
    try {
        thread_ = std::thread([this] { run(); });
    } catch (const std::system_error& error) {
        state_ = State::stopped;
        channel_->release_claim(claim_);
        for (const auto& member : pool_) {
            if (member->place == Place::queued) {
                settle(*member);
            }
        }
        return failure(PvResult::GenericError, "The pipeline's thread cannot be started: ", error.what());
    }
    return PvResult::OK;
}

void BufferRound::stop() { end_run(false); }

/// Ends the thread; with `only_if_over`, only that of a run that the stream has ended.
void BufferRound::end_run(bool only_if_over)
{
    std::thread thread;
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return state_ != State::stopping; });
        if (state_ == State::stopped || (only_if_over && !has_lost_stream())) {
            return;
        }
        state_ = State::stopping;
        thread = std::move(thread_);
    }
    channel_->begin_to_leave(claim_);
    thread.join();
    channel_->release_claim(claim_);
    {
        const std::lock_guard lock(mutex_);
        state_ = State::stopped;
    }
    changed_.notify_all();
}

bool BufferRound::is_running() const
{
    const std::lock_guard lock(mutex_);
    return state_ == State::running && channel_->is_claimed_by(claim_);
}

void BufferRound::reset()
{
    const std::lock_guard lock(mutex_);
    clear_output();
    dropped_ = 0;
    if (state_ == State::running || state_ == State::stopping) {
        return;
    }
    for (const auto& member : pool_) {
        if (member->place == Place::idle) {
            member->place = Place::surplus;
            --wanted_;
        }
    }
}

void BufferRound::dismiss_all()
{
    const std::lock_guard lock(mutex_);
    output_.clear();
    for (const auto& member : pool_) {
        member->place = Place::surplus;
    }
    wanted_ = 0;
}

PvResult BufferRound::retrieve(PvBuffer*& buffer, std::uint32_t timeout_ms, PvResult& operation_result)
{
    buffer = nullptr;
    std::unique_lock lock(mutex_);
    const std::uint64_t start = starts_;
    const std::uint64_t underruns = output_.empty() && channel_ != nullptr ? channel_->underruns() : 0;
    const auto over = [&] { return state_ != State::running || starts_ != start; };
    const auto done = [&] { return !output_.empty() || over(); };
    if (timeout_ms == stream::StreamChannel::wait_forever) {
        changed_.wait(lock, done);
    } else {
        changed_.wait_for(lock, std::chrono::milliseconds(timeout_ms), done);
    }
    if (output_.empty() || starts_ != start) {
        return operation_result = why_nothing(over(), timeout_ms, underruns);
    }
    Member& first = *output_.front();
    output_.erase(output_.begin());
    first.place = Place::client;
    buffer = first.buffer.get();
    operation_result = buffer->GetOperationResult();
    return PvResult::OK;
}

/// Whether or not the thread has noticed yet. With the lock held.
bool BufferRound::has_lost_stream() const
{
    return state_ == State::ended || (state_ == State::running && !channel_->is_claimed_by(claim_));
}

/// With the lock held.
PvResult BufferRound::why_nothing(bool stopped, std::uint32_t timeout_ms, std::uint64_t underruns) const
{
    if (has_lost_stream()) {
        return failure(PvResult::NotConnected, "The pipeline's stream was closed");
    }
    if (stopped) {
        return failure(PvResult::StateError, "The pipeline is not started");
    }
    const auto with_client =
        std::count_if(pool_.begin(), pool_.end(), [](const auto& member) { return member->place == Place::client; });
    if (static_cast<std::size_t>(with_client) == pool_.size()) {
        return failure(PvResult::Timeout, "No block was completed within ", timeout_ms, " ms: all ", with_client,
                       " buffers are with the client, which has to release them");
    }
    return failure(PvResult::Timeout, "No block was completed within ", timeout_ms, " ms",
                   channel_->why_nothing(underruns));
}

PvResult BufferRound::release(PvBuffer* buffer)
{
    if (buffer == nullptr) {
        return failure(PvResult::InvalidParameter, "There is no buffer to release");
    }
    const std::lock_guard lock(mutex_);
    Member* const member = find(buffer);
    if (member == nullptr) {
        return failure(PvResult::InvalidParameter, "The buffer is none of this pipeline's");
    }
    if (member->place != Place::client) {
        return failure(PvResult::StateError, "The buffer is not with the client: it was released already");
    }
    if (acquisition::is_held(*buffer)) {
        return failure(PvResult::StateError, "The buffer is queued elsewhere; retrieve it there first");
    }
    settle(*member);
    return PvResult::OK;
}

/// Null for a pointer that is no member's; it is not looked behind. With the lock held, as all below.
BufferRound::Member* BufferRound::find(const PvBuffer* buffer) noexcept
{
    for (const auto& member : pool_) {
        if (member->buffer.get() == buffer) {
            return member.get();
        }
    }
    return nullptr;
}

/// Sends a buffer on that is nowhere: to the stream, or out of the pool where there are more than wanted.
void BufferRound::settle(Member& member) noexcept
{
    if (wanted_ > buffer_count_) {
        member.place = Place::surplus;
        --wanted_;
        return;
    }
    member.place = Place::idle;
    queue_idle();
}

/// Queues what is idle, as far as the stream takes it, in the size that is asked for now.
void BufferRound::queue_idle() noexcept
{
    if (state_ != State::running) {
        return;
    }
    for (const auto& member : pool_) {
        if (member->place != Place::idle) {
            continue;
        }
        PvBuffer& buffer = *member->buffer;
        if (buffer_size_ != 0 && buffer.GetSize() != buffer_size_) {
            // without memory for it the buffer keeps what it has, and what does not fit is reported with the block
            static_cast<void>(buffer.Alloc(buffer_size_));
        }
        if (!channel_->queue(&buffer, &claim_).IsOK()) {
            return;
        }
        member->place = Place::queued;
    }
}

void BufferRound::drop_oldest_output() noexcept
{
    Member& oldest = *output_.front();
    output_.erase(output_.begin());
    ++dropped_;
    channel_->count_pipeline_drop();
    settle(oldest);
}

void BufferRound::clear_output() noexcept
{
    while (!output_.empty()) {
        Member& last = *output_.back();
        output_.pop_back();
        settle(last);
    }
}

/// The pipeline's thread.
void BufferRound::run() noexcept
{
    name_this_thread("pv-pipeline");
    PvBuffer* buffer = nullptr;
    PvResult operation_result;
    while (channel_->retrieve(buffer, operation_result, stream::StreamChannel::wait_forever, &claim_).IsOK()) {
        take_in(*buffer, operation_result.GetCode());
    }
    {
        const std::lock_guard lock(mutex_);
        if (state_ == State::running) {
            state_ = State::ended;
        }
        for (const auto& member : pool_) {
            if (member->place == Place::queued) {
                settle(*member);  // the stream has given it up
            }
        }
    }
    changed_.notify_all();
}

void BufferRound::take_in(PvBuffer& buffer, PvResult::Code operation_result) noexcept
{
    {
        const std::lock_guard lock(mutex_);
        Member* const member = find(&buffer);  // the stream has none but the pool's
        learn_size(buffer, operation_result);
        if (operation_result == PvResult::Aborted || operation_result == PvResult::Timeout) {
            settle(*member);  // no block began to fill it, or somebody threw that away
            return;
        }
        member->place = Place::output;
        output_.push_back(member);
        if (output_.size() > most_output_) {
            drop_oldest_output();
        }
    }
    changed_.notify_one();
}

/// A block that needed more memory than the pool's buffers have sets the size for all.
void BufferRound::learn_size(const PvBuffer& buffer, PvResult::Code operation_result) noexcept
{
    std::uint64_t needed = buffer.GetSize();
    if (operation_result == PvResult::BufferTooSmall) {
        needed = std::max(needed, std::min(needed_by(buffer), most_growth));
    }
    if (needed > buffer_size_) {
        buffer_size_ = static_cast<std::uint32_t>(needed);
    }
}

}  // namespace vex::pipeline
