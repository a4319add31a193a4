#include "tools/pvctl/text_table.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace pvctl {

namespace {

constexpr std::size_t column_gap = 2;

bool begins_character(char byte) { return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80; }

/// Characters of UTF-8 text.
std::size_t length_of(const std::string& text)
{
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), begins_character));
}

/// At most `width` characters of it, with a mark where something is missing.
std::string cut(const std::string& text, std::size_t width)
{
    if (length_of(text) <= width) {
        return text;
    }
    std::size_t at = 0;
    for (std::size_t characters = 0; characters < width; ++at) {
        characters += begins_character(text[at]) ? 1 : 0;
    }
    return text.substr(0, at - 1) + '~';
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

/// Takes from the widest columns that may be cut what the table is too wide; false when that is not enough. Columns of
/// width 0 are left out.
bool TextTable::fit(std::vector<std::size_t>& widths, std::size_t width) const
{
    std::size_t all = 0;
    for (const std::size_t one : widths) {
        all += one != 0 ? one + column_gap : 0;
    }
    for (all -= std::min(all, column_gap); all > width; --all) {
        std::size_t* widest = nullptr;
        for (const auto& [column, least] : cuttable_) {
            if (widths[column] > least && (widest == nullptr || widths[column] > *widest)) {
                widest = &widths[column];
            }
        }
        if (widest == nullptr) {
            return false;
        }
        --*widest;
    }
    return true;
}

std::string TextTable::text(std::size_t width) const
{
    std::vector<std::size_t> whole(rows_.front().size());
    for (const auto& row : rows_) {
        for (std::size_t column = 0; column < whole.size(); ++column) {
            whole[column] = std::max(whole[column], length_of(row[column]));
        }
    }
    std::vector<std::size_t> widths = whole;
    for (std::size_t dropped = 0; width != 0 && !fit(widths, width) && dropped < droppable_.size(); ++dropped) {
        whole[droppable_[dropped]] = 0;
        widths = whole;
    }
    std::string text;
    for (const auto& row : rows_) {
        std::string line;
        for (std::size_t column = 0; column < widths.size(); ++column) {
            if (widths[column] != 0) {
                const std::string cell = cut(row[column], widths[column]);
                line += cell + std::string(widths[column] - length_of(cell) + column_gap, ' ');
            }
        }
        text += line.substr(0, line.find_last_not_of(' ') + 1) + '\n';
    }
    return text;
}

}  // namespace pvctl
