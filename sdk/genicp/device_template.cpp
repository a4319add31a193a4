#include "sdk/genicp/device_template.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/base/numbers.h"
#include "sdk/genicp/camera_folder.h"

namespace vex::genicp {

namespace {

/// The next line of `text`, without blanks at its ends, which is taken off it.
std::string_view take_line(std::string_view& text)
{
    const std::size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    return trimmed(line);
}

std::optional<std::uint32_t> number_of(std::string_view text)
{
    const auto number = parse_integer(text);
    return number && *number > 0 && *number <= PvSerialPortConfiguration::highest_baud_rate
               ? std::optional(static_cast<std::uint32_t>(*number))
               : std::nullopt;
}

bool read_baud_rates(std::string_view text, std::vector<std::uint32_t>& rates)
{
    constexpr std::string_view between = " \t,";
    rates.clear();
    while (!text.empty()) {
        const std::size_t end = text.find_first_of(between);
        if (end != 0) {
            const auto rate = number_of(text.substr(0, end));
            if (!rate || rates.size() == most_baud_rates) {
                return false;
            }
            rates.push_back(*rate);
        }
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
    }
    return !rates.empty();
}

bool read_parity(std::string_view text, PvParity& parity)
{
    if (text == "None") {
        parity = PvParityNone;
    } else if (text == "Even") {
        parity = PvParityEven;
    } else if (text == "Odd") {
        parity = PvParityOdd;
    } else {
        return false;
    }
    return true;
}

bool read_number(std::string_view text, std::uint32_t& number)
{
    const auto read = number_of(text);
    number = read.value_or(0);
    return read.has_value();
}

bool read_setting(std::string_view key, std::string_view value, DeviceTemplate& made)
{
    if (key == "BaudRates") {
        return read_baud_rates(value, made.baud_rates);
    }
    if (key == "Parity") {
        return read_parity(value, made.line.Parity);
    }
    if (key == "ByteSize") {
        return read_number(value, made.line.ByteSize);
    }
    if (key == "StopBits") {
        return read_number(value, made.line.StopBits);
    }
    if (key == "Manufacturer") {
        made.manufacturer = value;
        return true;
    }
    if (key == "Model") {
        made.model = value;
        return true;
    }
    return false;
}

std::vector<std::string> template_files(const std::string& folder)
{
    constexpr std::array suffixes = {template_suffix};
    return files_of_folder(folder, suffixes);
}

/// A file's name without the suffix, in whatever case that is.
std::string_view stem_of(std::string_view file) noexcept
{
    return file.substr(0, file.size() - template_suffix.size());
}

}  // namespace

PvResult parse_template(std::string_view text, DeviceTemplate& made)
{
    DeviceTemplate read;
    for (int number = 1; !text.empty(); ++number) {
        const std::string_view line = take_line(text);
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const std::size_t equals = line.find('=');
        const bool understood = equals != std::string_view::npos &&
                                read_setting(trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1)), read);
        if (!understood) {
            return failure(PvResult::InvalidDataFormat, "Line ", number, " of the template, \"", line,
                           "\", is no setting that a template has");
        }
    }
    if (const PvResult line = read.line.IsValid(); !line.IsOK()) {
        return failure(PvResult::InvalidDataFormat, "The template's line is not valid: ", line.description());
    }
    read.name = std::move(made.name);
    made = std::move(read);
    return PvResult::OK;
}

std::vector<std::string> template_names(const std::string& folder)
{
    std::vector<std::string> names{std::string(built_in_template)};
    for (const std::string& file : template_files(folder)) {
        if (stem_of(file) != built_in_template) {
            names.emplace_back(stem_of(file));
        }
    }
    return names;
}

PvResult find_template(std::string_view name, const std::string& folder, DeviceTemplate& found)
{
    if (name.empty() || name == built_in_template) {
        found = DeviceTemplate();
        found.name = built_in_template;
        return PvResult::OK;
    }
    const std::vector<std::string> files = template_files(folder);
    const auto file = std::ranges::find(files, name, [](const std::string& each) { return stem_of(each); });
    if (file == files.end()) {
        return failure(PvResult::NotFound, "There is no device template \"", name, "\" in the folder \"", folder, "\"");
    }
    std::vector<std::uint8_t> bytes;
    if (PvResult read = read_file_of_folder(*file, folder, longest_template, bytes); !read.IsOK()) {
        return read;
    }
    DeviceTemplate made;
    made.name = name;
    const std::string text(bytes.begin(), bytes.end());
    if (const PvResult parsed = parse_template(text, made); !parsed.IsOK()) {
        return failure(parsed.GetCode(), "The device template \"", name, "\": ", parsed.description());
    }
    found = std::move(made);
    return PvResult::OK;
}

}  // namespace vex::genicp
