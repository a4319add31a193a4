// I2C buses that lost their owner while they were open.
#pragma once

#include <cstddef>
#include <memory>

class PvIPEngineI2CBus;

namespace vex::serial {

/// Keeps buses whose owner went without closing them: they stay open as long as the process lives, and nobody can
/// open their port through the same device object. Whoever tries is told why.
///
/// Thread safety: all members may be called from any thread.
class ReleasedBuses {
public:
    /// Takes a bus over; one that is closed is destroyed. Null is nothing. Without memory to note it, it is closed.
    static void keep(std::unique_ptr<PvIPEngineI2CBus> bus) noexcept;
    /// How many there are.
    [[nodiscard]] static std::size_t count() noexcept;
};

}  // namespace vex::serial
