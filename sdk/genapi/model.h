// What a loaded description is made of. Nodes are kept small: what only one kind of node has stands in a pool of that
// kind, and what few nodes have stands in sorted lists beside them.
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "sdk/genapi/formula.h"
#include "sdk/genapi/name_table.h"
#include "sdk/genapi/node.h"
#include "sdk/genapi/text_arena.h"

namespace GenApi {

/// A part of a pool.
struct Range {
    std::uint32_t begin = 0;
    std::uint32_t count = 0;
};

/// A value given in the description, or the node that has it. Integer kinds use `i`, float kinds `d`.
struct Operand {
    union {
        std::int64_t i = 0;
        double d;
    };
    NodeIndex node = no_node;
    bool given = false;
};

struct LimitCache {
    Limits limits;
    std::uint32_t operation = 0;  ///< the operation that the limits are valid for, when not `lasting`
    bool lasting = false;
};

enum class Caching : std::uint8_t { write_through, write_around, none };

/// One summand of a register's address.
struct AddressTerm {
    NodeIndex node = no_node;
    NodeIndex offset_node = no_node;  ///< pIndex: the factor, when a node has it
    std::int64_t offset = 0;          ///< pIndex: the factor; 0 for the register's own length
    bool is_index = false;
};

struct RegisterData {
    std::int64_t address = 0;  ///< the constant part
    std::int64_t length = 0;   ///< when no node has it
    Range terms;
    NodeIndex length_node = no_node;
    NodeIndex port = no_node;
    std::uint32_t cell = 0;
    AccessMode access = AccessMode::read_only;
    Caching caching = Caching::write_through;
    bool big_endian = false;
    bool is_signed = false;
    bool masked = false;
    // The bits of a masked register. While loading as the description numbers them; then lsb <= msb, counted from the
    // least significant bit whatever the byte order. Where a node has the length, they stay numbered as they are.
    std::uint8_t lsb = 0;
    std::uint8_t msb = 0;
};

/// One value of an Integer or Float that chooses by an index.
struct IndexedValue {
    std::int64_t index = 0;
    Operand value;
    bool is_default = false;
};

/// Integer, Float.
struct NumberData {
    Operand value;
    Operand min;
    Operand max;
    Operand increment;
    NodeIndex index = no_node;
    Range indexed;
    Range valid_values;
    LimitCache cache;
};

struct BooleanData {
    Operand value;
    std::int64_t on = 1;
    std::int64_t off = 0;
};

struct CommandData {
    Operand value;
    Operand command_value;
    bool started = false;  ///< executed, and not yet seen to be done
};

struct EnumerationData {
    Operand value;
    Range entries;
};

struct EntryData {
    std::string_view symbolic;
    std::int64_t value = 0;
    double numeric = 0;
    NodeIndex enumeration = no_node;
    bool has_numeric = false;
    bool self_clearing = false;
};

struct StringData {
    NodeIndex node = no_node;
    std::string literal;
};

/// What of a node a formula's variable means.
enum class Aspect : std::uint8_t {
    value,
    min,
    max,
    increment,
    access,
    visibility,
    caching,
    entry,  ///< the value of an enumeration's entry
};

struct Variable {
    std::string_view name;
    NodeIndex node = no_node;  ///< no_node: the value that is converted (TO or FROM)
    Aspect aspect = Aspect::value;
    std::string_view entry;
};

/// Code within the pools of the model.
struct StoredCode {
    Range instructions;
    Range constants;
    std::uint32_t stack_needed = 0;
};

enum class Slope : std::uint8_t { increasing, decreasing, varying, automatic };

/// Converters and Swiss knives.
struct FormulaData {
    StoredCode from;  ///< raw to user; a Swiss knife's only formula
    StoredCode to;    ///< user to raw
    Range variables;
    Range expressions;
    Operand value;
    Slope slope = Slope::automatic;
    LimitCache cache;
};

struct PortData {
    IPort* port = nullptr;
    bool open = false;  ///< as the operation under way found it
    std::uint64_t chunk_id = 0;
    NodeIndex chunk_id_node = no_node;
    std::uint64_t event_id = 0;
    bool is_chunk = false;
    bool is_event = false;
    bool swap_endianness = false;
    bool cache_data = false;
    bool has_data = false;
    std::span<const std::uint8_t> data;
    std::int64_t position = 0;
    std::vector<std::uint8_t> own_data;
};

struct CategoryData {
    Range features;  ///< in `lists`
};

/// What is known of the bytes of a register. Registers with the same port, address and length share one.
struct Cell {
    std::int64_t address = 0;
    std::uint32_t length = 0;
    std::uint32_t operation = 0;  ///< the operation that fetched the bytes
    bool valid = false;
    bool alone = false;    ///< is not to be fetched unless it is asked for
    bool ahead = false;    ///< was fetched before anyone asked for it, at `fetched`
    bool spurned = false;  ///< was fetched ahead, and nobody asked for it in time; or the device refused it
    bool fixed = false;    ///< its place never changes
    std::uint8_t small[8] = {};
    std::chrono::steady_clock::time_point fetched;
    std::unique_ptr<std::uint8_t[]> large;

    [[nodiscard]] std::uint8_t* bytes() noexcept { return large ? large.get() : small; }
};

/// Where a cell is.
struct CellPlace {
    NodeIndex port = no_node;
    std::int64_t address = 0;
    std::int64_t length = 0;
    std::uint32_t cell = 0;
};

[[nodiscard]] constexpr bool is_before(const CellPlace& a, const CellPlace& b) noexcept
{
    return a.port < b.port || (a.port == b.port && a.address < b.address);
}

struct Texts {
    std::string_view display_name;
    std::string_view tool_tip;
    std::string_view description;
    std::string_view docu_url;
    std::string_view unit;
};

/// What changes when something else changes.
enum Channel : std::uint8_t {
    value_channel = 1,
    device_channel = 2,  ///< the value, down to the register
    limits_channel = 4,
    access_channel = 8,
};

inline constexpr std::uint8_t value_channels = value_channel | device_channel;

/// A change of one node that reaches another.
struct Edge {
    NodeIndex to = no_node;
    std::uint8_t from_channels = 0;  ///< any of these, changed at the source,
    std::uint8_t to_channels = 0;    ///< changes these at the target; 0: value to value, limits to limits, and so on
};

/// A polled node.
struct Polled {
    NodeIndex node = no_node;
    std::int64_t period = 0;  ///< ms
    std::int64_t elapsed = 0;
};

/// A relation from one node to another, in lists sorted by `from`; equal ones keep the order of the document.
struct Relation {
    NodeIndex from = no_node;
    NodeIndex to = no_node;
};

/// A loaded description.
struct Model {
    DescriptionInfo info;
    std::vector<Diagnostic> diagnostics;
    TextArena arena;

    std::unique_ptr<Node[]> nodes;
    std::uint32_t node_count = 0;
    NameTable names;

    std::vector<Texts> texts{1};
    std::vector<RegisterData> registers;
    std::vector<NumberData> numbers;
    std::vector<BooleanData> booleans;
    std::vector<CommandData> commands;
    std::vector<EnumerationData> enumerations;
    std::vector<EntryData> entries;
    std::vector<StringData> strings;
    std::vector<FormulaData> formulas;
    std::vector<PortData> ports;
    std::vector<CategoryData> categories;

    std::vector<AddressTerm> terms;
    std::vector<IndexedValue> indexed_values;
    std::vector<std::int64_t> valid_ints;
    std::vector<double> valid_floats;
    std::vector<Variable> variables{1};  ///< the first is the value that is converted
    std::vector<StoredCode> expressions;
    std::vector<Instruction> instructions;
    std::vector<Number> constants;
    std::vector<NodeIndex> lists;  ///< features of categories, entries of enumerations

    std::vector<Cell> cells;
    std::vector<NodeIndex> cell_members;  ///< registers, sorted by cell
    std::vector<std::uint32_t> cell_begin;
    std::vector<CellPlace> fixed_cells;  ///< those whose place never changes, sorted by port and address
    std::int64_t longest_fixed_cell = 0;

    std::vector<Edge> edges;  ///< sorted by source
    std::vector<std::uint32_t> edge_begin;

    std::vector<Relation> selected;   ///< from selector to selected
    std::vector<Relation> selecting;  ///< from selected to selector
    std::vector<Relation> copies;
    std::vector<Relation> errors;
    std::vector<Relation> poll_blockers;
    std::vector<Polled> polled;
    std::vector<NodeIndex> chunk_ports;
    std::vector<std::pair<NodeIndex, std::uint64_t>> event_ids;
    std::unordered_map<NodeIndex, std::string> defects;

    std::vector<INode*> features;
    std::vector<INode*> feature_categories;
    NodeIndex root = no_node;

    /// Gives back what growing has taken too much; nothing is added from here on.
    void trim();

    [[nodiscard]] NodeIndex find(std::string_view name) const noexcept
    {
        return names.find(name, [this](std::uint32_t index) { return nodes[index].text_name; });
    }
    /// The relations from one node.
    [[nodiscard]] static std::span<const Relation> related(const std::vector<Relation>& relations, NodeIndex from);
};

/// The operand through which a node has its value; null for kinds that have none.
[[nodiscard]] const Operand* value_operand(const Model& model, const Node& node) noexcept;
/// The node through which a node has its value; no_node when it has it otherwise.
[[nodiscard]] NodeIndex value_node(const Model& model, const Node& node) noexcept;

/// The largest register.
inline constexpr std::int64_t largest_register = std::int64_t{16} << 20;

}  // namespace GenApi
