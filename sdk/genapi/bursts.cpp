#include "sdk/genapi/bursts.h"

#include <algorithm>

namespace GenApi {

namespace {

constexpr std::chrono::milliseconds moment{100};
constexpr std::int64_t word = 4;
constexpr std::int64_t reach = 256;  // bytes
constexpr std::size_t largest_burst = 32;
constexpr int singles_first = 2;

bool is_word(std::int64_t address, std::int64_t length) noexcept { return length == word && address % word == 0; }

bool are_near(std::int64_t a, std::int64_t b) noexcept
{
    const auto distance = static_cast<std::uint64_t>(a) - static_cast<std::uint64_t>(b);
    return distance < reach || 0 - distance < reach;
}

}  // namespace

bool Bursts::holds(const Cell& cell) const { return cell.valid && (!cell.ahead || now_() - cell.fetched < moment); }

void Bursts::ask_for(NodeIndex port, Cell& cell)
{
    cell.ahead = false;
    burst_.port = port;
    burst_.address = cell.address;
    burst_.at = now_();
}

/// A register is about to be fetched: notes it, and tells whether enough of its neighbours were before.
bool Bursts::continues_burst(NodeIndex port, std::int64_t address)
{
    const auto now = now_();
    const bool continues = port == burst_.port && address != burst_.address && are_near(address, burst_.address) &&
                           now - burst_.at < moment;
    burst_ = {port, address, now, continues ? std::min(burst_.length + 1, singles_first) : 0};
    return burst_.length == singles_first;
}

bool Bursts::fetch(NodeIndex port_node, Cell& wanted, std::uint32_t operation)
{
    const PortData& data = model_.ports[model_.nodes[port_node].data];
    if (wanted.alone || data.is_chunk || data.is_event || !is_word(wanted.address, wanted.length) ||
        !continues_burst(port_node, wanted.address) || !data.open) {
        return false;
    }
    collect_neighbours(port_node, wanted.address, std::min(data.port->words_at_once(), largest_burst));
    if (neighbours_.empty()) {
        return false;
    }
    std::uint8_t bytes[largest_burst][word];
    PortRead words[largest_burst];
    std::size_t count = 0;
    words[count++] = {wanted.address, {wanted.bytes(), word}};
    for (const CellPlace* place : neighbours_) {
        words[count] = {place->address, bytes[count]};
        ++count;
    }
    const bool read = data.port->read_words({words, count});
    const auto now = now_();
    for (std::size_t i = 0; i < neighbours_.size(); ++i) {
        Cell& cell = model_.cells[neighbours_[i]->cell];
        if (!read) {
            // one of them, and nobody knows which
            cell.spurned = true;
            continue;
        }
        cell.large.reset();
        cell.address = neighbours_[i]->address;
        cell.length = word;
        std::copy_n(bytes[i + 1], word, cell.small);
        cell.operation = operation;
        cell.fetched = now;
        cell.ahead = true;
        cell.valid = true;
    }
    return read;
}

/// Those behind first: most go through registers that way.
void Bursts::collect_neighbours(NodeIndex port, std::int64_t address, std::size_t most)
{
    neighbours_.clear();
    const auto begin = model_.fixed_cells.cbegin();
    const auto end = model_.fixed_cells.cend();
    const auto here = std::lower_bound(begin, end, CellPlace{.port = port, .address = address}, is_before);
    const auto take = [&](const CellPlace& place) {
        if (place.port != port || !are_near(place.address, address) || neighbours_.size() + 1 >= most) {
            return false;
        }
        if (place.address != address && may_come_along(place)) {
            neighbours_.push_back(&place);
        }
        return true;
    };
    for (auto place = here; place != end && take(*place); ++place) {
    }
    for (auto place = here; place != begin && take(*std::prev(place)); --place) {
    }
}

bool Bursts::may_come_along(const CellPlace& place)
{
    Cell& cell = model_.cells[place.cell];
    if (cell.alone || cell.spurned || !is_word(place.address, place.length) || holds(cell)) {
        return false;
    }
    if (cell.ahead) {
        // it came along before, and nobody asked
        cell.valid = false;
        cell.ahead = false;
        cell.spurned = true;
        return false;
    }
    return is_known_readable(place);
}

/// Whether a register with a condition can be read may be known, but is not to be found out for this.
bool Bursts::is_known_readable(const CellPlace& place) const
{
    for (std::uint32_t i = model_.cell_begin[place.cell]; i < model_.cell_begin[place.cell + 1]; ++i) {
        const Node& node = model_.nodes[model_.cell_members[i]];
        const bool conditional = node.is_implemented != no_node || node.is_available != no_node;
        if (conditional && !(node.access_lasting && is_readable(node.cached_access))) {
            return false;
        }
    }
    return true;
}

}  // namespace GenApi
