#include "sdk/net/known_path.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <vector>

namespace vex::net {

namespace {

/// 0 for what is not known.
struct StreamFacts {
    std::uint16_t source = 0;
    std::uint32_t packet_size = 0;
};

struct Entry {
    const KnownPath* path;
    Ipv4Address peer;
    Ipv4Address local;
    bool controls;
    std::map<std::uint32_t, StreamFacts> streams;  ///< by channel
};

struct Paths {
    std::mutex mutex;
    std::vector<Entry> entries;  ///< the newest last
};

Paths& paths()
{
    // never destroyed: connections in static objects may outlive it
    static auto* const all = new Paths;
    return *all;
}

template <typename Value>
void note(Ipv4Address peer, std::uint32_t channel, Value StreamFacts::*fact, Value value)
{
    Paths& all = paths();
    const std::scoped_lock lock(all.mutex);
    for (Entry& entry : all.entries) {
        if (entry.peer == peer) {
            entry.streams[channel].*fact = value;
        }
    }
}

template <typename Value>
Value known(Ipv4Address peer, std::uint32_t channel, Value StreamFacts::*fact)
{
    Paths& all = paths();
    const std::scoped_lock lock(all.mutex);
    for (const Entry& entry : all.entries) {
        const auto stream = entry.streams.find(channel);
        if (entry.peer == peer && stream != entry.streams.end() && stream->second.*fact != 0) {
            return stream->second.*fact;
        }
    }
    return 0;
}

}  // namespace

KnownPath::KnownPath(Ipv4Address peer, Ipv4Address local, bool controls)
{
    Paths& all = paths();
    const std::scoped_lock lock(all.mutex);
    all.entries.push_back({this, peer, local, controls, {}});
}

KnownPath::~KnownPath()
{
    Paths& all = paths();
    const std::scoped_lock lock(all.mutex);
    std::erase_if(all.entries, [this](const Entry& entry) { return entry.path == this; });
}

Ipv4Address known_local_address_towards(Ipv4Address peer)
{
    Paths& all = paths();
    const std::scoped_lock lock(all.mutex);
    const auto newest = std::find_if(all.entries.rbegin(), all.entries.rend(),
                                     [peer](const Entry& entry) { return entry.peer == peer; });
    return newest != all.entries.rend() ? newest->local : any_address;
}

bool is_controlled_from_here(Ipv4Address peer)
{
    Paths& all = paths();
    const std::scoped_lock lock(all.mutex);
    return std::ranges::any_of(all.entries,
                               [peer](const Entry& entry) { return entry.peer == peer && entry.controls; });
}

void note_stream_source(Ipv4Address peer, std::uint32_t channel, std::uint16_t port)
{
    note(peer, channel, &StreamFacts::source, port);
}

std::uint16_t known_stream_source(Ipv4Address peer, std::uint32_t channel)
{
    return known(peer, channel, &StreamFacts::source);
}

void note_packet_size(Ipv4Address peer, std::uint32_t channel, std::uint32_t size)
{
    note(peer, channel, &StreamFacts::packet_size, size);
}

std::uint32_t known_packet_size(Ipv4Address peer, std::uint32_t channel)
{
    return known(peer, channel, &StreamFacts::packet_size);
}

}  // namespace vex::net
