// A kept file: a head that says what it is, the check sum of what follows, and the bytes.

#include "sdk/description/description_cache.h"

#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string_view>
#include <system_error>

#include "sdk/base/whole_file.h"
#include "sdk/description/file_path.h"

namespace vex::description {

namespace {

constexpr std::size_t sum_digits = 8;

/// The same for the same key, and for no other: each text goes with its length.
std::string head_of(const CacheKey& key)
{
    std::string head = "device description, format 1\n";
    for (const std::string* text : {&key.vendor, &key.model, &key.device_version, &key.url}) {
        head += std::to_string(text->size()) + ' ' + *text + '\n';
    }
    return head + std::to_string(key.length) + " bytes\n";
}

std::string sum_of(std::span<const std::uint8_t> file)
{
    char digits[sum_digits + 1];
    const auto sum = ::crc32(0, file.data(), static_cast<uInt>(file.size()));
    std::snprintf(digits, sizeof digits, "%08lX", static_cast<unsigned long>(sum));
    return digits;
}

/// Nothing of what a device says becomes part of a name.
std::string name_of(std::string_view head)
{
    std::uint64_t hash = 0xCBF29CE484222325;  // FNV-1a
    for (const char c : head) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    }
    char name[40];
    std::snprintf(name, sizeof name, "%016llX.description", static_cast<unsigned long long>(hash));
    return name;
}

std::filesystem::path path_in(const std::string& folder, std::string_view head)
{
    return file_path(PvString(std::string_view(folder))) / name_of(head);
}

/// The next bytes of the file are these.
bool has_next(std::ifstream& file, std::string_view expected)
{
    std::string bytes(expected.size(), '\0');
    return file.read(bytes.data(), static_cast<std::streamsize>(bytes.size())) && bytes == expected;
}

}  // namespace

std::optional<std::vector<std::uint8_t>> read_cached(const std::string& folder, const CacheKey& key)
{
    const std::string head = head_of(key);
    const std::filesystem::path path = path_in(folder, head);
    std::error_code error;
    if (std::filesystem::file_size(path, error) != head.size() + sum_digits + key.length || error) {
        return std::nullopt;
    }
    std::ifstream file(path, std::ios::binary);
    std::string sum(sum_digits, '\0');
    std::vector<std::uint8_t> bytes(key.length);
    if (!has_next(file, head) || !file.read(sum.data(), static_cast<std::streamsize>(sum.size())) ||
        !file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size())) ||
        sum != sum_of(bytes)) {
        return std::nullopt;
    }
    return bytes;
}

void write_cached(const std::string& folder, const CacheKey& key, std::span<const std::uint8_t> file)
{
    const std::string head = head_of(key);
    const std::string sum = sum_of(file);
    std::vector<std::uint8_t> bytes;
    bytes.reserve(head.size() + sum.size() + file.size());
    bytes.insert(bytes.end(), head.begin(), head.end());
    bytes.insert(bytes.end(), sum.begin(), sum.end());
    bytes.insert(bytes.end(), file.begin(), file.end());
    static_cast<void>(write_whole_file(PvString(std::string_view(folder + '/' + name_of(head))), bytes));
}

}  // namespace vex::description
