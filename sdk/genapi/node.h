// One node: what all kinds share, and the face that users see.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/genapi/node_map.h"

namespace GenApi {

class NodeMap;

using NodeIndex = std::uint32_t;
inline constexpr NodeIndex no_node = 0xFFFFFFFF;

/// The elements that nodes are made from.
enum class Kind : std::uint8_t {
    inert,  ///< Node, and elements of other technologies
    category,
    integer,
    int_reg,
    masked_int_reg,
    struct_entry,
    boolean,
    command,
    enumeration,
    enum_entry,
    floating,
    float_reg,
    string,
    string_reg,
    raw_register,
    converter,
    int_converter,
    swiss_knife,
    int_swiss_knife,
    port,
};

[[nodiscard]] std::string_view element_name(Kind kind) noexcept;
[[nodiscard]] InterfaceType interface_of(Kind kind) noexcept;

[[nodiscard]] constexpr bool is_register(Kind kind) noexcept
{
    switch (kind) {
    case Kind::int_reg:
    case Kind::masked_int_reg:
    case Kind::struct_entry:
    case Kind::float_reg:
    case Kind::string_reg:
    case Kind::raw_register: return true;
    default: return false;
    }
}

[[nodiscard]] constexpr bool is_int_register(Kind kind) noexcept
{
    return kind == Kind::int_reg || kind == Kind::masked_int_reg || kind == Kind::struct_entry;
}

/// Its value is kept and computed as a float.
[[nodiscard]] constexpr bool is_float(Kind kind) noexcept
{
    return kind == Kind::floating || kind == Kind::float_reg || kind == Kind::converter || kind == Kind::swiss_knife;
}

[[nodiscard]] constexpr bool is_formula(Kind kind) noexcept
{
    return kind == Kind::converter || kind == Kind::int_converter || kind == Kind::swiss_knife ||
           kind == Kind::int_swiss_knife;
}

/// It has a value that a number can stand for.
[[nodiscard]] constexpr bool is_numeric(Kind kind) noexcept
{
    switch (kind) {
    case Kind::inert:
    case Kind::category:
    case Kind::string:
    case Kind::string_reg:
    case Kind::raw_register:
    case Kind::port: return false;
    default: return true;
    }
}

/// Limits of a number. Integer kinds use `i`, float kinds `d`; an increment of 0 stands for none.
union Scalar {
    std::int64_t i = 0;
    double d;
};

struct Limits {
    Scalar min;
    Scalar max;
    Scalar increment;
};

/// One node: the part that all kinds share, and the face that users see.
class Node final : public INode {
public:
    Node() = default;
    ~Node() = default;

    NodeMap* map = nullptr;
    std::string_view text_name;
    NodeIndex index = no_node;
    std::uint32_t data = 0;   ///< in the pool of its kind
    std::uint32_t texts = 0;  ///< 0: none
    NodeIndex is_implemented = no_node;
    NodeIndex is_available = no_node;
    NodeIndex is_locked = no_node;
    NodeIndex parent = no_node;  ///< the category
    // caches
    Scalar cached;
    std::uint32_t value_operation = 0;  ///< the operation that the value is valid for, when it is not lasting
    std::uint32_t access_operation = 0;
    std::uint32_t visit = 0;  ///< the last spreading of changes that came by
    std::uint8_t visited_channels = 0;
    AccessMode cached_access = AccessMode::not_available;
    bool value_lasting : 1 = false;
    bool access_lasting : 1 = false;
    bool value_busy : 1 = false;
    bool access_busy : 1 = false;
    bool limits_busy : 1 = false;
    bool has_callbacks : 1 = false;
    bool notify : 1 = false;
    // the flags above change with the map's lock held, those below never do and are read without it: other memory
    bool : 0;
    // properties
    bool broken : 1 = false;
    bool streamable : 1 = false;
    bool deprecated : 1 = false;
    bool selects : 1 = false;
    bool has_errors : 1 = false;  ///< pError nodes are to be asked after a write
    bool has_copies : 1 = false;  ///< pValueCopy
    bool has_representation : 1 = false;
    Kind kind = Kind::inert;
    Visibility visible_to = Visibility::beginner;
    NameSpace space = NameSpace::custom;
    AccessMode imposed = AccessMode::read_write;
    Representation shown_as = Representation::pure_number;
    DisplayNotation notation = DisplayNotation::automatic;
    std::int8_t precision = 6;
    std::int8_t merge_priority = 0;

    // INode
    [[nodiscard]] INodeMap& node_map() const noexcept override;
    [[nodiscard]] std::string_view name() const noexcept override { return text_name; }
    [[nodiscard]] std::string_view element() const noexcept override { return element_name(kind); }
    [[nodiscard]] InterfaceType type() const noexcept override { return interface_of(kind); }
    [[nodiscard]] std::string_view display_name() const noexcept override;
    [[nodiscard]] std::string_view tool_tip() const noexcept override;
    [[nodiscard]] std::string_view description() const noexcept override;
    [[nodiscard]] std::string_view docu_url() const noexcept override;
    [[nodiscard]] std::string_view unit() const noexcept override;
    [[nodiscard]] Visibility visibility() const noexcept override { return visible_to; }
    [[nodiscard]] NameSpace name_space() const noexcept override { return space; }
    [[nodiscard]] Representation representation() const noexcept override { return shown_as; }
    [[nodiscard]] DisplayNotation display_notation() const noexcept override { return notation; }
    [[nodiscard]] int display_precision() const noexcept override { return precision; }
    [[nodiscard]] bool is_streamable() const noexcept override { return streamable; }
    [[nodiscard]] bool is_deprecated() const noexcept override { return deprecated; }
    [[nodiscard]] bool is_selector() const noexcept override { return selects; }
    [[nodiscard]] std::int64_t polling_time() const noexcept override;
    [[nodiscard]] std::optional<std::uint64_t> event_id() const noexcept override;
    [[nodiscard]] INode* category() const noexcept override;
    [[nodiscard]] std::string_view defect() const noexcept override;
    [[nodiscard]] std::vector<INode*> selected() const override;
    [[nodiscard]] std::vector<INode*> selecting() const override;
    [[nodiscard]] std::vector<INode*> children() const override;
    [[nodiscard]] AccessMode access() override;
    [[nodiscard]] AccessMode access_when_idle() override;
    [[nodiscard]] bool is_cached() override;
    void invalidate() override;
    [[nodiscard]] std::int64_t int_value(ReadMode mode) override;
    void set_int_value(std::int64_t value) override;
    [[nodiscard]] std::int64_t int_min() override;
    [[nodiscard]] std::int64_t int_max() override;
    [[nodiscard]] std::int64_t int_increment() override;
    [[nodiscard]] std::vector<std::int64_t> valid_int_values() override;
    [[nodiscard]] double float_value(ReadMode mode) override;
    void set_float_value(double value) override;
    [[nodiscard]] double float_min() override;
    [[nodiscard]] double float_max() override;
    [[nodiscard]] std::optional<double> float_increment() override;
    [[nodiscard]] bool bool_value(ReadMode mode) override;
    void set_bool_value(bool value) override;
    [[nodiscard]] INode& current_entry(ReadMode mode) override;
    void set_entry(std::string_view symbolic_name) override;
    [[nodiscard]] INode* entry_by_symbolic(std::string_view symbolic_name) const override;
    [[nodiscard]] INode* entry_by_value(std::int64_t value) const override;
    [[nodiscard]] std::string_view symbolic() const noexcept override;
    [[nodiscard]] double numeric_value() const override;
    void execute() override;
    [[nodiscard]] bool is_done() override;
    [[nodiscard]] std::string string_value(ReadMode mode) override;
    void set_string_value(std::string_view value) override;
    [[nodiscard]] std::int64_t string_max_length() override;
    [[nodiscard]] std::int64_t register_length() override;
    [[nodiscard]] std::int64_t register_address() override;
    void get_bytes(std::span<std::uint8_t> out, ReadMode mode) override;
    void set_bytes(std::span<const std::uint8_t> bytes) override;
    [[nodiscard]] std::string to_string(ReadMode mode) override;
    void from_string(std::string_view text) override;
    CallbackId on_change(ChangeCallback callback) override;
    void remove_callback(CallbackId id) override;

private:
    [[nodiscard]] Limits integer_limits();
    [[nodiscard]] Limits float_limits();
};

}  // namespace GenApi
