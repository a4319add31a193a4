#include "tools/softcam/state_file.h"

#include <array>
#include <charconv>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <stdexcept>
#include <string_view>

#include "sdk/base/address.h"
#include "sdk/base/whole_file.h"
#include "sdk/wire/bootstrap.h"

using namespace vex;

namespace softcam {

namespace {

namespace reg = wire::bootstrap;

constexpr std::string_view name_key = "user_defined_name";
constexpr std::string_view methods_key = "ip_configuration";

struct AddressEntry {
    std::string_view key;
    std::uint32_t address;
};
constexpr AddressEntry addresses[] = {
    {"persistent_ip", reg::persistent_ip},
    {"persistent_mask", reg::persistent_mask},
    {"persistent_gateway", reg::persistent_gateway},
};

// All methods there are; more in a file is a mistake.
constexpr std::uint32_t largest_methods = 7;

std::string escaped(std::string_view text)
{
    std::string result;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte > 0x20 && byte < 0x7F && c != '%') {
            result += c;
        } else {
            char code[4];
            std::snprintf(code, sizeof code, "%%%02X", byte);
            result += code;
        }
    }
    return result;
}

std::optional<std::string> unescaped(std::string_view text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            result += text[i];
            continue;
        }
        unsigned byte = 0;
        const char* const digits = text.data() + i + 1;
        if (text.size() - i < 3 || std::from_chars(digits, digits + 2, byte, 16).ptr != digits + 2) {
            return std::nullopt;
        }
        result += static_cast<char>(byte);
        i += 2;
    }
    return result.size() <= reg::user_defined_name_length ? std::optional(result) : std::nullopt;
}

using Lines = std::map<std::string, std::string, std::less<>>;

Lines lines_of(std::ifstream& file)
{
    Lines lines;
    for (std::string line; std::getline(file, line);) {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (const std::size_t middle = line.find(" = "); middle != std::string::npos) {
            lines[line.substr(0, middle)] = line.substr(middle + 3);
        } else if (!line.empty()) {
            throw std::runtime_error("\"" + line + "\"");
        }
    }
    return lines;
}

}  // namespace

void StateFile::load(virtual_device::RegisterMap& registers) const
{
    std::error_code ignored;
    if (path_.empty() || !std::filesystem::exists(path_, ignored)) {
        return;
    }
    const auto fail = [this](const std::string& what) {
        throw std::runtime_error("cannot use the state file \"" + path_ + "\": " + what);
    };
    std::ifstream file(path_, std::ios::binary);
    if (!file || std::filesystem::is_directory(path_, ignored)) {
        fail("it cannot be read");
    }
    Lines lines;
    try {
        lines = lines_of(file);
    } catch (const std::runtime_error& error) {
        fail(std::string(error.what()) + " is no setting");
    }
    std::map<std::uint32_t, std::uint32_t> values;
    for (const auto& [key, address] : addresses) {
        if (const auto line = lines.find(key); line != lines.end()) {
            const auto parsed = Ipv4Address::parse(line->second);
            if (!parsed) {
                fail("\"" + line->second + "\" is no address");
            }
            values[address] = parsed->value;
        }
    }
    if (const auto line = lines.find(methods_key); line != lines.end()) {
        std::uint32_t methods = 0;
        const char* const end = line->second.data() + line->second.size();
        const auto [rest, error] = std::from_chars(line->second.data(), end, methods);
        if (error != std::errc{} || rest != end || methods > largest_methods) {
            fail("\"" + line->second + "\" is no address configuration");
        }
        values[reg::current_ip_configuration] = methods;
    }
    if (const auto line = lines.find(name_key); line != lines.end()) {
        const auto name = unescaped(line->second);
        if (!name) {
            fail("\"" + line->second + "\" is no name");
        }
        registers.set_text(reg::user_defined_name, *name);
    }
    for (const auto& [address, value] : values) {
        registers.set_value(address, value);
    }
}

virtual_device::Status StateFile::save(const virtual_device::RegisterMap& registers) const
{
    if (path_.empty()) {
        return virtual_device::Status::success;
    }
    std::string text = std::string(name_key) + " = " + escaped(registers.text(reg::user_defined_name)) + "\n" +
                       std::string(methods_key) + " = " +
                       std::to_string(registers.value(reg::current_ip_configuration)) + "\n";
    for (const auto& [key, address] : addresses) {
        text += std::string(key) + " = " + Ipv4Address{registers.value(address)}.to_string() + "\n";
    }
    const std::span<const std::uint8_t> bytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size());
    return write_whole_file(PvString(path_), bytes).IsOK() ? virtual_device::Status::success
                                                           : virtual_device::Status::error;
}

}  // namespace softcam
