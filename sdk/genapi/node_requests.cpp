// What users ask of a node: the lock, the checks of type and access, the work, and errors that name the node.

#include <algorithm>
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

AccessMode Node::access()
{
    const NodeMap::Operation operation(*map);
    return map->access_of(*this);
}

AccessMode Node::access_when_idle()
{
    const NodeMap::Operation operation(*map);
    const AccessMode mode = map->access_of(*this);
    return mode == AccessMode::read_only && map->is_writable_when_idle(*this) ? AccessMode::read_write : mode;
}

bool Node::is_cached()
{
    const NodeMap::Operation operation(*map);
    const Node* holder = this;
    // strings that refer to each other in a circle are broken
    while (holder->kind == Kind::string && !holder->broken && value_node(map->model_, *holder) != no_node) {
        holder = &map->at(value_node(map->model_, *holder));
    }
    if (holder->broken) {
        return false;
    }
    if (is_register(holder->kind)) {
        const RegisterData& reg = map->model_.registers[holder->data];
        return reg.caching != Caching::none && map->bursts_.holds(map->model_.cells[reg.cell]);
    }
    return holder->kind == Kind::string || holder->value_lasting;
}

void Node::invalidate()
{
    const NodeMap::Operation operation(*map);
    map->changes_.spread(index, device_channel | limits_channel | access_channel);
}

std::int64_t Node::int_value(ReadMode mode)
{
    require_integer(*this);
    if (kind == Kind::enum_entry && !broken) {
        // what an entry stands for is known also while it cannot be chosen
        return map->model_.entries[data].value;
    }
    const NodeMap::Operation operation(*map);
    if (mode == ReadMode::cached && value_lasting && access_lasting && is_readable(cached_access)) {
        // the way most reads take; a node with an integer value keeps it as one
        return cached.i;
    }
    return map->reading_within(*this, mode, [&] { return map->integer_of(*this); });
}

void Node::set_int_value(std::int64_t value)
{
    require_integer(*this);
    const NodeMap::Operation operation(*map);
    map->require(*this, Wish::write);
    map->speaking_of(*this, Wish::write, [&] { map->set(*this, value); });
}

Limits Node::integer_limits()
{
    require_integer(*this);
    const NodeMap::Operation operation(*map);
    if (broken) {
        map->refuse(*this, Wish::read);
    }
    return map->speaking_of(*this, Wish::read, [&] { return map->integer_limits_of(*this); });
}

std::int64_t Node::int_min() { return integer_limits().min.i; }
std::int64_t Node::int_max() { return integer_limits().max.i; }
std::int64_t Node::int_increment() { return integer_limits().increment.i; }

double Node::float_value(ReadMode mode)
{
    require_float(*this);
    return map->reading(*this, mode, [&] {
        const Number value = map->value_of(*this);
        NodeIndex entry = no_node;
        if (kind == Kind::enumeration && map->find_entry(*this, value.i, &entry) != nullptr) {
            return map->at(entry).numeric_value();
        }
        return value.as_double();
    });
}

void Node::set_float_value(double value)
{
    require_float(*this);
    const NodeMap::Operation operation(*map);
    map->require(*this, Wish::write);
    map->speaking_of(*this, Wish::write, [&] {
        if (std::isnan(value)) {
            throw ValueError("the value is not a number");
        }
        map->set(*this, value);
    });
}

Limits Node::float_limits()
{
    require_float(*this);
    const NodeMap::Operation operation(*map);
    if (broken) {
        map->refuse(*this, Wish::read);
    }
    return map->speaking_of(*this, Wish::read, [&] { return map->float_limits_of(*this); });
}

double Node::float_min() { return float_limits().min.d; }
double Node::float_max() { return float_limits().max.d; }

std::optional<double> Node::float_increment()
{
    const double increment = float_limits().increment.d;
    return increment > 0 ? std::optional(increment) : std::nullopt;
}

bool Node::bool_value(ReadMode mode)
{
    require_type(*this, InterfaceType::boolean, "boolean value");
    return map->reading(*this, mode, [&] { return map->integer_of(*this) != 0; });
}

void Node::set_bool_value(bool value)
{
    require_type(*this, InterfaceType::boolean, "boolean value");
    set_int_value(value ? 1 : 0);
}

INode& Node::current_entry(ReadMode mode)
{
    require_type(*this, InterfaceType::enumeration, "entries");
    const NodeIndex entry = map->reading(*this, mode, [&] {
        const std::int64_t value = map->integer_of(*this);
        const NodeIndex found = map->entry_for(*this, value);
        if (found == no_node) {
            throw ValueError("the device gives the value " + to_text(value) + ", which none of its entries has",
                             PvResult::GenericError);
        }
        return found;
    });
    return map->at(entry);
}

void Node::set_entry(std::string_view symbolic_name)
{
    require_type(*this, InterfaceType::enumeration, "entries");
    const NodeMap::Operation operation(*map);
    map->require(*this, Wish::write);
    map->speaking_of(*this, Wish::write, [&] {
        NodeIndex entry = no_node;
        if (map->find_entry(*this, symbolic_name, &entry) == nullptr) {
            throw ValueError("it has no entry named \"" + std::string(symbolic_name) + "\"");
        }
        map->set_entry(*this, entry);
    });
}

void Node::execute()
{
    require_type(*this, InterfaceType::command, "action");
    const NodeMap::Operation operation(*map);
    map->require(*this, Wish::execute);
    map->speaking_of(*this, Wish::execute, [&] { map->start_command(*this); });
}

bool Node::is_done()
{
    require_type(*this, InterfaceType::command, "action");
    const NodeMap::Operation operation(*map);
    if (!GenApi::is_available(map->access_of(*this))) {
        map->refuse(*this, Wish::execute);
    }
    return map->speaking_of(*this, Wish::read, [&] {
        CommandData& command = map->model_.commands[data];
        bool done = true;
        if (command.value.node != no_node) {
            // a command that can only be written is done as soon as it is written
            if (is_readable(map->access_of(*this))) {
                map->changes_.forget_below(*this);
                done = map->integer_of(*this) != map->whole(map->value_of_operand(command.command_value, false));
            }
        }
        if (done && command.started) {
            command.started = false;
            // only now has the device what the command was for
            map->changes_.spread(index, value_channel);
        }
        return done;
    });
}

std::string Node::string_value(ReadMode mode)
{
    require_type(*this, InterfaceType::string, "text");
    return map->reading(*this, mode, [&] { return map->string_of(*this); });
}

void Node::set_string_value(std::string_view value)
{
    require_type(*this, InterfaceType::string, "text");
    const NodeMap::Operation operation(*map);
    map->require(*this, Wish::write);
    map->speaking_of(*this, Wish::write, [&] { map->set_string(*this, value); });
}

std::int64_t Node::string_max_length()
{
    require_type(*this, InterfaceType::string, "text");
    const NodeMap::Operation operation(*map);
    return map->speaking_of(*this, Wish::read, [&] { return map->string_length_of(*this); });
}

std::int64_t Node::register_length()
{
    require_register(*this);
    const NodeMap::Operation operation(*map);
    if (broken) {
        map->refuse(*this, Wish::read);
    }
    return map->speaking_of(*this, Wish::read, [&] { return map->length_of(*this); });
}

std::int64_t Node::register_address()
{
    require_register(*this);
    const NodeMap::Operation operation(*map);
    if (broken) {
        map->refuse(*this, Wish::read);
    }
    return map->speaking_of(*this, Wish::read, [&] { return map->address_of(*this); });
}

void Node::get_bytes(std::span<std::uint8_t> out, ReadMode mode)
{
    require_register(*this);
    map->reading(*this, mode, [&] {
        const std::int64_t length = map->length_of(*this);
        const auto wanted = static_cast<std::int64_t>(out.size());
        if (wanted > length) {
            throw ValueError(to_text(wanted) + " bytes are more than the " + to_text(length) + " that it has");
        }
        const RegisterData& reg = map->model_.registers[data];
        if (wanted < length && !is_int_register(kind)) {
            const Cell& cell = map->model_.cells[reg.cell];
            const bool known = map->bursts_.holds(cell) && cell.length == length && reg.caching != Caching::none;
            if (!known) {
                // the rest is not worth a transfer
                map->read_port(map->at(reg.port), map->address_of(*this), out);
                return;
            }
        }
        Cell& cell = map->fetch(*this);
        std::copy_n(cell.bytes(), out.size(), out.begin());
    });
}

void Node::set_bytes(std::span<const std::uint8_t> bytes)
{
    require_register(*this);
    const NodeMap::Operation operation(*map);
    map->require(*this, Wish::write);
    map->speaking_of(*this, Wish::write, [&] {
        const std::int64_t length = map->length_of(*this);
        const auto given = static_cast<std::int64_t>(bytes.size());
        if (given > length) {
            throw ValueError(to_text(given) + " bytes are more than the " + to_text(length) + " that it has");
        }
        if (given != 0) {
            map->store_part(*this, bytes);
        }
        map->check_errors(*this);
    });
}

CallbackId Node::on_change(ChangeCallback callback)
{
    auto entry = std::make_shared<NodeMap::Callback>();
    entry->function = std::move(callback);
    const NodeMap::Operation operation(*map, NodeMap::Operation::Look::nowhere);
    entry->id = map->next_callback_++;
    map->callbacks_[index].push_back(entry);
    has_callbacks = true;
    return entry->id;
}

void Node::remove_callback(CallbackId id)
{
    std::shared_ptr<NodeMap::Callback> removed;  // destroyed after the lock is given back
    // whoever takes its callbacks away is perhaps about to go, ports and all: not a time for news
    const NodeMap::Operation operation(*map, NodeMap::Operation::Look::nowhere);
    const auto found = map->callbacks_.find(index);
    if (found == map->callbacks_.end()) {
        return;
    }
    auto& list = found->second;
    const auto entry = std::find_if(list.begin(), list.end(), [&](const auto& callback) { return callback->id == id; });
    if (entry == list.end()) {
        return;
    }
    (*entry)->removed.store(true, std::memory_order_release);
    removed = std::move(*entry);
    list.erase(entry);
    if (list.empty()) {
        map->callbacks_.erase(found);
        has_callbacks = false;
    }
}

}  // namespace GenApi
