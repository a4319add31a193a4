// How a client's buffers come into a channel.
#include <new>

#include "sdk/base/failure.h"
#include "sdk/stream_core/stream_channel.h"

namespace vex::stream {

PvResult StreamChannel::queue(PvBuffer* buffer, const Claim* claim)
{
    if (buffer == nullptr) {
        return failure(PvResult::InvalidParameter, "There is no buffer to queue");
    }
    std::unique_lock lock(queues_);
    if (PvResult refused = admit(claim); !refused.IsOK()) {
        return refused;
    }
    if (!acquisition::hold(*buffer, *this)) {
        ++queue_counters_.refused_by_state;
        return failure(PvResult::StateError, "The buffer is queued already");
    }
    if (const std::uint64_t size = largest_block_; buffer->GetSize() < size) {
        // here, and not when the block comes; it takes its time, and the receive thread needs the lock
        lock.unlock();
        acquisition::grow(*buffer, size);
        lock.lock();
        if (PvResult refused = admit(claim); !refused.IsOK()) {
            acquisition::release(*buffer, *this);
            return refused;
        }
    }
    if (idle_.empty()) {
        request_since_ = clock_.now();
    }
    idle_.push_back(buffer);
    return PvResult::OK;
}

/// Whether this user may queue one more buffer, for which there is room everywhere then. With `queues_` held.
PvResult StreamChannel::admit(const Claim* claim)
{
    if (PvResult refused = refusal(claim); !refused.IsOK()) {
        count_refusal(refused);
        return refused;
    }
    if (idle_.size() + filling_ >= most_idle_) {
        ++queue_counters_.refused_by_state;
        return failure(PvResult::ErrOverflow, "The queue holds ", most_idle_, " buffers already");
    }
    // with room for all from the start, so that nothing can fail when a block is done
    const std::size_t held = idle_.size() + ready_.size() + filling_ + 1;
    try {
        idle_.reserve(held);
        ready_.reserve(held);
    } catch (const std::bad_alloc&) {
        return PvResult::NotEnoughMemory;
    }
    return PvResult::OK;
}

}  // namespace vex::stream
