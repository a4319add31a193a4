// GenICam descriptions for tests, put together node by node.
//
// integer("Width", {.value = "WidthReg", .min = 8, .max = 1024}) + int_reg("WidthReg", 0x100) are two nodes;
// description() makes a whole description of nodes. What a property holds is written as it is given: nothing here
// checks it.
#pragma once

#include <charconv>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace camera_xml {

/// <name>text</name>
inline std::string element(std::string_view name, std::string_view text)
{
    std::string result = "<" + std::string(name) + ">";
    for (const char c : text) {
        switch (c) {
        case '<': result += "&lt;"; break;
        case '>': result += "&gt;"; break;
        case '&': result += "&amp;"; break;
        default: result += c;
        }
    }
    return result + "</" + std::string(name) + ">";
}

inline std::string element(std::string_view name, std::int64_t number) { return element(name, std::to_string(number)); }

/// The node `name` of a kind, such as Integer, with those elements inside.
inline std::string node(std::string_view kind, std::string_view name, std::string_view inside,
                        std::string_view name_space = "")
{
    return "<" + std::string(kind) + " Name=\"" + std::string(name) + "\"" +
           (name_space.empty() ? "" : " NameSpace=\"" + std::string(name_space) + "\"") + ">" + std::string(inside) +
           "</" + std::string(kind) + ">\n";
}

/// A number that a property has: itself, or the name of the node that gives it.
class Number {
public:
    Number() = default;
    template <std::integral Integer>
    Number(Integer number) : text_(std::to_string(number))
    {}
    Number(double number)
    {
        char digits[32];
        text_.assign(digits, std::to_chars(digits, digits + sizeof(digits), number).ptr);
    }
    Number(const char* node) : text_(node), is_node_(true) {}
    Number(std::string node) : text_(std::move(node)), is_node_(true) {}

    /// <Min>8</Min> or <pMin>LeastWidth</pMin>; nothing when there is no number.
    [[nodiscard]] std::string as(std::string_view name) const
    {
        return text_.empty() ? "" : element((is_node_ ? "p" : "") + std::string(name), text_);
    }

private:
    std::string text_;
    bool is_node_ = false;
};

using Names = std::vector<std::string>;

struct Variable {
    std::string name;
    std::string node;
};

/// What a node may have beside its name; a property that is left out is not written. Those of registers have the usual
/// values already, and only registers write them.
struct Properties {
    std::string name_space{};
    std::string tool_tip{};
    std::string description{};
    std::string display_name{};
    std::string visibility{};
    std::string event_id{};
    std::string is_implemented{};  ///< the names of nodes, like those that follow
    std::string is_available{};
    std::string is_locked{};
    std::string block_polling{};
    std::string imposed_access{};
    std::string error{};
    std::string streamable{};
    std::vector<Variable> variables{};
    Number value{};
    Names value_copies{};
    Number min{};
    Number max{};
    Number inc{};
    std::string unit{};
    std::string representation{};
    Number command_value{};
    Number on_value{};
    Number off_value{};
    std::string formula_to{};
    std::string formula_from{};
    std::string slope{};
    Names selected{};
    Number length = 4;  ///< bytes
    std::string access = "RW";
    std::string port = "Device";
    std::string cachable{};
    Number polling_time{};  ///< milliseconds
    Names invalidators{};
    std::string sign{};
    std::string byte_order = "BigEndian";
    Number bit{};
    Number lsb{};
    Number msb{};
    std::string more{};  ///< further elements
};

namespace detail {

inline std::string elements(std::string_view name, const Names& texts)
{
    std::string result;
    for (const std::string& text : texts) {
        result += element(name, text);
    }
    return result;
}

/// The element for a property that may be left out.
inline std::string optional(std::string_view name, const std::string& text)
{
    return text.empty() ? "" : element(name, text);
}

inline std::string variables(const std::vector<Variable>& all)
{
    std::string result;
    for (const Variable& one : all) {
        result += "<pVariable Name=\"" + one.name + "\">" + one.node + "</pVariable>";
    }
    return result;
}

/// The elements of every kind of node, up to its value.
inline std::string common(const Properties& with)
{
    return optional("ToolTip", with.tool_tip) + optional("Description", with.description) +
           optional("DisplayName", with.display_name) + optional("Visibility", with.visibility) +
           optional("EventID", with.event_id) + optional("pIsImplemented", with.is_implemented) +
           optional("pIsAvailable", with.is_available) + optional("pIsLocked", with.is_locked) +
           optional("pBlockPolling", with.block_polling) + optional("ImposedAccessMode", with.imposed_access) +
           optional("pError", with.error) + optional("Streamable", with.streamable);
}

/// A node that is neither a register nor an enumeration.
inline std::string value_node(std::string_view kind, std::string_view name, const Properties& with)
{
    return node(kind, name,
                common(with) + variables(with.variables) + optional("FormulaTo", with.formula_to) +
                    optional("FormulaFrom", with.formula_from) + with.value.as("Value") +
                    elements("pValueCopy", with.value_copies) + with.min.as("Min") + with.max.as("Max") +
                    with.inc.as("Inc") + optional("Unit", with.unit) + optional("Representation", with.representation) +
                    optional("Slope", with.slope) + with.command_value.as("CommandValue") +
                    with.on_value.as("OnValue") + with.off_value.as("OffValue") + optional("Cachable", with.cachable) +
                    with.polling_time.as("PollingTime") + elements("pInvalidator", with.invalidators) +
                    elements("pSelected", with.selected) + with.more,
                with.name_space);
}

}  // namespace detail

inline std::string integer(std::string_view name, const Properties& with)
{
    return detail::value_node("Integer", name, with);
}
inline std::string floating(std::string_view name, const Properties& with)
{
    return detail::value_node("Float", name, with);
}
inline std::string boolean(std::string_view name, const Properties& with)
{
    return detail::value_node("Boolean", name, with);
}
inline std::string command(std::string_view name, const Properties& with)
{
    return detail::value_node("Command", name, with);
}
inline std::string converter(std::string_view name, const Properties& with)
{
    return detail::value_node("Converter", name, with);
}
inline std::string int_converter(std::string_view name, const Properties& with)
{
    return detail::value_node("IntConverter", name, with);
}

/// A text that another node has.
inline std::string string(std::string_view name, const Properties& with)
{
    return detail::value_node("String", name, with);
}
/// A text of its own.
inline std::string text(std::string_view name, std::string_view value, Properties with = {})
{
    with.more += element("Value", value);
    return string(name, with);
}

struct Entry {
    std::string name;
    std::int64_t value = 0;
    Properties with{};
};

inline std::string enumeration(std::string_view name, const Number& value, const std::vector<Entry>& entries,
                               const Properties& with = {})
{
    std::string inside = detail::common(with);
    for (const Entry& entry : entries) {
        inside +=
            node("EnumEntry", entry.name, detail::common(entry.with) + element("Value", entry.value) + entry.with.more,
                 entry.with.name_space);
    }
    return node("Enumeration", name,
                inside + value.as("Value") + with.polling_time.as("PollingTime") +
                    detail::elements("pInvalidator", with.invalidators) + detail::elements("pSelected", with.selected) +
                    with.more,
                with.name_space);
}

inline std::string swiss_knife(std::string_view name, std::string_view formula, const std::vector<Variable>& of = {})
{
    return node("SwissKnife", name, detail::variables(of) + element("Formula", formula));
}

inline std::string int_swiss_knife(std::string_view name, std::string_view formula,
                                   const std::vector<Variable>& of = {})
{
    return node("IntSwissKnife", name, detail::variables(of) + element("Formula", formula));
}

/// Moves a register by `offset` bytes for every one that a node counts.
inline std::string indexed_by(std::string_view node, std::int64_t offset)
{
    return "<pIndex Offset=\"" + std::to_string(offset) + "\">" + std::string(node) + "</pIndex>";
}

/// A register of that kind: big-endian, of 4 bytes, to be read and written unless said otherwise.
inline std::string register_of(std::string_view kind, std::string_view name, const Number& address,
                               const Properties& with)
{
    const bool is_number = kind != "StringReg" && kind != "Register";
    return node(kind, name,
                detail::common(with) + address.as("Address") + with.length.as("Length") +
                    detail::optional("AccessMode", with.access) + detail::optional("pPort", with.port) +
                    detail::optional("Cachable", with.cachable) + with.polling_time.as("PollingTime") +
                    detail::elements("pInvalidator", with.invalidators) + detail::optional("Sign", with.sign) +
                    detail::optional("Endianess", is_number ? with.byte_order : "") + with.bit.as("Bit") +
                    with.lsb.as("LSB") + with.msb.as("MSB") + detail::optional("Unit", with.unit) +
                    detail::optional("Representation", with.representation) +
                    detail::elements("pSelected", with.selected) + with.more,
                with.name_space);
}

inline std::string int_reg(std::string_view name, const Number& address, const Properties& with = {})
{
    return register_of("IntReg", name, address, with);
}
inline std::string int_reg(std::string_view name, const Number& address, std::string_view access)
{
    return int_reg(name, address, {.access = std::string(access)});
}
inline std::string masked_int_reg(std::string_view name, const Number& address, const Properties& with)
{
    return register_of("MaskedIntReg", name, address, with);
}
inline std::string float_reg(std::string_view name, const Number& address, const Properties& with = {})
{
    return register_of("FloatReg", name, address, with);
}
inline std::string string_reg(std::string_view name, const Number& address, const Properties& with)
{
    return register_of("StringReg", name, address, with);
}
/// A register whose bytes have no further meaning.
inline std::string raw_reg(std::string_view name, const Number& address, const Properties& with = {})
{
    return register_of("Register", name, address, with);
}

inline std::string category(std::string_view name, const Names& features, const Properties& with = {})
{
    return node("Category", name, detail::common(with) + detail::elements("pFeature", features), with.name_space);
}

/// The category that every other is in.
inline std::string root(const Names& features) { return category("Root", features); }

inline std::string port(std::string_view name, std::string_view inside = "") { return node("Port", name, inside); }

/// What the attributes of a description say beside the model and the vendor, which are always the same.
struct Head {
    int schema_minor = 1;
    std::string more{};  ///< further attributes
};

/// A whole description: those nodes and a port named Device.
inline std::string description(std::string_view nodes, const Head& head = {})
{
    const std::string minor = std::to_string(head.schema_minor);
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<RegisterDescription ModelName=\"Probe\" VendorName=\"Maker\" StandardNameSpace=\"GEV\" "
           "SchemaMajorVersion=\"1\" SchemaMinorVersion=\"" +
           minor + "\" SchemaSubMinorVersion=\"0\" " + head.more + " xmlns=\"http://www.genicam.org/GenApi/Version_1_" +
           minor + "\">\n<Port Name=\"Device\"/>\n" + std::string(nodes) + "\n</RegisterDescription>\n";
}

}  // namespace camera_xml
