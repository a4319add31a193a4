#include "sdk/device/register_port.h"

#include <algorithm>
#include <array>
#include <limits>
#include <utility>

#include "sdk/wire/bootstrap.h"
#include "sdk/wire/bytes.h"

namespace vex::device {

namespace {

constexpr std::size_t word = 4;

thread_local int link_notifications = 0;
thread_local int own_accesses = 0;

bool is_on_device(std::int64_t address, std::size_t length) noexcept
{
    constexpr std::int64_t end = std::int64_t{std::numeric_limits<std::uint32_t>::max()} + 1;
    return address >= 0 && address <= end && length <= static_cast<std::uint64_t>(end - address);
}

template <typename Call>
void notify(EventSinks& sinks, Call call)
{
    ++link_notifications;
    sinks.notify(call);
    --link_notifications;
}

void check(const control::ControlOutcome& outcome, const control::Connection& connection)
{
    if (outcome.ok()) {
        return;
    }
    const PvResult result = connection.result_of(outcome);
    throw GenApi::PortError(result.GetCode(), std::string(result.description()));
}

}  // namespace

bool in_link_notification() noexcept { return link_notifications > 0; }

OwnAccesses::OwnAccesses() noexcept { ++own_accesses; }
OwnAccesses::~OwnAccesses() { --own_accesses; }

void notify_read(EventSinks& sinks, std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    if (!sinks.empty() && own_accesses == 0) {
        notify(sinks, [&](PvDeviceEventSink& sink) {
            sink.OnCmdLinkRead(bytes.data(), address, static_cast<std::int64_t>(bytes.size()));
        });
    }
}

void notify_write(EventSinks& sinks, std::uint32_t address, std::span<const std::uint8_t> bytes)
{
    if (!sinks.empty() && own_accesses == 0) {
        notify(sinks, [&](PvDeviceEventSink& sink) {
            sink.OnCmdLinkWrite(bytes.data(), address, static_cast<std::int64_t>(bytes.size()));
        });
    }
}

void notify_logged(EventSinks& sinks, std::span<const control::LoggedAccess> accesses)
{
    for (const control::LoggedAccess& access : accesses) {
        const auto notify_of = access.is_write ? &notify_write : &notify_read;
        notify_of(sinks, access.address, access.bytes);
    }
}

RegisterPort::RegisterPort(std::shared_ptr<EventSinks> sinks, const std::atomic<std::int32_t>& rule)
    : sinks_(std::move(sinks)), rule_(rule)
{}

void RegisterPort::set_schema(const GenApi::DescriptionInfo& info)
{
    legacy_schema_ = info.schema_major < 1 || (info.schema_major == 1 && info.schema_minor < 1);
}

void RegisterPort::attach(std::shared_ptr<control::Connection> connection)
{
    const std::scoped_lock lock(mutex_);
    connection_ = std::move(connection);
    attached_ = connection_ != nullptr;
}

void RegisterPort::detach() noexcept
{
    std::shared_ptr<control::Connection> dropped;  // its destruction needs no lock of ours
    const std::scoped_lock lock(mutex_);
    dropped.swap(connection_);
    attached_ = false;
}

std::shared_ptr<control::Connection> RegisterPort::connection_for(std::int64_t address, std::size_t length) const
{
    std::shared_ptr<control::Connection> connection;
    {
        const std::scoped_lock lock(mutex_);
        connection = connection_;
    }
    if (!connection) {
        throw GenApi::PortError(PvResult::NotConnected, "The device is not connected");
    }
    if (!is_on_device(address, length)) {
        throw GenApi::PortError(PvResult::InvalidParameter, "The device has no " + std::to_string(length) +
                                                                " bytes at address " + std::to_string(address));
    }
    return connection;
}

bool RegisterPort::swaps_registers(const control::Connection& connection) const noexcept
{
    const auto rule = static_cast<ByteOrderRule>(rule_.load(std::memory_order_relaxed));
    const bool legacy = rule == ByteOrderRule::automatic ? legacy_schema_.load(std::memory_order_relaxed)
                                                         : rule == ByteOrderRule::legacy;
    return !legacy && (connection.facts().mode & wire::bootstrap::mode::big_endian) == 0;
}

void RegisterPort::store_register(const control::Connection& connection, std::uint32_t value,
                                  std::span<std::uint8_t> out) const noexcept
{
    wire::store_be32(out.data(), value);
    if (swaps_registers(connection)) {
        std::reverse(out.begin(), out.end());
    }
}

std::size_t RegisterPort::words_at_once() const noexcept
{
    const std::scoped_lock lock(mutex_);
    return connection_ && connection_->channel().concatenation() ? control::ControlChannel::most_reads_per_message : 1;
}

bool RegisterPort::read_words(std::span<const GenApi::PortRead> words)
{
    std::array<std::uint32_t, control::ControlChannel::most_reads_per_message> addresses;
    std::array<std::uint32_t, control::ControlChannel::most_reads_per_message> values;
    if (words.empty() || words.size() > addresses.size()) {
        return false;
    }
    const auto connection = connection_for(words.front().address, word);
    for (std::size_t i = 0; i < words.size(); ++i) {
        if (!is_on_device(words[i].address, word)) {
            return false;
        }
        addresses[i] = static_cast<std::uint32_t>(words[i].address);
    }
    const auto outcome = connection->channel().read_registers(std::span(addresses).first(words.size()), values);
    if (outcome.kind == control::ControlOutcome::Kind::refused) {
        return false;
    }
    check(outcome, *connection);
    for (std::size_t i = 0; i < words.size(); ++i) {
        store_register(*connection, values[i], words[i].out);
        notify_read(*sinks_, addresses[i], words[i].out);
    }
    return true;
}

void RegisterPort::read(std::int64_t address, std::span<std::uint8_t> out)
{
    const auto connection = connection_for(address, out.size());
    const auto at = static_cast<std::uint32_t>(address);
    if (out.size() == word && at % word == 0) {
        std::uint32_t value = 0;
        check(connection->channel().read_register(at, value), *connection);
        store_register(*connection, value, out);
    } else {
        check(connection->channel().read_memory(at, out), *connection);
    }
    notify_read(*sinks_, at, out);
}

void RegisterPort::write(std::int64_t address, std::span<const std::uint8_t> data)
{
    const auto connection = connection_for(address, data.size());
    if (const PvResult writable = connection->check_writable(); !writable.IsOK()) {
        throw GenApi::PortError(writable.GetCode(), std::string(writable.description()));
    }
    const auto at = static_cast<std::uint32_t>(address);
    if (data.size() == word && at % word == 0) {
        std::array<std::uint8_t, word> bytes{};
        std::copy(data.begin(), data.end(), bytes.begin());
        if (swaps_registers(*connection)) {
            std::reverse(bytes.begin(), bytes.end());
        }
        check(connection->channel().write_register(at, wire::load_be32(bytes.data())), *connection);
    } else {
        check(connection->channel().write_memory(at, data), *connection);
    }
    notify_write(*sinks_, at, data);
}

}  // namespace vex::device
