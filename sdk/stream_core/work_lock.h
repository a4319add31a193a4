// The lock that is held while packets are taken in, for other threads than the one that does so.
#pragma once

#include "sdk/stream_core/stream_channel.h"

namespace vex::stream {

/// Holds `work_` for another thread than the receive thread, which steps aside while somebody waits: under full load it
/// would take the lock again before the other is awake.
class StreamChannel::WorkLock {
public:
    explicit WorkLock(const StreamChannel& channel) : channel_(channel)
    {
        channel_.waiting_for_work_.fetch_add(1, std::memory_order_relaxed);
        channel_.work_.lock();
        channel_.waiting_for_work_.fetch_sub(1, std::memory_order_relaxed);
    }
    ~WorkLock() { channel_.work_.unlock(); }
    WorkLock(const WorkLock&) = delete;
    WorkLock& operator=(const WorkLock&) = delete;

private:
    const StreamChannel& channel_;
};

}  // namespace vex::stream
