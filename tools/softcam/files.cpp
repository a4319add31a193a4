#include "tools/softcam/files.h"

#include <zlib.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "sdk/wire/bytes.h"
#include "tools/softcam/registers.h"

using namespace vex;

namespace softcam {

using virtual_device::Access;
using virtual_device::Region;
using virtual_device::Status;

namespace {

constexpr std::uint32_t buffer_size = 131072;
constexpr std::size_t table_entries = 4096;
constexpr std::size_t largest_file = std::size_t{32} << 20;

// a firmware image: these letters, the length of all, the checksum of what follows, then the version and a zero
constexpr std::string_view firmware_mark = "SCFW";
constexpr std::size_t firmware_head = 12;
constexpr std::size_t version_length = 32;

std::uint32_t checksum(std::span<const std::uint8_t> bytes)
{
    return static_cast<std::uint32_t>(crc32(0, bytes.data(), static_cast<uInt>(bytes.size())));
}

bool is_firmware(std::span<const std::uint8_t> image)
{
    return image.size() >= firmware_head + version_length &&
           std::ranges::equal(image.first(firmware_mark.size()), firmware_mark) &&
           wire::load_be32(image.data() + 4) == image.size() &&
           wire::load_be32(image.data() + 8) == checksum(image.subspan(firmware_head)) &&
           image[firmware_head + version_length - 1] == 0;
}

Files::Bytes straight_table()
{
    Files::Bytes table(2 * table_entries);
    for (std::size_t i = 0; i < table_entries; ++i) {
        wire::store_be16(table.data() + 2 * i, static_cast<std::uint16_t>(16 * i));
    }
    return table;
}

}  // namespace

std::vector<std::uint8_t> firmware_image(const std::string& version, std::size_t size)
{
    Files::Bytes image(std::max(size, firmware_head + version_length));
    for (std::size_t i = firmware_head + version_length; i < image.size(); ++i) {
        image[i] = static_cast<std::uint8_t>(i * 31 + (i >> 8));
    }
    std::ranges::copy(firmware_mark, image.begin());
    wire::store_be32(image.data() + 4, static_cast<std::uint32_t>(image.size()));
    std::copy_n(version.begin(), std::min(version.size(), version_length - 1), image.begin() + firmware_head);
    wire::store_be32(image.data() + 8, checksum(std::span(image).subspan(firmware_head)));
    return image;
}

Files::Files(virtual_device::RegisterMap& map, UserSets user_sets, const net::Clock& clock)
    : map_(map), user_sets_(std::move(user_sets)), clock_(clock), look_up_table_(straight_table())
{
    add_setting(reg::file_selector, file_count - 1);
    add_setting(reg::file_operation, static_cast<std::uint32_t>(Operation::write));
    add_setting(reg::file_open_mode, 1);
    add_setting(reg::file_access_offset, 0xFFFFFFFF);
    add_setting(reg::file_access_length, buffer_size);
    map_.add_register(reg::file_execute, Access::read_write, 0,
                      {.refresh = [this] { return is_busy() ? 1U : 0U; },
                       .accept =
                           [this](std::uint32_t& proposed) {
                               if (is_busy() || proposed != 1) {
                                   return is_busy() ? Status::busy : Status::invalid_parameter;
                               }
                               proposed = 0;
                               execute();
                               return Status::success;
                           }});
    add_fact(reg::file_status,
             [this] { return static_cast<std::uint32_t>(is_busy() ? Outcome::failure : selected().status); });
    add_fact(reg::file_result, [this] { return is_busy() ? 0 : selected().result; });
    add_fact(reg::file_size, [this] {
        const File& file = selected();
        return static_cast<std::uint32_t>(file.open ? file.content.size() : stored(selected_name()).size());
    });
    // without hooks: a write of some bytes would copy all of it
    Region buffer;
    buffer.address = reg::file_buffer;
    buffer.access = Access::read_write;
    buffer.bytes.resize(buffer_size);
    map_.add(std::move(buffer));
}

void Files::close_all()
{
    files_ = {};
    busy_until_ = {};
}

void Files::power_on()
{
    close_all();
    if (!firmware_.empty()) {
        const char* const version = reinterpret_cast<const char*>(firmware_.data()) + firmware_head;
        map_.set_text(reg::firmware_version, version);
    }
}

// ---- registers ----

void Files::add_setting(std::uint32_t address, std::uint32_t largest)
{
    map_.add_register(address, Access::read_write, 0, {.refresh = {}, .accept = [this, largest](std::uint32_t& value) {
                                                           if (is_busy()) {
                                                               return Status::busy;
                                                           }
                                                           return value <= largest ? Status::success
                                                                                   : Status::invalid_parameter;
                                                       }});
}

void Files::add_fact(std::uint32_t address, std::function<std::uint32_t()> value)
{
    map_.add_register(address, Access::read_only, 0, {.refresh = std::move(value), .accept = {}});
}

bool Files::is_busy() const { return clock_.now() < busy_until_; }

FileName Files::selected_name() const { return static_cast<FileName>(map_.value(reg::file_selector)); }

Files::File& Files::selected() { return files_[static_cast<std::size_t>(selected_name())]; }

// ---- operations ----

void Files::execute()
{
    File& file = selected();
    file.result = 0;
    file.status = run(file, static_cast<Operation>(map_.value(reg::file_operation)));
    busy_until_ = clock_.now() + faults_.time;
}

Files::Outcome Files::run(File& file, Operation operation)
{
    if ((operation == Operation::open) == file.open) {
        return Outcome::failure;
    }
    switch (operation) {
    case Operation::open: return open(file);
    case Operation::close: return close(file);
    case Operation::read: return read(file);
    case Operation::write: return write(file);
    }
    return Outcome::failure;
}

Files::Outcome Files::open(File& file)
{
    const bool writing = map_.value(reg::file_open_mode) != 0;
    if (!writing && selected_name() == FileName::firmware) {
        return Outcome::failure;
    }
    if (writing) {
        // its memory is kept: growing once more takes time that a camera's storage would not
        file.content.clear();
    } else {
        file.content = stored(selected_name());
    }
    file.open = true;
    file.writing = writing;
    file.transferred = 0;
    return Outcome::success;
}

Files::Outcome Files::close(File& file)
{
    file.open = false;
    return !file.writing || store(selected_name(), file.content) ? Outcome::success : Outcome::failure;
}

bool Files::fails(File& file, std::size_t count) const
{
    file.transferred += static_cast<std::int64_t>(count);
    return faults_.fails_after >= 0 && file.transferred > faults_.fails_after;
}

Files::Outcome Files::read(File& file)
{
    const std::size_t offset = map_.value(reg::file_access_offset);
    if (file.writing || offset > file.content.size()) {
        return Outcome::failure;
    }
    const std::size_t count = std::min<std::size_t>(map_.value(reg::file_access_length), file.content.size() - offset);
    if (fails(file, count)) {
        return Outcome::failure;
    }
    std::copy_n(file.content.begin() + static_cast<std::ptrdiff_t>(offset), count,
                map_.bytes(reg::file_buffer).begin());
    file.result = static_cast<std::uint32_t>(count);
    return Outcome::success;
}

Files::Outcome Files::write(File& file)
{
    const std::size_t offset = map_.value(reg::file_access_offset);
    const std::size_t count = map_.value(reg::file_access_length);
    if (!file.writing || offset > file.content.size() || fails(file, count)) {
        return Outcome::failure;
    }
    const std::size_t taken = std::min(count, largest_file - offset);
    const std::span<const std::uint8_t> bytes = std::as_const(map_).bytes(reg::file_buffer).first(taken);
    const std::size_t within = std::min(taken, file.content.size() - offset);
    std::ranges::copy(bytes.first(within), file.content.begin() + static_cast<std::ptrdiff_t>(offset));
    file.content.insert(file.content.end(), bytes.begin() + static_cast<std::ptrdiff_t>(within), bytes.end());
    file.result = static_cast<std::uint32_t>(taken);
    return taken == count ? Outcome::success : Outcome::overflow;
}

// ---- what files hold ----

Files::Bytes Files::stored(FileName name) const
{
    switch (name) {
    case FileName::user_set_1:
    case FileName::user_set_2: return user_sets_.get(1 + static_cast<std::uint32_t>(name));
    case FileName::look_up_table: return look_up_table_;
    case FileName::firmware: return firmware_;
    case FileName::user_file: return user_file_;
    }
    return {};
}

bool Files::store(FileName name, const Bytes& content)
{
    switch (name) {
    case FileName::user_set_1:
    case FileName::user_set_2: return user_sets_.put(1 + static_cast<std::uint32_t>(name), content);
    case FileName::look_up_table:
        if (content.size() != look_up_table_.size()) {
            return false;
        }
        look_up_table_ = content;
        return true;
    case FileName::firmware:
        if (!is_firmware(content)) {
            return false;
        }
        firmware_ = content;
        return true;
    case FileName::user_file: user_file_ = content; return true;
    }
    return false;
}

}  // namespace softcam
