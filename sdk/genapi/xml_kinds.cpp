#include "sdk/genapi/xml_reader.h"

#include <algorithm>
#include <limits>
#include <string>

#include "sdk/genapi/numbers.h"

namespace GenApi {

bool DescriptionReader::read_number(Tag tag, pugi::xml_node element)
{
    NumberData& number = model_.numbers[node_->data];
    switch (tag) {
    case Tag::value: set_operand(element, number.value); return true;
    case Tag::p_value: refer(element, Role::value); return true;
    case Tag::p_value_copy: refer(element, Role::value_copy); return true;
    case Tag::min: set_operand(element, number.min); return true;
    case Tag::p_min: refer(element, Role::min); return true;
    case Tag::max: read_max(element, number); return true;
    case Tag::p_max: refer(element, Role::max); return true;
    case Tag::inc: set_operand(element, number.increment); return true;
    case Tag::p_inc: refer(element, Role::increment); return true;
    case Tag::p_index: refer(element, Role::index); return true;
    case Tag::value_indexed:
    case Tag::p_value_indexed:
    case Tag::value_default:
    case Tag::p_value_default: read_indexed(tag, element, number); return true;
    case Tag::valid_value_set: read_valid_values(element, number); return true;
    default: return false;
    }
}

/// Values are signed. A maximum beyond their range, as of an unsigned number of 64 bits, is the largest value there is,
/// and not the negative number with the same bits.
void DescriptionReader::read_max(pugi::xml_node element, NumberData& number)
{
    set_operand(element, number.max);
    if (node_->kind == Kind::integer && number.max.i < 0 && !text_of(element).starts_with('-')) {
        number.max.i = std::numeric_limits<std::int64_t>::max();
    }
}

void DescriptionReader::read_indexed(Tag tag, pugi::xml_node element, NumberData& number)
{
    IndexedValue indexed;
    indexed.is_default = tag == Tag::value_default || tag == Tag::p_value_default;
    if (!indexed.is_default) {
        const std::string_view text = attribute(element, "Index");
        const auto index = parse_integer(text);
        if (!index) {
            malformed(element, text);
            return;
        }
        indexed.index = *index;
    }
    const auto slot = static_cast<std::uint32_t>(model_.indexed_values.size());
    if (tag == Tag::value_indexed || tag == Tag::value_default) {
        set_operand(element, indexed.value);
    } else {
        refer(element, Role::indexed_value, slot);
    }
    if (number.indexed.count++ == 0) {
        number.indexed.begin = slot;
    }
    model_.indexed_values.push_back(indexed);
}

void DescriptionReader::read_valid_values(pugi::xml_node element, NumberData& number)
{
    const bool floats = node_->kind == Kind::floating;
    number.valid_values.begin =
        static_cast<std::uint32_t>(floats ? model_.valid_floats.size() : model_.valid_ints.size());
    number.valid_values.count = 0;
    std::string_view rest = text_of(element);
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find(';'), rest.size());
        const std::string_view item = trimmed(rest.substr(0, end));
        rest.remove_prefix(std::min(end + 1, rest.size()));
        const auto whole = floats ? std::nullopt : parse_integer(item);
        const auto fraction = floats ? parse_float(item) : std::nullopt;
        if (whole) {
            model_.valid_ints.push_back(*whole);
        } else if (fraction) {
            model_.valid_floats.push_back(*fraction);
        } else if (!item.empty()) {
            malformed(element, item);
            continue;
        } else {
            continue;
        }
        ++number.valid_values.count;
    }
}

bool DescriptionReader::read_boolean(Tag tag, pugi::xml_node element)
{
    BooleanData& boolean = model_.booleans[node_->data];
    switch (tag) {
    case Tag::value:
        if (const std::string_view text = text_of(element); text == "true" || text == "false") {
            // an on and off in words means the values that stand for them, which may follow later
            boolean.value.given = true;
            word_ = text == "true";
        } else {
            set_operand(element, boolean.value);
            word_.reset();
        }
        return true;
    case Tag::p_value: refer(element, Role::value); return true;
    case Tag::p_value_copy: refer(element, Role::value_copy); return true;
    case Tag::on_value: boolean.on = integer_of(element).value_or(1); return true;
    case Tag::off_value: boolean.off = integer_of(element).value_or(0); return true;
    default: return false;
    }
}

bool DescriptionReader::read_command(Tag tag, pugi::xml_node element)
{
    CommandData& command = model_.commands[node_->data];
    switch (tag) {
    case Tag::value: set_operand(element, command.value); return true;
    case Tag::p_value: refer(element, Role::value); return true;
    case Tag::p_value_copy: refer(element, Role::value_copy); return true;
    case Tag::command_value: set_operand(element, command.command_value); return true;
    case Tag::p_command_value: refer(element, Role::command_value); return true;
    default: return false;
    }
}

bool DescriptionReader::read_enumeration(Tag tag, pugi::xml_node element)
{
    switch (tag) {
    case Tag::value: set_operand(element, model_.enumerations[node_->data].value); return true;
    case Tag::p_value: refer(element, Role::value); return true;
    case Tag::p_value_copy: refer(element, Role::value_copy); return true;
    case Tag::enum_entry: read_enum_entry(element); return true;
    default: return false;
    }
}

void DescriptionReader::read_enum_entry(pugi::xml_node element)
{
    Node* const owner = node_;
    const std::uint32_t owner_line = line_;
    const std::string prefix = "EnumEntry_" + std::string(owner->text_name) + "_";
    std::string_view short_name = attribute(element, "Name");
    if (short_name.starts_with(prefix)) {
        short_name.remove_prefix(prefix.size());
    }
    begin(element, Kind::enum_entry, short_name.empty() ? std::string() : prefix + std::string(short_name));
    const std::uint32_t data = node_->data;
    const std::string_view full_name = node_->text_name;
    model_.entries[data].symbolic = full_name.substr(std::min(prefix.size(), full_name.size()));
    model_.entries[data].enumeration = owner->index;
    const bool owner_has_value = has_value_;
    has_value_ = false;
    read_children(element);
    finish(element);
    has_value_ = owner_has_value;
    model_.lists.push_back(node_->index);
    node_ = owner;
    line_ = owner_line;
    ++model_.enumerations[owner->data].entries.count;
}

bool DescriptionReader::read_entry(Tag tag, pugi::xml_node element)
{
    EntryData& entry = model_.entries[node_->data];
    switch (tag) {
    case Tag::value:
        if (const auto value = integer_of(element)) {
            entry.value = *value;
        }
        has_value_ = true;
        return true;
    case Tag::numeric_value:
        if (const auto value = float_of(element); value && !entry.has_numeric) {
            entry.numeric = *value;
            entry.has_numeric = true;
        }
        return true;
    case Tag::symbolic:
        if (const std::string_view text = text_of(element); !text.empty()) {
            entry.symbolic = model_.arena.store(text);
        }
        return true;
    case Tag::is_self_clearing: entry.self_clearing = yes_or_no(element).value_or(false); return true;
    default: return false;
    }
}

bool DescriptionReader::read_string(Tag tag, pugi::xml_node element)
{
    switch (tag) {
    case Tag::value: model_.strings[node_->data].literal = text_of(element); return true;
    case Tag::p_value: refer(element, Role::value); return true;
    case Tag::p_value_copy: refer(element, Role::value_copy); return true;
    default: return false;
    }
}

bool DescriptionReader::has_too_many_names(pugi::xml_node element, const FormulaData& formula)
{
    constexpr std::size_t most_names = 1000;
    const std::size_t names = formula.variables.count + formula_.constants.size() + formula_.expressions.size();
    if (names < most_names) {
        return false;
    }
    loading_.break_node(node_->index, line_of(element),
                        "it has more than " + std::to_string(most_names) + " variables");
    return true;
}

bool DescriptionReader::read_formula(Tag tag, pugi::xml_node element)
{
    FormulaData& formula = model_.formulas[node_->data];
    if ((tag == Tag::p_variable || tag == Tag::constant || tag == Tag::expression) &&
        has_too_many_names(element, formula)) {
        return true;
    }
    switch (tag) {
    case Tag::p_value: refer(element, Role::value); return true;
    case Tag::p_variable: {
        Variable variable;
        variable.name = model_.arena.store(attribute(element, "Name"));
        refer(element, Role::variable, static_cast<std::uint32_t>(model_.variables.size()));
        model_.variables.push_back(variable);
        ++formula.variables.count;
        return true;
    }
    case Tag::constant: read_constant(element); return true;
    case Tag::expression:
        formula_.expressions.push_back({attribute(element, "Name"), text_of(element), line_of(element)});
        return true;
    case Tag::formula:
    case Tag::formula_from: formula_.from = {{}, text_of(element), line_of(element)}; return true;
    case Tag::formula_to:
        formula_.to = {{}, text_of(element), line_of(element)};
        if (formula_.to.text.empty()) {
            loading_.note(node_->text_name, line_of(element), "<FormulaTo> is empty: it can only be read");
        }
        return true;
    case Tag::slope: {
        const std::string_view text = text_of(element);
        formula.slope = text == "Increasing"   ? Slope::increasing
                        : text == "Decreasing" ? Slope::decreasing
                        : text == "Varying"    ? Slope::varying
                                               : Slope::automatic;
        return true;
    }
    default: return false;
    }
}

void DescriptionReader::read_constant(pugi::xml_node element)
{
    const std::string_view text = text_of(element);
    NamedConstant constant{attribute(element, "Name"), {}};
    if (const auto whole = parse_integer(text); whole && text.find('.') == text.npos) {
        constant.value = *whole;
    } else if (const auto value = parse_float(text)) {
        constant.value = *value;
    } else {
        malformed(element, text);
        return;
    }
    formula_.constants.push_back(constant);
}

}  // namespace GenApi
