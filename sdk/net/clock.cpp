#include "sdk/net/clock.h"

namespace vex::net {

namespace {

class SteadyClock final : public Clock {
public:
    [[nodiscard]] time_point now() const noexcept override { return std::chrono::steady_clock::now(); }
};

}  // namespace

const Clock& Clock::steady() noexcept
{
    static const SteadyClock clock;
    return clock;
}

}  // namespace vex::net
