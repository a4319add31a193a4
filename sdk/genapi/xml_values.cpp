#include "sdk/genapi/xml_reader.h"

#include "sdk/genapi/numbers.h"

namespace GenApi {

namespace {

/// A comment does not separate what it stands between; of the white space on both its sides only one is kept.
void append_part(std::string& text, std::string_view part)
{
    const bool spaced = !text.empty() && trimmed({&text.back(), 1}).empty();
    if (spaced) {
        while (!part.empty() && trimmed(part.substr(0, 1)).empty()) {
            part.remove_prefix(1);
        }
    }
    text += part;
}

}  // namespace

std::string_view DescriptionReader::text_of(pugi::xml_node element)
{
    std::string_view text = element.child_value();
    bool several = false;
    const bool embedded = element.value()[0] != '\0';
    int parts = embedded ? 1 : 0;
    for (pugi::xml_node child = element.first_child(); child && !several; child = child.next_sibling()) {
        if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
            several = ++parts > 1;
        }
    }
    if (several) {
        std::string all = embedded ? element.value() : "";
        for (pugi::xml_node child = element.first_child(); child; child = child.next_sibling()) {
            if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
                append_part(all, child.value());
            }
        }
        text = model_.arena.store(all);
    }
    return trimmed(text);
}

Texts& DescriptionReader::texts()
{
    if (node_->texts == 0) {
        node_->texts = static_cast<std::uint32_t>(model_.texts.size());
        model_.texts.emplace_back();
    }
    return model_.texts[node_->texts];
}

std::string_view DescriptionReader::stored_text(std::string_view text, std::string_view perhaps_same)
{
    return text == perhaps_same ? perhaps_same : model_.arena.store(text);
}

void DescriptionReader::malformed(pugi::xml_node element, std::string_view text)
{
    loading_.break_node(node_->index, line_of(element),
                        "<" + std::string(element.name()) + "> is not valid: \"" + std::string(text.substr(0, 80)) +
                            "\"");
}

void DescriptionReader::unexpected(pugi::xml_node element)
{
    loading_.note(node_->text_name, line_of(element),
                  "element <" + std::string(element.name()) + "> passed over in <" +
                      std::string(element_name(node_->kind)) + ">");
}

std::optional<std::int64_t> DescriptionReader::integer_of(pugi::xml_node element)
{
    const std::string_view text = text_of(element);
    const auto value = parse_integer(text);
    if (!value) {
        malformed(element, text);
    }
    return value;
}

std::optional<double> DescriptionReader::float_of(pugi::xml_node element)
{
    const std::string_view text = text_of(element);
    const auto value = parse_float(text);
    if (!value) {
        malformed(element, text);
    }
    return value;
}

std::optional<bool> DescriptionReader::yes_or_no(pugi::xml_node element)
{
    const std::string_view text = text_of(element);
    if (text == "Yes" || text == "yes" || text == "true" || text == "1") {
        return true;
    }
    return false;
}

std::optional<AccessMode> DescriptionReader::access_of(std::string_view text)
{
    // "R" and "W" alone are not in the schema, but in cameras
    if (text == "RO" || text == "R") {
        return AccessMode::read_only;
    }
    if (text == "WO" || text == "W") {
        return AccessMode::write_only;
    }
    if (text == "RW" || text == "WR") {
        return AccessMode::read_write;
    }
    return std::nullopt;
}

void DescriptionReader::set_operand(pugi::xml_node element, Operand& operand)
{
    if (is_float(node_->kind)) {
        if (const auto value = float_of(element)) {
            operand.d = *value;
            operand.given = true;
        }
    } else if (const auto value = integer_of(element)) {
        operand.i = *value;
        operand.given = true;
    }
}

void DescriptionReader::refer(pugi::xml_node element, Role role, std::uint32_t slot)
{
    refer_by_name(text_of(element), element, role, slot);
}

void DescriptionReader::refer_by_name(std::string_view name, pugi::xml_node element, Role role, std::uint32_t slot)
{
    loading_.links.push_back(
        {.from = node_->index, .role = role, .slot = slot, .name = name, .line = line_of(element)});
}

}  // namespace GenApi
