#include "tools/pvctl/fact_sheet.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "tools/pvctl/console.h"
#include "tools/pvctl/text_table.h"

namespace pvctl {

namespace {

std::string with_blanks(std::string name)
{
    std::ranges::replace(name, '_', ' ');
    return name;
}

std::string text_of(const Json& value)
{
    if (value.is_string()) {
        return value.get<std::string>();
    }
    if (value.is_boolean()) {
        return value.get<bool>() ? "yes" : "no";
    }
    if (!value.is_array()) {
        return value.dump();
    }
    std::string text;
    for (const Json& one : value) {
        text += (text.empty() ? "" : ", ") + text_of(one);
    }
    return text.empty() ? "none" : text;
}

/// A long list has a line for each entry.
std::vector<std::string> lines_of(const Json& value)
{
    constexpr std::size_t long_line = 60;
    std::string text = text_of(value);
    if (!value.is_array() || text.size() <= long_line) {
        return {std::move(text)};
    }
    return value.get<std::vector<std::string>>();
}

}  // namespace

void FactSheet::add(const std::string& name, Json value, std::string text)
{
    lines_[section_][name] = text.empty() ? lines_of(value) : std::vector{std::move(text)};
    values_[section_][name] = std::move(value);
}

void FactSheet::print() const
{
    constexpr std::size_t least = 20;
    TextTable table({"", ""});
    table.may_cut(1, least);
    for (const auto& [section, facts] : lines_.items()) {
        table.add({with_blanks(section), ""});
        for (const auto& [name, lines] : facts.items()) {
            std::string label = "  " + with_blanks(name);
            for (const Json& line : lines) {
                table.add({std::exchange(label, ""), line.get<std::string>()});
            }
        }
    }
    // the header is empty
    std::fputs(table.text(output_width()).c_str() + 1, stdout);
}

}  // namespace pvctl
