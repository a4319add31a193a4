#include "sdk/browser/details.h"

#include <algorithm>
#include <cstdint>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "sdk/base/numbers.h"
#include "sdk/browser/editing.h"

namespace vex::browser {

namespace {

constexpr std::string_view line_end = "\r\n";

std::string joined(const std::vector<std::string>& parts)
{
    std::string text;
    for (const std::string& part : parts) {
        text += (text.empty() ? "" : ", ") + part;
    }
    return text;
}

class Lines {
public:
    void add(std::string_view line)
    {
        if (!line.empty()) {
            text_ += text_.empty() ? "" : line_end;
            text_ += line;
        }
    }
    void add(std::string_view name, std::string_view value)
    {
        if (!value.empty()) {
            add(std::string(name) + ": " + std::string(value));
        }
    }
    [[nodiscard]] std::string take() && { return std::move(text_); }

private:
    std::string text_;
};

std::string_view name_of(PvGenType type)
{
    switch (type) {
    case PvGenTypeInteger: return "Integer";
    case PvGenTypeEnum: return "Enumeration";
    case PvGenTypeBoolean: return "Boolean";
    case PvGenTypeString: return "String";
    case PvGenTypeCommand: return "Command";
    case PvGenTypeFloat: return "Float";
    case PvGenTypeRegister: return "Register";
    case PvGenTypeUndefined: break;
    }
    return "";
}

std::string_view name_of(PvGenVisibility visibility)
{
    switch (visibility) {
    case PvGenVisibilityBeginner: return "Beginner";
    case PvGenVisibilityExpert: return "Expert";
    case PvGenVisibilityGuru: return "Guru";
    case PvGenVisibilityInvisible: return "Invisible";
    case PvGenVisibilityUndefined: break;
    }
    return "";
}

std::string_view name_of(PvGenNameSpace name_space)
{
    return name_space == PvGenNameSpaceStandard ? "Standard" : "Custom";
}

/// What a description says: the longer text where there is one.
void add_meaning(Lines& lines, const std::string& tool_tip, const std::string& description)
{
    lines.add(description.empty() ? tool_tip : description);
}

void add_limits(Lines& lines, const Feature& feature, const Reading& reading)
{
    if (!GenApi::is_available(reading.access)) {
        return;
    }
    const std::string unit = feature.unit.empty() ? "" : " " + feature.unit;
    if (feature.type == PvGenTypeInteger) {
        lines.add("Range", integer_text(reading.min, feature.representation) + " to " +
                               integer_text(reading.max, feature.representation) + unit);
        if (reading.increment > 1) {
            lines.add("Increment", to_text(reading.increment) + unit);
        }
        std::vector<std::string> valid;
        for (const std::int64_t value : reading.valid_values) {
            valid.push_back(integer_text(value, feature.representation));
        }
        lines.add("Valid values", joined(valid));
    } else if (feature.type == PvGenTypeFloat) {
        lines.add("Range", float_text(reading.least) + " to " + float_text(reading.most) + unit);
    } else if (feature.type == PvGenTypeEnum) {
        lines.add("Entries", joined(reading.entries));
    } else if (feature.type == PvGenTypeString && reading.length > 0) {
        lines.add("Longest text", to_text(reading.length) + " bytes");
    } else if (feature.type == PvGenTypeRegister && reading.length > 0) {
        lines.add("Length", to_text(reading.length) + " bytes");
    }
}

/// The bytes of a register, sixteen on a line after the offset of the first.
void add_bytes(Lines& lines, std::span<const std::uint8_t> bytes)
{
    constexpr std::size_t of_a_line = 16;
    constexpr std::size_t most = 4096;
    for (std::size_t offset = 0; offset < std::min(bytes.size(), most); offset += of_a_line) {
        const std::uint8_t place[] = {static_cast<std::uint8_t>(offset >> 8), static_cast<std::uint8_t>(offset)};
        std::string name = hex_text(place);
        name.erase(2, 1);
        lines.add(name, hex_text(bytes.subspan(offset, std::min(of_a_line, bytes.size() - offset))));
    }
    if (bytes.size() > most) {
        lines.add("\xE2\x80\xA6");
    }
}

/// Why the value is not what it could be.
std::string_view hindrance(const Reading& reading)
{
    if (!reading.failure.empty()) {
        return reading.failure;
    }
    switch (reading.access) {
    case GenApi::AccessMode::not_implemented: return "The device does not have this feature.";
    case GenApi::AccessMode::not_available: return "Not available in the device's present state.";
    case GenApi::AccessMode::write_only: return "This feature can only be written.";
    case GenApi::AccessMode::read_only:
        return reading.is_locked ? "Locked as long as the acquisition runs." : "This feature can only be read.";
    case GenApi::AccessMode::read_write: break;
    }
    return "";
}

}  // namespace

std::string access_text(const Reading* reading)
{
    if (reading == nullptr) {
        return "";
    }
    switch (reading->access) {
    case GenApi::AccessMode::not_implemented: return "Not implemented";
    case GenApi::AccessMode::not_available: return "Not available";
    case GenApi::AccessMode::write_only: return "Write only";
    case GenApi::AccessMode::read_only: return reading->is_locked ? "Locked" : "Read only";
    case GenApi::AccessMode::read_write: break;
    }
    return "Read/write";
}

std::string details(const Feature& feature, const Reading* reading)
{
    Lines lines;
    add_meaning(lines, feature.tool_tip, feature.description);
    if (reading != nullptr && feature.type != PvGenTypeCommand) {
        lines.add(hindrance(*reading));
    } else if (reading != nullptr && !GenApi::is_writable(reading->access)) {
        lines.add("This command cannot be executed at present.");
    }
    if (reading != nullptr) {
        add_limits(lines, feature, *reading);
    }
    lines.add("Selects", joined(feature.selected));
    lines.add("Selected by", joined(feature.selecting));
    lines.add("Name", feature.name);
    std::string kind(name_of(feature.type));
    kind += ", " + std::string(name_of(feature.name_space)) + ", " + std::string(name_of(feature.visibility));
    lines.add("Kind", kind);
    if (reading != nullptr) {
        add_bytes(lines, reading->bytes);
    }
    return std::move(lines).take();
}

std::string details(const Category& category)
{
    Lines lines;
    add_meaning(lines, category.tool_tip, category.description);
    lines.add("Name", category.name);
    lines.add("Kind", "Category, " + std::string(name_of(category.name_space)) + ", " +
                          std::string(name_of(category.visibility)));
    return std::move(lines).take();
}

}  // namespace vex::browser
