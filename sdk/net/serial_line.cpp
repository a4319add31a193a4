#include "sdk/net/serial_line.h"

#include <utility>

#include "sdk/net/system_serial_line.h"

namespace vex::net {

/// Keeps the line open for the length of a call.
class SerialLine::Use {
public:
    explicit Use(SerialLine& line) noexcept : line_(line)
    {
        const std::lock_guard lock(line_.mutex_);
        if (!line_.closing_) {
            ++line_.users_;
            system_ = line_.system_.get();
        }
    }
    Use(const Use&) = delete;
    Use& operator=(const Use&) = delete;
    ~Use()
    {
        if (system_ != nullptr) {
            const std::lock_guard lock(line_.mutex_);
            --line_.users_;
            line_.unused_.notify_all();
        }
    }

    explicit operator bool() const noexcept { return system_ != nullptr; }
    SystemSerialLine* operator->() const noexcept { return system_; }

private:
    SerialLine& line_;
    SystemSerialLine* system_ = nullptr;
};

namespace {

std::error_code canceled() noexcept { return std::make_error_code(std::errc::operation_canceled); }

}  // namespace

std::shared_ptr<SerialLine> SerialLine::open(const std::string& name, const SerialSettings& settings)
{
    return std::make_shared<SerialLine>(open_system_line(name, settings));
}

SerialLine::SerialLine(std::unique_ptr<SystemSerialLine> system) : system_(std::move(system)) {}

SerialLine::~SerialLine() { close(); }

void SerialLine::close() noexcept
{
    std::unique_ptr<SystemSerialLine> closed;
    std::unique_lock lock(mutex_);
    closing_ = true;
    if (system_ != nullptr) {
        system_->wake();
    }
    unused_.wait(lock, [this] { return users_ == 0; });
    closed = std::move(system_);
    lock.unlock();
}

std::error_code SerialLine::configure(const SerialSettings& settings) noexcept
{
    const Use system(*this);
    return system ? system->configure(settings) : canceled();
}

template <class Bytes, class Move>
std::size_t SerialLine::transfer(Bytes bytes, std::error_code& error, Move&& move) noexcept
{
    error = {};
    const Use system(*this);
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
    const Use system(*this);
    return system ? system->discard_input() : canceled();
}

std::error_code SerialLine::check() noexcept
{
    const Use system(*this);
    return system ? system->check() : canceled();
}

LineErrors SerialLine::errors() noexcept
{
    const Use system(*this);
    return system ? system->errors() : LineErrors();
}

}  // namespace vex::net
