#include "sdk/genicp/memory_port.h"

#include <string>
#include <utility>

namespace vex::genicp {

namespace {

void check(const PvResult& result)
{
    if (!result.IsOK()) {
        throw GenApi::PortError(result.GetCode(), std::string(result.description()));
    }
}

}  // namespace

void MemoryPort::attach(std::shared_ptr<Connection> connection)
{
    // the one before goes without the lock: its end takes its time
    const std::shared_ptr<Connection> before = [&] {
        const std::scoped_lock lock(mutex_);
        return std::exchange(connection_, std::move(connection));
    }();
}

std::shared_ptr<Connection> MemoryPort::connection() const
{
    const std::scoped_lock lock(mutex_);
    if (connection_ == nullptr) {
        throw GenApi::PortError(PvResult::NotConnected, "The device is not connected");
    }
    return connection_;
}

void MemoryPort::read(std::int64_t address, std::span<std::uint8_t> out)
{
    // addresses are patterns of 64 bits; descriptions write the upper half as negative numbers
    check(connection()->read(static_cast<std::uint64_t>(address), out));
}

void MemoryPort::write(std::int64_t address, std::span<const std::uint8_t> data)
{
    check(connection()->write(static_cast<std::uint64_t>(address), data));
}

bool MemoryPort::is_open() const noexcept
{
    const std::scoped_lock lock(mutex_);
    return connection_ != nullptr && !connection_->is_lost();
}

}  // namespace vex::genicp
