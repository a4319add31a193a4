// Reading: values are computed on demand and kept as long as the description allows.

#include <cmath>

#include "sdk/genapi/engine.h"
#include "sdk/genapi/numbers.h"

namespace GenApi {

namespace {

/// An evaluation error that says already which formula it comes from.
class FormulaError : public EvaluationError {
public:
    using EvaluationError::EvaluationError;
};

Number cached_value(const Node& node) noexcept
{
    return is_float(node.kind) ? Number(node.cached.d) : Number(node.cached.i);
}

CodeView view(const Model& model, const StoredCode& code)
{
    return {{model.instructions.data() + code.instructions.begin, code.instructions.count},
            {model.constants.data() + code.constants.begin, code.constants.count},
            code.stack_needed};
}

}  // namespace

/// What a running formula asks of the node map.
class NodeMap::Scope final : public FormulaScope {
public:
    Scope(NodeMap& map, Arithmetic arithmetic, Number converted)
        : map_(map), arithmetic_(arithmetic), converted_(converted)
    {}

    Number variable(std::uint32_t slot) override
    {
        const Number value = slot == 0 ? converted_ : map_.value_of_variable(map_.model_.variables[slot]);
        if (arithmetic_ == Arithmetic::floating || value.is_integer()) {
            return value;
        }
        if (const auto truncated = truncated_to_integer(value.d)) {
            return *truncated;
        }
        throw EvaluationError(to_text(value.d) + " does not fit a 64-bit integer", PvResult::ErrOverflow);
    }

    Number expression(std::uint32_t index) override
    {
        return run_formula(view(map_.model_, map_.model_.expressions[index]), arithmetic_, *this, map_.stack_);
    }

private:
    NodeMap& map_;
    Arithmetic arithmetic_;
    Number converted_;
};

Number NodeMap::value_of(Node& node)
{
    if (node.value_lasting) {
        return cached_value(node);
    }
    if (node.value_operation == operation_) {
        passing_ = true;
        return cached_value(node);
    }
    if (node.value_busy) {
        throw EvaluationError("the value of " + std::string(node.text_name) + " depends on itself");
    }
    const Evaluation evaluation(*this);
    evaluation.check_depth();
    struct Busy {
        explicit Busy(Node& busy) : node(busy) { node.value_busy = true; }
        ~Busy() { node.value_busy = false; }
        Node& node;
    } const busy(node);

    const Number value = compute(node);
    if (is_float(node.kind)) {
        node.cached.d = value.as_double();
    } else {
        node.cached.i = whole(value);
    }
    node.value_lasting = evaluation.lasting();
    node.value_operation = operation_;
    return cached_value(node);
}

std::int64_t NodeMap::whole(Number value) const
{
    if (value.is_integer()) {
        return value.i;
    }
    if (const auto rounded = rounded_to_integer(value.d)) {
        return *rounded;
    }
    throw EvaluationError(to_text(value.d) + " does not fit a 64-bit integer", PvResult::ErrOverflow);
}

std::int64_t NodeMap::integer_of(Node& node) { return whole(value_of(node)); }

void NodeMap::broken(const Node& node) const
{
    throw EvaluationError(std::string(node.text_name) + ": " + model_.defects.at(node.index));
}

Number NodeMap::compute(Node& node)
{
    if (node.broken) {
        broken(node);
    }
    switch (node.kind) {
    case Kind::integer:
    case Kind::floating: return value_of_operand(current_operand(node), node.kind == Kind::floating);
    case Kind::int_reg:
    case Kind::masked_int_reg:
    case Kind::struct_entry:
    case Kind::float_reg: return decode(node);
    case Kind::boolean: {
        const BooleanData& data = model_.booleans[node.data];
        // a value that is neither counts as on: cameras have been seen to answer with other non-zero numbers
        return std::int64_t{whole(value_of_operand(data.value, false)) != data.off};
    }
    case Kind::command: return value_of_operand(model_.commands[node.data].value, false);
    case Kind::enumeration: return value_of_operand(model_.enumerations[node.data].value, false);
    case Kind::enum_entry: return model_.entries[node.data].value;
    case Kind::converter:
    case Kind::int_converter: {
        const FormulaData& data = model_.formulas[node.data];
        return run(node, data.from, value_of(at(data.value.node)));
    }
    case Kind::swiss_knife:
    case Kind::int_swiss_knife: return run(node, model_.formulas[node.data].from, {});
    case Kind::inert:
    case Kind::category:
    case Kind::string:
    case Kind::string_reg:
    case Kind::raw_register:
    case Kind::port: break;
    }
    throw EvaluationError(std::string(node.text_name) + " has no number for a value");
}

Number NodeMap::value_of_operand(const Operand& operand, bool as_float)
{
    if (operand.node != no_node) {
        return value_of(at(operand.node));
    }
    return as_float ? Number(operand.d) : Number(operand.i);
}

/// Where an Integer or Float has its value at present: with pIndex, that depends.
Operand& NodeMap::current_operand(Node& node)
{
    NumberData& data = model_.numbers[node.data];
    if (data.index == no_node) {
        return data.value;
    }
    const std::int64_t index = integer_of(at(data.index));
    Operand* otherwise = data.value.given ? &data.value : nullptr;
    for (std::uint32_t i = data.indexed.begin; i < data.indexed.begin + data.indexed.count; ++i) {
        IndexedValue& candidate = model_.indexed_values[i];
        if (candidate.is_default) {
            otherwise = &candidate.value;
        } else if (candidate.index == index) {
            return candidate.value;
        }
    }
    if (otherwise == nullptr) {
        throw EvaluationError("there is no value for the index " + to_text(index));
    }
    return *otherwise;
}

Number NodeMap::run(const Node& node, const StoredCode& code, Number converted)
{
    const Arithmetic arithmetic = is_float(node.kind) ? Arithmetic::floating : Arithmetic::integer;
    Scope scope(*this, arithmetic, converted);
    try {
        const Number result = run_formula(view(model_, code), arithmetic, scope, stack_);
        if (arithmetic == Arithmetic::floating) {
            if (!std::isfinite(result.as_double())) {
                throw EvaluationError("the result is not a finite number", PvResult::ErrOverflow);
            }
            return result;
        }
        if (result.is_integer()) {
            return result;
        }
        if (const auto truncated = truncated_to_integer(result.d)) {
            return *truncated;
        }
        throw EvaluationError("the result does not fit a 64-bit integer", PvResult::ErrOverflow);
    } catch (const FormulaError&) {
        throw;
    } catch (const EvaluationError& error) {
        throw FormulaError("in the formula of " + std::string(node.text_name) + ": " + error.what(), error.code());
    }
}

Number NodeMap::value_of_variable(const Variable& variable)
{
    Node& node = at(variable.node);
    switch (variable.aspect) {
    case Aspect::value:
        if (!is_readable(access_of(node))) {
            if (wordless_) {
                throw EvaluationError("a variable cannot be read", PvResult::StateError);
            }
            try {
                refuse(node, Wish::read);
            } catch (const AccessError& error) {
                throw EvaluationError(error.what(), error.code());
            }
        }
        return value_of(node);
    case Aspect::min: {
        const Limits limits = limits_of(node);
        return is_float(node.kind) ? Number(limits.min.d) : Number(limits.min.i);
    }
    case Aspect::max: {
        const Limits limits = limits_of(node);
        return is_float(node.kind) ? Number(limits.max.d) : Number(limits.max.i);
    }
    case Aspect::increment: {
        const Limits limits = limits_of(node);
        return is_float(node.kind) ? Number(limits.increment.d) : Number(limits.increment.i);
    }
    case Aspect::access: return static_cast<std::int64_t>(access_of(node));
    case Aspect::visibility: return static_cast<std::int64_t>(node.visible_to);
    case Aspect::caching:
        return std::int64_t{is_register(node.kind) && model_.registers[node.data].caching == Caching::none ? 0 : 1};
    case Aspect::entry:
        if (node.kind == Kind::enumeration) {
            if (const EntryData* const entry = find_entry(node, variable.entry, nullptr)) {
                return entry->value;
            }
        }
        throw EvaluationError(std::string(node.text_name) + " has no entry " + std::string(variable.entry));
    }
    return {};
}

std::string NodeMap::string_of(Node& node)
{
    if (node.broken) {
        broken(node);
    }
    const Evaluation evaluation(*this);
    evaluation.check_depth();
    if (node.kind == Kind::string) {
        const StringData& data = model_.strings[node.data];
        return data.node != no_node ? string_of(at(data.node)) : data.literal;
    }
    Cell& cell = fetch(node);
    const auto* const bytes = reinterpret_cast<const char*>(cell.bytes());
    const std::string_view all(bytes, cell.length);
    return std::string(all.substr(0, all.find('\0')));
}

std::int64_t NodeMap::string_length_of(Node& node)
{
    Node* holder = &node;
    while (holder->kind == Kind::string) {
        const NodeIndex next = model_.strings[holder->data].node;
        if (next == no_node) {
            constexpr std::int64_t longest_literal = 65535;
            return longest_literal;
        }
        if (holder->broken) {
            broken(*holder);
        }
        holder = &at(next);
    }
    return length_of(*holder);
}

bool NodeMap::is_true(NodeIndex condition)
{
    const Number value = value_of(at(condition));
    return value.is_true();
}

const EntryData* NodeMap::find_entry(const Node& enumeration, std::string_view symbolic, NodeIndex* node) const noexcept
{
    const Range range = model_.enumerations[enumeration.data].entries;
    for (std::uint32_t i = range.begin; i < range.begin + range.count; ++i) {
        const NodeIndex index = model_.lists[i];
        const EntryData& entry = model_.entries[model_.nodes[index].data];
        if (entry.symbolic == symbolic && !model_.nodes[index].broken) {
            if (node != nullptr) {
                *node = index;
            }
            return &entry;
        }
    }
    return nullptr;
}

const EntryData* NodeMap::find_entry(const Node& enumeration, std::int64_t value, NodeIndex* node) const noexcept
{
    const Range range = model_.enumerations[enumeration.data].entries;
    for (std::uint32_t i = range.begin; i < range.begin + range.count; ++i) {
        const NodeIndex index = model_.lists[i];
        const EntryData& entry = model_.entries[model_.nodes[index].data];
        if (entry.value == value && !model_.nodes[index].broken) {
            if (node != nullptr) {
                *node = index;
            }
            return &entry;
        }
    }
    return nullptr;
}

}  // namespace GenApi
