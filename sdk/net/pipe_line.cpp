// The end of a pipe as a serial line.
#include <array>
#include <chrono>
#include <memory>
#include <mutex>
#include <utility>

#include "sdk/net/serial_line.h"
#include "sdk/net/system_pipe.h"
#include "sdk/net/system_serial_line.h"

namespace vex::net {

namespace {

class PipeLine final : public SystemSerialLine {
public:
    explicit PipeLine(std::unique_ptr<SystemPipe> pipe) noexcept : pipe_(std::move(pipe)) {}

    std::error_code configure(const SerialSettings& /*settings*/) noexcept override { return {}; }
    std::size_t read(std::span<std::uint8_t> bytes, const Deadline& deadline, std::error_code& error) noexcept override
    {
        const std::lock_guard one(reading_);
        return receive(bytes, deadline, error);
    }
    std::size_t write(std::span<const std::uint8_t> bytes, const Deadline& deadline,
                      std::error_code& error) noexcept override
    {
        const std::size_t count = pipe_->write(bytes, deadline, error);
        error = of_line(error);
        return count;
    }
    std::error_code discard_input() noexcept override
    {
        const std::unique_lock one(reading_, std::try_to_lock);
        if (!one) {
            return {};  // who reads takes at once what comes
        }
        std::array<std::uint8_t, 4096> bytes{};
        std::error_code error;
        while (!error) {
            (void)receive(bytes, Deadline(std::chrono::milliseconds(0)), error);
        }
        return error == std::errc::timed_out ? std::error_code() : error;
    }
    std::error_code check() noexcept override { return {}; }
    [[nodiscard]] LineErrors errors() noexcept override { return {}; }
    void wake() noexcept override { pipe_->wake(); }

private:
    std::size_t receive(std::span<std::uint8_t> bytes, const Deadline& deadline, std::error_code& error) noexcept
    {
        const std::size_t count = pipe_->read(bytes, deadline, error);
        error = of_line(error);
        return count;
    }
    /// A pipe that the other program has ended is a line that has gone.
    static std::error_code of_line(const std::error_code& error) noexcept
    {
        return error == std::errc::connection_reset ? std::make_error_code(std::errc::no_such_device) : error;
    }

    std::unique_ptr<SystemPipe> pipe_;
    std::mutex reading_;  ///< a pipe has one reader at a time
};

}  // namespace

std::shared_ptr<SerialLine> SerialLine::over_pipe(const PipeName& name, std::chrono::milliseconds timeout)
{
    return std::make_shared<SerialLine>(std::make_unique<PipeLine>(connect_system_pipe(name, timeout)));
}

}  // namespace vex::net
