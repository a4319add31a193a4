#include "sdk/serial_port/host_serial_port.h"

#include <algorithm>
#include <array>
#include <new>
#include <span>
#include <system_error>
#include <utility>
#include <vector>

#include "sdk/base/failure.h"
#include "sdk/base/thread_name.h"
#include "sdk/base/trace.h"
#include "sdk/serial_port/line_outcome.h"
#include "sdk/serial_port/line_settings.h"

namespace vex::serial_port {

namespace {

using std::chrono::milliseconds;

/// How often a thread that waits looks whether the line is still there.
constexpr milliseconds look_interval{250};

PvResult not_open() noexcept { return failure(PvResult::NotConnected, "The serial port is not open"); }
PvResult gone(const std::string& name) noexcept
{
    return failure(PvResult::NotConnected, "The serial port ", name, " has gone");
}

PvResult pipe_refused(const std::error_code& error, const std::string& name) noexcept
{
    if (error == std::errc::no_such_file_or_directory || error == std::errc::connection_refused) {
        return failure(PvResult::NotFound, "Nobody serves ", name);
    }
    if (error == std::errc::device_or_resource_busy) {
        return failure(PvResult::StateError, name, " is in use by another program");
    }
    if (error == std::errc::timed_out) {
        return failure(PvResult::Timeout, name, " does not answer");
    }
    return failure(PvResult::GenericError, name, " cannot be opened: ", error.message());
}

/// How long a write may take: twice what the line needs, and a second.
milliseconds write_time(std::uint32_t bytes, const PvSerialPortConfiguration& configuration) noexcept
{
    constexpr std::uint64_t most_bits = 12;  // start, 8 data bits, parity, 2 stop bits
    return milliseconds(1000 + 2 * 1000 * most_bits * bytes / configuration.BaudRate);
}

}  // namespace

HostSerialPort::~HostSerialPort() { (void)HostSerialPort::Close(); }

PvResult HostSerialPort::open(const PvString& name, const PvSerialPortConfiguration& configuration)
{
    return open_over(name, configuration, [&] { return net::SerialLine::open(name.str(), to_line(configuration)); });
}

PvResult HostSerialPort::open_pipe(const net::PipeName& pipe, const PvSerialPortConfiguration& configuration,
                                   milliseconds timeout)
{
    const std::string name = pipe.to_string();
    try {
        const std::shared_ptr<net::SerialLine> line = net::SerialLine::over_pipe(pipe, timeout);
        return open_over(PvString(name), configuration, [&] { return line; });
    } catch (const std::system_error& error) {
        return pipe_refused(error.code(), name);
    }
}

template <class OpenLine>
PvResult HostSerialPort::open_over(const PvString& name, const PvSerialPortConfiguration& configuration,
                                   OpenLine&& open_line)
{
    if (PvResult invalid = configuration.IsValid(); !invalid.IsOK()) {
        return invalid;
    }
    const std::lock_guard control(control_mutex_);
    if (IsOpened()) {
        return failure(PvResult::StateError, "The serial port ", opened().name, " is open already");
    }
    close_line();
    try {
        const std::shared_ptr<net::SerialLine> line = open_line();
        Opened made{name.str(), configuration, line, false};
        if (PvResult no_memory = received_.open(); !no_memory.IsOK()) {
            return no_memory;
        }
        const std::lock_guard lock(mutex_);  // which the thread takes to say that the line has gone
        receiver_ = std::thread([this, line] { receive(*line); });
        opened_ = std::move(made);
        trace::write(trace::Category::serial, trace::Level::info, [&] { return name.str() + " opened"; });
        return PvResult::OK;
    } catch (const std::system_error& error) {
        trace::write(trace::Category::serial, trace::Level::error,
                     [&] { return name.str() + " cannot be opened: " + error.what(); });
        return line_refused(error.code(), name.str(), configuration);
    } catch (const std::bad_alloc&) {
        return PvResult::NotEnoughMemory;
    }
}

PvResult HostSerialPort::configure(const PvSerialPortConfiguration& configuration)
{
    if (PvResult invalid = configuration.IsValid(); !invalid.IsOK()) {
        return invalid;
    }
    const Opened now = opened();
    if (now.line == nullptr) {
        return not_open();
    }
    if (const std::error_code error = now.line->configure(to_line(configuration)); error) {
        return error == std::errc::not_supported ? line_refused(error, now.name, configuration) : gone(now.name);
    }
    const std::lock_guard lock(mutex_);
    opened_.configuration = configuration;
    return PvResult::OK;
}

PvResult HostSerialPort::Close()
{
    const std::lock_guard control(control_mutex_);
    close_line();
    return PvResult::OK;
}

void HostSerialPort::close_line()
{
    Opened closed;
    {
        const std::lock_guard lock(mutex_);
        closed = std::exchange(opened_, {});
    }
    if (closed.line == nullptr) {
        return;
    }
    received_.close(failure(PvResult::Aborted, "The serial port ", closed.name, " was closed"), not_open());
    trace::write(trace::Category::serial, trace::Level::info, [&] { return closed.name + " closed"; });
    closed.line->close();
    receiver_.join();
}

HostSerialPort::Opened HostSerialPort::opened() const
{
    const std::lock_guard lock(mutex_);
    return opened_;
}

bool HostSerialPort::IsOpened()
{
    const std::lock_guard lock(mutex_);
    return opened_.line != nullptr && !opened_.gone;
}

PvResult HostSerialPort::Write(const std::uint8_t* aBuffer, std::uint32_t aSize, std::uint32_t& aBytesWritten)
{
    aBytesWritten = 0;
    if (aBuffer == nullptr && aSize != 0) {
        return failure(PvResult::InvalidParameter, "There is no buffer to write ", aSize, " bytes from");
    }
    const std::lock_guard one(write_mutex_);
    const Opened now = opened();
    if (now.line == nullptr) {
        return not_open();
    }
    if (now.gone) {
        return gone(now.name);
    }
    const milliseconds time = write_time(aSize, now.configuration);
    std::error_code error;
    aBytesWritten = static_cast<std::uint32_t>(now.line->write({aBuffer, aSize}, time, error));
    if (!error) {
        return PvResult::OK;
    }
    if (error == std::errc::timed_out) {
        return failure(PvResult::Timeout, "The serial port ", now.name, " took ", aBytesWritten, " of ", aSize,
                       " bytes within ", time.count(), " ms");
    }
    if (error == std::errc::operation_canceled) {
        return failure(PvResult::Aborted, "The serial port ", now.name, " was closed");
    }
    return gone(now.name);
}

PvResult HostSerialPort::Read(std::uint8_t* aBuffer, std::uint32_t aBufferSize, std::uint32_t& aBytesRead,
                              std::uint32_t aTimeout)
{
    aBytesRead = 0;
    if (aBuffer == nullptr && aBufferSize != 0) {
        return failure(PvResult::InvalidParameter, "There is no buffer to read ", aBufferSize, " bytes into");
    }
    return received_.read({aBuffer, aBufferSize}, aBytesRead, milliseconds(aTimeout));
}

PvResult HostSerialPort::GetRxBytesReady(std::uint32_t& aBytes)
{
    aBytes = received_.ready();
    return opened().line != nullptr ? PvResult(PvResult::OK) : not_open();
}

PvResult HostSerialPort::FlushRxBuffer()
{
    const Opened now = opened();
    if (now.line == nullptr) {
        return not_open();
    }
    (void)now.line->discard_input();  // one that has gone has none
    received_.flush();
    return PvResult::OK;
}

PvResult HostSerialPort::GetRxBufferSize(std::uint32_t& aSize)
{
    aSize = received_.size();
    return PvResult::OK;
}

PvResult HostSerialPort::SetRxBufferSize(std::uint32_t aSize) { return received_.resize(aSize); }

net::LineErrors HostSerialPort::line_errors()
{
    const auto line = opened().line;
    return line != nullptr ? line->errors() : net::LineErrors();
}

void HostSerialPort::receive(net::SerialLine& line)
{
    name_this_thread("VexSerialPort");
    std::array<std::uint8_t, 4096> bytes{};
    std::span<std::uint8_t> left;  // read from the line; a buffer that was made smaller meanwhile has no room yet
    for (;;) {
        std::error_code error;
        if (const std::size_t room = received_.wait_for_room(look_interval); room == 0) {
            error = line.check();
        } else if (left.empty()) {
            const std::size_t most = std::min(room, bytes.size());
            left = std::span(bytes).first(line.read(std::span(bytes).first(most), look_interval, error));
        }
        left = left.subspan(received_.offer(left));
        if (error && error != std::errc::timed_out) {
            if (error != std::errc::operation_canceled) {
                received_.end(gone(mark_gone()));
            }
            return;
        }
    }
}

std::string HostSerialPort::mark_gone()
{
    const std::lock_guard lock(mutex_);
    opened_.gone = true;
    return opened_.name;
}

}  // namespace vex::serial_port
