// The way of a pipeline's buffers: from the pool to the stream, to the output queue, to the client and back.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "sdk/base/PvResult.h"
#include "sdk/buffer/PvBuffer.h"
#include "sdk/stream_core/stream_channel.h"

namespace vex::pipeline {

/// What PvPipeline says of itself, without its notifications: those are the caller's to make, before a new buffer is
/// admitted and before a surplus one is let go.
///
/// A thread takes filled buffers from the stream and queues others. It never calls the application. It shares the
/// channel with the stream, which closes it when it goes: every call on it then fails, and the thread ends.
///
/// Thread safety: all members from any thread; destruction needs that none is running. `state_` is taken before any
/// lock of the channel.
class BufferRound {
public:
    /// `channel` is null for a pipeline without a stream.
    explicit BufferRound(std::shared_ptr<stream::StreamChannel> channel);
    ~BufferRound();
    BufferRound(const BufferRound&) = delete;
    BufferRound& operator=(const BufferRound&) = delete;

    [[nodiscard]] std::uint32_t buffer_size() const;
    void set_buffer_size(std::uint32_t size);
    [[nodiscard]] std::uint32_t buffer_count() const;
    PvResult set_buffer_count(std::uint32_t count);
    [[nodiscard]] std::uint32_t output_size() const;
    [[nodiscard]] std::uint32_t most_output() const;
    PvResult set_most_output(std::uint32_t count);
    [[nodiscard]] std::uint64_t blocks_dropped() const;

    /// A new buffer for the pool; null when the pool is complete. The round does not use it before admit(). Throws
    /// bad_alloc.
    [[nodiscard]] PvBuffer* make_buffer();
    void admit(PvBuffer& buffer);
    /// A buffer that the pool need not have any more; null when there is none. All of them after dismiss_all().
    [[nodiscard]] std::unique_ptr<PvBuffer> take_surplus();

    /// What start() would fail with, as far as can be told before there are buffers.
    [[nodiscard]] PvResult may_start() const;
    PvResult start();
    void stop();
    [[nodiscard]] bool is_running() const;
    void reset();
    /// Makes every buffer a surplus one, wherever it is. Only when stopped.
    void dismiss_all();

    PvResult retrieve(PvBuffer*& buffer, std::uint32_t timeout_ms, PvResult& operation_result);
    PvResult release(PvBuffer* buffer);

    /// The pipeline has gone; one of its calls may still be under way.
    void abandon() noexcept { abandoned_ = true; }
    [[nodiscard]] bool is_abandoned() const noexcept { return abandoned_; }

private:
    enum class Place : std::uint8_t {
        created,  ///< not admitted yet
        idle,
        queued,  ///< on the stream
        output,
        client,
        surplus,  ///< to be deleted by the next call that may notify
    };
    struct Member {
        std::unique_ptr<PvBuffer> buffer;
        Place place;
    };
    enum class State : std::uint8_t {
        stopped,
        running,
        stopping,
        ended,  ///< the stream closed; the thread has ended or is about to
    };

    [[nodiscard]] std::uint32_t most_buffers() const;
    [[nodiscard]] Member* find(const PvBuffer* buffer) noexcept;
    void settle(Member& member) noexcept;
    void queue_idle() noexcept;
    void drop_oldest_output() noexcept;
    void clear_output() noexcept;
    void end_run(bool only_if_over);
    void run() noexcept;
    void take_in(PvBuffer& buffer, PvResult::Code operation_result) noexcept;
    void learn_size(const PvBuffer& buffer, PvResult::Code operation_result) noexcept;
    [[nodiscard]] bool has_lost_stream() const;
    [[nodiscard]] PvResult why_nothing(bool stopped, std::uint32_t timeout_ms, std::uint64_t underruns) const;

    const std::shared_ptr<stream::StreamChannel> channel_;
    stream::Claim claim_;
    bool abandoned_ = false;  // used by the thread that destroys the pipeline only

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    State state_ = State::stopped;
    std::thread thread_;
    std::uint32_t buffer_size_;
    std::uint32_t buffer_count_;
    std::uint32_t most_output_;
    std::vector<std::unique_ptr<Member>> pool_;
    std::uint32_t wanted_ = 0;     // members that are not surplus
    std::vector<Member*> output_;  // with room for all members, so that nothing can fail when a block arrives
    std::uint64_t starts_ = 0;
    std::uint64_t dropped_ = 0;
};

}  // namespace vex::pipeline
