#include "sdk/description/zip.h"

#include <algorithm>
#include <cctype>
#include <optional>
#include <string_view>

#include <zlib.h>

namespace vex::description {

namespace {

using Bytes = std::span<const std::uint8_t>;

constexpr std::uint32_t local_signature = 0x04034B50;
constexpr std::uint32_t central_signature = 0x02014B50;
constexpr std::uint32_t end_signature = 0x06054B50;
constexpr std::size_t local_size = 30;
constexpr std::size_t central_size = 46;
constexpr std::size_t end_size = 22;
constexpr std::uint16_t flag_encrypted = 0x0001;
constexpr std::uint16_t method_stored = 0;
constexpr std::uint16_t method_deflated = 8;

[[noreturn]] void fail(const std::string& why)
{
    throw GenApi::DescriptionError("the packed description cannot be unpacked: " + why);
}

std::uint16_t load16(Bytes bytes, std::size_t at) { return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8); }

std::uint32_t load32(Bytes bytes, std::size_t at)
{
    return std::uint32_t{load16(bytes, at)} | std::uint32_t{load16(bytes, at + 2)} << 16;
}

/// `size` bytes at `at`, or a complaint.
Bytes part(Bytes bytes, std::size_t at, std::size_t size, const char* what)
{
    if (at > bytes.size() || size > bytes.size() - at) {
        fail(std::string("the archive is cut off in ") + what);
    }
    return bytes.subspan(at, size);
}

struct Entry {
    std::string name;
    std::uint16_t flags = 0;
    std::uint16_t method = 0;
    std::uint32_t check_sum = 0;
    std::size_t packed_size = 0;
    std::size_t size = 0;
    std::size_t header = 0;
};

/// The end record stands last, but for a comment and whatever the device's memory holds behind the archive.
std::size_t find_end(Bytes archive)
{
    if (archive.size() >= end_size) {
        for (std::size_t at = archive.size() - end_size + 1; at-- > 0;) {
            if (archive[at] == 'P' && load32(archive, at) == end_signature) {
                return at;
            }
        }
    }
    fail("the archive's end is missing");
}

bool names_xml(std::string_view name)
{
    constexpr std::string_view extension = ".xml";
    return name.size() >= extension.size() &&
           std::equal(extension.begin(), extension.end(), name.end() - static_cast<std::ptrdiff_t>(extension.size()),
                      [](char a, char b) { return a == std::tolower(static_cast<unsigned char>(b)); });
}

Entry find_entry(Bytes archive)
{
    const std::size_t end = find_end(archive);
    const std::size_t count = load16(archive, end + 10);
    std::size_t at = load32(archive, end + 16);
    std::optional<Entry> first;
    for (std::size_t i = 0; i < count; ++i) {
        const Bytes fixed = part(archive, at, central_size, "its directory");
        if (load32(fixed, 0) != central_signature) {
            fail("its directory is damaged");
        }
        const std::size_t name_size = load16(fixed, 28);
        const Bytes name = part(archive, at + central_size, name_size, "its directory");
        Entry entry;
        entry.name.assign(name.begin(), name.end());
        entry.flags = load16(fixed, 8);
        entry.method = load16(fixed, 10);
        entry.check_sum = load32(fixed, 16);
        entry.packed_size = load32(fixed, 20);
        entry.size = load32(fixed, 24);
        entry.header = load32(fixed, 42);
        if (names_xml(entry.name)) {
            return entry;
        }
        if (!first) {
            first = std::move(entry);
        }
        at += central_size + name_size + load16(fixed, 30) + load16(fixed, 32);
    }
    if (!first) {
        fail("the archive is empty");
    }
    if (count > 1) {
        fail("none of its " + std::to_string(count) + " files is named *.xml");
    }
    return *first;
}

void check_size(const Entry& entry, std::size_t size, const ZipLimits& limits)
{
    constexpr std::size_t harmless = std::size_t{1} << 20;
    if (size > limits.largest_text) {
        fail(entry.name + " would have " + std::to_string(size) + " bytes; the limit is " +
             std::to_string(limits.largest_text));
    }
    if (size > harmless && size / limits.largest_ratio > entry.packed_size) {
        fail(entry.name + " would grow to more than " + std::to_string(limits.largest_ratio) +
             " times its packed size");
    }
}

std::string inflated(const Entry& entry, Bytes packed)
{
    struct Stream : z_stream {
        Stream() : z_stream{} {}
        ~Stream() { inflateEnd(this); }
        Stream(const Stream&) = delete;
        Stream& operator=(const Stream&) = delete;
    } stream;
    // negative: the deflate data stand bare, without zlib's own head and check sum
    if (inflateInit2(&stream, -MAX_WBITS) != Z_OK) {
        fail("out of memory");
    }
    // one byte more than stated, to notice data that are longer
    std::string text(entry.size + 1, '\0');
    stream.next_in = const_cast<Bytef*>(packed.data());
    stream.avail_in = static_cast<uInt>(packed.size());
    stream.next_out = reinterpret_cast<Bytef*>(text.data());
    stream.avail_out = static_cast<uInt>(text.size());
    const int result = inflate(&stream, Z_FINISH);
    if (result != Z_STREAM_END) {
        fail(result == Z_BUF_ERROR && stream.avail_out != 0 ? "the data of " + entry.name + " are cut off"
             : result == Z_DATA_ERROR                       ? "the data of " + entry.name + " are damaged"
                                      : "the data of " + entry.name + " are longer than the archive says");
    }
    if (stream.total_out != entry.size) {
        fail(entry.name + " has " + std::to_string(stream.total_out) + " bytes; the archive says " +
             std::to_string(entry.size));
    }
    text.resize(entry.size);
    return text;
}

}  // namespace

bool is_zip(std::span<const std::uint8_t> bytes) noexcept
{
    return bytes.size() >= 4 && bytes[0] == 'P' && bytes[1] == 'K' && bytes[2] == 3 && bytes[3] == 4;
}

std::string unzip_description(std::span<const std::uint8_t> archive, const ZipLimits& limits)
{
    const Entry entry = find_entry(archive);
    if ((entry.flags & flag_encrypted) != 0) {
        fail(entry.name + " is encrypted");
    }
    if (entry.method != method_stored && entry.method != method_deflated) {
        fail(entry.name + " is packed by method " + std::to_string(entry.method) +
             "; only stored and deflated files can be unpacked");
    }
    check_size(entry, entry.size, limits);
    const Bytes local = part(archive, entry.header, local_size, "a file's head");
    if (load32(local, 0) != local_signature) {
        fail("the head of " + entry.name + " is damaged");
    }
    const std::size_t data = entry.header + local_size + load16(local, 26) + load16(local, 28);
    const Bytes packed = part(archive, data, entry.packed_size, "a file's data");
    if (entry.method == method_stored && entry.size != entry.packed_size) {
        fail("the sizes of " + entry.name + " contradict each other");
    }
    std::string text =
        entry.method == method_stored ? std::string(packed.begin(), packed.end()) : inflated(entry, packed);
    const auto sum = crc32(0, reinterpret_cast<const Bytef*>(text.data()), static_cast<uInt>(text.size()));
    if (sum != entry.check_sum) {
        fail("the check sum of " + entry.name + " is wrong");
    }
    return text;
}

std::string load_description(std::span<const std::uint8_t> bytes, const ZipLimits& limits)
{
    if (is_zip(bytes)) {
        return unzip_description(bytes, limits);
    }
    if (bytes.size() > limits.largest_text) {
        throw GenApi::DescriptionError("the description has " + std::to_string(bytes.size()) + " bytes; the limit is " +
                                       std::to_string(limits.largest_text));
    }
    return {bytes.begin(), bytes.end()};
}

}  // namespace vex::description
