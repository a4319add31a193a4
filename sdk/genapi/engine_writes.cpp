// Writing: checked against the limits, converted, and handed down until it reaches registers.

#include <algorithm>
#include <cmath>
#include <limits>

#include "sdk/genapi/engine.h"
#include "sdk/genapi/numbers.h"

namespace GenApi {

void NodeMap::set(Node& node, Number value, Check check)
{
    const Evaluation evaluation(*this);
    evaluation.check_depth();
    if (node.broken) {
        broken(node);
    }
    switch (interface_of(node.kind)) {
    case InterfaceType::integer:
        set_integer(node, value.is_integer() ? value.i : nearest_valid(node, value.d), check);
        break;
    case InterfaceType::floating: set_float(node, value.as_double(), check); break;
    case InterfaceType::boolean: set_boolean(node, value.is_true()); break;
    case InterfaceType::enumeration: {
        const NodeIndex entry = value.is_integer() ? entry_for(node, value.i) : nearest_entry(node, value.d);
        if (entry == no_node) {
            throw ValueError("no entry has the value " + to_text(value.i));
        }
        set_entry(node, entry);
        break;
    }
    case InterfaceType::command: set_raw(node, value); break;
    default: throw ValueError(std::string(node.text_name) + " takes no number");
    }
}

void NodeMap::set_integer(Node& node, std::int64_t value, Check check)
{
    if (check == Check::limits || is_int_register(node.kind)) {
        check_integer(node, value);
    }
    if (node.kind == Kind::integer) {
        set_raw(node, value, check);
    } else if (is_int_register(node.kind)) {
        store_integer(node, value);
    } else if (node.kind == Kind::int_converter && model_.formulas[node.data].to.instructions.count != 0) {
        const FormulaData& data = model_.formulas[node.data];
        set(at(data.value.node), run(node, data.to, value));
    } else {
        throw ValueError(std::string(node.text_name) + " is computed and cannot be written");
    }
    check_errors(node);
}

void NodeMap::set_float(Node& node, double value, Check check)
{
    if (check == Check::limits || node.kind == Kind::float_reg) {
        check_float(node, value);
    }
    if (node.kind == Kind::floating) {
        set_raw(node, value, check);
    } else if (node.kind == Kind::float_reg) {
        store_float(node, value);
    } else if (node.kind == Kind::converter && model_.formulas[node.data].to.instructions.count != 0) {
        const FormulaData& data = model_.formulas[node.data];
        Number raw = run(node, data.to, value);
        // the raw side is rounded to what it can hold, whatever kind of number the formula happened to give
        raw = raw.as_double();
        set(at(data.value.node), raw);
    } else {
        throw ValueError(std::string(node.text_name) + " is computed and cannot be written");
    }
    check_errors(node);
}

void NodeMap::set_boolean(Node& node, bool value)
{
    const BooleanData& data = model_.booleans[node.data];
    set_raw(node, value ? data.on : data.off);
    check_errors(node);
}

void NodeMap::set_entry(Node& node, NodeIndex entry)
{
    Node& entry_node = at(entry);
    const EntryData& data = model_.entries[entry_node.data];
    const AccessMode mode = access_of(entry_node);
    if (!is_available(mode)) {
        throw ValueError(std::string(data.symbolic) + (mode == AccessMode::not_implemented
                                                           ? " is not implemented by this device"
                                                           : " is not available at present"),
                         PvResult::StateError);
    }
    // That the entry can be chosen says that its value is good. Where limits say otherwise, mostly because a converter
    // does not rise or fall as the description claims, the limits are wrong; what a register cannot hold is refused
    // still.
    set_raw(node, data.value, Check::registers);
    if (data.self_clearing) {
        // the device goes on to another entry by itself
        changes_.spread(node.index, device_channel);
    }
    check_errors(node);
}

/// Writes where the node has its value, and its copies.
void NodeMap::set_raw(Node& node, Number value, Check check)
{
    Operand& operand = node.kind == Kind::integer || node.kind == Kind::floating
                           ? current_operand(node)
                           : const_cast<Operand&>(*value_operand(model_, node));
    if (operand.node != no_node) {
        set(at(operand.node), value, check);
    } else {
        if (is_float(node.kind)) {
            operand.d = value.as_double();
        } else {
            operand.i = whole(value);
        }
        next_operation();
        changes_.spread(node.index, value_channel);
    }
    if (node.has_copies) {
        for (const Relation& copy : Model::related(model_.copies, node.index)) {
            if (copy.to != node.index) {
                set(at(copy.to), value, check);
            }
        }
    }
}

void NodeMap::set_string(Node& node, std::string_view value)
{
    const Evaluation evaluation(*this);
    evaluation.check_depth();
    if (node.broken) {
        broken(node);
    }
    const std::int64_t longest = string_length_of(node);
    if (static_cast<std::int64_t>(value.size()) > longest) {
        throw ValueError("a text of " + to_text(static_cast<std::int64_t>(value.size())) +
                         " bytes is longer than its maximum of " + to_text(longest));
    }
    if (node.kind == Kind::string) {
        StringData& data = model_.strings[node.data];
        if (data.node != no_node) {
            set_string(at(data.node), value);
        } else {
            data.literal = value;
            next_operation();
            changes_.spread(node.index, value_channel);
        }
    } else {
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(longest));
        value.copy(reinterpret_cast<char*>(bytes.data()), value.size());
        store_register(node, bytes);
    }
    check_errors(node);
}

void NodeMap::start_command(Node& node)
{
    CommandData& data = model_.commands[node.data];
    const Number value = value_of_operand(data.command_value, false);
    data.started = true;
    set_raw(node, value);
    // the device takes the value back when it is done: what was written is not what a read would give
    changes_.forget_below(node);
    check_errors(node);
}

/// The register that has the node's value is unsigned and has 64 bits: numbers of 2^63 and more are read as negative.
bool NodeMap::has_unsigned_64_bits(Node& node)
{
    Node* holder = &node;
    while (holder->kind == Kind::integer && !holder->broken) {
        const NodeIndex next = current_operand(*holder).node;
        if (next == no_node) {
            return false;
        }
        holder = &at(next);
    }
    return is_int_register(holder->kind) && !holder->broken && !model_.registers[holder->data].is_signed &&
           field_of(*holder, length_of(*holder)).width == 64;
}

void NodeMap::check_integer(Node& node, std::int64_t value)
{
    if (is_int_register(node.kind) && field_of(node, length_of(node)).width == 64) {
        // 64 bits hold every number
        return;
    }
    const Limits limits = limits_of(node);
    // What an unsigned register of 64 bits gives can be written back. As its maximum cannot be told as a signed number,
    // the largest of those stands for it.
    const bool beyond = value < 0 && limits.max.i == std::numeric_limits<std::int64_t>::max() && limits.min.i >= 0 &&
                        has_unsigned_64_bits(node);
    if (value > limits.max.i) {
        throw ValueError(to_text(value) + " is above its maximum of " + to_text(limits.max.i));
    }
    if (value < limits.min.i && !beyond) {
        throw ValueError(to_text(value) + " is below its minimum of " + to_text(limits.min.i));
    }
    const auto step = static_cast<std::uint64_t>(limits.increment.i);
    if (step > 1) {
        const bool open = limits.min.i == std::numeric_limits<std::int64_t>::min();
        const std::uint64_t offset =
            open ? (value < 0 ? 0 - static_cast<std::uint64_t>(value) : static_cast<std::uint64_t>(value))
                 : static_cast<std::uint64_t>(value) - static_cast<std::uint64_t>(limits.min.i);
        if (offset % step != 0) {
            throw ValueError(to_text(value) + " is not its minimum of " + to_text(open ? 0 : limits.min.i) +
                             " plus a multiple of its increment of " + to_text(limits.increment.i));
        }
    }
    if (node.kind == Kind::integer) {
        const Range valid = model_.numbers[node.data].valid_values;
        const auto begin = model_.valid_ints.begin() + valid.begin;
        if (valid.count != 0 && std::find(begin, begin + valid.count, value) == begin + valid.count) {
            throw ValueError(to_text(value) + " is not one of its valid values");
        }
    }
}

void NodeMap::check_float(Node& node, double value)
{
    if (std::isnan(value)) {
        throw ValueError("the value is not a number");
    }
    const Limits limits = limits_of(node);
    if (value > limits.max.d) {
        throw ValueError(to_text(value) + " is above its maximum of " + to_text(limits.max.d));
    }
    if (value < limits.min.d) {
        throw ValueError(to_text(value) + " is below its minimum of " + to_text(limits.min.d));
    }
    const double step = limits.increment.d;
    if (step > 0) {
        const double base = limits.min.d <= -std::numeric_limits<double>::max() ? 0 : limits.min.d;
        const double steps = (value - base) / step;
        // what a decimal fraction loses as a double must not count
        const double tolerance = 1e-6 + std::abs(steps) * 1e-12;
        if (std::isfinite(steps) && std::abs(steps - std::round(steps)) > tolerance) {
            throw ValueError(to_text(value) + " is not its minimum of " + to_text(base) +
                             " plus a multiple of its increment of " + to_text(step));
        }
    }
    if (node.kind == Kind::floating) {
        const Range valid = model_.numbers[node.data].valid_values;
        const auto begin = model_.valid_floats.begin() + valid.begin;
        if (valid.count != 0 && std::find(begin, begin + valid.count, value) == begin + valid.count) {
            throw ValueError(to_text(value) + " is not one of its valid values");
        }
    }
}

/// Asks the nodes that say whether a write went well.
void NodeMap::check_errors(Node& node)
{
    if (!node.has_errors) {
        return;
    }
    for (const Relation& relation : Model::related(model_.errors, node.index)) {
        Node& error = at(relation.to);
        changes_.forget_below(error);
        const std::int64_t value = integer_of(error);
        if (value == 0) {
            continue;
        }
        std::string text = std::string(error.text_name) + " is " + to_text(value);
        NodeIndex entry = no_node;
        if (error.kind == Kind::enumeration && find_entry(error, value, &entry) != nullptr) {
            const Node& said = at(entry);
            text = !said.description().empty() ? said.description()
                   : !said.tool_tip().empty()  ? said.tool_tip()
                                               : model_.entries[said.data].symbolic;
        }
        throw ValueError("the device reports an error: " + text, PvResult::GenericError);
    }
}

/// A float is rounded to a whole number that the node takes.
std::int64_t NodeMap::nearest_valid(Node& node, double value)
{
    const auto rounded = rounded_to_integer(value);
    if (!rounded) {
        throw ValueError(to_text(value) + " does not fit a 64-bit integer", PvResult::ErrOverflow);
    }
    const Limits limits = limits_of(node);
    const std::int64_t step = limits.increment.i;
    if (step <= 1 || *rounded < limits.min.i || *rounded > limits.max.i) {
        return *rounded;
    }
    const bool open = limits.min.i == std::numeric_limits<std::int64_t>::min();
    const double base = open ? 0 : static_cast<double>(limits.min.i);
    const auto snapped =
        rounded_to_integer(base + std::round((value - base) / static_cast<double>(step)) * static_cast<double>(step));
    if (!snapped) {
        return *rounded;
    }
    return *snapped > limits.max.i ? *snapped - step : *snapped;
}

/// The entry with that value; where several have it, as old and new names do, the first that is available.
NodeIndex NodeMap::entry_for(Node& node, std::int64_t value)
{
    const Range range = model_.enumerations[node.data].entries;
    const std::uint32_t end = range.begin + range.count;
    const auto next = [&](std::uint32_t i) {
        while (i != end && (at(model_.lists[i]).broken || model_.entries[at(model_.lists[i]).data].value != value)) {
            ++i;
        }
        return i;
    };
    const std::uint32_t first = next(range.begin);
    if (first == end) {
        return no_node;
    }
    // whether an entry is available may take transfers to find out: only where there is a choice
    if (next(first + 1) != end) {
        for (std::uint32_t i = first; i != end; i = next(i + 1)) {
            if (is_available(access_of(at(model_.lists[i])))) {
                return model_.lists[i];
            }
        }
    }
    return model_.lists[first];
}

NodeIndex NodeMap::nearest_entry(Node& node, double value)
{
    const Range range = model_.enumerations[node.data].entries;
    NodeIndex nearest = no_node;
    double distance = std::numeric_limits<double>::infinity();
    for (std::uint32_t i = range.begin; i < range.begin + range.count; ++i) {
        Node& candidate = at(model_.lists[i]);
        const double gap = std::abs(candidate.numeric_value() - value);
        if (gap < distance && is_available(access_of(candidate))) {
            nearest = candidate.index;
            distance = gap;
        }
    }
    if (nearest == no_node) {
        throw ValueError("no entry can be chosen for " + to_text(value));
    }
    return nearest;
}

}  // namespace GenApi
