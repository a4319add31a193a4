// What a node knows without asking the device.

#include <algorithm>

#include "sdk/genapi/engine.h"
#include "sdk/genapi/linking.h"

namespace GenApi {

namespace {

std::vector<INode*> targets(const Model& model, std::span<const Relation> relations)
{
    std::vector<INode*> nodes;
    nodes.reserve(relations.size());
    for (const Relation& relation : relations) {
        nodes.push_back(&model.nodes[relation.to]);
    }
    return nodes;
}

}  // namespace

INodeMap& Node::node_map() const noexcept { return *map; }

std::string_view Node::display_name() const noexcept
{
    const std::string_view own = map->model().texts[texts].display_name;
    return !own.empty() ? own : kind == Kind::enum_entry ? symbolic() : text_name;
}

std::string_view Node::tool_tip() const noexcept { return map->model().texts[texts].tool_tip; }

std::string_view Node::description() const noexcept { return map->model().texts[texts].description; }

std::string_view Node::docu_url() const noexcept { return map->model().texts[texts].docu_url; }

std::string_view Node::unit() const noexcept { return map->model().texts[texts].unit; }

std::int64_t Node::polling_time() const noexcept
{
    const Model& model = map->model();
    const Node* node = this;
    for (std::uint32_t steps = 0; steps < longest_chain; ++steps) {
        const auto found =
            std::lower_bound(model.polled.begin(), model.polled.end(), node->index,
                             [](const Polled& polled, NodeIndex wanted) { return polled.node < wanted; });
        if (found != model.polled.end() && found->node == node->index) {
            return found->period;
        }
        const NodeIndex next = value_node(model, *node);
        if (next == no_node) {
            break;
        }
        node = &model.nodes[next];
    }
    return -1;
}

std::optional<std::uint64_t> Node::event_id() const noexcept
{
    const auto& ids = map->model().event_ids;
    const auto found = std::lower_bound(ids.begin(), ids.end(), std::pair<NodeIndex, std::uint64_t>(index, 0));
    if (found == ids.end() || found->first != index) {
        return std::nullopt;
    }
    return found->second;
}

INode* Node::category() const noexcept { return parent != no_node ? &map->model().nodes[parent] : nullptr; }

std::string_view Node::defect() const noexcept
{
    if (!broken) {
        return {};
    }
    const auto& defects = map->model().defects;
    const auto found = defects.find(index);
    return found != defects.end() ? std::string_view(found->second) : std::string_view();
}

std::vector<INode*> Node::selected() const
{
    return targets(map->model(), Model::related(map->model().selected, index));
}

std::vector<INode*> Node::selecting() const
{
    return targets(map->model(), Model::related(map->model().selecting, index));
}

std::vector<INode*> Node::children() const
{
    const Model& model = map->model();
    Range range;
    if (kind == Kind::category) {
        range = model.categories[data].features;
    } else if (kind == Kind::enumeration) {
        range = model.enumerations[data].entries;
    }
    std::vector<INode*> nodes;
    nodes.reserve(range.count);
    for (std::uint32_t i = range.begin; i < range.begin + range.count; ++i) {
        nodes.push_back(&model.nodes[model.lists[i]]);
    }
    return nodes;
}

std::vector<std::int64_t> Node::valid_int_values()
{
    if (kind != Kind::integer) {
        return {};
    }
    const Range range = map->model().numbers[data].valid_values;
    const auto begin = map->model().valid_ints.begin() + range.begin;
    return {begin, begin + range.count};
}

INode* Node::entry_by_symbolic(std::string_view symbolic_name) const
{
    NodeIndex entry = no_node;
    return kind == Kind::enumeration && map->find_entry(*this, symbolic_name, &entry) != nullptr
               ? &map->model().nodes[entry]
               : nullptr;
}

INode* Node::entry_by_value(std::int64_t value) const
{
    NodeIndex entry = no_node;
    return kind == Kind::enumeration && map->find_entry(*this, value, &entry) != nullptr ? &map->model().nodes[entry]
                                                                                         : nullptr;
}

std::string_view Node::symbolic() const noexcept
{
    return kind == Kind::enum_entry ? map->model().entries[data].symbolic : std::string_view();
}

double Node::numeric_value() const
{
    if (kind != Kind::enum_entry) {
        throw TypeError(std::string(text_name) + " is a " + std::string(element()) + " and no enum entry");
    }
    const EntryData& entry = map->model().entries[data];
    return entry.has_numeric ? entry.numeric : static_cast<double>(entry.value);
}

}  // namespace GenApi
