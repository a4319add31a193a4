// What is asked of the node map as a whole.

#include <algorithm>

#include "sdk/genapi/engine.h"

namespace GenApi {

void NodeMap::invalidate_all()
{
    const Operation operation(*this);
    changes_.spread_all();
}

void NodeMap::poll(std::chrono::milliseconds elapsed)
{
    const Operation operation(*this);
    for (Polled& polled : model_.polled) {
        bool blocked = false;
        for (const Relation& blocker : Model::related(model_.poll_blockers, polled.node)) {
            try {
                blocked = blocked || !is_readable(access_of(at(blocker.to))) || is_true(blocker.to);
            } catch (const Error&) {
                blocked = true;
            }
        }
        if (blocked) {
            continue;
        }
        polled.elapsed += elapsed.count();
        if (polled.elapsed >= polled.period) {
            polled.elapsed = 0;
            changes_.spread(polled.node, device_channel);
        }
    }
}

void NodeMap::attach_chunks(std::span<const Chunk> chunks, ChunkMemory memory)
{
    const Operation operation(*this);
    for (const NodeIndex index : model_.chunk_ports) {
        PortData& port = model_.ports[at(index).data];
        std::uint64_t id = port.chunk_id;
        bool known = true;
        if (port.chunk_id_node != no_node) {
            try {
                id = static_cast<std::uint64_t>(integer_of(at(port.chunk_id_node)));
            } catch (const Error&) {
                known = false;
            }
        }
        const bool had_data = std::exchange(port.has_data, false);
        port.data = {};
        for (const Chunk& chunk : chunks) {
            if (known && chunk.id == id) {
                const bool is_copied = port.cache_data || memory == ChunkMemory::copied;
                if (is_copied) {
                    port.own_data.assign(chunk.data.begin(), chunk.data.end());
                }
                port.data = is_copied ? std::span<const std::uint8_t>(port.own_data) : chunk.data;
                port.position = chunk.position;
                port.has_data = true;
                break;
            }
        }
        if (had_data || port.has_data) {
            const bool same_access = had_data == port.has_data;
            changes_.spread(index, same_access ? device_channel : device_channel | access_channel);
        }
    }
}

void NodeMap::detach_chunks() { attach_chunks({}, ChunkMemory::borrowed); }

bool NodeMap::deliver_event(std::uint64_t event_id, std::span<const std::uint8_t> data)
{
    const Operation operation(*this);
    bool found = false;
    for (const auto& [index, id] : model_.event_ids) {
        if (id != event_id) {
            continue;
        }
        found = true;
        Node& node = at(index);
        if (node.kind == Kind::port) {
            PortData& port = model_.ports[node.data];
            port.own_data.assign(data.begin(), data.end());
            port.data = port.own_data;
            port.has_data = true;
            changes_.spread(index, device_channel | access_channel);
        }
    }
    for (const auto& [index, id] : model_.event_ids) {
        if (id == event_id && at(index).kind != Kind::port) {
            changes_.spread(index, device_channel);
        }
    }
    return found;
}

}  // namespace GenApi
