#include "sdk/persistence/configuration_xml.h"

#include <algorithm>
#include <array>
#include <new>
#include <pugixml.hpp>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/base/numbers.h"
#include "sdk/persistence/escaped_text.h"
#include "sdk/persistence/xml_output.h"

namespace vex::persistence {
namespace {

constexpr int version = 1;
constexpr const char* root_name = "configuration";

/// The names of the elements of items, by ItemKind.
constexpr std::array<const char*, 5> item_elements = {"device", "stream", "parameters", "properties", "string"};

struct IdentityField {
    const char* attribute;
    std::string DeviceIdentity::*text;
};
constexpr std::array<IdentityField, 6> identity_fields = {{{"vendor", &DeviceIdentity::vendor},
                                                           {"model", &DeviceIdentity::model},
                                                           {"version", &DeviceIdentity::version},
                                                           {"serial", &DeviceIdentity::serial_number},
                                                           {"userName", &DeviceIdentity::user_defined_name},
                                                           {"mac", &DeviceIdentity::mac_address}}};

// ---- writing ----

void write(XmlOutput& out, const std::vector<StoredValue>& values)
{
    for (const StoredValue& value : values) {
        const std::array<Attribute, 2> attributes = {{{"name", value.name}, {"value", value.value}}};
        if (value.selectors.empty()) {
            out.single("feature", attributes);
            continue;
        }
        out.begin("feature", attributes);
        for (const SelectorValue& selector : value.selectors) {
            out.single("for", std::array<Attribute, 2>{{{"selector", selector.name}, {"value", selector.value}}});
        }
        out.end();
    }
}

void write(XmlOutput& out, const char* element, const std::vector<StoredValue>& values)
{
    out.begin(element);
    write(out, values);
    out.end();
}

void write(XmlOutput& out, const DeviceIdentity& identity)
{
    std::array<Attribute, identity_fields.size()> attributes;
    std::ranges::transform(identity_fields, attributes.begin(), [&](const IdentityField& field) {
        return Attribute{field.attribute, identity.*field.text};
    });
    out.single("identity", attributes);
}

void write(XmlOutput& out, const Item& item)
{
    const char* const element = item_elements[static_cast<std::size_t>(item.kind)];
    const Attribute name{"name", item.name};
    if (item.kind == ItemKind::string) {
        out.single(element, std::array<Attribute, 2>{{name, {"value", item.text}}});
        return;
    }
    out.begin(element, std::array<Attribute, 1>{name});
    switch (item.kind) {
    case ItemKind::device:
        write(out, item.identity);
        write(out, "features", item.values);
        write(out, "link", item.link);
        break;
    case ItemKind::stream: write(out, "parameters", item.values); break;
    case ItemKind::parameters: write(out, item.values); break;
    case ItemKind::properties:
        for (const PvProperty& property : item.properties) {
            out.single("property", std::array<Attribute, 2>{
                                       {{"name", property.GetName().view()}, {"value", property.GetValue().view()}}});
        }
        break;
    case ItemKind::string: break;
    }
    out.end();
}

// ---- reading ----

/// What is wrong with a text, and where.
struct Malformed {
    std::ptrdiff_t offset;
    PvResult::Code code;
    std::string reason;
};

[[noreturn]] void refuse(pugi::xml_node element, std::string reason)
{
    throw Malformed{element.offset_debug(), PvResult::InvalidDataFormat, std::move(reason)};
}

/// An attribute's text, empty where there is none.
std::string text_of(pugi::xml_node element, const char* attribute)
{
    const char* const text = element.attribute(attribute).value();
    if (!element.attribute("escaped").as_bool()) {
        return text;
    }
    auto plain = without_escapes(text);
    if (!plain) {
        refuse(element, std::string("An escape in the ") + attribute + " of a " + element.name() + " is none");
    }
    return std::move(*plain);
}

std::string wanted_text(pugi::xml_node element, const char* attribute)
{
    if (!element.attribute(attribute)) {
        refuse(element, std::string("A ") + element.name() + " has no " + attribute);
    }
    return text_of(element, attribute);
}

std::vector<StoredValue> read_values(pugi::xml_node parent)
{
    std::vector<StoredValue> values;
    for (const pugi::xml_node element : parent.children("feature")) {
        StoredValue value{wanted_text(element, "name"), wanted_text(element, "value"), {}};
        for (const pugi::xml_node selector : element.children("for")) {
            value.selectors.push_back({wanted_text(selector, "selector"), wanted_text(selector, "value")});
        }
        values.push_back(std::move(value));
    }
    return values;
}

Item read_item(pugi::xml_node element, ItemKind kind)
{
    Item item{.kind = kind, .name = text_of(element, "name")};
    switch (kind) {
    case ItemKind::device:
        for (const IdentityField& field : identity_fields) {
            item.identity.*field.text = text_of(element.child("identity"), field.attribute);
        }
        item.values = read_values(element.child("features"));
        item.link = read_values(element.child("link"));
        break;
    case ItemKind::stream: item.values = read_values(element.child("parameters")); break;
    case ItemKind::parameters: item.values = read_values(element); break;
    case ItemKind::properties:
        for (const pugi::xml_node property : element.children("property")) {
            item.properties.emplace_back(PvString(wanted_text(property, "name")),
                                         PvString(wanted_text(property, "value")));
        }
        break;
    case ItemKind::string: item.text = wanted_text(element, "value"); break;
    }
    return item;
}

/// "1", or "1.2" of a file that has more than this version knows.
void check_version(pugi::xml_node root)
{
    const std::string_view text = root.attribute("version").value();
    const auto number = parse_integer(text.substr(0, text.find('.')));
    if (!number || *number < 1) {
        refuse(root, "The configuration's version '" + std::string(text) + "' is none");
    }
    if (*number > version) {
        throw Malformed{root.offset_debug(), PvResult::BadVersion,
                        "The configuration has version " + std::string(text) + ", and this program reads version 1"};
    }
}

pugi::xml_node root_of(const pugi::xml_document& document)
{
    pugi::xml_node root;
    for (const pugi::xml_node node : document.children()) {
        if (node.type() == pugi::node_doctype) {
            refuse(node, "A configuration has no document type");
        }
        if (node.type() == pugi::node_element) {
            if (root) {
                refuse(node, std::string("There is a second element <") + node.name() + "> outside");
            }
            root = node;
        }
    }
    if (std::string_view(root.name()) != root_name) {
        refuse(root, std::string("The file's element is <") + root.name() + "> and not <configuration>");
    }
    return root;
}

/// Refuses what is nested too deeply.
struct Depth : pugi::xml_tree_walker {
    bool for_each(pugi::xml_node& node) override
    {
        if (depth() >= deepest_nesting) {
            refuse(node, "Elements are nested more than " + std::to_string(deepest_nesting) + " deep");
        }
        return true;
    }
};

/// The parser keeps a record for every tag and attribute.
void check_counts(std::string_view text)
{
    const auto check = [&](char mark, std::size_t most, const char* what) {
        if (static_cast<std::size_t>(std::ranges::count(text, mark)) > most) {
            throw Malformed{0, PvResult::InvalidDataFormat, "There are more than " + std::to_string(most) + " " + what};
        }
    };
    check('<', most_tags, "tags");
    check('=', most_attributes, "attributes");
}

Configuration parsed(std::string_view text)
{
    check_counts(text);
    pugi::xml_document document;
    constexpr unsigned options =
        pugi::parse_minimal | pugi::parse_escapes | pugi::parse_wconv_attribute | pugi::parse_doctype;
    const auto outcome = document.load_buffer(text.data(), text.size(), options, pugi::encoding_utf8);
    if (outcome.status == pugi::status_out_of_memory) {
        throw std::bad_alloc();
    }
    if (!outcome) {
        throw Malformed{outcome.offset, PvResult::InvalidDataFormat, outcome.description()};
    }
    const pugi::xml_node root = root_of(document);
    check_version(root);
    Depth depth;
    document.traverse(depth);
    Configuration configuration;
    for (const pugi::xml_node element : root.children()) {
        const auto* const known = std::ranges::find(item_elements, std::string_view(element.name()));
        if (known != item_elements.end()) {
            configuration.add(read_item(element, static_cast<ItemKind>(known - item_elements.begin())));
        }
    }
    return configuration;
}

}  // namespace

std::string to_xml(const Configuration& configuration)
{
    XmlOutput out;
    out.begin(root_name, std::array<Attribute, 1>{{{"version", "1"}}});
    for (const Item& item : configuration.items()) {
        write(out, item);
    }
    out.end();
    return out.take();
}

PvResult from_xml(std::string_view text, Configuration& configuration)
{
    if (text.size() > largest_file) {
        return failure(PvResult::InvalidDataFormat, "It is larger than ", largest_file >> 20, " MiB");
    }
    try {
        configuration = parsed(text);
        return PvResult::OK;
    } catch (const Malformed& malformed) {
        const auto before = text.substr(0, static_cast<std::size_t>(std::max<std::ptrdiff_t>(malformed.offset, 0)));
        return failure(malformed.code, "Line ", std::ranges::count(before, '\n') + 1, ": ", malformed.reason);
    }
}

}  // namespace vex::persistence
