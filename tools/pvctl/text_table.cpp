#include "tools/pvctl/text_table.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace pvctl {

namespace {

/// Characters of UTF-8 text.
std::size_t length_of(const std::string& text)
{
    const auto begins = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80; };
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), begins));
}

}  // namespace

std::string printable(std::string text)
{
    const auto is_control = [](char byte) { return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F; };
    std::replace_if(text.begin(), text.end(), is_control, '?');
    // the controls from U+0080 to U+009F
    for (std::size_t at = text.find('\xC2'); at != std::string::npos; at = text.find('\xC2', at + 1)) {
        if (at + 1 < text.size() && static_cast<unsigned char>(text[at + 1]) < 0xA0) {
            text.replace(at, 2, "?");
        }
    }
    return text;
}

void TextTable::add(std::vector<std::string> row)
{
    for (std::string& cell : row) {
        cell = printable(std::move(cell));
    }
    rows_.push_back(std::move(row));
}

std::string TextTable::text() const
{
    std::vector<std::size_t> widths(rows_.front().size());
    for (const auto& row : rows_) {
        for (std::size_t column = 0; column < widths.size(); ++column) {
            widths[column] = std::max(widths[column], length_of(row[column]));
        }
    }
    std::string text;
    for (const auto& row : rows_) {
        std::string line;
        for (std::size_t column = 0; column < widths.size(); ++column) {
            line += row[column] + std::string(widths[column] - length_of(row[column]) + 2, ' ');
        }
        text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
    }
    return text;
}

}  // namespace pvctl
