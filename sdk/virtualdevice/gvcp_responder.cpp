#include "sdk/virtualdevice/gvcp_responder.h"

#include <algorithm>

#include "sdk/base/numbers.h"
#include "sdk/base/trace.h"
#include "sdk/wire/bootstrap.h"
#include "sdk/wire/bytes.h"

namespace vex::virtual_device {

namespace {

namespace reg = wire::bootstrap;
namespace gvcp = wire::gvcp;
using gvcp::Command;
using gvcp::CommandView;
using gvcp::Message;

constexpr std::size_t standard_resend_size = 12;
constexpr std::size_t extended_resend_size = 20;

// What fits one acknowledge beside its header and the address.
constexpr std::size_t largest_read = gvcp::largest_message - gvcp::header_size - 4;

/// A request that comes again after this time is a new one of an application that does not number its requests.
constexpr std::chrono::seconds longest_retry{3};

/// Answers that are kept for later.
constexpr std::size_t longest_queue = 64;

/// Something that differs from device to device.
std::uint64_t number_of(const MacAddress& mac) noexcept
{
    std::uint64_t number = 0;
    for (const std::uint8_t byte : mac.bytes) {
        number = number << 8 | byte;
    }
    return number;
}

/// Whether it matters that a command which is repeated for want of an answer is not carried out twice.
bool changes_something(Command command) noexcept
{
    return command == Command::write_register || command == Command::write_memory || command == Command::action;
}

const char* name_of(Command command) noexcept
{
    switch (command) {
    case Command::discovery: return "a search for devices";
    case Command::force_ip: return "a forced address";
    case Command::packet_resend: return "packets again";
    case Command::read_register: return "registers read";
    case Command::write_register: return "registers written";
    case Command::read_memory: return "memory read";
    case Command::write_memory: return "memory written";
    case Command::action: return "an action";
    default: return "an unknown command";
    }
}

/// "192.168.1.2:50000 wants registers read at 0xA00, request 7, 4 bytes of payload".
std::string text_of(const CommandView& command, const Endpoint& source)
{
    std::string text = source.to_string() + " wants " + name_of(command.command);
    const bool has_address = command.command == Command::read_register || command.command == Command::write_register ||
                             command.command == Command::read_memory || command.command == Command::write_memory;
    if (has_address && command.payload.size() >= 4) {
        text += " at " + to_hex_text(wire::load_be32(command.payload.data()));
    }
    return text + ", request " + std::to_string(command.request_id) + ", " + std::to_string(command.payload.size()) +
           " bytes of payload";
}

}  // namespace

GvcpResponder::GvcpResponder(const DeviceDescription& description, DeviceHooks& hooks, const net::Clock& clock)
    : description_(description), hooks_(hooks), clock_(clock), random_(number_of(description.mac))
{
    add_identity_registers();
    add_capability_registers();
    add_timestamp_registers();
    add_block_id_register();
    add_control_registers();
    add_message_registers();
    for (unsigned channel = 0; channel < description_.stream_channels; ++channel) {
        add_stream_registers(channel);
    }
    add_action_registers();
}

void GvcpResponder::handle(std::span<const std::uint8_t> datagram, const Endpoint& source, const Send& send)
{
    const std::lock_guard guard(mutex_);
    ++statistics_.received;
    expire();
    const std::optional<CommandView> command = gvcp::decode_command(datagram);
    if (!command) {
        ++statistics_.malformed;
        return;
    }
    if (controller_ == source) {
        last_command_ = clock_.now();
    }

    source_ = source;
    request_id_ = command->request_id;
    send_ = &send;
    answer_wanted_ = command->acknowledge_required();
    remembered_ = nullptr;
    if (!answer_wanted_ || !changes_something(command->command) || !answer_from_memory(datagram)) {
        execute(*command);
    }
    send_ = nullptr;
    remembered_ = nullptr;
    if (controller_ == source) {
        last_command_ = clock_.now();  // a command that took long is not the application's silence
    }
    if (restart_when_answered_) {
        restart_when_answered_ = false;
        power_cycle();
    }
}

net::Clock::duration GvcpResponder::tick(const Send& send)
{
    const std::lock_guard guard(mutex_);
    expire();
    const net::Clock::time_point now = clock_.now();
    net::Clock::duration wait = run_due_actions();
    if (const auto next = hooks_.on_tick()) {
        wait = std::min(wait, std::max(*next - now, net::Clock::duration::zero()));
    }
    for (auto entry = deferred_.begin(); entry != deferred_.end();) {
        if (entry->due > now) {
            wait = std::min(wait, entry->due - now);
            ++entry;
            continue;
        }
        send(entry->destination, entry->message.bytes());
        entry = deferred_.erase(entry);
    }
    return wait;
}

void GvcpResponder::restart()
{
    const std::lock_guard guard(mutex_);
    power_cycle();
}

void GvcpResponder::power_cycle()
{
    release_control();
    answered_ = {};
    deferred_.clear();
    scheduled_.clear();
    const Ipv4Address address{registers_.value(reg::current_ip)};
    const Ipv4Address mask{registers_.value(reg::current_mask)};
    const Ipv4Address gateway{registers_.value(reg::current_gateway)};
    registers_.power_on();
    store_address(address, mask, gateway);
    close_channels();
    hooks_.on_restart();
}

void GvcpResponder::set_address(Ipv4Address address, Ipv4Address mask, Ipv4Address gateway)
{
    const std::lock_guard guard(mutex_);
    store_address(address, mask, gateway);
}

void GvcpResponder::store_address(Ipv4Address address, Ipv4Address mask, Ipv4Address gateway)
{
    registers_.set_value(reg::current_ip, address.value);
    registers_.set_value(reg::current_mask, mask.value);
    registers_.set_value(reg::current_gateway, gateway.value);
}

GvcpStatistics GvcpResponder::statistics() const
{
    const std::lock_guard guard(mutex_);
    return statistics_;
}

bool GvcpResponder::answer_from_memory(std::span<const std::uint8_t> datagram)
{
    Answered* slot = nullptr;
    for (Answered& entry : answered_) {
        if (entry.used != 0 && entry.source == source_) {
            // the whole request is compared, not only its ID: an application that started anew counts from 1 again
            if (clock_.now() - entry.answered <= longest_retry && std::ranges::equal(entry.request, datagram)) {
                ++statistics_.repeated;
                if (!entry.acknowledge.empty()) {
                    (*send_)(source_, entry.acknowledge);
                }
                return true;
            }
            slot = &entry;
            break;
        }
    }
    if (slot == nullptr) {
        slot = &*std::ranges::min_element(answered_, {}, &Answered::used);
    }
    slot->source = source_;
    slot->used = ++answers_;
    slot->request.assign(datagram.begin(), datagram.end());
    slot->acknowledge.clear();
    slot->answered = clock_.now();
    remembered_ = slot;
    return false;
}

void GvcpResponder::answer(const Message& message)
{
    if (!answer_wanted_) {
        return;
    }
    if (remembered_ != nullptr) {
        remembered_->acknowledge.assign(message.bytes().begin(), message.bytes().end());
        remembered_->answered = clock_.now();
    }
    (*send_)(source_, message.bytes());
}

void GvcpResponder::answer_status(const CommandView& command, Status status)
{
    answer(Message::acknowledge(acknowledge_of(command.command), command.request_id, status));
}

void GvcpResponder::announce_delay(std::chrono::milliseconds time)
{
    if (send_ == nullptr || !answer_wanted_) {
        return;
    }
    if ((registers_.value(reg::gvcp_configuration) & reg::configuration::pending_ack) == 0) {
        return;
    }
    const auto ms = std::clamp<std::chrono::milliseconds::rep>(time.count(), 1, 0xFFFF);
    (*send_)(source_, gvcp::pending_acknowledge(request_id_, static_cast<std::uint16_t>(ms)).bytes());
}

void GvcpResponder::execute(const CommandView& command)
{
    ++statistics_.executed;
    trace::write(trace::Category::camera, trace::Level::debug, [&] { return text_of(command, source_); });
    switch (command.command) {
    case Command::discovery: return discovery(command);
    case Command::force_ip: return force_ip(command);
    case Command::packet_resend: return packet_resend(command);
    case Command::read_register: return read_registers(command);
    case Command::write_register: return write_registers(command);
    case Command::read_memory: return read_memory(command);
    case Command::write_memory: return write_memory(command);
    case Command::action: return action(command);
    default: return answer_status(command, Status::not_implemented);
    }
}

void GvcpResponder::discovery(const CommandView& command)
{
    std::array<std::uint8_t, gvcp::discovery_ack_size> identity{};
    if (registers_.read(0, identity) != Status::success) {
        return answer_status(command, Status::error);
    }
    const Message message = gvcp::discovery_acknowledge(command.request_id, identity);
    source_ = reply_address(command);
    const std::uint32_t longest_ms = registers_.value(reg::discovery_ack_delay);
    if (longest_ms == 0) {
        return answer(message);
    }
    // so that the answers of many devices to one broadcast do not arrive all at once
    const auto delay = std::chrono::microseconds(random_() % (std::uint64_t{longest_ms} * 1000 + 1));
    if (answer_wanted_ && deferred_.size() < longest_queue) {
        deferred_.push_back({clock_.now() + delay, source_, message});
    }
}

Endpoint GvcpResponder::reply_address(const CommandView& command) const
{
    // an application in another subnet, which cannot be reached by its address, may want to be told by broadcast
    const bool reachable =
        same_subnet(source_.address, {registers_.value(reg::current_ip)}, {registers_.value(reg::current_mask)});
    const bool broadcast = (command.flags & gvcp::flag::allow_broadcast_acknowledge) != 0 && !reachable;
    return broadcast ? Endpoint{limited_broadcast, source_.port} : source_;
}

void GvcpResponder::force_ip(const CommandView& command)
{
    const std::optional<gvcp::ForceIp> settings = gvcp::decode_force_ip(command.payload);
    if (!settings) {
        return answer_status(command, Status::invalid_header);
    }
    if (settings->mac != description_.mac) {
        ++statistics_.not_for_us;  // it was broadcast to all devices; only the one that it means speaks up
        return;
    }
    if (controller_) {
        ++statistics_.denied;
        return answer_status(command, Status::access_denied);
    }
    const Status status = hooks_.on_force_ip(*settings);
    source_ = reply_address(command);
    answer_status(command, status);
}

void GvcpResponder::read_registers(const CommandView& command)
{
    const std::size_t count = command.payload.size() / 4;
    if (count == 0 || command.payload.size() % 4 != 0) {
        return answer_status(command, Status::invalid_header);
    }
    std::array<std::uint32_t, gvcp::largest_message / 4> values{};
    Status status = count <= values.size() ? Status::success : Status::invalid_header;
    std::size_t done = 0;
    while (status == Status::success && done < count) {
        const std::uint32_t address = wire::load_be32(command.payload.data() + 4 * done);
        std::array<std::uint8_t, 4> bytes{};
        status = address % 4 != 0 ? Status::bad_alignment : read_allowed(address, bytes.size());
        if (status == Status::success) {
            status = registers_.read(address, bytes);
        }
        if (status == Status::success) {
            values[done++] = wire::load_be32(bytes.data());
        }
    }
    answer(gvcp::read_registers_acknowledge(command.request_id, status, {values.data(), done}));
}

Status GvcpResponder::after_write(Status status)
{
    if (!registers_.take_persistent_change()) {
        return status;
    }
    const Status kept = hooks_.on_persistent_change();
    return status == Status::success ? kept : status;
}

void GvcpResponder::write_registers(const CommandView& command)
{
    const std::size_t count = command.payload.size() / 8;
    if (count == 0 || command.payload.size() % 8 != 0) {
        return answer_status(command, Status::invalid_header);
    }
    Status status = Status::success;
    std::size_t done = 0;
    while (status == Status::success && done < count) {
        const std::uint8_t* entry = command.payload.data() + 8 * done;
        const std::uint32_t address = wire::load_be32(entry);
        status = address % 4 != 0 ? Status::bad_alignment : write_allowed(address, 4);
        if (status == Status::success) {
            status = registers_.write(address, {entry + 4, 4});
        }
        if (status == Status::success) {
            ++done;
        }
    }
    status = after_write(status);
    answer(gvcp::write_acknowledge(Command::write_register_ack, command.request_id, status,
                                   static_cast<std::uint16_t>(done)));
}

void GvcpResponder::read_memory(const CommandView& command)
{
    const std::optional<gvcp::MemoryRead> read = gvcp::decode_read_memory(command.payload);
    if (!read) {
        return answer_status(command, Status::invalid_header);
    }
    if (read->address % 4 != 0 || read->count % 4 != 0) {
        return answer_status(command, Status::bad_alignment);
    }
    if (read->count == 0 || read->count > largest_read) {
        return answer_status(command, Status::invalid_parameter);
    }
    std::array<std::uint8_t, largest_read> bytes{};
    const std::span<std::uint8_t> data(bytes.data(), read->count);
    Status status = read_allowed(read->address, data.size());
    if (status == Status::success) {
        status = registers_.read(read->address, data);
    }
    if (status != Status::success) {
        return answer_status(command, status);
    }
    answer(gvcp::read_memory_acknowledge(command.request_id, read->address, data));
}

void GvcpResponder::write_memory(const CommandView& command)
{
    const std::optional<gvcp::MemoryWrite> write = gvcp::decode_write_memory(command.payload);
    if (!write) {
        return answer_status(command, Status::invalid_header);
    }
    Status status = Status::success;
    if (write->address % 4 != 0 || write->data.size() % 4 != 0) {
        status = Status::bad_alignment;
    } else if (write->data.empty()) {
        status = Status::invalid_parameter;
    } else {
        status = write_allowed(write->address, write->data.size());
    }
    if (status == Status::success) {
        status = registers_.write(write->address, write->data);
    }
    status = after_write(status);
    const std::size_t done = status == Status::success ? write->data.size() : 0;
    answer(gvcp::write_acknowledge(Command::write_memory_ack, command.request_id, status,
                                   static_cast<std::uint16_t>(done)));
}

void GvcpResponder::packet_resend(const CommandView& command)
{
    if (!description_.packet_resend) {
        return answer_status(command, Status::not_implemented);
    }
    const bool extended = (command.flags & gvcp::flag::extended_ids) != 0;
    if (command.payload.size() < (extended ? extended_resend_size : standard_resend_size)) {
        return answer_status(command, Status::invalid_header);
    }
    const std::optional<gvcp::PacketResend> range = gvcp::decode_packet_resend(command);
    if (!range) {
        return answer_status(command, Status::invalid_parameter);
    }
    if (range->channel >= description_.stream_channels || range->first_packet > range->last_packet) {
        return answer_status(command, Status::invalid_parameter);
    }
    // requests come from the receiver's socket, which is not the one that has control; its host must be concerned
    const StreamChannel state = stream_channel(range->channel);
    const bool concerned = (controller_ && controller_->address == source_.address) ||
                           (state.is_open() && state.destination.address == source_.address);
    if (!concerned) {
        ++statistics_.denied;
        return answer_status(command, Status::access_denied);
    }
    hooks_.on_packet_resend(*range);
    answer_status(command, Status::success);
}

}  // namespace vex::virtual_device
