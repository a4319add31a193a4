#include "sdk/genapi/xml_reader.h"

#include <algorithm>

#include "sdk/genapi/numbers.h"

namespace GenApi {

void DescriptionReader::read_text(Tag tag, pugi::xml_node element)
{
    const std::string_view text = text_of(element);
    if (text.empty()) {
        return;
    }
    Texts& own = texts();
    switch (tag) {
    case Tag::tool_tip: own.tool_tip = stored_text(text, own.description); break;
    case Tag::description: own.description = stored_text(text, own.tool_tip); break;
    case Tag::display_name: own.display_name = stored_text(text, node_->text_name); break;
    case Tag::docu_url: own.docu_url = model_.arena.store(text); break;
    default: own.unit = model_.arena.store(text); break;
    }
}

void DescriptionReader::read_property(Tag tag, pugi::xml_node element)
{
    const std::string_view text = text_of(element);
    switch (tag) {
    case Tag::visibility:
        node_->visible_to = text == "Expert"      ? Visibility::expert
                            : text == "Guru"      ? Visibility::guru
                            : text == "Invisible" ? Visibility::invisible
                                                  : Visibility::beginner;
        break;
    case Tag::is_deprecated: node_->deprecated = yes_or_no(element).value_or(false); break;
    case Tag::streamable: node_->streamable = yes_or_no(element).value_or(false); break;
    case Tag::imposed_access_mode:
        if (const auto mode = access_of(text)) {
            node_->imposed = *mode;
        } else {
            malformed(element, text);
        }
        break;
    case Tag::representation: read_representation(text); break;
    case Tag::display_notation:
        node_->notation = text == "Fixed"        ? DisplayNotation::fixed
                          : text == "Scientific" ? DisplayNotation::scientific
                                                 : DisplayNotation::automatic;
        break;
    case Tag::display_precision:
        if (const auto precision = parse_integer(text)) {
            node_->precision = static_cast<std::int8_t>(std::clamp<std::int64_t>(*precision, 0, 30));
        }
        break;
    case Tag::polling_time:
        if (const auto time = integer_of(element); time && *time > 0) {
            model_.polled.push_back({.node = node_->index, .period = *time});
        }
        break;
    default: read_event_id(text, element); break;
    }
}

void DescriptionReader::read_representation(std::string_view text)
{
    static constexpr std::pair<std::string_view, Representation> names[] = {
        {"Linear", Representation::linear},          {"Logarithmic", Representation::logarithmic},
        {"Boolean", Representation::boolean},        {"PureNumber", Representation::pure_number},
        {"HexNumber", Representation::hex_number},   {"IPV4Address", Representation::ipv4_address},
        {"MACAddress", Representation::mac_address},
    };
    for (const auto& [name, representation] : names) {
        if (text == name) {
            node_->shown_as = representation;
            node_->has_representation = true;
        }
    }
}

void DescriptionReader::read_event_id(std::string_view text, pugi::xml_node element)
{
    const auto id = parse_hex_identifier(text);
    if (!id) {
        malformed(element, text);
        return;
    }
    model_.event_ids.emplace_back(node_->index, *id);
    if (node_->kind == Kind::port) {
        model_.ports[node_->data].is_event = true;
        model_.ports[node_->data].event_id = *id;
    }
}

void DescriptionReader::read_special(Tag tag, pugi::xml_node element)
{
    bool taken = false;
    switch (node_->kind) {
    case Kind::inert: return;
    case Kind::category: taken = read_category(tag, element); break;
    case Kind::integer:
    case Kind::floating: taken = read_number(tag, element); break;
    case Kind::int_reg:
    case Kind::masked_int_reg:
    case Kind::struct_entry:
    case Kind::float_reg:
    case Kind::string_reg:
    case Kind::raw_register: taken = read_register(tag, element); break;
    case Kind::boolean: taken = read_boolean(tag, element); break;
    case Kind::command: taken = read_command(tag, element); break;
    case Kind::enumeration: taken = read_enumeration(tag, element); break;
    case Kind::enum_entry: taken = read_entry(tag, element); break;
    case Kind::string: taken = read_string(tag, element); break;
    case Kind::converter:
    case Kind::int_converter:
    case Kind::swiss_knife:
    case Kind::int_swiss_knife: taken = read_formula(tag, element); break;
    case Kind::port: taken = read_port(tag, element); break;
    }
    if (!taken) {
        unexpected(element);
    }
}

bool DescriptionReader::read_category(Tag tag, pugi::xml_node element)
{
    if (tag != Tag::p_feature) {
        return false;
    }
    refer(element, Role::feature);
    return true;
}

}  // namespace GenApi
