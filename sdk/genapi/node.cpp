// A node's face: what it knows itself it answers itself, the rest it asks of its node map.

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

AccessMode Node::access() { return map->access(*this); }
bool Node::is_cached() { return map->is_cached(*this); }
void Node::invalidate() { map->invalidate(*this); }

std::int64_t Node::int_value(ReadMode mode) { return map->read_integer(*this, mode); }
void Node::set_int_value(std::int64_t value) { map->write_integer(*this, value); }
std::int64_t Node::int_min() { return map->integer_limits(*this).min.i; }
std::int64_t Node::int_max() { return map->integer_limits(*this).max.i; }
std::int64_t Node::int_increment() { return map->integer_limits(*this).increment.i; }

std::vector<std::int64_t> Node::valid_int_values()
{
    if (kind != Kind::integer) {
        return {};
    }
    const Range range = map->model().numbers[data].valid_values;
    const auto begin = map->model().valid_ints.begin() + range.begin;
    return {begin, begin + range.count};
}

double Node::float_value(ReadMode mode) { return map->read_float(*this, mode); }
void Node::set_float_value(double value) { map->write_float(*this, value); }
double Node::float_min() { return map->float_limits(*this).min.d; }
double Node::float_max() { return map->float_limits(*this).max.d; }

std::optional<double> Node::float_increment()
{
    const double increment = map->float_limits(*this).increment.d;
    return increment > 0 ? std::optional(increment) : std::nullopt;
}

bool Node::bool_value(ReadMode mode) { return map->read_boolean(*this, mode); }
void Node::set_bool_value(bool value) { map->write_boolean(*this, value); }

INode& Node::current_entry(ReadMode mode) { return map->read_entry(*this, mode); }
void Node::set_entry(std::string_view symbolic_name) { map->write_entry(*this, symbolic_name); }

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

void Node::execute() { map->execute(*this); }
bool Node::is_done() { return map->is_done(*this); }

std::string Node::string_value(ReadMode mode) { return map->read_string(*this, mode); }
void Node::set_string_value(std::string_view value) { map->write_string(*this, value); }
std::int64_t Node::string_max_length() { return map->string_length(*this); }

std::int64_t Node::register_length() { return map->register_length(*this); }
std::int64_t Node::register_address() { return map->register_address(*this); }
void Node::get_bytes(std::span<std::uint8_t> out, ReadMode mode) { map->read_bytes(*this, out, mode); }
void Node::set_bytes(std::span<const std::uint8_t> bytes) { map->write_bytes(*this, bytes); }

std::string Node::to_string(ReadMode mode) { return map->read_text(*this, mode); }
void Node::from_string(std::string_view text) { map->write_text(*this, text); }

CallbackId Node::on_change(ChangeCallback callback) { return map->add_callback(*this, std::move(callback)); }
void Node::remove_callback(CallbackId id) { map->remove_callback(*this, id); }

}  // namespace GenApi
