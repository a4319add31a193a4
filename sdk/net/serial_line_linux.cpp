#include <fcntl.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <mutex>
#include <utility>

#include "sdk/net/descriptor_linux.h"
#include "sdk/net/serial_settings_linux.h"
#include "sdk/net/system_serial_line.h"

namespace vex::net {

namespace {

std::error_code gone() noexcept { return std::make_error_code(std::errc::no_such_device); }

/// The error of an open that failed, as SerialLine::open throws it.
std::error_code open_error(int error) noexcept
{
    switch (error) {
    case ENOENT:
    case ENXIO:
    case ENODEV:
    case ENOTDIR: return gone();
    case EBUSY:
    case EWOULDBLOCK: return std::make_error_code(std::errc::device_or_resource_busy);
    case EACCES:
    case EPERM: return std::make_error_code(std::errc::permission_denied);
    case EISDIR:
    case ENOTTY:
    case EINVAL: return std::make_error_code(std::errc::inappropriate_io_control_operation);
    default: return {error, std::system_category()};
    }
}

/// A pseudo terminal takes any settings and keeps only some of them: there is no wire to have them.
bool is_pseudo_terminal(int descriptor) noexcept
{
    struct stat status {};
    constexpr unsigned first_major = 136;
    constexpr unsigned last_major = 143;
    return ::fstat(descriptor, &status) == 0 && major(status.st_rdev) >= first_major &&
           major(status.st_rdev) <= last_major;
}

bool is_close(std::uint32_t found, std::uint32_t wanted) noexcept
{
    constexpr std::uint64_t percent = 5;  // more, and a character's last bits are misread
    const std::uint64_t apart = found > wanted ? found - wanted : wanted - found;
    return apart * 100 <= wanted * percent;
}

class LinuxSerialLine final : public SystemSerialLine {
public:
    LinuxSerialLine(Descriptor line, Descriptor waker, const termios2& before) noexcept
        : line_(std::move(line)), waker_(std::move(waker)), before_(before)
    {
        counts_ = counted();
    }
    ~LinuxSerialLine() override
    {
        ::ioctl(line_.get(), TCSETS2, &before_);
        ::ioctl(line_.get(), TIOCNXCL);
    }

    std::error_code configure(const SerialSettings& settings) noexcept override;
    std::size_t read(std::span<std::uint8_t> bytes, const Deadline& deadline, std::error_code& error) noexcept override;
    std::size_t write(std::span<const std::uint8_t> bytes, const Deadline& deadline,
                      std::error_code& error) noexcept override;

    std::error_code discard_input() noexcept override
    {
        constexpr int input = 0;  // TCIFLUSH
        return ::ioctl(line_.get(), TCFLSH, input) == 0 ? std::error_code() : gone();
    }
    std::error_code check() noexcept override
    {
        pollfd entry{line_.get(), 0, 0};
        return ::poll(&entry, 1, 0) > 0 ? gone() : std::error_code();
    }
    [[nodiscard]] LineErrors errors() noexcept override
    {
        const std::lock_guard lock(errors_mutex_);
        const serial_icounter_struct now = counted();
        add_counted(errors_, std::exchange(counts_, now), now);
        return errors_;
    }
    void wake() noexcept override
    {
        const std::uint64_t one = 1;
        [[maybe_unused]] const ssize_t written = ::write(waker_.get(), &one, sizeof one);
    }

private:
    /// All zero where the driver does not count.
    [[nodiscard]] serial_icounter_struct counted() const noexcept
    {
        serial_icounter_struct counts{};
        return ::ioctl(line_.get(), TIOCGICOUNT, &counts) == 0 ? counts : serial_icounter_struct{};
    }
    /// Waits for an event of the line; an error says why there was none.
    std::error_code wait(short event, const Deadline& deadline) noexcept;

    const Descriptor line_;
    const Descriptor waker_;
    const termios2 before_;
    std::mutex errors_mutex_;
    serial_icounter_struct counts_{};
    LineErrors errors_;
};

std::error_code LinuxSerialLine::configure(const SerialSettings& settings) noexcept
{
    const auto refused = std::make_error_code(std::errc::not_supported);
    const auto frame = frame_flags(settings);
    termios2 old{};
    if (!frame || settings.baud_rate == 0) {
        return refused;
    }
    if (::ioctl(line_.get(), TCGETS2, &old) != 0) {
        return gone();
    }
    termios2 wanted{};
    wanted.c_cflag = *frame | CREAD | CLOCAL | BOTHER | (BOTHER << IBSHIFT) | (before_.c_cflag & HUPCL);
    wanted.c_ispeed = settings.baud_rate;
    wanted.c_ospeed = settings.baud_rate;
    wanted.c_cc[VMIN] = 1;
    if (::ioctl(line_.get(), TCSETS2, &wanted) != 0) {
        return errno == EIO ? gone() : refused;
    }
    termios2 found{};
    if (::ioctl(line_.get(), TCGETS2, &found) != 0) {
        return gone();
    }
    if (!is_pseudo_terminal(line_.get()) &&
        ((found.c_cflag & frame_mask) != *frame || !is_close(found.c_ospeed, settings.baud_rate))) {
        ::ioctl(line_.get(), TCSETS2, &old);
        return refused;
    }
    return {};
}

std::error_code LinuxSerialLine::wait(short event, const Deadline& deadline) noexcept
{
    for (;;) {
        pollfd entries[] = {{line_.get(), event, 0}, {waker_.get(), POLLIN, 0}};
        const int ready = ::poll(entries, 2, deadline.remaining_ms());
        if (ready < 0 && errno != EINTR) {
            return {errno, std::system_category()};
        }
        if (ready > 0 && entries[1].revents != 0) {
            return std::make_error_code(std::errc::operation_canceled);
        }
        if (ready > 0 && (entries[0].revents & event) != 0) {
            return {};
        }
        if (ready > 0) {
            return gone();  // it was hung up
        }
        if (deadline.remaining_ms() == 0) {
            return std::make_error_code(std::errc::timed_out);
        }
    }
}

std::size_t LinuxSerialLine::read(std::span<std::uint8_t> bytes, const Deadline& deadline,
                                  std::error_code& error) noexcept
{
    for (;;) {
        error = wait(POLLIN, deadline);
        if (error) {
            return 0;
        }
        const ssize_t size = ::read(line_.get(), bytes.data(), bytes.size());
        if (size > 0) {
            return static_cast<std::size_t>(size);
        }
        if (size == 0 || (errno != EAGAIN && errno != EINTR)) {
            error = gone();
            return 0;
        }
        if (deadline.remaining_ms() == 0) {
            error = std::make_error_code(std::errc::timed_out);
            return 0;
        }
    }
}

std::size_t LinuxSerialLine::write(std::span<const std::uint8_t> bytes, const Deadline& deadline,
                                   std::error_code& error) noexcept
{
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t size = ::write(line_.get(), bytes.data() + written, bytes.size() - written);
        if (size > 0) {
            written += static_cast<std::size_t>(size);
        } else if (size < 0 && errno != EAGAIN && errno != EINTR) {
            error = gone();
            break;
        } else if (error = wait(POLLOUT, deadline); error) {
            break;
        }
    }
    return written;
}

std::string path_of(const std::string& name) { return name.find('/') == std::string::npos ? "/dev/" + name : name; }

}  // namespace

std::unique_ptr<SystemSerialLine> open_system_line(const std::string& name, const SerialSettings& settings)
{
    const auto fail = [&name](std::error_code error) { throw std::system_error(error, "cannot open " + name); };
    if (name.empty() || name.find('\0') != std::string::npos) {
        fail(std::make_error_code(std::errc::invalid_argument));
    }
    Descriptor line(::open(path_of(name).c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC));
    if (line.get() < 0) {
        fail(open_error(errno));
    }
    termios2 before{};
    if (::ioctl(line.get(), TCGETS2, &before) != 0) {
        fail(errno == EIO ? gone() : open_error(ENOTTY));
    }
    // TIOCEXCL does not keep out root, so the lock that other programs of this kind take, too
    if (::flock(line.get(), LOCK_EX | LOCK_NB) != 0 || ::ioctl(line.get(), TIOCEXCL) != 0) {
        fail(open_error(errno));
    }
    Descriptor waker(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
    if (waker.get() < 0) {
        fail({errno, std::system_category()});
    }
    auto opened = std::make_unique<LinuxSerialLine>(std::move(line), std::move(waker), before);
    if (const std::error_code refused = opened->configure(settings); refused) {
        fail(refused);
    }
    opened->discard_input();
    return opened;
}

}  // namespace vex::net
