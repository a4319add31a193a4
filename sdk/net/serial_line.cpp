#include "sdk/net/serial_line.h"

#include <utility>

#include "sdk/net/system_serial_line.h"

namespace vex::net {

using Use = Closable<SystemSerialLine>::Use;

namespace {

std::error_code canceled() noexcept { return std::make_error_code(std::errc::operation_canceled); }

}  // namespace

std::shared_ptr<SerialLine> SerialLine::open(const std::string& name, const SerialSettings& settings)
{
    return std::make_shared<SerialLine>(open_system_line(name, settings));
}

SerialLine::SerialLine(std::unique_ptr<SystemSerialLine> system) : system_(std::move(system)) {}

SerialLine::~SerialLine() = default;

void SerialLine::close() noexcept { system_.close(); }

std::error_code SerialLine::configure(const SerialSettings& settings) noexcept
{
    const Use system(system_);
    return system ? system->configure(settings) : canceled();
}

template <class Bytes, class Move>
std::size_t SerialLine::transfer(Bytes bytes, std::error_code& error, Move&& move) noexcept
{
    error = {};
    const Use system(system_);
    if (!system) {
        error = canceled();
        return 0;
    }
    return bytes.empty() ? 0 : move(*system.operator->());
}

std::size_t SerialLine::read(std::span<std::uint8_t> bytes, std::chrono::milliseconds timeout,
                             std::error_code& error) noexcept
{
    return transfer(bytes, error,
                    [&](SystemSerialLine& system) { return system.read(bytes, Deadline(timeout), error); });
}

std::size_t SerialLine::write(std::span<const std::uint8_t> bytes, std::chrono::milliseconds timeout,
                              std::error_code& error) noexcept
{
    return transfer(bytes, error,
                    [&](SystemSerialLine& system) { return system.write(bytes, Deadline(timeout), error); });
}

std::error_code SerialLine::discard_input() noexcept
{
    const Use system(system_);
    return system ? system->discard_input() : canceled();
}

std::error_code SerialLine::check() noexcept
{
    const Use system(system_);
    return system ? system->check() : canceled();
}

LineErrors SerialLine::errors() noexcept
{
    const Use system(system_);
    return system ? system->errors() : LineErrors();
}

}  // namespace vex::net
