#include "sdk/control/datagram_tap.h"

#include <mutex>
#include <utility>

#include "sdk/base/listener_slot.h"

namespace vex::control::tap {

namespace {

// never destroyed: threads may still send something while the program ends
ListenerSlot<Datagram>& slot()
{
    static auto* const only = new ListenerSlot<Datagram>;
    return *only;
}

void change(bool is_wanted, Listener listener)
{
    static auto* const mutex = new std::mutex;
    const std::scoped_lock lock(*mutex);
    detail::is_wanted = false;
    slot().set(std::move(listener));
    detail::is_wanted = is_wanted;
}

}  // namespace

void listen(Listener listener)
{
    const bool is_there = static_cast<bool>(listener);
    change(is_there, std::move(listener));
}

void stop_listening() { change(false, {}); }

void detail::tell(const Datagram& datagram) noexcept
{
    slot().tell([&](const Listener& listener) { listener(datagram); });
}

}  // namespace vex::control::tap
