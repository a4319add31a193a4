#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include "tools/softlink/pty_device.h"

namespace softlink {

namespace {

constexpr int look_interval_ms = 50;
constexpr std::int64_t bits_of_character = 10;  // start, 8 data bits, stop

[[noreturn]] void fail(const char* what) { throw std::system_error(errno, std::generic_category(), what); }

}  // namespace

PtyDevice::PtyDevice(const DeviceOptions& options, const FaultRates& rates, std::string_view xml)
    : device_(options, vex::net::Clock::steady(), xml), faulty_(device_, rates),
      byte_time_(options.baud_rate == 0 ? 0 : 1'000'000 * bits_of_character / options.baud_rate)
{
    master_ = ::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master_ < 0) {
        fail("There is no pseudo terminal");
    }
    const char* const name = ::grantpt(master_) == 0 && ::unlockpt(master_) == 0 ? ::ptsname(master_) : nullptr;
    termios settings{};
    if (name == nullptr || ::tcgetattr(master_, &settings) != 0) {
        ::close(master_);
        fail("The pseudo terminal cannot be used");
    }
    // bytes pass as they are, also before a program has set the line
    ::cfmakeraw(&settings);
    ::tcsetattr(master_, TCSANOW, &settings);
    name_ = name;
    thread_ = std::thread([this] { serve(); });
}

PtyDevice::~PtyDevice()
{
    stop_ = true;
    thread_.join();
    ::close(master_);
}

void PtyDevice::serve()
{
    std::array<std::uint8_t, 4096> bytes{};
    while (!stop_) {
        pollfd waited{master_, POLLIN, 0};
        if (::poll(&waited, 1, look_interval_ms) <= 0 || (waited.revents & POLLIN) == 0) {
            if ((waited.revents & POLLHUP) != 0) {  // nobody has the line open, and poll does not wait then
                std::this_thread::sleep_for(std::chrono::milliseconds(look_interval_ms));
            }
            continue;
        }
        const ssize_t got = ::read(master_, bytes.data(), bytes.size());
        if (got > 0) {
            for (const Answer& answer : faulty_.receive(std::span(bytes).first(static_cast<std::size_t>(got)))) {
                if (!silent_) {
                    send(answer);
                }
            }
        }
    }
}

void PtyDevice::send(const Answer& answer)
{
    const auto due = std::chrono::steady_clock::now() + answer.after + answer.bytes.size() * byte_time_;
    while (!stop_ && std::chrono::steady_clock::now() < due) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    std::size_t sent = 0;
    while (!stop_ && sent < answer.bytes.size()) {
        pollfd waited{master_, POLLOUT, 0};
        if (::poll(&waited, 1, look_interval_ms) > 0) {
            const ssize_t written = ::write(master_, answer.bytes.data() + sent, answer.bytes.size() - sent);
            if (written < 0 && errno != EAGAIN && errno != EINTR) {
                return;  // nobody has the line open any more
            }
            sent += written > 0 ? static_cast<std::size_t>(written) : 0;
        }
    }
}

}  // namespace softlink
