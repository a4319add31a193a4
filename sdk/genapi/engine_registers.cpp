// Registers: addresses, bytes, and the ports behind them.

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>

#include "sdk/genapi/engine.h"
#include "sdk/genapi/numbers.h"

namespace GenApi {

namespace {

// Addresses of a chunk that do not name data, but say something about the chunk.
constexpr std::int64_t chunk_position_address = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t chunk_length_address = chunk_position_address - 15;

std::uint64_t assemble(const std::uint8_t* bytes, std::size_t length, bool big_endian) noexcept
{
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < length; ++i) {
        value = value << 8 | bytes[big_endian ? i : length - 1 - i];
    }
    return value;
}

void disassemble(std::uint64_t value, std::uint8_t* bytes, std::size_t length, bool big_endian) noexcept
{
    for (std::size_t i = 0; i < length; ++i) {
        bytes[big_endian ? length - 1 - i : i] = static_cast<std::uint8_t>(value >> (8 * i));
    }
}

constexpr std::uint64_t ones(int width) noexcept
{
    return width >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << width) - 1;
}

std::int64_t sum(std::int64_t a, std::int64_t b) noexcept
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) + static_cast<std::uint64_t>(b));
}

std::int64_t product(std::int64_t a, std::int64_t b) noexcept
{
    return static_cast<std::int64_t>(static_cast<std::uint64_t>(a) * static_cast<std::uint64_t>(b));
}

}  // namespace

std::int64_t NodeMap::address_of(Node& node)
{
    const RegisterData& reg = model_.registers[node.data];
    std::int64_t address = reg.address;
    for (std::uint32_t i = reg.terms.begin; i < reg.terms.begin + reg.terms.count; ++i) {
        const AddressTerm& term = model_.terms[i];
        std::int64_t summand = integer_of(at(term.node));
        if (term.is_index) {
            const std::int64_t stride = term.offset_node != no_node ? integer_of(at(term.offset_node))
                                        : term.offset != 0          ? term.offset
                                                                    : length_of(node);
            summand = product(summand, stride);
        }
        address = sum(address, summand);
    }
    return address;
}

std::int64_t NodeMap::length_of(Node& node)
{
    const RegisterData& reg = model_.registers[node.data];
    if (reg.length_node == no_node) {
        return reg.length;
    }
    const std::int64_t length = integer_of(at(reg.length_node));
    const std::int64_t most = is_int_register(node.kind) ? 8 : largest_register;
    const bool odd_float = node.kind == Kind::float_reg && length != 4 && length != 8;
    if (length < 1 || length > most || odd_float) {
        throw EvaluationError(std::string(node.text_name) + " cannot have a length of " + to_text(length) + " bytes",
                              PvResult::GenericError);
    }
    return length;
}

NodeMap::Field NodeMap::field_of(const Node& node, std::int64_t length) const
{
    const RegisterData& reg = model_.registers[node.data];
    const int bits = static_cast<int>(length) * 8;
    if (!reg.masked) {
        return {.lsb = 0, .width = bits};
    }
    const int width = reg.msb - reg.lsb + 1;
    if (reg.length_node == no_node) {
        return {.lsb = reg.lsb, .width = width};
    }
    if (reg.msb >= bits) {
        throw EvaluationError(std::string(node.text_name) + " has no bit " + std::to_string(reg.msb) +
                              " while its length is " + to_text(length) + " bytes");
    }
    return {.lsb = reg.big_endian ? bits - 1 - reg.msb : reg.lsb, .width = width};
}

/// The register's cell, with its bytes as the device has them, or had them when they may be kept.
Cell& NodeMap::fetch(Node& node)
{
    const RegisterData& reg = model_.registers[node.data];
    const std::int64_t address = address_of(node);
    const auto length = static_cast<std::uint32_t>(length_of(node));
    Cell& cell = model_.cells[reg.cell];
    const bool same_place = cell.address == address && cell.length == length;
    const bool kept = reg.caching != Caching::none;
    if (!kept) {
        passing_ = true;
    }
    if (same_place && (kept ? bursts_.holds(cell) : cell.valid && cell.operation == operation_)) {
        if (cell.ahead) {
            bursts_.ask_for(reg.port, cell);
        }
        return cell;
    }
    cell.valid = false;
    // with `fresh_`, whoever saw the old bytes has to hear of new ones
    std::uint8_t before[8];
    const bool compare = fresh_ && kept && same_place && !cell.large && cell.operation != 0;
    if (compare) {
        std::memcpy(before, cell.small, sizeof(before));
    }
    if (length > sizeof(cell.small) && (!cell.large || cell.length < length)) {
        cell.large = std::make_unique<std::uint8_t[]>(length);
    } else if (length <= sizeof(cell.small)) {
        cell.large.reset();
    }
    changes_.put(cell, {.port = reg.port, .address = address, .length = length, .cell = reg.cell});
    const Node& port_node = at(reg.port);
    const PortData& port = model_.ports[port_node.data];
    if (port.is_chunk && port.has_data && (address == chunk_position_address || address == chunk_length_address)) {
        const auto size = static_cast<std::int64_t>(port.data.size());
        const auto value = static_cast<std::uint64_t>(address == chunk_position_address ? port.position : size);
        std::memset(cell.bytes(), 0, length);
        disassemble(value, cell.bytes(), std::min<std::size_t>(length, 8), is_big_endian(reg));
    } else if (!kept || fresh_ || !bursts_.fetch(reg.port, cell, operation_)) {
        read_port(port_node, address, {cell.bytes(), length});
    }
    cell.ahead = false;
    cell.spurned = false;
    cell.valid = true;
    cell.operation = operation_;
    if (compare && std::memcmp(before, cell.small, length) != 0) {
        found_changed_.push_back(node.index);
    }
    return cell;
}

bool NodeMap::is_big_endian(const RegisterData& reg) const noexcept
{
    return reg.big_endian != model_.ports[model_.nodes[reg.port].data].swap_endianness;
}

Number NodeMap::decode(Node& node)
{
    Cell& cell = fetch(node);
    const RegisterData& reg = model_.registers[node.data];
    const std::uint64_t bits = assemble(cell.bytes(), cell.length, is_big_endian(reg));
    if (node.kind == Kind::float_reg) {
        return cell.length == 4 ? static_cast<double>(std::bit_cast<float>(static_cast<std::uint32_t>(bits)))
                                : std::bit_cast<double>(bits);
    }
    const auto [lsb, width] = field_of(node, cell.length);
    std::uint64_t value = (bits >> lsb) & ones(width);
    if (reg.is_signed && width < 64 && (value >> (width - 1)) != 0) {
        value |= ~ones(width);
    }
    return static_cast<std::int64_t>(value);
}

bool NodeMap::can_transfer(const PortData& port) const noexcept
{
    return port.is_chunk || port.is_event ? port.has_data : port.open;
}

void NodeMap::require_transfers(const Node& port_node) const
{
    const PortData& port = model_.ports[port_node.data];
    if (can_transfer(port)) {
        return;
    }
    const std::string name(port_node.text_name);
    if (port.is_chunk) {
        throw PortError(PvResult::NoAvailableData, "no buffer with the chunk of port " + name + " is attached");
    }
    if (port.is_event) {
        throw PortError(PvResult::NoAvailableData, "the event of port " + name + " has not arrived yet");
    }
    if (port.port == nullptr) {
        throw PortError(PvResult::NotConnected, "nothing is connected to port " + name);
    }
    // users know the camera, not its port
    throw PortError(PvResult::NotConnected,
                    name == device_port_name ? "the device is not connected" : "port " + name + " is closed");
}

void NodeMap::read_port(const Node& port_node, std::int64_t address, std::span<std::uint8_t> out)
{
    require_transfers(port_node);
    const PortData& port = model_.ports[port_node.data];
    if (!port.is_chunk && !port.is_event) {
        port.port->read(address, out);
        return;
    }
    const auto size = static_cast<std::int64_t>(port.data.size());
    const auto length = static_cast<std::int64_t>(out.size());
    const std::int64_t begin = address < 0 ? size + address : address;
    if (begin < 0 || begin > size || length > size - begin) {
        throw PortError(PvResult::NoAvailableData, to_text(length) + " bytes at " + to_text(address) +
                                                       " are not within the " + to_text(size) + " bytes of port " +
                                                       std::string(port_node.text_name));
    }
    std::memcpy(out.data(), port.data.data() + begin, out.size());
}

void NodeMap::write_port(const Node& port_node, std::int64_t address, std::span<const std::uint8_t> bytes)
{
    require_transfers(port_node);
    const PortData& port = model_.ports[port_node.data];
    if (port.is_chunk || port.is_event) {
        throw PortError(PvResult::NotSupported,
                        "the data of port " + std::string(port_node.text_name) + " cannot be written");
    }
    port.port->write(address, bytes);
}

/// Writes a whole register and tells everyone.
void NodeMap::store_register(Node& node, std::span<const std::uint8_t> bytes)
{
    const RegisterData& reg = model_.registers[node.data];
    const std::int64_t address = address_of(node);
    Cell& cell = model_.cells[reg.cell];
    try {
        write_port(at(reg.port), address, bytes);
    } catch (...) {
        // nobody knows what the device made of it
        cell.valid = false;
        changes_.spread_from_register(node, address, static_cast<std::int64_t>(bytes.size()));
        throw;
    }
    const auto length = static_cast<std::uint32_t>(bytes.size());
    if (length > sizeof(cell.small) && (!cell.large || cell.length < length)) {
        cell.large = std::make_unique<std::uint8_t[]>(length);
    } else if (length <= sizeof(cell.small)) {
        cell.large.reset();
    }
    changes_.put(cell, {.port = reg.port, .address = address, .length = length, .cell = reg.cell});
    // kept also when it must not be answered from: the image of a register that can only be written
    std::memcpy(cell.bytes(), bytes.data(), bytes.size());
    cell.valid = reg.caching == Caching::write_through;
    cell.ahead = false;
    bursts_.end();
    next_operation();
    cell.operation = operation_ - 1;
    changes_.spread_from_register(node, address, length);
}

/// The neighbouring bits of a masked register are the device's business: it may have changed them meanwhile.
void NodeMap::fetch_again(Node& node)
{
    const RegisterData& reg = model_.registers[node.data];
    Cell& cell = model_.cells[reg.cell];
    const bool known = cell.valid && !cell.large;
    std::uint8_t before[sizeof(cell.small)];
    std::memcpy(before, cell.small, sizeof(before));
    const std::int64_t address = cell.address;
    cell.valid = false;
    static_cast<void>(fetch(node));
    if (known && cell.address == address && std::memcmp(before, cell.small, cell.length) != 0) {
        const auto members = model_.cell_members.begin();
        changes_.spread({members + model_.cell_begin[reg.cell], members + model_.cell_begin[reg.cell + 1]},
                        value_channel);
    }
}

void NodeMap::store_integer(Node& node, std::int64_t value)
{
    const RegisterData& reg = model_.registers[node.data];
    const auto length = static_cast<std::size_t>(length_of(node));
    const auto [lsb, width] = field_of(node, static_cast<std::int64_t>(length));
    std::uint64_t bits = static_cast<std::uint64_t>(value) & ones(width);
    std::uint8_t bytes[8] = {};
    if (reg.masked) {
        Cell& cell = model_.cells[reg.cell];
        if (is_readable(reg.access)) {
            fetch_again(node);
        } else if (cell.address != address_of(node) || cell.length != length) {
            std::memset(cell.small, 0, sizeof(cell.small));
        }
        const std::uint64_t image = assemble(cell.bytes(), length, is_big_endian(reg));
        bits = (image & ~(ones(width) << lsb)) | (bits << lsb);
    }
    disassemble(bits, bytes, length, is_big_endian(reg));
    store_register(node, {bytes, length});
}

void NodeMap::store_float(Node& node, double value)
{
    const RegisterData& reg = model_.registers[node.data];
    const auto length = static_cast<std::size_t>(length_of(node));
    const std::uint64_t bits =
        length == 4 ? std::bit_cast<std::uint32_t>(static_cast<float>(value)) : std::bit_cast<std::uint64_t>(value);
    std::uint8_t bytes[8] = {};
    disassemble(bits, bytes, length, is_big_endian(reg));
    store_register(node, {bytes, length});
}

/// Writes the first bytes of a register.
void NodeMap::store_part(Node& node, std::span<const std::uint8_t> bytes)
{
    const std::int64_t length = length_of(node);
    if (static_cast<std::int64_t>(bytes.size()) == length) {
        store_register(node, bytes);
        return;
    }
    const RegisterData& reg = model_.registers[node.data];
    const std::int64_t address = address_of(node);
    model_.cells[reg.cell].valid = false;
    next_operation();
    try {
        write_port(at(reg.port), address, bytes);
    } catch (...) {
        changes_.spread_from_register(node, address, length);
        throw;
    }
    changes_.spread_from_register(node, address, length);
}

}  // namespace GenApi
