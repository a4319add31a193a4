// What users ask of a node: the lock, the checks of type and access, the work, and errors that name the node.

#include <cmath>

#include "sdk/genapi/engine.h"
#include "sdk/genapi/numbers.h"

namespace GenApi {

namespace {

[[noreturn]] void wrong_type(const Node& node, std::string_view what)
{
    throw TypeError(std::string(node.text_name) + " is a " + std::string(node.element()) + " and has no " +
                    std::string(what));
}

bool has_integer(const Node& node) noexcept
{
    switch (node.type()) {
    case InterfaceType::integer:
    case InterfaceType::enumeration:
    case InterfaceType::enum_entry:
    case InterfaceType::boolean: return true;
    default: return false;
    }
}

bool has_float(const Node& node) noexcept
{
    switch (node.type()) {
    case InterfaceType::floating:
    case InterfaceType::integer:
    case InterfaceType::enumeration: return true;
    default: return false;
    }
}

void require_integer(const Node& node)
{
    if (!has_integer(node)) {
        wrong_type(node, "integer value");
    }
}

void require_float(const Node& node)
{
    if (!has_float(node)) {
        wrong_type(node, "float value");
    }
}

void require_type(const Node& node, InterfaceType type, std::string_view what)
{
    if (node.type() != type) {
        wrong_type(node, what);
    }
}

void require_register(const Node& node)
{
    if (!is_register(node.kind)) {
        wrong_type(node, "register");
    }
}

}  // namespace

AccessMode NodeMap::access(Node& node)
{
    const Operation operation(*this);
    return access_of(node);
}

bool NodeMap::is_cached(Node& node)
{
    const Operation operation(*this);
    const Node* holder = &node;
    // strings that refer to each other in a circle are broken
    while (holder->kind == Kind::string && !holder->broken && value_node(model_, *holder) != no_node) {
        holder = &at(value_node(model_, *holder));
    }
    if (holder->broken) {
        return false;
    }
    if (is_register(holder->kind)) {
        const RegisterData& reg = model_.registers[holder->data];
        return reg.caching != Caching::none && bursts_.holds(model_.cells[reg.cell]);
    }
    return holder->kind == Kind::string || holder->value_lasting;
}

void NodeMap::invalidate(Node& node)
{
    const Operation operation(*this);
    changes_.spread(node.index, device_channel | limits_channel | access_channel);
}

std::int64_t NodeMap::read_integer(Node& node, ReadMode mode)
{
    require_integer(node);
    if (node.kind == Kind::enum_entry && !node.broken) {
        // what an entry stands for is known also while it cannot be chosen
        return model_.entries[node.data].value;
    }
    const Operation operation(*this);
    if (mode == ReadMode::cached && node.value_lasting && node.access_lasting && is_readable(node.cached_access)) {
        // the way most reads take; a node with an integer value keeps it as one
        return node.cached.i;
    }
    return reading_within(node, mode, [&] { return integer_of(node); });
}

void NodeMap::write_integer(Node& node, std::int64_t value)
{
    require_integer(node);
    const Operation operation(*this);
    require(node, Wish::write);
    speaking_of(node, Wish::write, [&] { set(node, value); });
}

Limits NodeMap::integer_limits(Node& node)
{
    require_integer(node);
    const Operation operation(*this);
    if (node.broken) {
        refuse(node, Wish::read);
    }
    return speaking_of(node, Wish::read, [&] { return integer_limits_of(node); });
}

double NodeMap::read_float(Node& node, ReadMode mode)
{
    require_float(node);
    return reading(node, mode, [&] {
        const Number value = value_of(node);
        NodeIndex entry = no_node;
        if (node.kind == Kind::enumeration && find_entry(node, value.i, &entry) != nullptr) {
            return at(entry).numeric_value();
        }
        return value.as_double();
    });
}

void NodeMap::write_float(Node& node, double value)
{
    require_float(node);
    const Operation operation(*this);
    require(node, Wish::write);
    speaking_of(node, Wish::write, [&] {
        if (std::isnan(value)) {
            throw ValueError("the value is not a number");
        }
        set(node, value);
    });
}

Limits NodeMap::float_limits(Node& node)
{
    require_float(node);
    const Operation operation(*this);
    if (node.broken) {
        refuse(node, Wish::read);
    }
    return speaking_of(node, Wish::read, [&] { return float_limits_of(node); });
}

bool NodeMap::read_boolean(Node& node, ReadMode mode)
{
    require_type(node, InterfaceType::boolean, "boolean value");
    return reading(node, mode, [&] { return integer_of(node) != 0; });
}

void NodeMap::write_boolean(Node& node, bool value)
{
    require_type(node, InterfaceType::boolean, "boolean value");
    write_integer(node, value ? 1 : 0);
}

Node& NodeMap::read_entry(Node& node, ReadMode mode)
{
    require_type(node, InterfaceType::enumeration, "entries");
    const NodeIndex entry = reading(node, mode, [&] {
        const std::int64_t value = integer_of(node);
        const NodeIndex found = entry_for(node, value);
        if (found == no_node) {
            throw ValueError("the device gives the value " + to_text(value) + ", which none of its entries has",
                             PvResult::GenericError);
        }
        return found;
    });
    return at(entry);
}

void NodeMap::write_entry(Node& node, std::string_view symbolic)
{
    require_type(node, InterfaceType::enumeration, "entries");
    const Operation operation(*this);
    require(node, Wish::write);
    speaking_of(node, Wish::write, [&] {
        NodeIndex entry = no_node;
        if (find_entry(node, symbolic, &entry) == nullptr) {
            throw ValueError("it has no entry named \"" + std::string(symbolic) + "\"");
        }
        set_entry(node, entry);
    });
}

void NodeMap::execute(Node& node)
{
    require_type(node, InterfaceType::command, "action");
    const Operation operation(*this);
    require(node, Wish::execute);
    speaking_of(node, Wish::execute, [&] { start_command(node); });
}

bool NodeMap::is_done(Node& node)
{
    require_type(node, InterfaceType::command, "action");
    const Operation operation(*this);
    if (!is_available(access_of(node))) {
        refuse(node, Wish::execute);
    }
    return speaking_of(node, Wish::read, [&] {
        CommandData& data = model_.commands[node.data];
        bool done = true;
        if (data.value.node != no_node) {
            // a command that can only be written is done as soon as it is written
            if (is_readable(access_of(node))) {
                changes_.forget_below(node);
                done = integer_of(node) != whole(value_of_operand(data.command_value, false));
            }
        }
        if (done && data.started) {
            data.started = false;
            // only now has the device what the command was for
            changes_.spread(node.index, value_channel);
        }
        return done;
    });
}

std::string NodeMap::read_string(Node& node, ReadMode mode)
{
    require_type(node, InterfaceType::string, "text");
    return reading(node, mode, [&] { return string_of(node); });
}

void NodeMap::write_string(Node& node, std::string_view value)
{
    require_type(node, InterfaceType::string, "text");
    const Operation operation(*this);
    require(node, Wish::write);
    speaking_of(node, Wish::write, [&] { set_string(node, value); });
}

std::int64_t NodeMap::string_length(Node& node)
{
    require_type(node, InterfaceType::string, "text");
    const Operation operation(*this);
    return speaking_of(node, Wish::read, [&] { return string_length_of(node); });
}

std::int64_t NodeMap::register_length(Node& node)
{
    require_register(node);
    const Operation operation(*this);
    if (node.broken) {
        refuse(node, Wish::read);
    }
    return speaking_of(node, Wish::read, [&] { return length_of(node); });
}

std::int64_t NodeMap::register_address(Node& node)
{
    require_register(node);
    const Operation operation(*this);
    if (node.broken) {
        refuse(node, Wish::read);
    }
    return speaking_of(node, Wish::read, [&] { return address_of(node); });
}

void NodeMap::read_bytes(Node& node, std::span<std::uint8_t> out, ReadMode mode)
{
    require_register(node);
    reading(node, mode, [&] {
        const std::int64_t length = length_of(node);
        const auto wanted = static_cast<std::int64_t>(out.size());
        if (wanted > length) {
            throw ValueError(to_text(wanted) + " bytes are more than the " + to_text(length) + " that it has");
        }
        const RegisterData& reg = model_.registers[node.data];
        if (wanted < length && !is_int_register(node.kind)) {
            const Cell& cell = model_.cells[reg.cell];
            const bool known = bursts_.holds(cell) && cell.length == length && reg.caching != Caching::none;
            if (!known) {
                // the rest is not worth a transfer
                read_port(at(reg.port), address_of(node), out);
                return;
            }
        }
        Cell& cell = fetch(node);
        std::copy_n(cell.bytes(), out.size(), out.begin());
    });
}

void NodeMap::write_bytes(Node& node, std::span<const std::uint8_t> bytes)
{
    require_register(node);
    const Operation operation(*this);
    require(node, Wish::write);
    speaking_of(node, Wish::write, [&] {
        const std::int64_t length = length_of(node);
        const auto given = static_cast<std::int64_t>(bytes.size());
        if (given > length) {
            throw ValueError(to_text(given) + " bytes are more than the " + to_text(length) + " that it has");
        }
        if (given != 0) {
            store_part(node, bytes);
        }
        check_errors(node);
    });
}

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

void NodeMap::attach_chunks(std::span<const Chunk> chunks)
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
                if (port.cache_data) {
                    port.own_data.assign(chunk.data.begin(), chunk.data.end());
                }
                port.data = port.cache_data ? std::span<const std::uint8_t>(port.own_data) : chunk.data;
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

void NodeMap::detach_chunks() { attach_chunks({}); }

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
