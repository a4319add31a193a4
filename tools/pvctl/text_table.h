// Tables for people to read on a terminal.
#pragma once

#include <string>
#include <vector>

namespace pvctl {

/// Rows of texts, each column as wide as its longest text. What could move the cursor or change a terminal's colours is
/// replaced by '?', because texts come from cameras.
class TextTable {
public:
    explicit TextTable(std::vector<std::string> header) : rows_{std::move(header)} {}

    /// As many cells as the header has.
    void add(std::vector<std::string> row);
    /// With a line feed after each row.
    [[nodiscard]] std::string text() const;

private:
    std::vector<std::vector<std::string>> rows_;
};

/// The text without control characters.
[[nodiscard]] std::string printable(std::string text);

}  // namespace pvctl
