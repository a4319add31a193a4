// Fills the model with what a description's elements say; references are noted by name, to be linked afterwards.
#pragma once

#include <cstdint>
#include <optional>
#include <pugixml.hpp>
#include <string_view>
#include <vector>

#include "sdk/genapi/loading.h"
#include "sdk/genapi/xml_elements.h"

namespace GenApi {

/// An attribute's text without the white space around it; empty when there is none.
[[nodiscard]] std::string_view attribute(pugi::xml_node element, const char* name) noexcept;

/// One description's way into a model. Its state is the node that is being read.
class DescriptionReader {
public:
    DescriptionReader(XmlText& text, Loading& loading) : text_(text), loading_(loading), model_(loading.model) {}

    /// The whole description. Throws DescriptionError for what cannot be a description at all.
    void read();

private:
    /// The element's name without the prefix that the description gives to its names.
    [[nodiscard]] std::string_view local_name(pugi::xml_node element) const noexcept
    {
        std::string_view name = element.name();
        if (!prefix_.empty() && name.starts_with(prefix_)) {
            name.remove_prefix(prefix_.size());
        }
        return name;
    }
    [[nodiscard]] Tag tag_of(pugi::xml_node element) const { return GenApi::tag_of(local_name(element)); }
    [[nodiscard]] std::uint32_t line_of(pugi::xml_node element) const { return text_.line_of(element.offset_debug()); }

    /// Visits the node elements in document order; groups may be nested as deep as they like.
    template <class Visit>
    void walk(pugi::xml_node root, const Visit& visit)
    {
        std::vector<pugi::xml_node> stack{root.first_child()};
        while (!stack.empty()) {
            const pugi::xml_node element = stack.back();
            if (!element) {
                stack.pop_back();
                continue;
            }
            stack.back() = element.next_sibling();
            if (element.type() != pugi::node_element) {
                continue;
            }
            const NodeElement kind = node_element(local_name(element));
            if (kind.is_group) {
                stack.push_back(element.first_child());
            } else {
                visit(element, kind);
            }
        }
    }

    // The tree of elements (xml_reader.cpp)
    void read_head(pugi::xml_node root);
    std::size_t count_nodes(pugi::xml_node root);
    void read_top_level(pugi::xml_node element, const NodeElement& kind);
    void read_struct(pugi::xml_node element);
    [[nodiscard]] bool has_own_place(pugi::xml_node entry) const;
    [[nodiscard]] std::size_t count_children(pugi::xml_node element, Tag tag) const;
    void begin(pugi::xml_node element, Kind kind, std::string_view name);
    void create(pugi::xml_node element, Kind kind, std::string_view stored_name);
    void create_data(Kind kind);
    void enter_name(pugi::xml_node element);
    void read_children(pugi::xml_node element);
    void finish(pugi::xml_node element);
    void finish_formula(pugi::xml_node element);
    void read_child(pugi::xml_node element);

    // Texts, numbers and references (xml_values.cpp)
    /// The text of an element; parts that comments separate are put together.
    std::string_view text_of(pugi::xml_node element);
    Texts& texts();
    /// Descriptions often say the same thing twice; it is kept once.
    std::string_view stored_text(std::string_view text, std::string_view perhaps_same);
    void malformed(pugi::xml_node element, std::string_view text);
    void unexpected(pugi::xml_node element);
    std::optional<std::int64_t> integer_of(pugi::xml_node element);
    std::optional<double> float_of(pugi::xml_node element);
    std::optional<bool> yes_or_no(pugi::xml_node element);
    std::optional<AccessMode> access_of(std::string_view text);
    void set_operand(pugi::xml_node element, Operand& operand);
    void refer(pugi::xml_node element, Role role, std::uint32_t slot = 0);
    void refer_by_name(std::string_view name, pugi::xml_node element, Role role, std::uint32_t slot);

    // What every node may have (xml_properties.cpp)
    void read_text(Tag tag, pugi::xml_node element);
    void read_property(Tag tag, pugi::xml_node element);
    void read_representation(std::string_view text);
    void read_event_id(std::string_view text, pugi::xml_node element);
    void read_special(Tag tag, pugi::xml_node element);
    bool read_category(Tag tag, pugi::xml_node element);

    // Registers and ports (xml_registers.cpp)
    void begin_register(RegisterData& reg) { reg.terms.begin = static_cast<std::uint32_t>(model_.terms.size()); }
    bool read_register(Tag tag, pugi::xml_node element);
    bool read_bit(Tag tag, pugi::xml_node element, RegisterData& reg);
    std::uint32_t add_term(RegisterData& reg, const AddressTerm& term);
    void read_address_index(pugi::xml_node element, RegisterData& reg);
    /// An IntSwissKnife inside a register is a node without a name of its own.
    void read_address_knife(pugi::xml_node element);
    bool read_port(Tag tag, pugi::xml_node element);

    // The other kinds of nodes (xml_kinds.cpp)
    bool read_number(Tag tag, pugi::xml_node element);
    void read_max(pugi::xml_node element, NumberData& number);
    void read_indexed(Tag tag, pugi::xml_node element, NumberData& number);
    void read_valid_values(pugi::xml_node element, NumberData& number);
    bool read_boolean(Tag tag, pugi::xml_node element);
    bool read_command(Tag tag, pugi::xml_node element);
    bool read_enumeration(Tag tag, pugi::xml_node element);
    void read_enum_entry(pugi::xml_node element);
    bool read_entry(Tag tag, pugi::xml_node element);
    bool read_string(Tag tag, pugi::xml_node element);
    /// Names are looked up one by one while a formula is compiled.
    bool has_too_many_names(pugi::xml_node element, const FormulaData& formula);
    bool read_formula(Tag tag, pugi::xml_node element);
    void read_constant(pugi::xml_node element);

    XmlText& text_;
    Loading& loading_;
    Model& model_;
    std::string_view prefix_;  ///< of the names of elements, with its colon
    std::uint32_t capacity_ = 0;
    std::uint32_t structures_ = 0;
    // the node that is being read
    Node* node_ = nullptr;
    std::uint32_t line_ = 0;
    bool has_value_ = false;
    std::optional<bool> word_;  ///< a Boolean's value
    PendingFormula formula_;
};

}  // namespace GenApi
