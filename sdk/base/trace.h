// What the SDK does, told step by step to whoever looks for the cause of a problem.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace vex::trace {

enum class Category : std::uint8_t {
    discovery,    ///< searches for devices and who answered
    control,      ///< each message of a control channel
    connection,   ///< connections opened, closed, lost and recovered
    stream,       ///< streams opened and closed, blocks that are not whole, packets asked for again
    events,       ///< events of devices
    description,  ///< where descriptions come from
    serial,       ///< serial ports and devices on them
    camera,       ///< what a device of this host was asked and what it sends
};
inline constexpr unsigned category_count = 8;

enum class Level : std::uint8_t {
    error,    ///< something did not work
    warning,  ///< it worked in the end, or partly
    info,     ///< what happens now and then
    debug,    ///< what happens all the time
};

struct Record {
    Category category;
    Level level;
    std::string_view text;  ///< UTF-8, one sentence; texts of devices may be in it as they came
};

using Listener = std::function<void(const Record&)>;

/// Tells the listener what is of this level or a graver one, on the thread where it happens, on several at a time.
/// There is one listener: it takes the place of the one before it. When this returns, nobody is in the former
/// listener's call any more. Not to be called by a listener; what a listener does itself is not told.
void listen(Level level, Listener listener);
/// Tells nobody any more, and waits until nobody is in a listener's call.
void stop_listening();

[[nodiscard]] const char* name_of(Category category) noexcept;
[[nodiscard]] const char* name_of(Level level) noexcept;

namespace detail {

/// How many levels are told: 0 while nobody listens.
inline std::atomic<unsigned> wanted_levels{0};

void tell(Category category, Level level, const std::function<std::string()>& make_text) noexcept;

template <typename MakeText>
[[gnu::noinline, gnu::cold]] void tell_cold(Category category, Level level, const MakeText& make_text) noexcept
{
    tell(category, level, std::cref(make_text));
}

}  // namespace detail

[[nodiscard]] inline bool is_wanted(Level level) noexcept
{
    return detail::wanted_levels.load(std::memory_order_relaxed) > static_cast<unsigned>(level);
}

/// Tells what `make_text()` says; it is called only when somebody listens. Costs one load and one branch otherwise.
template <typename MakeText>
inline void write(Category category, Level level, const MakeText& make_text) noexcept
{
    if (is_wanted(level)) [[unlikely]] {
        detail::tell_cold(category, level, make_text);
    }
}

}  // namespace vex::trace
