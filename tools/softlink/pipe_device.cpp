#include "tools/softlink/pipe_device.h"

#include <array>
#include <chrono>
#include <span>
#include <system_error>

namespace softlink {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds look_interval{50};
constexpr milliseconds send_time{2000};  // for a program that does not read

}  // namespace

PipeDevice::PipeDevice(const vex::net::PipeName& name, const DeviceOptions& options, const FaultRates& rates,
                       std::string_view xml)
    : device_(options, vex::net::Clock::steady(), xml), faulty_(device_, rates),
      server_(vex::net::PipeServer::serve(name)), thread_([this] { serve(); })
{}

PipeDevice::~PipeDevice()
{
    stop_ = true;
    server_->close();
    thread_.join();
}

void PipeDevice::serve()
{
    std::array<std::uint8_t, 4096> bytes{};
    while (!stop_) {
        if (server_->accept(look_interval)) {
            continue;  // nobody has come
        }
        std::error_code error;
        while (!stop_ && (!error || error == std::errc::timed_out)) {
            const std::size_t got = server_->read(bytes, look_interval, error);
            for (const Answer& answer : faulty_.receive(std::span(bytes).first(got))) {
                send(answer);
            }
        }
    }
}

void PipeDevice::send(const Answer& answer)
{
    const auto due = std::chrono::steady_clock::now() + answer.after;
    while (!stop_ && std::chrono::steady_clock::now() < due) {
        std::this_thread::sleep_for(milliseconds(1));
    }
    std::error_code error;  // who does not take it hears nothing
    (void)server_->write(answer.bytes, send_time, error);
}

}  // namespace softlink
