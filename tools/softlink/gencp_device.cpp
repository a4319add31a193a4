#include "tools/softlink/gencp_device.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "sdk/wire/bytes.h"
#include "sdk/wire/manifest.h"
#include "tools/softcam/zip_writer.h"
#include "tools/softlink/description.h"

namespace softlink {

namespace gencp = vex::wire::gencp;
namespace abrm = vex::wire::gencp::abrm;
namespace manifest = vex::wire::manifest;

namespace {

constexpr std::uint32_t gencp_1_2 = 0x0001'0002;
constexpr std::uint32_t all_bit_rates = 0xFF;  // 9,600 to 921,600
constexpr std::uint32_t response_time_ms = 200;

/// Whether an access lies in these bytes.
bool is_within(std::uint64_t address, std::size_t length, std::uint64_t begin, std::uint64_t end) noexcept
{
    return address >= begin && address < end && length <= end - address;
}

Bytes copy_of(std::span<const std::uint8_t> bytes) { return {bytes.begin(), bytes.end()}; }

}  // namespace

GencpDevice::GencpDevice(const DeviceOptions& options, const vex::net::Clock& clock, std::string_view xml)
    : options_(options), clock_(clock), last_command_(clock.now())
{
    regions_.push_back({0, Bytes(abrm::end)});
    regions_.push_back({address::sbrm, Bytes(gencp::sbrm::end)});
    regions_.push_back({address::width, Bytes(address::features_end - address::width)});
    regions_.push_back({address::table, Bytes(address::table_end - address::table)});
    regions_.push_back({address::file_buffer, Bytes(address::file_buffer_end - address::file_buffer)});
    set_word(address::sbrm, all_bit_rates);
    set_word(address::width, 640);
    set_word(address::height, 480);
    put_long(address::exposure_time, std::bit_cast<std::uint64_t>(5000.0));
    add_bootstrap();
    if (options_.manifest) {
        add_manifest(xml.empty() ? camera_description : xml);
    }
}

void GencpDevice::add_bootstrap()
{
    namespace capability = gencp::capability;
    set_word(abrm::version, gencp_1_2);
    put_text(abrm::manufacturer_name, options_.manufacturer);
    put_text(abrm::model_name, options_.model);
    put_text(abrm::family_name, "Soft cameras");
    put_text(abrm::device_version, "1.0");
    put_text(abrm::manufacturer_info, "simulated");
    put_text(abrm::serial_number, options_.serial_number);
    put_text(abrm::user_defined_name, options_.user_defined_name);
    put_long(abrm::device_capability, capability::user_defined_name | capability::family_name | capability::sbrm |
                                          (options_.privilege ? capability::access_privilege : 0) |
                                          (options_.written_length ? capability::written_length : 0));
    set_word(abrm::maximum_response_time, response_time_ms);
    put_long(abrm::sbrm, address::sbrm);
    if (options_.heartbeat.count() > 0) {
        put_long(abrm::device_configuration, gencp::configuration::heartbeat);
        set_word(abrm::heartbeat_timeout, static_cast<std::uint32_t>(options_.heartbeat.count()));
    }
}

void GencpDevice::add_manifest(std::string_view xml)
{
    std::vector<manifest::Entry> entries;
    const auto add = [&](manifest::Format format, std::uint64_t at, std::string_view text) {
        entries.push_back({.file = {1, 0, static_cast<unsigned>(entries.size())},
                           .schema = {1, 1, 0},
                           .format = format,
                           .address = static_cast<std::uint32_t>(at),
                           .length = static_cast<std::uint32_t>(text.size())});
        regions_.push_back({at, Bytes(text.begin(), text.end())});
    };
    if (options_.plain_description) {
        add(manifest::Format::xml, address::plain_description, xml);
    }
    if (options_.packed_description) {
        const std::string packed = softcam::zip_one_file("camera.xml", xml);
        add(manifest::Format::zip, address::packed_description, packed);
    }
    Bytes table(manifest::count_size + manifest::entry_size * entries.size());
    manifest::encode_count(entries.size(), std::span(table).first<manifest::count_size>());
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto at = std::span(table).subspan(manifest::count_size + i * manifest::entry_size);
        manifest::encode_entry(entries[i], at.first<manifest::entry_size>());
    }
    regions_.push_back({address::manifest, std::move(table)});
    put_long(abrm::manifest_table, address::manifest);
}

std::span<std::uint8_t> GencpDevice::memory(std::uint64_t address, std::size_t length)
{
    for (Region& region : regions_) {
        if (is_within(address, length, region.address, region.address + region.bytes.size())) {
            return std::span(region.bytes).subspan(static_cast<std::size_t>(address - region.address), length);
        }
    }
    return {};
}

void GencpDevice::put_text(std::uint64_t address, std::string_view text)
{
    const auto field = memory(address, abrm::text_length);
    std::ranges::fill(field, std::uint8_t{0});
    std::copy_n(text.begin(), std::min(text.size(), field.size()), field.begin());
}

void GencpDevice::put_long(std::uint64_t address, std::uint64_t value)
{
    vex::wire::store_be64(memory(address, 8).data(), value);
}

std::uint32_t GencpDevice::word(std::uint64_t address) { return vex::wire::load_be32(memory(address, 4).data()); }

void GencpDevice::set_word(std::uint64_t address, std::uint32_t value)
{
    vex::wire::store_be32(memory(address, 4).data(), value);
}

std::vector<Answer> GencpDevice::receive(std::span<const std::uint8_t> bytes)
{
    std::vector<Answer> answers;
    while (!bytes.empty()) {
        bytes = bytes.subspan(reader_.add(bytes));
        while (const auto command = reader_.next()) {
            if (gencp::is_acknowledge(command->command)) {
                continue;
            }
            ++statistics_.commands;
            forget_silent_host();
            last_command_ = clock_.now();
            const auto busy = std::exchange(busy_, {});
            if (busy.count() > 0) {
                const auto announced = static_cast<std::uint16_t>(std::min<std::int64_t>(busy.count(), 0xFFFF));
                answers.push_back({{}, copy_of(gencp::pending_acknowledge(command->request_id, announced).bytes())});
            }
            const bool again = (command->flags_or_status & gencp::flag::resend) != 0 && last_id_ == command->request_id;
            if (again) {
                ++statistics_.repeated;
            } else {
                last_answer_ = copy_of(execute(*command).bytes());
                last_id_ = command->request_id;
            }
            if (command->acknowledge_requested()) {
                answers.push_back({busy, last_answer_});
            }
        }
    }
    return answers;
}

void GencpDevice::forget_silent_host()
{
    if (options_.heartbeat.count() > 0 && clock_.now() - last_command_ > options_.heartbeat) {
        set_word(abrm::access_privilege, gencp::privilege::available);
    }
}

gencp::Frame GencpDevice::execute(const gencp::FrameView& command)
{
    ++statistics_.executed;
    set_word(address::command_count, static_cast<std::uint32_t>(statistics_.executed));
    switch (command.command) {
    case gencp::Command::read_memory: return read(command.request_id, command.scd);
    case gencp::Command::write_memory: return write(command.request_id, command.scd);
    default:
        ++statistics_.refused;
        return gencp::refusal(gencp::acknowledge_of(command.command), command.request_id, Status::not_implemented);
    }
}

gencp::Frame GencpDevice::read(std::uint16_t id, std::span<const std::uint8_t> scd)
{
    const auto refuse = [&](Status status) {
        ++statistics_.refused;
        return gencp::refusal(gencp::Command::read_memory_ack, id, status);
    };
    const auto wanted = gencp::decode_read_memory(scd);
    if (!wanted || wanted->count == 0 || wanted->count > options_.longest_access) {
        return refuse(Status::invalid_parameter);
    }
    const auto bytes = memory(wanted->address, wanted->count);
    return bytes.empty() || refuses_range(*wanted) ? refuse(Status::invalid_address)
                                                   : gencp::read_memory_acknowledge(id, bytes);
}

bool GencpDevice::refuses_range(const gencp::MemoryRead& read) const
{
    if (!options_.single_registers || read.address >= abrm::end) {
        return false;
    }
    return std::ranges::none_of(abrm::registers, [&](const gencp::Register& one) {
        return is_within(read.address, read.count, one.address, one.address + one.length);
    });
}

gencp::Frame GencpDevice::write(std::uint16_t id, std::span<const std::uint8_t> scd)
{
    const auto given = gencp::decode_write_memory(scd);
    const Status status = given ? write_status(*given) : Status::invalid_parameter;
    if (status != Status::success) {
        ++statistics_.refused;
        return gencp::refusal(gencp::Command::write_memory_ack, id, status);
    }
    std::ranges::copy(given->data, memory(given->address, given->data.size()).begin());
    act_on_write(given->address);
    const auto written = static_cast<std::uint16_t>(given->data.size());
    return gencp::write_memory_acknowledge(id, options_.written_length ? std::optional(written) : std::nullopt);
}

GencpDevice::Status GencpDevice::write_status(const gencp::MemoryWrite& write)
{
    const std::size_t length = write.data.size();
    if (length > options_.longest_access) {
        return Status::invalid_parameter;
    }
    if (memory(write.address, length).empty()) {
        return Status::invalid_address;
    }
    const auto lies_in = [&](std::uint64_t begin, std::uint64_t end) {
        return is_within(write.address, length, begin, end);
    };
    if (lies_in(abrm::access_privilege, abrm::access_privilege + 4)) {
        return options_.privilege ? Status::success : Status::write_protect;
    }
    const bool writable = lies_in(abrm::user_defined_name, abrm::device_capability) ||
                          lies_in(abrm::device_configuration, abrm::message_channel) ||
                          lies_in(address::width, address::trigger_count) ||
                          lies_in(address::reset, address::reset + 4) || lies_in(address::table, address::table_end) ||
                          lies_in(address::file_selector, address::file_status) ||
                          lies_in(address::file_buffer, address::file_buffer_end);
    if (!writable) {
        return Status::write_protect;
    }
    const bool held = !options_.privilege || word(abrm::access_privilege) == gencp::privilege::taken;
    return held ? Status::success : Status::access_denied;
}

void GencpDevice::act_on_write(std::uint64_t address)
{
    if (address == address::trigger) {
        set_word(address::trigger_count, word(address::trigger_count) + 1);
    } else if (address == address::reset) {
        set_word(address::width, 640);
        set_word(address::height, 480);
    } else if (address == address::file_execute) {
        act_on_file();
    }
}

void GencpDevice::act_on_file()
{
    const UserFile::Request request{.operation = static_cast<UserFile::Operation>(word(address::file_operation)),
                                    .mode = static_cast<UserFile::Mode>(word(address::file_open_mode)),
                                    .offset = word(address::file_offset),
                                    .length = word(address::file_length)};
    const UserFile::Done done =
        file_.perform(request, memory(address::file_buffer, address::file_buffer_end - address::file_buffer));
    set_word(address::file_status, static_cast<std::uint32_t>(done.status));
    set_word(address::file_result, static_cast<std::uint32_t>(done.transferred));
    set_word(address::file_size, static_cast<std::uint32_t>(file_.size()));
    set_word(address::file_execute, 0);  // it is done
}

}  // namespace softlink
