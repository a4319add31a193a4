#include "sdk/genapi/changes.h"

#include <algorithm>
#include <limits>

namespace GenApi {

void Changes::push(NodeIndex node, std::uint8_t channels)
{
    Node& target = at(node);
    if (target.visit != visit_) {
        target.visit = visit_;
        target.visited_channels = 0;
    }
    const auto missing = static_cast<std::uint8_t>(channels & ~target.visited_channels);
    if (missing != 0) {
        target.visited_channels = static_cast<std::uint8_t>(target.visited_channels | missing);
        to_visit_.emplace_back(node, missing);
    }
}

void Changes::next_visit() noexcept
{
    if (++visit_ == 0) {
        for (NodeIndex index = 0; index < model_.node_count; ++index) {
            at(index).visit = 0;
        }
        visit_ = 1;
    }
}

void Changes::spread(std::span<const NodeIndex> nodes, std::uint8_t channels)
{
    next_visit();
    for (const NodeIndex node : nodes) {
        push(node, channels);
    }
    finish();
}

void Changes::finish()
{
    while (!to_visit_.empty()) {
        const auto [next, missing] = to_visit_.back();
        to_visit_.pop_back();
        visit(at(next), missing);
    }
}

void Changes::visit(Node& node, std::uint8_t channels)
{
    if ((channels & value_channels) != 0) {
        node.value_lasting = false;
        node.value_operation = 0;
    }
    if ((channels & device_channel) != 0) {
        if (is_register(node.kind)) {
            model_.cells[model_.registers[node.data].cell].valid = false;
        } else if (node.kind == Kind::integer || node.kind == Kind::floating) {
            const NumberData& data = model_.numbers[node.data];
            if (data.value.node != no_node) {
                push(data.value.node, device_channel);
            }
            for (std::uint32_t i = data.indexed.begin; i < data.indexed.begin + data.indexed.count; ++i) {
                if (model_.indexed_values[i].value.node != no_node) {
                    push(model_.indexed_values[i].value.node, device_channel);
                }
            }
        } else if (const NodeIndex below = value_node(model_, node); below != no_node) {
            push(below, device_channel);
        }
    }
    if ((channels & limits_channel) != 0) {
        LimitCache* const cache = node.kind == Kind::integer || node.kind == Kind::floating
                                      ? &model_.numbers[node.data].cache
                                  : is_formula(node.kind) ? &model_.formulas[node.data].cache
                                                          : nullptr;
        if (cache != nullptr) {
            cache->lasting = false;
            cache->operation = 0;
        }
    }
    if ((channels & access_channel) != 0) {
        node.access_lasting = false;
        node.access_operation = 0;
    }
    if (node.has_callbacks && !node.notify) {
        node.notify = true;
        to_notify_.push_back(node.index);
    }
    for (std::uint32_t i = model_.edge_begin[node.index]; i < model_.edge_begin[node.index + 1]; ++i) {
        const Edge& edge = model_.edges[i];
        const unsigned matching = edge.from_channels & channels;
        if (matching == 0) {
            continue;
        }
        if (edge.to_channels != 0) {
            push(edge.to, edge.to_channels);
        } else {
            // what has its value here changes as this does; its register is this one
            unsigned to_channels = matching & (limits_channel | access_channel);
            if ((matching & value_channels) != 0) {
                to_channels |= value_channel;
            }
            push(edge.to, static_cast<std::uint8_t>(to_channels));
        }
    }
}

void Changes::spread_from_register(const Node& node, std::int64_t address, std::int64_t length)
{
    const RegisterData& reg = model_.registers[node.data];
    next_visit();
    push(node.index, value_channel);
    for (std::uint32_t i = model_.cell_begin[reg.cell]; i < model_.cell_begin[reg.cell + 1]; ++i) {
        const NodeIndex member = model_.cell_members[i];
        const RegisterData& other = model_.registers[at(member).data];
        const bool apart = reg.masked && other.masked && reg.big_endian == other.big_endian &&
                           (reg.msb < other.lsb || other.msb < reg.lsb);
        if (!apart) {
            push(member, value_channel);
        }
    }
    const CellPlace written{.port = reg.port, .address = address, .length = length, .cell = reg.cell};
    push_overlapping(model_.fixed_cells, model_.longest_fixed_cell, written);
    push_overlapping(moving_cells_, longest_moving_cell_, written);
    finish();
}

void Changes::push_overlapping(const std::vector<CellPlace>& places, std::int64_t longest, const CellPlace& written)
{
    // addresses come from outside, so their differences may wrap around
    constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
    const CellPlace first{.port = written.port,
                          .address = written.address < lowest + longest ? lowest : written.address - longest};
    const auto distance = [](std::int64_t from, std::int64_t to) {
        return static_cast<std::uint64_t>(to) - static_cast<std::uint64_t>(from);
    };
    auto place = std::lower_bound(places.begin(), places.end(), first, is_before);
    for (; place != places.end() && place->port == written.port; ++place) {
        const bool behind = place->address >= written.address;
        if (behind && distance(written.address, place->address) >= static_cast<std::uint64_t>(written.length)) {
            break;
        }
        if (place->cell == written.cell ||
            (!behind && distance(place->address, written.address) >= static_cast<std::uint64_t>(place->length))) {
            continue;
        }
        model_.cells[place->cell].valid = false;
        for (std::uint32_t i = model_.cell_begin[place->cell]; i < model_.cell_begin[place->cell + 1]; ++i) {
            push(model_.cell_members[i], device_channel);
        }
    }
}

void Changes::put(Cell& cell, const CellPlace& place)
{
    const auto length = static_cast<std::uint32_t>(place.length);
    if (cell.address == place.address && cell.length == length) {
        return;
    }
    if (!cell.fixed) {
        const CellPlace before{.port = place.port, .address = cell.address, .length = cell.length, .cell = place.cell};
        const auto [begin, end] = std::equal_range(moving_cells_.begin(), moving_cells_.end(), before, is_before);
        const auto old = std::find_if(begin, end, [&](const CellPlace& other) { return other.cell == place.cell; });
        if (old != end) {
            moving_cells_.erase(old);
        }
        moving_cells_.insert(std::upper_bound(moving_cells_.begin(), moving_cells_.end(), place, is_before), place);
        longest_moving_cell_ = std::max(longest_moving_cell_, place.length);
    }
    cell.address = place.address;
    cell.length = length;
}

void Changes::spread_all()
{
    for (NodeIndex index = 0; index < model_.node_count; ++index) {
        Node& node = at(index);
        node.value_lasting = false;
        node.access_lasting = false;
        node.value_operation = 0;
        node.access_operation = 0;
        if (node.has_callbacks && !node.notify) {
            node.notify = true;
            to_notify_.push_back(index);
        }
    }
    for (Cell& cell : model_.cells) {
        cell.valid = false;
    }
    for (NumberData& number : model_.numbers) {
        number.cache.lasting = false;
        number.cache.operation = 0;
    }
    for (FormulaData& formula : model_.formulas) {
        formula.cache.lasting = false;
        formula.cache.operation = 0;
    }
}

void Changes::forget_below(Node& start)
{
    next_visit();
    std::vector<NodeIndex> below{start.index};
    start.visit = visit_;
    const auto reach = [&](NodeIndex index) {
        if (index != no_node && at(index).visit != visit_) {
            at(index).visit = visit_;
            at(index).visited_channels = 0;
            below.push_back(index);
        }
    };
    while (!below.empty()) {
        Node& node = at(below.back());
        below.pop_back();
        node.value_lasting = false;
        node.value_operation = 0;
        if (is_register(node.kind)) {
            model_.cells[model_.registers[node.data].cell].valid = false;
            continue;
        }
        if (node.kind == Kind::integer || node.kind == Kind::floating) {
            const NumberData& data = model_.numbers[node.data];
            for (std::uint32_t i = data.indexed.begin; i < data.indexed.begin + data.indexed.count; ++i) {
                reach(model_.indexed_values[i].value.node);
            }
        }
        if (is_formula(node.kind)) {
            const Range variables = model_.formulas[node.data].variables;
            for (std::uint32_t i = variables.begin; i < variables.begin + variables.count; ++i) {
                reach(model_.variables[i].node);
            }
        }
        reach(value_node(model_, node));
    }
}

}  // namespace GenApi
