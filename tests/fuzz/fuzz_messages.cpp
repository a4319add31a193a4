// Whatever arrives on a message channel.
//
// The input is a script of datagrams. Each begins with a byte: 0x01 comes from elsewhere, 0x02 arrived truncated, 0x04
// an event is taken afterwards, 0x08 some seconds pass before; then follow the length in one byte and the bytes.
#include <algorithm>

#include "sdk/control/message_inbox.h"
#include "tests/fuzz/input.h"

using namespace vex;

namespace {

using fuzz::require;
using fuzz::View;
using Inbox = control::MessageInbox;

constexpr Endpoint device{{0xC0A80105}, 50'000};
constexpr Endpoint stranger{{0xC0A80106}, 50'000};

/// One datagram counts as one thing, whatever it is.
void put(Inbox& inbox, View datagram, unsigned how, net::Clock::time_point now)
{
    const auto before = inbox.statistics();
    const Endpoint source = (how & 0x01) != 0 ? stranger : device;
    if ((how & 0x02) != 0) {
        inbox.put_truncated(source);
        require(inbox.statistics().foreign + inbox.statistics().malformed == before.foreign + before.malformed + 1);
        return;
    }
    const auto acknowledge = inbox.put(datagram, source, now);
    const auto& after = inbox.statistics();
    const auto events = after.events + after.dropped - before.events - before.dropped;
    require(events <= datagram.size() / 16);
    require(after.foreign - before.foreign == (source == stranger ? 1U : 0U));
    require(source == device || (!acknowledge && events == 0));
    require(!acknowledge || (acknowledge->bytes().size() == 8 && (events > 0 || after.repeated > before.repeated)));
    require(events > 0 ||
            after.repeated + after.malformed + after.foreign > before.repeated + before.malformed + before.foreign);
}

void take(Inbox& inbox)
{
    const bool was_empty = inbox.is_empty();
    const auto event = inbox.take();
    require(event.has_value() != was_empty);
    if (event) {
        require((event->head == 16 || event->head == 24) && event->bytes.size() >= event->head);
        fuzz::require_within(event->data(), event->bytes);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    View rest(data, size);
    Inbox inbox({device.address, 0});
    net::Clock::time_point now{std::chrono::hours(1)};
    while (rest.size() >= 2) {
        const unsigned how = rest[0];
        const std::size_t length = std::min<std::size_t>(rest[1], rest.size() - 2);
        now += std::chrono::seconds((how & 0x08) != 0 ? 6 : 0);
        put(inbox, rest.subspan(2, length), how, now);
        if ((how & 0x04) != 0) {
            take(inbox);
        }
        rest = rest.subspan(2 + length);
    }
    while (!inbox.is_empty()) {
        take(inbox);
    }
    return 0;
}
