// What is known of a description between its XML and the finished model: names that are not looked up yet.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/genapi/model.h"
#include "sdk/genapi/xml_text.h"

namespace GenApi {

/// What a reference to another node is for.
enum class Role : std::uint8_t {
    value,
    value_copy,
    min,
    max,
    increment,
    index,          ///< pIndex of an Integer or Float
    indexed_value,  ///< slot: of the indexed value
    is_implemented,
    is_available,
    is_locked,
    address,         ///< slot: of the address term
    address_offset,  ///< slot: of the address term
    length,
    port,
    command_value,
    variable,  ///< slot: of the variable
    selected,
    feature,
    invalidator,
    error,
    chunk_id,
    block_polling,
};

/// The element of the description that makes such a reference.
[[nodiscard]] std::string_view element_name(Role role) noexcept;

struct PendingLink {
    NodeIndex from = no_node;
    Role role{};
    std::uint32_t slot = 0;
    std::string_view name;  ///< in the text of the description
    std::uint32_t line = 0;
};

/// A reference that was followed.
struct Link {
    NodeIndex from = no_node;
    Role role{};
    std::uint32_t slot = 0;
    NodeIndex to = no_node;
};

/// A variable that a formula really uses.
struct VariableUse {
    NodeIndex node = no_node;
    std::uint32_t variable = 0;
};

struct NamedText {
    std::string_view name;
    std::string_view text;
    std::uint32_t line = 0;
};

struct NamedConstant {
    std::string_view name;
    Number value;
};

struct PendingFormula {
    NodeIndex node = no_node;
    NamedText from;
    NamedText to;
    std::vector<NamedText> expressions;
    std::vector<NamedConstant> constants;
};

/// The registers of one StructReg share an address, and thus their bytes.
struct StructMember {
    NodeIndex node = no_node;
    std::uint32_t structure = 0;
};

/// A model while it is being loaded.
struct Loading {
    Model& model;
    std::vector<PendingLink> links;
    std::vector<Link> resolved;
    std::vector<VariableUse> variable_uses;
    std::vector<PendingFormula> formulas;
    std::vector<StructMember> struct_members;

    /// Says that a node cannot be used. Only the first reason is kept.
    void break_node(NodeIndex node, std::uint32_t line, const std::string& reason);
    void note(std::string_view node, std::uint32_t line, std::string text);
};

/// Reads the elements of the XML into nodes; references stay names. Works in place: views in `loading` point into
/// `text`. Throws DescriptionError.
void read_xml(XmlText& text, Loading& loading);

/// Looks the names up, checks what they refer to, compiles the formulas and finds out what depends on what.
void link(Loading& loading);

}  // namespace GenApi
