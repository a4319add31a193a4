#include "sdk/net/known_path.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <vector>

namespace vex::net {

namespace {

struct Entry {
    const KnownPath* path;
    Ipv4Address peer;
    Ipv4Address local;
    bool controls;
    std::map<std::uint32_t, std::uint16_t> stream_sources;  ///< ports by channel
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
    Paths& all = paths();
    const std::scoped_lock lock(all.mutex);
    for (Entry& entry : all.entries) {
        if (entry.peer == peer) {
            entry.stream_sources[channel] = port;
        }
    }
}

std::uint16_t known_stream_source(Ipv4Address peer, std::uint32_t channel)
{
    Paths& all = paths();
    const std::scoped_lock lock(all.mutex);
    for (const Entry& entry : all.entries) {
        const auto source = entry.stream_sources.find(channel);
        if (entry.peer == peer && source != entry.stream_sources.end() && source->second != 0) {
            return source->second;
        }
    }
    return 0;
}

}  // namespace vex::net
