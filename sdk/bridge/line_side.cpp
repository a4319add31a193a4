#include "sdk/bridge/line_side.h"

#include <system_error>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/serial_port/line_outcome.h"
#include "sdk/serial_port/line_settings.h"

namespace vex::bridge {

namespace {

std::error_code canceled() noexcept { return std::make_error_code(std::errc::operation_canceled); }
std::error_code no_line() noexcept { return std::make_error_code(std::errc::no_such_device); }

/// `line` is set on success only.
PvResult open_line(const std::string& name, const PvSerialPortConfiguration& configuration,
                   std::shared_ptr<net::SerialLine>& line)
{
    if (PvResult invalid = configuration.IsValid(); !invalid.IsOK()) {
        return invalid;
    }
    try {
        line = net::SerialLine::open(name, serial_port::to_line(configuration));
        return PvResult::OK;
    } catch (const std::system_error& error) {
        return serial_port::line_refused(error.code(), name, configuration);
    }
}

}  // namespace

PvResult LineSide::open(const PvString& name, const PvSerialPortConfiguration& configuration,
                        std::unique_ptr<HostSide>& made)
{
    std::shared_ptr<net::SerialLine> line;
    PvResult result = open_line(name.str(), configuration, line);
    if (result.IsOK()) {
        made = std::make_unique<LineSide>(name.str(), configuration, std::move(line));
    }
    return result;
}

LineSide::LineSide(std::string name, const PvSerialPortConfiguration& configuration,
                   std::shared_ptr<net::SerialLine> line)
    : name_(std::move(name)), configuration_(configuration), line_(std::move(line))
{}

std::shared_ptr<net::SerialLine> LineSide::line() const noexcept
{
    const std::lock_guard lock(mutex_);
    return line_;
}

std::error_code LineSide::attach(std::chrono::milliseconds time) noexcept
{
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, time, [this] { return closed_ || line_ != nullptr; })) {
        return std::make_error_code(std::errc::timed_out);
    }
    return closed_ ? canceled() : std::error_code();
}

void LineSide::part() noexcept
{
    bool gone = false;
    {
        // one that was recovered meanwhile stays
        const std::lock_guard lock(mutex_);
        gone = line_ == std::exchange(failed_, nullptr);
    }
    if (gone) {
        close_line();
    }
}

void LineSide::close_line() noexcept
{
    std::shared_ptr<net::SerialLine> closed;
    {
        const std::lock_guard lock(mutex_);
        closed.swap(line_);
    }
    if (closed) {
        closed->close();
    }
}

std::size_t LineSide::read(std::span<std::uint8_t> bytes, std::chrono::milliseconds time,
                           std::error_code& error) noexcept
{
    const auto from = line();
    error = no_line();
    const std::size_t size = from ? from->read(bytes, time, error) : 0;
    if (error == std::errc::no_such_device) {
        const std::lock_guard lock(mutex_);
        failed_ = from;
    }
    return size;
}

std::size_t LineSide::write(std::span<const std::uint8_t> bytes, std::chrono::milliseconds time,
                            std::error_code& error) noexcept
{
    const auto to = line();
    error = no_line();
    return to ? to->write(bytes, time, error) : 0;
}

void LineSide::close() noexcept
{
    {
        const std::lock_guard lock(mutex_);
        closed_ = true;
    }
    changed_.notify_all();
    close_line();
}

PvResult LineSide::configure(const PvSerialPortConfiguration& configuration)
{
    if (PvResult invalid = configuration.IsValid(); !invalid.IsOK()) {
        return invalid;
    }
    const std::lock_guard one(recover_mutex_);
    if (const auto to = line()) {
        const std::error_code error = to->configure(serial_port::to_line(configuration));
        if (error == std::errc::not_supported) {
            return serial_port::line_refused(error, name_, configuration);
        }
    }
    const std::lock_guard lock(mutex_);
    configuration_ = configuration;  // one that has gone gets it when it is back
    return PvResult::OK;
}

PvResult LineSide::recover()
{
    const std::lock_guard one(recover_mutex_);
    if (const auto there = line(); there && !there->check()) {
        return PvResult::OK;
    }
    close_line();
    std::shared_ptr<net::SerialLine> made;
    if (PvResult result = open_line(name_, configuration_, made); !result.IsOK()) {
        return result;
    }
    {
        const std::lock_guard lock(mutex_);
        if (!closed_) {
            line_ = std::move(made);
        }
    }
    changed_.notify_all();
    return PvResult::OK;
}

}  // namespace vex::bridge
