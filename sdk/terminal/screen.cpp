#include "sdk/terminal/screen.h"

#include <algorithm>
#include <cstdio>
#include <utility>

namespace vex::terminal {

namespace {

constexpr std::size_t line_bytes = 16;
constexpr const char* new_line = "\r\n";

bool is_shown(std::uint8_t byte) noexcept { return byte >= 0x20 && byte < 0x7F; }

std::string hex_line(std::uint64_t offset, std::span<const std::uint8_t> bytes)
{
    char piece[24];
    std::snprintf(piece, sizeof piece, "%08llX ", static_cast<unsigned long long>(offset));
    std::string line = piece;
    for (std::size_t at = 0; at < line_bytes; ++at) {
        if (at < bytes.size()) {
            std::snprintf(piece, sizeof piece, " %02X", static_cast<unsigned>(bytes[at]));
            line += piece;
        } else {
            line += "   ";
        }
    }
    line += "  ";
    for (const std::uint8_t byte : bytes) {
        line += is_shown(byte) ? static_cast<char>(byte) : '.';
    }
    return line;
}

}  // namespace

void Screen::add(std::span<const std::uint8_t> bytes)
{
    if (bytes.size() > most_bytes) {
        dropped_ += bytes.size() - most_bytes;
        bytes = bytes.last(most_bytes);
    }
    const bool drops = bytes_.size() + bytes.size() > most_bytes;
    if (drops) {
        // whole lines of the hexadecimal view
        const std::size_t room = std::min(bytes_.size(), (std::max(bytes.size(), most_bytes / 2) + line_bytes - 1) /
                                                             line_bytes * line_bytes);
        bytes_.erase(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(room));
        dropped_ += room;
    }
    for (const std::uint8_t byte : bytes) {
        bytes_.push_back(byte);
        if (!drops) {
            show(byte);
        }
    }
    if (drops) {
        show_anew();
    }
}

void Screen::clear()
{
    bytes_.clear();
    dropped_ = 0;
    show_anew();
}

void Screen::set_hexadecimal(bool on)
{
    if (on != hexadecimal_) {
        hexadecimal_ = on;
        show_anew();
    }
}

void Screen::show_anew()
{
    change_ = {};
    change_.anew = true;
    after_cr_ = false;
    line_length_ = 0;
    hex_line_.clear();
    std::deque<std::uint8_t> all;
    all.swap(bytes_);
    for (const std::uint8_t byte : all) {
        bytes_.push_back(byte);
        show(byte);
    }
}

void Screen::remove_last()
{
    if (!change_.added.empty()) {
        change_.added.pop_back();
    } else {
        ++change_.removed;
    }
}

void Screen::show(std::uint8_t byte)
{
    if (hexadecimal_) {
        for (std::size_t at = 0; at < hex_line_.size(); ++at) {
            remove_last();
        }
        const std::size_t begun = (bytes_.size() - 1) % line_bytes + 1;
        std::uint8_t line[line_bytes];
        std::copy(bytes_.end() - static_cast<std::ptrdiff_t>(begun), bytes_.end(), line);
        hex_line_ = hex_line(dropped_ + bytes_.size() - begun, std::span(line, begun));
        change_.added += hex_line_;
        if (begun == line_bytes) {
            change_.added += new_line;
            hex_line_.clear();
        }
        return;
    }
    const bool ends_pair = byte == '\n' && after_cr_;
    after_cr_ = byte == '\r';
    if (byte == '\r' || (byte == '\n' && !ends_pair)) {
        change_.added += new_line;
        line_length_ = 0;
    } else if (byte == '\b') {
        if (line_length_ != 0) {
            --line_length_;
            remove_last();
        }
    } else if (!ends_pair) {
        change_.added += is_shown(byte) || byte == '\t' ? static_cast<char>(byte) : '.';
        ++line_length_;
    }
}

Screen::Change Screen::take_change() { return std::exchange(change_, {}); }

}  // namespace vex::terminal
