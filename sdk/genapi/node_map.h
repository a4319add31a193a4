// The node map: a camera description brought to life. Features are nodes with names; reading and writing them reads and
// writes the registers of a port.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "sdk/genapi/errors.h"
#include "sdk/genapi/port.h"
#include "sdk/genapi/types.h"

namespace GenApi {

class INode;
class INodeMap;

/// Called after a node's value, limits or access may have changed. Runs on the thread whose operation caused the
/// change, after the node map's lock was released, so it may use the node map freely; an exception that it throws is
/// swallowed.
using ChangeCallback = std::function<void(INode&)>;
using CallbackId = std::uint64_t;

/// One node. It belongs to its node map and lives as long as that.
///
/// Text returned by reference stays valid as long as the node map. Operations throw the exceptions of errors.h; a
/// failing transfer throws PortError with the port's code. The typed operations throw TypeError on a node of another
/// InterfaceType, with these widenings: a float operation also takes an integer or enumeration, an integer operation
/// also takes an enumeration, enum entry or boolean.
///
/// Thread safety: every member may be called from any thread; each call holds the node map's lock for its length.
class INode {
public:
    INode(const INode&) = delete;
    INode& operator=(const INode&) = delete;

    [[nodiscard]] virtual INodeMap& node_map() const noexcept = 0;

    // What the description says about it; no transfers.
    [[nodiscard]] virtual std::string_view name() const noexcept = 0;
    /// The element it was made from: "Integer", "MaskedIntReg", "StructEntry", ...
    [[nodiscard]] virtual std::string_view element() const noexcept = 0;
    [[nodiscard]] virtual InterfaceType type() const noexcept = 0;
    /// The name where the description gives no other.
    [[nodiscard]] virtual std::string_view display_name() const noexcept = 0;
    [[nodiscard]] virtual std::string_view tool_tip() const noexcept = 0;
    [[nodiscard]] virtual std::string_view description() const noexcept = 0;
    [[nodiscard]] virtual std::string_view docu_url() const noexcept = 0;
    [[nodiscard]] virtual std::string_view unit() const noexcept = 0;
    [[nodiscard]] virtual Visibility visibility() const noexcept = 0;
    [[nodiscard]] virtual NameSpace name_space() const noexcept = 0;
    [[nodiscard]] virtual Representation representation() const noexcept = 0;
    [[nodiscard]] virtual DisplayNotation display_notation() const noexcept = 0;
    [[nodiscard]] virtual int display_precision() const noexcept = 0;
    [[nodiscard]] virtual bool is_streamable() const noexcept = 0;
    [[nodiscard]] virtual bool is_deprecated() const noexcept = 0;
    [[nodiscard]] virtual bool is_selector() const noexcept = 0;
    /// In milliseconds; -1 when the node is not polled.
    [[nodiscard]] virtual std::int64_t polling_time() const noexcept = 0;
    /// The event that brings news of this node, if there is one.
    [[nodiscard]] virtual std::optional<std::uint64_t> event_id() const noexcept = 0;
    /// The first category, in document order from Root, that lists this node; null for a node in none.
    [[nodiscard]] virtual INode* category() const noexcept = 0;
    /// Why the description makes this node unusable; empty for a sound node.
    [[nodiscard]] virtual std::string_view defect() const noexcept = 0;

    // Relations, in document order; no transfers.
    /// The nodes whose meaning this selector selects.
    [[nodiscard]] virtual std::vector<INode*> selected() const = 0;
    /// The selectors that this node's meaning depends on.
    [[nodiscard]] virtual std::vector<INode*> selecting() const = 0;
    /// A category's features (and categories); an enumeration's entries, available or not; else empty.
    [[nodiscard]] virtual std::vector<INode*> children() const = 0;

    // State.
    /// What may be done with the node at present. Never throws for lack of data: a node whose condition cannot be read
    /// is not available.
    [[nodiscard]] virtual AccessMode access() = 0;
    /// The same as if no acquisition ran: a lock that stands on TLParamsLocked does not count.
    [[nodiscard]] virtual AccessMode access_when_idle() = 0;
    /// A read would be answered without a transfer.
    [[nodiscard]] virtual bool is_cached() = 0;
    /// Forgets what is cached of this node, down to its register, and of everything that depends on it.
    virtual void invalidate() = 0;

    // Integers.
    [[nodiscard]] virtual std::int64_t int_value(ReadMode mode = ReadMode::cached) = 0;
    virtual void set_int_value(std::int64_t value) = 0;
    [[nodiscard]] virtual std::int64_t int_min() = 0;
    [[nodiscard]] virtual std::int64_t int_max() = 0;
    /// At least 1.
    [[nodiscard]] virtual std::int64_t int_increment() = 0;
    /// The only values it takes; empty when limits and increment say all.
    [[nodiscard]] virtual std::vector<std::int64_t> valid_int_values() = 0;

    // Floats.
    [[nodiscard]] virtual double float_value(ReadMode mode = ReadMode::cached) = 0;
    virtual void set_float_value(double value) = 0;
    [[nodiscard]] virtual double float_min() = 0;
    [[nodiscard]] virtual double float_max() = 0;
    [[nodiscard]] virtual std::optional<double> float_increment() = 0;

    // Booleans.
    [[nodiscard]] virtual bool bool_value(ReadMode mode = ReadMode::cached) = 0;
    virtual void set_bool_value(bool value) = 0;

    // Enumerations. The integer operations take and give the value of the entry.
    /// The entry whose value is current, also when that entry is not available; throws when no entry has it.
    [[nodiscard]] virtual INode& current_entry(ReadMode mode = ReadMode::cached) = 0;
    /// By the entry's symbolic name.
    virtual void set_entry(std::string_view symbolic) = 0;
    /// Null when there is none.
    [[nodiscard]] virtual INode* entry_by_symbolic(std::string_view symbolic) const = 0;
    [[nodiscard]] virtual INode* entry_by_value(std::int64_t value) const = 0;
    /// An enum entry's name as users see it ("Mono8"); empty for other nodes.
    [[nodiscard]] virtual std::string_view symbolic() const noexcept = 0;
    /// An enum entry's meaning as a number; its value where the description gives no other.
    [[nodiscard]] virtual double numeric_value() const = 0;

    // Commands.
    /// Starts the command and returns.
    virtual void execute() = 0;
    /// Asks the device, whatever is cached, whether the command has finished.
    [[nodiscard]] virtual bool is_done() = 0;

    // Strings.
    [[nodiscard]] virtual std::string string_value(ReadMode mode = ReadMode::cached) = 0;
    virtual void set_string_value(std::string_view value) = 0;
    /// In bytes.
    [[nodiscard]] virtual std::int64_t string_max_length() = 0;

    // Registers: raw_register, and every other node made from a register.
    /// In bytes.
    [[nodiscard]] virtual std::int64_t register_length() = 0;
    [[nodiscard]] virtual std::int64_t register_address() = 0;
    /// Reads the first `out.size()` bytes; more than the register has is a ValueError.
    virtual void get_bytes(std::span<std::uint8_t> out, ReadMode mode = ReadMode::cached) = 0;
    /// Writes the first `data.size()` bytes; more than the register has is a ValueError.
    virtual void set_bytes(std::span<const std::uint8_t> data) = 0;

    // Any value as text, and back: numbers by representation, enumerations by symbolic name, booleans 0 and 1,
    // registers as hexadecimal digits; setting a command to 1 executes it.
    [[nodiscard]] virtual std::string to_string(ReadMode mode = ReadMode::cached) = 0;
    virtual void from_string(std::string_view text) = 0;

    // Changes.
    virtual CallbackId on_change(ChangeCallback callback) = 0;
    /// A call that another thread has already begun may still run when this returns.
    virtual void remove_callback(CallbackId id) = 0;

protected:
    INode() = default;
    ~INode() = default;
};

/// The data of one chunk of a buffer.
struct Chunk {
    std::uint64_t id = 0;
    std::span<const std::uint8_t> data;
    std::int64_t position = 0;  ///< of the first byte within the payload
};

/// Whose memory the chunk ports read from.
enum class ChunkMemory {
    borrowed,  ///< the caller's, which must last until the chunks are detached or replaced; except for ports whose
               ///< description asks for a copy (CacheChunkData)
    copied,    ///< the ports' own: what no port has an identifier of is not copied
};

/// All nodes of one description.
///
/// Thread safety: every member may be called from any thread. Each operation holds this node map's one lock, also
/// during its transfers; two node maps share nothing.
class INodeMap {
public:
    virtual ~INodeMap() = default;

    [[nodiscard]] virtual const DescriptionInfo& info() const noexcept = 0;
    /// What was passed over or made a node unusable while loading; at most some hundreds.
    [[nodiscard]] virtual const std::vector<Diagnostic>& diagnostics() const noexcept = 0;

    /// Null when there is no node of that name. Enum entries are named EnumEntry_<Enumeration>_<Entry>.
    [[nodiscard]] virtual INode* node(std::string_view name) const noexcept = 0;
    [[nodiscard]] virtual std::size_t node_count() const noexcept = 0;
    /// In document order; null beyond the last.
    [[nodiscard]] virtual INode* node_at(std::size_t index) const noexcept = 0;
    /// The nodes listed by the categories that can be reached from Root, each once, in document order; without the
    /// categories themselves.
    [[nodiscard]] virtual const std::vector<INode*>& features() const noexcept = 0;
    /// The categories that can be reached from Root, in document order, without Root.
    [[nodiscard]] virtual const std::vector<INode*>& categories() const noexcept = 0;

    /// Forgets everything cached.
    virtual void invalidate_all() = 0;
    /// Says that a node's value was changed from outside. Never waits and may be called from anywhere, also from a
    /// port's read or write and with any lock held: when the node map is busy, whoever keeps it busy does the rest.
    virtual void changed(INode& node) = 0;
    /// Tells how much time has passed; forgets the cached values of nodes whose polling time is over.
    virtual void poll(std::chrono::milliseconds elapsed) = 0;

    /// Connects, replaces or (with null) disconnects the port of that name; what was read through it is forgotten. The
    /// port must outlive the connection. False when the description has no port of that name.
    virtual bool connect_port(std::string_view name, IPort* port) = 0;

    /// Puts a buffer's chunks behind the chunk ports with their identifiers; the other chunk ports have no data.
    virtual void attach_chunks(std::span<const Chunk> chunks, ChunkMemory memory) = 0;
    virtual void detach_chunks() = 0;
    /// Hands an event's data to the ports and nodes with that event identifier; address 0 is the first byte of `data`.
    /// False when nothing in the description waits for that event.
    virtual bool deliver_event(std::uint64_t event_id, std::span<const std::uint8_t> data) = 0;

protected:
    INodeMap() = default;
    INodeMap(const INodeMap&) = delete;
    INodeMap& operator=(const INodeMap&) = delete;
};

/// A port and the name that the description gives it. The port is borrowed and must outlive the node map.
struct NamedPort {
    std::string_view name;
    IPort* port = nullptr;
};

/// The name of the port through which a camera's own registers are reached.
inline constexpr std::string_view device_port_name = "Device";

struct LoadOptions {
    std::size_t largest_description = std::size_t{64} << 20;  ///< bytes
    std::chrono::steady_clock::time_point (*now)() = &std::chrono::steady_clock::now;
};

/// Loads a description (XML text; see zip.h for packed ones) and connects the ports.
///
/// Throws DescriptionError, which names the line, when the text as a whole cannot be used. A node that cannot be used
/// is kept, is not available and says why in its defect() and errors.
[[nodiscard]] std::unique_ptr<INodeMap> load_node_map(std::string xml, std::span<const NamedPort> ports,
                                                      const LoadOptions& options = {});
/// The same with one port, the device's.
[[nodiscard]] std::unique_ptr<INodeMap> load_node_map(std::string xml, IPort& device_port,
                                                      const LoadOptions& options = {});

}  // namespace GenApi
