#include "sdk/wire/manifest.h"

#include <algorithm>

#include "sdk/wire/bytes.h"

namespace vex::wire::manifest {

namespace {

constexpr int format_shift = 10;
constexpr std::uint32_t format_mask = 0x3F;
constexpr std::uint64_t end_of_memory = std::uint64_t{1} << 32;

}  // namespace

std::optional<std::size_t> decode_count(std::span<const std::uint8_t, count_size> bytes) noexcept
{
    const std::uint64_t count = load_be64(bytes.data());
    return count >= 1 && count <= most_entries ? std::optional(static_cast<std::size_t>(count)) : std::nullopt;
}

std::optional<LongEntry> decode_long_entry(std::span<const std::uint8_t, entry_size> bytes) noexcept
{
    const std::uint32_t file = load_be32(&bytes[0]);
    const std::uint32_t kind = load_be32(&bytes[4]);
    const std::uint64_t address = load_be64(&bytes[8]);
    const std::uint64_t length = load_be64(&bytes[16]);
    const std::uint32_t format = kind >> format_shift & format_mask;
    if (format > static_cast<std::uint32_t>(Format::zip) || length == 0 || address + length < address) {
        return std::nullopt;
    }
    return LongEntry{.file = {file >> 24, file >> 16 & 0xFF, file & 0xFFFF},
                     .schema = {kind >> 24, kind >> 16 & 0xFF, 0},
                     .format = static_cast<Format>(format),
                     .address = address,
                     .length = length};
}

std::optional<Entry> decode_entry(std::span<const std::uint8_t, entry_size> bytes) noexcept
{
    const auto entry = decode_long_entry(bytes);
    if (!entry || entry->address >= end_of_memory || entry->length > end_of_memory - entry->address ||
        entry->length >= end_of_memory) {
        return std::nullopt;
    }
    return Entry{.file = entry->file,
                 .schema = entry->schema,
                 .format = entry->format,
                 .address = static_cast<std::uint32_t>(entry->address),
                 .length = static_cast<std::uint32_t>(entry->length)};
}

void encode_count(std::size_t count, std::span<std::uint8_t, count_size> bytes) noexcept
{
    store_be64(bytes.data(), count);
}

void encode_entry(const Entry& entry, std::span<std::uint8_t, entry_size> bytes) noexcept
{
    std::ranges::fill(bytes, std::uint8_t{0});
    store_be32(&bytes[0], entry.file.major << 24 | entry.file.minor << 16 | entry.file.sub_minor);
    store_be32(&bytes[4], entry.schema.major << 24 | entry.schema.minor << 16 |
                              static_cast<std::uint32_t>(entry.format) << format_shift);
    store_be64(&bytes[8], entry.address);
    store_be64(&bytes[16], entry.length);
}

}  // namespace vex::wire::manifest
