#include "sdk/description/manifest_choice.h"

#include <array>
#include <tuple>
#include <vector>

namespace vex::description {

namespace manifest = wire::manifest;

namespace {

/// GenApi 1.1 in all its parts, and what came before it.
constexpr manifest::Version oldest_schema{1, 0, 0};
constexpr manifest::Version newest_schema{1, 1, 0};

}  // namespace

bool is_usable(const manifest::Version& schema, std::uint64_t length) noexcept
{
    return schema >= oldest_schema && schema <= newest_schema && length <= largest_stored_description;
}

PvResult choose_from_manifest(const DeviceMemory& device, std::optional<manifest::Entry>& entry)
{
    constexpr std::uint64_t table = wire::bootstrap::manifest_table;
    std::array<std::uint8_t, manifest::count_size> head{};
    if (PvResult result = device.read(table, head); !result.IsOK()) {
        return result;
    }
    const auto count = manifest::decode_count(head);
    if (!count) {
        return PvResult::OK;
    }
    std::vector<std::uint8_t> bytes(*count * manifest::entry_size);
    if (PvResult result = device.read(table + manifest::count_size, bytes); !result.IsOK()) {
        return result;
    }
    for (std::size_t i = 0; i < *count; ++i) {
        const auto candidate =
            manifest::decode_entry(std::span(bytes).subspan(i * manifest::entry_size).first<manifest::entry_size>());
        if (candidate && is_usable(candidate->schema, candidate->length) &&
            (!entry || std::tie(candidate->schema, candidate->file) > std::tie(entry->schema, entry->file))) {
            entry = candidate;
        }
    }
    return PvResult::OK;
}

}  // namespace vex::description
