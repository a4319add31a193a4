// One user that has the stream to itself.
#include "sdk/base/failure.h"
#include "sdk/stream_core/stream_channel.h"

namespace vex::stream {

PvResult StreamChannel::make_claim(Claim& claim)
{
    {
        const std::lock_guard lock(queues_);
        if (!open_) {
            return failure(PvResult::NotConnected, "The stream is not open");
        }
        if (claim_ != 0) {
            return failure(PvResult::StateError, "Another pipeline is running on the stream");
        }
        if (const std::size_t held = idle_.size() + ready_.size() + filling_; held != 0) {
            return failure(PvResult::StateError, "The stream holds ", held,
                           " buffers that are not the pipeline's; retrieve them first");
        }
        claim_ = claim.number = ++last_claim_;
        claim.leaving = false;
    }
    changed_.notify_all();
    return PvResult::OK;
}

void StreamChannel::begin_to_leave(Claim& claim)
{
    const std::lock_guard work(work_);
    {
        const std::lock_guard lock(queues_);
        if (claim_ == 0 || claim_ != claim.number) {
            return;
        }
        claim.leaving = true;
    }
    abort_all();
}

void StreamChannel::release_claim(const Claim& claim)
{
    {
        const std::lock_guard work(work_);
        {
            const std::lock_guard lock(queues_);
            if (claim_ == 0 || claim_ != claim.number) {
                return;
            }
        }
        assembler_->abort();
        give_all_back();
        const std::lock_guard lock(queues_);
        claim_ = 0;
    }
    changed_.notify_all();
}

bool StreamChannel::is_claimed_by(const Claim& claim) const
{
    const std::lock_guard lock(queues_);
    return claim_ != 0 && claim_ == claim.number;
}

/// Why this user may neither queue nor retrieve; OK when it may. With `queues_` held.
PvResult StreamChannel::refusal(const Claim* claim) const
{
    if (!open_) {
        return failure(PvResult::NotConnected, "The stream is not open");
    }
    if (claim_ == (claim != nullptr ? claim->number : 0)) {
        return PvResult::OK;
    }
    return claim != nullptr ? failure(PvResult::NotConnected, "The stream was closed")
                            : failure(PvResult::StateError, "A pipeline is running on the stream and has it to itself");
}

/// With `queues_` held.
void StreamChannel::count_refusal(const PvResult& refusal) noexcept
{
    if (refusal.GetCode() == PvResult::NotConnected) {
        ++queue_counters_.refused_as_closed;
    } else if (refusal.GetCode() == PvResult::StateError) {
        ++queue_counters_.refused_by_state;
    }
}

void StreamChannel::count_pipeline_drop() noexcept
{
    const std::lock_guard lock(queues_);
    ++pipeline_drops_;
}

}  // namespace vex::stream
