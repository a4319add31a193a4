// Tables for people to read on a terminal.
#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace pvctl {

/// Rows of texts, each column as wide as its longest text. What could move the cursor or change a terminal's colours is
/// replaced by '?', because texts come from cameras.
class TextTable {
public:
    explicit TextTable(std::vector<std::string> header) : rows_{std::move(header)} {}

    /// As many cells as the header has.
    void add(std::vector<std::string> row);

    /// Where the table is too wide, texts of this column are cut down to `least` characters, the longest column first.
    void may_cut(std::size_t column, std::size_t least) { cuttable_.emplace_back(column, least); }
    /// Where that is not enough, this column is left out, those named first before the others.
    void may_drop(std::size_t column) { droppable_.push_back(column); }

    /// With a line feed after each row; lines of at most `width` characters if the columns can be made to fit, 0 for
    /// any width.
    [[nodiscard]] std::string text(std::size_t width = 0) const;

private:
    [[nodiscard]] bool fit(std::vector<std::size_t>& widths, std::size_t width) const;

    std::vector<std::vector<std::string>> rows_;
    std::vector<std::pair<std::size_t, std::size_t>> cuttable_;
    std::vector<std::size_t> droppable_;
};

/// The text without control characters.
[[nodiscard]] std::string printable(std::string text);

}  // namespace pvctl
