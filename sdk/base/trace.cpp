#include "sdk/base/trace.h"

#include <mutex>
#include <utility>

#include "sdk/base/listener_slot.h"

namespace vex::trace {

namespace {

// never destroyed: threads may still tell something while the program ends
ListenerSlot<Record>& slot()
{
    static auto* const only = new ListenerSlot<Record>;
    return *only;
}

void change(unsigned levels, Listener listener)
{
    static auto* const mutex = new std::mutex;
    const std::scoped_lock lock(*mutex);
    // who tells something now begins no more, so that those at it are soon done
    detail::wanted_levels = 0;
    slot().set(std::move(listener));
    detail::wanted_levels = levels;
}

}  // namespace

void listen(Level level, Listener listener)
{
    if (!listener) {
        stop_listening();
        return;
    }
    change(static_cast<unsigned>(level) + 1, std::move(listener));
}

void stop_listening() { change(0, {}); }

void detail::tell(Category category, Level level, const std::function<std::string()>& make_text) noexcept
{
    try {
        // before anything is held: making it may need locks under which others tell something
        const std::string text = make_text();
        slot().tell([&](const Listener& listener) {
            // it may be that only the listener before this one wanted it
            if (is_wanted(level)) {
                listener({category, level, text});
            }
        });
    } catch (...) {  // NOLINT(bugprone-empty-catch): who is observed must not fail by it
    }
}

const char* name_of(Category category) noexcept
{
    switch (category) {
    case Category::discovery: return "discovery";
    case Category::control: return "control";
    case Category::connection: return "connection";
    case Category::stream: return "stream";
    case Category::events: return "events";
    case Category::description: return "description";
    case Category::serial: return "serial";
    case Category::camera: return "camera";
    }
    return "";
}

const char* name_of(Level level) noexcept
{
    switch (level) {
    case Level::error: return "error";
    case Level::warning: return "warning";
    case Level::info: return "info";
    case Level::debug: return "debug";
    }
    return "";
}

}  // namespace vex::trace
