// Loading, second step: names become nodes, and every node is checked for what it needs.

#include <algorithm>
#include <utility>

#include "sdk/genapi/linking.h"

namespace GenApi {

std::string_view element_name(Role role) noexcept
{
    switch (role) {
    case Role::value: return "pValue";
    case Role::value_copy: return "pValueCopy";
    case Role::min: return "pMin";
    case Role::max: return "pMax";
    case Role::increment: return "pInc";
    case Role::index: return "pIndex";
    case Role::indexed_value: return "pValueIndexed";
    case Role::is_implemented: return "pIsImplemented";
    case Role::is_available: return "pIsAvailable";
    case Role::is_locked: return "pIsLocked";
    case Role::address: return "pAddress";
    case Role::address_offset: return "pOffset";
    case Role::length: return "pLength";
    case Role::port: return "pPort";
    case Role::command_value: return "pCommandValue";
    case Role::variable: return "pVariable";
    case Role::selected: return "pSelected";
    case Role::feature: return "pFeature";
    case Role::invalidator: return "pInvalidator";
    case Role::error: return "pError";
    case Role::chunk_id: return "pChunkID";
    case Role::block_polling: return "pBlockPolling";
    }
    return "";
}

namespace {

/// A node can do without these; it is not broken when one leads nowhere.
bool is_dispensable(Role role) noexcept
{
    switch (role) {
    case Role::value_copy:
    case Role::selected:
    case Role::feature:
    case Role::invalidator:
    case Role::error:
    case Role::block_polling: return true;
    default: return false;
    }
}

bool suits(Role role, Kind from, Kind to) noexcept
{
    switch (role) {
    case Role::value:
    case Role::value_copy: return from == Kind::string ? to == Kind::string || to == Kind::string_reg : is_numeric(to);
    case Role::port: return to == Kind::port;
    case Role::selected:
    case Role::feature:
    case Role::invalidator: return true;
    default: return is_numeric(to);
    }
}

class NameLinker {
public:
    explicit NameLinker(Loading& loading) : loading_(loading), model_(loading.model) {}

    void run()
    {
        loading_.resolved.reserve(loading_.links.size());
        for (const PendingLink& pending : loading_.links) {
            const NodeIndex to = find_target(pending);
            if (to != no_node) {
                assign(pending, to);
                loading_.resolved.push_back({pending.from, pending.role, pending.slot, to});
            }
        }
        for (NodeIndex index = 0; index < model_.node_count; ++index) {
            check(model_.nodes[index]);
        }
    }

private:
    NodeIndex find_target(const PendingLink& pending)
    {
        const Node& from = model_.nodes[pending.from];
        const NodeIndex to = model_.find(pending.name);
        std::string problem;
        if (to == no_node) {
            problem = "there is no node named " + std::string(pending.name.substr(0, 100));
        } else if (!suits(pending.role, from.kind, model_.nodes[to].kind)) {
            problem = std::string(pending.name) + " is a " + std::string(model_.nodes[to].element());
        } else {
            return to;
        }
        const std::string text = "<" + std::string(element_name(pending.role)) + "> cannot be followed: " + problem;
        if (is_dispensable(pending.role)) {
            loading_.note(from.text_name, pending.line, text);
        } else {
            loading_.break_node(pending.from, pending.line, text);
        }
        return no_node;
    }

    void assign(const PendingLink& pending, NodeIndex to)
    {
        Node& from = model_.nodes[pending.from];
        switch (pending.role) {
        case Role::value: assign_value(from, to); break;
        case Role::value_copy:
            model_.copies.push_back({pending.from, to});
            from.has_copies = true;
            break;
        case Role::min: model_.numbers[from.data].min = given_by(to); break;
        case Role::max: model_.numbers[from.data].max = given_by(to); break;
        case Role::increment: model_.numbers[from.data].increment = given_by(to); break;
        case Role::index: model_.numbers[from.data].index = to; break;
        case Role::indexed_value: model_.indexed_values[pending.slot].value = given_by(to); break;
        case Role::is_implemented: from.is_implemented = to; break;
        case Role::is_available: from.is_available = to; break;
        case Role::is_locked: from.is_locked = to; break;
        case Role::address: model_.terms[pending.slot].node = to; break;
        case Role::address_offset: model_.terms[pending.slot].offset_node = to; break;
        case Role::length: model_.registers[from.data].length_node = to; break;
        case Role::port: model_.registers[from.data].port = to; break;
        case Role::command_value: model_.commands[from.data].command_value = given_by(to); break;
        case Role::variable: model_.variables[pending.slot].node = to; break;
        case Role::selected:
            from.selects = true;
            model_.selected.push_back({pending.from, to});
            model_.selecting.push_back({to, pending.from});
            break;
        case Role::feature: add_feature(model_.categories[from.data].features, to); break;
        case Role::invalidator: break;
        case Role::error:
            model_.errors.push_back({pending.from, to});
            from.has_errors = true;
            break;
        case Role::chunk_id: model_.ports[from.data].chunk_id_node = to; break;
        case Role::block_polling: model_.poll_blockers.push_back({pending.from, to}); break;
        }
    }

    static Operand given_by(NodeIndex node)
    {
        Operand operand;
        operand.node = node;
        operand.given = true;
        return operand;
    }

    void assign_value(Node& from, NodeIndex to)
    {
        if (from.kind == Kind::string) {
            model_.strings[from.data].node = to;
        } else {
            // what a node refers to prevails over a Value beside it
            const_cast<Operand&>(*value_operand(model_, from)) = given_by(to);
        }
    }

    /// The features of one category follow each other in the document.
    void add_feature(Range& features, NodeIndex to)
    {
        if (features.count == 0) {
            features.begin = static_cast<std::uint32_t>(model_.lists.size());
        }
        model_.lists.push_back(to);
        ++features.count;
    }

    void check(Node& node)
    {
        if (node.broken) {
            return;
        }
        if (is_register(node.kind)) {
            check_register(node, model_.registers[node.data]);
        } else if (node.kind == Kind::integer || node.kind == Kind::floating) {
            const NumberData& number = model_.numbers[node.data];
            if (number.index == no_node && !number.value.given) {
                loading_.break_node(node.index, 0, "it has neither a Value nor a pValue");
            } else if (number.index != no_node && number.indexed.count == 0) {
                loading_.break_node(node.index, 0, "it has a pIndex, but no values to choose from");
            }
        } else if (const Operand* const value = value_operand(model_, node); value != nullptr && !value->given) {
            loading_.break_node(node.index, 0,
                                is_formula(node.kind) ? "it has no pValue" : "it has neither a Value nor a pValue");
        } else if (node.kind == Kind::command && !model_.commands[node.data].command_value.given) {
            loading_.break_node(node.index, 0, "it has no CommandValue");
        }
    }

    void check_register(const Node& node, RegisterData& reg)
    {
        if (reg.port == no_node) {
            loading_.break_node(node.index, 0, "it has no pPort");
            return;
        }
        if (reg.length_node != no_node) {
            // where the bits stand is known when the length is
            if (reg.lsb > reg.msb) {
                std::swap(reg.lsb, reg.msb);
            }
            return;
        }
        const bool number = is_int_register(node.kind);
        const std::int64_t most = number ? 8 : largest_register;
        if (reg.length < 1 || reg.length > most ||
            (node.kind == Kind::float_reg && reg.length != 4 && reg.length != 8)) {
            loading_.break_node(node.index, 0,
                                "a " + std::string(node.element()) + " cannot have a Length of " +
                                    std::to_string(reg.length) + " bytes");
            return;
        }
        if (reg.masked) {
            check_bits(node, reg);
        }
    }

    void check_bits(const Node& node, RegisterData& reg)
    {
        const int last = static_cast<int>(reg.length) * 8 - 1;
        const int first_bit = std::min(reg.lsb, reg.msb);
        const int last_bit = std::max(reg.lsb, reg.msb);
        if (last_bit > last) {
            loading_.break_node(node.index, 0,
                                "bit " + std::to_string(last_bit) + " does not exist in a register of " +
                                    std::to_string(reg.length) + " bytes");
            return;
        }
        // big-endian registers count their bits from the most significant one
        reg.lsb = static_cast<std::uint8_t>(reg.big_endian ? last - last_bit : first_bit);
        reg.msb = static_cast<std::uint8_t>(reg.big_endian ? last - first_bit : last_bit);
    }

    Loading& loading_;
    Model& model_;
};

}  // namespace

void link_names(Loading& loading) { NameLinker(loading).run(); }

}  // namespace GenApi
