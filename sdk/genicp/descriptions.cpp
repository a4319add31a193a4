#include "sdk/genicp/descriptions.h"

#include <array>
#include <cstddef>
#include <optional>
#include <span>
#include <tuple>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/base/numbers.h"
#include "sdk/description/description_source.h"
#include "sdk/description/manifest_choice.h"
#include "sdk/description/zip.h"
#include "sdk/genapi/errors.h"
#include "sdk/genicp/camera_folder.h"

namespace vex::genicp {

namespace manifest = wire::manifest;

namespace {

constexpr std::array<std::string_view, 2> description_suffixes = {".xml", ".zip"};

PvResult unpack(std::string_view identifier, std::span<const std::uint8_t> bytes, std::string& xml)
{
    try {
        xml = description::load_description(bytes);
        return PvResult::OK;
    } catch (const GenApi::Error& error) {
        return failure(PvResult::GenICamXMLError, "The description \"", identifier,
                       "\" cannot be used: ", std::string_view(error.what()));
    }
}

/// Whether the identifier is one of the device's; `index` of the manifest's entry, empty for the best.
bool is_of_device(std::string_view identifier, std::optional<std::size_t>& index)
{
    index.reset();
    if (identifier.empty() || identifier == device_description) {
        return true;
    }
    if (!identifier.starts_with(device_description) || identifier[device_description.size()] != ':') {
        return false;
    }
    const auto number = parse_integer(identifier.substr(device_description.size() + 1));
    if (number && *number >= 0) {
        index = static_cast<std::size_t>(*number);
    }
    return index.has_value();
}

const manifest::LongEntry& best_of(const std::vector<manifest::LongEntry>& entries)
{
    const manifest::LongEntry* best = &entries.front();
    for (const manifest::LongEntry& entry : entries) {
        if (std::tie(entry.schema, entry.file) > std::tie(best->schema, best->file)) {
            best = &entry;
        }
    }
    return *best;
}

PvResult read_from_device(Connection* connection, std::string_view identifier, std::optional<std::size_t> index,
                          std::string& xml)
{
    if (connection == nullptr) {
        return failure(PvResult::NotConnected,
                       "The description is in the device, which is not connected: connect first, or build from a file");
    }
    std::vector<manifest::LongEntry> entries;
    if (PvResult result = read_manifest(*connection, entries); !result.IsOK()) {
        return result;
    }
    if (index && *index >= entries.size()) {
        return failure(PvResult::NotFound, connection->name(), ": the manifest has no entry ", *index);
    }
    const manifest::LongEntry& entry = index ? entries[*index] : best_of(entries);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(entry.length));
    if (PvResult result = connection->read(entry.address, bytes); !result.IsOK()) {
        return result;
    }
    return unpack(identifier.empty() ? device_description : identifier, bytes, xml);
}

}  // namespace

PvResult read_manifest(Connection& connection, std::vector<manifest::LongEntry>& entries)
{
    entries.clear();
    const std::uint64_t table = connection.facts().manifest_table;
    const PvResult none = failure(PvResult::NotFound, connection.name(),
                                  ": the device has no description in its manifest that can be used");
    if (table == 0) {
        return none;
    }
    std::array<std::uint8_t, manifest::count_size> head{};
    if (PvResult result = connection.read(table, head); !result.IsOK()) {
        return result;
    }
    const auto count = manifest::decode_count(head);
    std::vector<std::uint8_t> bytes(count.value_or(0) * manifest::entry_size);
    if (PvResult result = connection.read(table + manifest::count_size, bytes); !result.IsOK()) {
        return result;
    }
    for (std::span<const std::uint8_t> rest = bytes; !rest.empty(); rest = rest.subspan(manifest::entry_size)) {
        const auto entry = manifest::decode_long_entry(rest.first<manifest::entry_size>());
        if (entry && description::is_usable(entry->schema, entry->length)) {
            entries.push_back(*entry);
        }
    }
    return entries.empty() ? none : PvResult(PvResult::OK);
}

PvResult list_descriptions(Connection* connection, const std::string& folder, std::vector<std::string>& identifiers)
{
    identifiers.clear();
    PvResult result;
    if (connection != nullptr) {
        std::vector<manifest::LongEntry> entries;
        result = read_manifest(*connection, entries);
        if (!entries.empty()) {
            identifiers.emplace_back(device_description);
        }
        // one entry is what the best is anyway
        for (std::size_t index = 0; entries.size() > 1 && index < entries.size(); ++index) {
            identifiers.push_back(std::string(device_description) + ":" + std::to_string(index));
        }
    }
    for (std::string& name : files_of_folder(folder, description_suffixes)) {
        identifiers.push_back(std::move(name));
    }
    // a device without a manifest is one that wants a file
    return result.GetCode() == PvResult::NotFound ? PvResult(PvResult::OK) : result;
}

PvResult read_description(Connection* connection, const std::string& folder, std::string_view identifier,
                          std::string& xml)
{
    std::optional<std::size_t> index;
    if (is_of_device(identifier, index)) {
        return read_from_device(connection, identifier, index, xml);
    }
    std::vector<std::uint8_t> bytes;
    if (PvResult result = read_file_of_folder(identifier, folder, description::largest_stored_description, bytes);
        !result.IsOK()) {
        return result;
    }
    return unpack(identifier, bytes, xml);
}

}  // namespace vex::genicp
