// Loading, fourth step: a value that depends on itself, or on too long a chain of others, is none.

#include <algorithm>
#include <string>

#include "sdk/genapi/linking.h"

namespace GenApi {

namespace {

/// Which nodes' values each node's value is made of, as one flat list.
class ValueGraph {
public:
    explicit ValueGraph(const Loading& loading)
    {
        const Model& model = loading.model;
        for (const Link& link : loading.resolved) {
            if (is_part_of_value(link.role)) {
                arcs_.push_back({link.from, link.to});
            }
        }
        for (const VariableUse& use : loading.variable_uses) {
            const Variable& variable = model.variables[use.variable];
            if (variable.node != no_node && variable.aspect == Aspect::value) {
                arcs_.push_back({use.node, variable.node});
            }
        }
        for (NodeIndex index = 0; index < model.node_count; ++index) {
            add_address_knives(model, index);
        }
        std::stable_sort(arcs_.begin(), arcs_.end(),
                         [](const Relation& a, const Relation& b) { return a.from < b.from; });
        begin_.assign(model.node_count + 1, 0);
        for (const Relation& arc : arcs_) {
            ++begin_[arc.from + 1];
        }
        for (std::size_t i = 1; i < begin_.size(); ++i) {
            begin_[i] += begin_[i - 1];
        }
    }

    [[nodiscard]] std::uint32_t first(NodeIndex node) const { return begin_[node]; }
    [[nodiscard]] std::uint32_t last(NodeIndex node) const { return begin_[node + 1]; }
    [[nodiscard]] NodeIndex target(std::uint32_t arc) const { return arcs_[arc].to; }

private:
    static bool is_part_of_value(Role role) noexcept
    {
        switch (role) {
        case Role::value:
        case Role::index:
        case Role::indexed_value:
        case Role::address:
        case Role::address_offset:
        case Role::length:
        case Role::port:
        case Role::chunk_id: return true;
        default: return false;
        }
    }

    void add_address_knives(const Model& model, NodeIndex index)
    {
        const Node& node = model.nodes[index];
        if (!is_register(node.kind)) {
            return;
        }
        const Range terms = model.registers[node.data].terms;
        for (std::uint32_t i = terms.begin; i < terms.begin + terms.count; ++i) {
            if (model.terms[i].node != no_node && !model.terms[i].is_index) {
                arcs_.push_back({index, model.terms[i].node});
            }
        }
    }

    std::vector<Relation> arcs_;
    std::vector<std::uint32_t> begin_;
};

class CycleBreaker {
public:
    explicit CycleBreaker(Loading& loading)
        : loading_(loading), graph_(loading), state_(loading.model.node_count, State::unseen),
          depth_(loading.model.node_count, 0), position_(loading.model.node_count, 0)
    {}

    void run()
    {
        for (NodeIndex index = 0; index < loading_.model.node_count; ++index) {
            if (state_[index] == State::unseen) {
                visit_from(index);
            }
        }
    }

private:
    enum class State : std::uint8_t { unseen, open, done };

    struct Step {
        NodeIndex node;
        std::uint32_t next;  ///< arc
    };

    void visit_from(NodeIndex start)
    {
        open(start);
        while (!path_.empty()) {
            Step& step = path_.back();
            if (step.next == graph_.last(step.node)) {
                close(step.node);
                continue;
            }
            const NodeIndex target = graph_.target(step.next++);
            if (state_[target] == State::unseen) {
                open(target);
            } else if (state_[target] == State::open) {
                break_cycle(target);
            } else {
                depth_[step.node] = std::max(depth_[step.node], depth_[target] + 1);
            }
        }
    }

    void open(NodeIndex node)
    {
        state_[node] = State::open;
        position_[node] = static_cast<std::uint32_t>(path_.size());
        path_.push_back({node, graph_.first(node)});
    }

    void close(NodeIndex node)
    {
        state_[node] = State::done;
        path_.pop_back();
        if (depth_[node] > longest_chain) {
            loading_.break_node(
                node, 0, "its value depends on a chain of more than " + std::to_string(longest_chain) + " nodes");
            // so that not every node above repeats the complaint
            depth_[node] = 0;
        }
        if (!path_.empty()) {
            std::uint32_t& above = depth_[path_.back().node];
            above = std::max(above, depth_[node] + 1);
        }
    }

    void break_cycle(NodeIndex target)
    {
        constexpr std::size_t most_named = 8;
        const auto begin = path_.begin() + position_[target];
        std::string names;
        std::size_t named = 0;
        for (auto at = begin; at != path_.end() && named < most_named; ++at, ++named) {
            names += std::string(loading_.model.nodes[at->node].text_name) + " -> ";
        }
        names += static_cast<std::size_t>(path_.end() - begin) > most_named
                     ? std::string("...")
                     : std::string(loading_.model.nodes[target].text_name);
        for (auto at = begin; at != path_.end(); ++at) {
            if (loading_.model.nodes[at->node].broken) {
                // another circle through the same nodes: they are out of use already
                break;
            }
            loading_.break_node(at->node, 0, "its value depends on itself: " + names);
        }
    }

    Loading& loading_;
    ValueGraph graph_;
    std::vector<State> state_;
    std::vector<std::uint32_t> depth_;
    std::vector<std::uint32_t> position_;  ///< on the path, of open nodes
    std::vector<Step> path_;
};

}  // namespace

void break_cycles(Loading& loading) { CycleBreaker(loading).run(); }

}  // namespace GenApi
