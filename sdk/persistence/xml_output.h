// Elements of a configuration file as text.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace vex::persistence {

struct Attribute {
    std::string_view name;
    std::string_view text;
};

/// An element a line, indented by two spaces for each element that it is in. Where an attribute's text needs escapes,
/// all of the element's attributes have them, and the attribute escaped="true" says so.
class XmlOutput {
public:
    /// The names of elements and attributes must outlive this.
    void begin(std::string_view element, std::span<const Attribute> attributes = {});
    void end();
    /// An element without others in it.
    void single(std::string_view element, std::span<const Attribute> attributes);

    [[nodiscard]] std::string take() { return std::move(out_); }

private:
    void tag(std::string_view element, std::span<const Attribute> attributes, std::string_view closing);

    std::string out_ = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    std::vector<std::string_view> open_;
};

}  // namespace vex::persistence
