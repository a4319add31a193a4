#include "sdk/genapi/model.h"

#include <algorithm>

namespace GenApi {

std::string_view element_name(Kind kind) noexcept
{
    switch (kind) {
    case Kind::inert: return "Node";
    case Kind::category: return "Category";
    case Kind::integer: return "Integer";
    case Kind::int_reg: return "IntReg";
    case Kind::masked_int_reg: return "MaskedIntReg";
    case Kind::struct_entry: return "StructEntry";
    case Kind::boolean: return "Boolean";
    case Kind::command: return "Command";
    case Kind::enumeration: return "Enumeration";
    case Kind::enum_entry: return "EnumEntry";
    case Kind::floating: return "Float";
    case Kind::float_reg: return "FloatReg";
    case Kind::string: return "String";
    case Kind::string_reg: return "StringReg";
    case Kind::raw_register: return "Register";
    case Kind::converter: return "Converter";
    case Kind::int_converter: return "IntConverter";
    case Kind::swiss_knife: return "SwissKnife";
    case Kind::int_swiss_knife: return "IntSwissKnife";
    case Kind::port: return "Port";
    }
    return "";
}

InterfaceType interface_of(Kind kind) noexcept
{
    switch (kind) {
    case Kind::inert: return InterfaceType::none;
    case Kind::category: return InterfaceType::category;
    case Kind::integer:
    case Kind::int_reg:
    case Kind::masked_int_reg:
    case Kind::struct_entry:
    case Kind::int_converter:
    case Kind::int_swiss_knife: return InterfaceType::integer;
    case Kind::boolean: return InterfaceType::boolean;
    case Kind::command: return InterfaceType::command;
    case Kind::enumeration: return InterfaceType::enumeration;
    case Kind::enum_entry: return InterfaceType::enum_entry;
    case Kind::floating:
    case Kind::float_reg:
    case Kind::converter:
    case Kind::swiss_knife: return InterfaceType::floating;
    case Kind::string:
    case Kind::string_reg: return InterfaceType::string;
    case Kind::raw_register: return InterfaceType::raw_register;
    case Kind::port: return InterfaceType::port;
    }
    return InterfaceType::none;
}

std::span<const Relation> Model::related(const std::vector<Relation>& relations, NodeIndex from)
{
    const auto less = [](const auto& a, const auto& b) {
        if constexpr (requires { a.from; }) {
            return a.from < b;
        } else {
            return a < b.from;
        }
    };
    const auto begin = std::lower_bound(relations.begin(), relations.end(), from, less);
    const auto end = std::upper_bound(begin, relations.end(), from, less);
    return {begin, end};
}

void Model::trim()
{
    const auto shrink = [](auto&... pools) { (pools.shrink_to_fit(), ...); };
    shrink(texts, registers, numbers, booleans, commands, enumerations, entries, strings, formulas, ports, categories);
    shrink(terms, indexed_values, valid_ints, valid_floats, variables, expressions, instructions, constants, lists);
    shrink(cells, cell_members, cell_begin, fixed_cells, edges, edge_begin);
    shrink(selected, selecting, copies, errors, poll_blockers, polled, chunk_ports, event_ids, features,
           feature_categories);
}

const Operand* value_operand(const Model& model, const Node& node) noexcept
{
    switch (node.kind) {
    case Kind::integer:
    case Kind::floating: return &model.numbers[node.data].value;
    case Kind::boolean: return &model.booleans[node.data].value;
    case Kind::command: return &model.commands[node.data].value;
    case Kind::enumeration: return &model.enumerations[node.data].value;
    case Kind::converter:
    case Kind::int_converter: return &model.formulas[node.data].value;
    default: return nullptr;
    }
}

NodeIndex value_node(const Model& model, const Node& node) noexcept
{
    if (node.kind == Kind::string) {
        return model.strings[node.data].node;
    }
    const Operand* const operand = value_operand(model, node);
    return operand != nullptr ? operand->node : no_node;
}

}  // namespace GenApi
