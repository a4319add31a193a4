// Access: what may be done with a node at present, and, when something may not, why.

#include "sdk/genapi/engine.h"
#include "sdk/genapi/linking.h"
#include "sdk/genapi/numbers.h"

namespace GenApi {

namespace {

AccessMode made_of(bool readable, bool writable) noexcept
{
    return readable   ? (writable ? AccessMode::read_write : AccessMode::read_only)
           : writable ? AccessMode::write_only
                      : AccessMode::not_available;
}

AccessMode both(AccessMode a, AccessMode b) noexcept
{
    if (a == AccessMode::not_implemented || b == AccessMode::not_implemented) {
        return AccessMode::not_implemented;
    }
    return made_of(is_readable(a) && is_readable(b), is_writable(a) && is_writable(b));
}

/// What keeps `work` from succeeding is why the node is not available.
template <class Work>
void unavailable_unless(const Node& node, Work&& work)
{
    const auto text = [&](const Error& error) {
        return std::string(node.text_name) + " is not available: " + error.what();
    };
    try {
        work();
    } catch (const PortError& error) {
        throw PortError(error.code(), text(error));
    } catch (const Error& error) {
        throw AccessError(text(error));
    }
}

}  // namespace

AccessMode NodeMap::access_of(Node& node)
{
    if (node.access_lasting) {
        return node.cached_access;
    }
    if (node.access_operation == operation_) {
        passing_ = true;
        return node.cached_access;
    }
    if (node.access_busy) {
        // whether A can be used is asked while finding out whether A can be used: the question adds nothing
        passing_ = true;
        return AccessMode::read_write;
    }
    const Evaluation evaluation(*this);
    evaluation.check_depth();
    struct Busy {
        explicit Busy(Node& busy) : node(busy) { node.access_busy = true; }
        ~Busy() { node.access_busy = false; }
        Node& node;
    } const busy(node);
    node.cached_access = compute_access(node);
    node.access_lasting = evaluation.lasting();
    node.access_operation = operation_;
    return node.cached_access;
}

AccessMode NodeMap::compute_access(Node& node)
{
    if (node.broken) {
        return AccessMode::not_available;
    }
    try {
        // What a device implements should not change, but descriptions use this condition also for what depends on a
        // setting. It is kept as long as the registers that it is read from may be kept, like every other condition.
        if (node.is_implemented != no_node &&
            (!is_readable(access_of(at(node.is_implemented))) || !is_true(node.is_implemented))) {
            return AccessMode::not_implemented;
        }
        if (node.is_available != no_node &&
            (!is_readable(access_of(at(node.is_available))) || !is_true(node.is_available))) {
            return AccessMode::not_available;
        }
        AccessMode mode = both(own_access(node), node.imposed);
        if (node.is_locked != no_node && is_writable(mode) &&
            (!is_readable(access_of(at(node.is_locked))) || is_true(node.is_locked))) {
            mode = made_of(is_readable(mode), false);
        }
        return mode;
    } catch (const Error&) {
        // a condition that cannot be read does not hold; the next operation asks again
        passing_ = true;
        return AccessMode::not_available;
    }
}

AccessMode NodeMap::own_access(Node& node)
{
    switch (node.kind) {
    case Kind::inert:
    case Kind::category:
    case Kind::enum_entry: return AccessMode::read_only;
    case Kind::swiss_knife:
    case Kind::int_swiss_knife: return formula_access(node);
    case Kind::port: return can_transfer(model_.ports[node.data]) ? AccessMode::read_write : AccessMode::not_available;
    case Kind::int_reg:
    case Kind::masked_int_reg:
    case Kind::struct_entry:
    case Kind::float_reg:
    case Kind::string_reg:
    case Kind::raw_register: return register_access(node);
    case Kind::converter:
    case Kind::int_converter: {
        const FormulaData& data = model_.formulas[node.data];
        const AccessMode raw = access_of(at(data.value.node));
        if (is_readable(raw) && !is_readable(formula_access(node))) {
            return AccessMode::not_available;
        }
        return data.to.instructions.count != 0 ? raw : both(raw, AccessMode::read_only);
    }
    case Kind::integer:
    case Kind::floating: {
        const NodeIndex index = model_.numbers[node.data].index;
        if (index != no_node && !is_readable(access_of(at(index)))) {
            return AccessMode::not_available;
        }
        const NodeIndex target = current_operand(node).node;
        return target != no_node ? access_of(at(target)) : AccessMode::read_write;
    }
    case Kind::boolean:
    case Kind::command:
    case Kind::enumeration:
    case Kind::string: {
        const NodeIndex target = value_node(model_, node);
        return target != no_node ? access_of(at(target)) : AccessMode::read_write;
    }
    }
    return AccessMode::not_available;
}

AccessMode NodeMap::register_access(Node& node)
{
    const RegisterData& reg = model_.registers[node.data];
    const PortData& port = model_.ports[at(reg.port).data];
    const AccessMode port_access = access_of(at(reg.port));
    if (!has_place(reg)) {
        return AccessMode::not_available;
    }
    if (port.is_chunk || port.is_event) {
        return is_available(port_access) ? both(reg.access, AccessMode::read_only) : AccessMode::not_available;
    }
    if (is_available(port_access)) {
        return both(reg.access, port_access);
    }
    // without its port a register still has what is cached of it
    const bool kept = bursts_.holds(model_.cells[reg.cell]) && reg.caching != Caching::none;
    return kept ? both(reg.access, AccessMode::read_only) : AccessMode::not_available;
}

/// Whoever wants to read a register needs to know where it is.
bool NodeMap::has_place(const RegisterData& reg)
{
    const auto is_known = [this](NodeIndex node) { return node == no_node || is_readable(access_of(at(node))); };
    bool known = is_known(reg.length_node);
    for (std::uint32_t i = reg.terms.begin; known && i < reg.terms.begin + reg.terms.count; ++i) {
        known = is_known(model_.terms[i].node) && is_known(model_.terms[i].offset_node);
    }
    return known;
}

bool NodeMap::has_readable_variables(const Node& node)
{
    const Range variables = model_.formulas[node.data].variables;
    for (std::uint32_t i = variables.begin; i < variables.begin + variables.count; ++i) {
        const Variable& variable = model_.variables[i];
        if (variable.node != no_node && variable.aspect == Aspect::value &&
            !is_readable(access_of(at(variable.node)))) {
            return false;
        }
    }
    return true;
}

/// A formula's value can be read when it can be computed: when all its variables can be read, or at least those that
/// matter at present.
AccessMode NodeMap::formula_access(Node& node)
{
    if (has_readable_variables(node)) {
        return AccessMode::read_only;
    }
    // which of them matter may change with each of the others
    passing_ = true;
    // Only whether it can be computed is asked here. Finding the words for why not would ask the same of every formula
    // below, which asks it again of those below it.
    const Wordless wordless(*this);
    try {
        static_cast<void>(value_of(node));
        return AccessMode::read_only;
    } catch (const Error&) {
        return AccessMode::not_available;
    }
}

void NodeMap::require(Node& node, Wish wish)
{
    const AccessMode mode = access_of(node);
    if (wish == Wish::read ? !is_readable(mode) : !is_writable(mode)) {
        refuse(node, wish);
    }
}

/// Where a number has its value may depend on an index; one that must not be read is not read to find that out.
void NodeMap::require_index(const Node& number)
{
    const NodeIndex index = model_.numbers[number.data].index;
    if (index != no_node && !is_readable(access_of(at(index)))) {
        throw AccessError(std::string(at(index).text_name) + " is not readable");
    }
}

/// Finds the reason why a wish cannot be granted, and throws it.
void NodeMap::refuse(Node& subject, Wish wish)
{
    const std::string name(subject.text_name);
    Node* node = &subject;
    for (std::uint32_t steps = 0; steps < longest_chain; ++steps) {
        refuse_by(subject, *node, wish);
        NodeIndex next = no_node;
        unavailable_unless(subject, [&] {
            const bool number = node->kind == Kind::integer || node->kind == Kind::floating;
            if (number) {
                require_index(*node);
            }
            next = number ? current_operand(*node).node : value_node(model_, *node);
        });
        if (next == no_node) {
            break;
        }
        node = &at(next);
    }
    throw AccessError(name + (wish == Wish::read    ? " is not readable"
                              : wish == Wish::write ? " is not writable"
                                                    : " cannot be executed at present"));
}

void NodeMap::refuse_by(const Node& subject, Node& node, Wish wish)
{
    const std::string name(subject.text_name);
    if (node.broken) {
        throw EvaluationError(
            name + " cannot be used: " + (&node != &subject ? std::string(node.text_name) + ": " : std::string()) +
            model_.defects.at(node.index));
    }
    refuse_by_condition(subject, node);
    if (wish != Wish::read && node.is_locked != no_node) {
        refuse_by_lock(subject, node);
    }
    AccessMode own = node.imposed;
    if (is_register(node.kind)) {
        const RegisterData& reg = model_.registers[node.data];
        unavailable_unless(subject, [&] {
            // what is cached can be read without a port, but not written
            if (wish != Wish::read || !is_available(register_access(node))) {
                require_transfers(at(reg.port));
            }
        });
        refuse_by_place(subject, node);
        own = both(own, register_access(node));
    } else if (is_formula(node.kind)) {
        refuse_by_formula(subject, node);
        if (model_.formulas[node.data].to.instructions.count == 0) {
            own = both(own, AccessMode::read_only);
        }
    }
    if (wish == Wish::read && own == AccessMode::write_only) {
        throw AccessError(name + " is not readable: it is write-only");
    }
    if (wish == Wish::write && own == AccessMode::read_only) {
        throw AccessError(name + " is not writable: it is read-only");
    }
}

void NodeMap::refuse_by_condition(const Node& subject, Node& node)
{
    const std::string name(subject.text_name);
    for (const NodeIndex condition : {node.is_implemented, node.is_available}) {
        if (condition == no_node) {
            continue;
        }
        Node& asked = at(condition);
        const std::string asked_name(asked.text_name);
        bool holds = false;
        try {
            if (!is_readable(access_of(asked))) {
                throw AccessError(asked_name + " is not readable");
            }
            holds = is_true(condition);
        } catch (const PortError& error) {
            throw PortError(error.code(), name + " is not available: reading " + asked_name + ": " + error.what());
        } catch (const Error& error) {
            throw AccessError(name + " is not available: reading " + asked_name + ": " + error.what());
        }
        if (!holds) {
            throw AccessError(name + (condition == node.is_implemented
                                          ? std::string(" is not implemented by this device")
                                          : " is not available at present: " + asked_name + " is 0"));
        }
    }
}

void NodeMap::refuse_by_lock(const Node& subject, Node& node)
{
    const std::string name(subject.text_name);
    Node& lock = at(node.is_locked);
    const std::string lock_name(lock.text_name);
    std::int64_t value = 0;
    try {
        if (!is_readable(access_of(lock))) {
            throw AccessError(lock_name + " is not readable");
        }
        value = integer_of(lock);
    } catch (const PortError& error) {
        throw PortError(error.code(), name + " is locked: reading " + lock_name + ": " + error.what());
    } catch (const Error& error) {
        throw AccessError(name + " is locked: reading " + lock_name + ": " + error.what());
    }
    if (value == 0) {
        return;
    }
    if (locked_by_acquisition(lock)) {
        throw AccessError(name + " is locked while the acquisition runs");
    }
    throw AccessError(name + " is locked at present: " + lock_name + " is " + to_text(value));
}

void NodeMap::refuse_by_place(const Node& subject, Node& node)
{
    if (has_place(model_.registers[node.data])) {
        return;
    }
    unavailable_unless(subject, [&] {
        static_cast<void>(length_of(node));
        static_cast<void>(address_of(node));
    });
}

void NodeMap::refuse_by_formula(const Node& subject, Node& node)
{
    const NodeIndex raw = value_node(model_, node);
    if ((raw != no_node && !is_readable(access_of(at(raw)))) || has_readable_variables(node)) {
        return;
    }
    unavailable_unless(subject, [&] { static_cast<void>(value_of(node)); });
}

/// The lock looks at TLParamsLocked, perhaps among others, and that is set.
bool NodeMap::locked_by_acquisition(Node& lock)
{
    if (acquisition_lock_ == no_node) {
        return false;
    }
    constexpr std::size_t most_nodes = 100;
    std::vector<NodeIndex> reached{lock.index};
    for (std::size_t i = 0; i < reached.size() && i < most_nodes; ++i) {
        const Node& node = at(reached[i]);
        if (node.index == acquisition_lock_) {
            try {
                return integer_of(at(acquisition_lock_)) != 0;
            } catch (const Error&) {
                return false;
            }
        }
        if (const NodeIndex next = value_node(model_, node); next != no_node) {
            reached.push_back(next);
        }
        if (is_formula(node.kind)) {
            const Range variables = model_.formulas[node.data].variables;
            for (std::uint32_t v = variables.begin; v < variables.begin + variables.count; ++v) {
                if (model_.variables[v].node != no_node) {
                    reached.push_back(model_.variables[v].node);
                }
            }
        }
    }
    return false;
}

/// Of a node that can be read: nothing but the acquisition keeps it from being written.
bool NodeMap::is_writable_when_idle(Node& readable)
{
    Node* node = &readable;
    try {
        for (std::uint32_t steps = 0; steps < longest_chain; ++steps) {
            const bool locked = node->is_locked != no_node &&
                                (!is_readable(access_of(at(node->is_locked))) || is_true(node->is_locked)) &&
                                !locked_by_acquisition(at(node->is_locked));
            if (locked || !is_writable(node->imposed) ||
                (is_register(node->kind) && !is_writable(register_access(*node))) ||
                (is_formula(node->kind) && model_.formulas[node->data].to.instructions.count == 0)) {
                return false;
            }
            const bool number = node->kind == Kind::integer || node->kind == Kind::floating;
            const NodeIndex next = number ? current_operand(*node).node : value_node(model_, *node);
            if (next == no_node) {
                return own_access(*node) == AccessMode::read_write;
            }
            node = &at(next);
        }
    } catch (const Error&) {
        // what cannot be found out does not allow anything
        return false;
    }
    return false;
}

}  // namespace GenApi
