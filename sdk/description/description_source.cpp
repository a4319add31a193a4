#include "sdk/description/description_source.h"

#include <algorithm>
#include <array>
#include <fstream>
#include <new>
#include <system_error>
#include <utility>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/base/trace.h"
#include "sdk/description/description_cache.h"
#include "sdk/description/description_url.h"
#include "sdk/description/http_get.h"
#include "sdk/description/manifest_choice.h"
#include "sdk/description/url_text.h"
#include "sdk/description/user_folder.h"
#include "sdk/description/zip.h"
#include "sdk/genapi/errors.h"
#include "sdk/wire/bootstrap.h"

namespace vex::description {

namespace {

/// "name.zip" as "name.xml"; characters that no file system wants as '_'.
std::string unpacked_name(std::string_view name)
{
    std::string result(name);
    for (char& c : result) {
        if (static_cast<unsigned char>(c) < 0x20 || std::string_view("<>:\"|?*").find(c) != std::string_view::npos) {
            c = '_';
        }
    }
    if (result.size() >= 4 && result[result.size() - 4] == '.') {
        result.resize(result.size() - 4);
    }
    if (result.empty() || result == "." || result == "..") {
        result = "device";
    }
    return result + ".xml";
}

/// A URL's note on the schema version is for whoever reads it, not a part of the address.
std::string_view without_schema_version(std::string_view url)
{
    const std::size_t query = url.rfind('?');
    const bool noted = query != std::string_view::npos && starts_with_word(url.substr(query + 1), "schemaversion=");
    return noted ? url.substr(0, query) : url;
}

void trace_source(const DeviceMemory& device, const std::string& source)
{
    trace::write(trace::Category::description, trace::Level::info,
                 [&] { return device.name + ": the description is read from " + source; });
}

PvResult unusable(const DeviceMemory& device, const std::string& why)
{
    return failure(PvResult::GenICamXMLError, "The GenICam description of the device ", device.name,
                   " cannot be used: ", why);
}

PvResult read_url(const DeviceMemory& device, std::uint32_t address, std::optional<DescriptionUrl>& url)
{
    std::array<std::uint8_t, wire::bootstrap::url_length> bytes{};
    if (PvResult result = device.read(address, bytes); !result.IsOK()) {
        return result;
    }
    const auto end = std::find(bytes.begin(), bytes.end(), std::uint8_t{0});
    const std::string text(bytes.begin(), end);
    url = parse_description_url(text);
    if (!url) {
        return unusable(device, trimmed(text).empty() ? "no URL says where it is"
                                                      : "its URL \"" + text + "\" has no usable address and length");
    }
    return PvResult::OK;
}

/// What was read from wherever it was, as a description.
PvResult unpack(const DeviceMemory& device, const DescriptionUrl& url, std::span<const std::uint8_t> bytes,
                Description& description)
{
    try {
        description.xml = description::load_description(bytes);
    } catch (const GenApi::Error& error) {
        return unusable(device, error.what());
    }
    description.name = unpacked_name(url.name);
    return PvResult::OK;
}

/// What the device says of itself; empty when it cannot be asked.
std::optional<CacheKey> key_of(const DeviceMemory& device, const DescriptionUrl& url)
{
    namespace bootstrap = wire::bootstrap;
    constexpr std::size_t end = bootstrap::device_version + bootstrap::device_version_length;
    std::array<std::uint8_t, end - bootstrap::manufacturer_name> bytes{};
    if (!device.read(bootstrap::manufacturer_name, bytes).IsOK()) {
        return std::nullopt;
    }
    const auto text = [&](std::uint32_t address, std::uint32_t length) {
        const auto field = std::span(bytes).subspan(address - bootstrap::manufacturer_name, length);
        return std::string(field.begin(), std::ranges::find(field, std::uint8_t{0}));
    };
    return CacheKey{.vendor = text(bootstrap::manufacturer_name, bootstrap::manufacturer_name_length),
                    .model = text(bootstrap::model_name, bootstrap::model_name_length),
                    .device_version = text(bootstrap::device_version, bootstrap::device_version_length),
                    .url = url.text,
                    .length = url.length};
}

/// The file begins and ends in the device as this one does. A packed one ends with the check sum of its content, and a
/// plain one begins with its versions: firmware that was changed without a word is found out, mostly.
bool is_in_device(const DeviceMemory& device, const DescriptionUrl& url, std::span<const std::uint8_t> file)
{
    std::array<std::uint8_t, 512> block{};
    const std::size_t size = std::min(block.size(), file.size());
    const auto holds = [&](std::size_t offset) {
        const auto read = std::span(block).first(size);
        return device.read(url.address + offset, read).IsOK() && std::ranges::equal(read, file.subspan(offset, size));
    };
    return holds(0) && holds(file.size() - size);
}

PvResult read_local(const DeviceMemory& device, const DescriptionUrl& url, const std::string& cache_folder,
                    Description& description)
{
    if (url.length == 0 || url.length > largest_stored_description) {
        return unusable(device,
                        "its URL \"" + url.text + "\" gives it a length of " + std::to_string(url.length) + " bytes");
    }
    const auto key = cache_folder.empty() ? std::nullopt : key_of(device, url);
    if (key) {
        const auto kept = read_cached(cache_folder, *key);
        if (kept && is_in_device(device, url, *kept)) {
            trace_source(device, "the copy kept for \"" + url.text + "\"");
            return unpack(device, url, *kept, description);
        }
    }
    trace_source(device, url.text);
    // read to where a text that is not packed stays: another copy of a large one takes its time
    std::string stored(url.length, '\0');
    const std::span bytes(reinterpret_cast<std::uint8_t*>(stored.data()), stored.size());
    if (PvResult result = device.read(url.address, bytes); !result.IsOK()) {
        return result;
    }
    Description unpacked;
    if (is_zip(bytes)) {
        if (PvResult result = unpack(device, url, bytes, unpacked); !result.IsOK()) {
            return result;
        }
    }
    if (key) {
        write_cached(cache_folder, *key, bytes);
    }
    if (unpacked.name.empty()) {
        unpacked = {unpacked_name(url.name), std::move(stored)};
    }
    description = std::move(unpacked);
    return PvResult::OK;
}

PvResult elsewhere(PvResult::Code code, const DeviceMemory& device, const DescriptionUrl& url,
                   const std::string& what_to_do)
{
    return failure(code, "The GenICam description of the device ", device.name, " is not in the device but at \"",
                   url.text, "\"; ", what_to_do);
}

PvResult read_file(const DeviceMemory& device, const DescriptionUrl& url, const std::filesystem::path& path,
                   Description& description)
{
    trace_source(device, "the file of \"" + url.name + "\" in the user's folder");
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error || size > largest_stored_description) {
        return elsewhere(PvResult::CannotOpenFile, device, url,
                         error ? "the file cannot be opened: " + error.message()
                               : "the file's " + std::to_string(size) + " bytes are more than a description may have");
    }
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
    std::ifstream file(path, std::ios::binary);
    if (!file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()))) {
        return elsewhere(PvResult::CannotOpenFile, device, url, "the file cannot be read");
    }
    return unpack(device, url, bytes, description);
}

PvResult download(const DeviceMemory& device, const DescriptionUrl& url, const DescriptionPlaces& places,
                  Description& description)
{
    trace_source(device, url.text);
    std::vector<std::uint8_t> bytes;
    HttpLimits limits;
    limits.largest_body = largest_stored_description;
    if (!places.download_anywhere) {
        limits.only_from = device.address;
        limits.how_to_allow = "; other servers are allowed with the link parameter DescriptionDownloadAnywhere";
    }
    if (const PvResult result = http_get(without_schema_version(url.text), limits, bytes); !result.IsOK()) {
        return failure(result.GetCode(), "The GenICam description of the device ", device.name, ": ",
                       result.description());
    }
    return unpack(device, url, bytes, description);
}

PvResult fetch_from(const DeviceMemory& device, std::uint32_t url_address, const DescriptionPlaces& places,
                    Description& description)
{
    std::optional<DescriptionUrl> url;
    if (PvResult result = read_url(device, url_address, url); !result.IsOK()) {
        return result;
    }
    using Scheme = DescriptionUrl::Scheme;
    if (url->scheme == Scheme::local) {
        return read_local(device, *url, places.cache_folder, description);
    }
    if (url->scheme == Scheme::unknown) {
        return elsewhere(PvResult::NotSupported, device, *url, "this is no kind of URL that a device may have");
    }
    // a copy that the user has put there saves the download
    if (const auto path = file_in_folder(url->name, places.folder)) {
        return read_file(device, *url, *path, description);
    }
    if (url->scheme == Scheme::http && places.download) {
        return download(device, *url, places, description);
    }
    const std::string file = "\"" + url->name + "\"";
    const std::string in_folder =
        places.folder.empty() ? "set the link parameter DescriptionFolder to a folder that holds the file " + file
                              : "put the file " + file + " into the folder \"" + places.folder + "\"";
    if (url->scheme == Scheme::http) {
        return elsewhere(PvResult::NotSupported, device, *url,
                         in_folder + ", or allow the download with the link parameter DescriptionDownload");
    }
    return elsewhere(places.folder.empty() ? PvResult::NotSupported : PvResult::NotFound, device, *url, in_folder);
}

PvResult fetch_from_manifest(const DeviceMemory& device, const DescriptionPlaces& places, Description& description)
{
    std::optional<wire::manifest::Entry> entry;
    if (PvResult result = choose_from_manifest(device, entry); !result.IsOK()) {
        return result;
    }
    if (!entry) {
        return unusable(device, "its manifest lists nothing usable");
    }
    DescriptionUrl url;
    url.text = local_url("", entry->address, entry->length);
    url.address = entry->address;
    url.length = entry->length;
    return read_local(device, url, places.cache_folder, description);
}

PvResult fetch_from_anywhere(const DeviceMemory& device, const DescriptionPlaces& places, Description& description)
{
    if (device.has_manifest) {
        const PvResult listed = fetch_from_manifest(device, places, description);
        if (listed.IsOK() || listed.GetCode() == PvResult::NotConnected) {
            return listed;
        }
    }
    const PvResult first = fetch_from(device, wire::bootstrap::first_url, places, description);
    if (first.IsOK() || first.GetCode() == PvResult::NotConnected) {
        return first;
    }
    const PvResult second = fetch_from(device, wire::bootstrap::second_url, places, description);
    // the first failure is the one to explain: the second URL is empty on most devices
    return second.IsOK() ? second : first;
}

}  // namespace

PvResult fetch_description(const DeviceMemory& device, const DescriptionPlaces& places, Description& description)
{
    PvResult result = fetch_from_anywhere(device, places, description);
    trace::write(trace::Category::description, result.IsOK() ? trace::Level::info : trace::Level::error, [&] {
        return device.name + ": " +
               (result.IsOK() ? description.name + ", " + std::to_string(description.xml.size()) + " bytes"
                              : std::string(result.description()));
    });
    return result;
}

}  // namespace vex::description
