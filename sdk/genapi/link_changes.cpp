// Loading, last steps: which registers share their bytes, and which way changes take.

#include <algorithm>
#include <limits>
#include <tuple>

#include "sdk/genapi/linking.h"

namespace GenApi {

namespace {

constexpr std::uint32_t no_structure = 0xFFFFFFFF;

class CellLinker {
public:
    explicit CellLinker(Loading& loading) : loading_(loading), model_(loading.model) {}

    void run()
    {
        collect();
        std::sort(users_.begin(), users_.end(), [](const User& a, const User& b) {
            return std::tie(a.port, a.structure, a.address, a.length, a.node) <
                   std::tie(b.port, b.structure, b.address, b.length, b.node);
        });
        std::uint32_t cells = 0;
        for (std::size_t i = 0; i < users_.size(); ++i) {
            if (i == 0 || !same_cell(users_[i - 1], users_[i])) {
                model_.cell_begin.push_back(static_cast<std::uint32_t>(i));
                if (users_[i].structure == no_structure) {
                    model_.fixed_cells.push_back({users_[i].port, users_[i].address, users_[i].length, cells});
                    model_.longest_fixed_cell = std::max(model_.longest_fixed_cell, users_[i].length);
                }
                ++cells;
            }
            model_.registers[model_.nodes[users_[i].node].data].cell = cells - 1;
            model_.cell_members.push_back(users_[i].node);
        }
        model_.cell_begin.push_back(static_cast<std::uint32_t>(users_.size()));
        model_.cells.resize(cells);
        for (const CellPlace& place : model_.fixed_cells) {
            model_.cells[place.cell].fixed = true;
        }
        set_apart();
        set_apart_what_overlaps();
    }

private:
    struct User {
        NodeIndex port;
        std::uint32_t structure;  ///< of registers whose address is computed
        std::int64_t address;
        std::int64_t length;
        NodeIndex node;
    };

    void collect()
    {
        std::vector<std::uint32_t> structure_of(model_.node_count, no_structure);
        std::uint32_t structures = 0;
        for (const StructMember& member : loading_.struct_members) {
            structure_of[member.node] = member.structure;
            structures = std::max(structures, member.structure + 1);
        }
        for (NodeIndex index = 0; index < model_.node_count; ++index) {
            const Node& node = model_.nodes[index];
            if (!is_register(node.kind)) {
                continue;
            }
            const RegisterData& reg = model_.registers[node.data];
            // what cannot be used, perhaps because of its length, is never transferred and has no place
            const bool fixed = !node.broken && reg.terms.count == 0 && reg.length_node == no_node;
            if (fixed) {
                users_.push_back({reg.port, no_structure, reg.address, reg.length, index});
            } else if (structure_of[index] != no_structure) {
                users_.push_back({reg.port, structure_of[index], 0, 0, index});
            } else {
                // nothing is known before the address is computed: a cell of its own
                users_.push_back({reg.port, structures + index, 0, 0, index});
            }
        }
    }

    /// Registers that are not to be read unless somebody asks: reading may do something, or is not allowed.
    void set_apart()
    {
        for (NodeIndex index = 0; index < model_.node_count; ++index) {
            const Node& node = model_.nodes[index];
            if (is_register(node.kind)) {
                const RegisterData& reg = model_.registers[node.data];
                const bool plain = (is_int_register(node.kind) || node.kind == Kind::float_reg) &&
                                   reg.caching != Caching::none && is_readable(reg.access) &&
                                   is_readable(node.imposed) && !node.broken;
                model_.cells[reg.cell].alone = model_.cells[reg.cell].alone || !plain;
            } else if (node.kind == Kind::command) {
                set_apart_below(node);
            }
        }
        for (const auto& [index, id] : model_.event_ids) {
            set_apart_below(model_.nodes[index]);
        }
    }

    void set_apart_below(const Node& start)
    {
        const Node* node = &start;
        for (std::uint32_t steps = 0; steps < longest_chain; ++steps) {
            if (is_register(node->kind)) {
                model_.cells[model_.registers[node->data].cell].alone = true;
                return;
            }
            const NodeIndex next = value_node(model_, *node);
            if (next == no_node) {
                return;
            }
            node = &model_.nodes[next];
        }
    }

    /// Whoever reads a register reads the bytes that it shares with others.
    void set_apart_what_overlaps()
    {
        const auto end_of = [](const CellPlace& place) {
            constexpr std::int64_t last = std::numeric_limits<std::int64_t>::max();
            return place.address > last - place.length ? last : place.address + place.length;
        };
        std::vector<std::uint32_t> overlapping;
        const CellPlace* furthest = nullptr;  // of those set apart that begin before
        for (const CellPlace& place : model_.fixed_cells) {
            if (furthest != nullptr && furthest->port == place.port && place.address < end_of(*furthest)) {
                overlapping.push_back(place.cell);
            }
            if (model_.cells[place.cell].alone &&
                (furthest == nullptr || furthest->port != place.port || end_of(*furthest) < end_of(place))) {
                furthest = &place;
            }
        }
        const CellPlace* next = nullptr;  // of those set apart that begin behind
        for (auto place = model_.fixed_cells.rbegin(); place != model_.fixed_cells.rend(); ++place) {
            if (next != nullptr && next->port == place->port && next->address < end_of(*place)) {
                overlapping.push_back(place->cell);
            }
            if (model_.cells[place->cell].alone) {
                next = &*place;
            }
        }
        for (const std::uint32_t cell : overlapping) {
            model_.cells[cell].alone = true;
        }
    }

    static bool same_cell(const User& a, const User& b)
    {
        return std::tie(a.port, a.structure, a.address, a.length) == std::tie(b.port, b.structure, b.address, b.length);
    }

    Loading& loading_;
    Model& model_;
    std::vector<User> users_;
};

class ChangeLinker {
public:
    explicit ChangeLinker(Loading& loading) : loading_(loading), model_(loading.model) {}

    void run()
    {
        for (const Link& link : loading_.resolved) {
            add(link);
        }
        for (const VariableUse& use : loading_.variable_uses) {
            add(use);
        }
        for (NodeIndex index = 0; index < model_.node_count; ++index) {
            add_parts(model_.nodes[index]);
        }
        store();
        sort(model_.selected);
        sort(model_.selecting);
        sort(model_.copies);
        sort(model_.errors);
        sort(model_.poll_blockers);
        std::sort(model_.event_ids.begin(), model_.event_ids.end());
        std::sort(model_.polled.begin(), model_.polled.end(),
                  [](const Polled& a, const Polled& b) { return a.node < b.node; });
    }

private:
    struct Arc {
        NodeIndex from;
        Edge edge;
    };

    void arc(NodeIndex from, NodeIndex to, unsigned from_channels, unsigned to_channels)
    {
        arcs_.push_back({from,
                         {.to = to,
                          .from_channels = static_cast<std::uint8_t>(from_channels),
                          .to_channels = static_cast<std::uint8_t>(to_channels)}});
    }

    void add(const Link& link)
    {
        constexpr unsigned all = value_channels | limits_channel | access_channel;
        switch (link.role) {
        case Role::value:
        case Role::indexed_value: arc(link.to, link.from, all, 0); break;
        case Role::index:
            arc(link.to, link.from, value_channels | access_channel, value_channel | limits_channel | access_channel);
            break;
        case Role::min:
        case Role::max:
        case Role::increment: arc(link.to, link.from, value_channels, limits_channel); break;
        case Role::is_implemented:
        case Role::is_available:
        case Role::is_locked: arc(link.to, link.from, value_channels | access_channel, access_channel); break;
        case Role::length:
            // what fits into a register
            arc(link.to, link.from, value_channels, limits_channel);
            [[fallthrough]];
        case Role::address:
        case Role::address_offset:
            arc(link.to, link.from, value_channels, value_channel);
            arc(link.to, link.from, access_channel, access_channel);
            break;
        case Role::port:
            arc(link.to, link.from, value_channels, device_channel);
            arc(link.to, link.from, access_channel, access_channel);
            break;
        case Role::chunk_id: arc(link.to, link.from, value_channels, device_channel | access_channel); break;
        case Role::selected:
            // what a selected feature means changes with its selector, whether or not the description says so again
            if (link.from != link.to) {
                arc(link.from, link.to, value_channels, device_channel | limits_channel | access_channel);
            }
            break;
        case Role::invalidator: arc(link.to, link.from, value_channels, device_channel); break;
        case Role::value_copy:
        case Role::command_value:
        case Role::variable:
        case Role::feature:
        case Role::error:
        case Role::block_polling: break;
        }
    }

    void add(const VariableUse& use)
    {
        const Variable& variable = model_.variables[use.variable];
        if (variable.node == no_node) {
            return;
        }
        const unsigned changes = value_channel | limits_channel;
        switch (variable.aspect) {
        case Aspect::value:
            arc(variable.node, use.node, value_channels, changes);
            arc(variable.node, use.node, access_channel, changes | access_channel);
            break;
        case Aspect::min:
        case Aspect::max:
        case Aspect::increment: arc(variable.node, use.node, limits_channel, changes); break;
        case Aspect::access: arc(variable.node, use.node, access_channel, changes); break;
        case Aspect::visibility:
        case Aspect::caching:
        case Aspect::entry: break;
        }
    }

    void add_parts(const Node& node)
    {
        if (is_register(node.kind)) {
            const Range terms = model_.registers[node.data].terms;
            for (std::uint32_t i = terms.begin; i < terms.begin + terms.count; ++i) {
                if (model_.terms[i].node != no_node && !model_.terms[i].is_index) {
                    arc(model_.terms[i].node, node.index, value_channels, value_channel);
                    arc(model_.terms[i].node, node.index, access_channel, access_channel);
                }
            }
        } else if (node.kind == Kind::enum_entry) {
            // which entries can be chosen is to an enumeration what limits are to a number
            arc(node.index, model_.entries[node.data].enumeration, access_channel, limits_channel);
        } else if (node.kind == Kind::port && model_.ports[node.data].is_chunk) {
            model_.chunk_ports.push_back(node.index);
        }
    }

    void store()
    {
        model_.edge_begin.assign(model_.node_count + 1, 0);
        for (const Arc& arc : arcs_) {
            ++model_.edge_begin[arc.from + 1];
        }
        for (std::size_t i = 1; i < model_.edge_begin.size(); ++i) {
            model_.edge_begin[i] += model_.edge_begin[i - 1];
        }
        model_.edges.resize(arcs_.size());
        std::vector<std::uint32_t> next(model_.edge_begin.begin(), model_.edge_begin.end() - 1);
        for (const Arc& arc : arcs_) {
            model_.edges[next[arc.from]++] = arc.edge;
        }
    }

    static void sort(std::vector<Relation>& relations)
    {
        std::stable_sort(relations.begin(), relations.end(),
                         [](const Relation& a, const Relation& b) { return a.from < b.from; });
    }

    Loading& loading_;
    Model& model_;
    std::vector<Arc> arcs_;
};

}  // namespace

void link_cells(Loading& loading) { CellLinker(loading).run(); }

void link_changes(Loading& loading) { ChangeLinker(loading).run(); }

void link(Loading& loading)
{
    link_names(loading);
    link_formulas(loading);
    break_cycles(loading);
    link_features(loading);
    link_cells(loading);
    link_changes(loading);
    loading.model.trim();
}

}  // namespace GenApi
