#include "sdk/persistence/xml_output.h"

#include <algorithm>

#include "sdk/persistence/escaped_text.h"

namespace vex::persistence {
namespace {

void append_marked_up(std::string& out, std::string_view text)
{
    for (const char c : text) {
        switch (c) {
        case '&': out += "&amp;"; break;
        case '<': out += "&lt;"; break;
        case '>': out += "&gt;"; break;
        case '"': out += "&quot;"; break;
        default: out += c; break;
        }
    }
}

}  // namespace

void XmlOutput::begin(std::string_view element, std::span<const Attribute> attributes)
{
    tag(element, attributes, ">\n");
    open_.push_back(element);
}

void XmlOutput::end()
{
    const std::string_view element = open_.back();
    open_.pop_back();
    out_.append(2 * open_.size(), ' ').append("</").append(element).append(">\n");
}

void XmlOutput::single(std::string_view element, std::span<const Attribute> attributes)
{
    tag(element, attributes, "/>\n");
}

void XmlOutput::tag(std::string_view element, std::span<const Attribute> attributes, std::string_view closing)
{
    const bool escaped = std::ranges::any_of(attributes, needs_escapes, &Attribute::text);
    out_.append(2 * open_.size(), ' ').append("<").append(element);
    for (const Attribute& attribute : attributes) {
        out_.append(" ").append(attribute.name).append("=\"");
        append_marked_up(out_, escaped ? with_escapes(attribute.text) : std::string(attribute.text));
        out_ += '"';
    }
    out_.append(escaped ? " escaped=\"true\"" : "").append(closing);
}

}  // namespace vex::persistence
