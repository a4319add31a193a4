// What one call reads and writes on a device, written down to be told when the call has ended.
#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <vector>

namespace vex::control {

/// An access that a device acknowledged; `bytes` as they lie in its memory.
struct LoggedAccess {
    bool is_write = false;
    std::uint32_t address = 0;
    std::vector<std::uint8_t> bytes;
};

/// From its construction until end(), the successful accesses that its thread makes over control channels, in order;
/// those of other threads are not in it. Of several on one thread only the innermost writes down; one that is not
/// wanted counts as none. They end in the reverse order of their construction.
///
/// Thread safety: one thread, the one that made it.
class AccessLog {
public:
    explicit AccessLog(bool is_wanted = true) noexcept;
    AccessLog(const AccessLog&) = delete;
    AccessLog& operator=(const AccessLog&) = delete;
    ~AccessLog();

    /// Stops writing down and hands out what there is. Where memory was short, accesses are missing.
    [[nodiscard]] std::vector<LoggedAccess> end() noexcept;

    /// Of any thread; costs next to nothing while there is no log. For control channels.
    static void note(bool is_write, std::uint32_t address, std::span<const std::uint8_t> bytes) noexcept
    {
        if (logs_.load(std::memory_order_relaxed) != 0) {
            note_in_current(is_write, address, bytes);
        }
    }
    /// The same for the value of a register.
    static void note(bool is_write, std::uint32_t address, std::uint32_t value) noexcept
    {
        if (logs_.load(std::memory_order_relaxed) != 0) {
            note_in_current(is_write, address, value);
        }
    }

private:
    static void note_in_current(bool is_write, std::uint32_t address, std::span<const std::uint8_t> bytes) noexcept;
    static void note_in_current(bool is_write, std::uint32_t address, std::uint32_t value) noexcept;

    static std::atomic<unsigned> logs_;  ///< in all threads

    AccessLog* outer_;
    bool ended_;
    std::vector<LoggedAccess> accesses_;
};

}  // namespace vex::control
