#include <windows.h>

#include <algorithm>
#include <mutex>
#include <utility>

#include "sdk/net/owned_handle_windows.h"
#include "sdk/net/serial_settings_windows.h"
#include "sdk/net/system_serial_line.h"

namespace vex::net {

namespace {

std::error_code gone() noexcept { return std::make_error_code(std::errc::no_such_device); }
std::error_code timed_out() noexcept { return std::make_error_code(std::errc::timed_out); }
std::error_code canceled() noexcept { return std::make_error_code(std::errc::operation_canceled); }

/// The error of an open that failed, as SerialLine::open throws it.
std::error_code open_error(DWORD error) noexcept
{
    switch (error) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_DEV_NOT_EXIST:
    case ERROR_BAD_UNIT: return gone();
    case ERROR_ACCESS_DENIED:
    case ERROR_SHARING_VIOLATION: return std::make_error_code(std::errc::device_or_resource_busy);
    default: return {static_cast<int>(error), std::system_category()};
    }
}

class WindowsSerialLine final : public SystemSerialLine {
public:
    /// Every wait looks so often whether the line is still there.
    static constexpr int longest_wait_ms = 250;

    WindowsSerialLine(OwnedHandle port, const DCB& before, const COMMTIMEOUTS& times_before) noexcept
        : port_(std::move(port)), before_(before), times_before_(times_before)
    {}
    ~WindowsSerialLine() override
    {
        ::SetCommState(port_.get(), &before_);
        ::SetCommTimeouts(port_.get(), &times_before_);
    }

    [[nodiscard]] bool is_complete() const noexcept
    {
        return wake_.is_valid() && read_done_.is_valid() && write_done_.is_valid();
    }
    std::error_code configure(const SerialSettings& settings) noexcept override;
    std::size_t read(std::span<std::uint8_t> bytes, const Deadline& deadline, std::error_code& error) noexcept override;
    std::size_t write(std::span<const std::uint8_t> bytes, const Deadline& deadline,
                      std::error_code& error) noexcept override;

    std::error_code discard_input() noexcept override
    {
        return ::PurgeComm(port_.get(), PURGE_RXCLEAR) ? std::error_code() : gone();
    }
    std::error_code check() noexcept override
    {
        DWORD queued = 0;
        return look(queued);
    }
    [[nodiscard]] LineErrors errors() noexcept override
    {
        DWORD queued = 0;
        look(queued);
        const std::lock_guard lock(errors_mutex_);
        return errors_;
    }
    void wake() noexcept override { ::SetEvent(wake_.get()); }

private:
    /// Adds up line errors, and tells how many bytes can be read; an error when the line has gone.
    std::error_code look(DWORD& queued) noexcept;
    /// Waits for the end of a transfer that was begun, and cancels it where it takes too long; the bytes moved.
    std::size_t finish(OVERLAPPED& transfer, const Deadline& deadline, std::error_code& error) noexcept;
    /// What has come already.
    std::size_t read_queued(std::span<std::uint8_t> bytes) noexcept;

    const OwnedHandle port_;
    const OwnedHandle wake_ = new_event();
    const OwnedHandle read_done_ = new_event();
    const OwnedHandle write_done_ = new_event();
    DCB before_;
    COMMTIMEOUTS times_before_;
    std::mutex errors_mutex_;
    LineErrors errors_;
};

std::error_code WindowsSerialLine::configure(const SerialSettings& settings) noexcept
{
    const auto refused = std::make_error_code(std::errc::not_supported);
    DCB old{};
    old.DCBlength = sizeof old;
    if (!::GetCommState(port_.get(), &old)) {
        return gone();
    }
    if (settings.baud_rate == 0 || settings.data_bits < 5 || settings.data_bits > 8 || settings.stop_bits < 1 ||
        settings.stop_bits > 2) {
        return refused;
    }
    DCB wanted = to_system(settings, old);
    return ::SetCommState(port_.get(), &wanted) ? std::error_code() : refused;
}

std::error_code WindowsSerialLine::look(DWORD& queued) noexcept
{
    DWORD reported = 0;
    COMSTAT status{};
    if (!::ClearCommError(port_.get(), &reported, &status)) {
        return gone();
    }
    queued = status.cbInQue;
    const std::lock_guard lock(errors_mutex_);
    add_reported(errors_, reported);
    return {};
}

std::size_t WindowsSerialLine::finish(OVERLAPPED& transfer, const Deadline& deadline, std::error_code& error) noexcept
{
    const HANDLE events[] = {wake_.get(), transfer.hEvent};
    for (;;) {
        const DWORD time = static_cast<DWORD>(std::min(deadline.remaining_ms(), longest_wait_ms));
        const DWORD first = ::WaitForMultipleObjects(2, events, FALSE, time);
        DWORD queued = 0;
        if (first == WAIT_OBJECT_0 + 1) {
            break;
        }
        if (first == WAIT_OBJECT_0) {
            error = canceled();
        } else if (deadline.remaining_ms() == 0) {
            error = timed_out();
        } else {
            error = look(queued);
        }
        if (error) {
            ::CancelIoEx(port_.get(), &transfer);
            break;
        }
    }
    DWORD moved = 0;
    if (!::GetOverlappedResult(port_.get(), &transfer, &moved, TRUE) && !error) {
        error = gone();
    }
    return moved;
}

std::size_t WindowsSerialLine::read_queued(std::span<std::uint8_t> bytes) noexcept
{
    DWORD queued = 0;
    if (look(queued) || queued == 0 || bytes.empty()) {
        return 0;
    }
    OVERLAPPED transfer{};
    transfer.hEvent = read_done_.get();
    const DWORD size = static_cast<DWORD>(std::min<std::size_t>(queued, bytes.size()));
    if (!::ReadFile(port_.get(), bytes.data(), size, nullptr, &transfer) && ::GetLastError() != ERROR_IO_PENDING) {
        return 0;
    }
    std::error_code ignored;  // the next read finds it, too
    return finish(transfer, Deadline(std::chrono::milliseconds(longest_wait_ms)), ignored);
}

std::size_t WindowsSerialLine::read(std::span<std::uint8_t> bytes, const Deadline& deadline,
                                    std::error_code& error) noexcept
{
    // one byte, and then as many as have come with it: a read of more would wait for all of them
    OVERLAPPED transfer{};
    transfer.hEvent = read_done_.get();
    if (!::ReadFile(port_.get(), bytes.data(), 1, nullptr, &transfer) && ::GetLastError() != ERROR_IO_PENDING) {
        error = gone();
        return 0;
    }
    const std::size_t first = finish(transfer, deadline, error);
    if (first == 0) {
        if (!error) {
            error = gone();
        }
        return 0;
    }
    error = {};
    return first + read_queued(bytes.subspan(first));
}

std::size_t WindowsSerialLine::write(std::span<const std::uint8_t> bytes, const Deadline& deadline,
                                     std::error_code& error) noexcept
{
    constexpr std::size_t largest = 4096;  // so that it is known what went before a time-out
    std::size_t written = 0;
    while (written < bytes.size() && !error) {
        OVERLAPPED transfer{};
        transfer.hEvent = write_done_.get();
        const DWORD size = static_cast<DWORD>(std::min(bytes.size() - written, largest));
        if (!::WriteFile(port_.get(), bytes.data() + written, size, nullptr, &transfer) &&
            ::GetLastError() != ERROR_IO_PENDING) {
            error = gone();
            break;
        }
        written += finish(transfer, deadline, error);
    }
    if (written == bytes.size()) {
        error = {};
    }
    return written;
}

/// The name that opens a port, COM10 and above too; empty for what cannot be one.
std::wstring path_of(const std::string& name)
{
    const std::string prefix = R"(\\.\)";
    const std::string plain = name.rfind(prefix, 0) == 0 ? name.substr(prefix.size()) : name;
    const auto in_names = [](char each) {
        return (each >= '0' && each <= '9') || (each >= 'A' && each <= 'Z') || (each >= 'a' && each <= 'z') ||
               each == '_' || each == '-' || each == '#' || each == '$';
    };
    if (plain.empty() || !std::all_of(plain.begin(), plain.end(), in_names)) {
        return {};
    }
    const std::string path = prefix + plain;
    return {path.begin(), path.end()};
}

}  // namespace

std::unique_ptr<SystemSerialLine> open_system_line(const std::string& name, const SerialSettings& settings)
{
    const auto fail = [&name](std::error_code error) { throw std::system_error(error, "cannot open " + name); };
    const std::wstring path = path_of(name);
    if (path.empty()) {
        fail(std::make_error_code(std::errc::invalid_argument));
    }
    OwnedHandle port(::CreateFileW(path.c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                   FILE_FLAG_OVERLAPPED, nullptr));
    if (!port.is_valid()) {
        fail(open_error(::GetLastError()));
    }
    DCB before{};
    before.DCBlength = sizeof before;
    COMMTIMEOUTS times_before{};
    if (!::GetCommState(port.get(), &before) || !::GetCommTimeouts(port.get(), &times_before)) {
        fail(std::make_error_code(std::errc::inappropriate_io_control_operation));
    }
    COMMTIMEOUTS none{};
    if (!::SetCommTimeouts(port.get(), &none)) {
        fail(std::make_error_code(std::errc::not_supported));
    }
    auto opened = std::make_unique<WindowsSerialLine>(std::move(port), before, times_before);
    if (!opened->is_complete()) {
        fail(std::make_error_code(std::errc::not_enough_memory));
    }
    if (const std::error_code refused = opened->configure(settings); refused) {
        fail(refused);
    }
    opened->discard_input();
    return opened;
}

}  // namespace vex::net
