#include "sdk/stream_core/overload_guard.h"

namespace vex::stream {

OverloadGuard::Step OverloadGuard::look(time_point now, bool drained, std::uint64_t dropped) noexcept
{
    const bool more = dropped != dropped_;
    dropped_ = dropped;
    if (shedding_) {
        return drained ? Step::resume : Step::none;
    }
    if (drained) {
        behind_ = false;
        return Step::none;
    }
    if (!more) {
        return Step::none;
    }
    if (!behind_) {
        behind_ = true;
        behind_since_ = now;
    }
    shedding_ = now < alert_until_ || now - behind_since_ >= patience;
    return shedding_ ? Step::shed : Step::none;
}

void OverloadGuard::resumed(time_point now, std::uint64_t dropped) noexcept
{
    shedding_ = false;
    behind_ = false;
    dropped_ = dropped;
    alert_until_ = now + alert;
}

}  // namespace vex::stream
