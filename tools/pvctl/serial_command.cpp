#include "tools/pvctl/serial_command.h"

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <span>
#include <thread>
#include <utility>

#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/serial/port_names.h"
#include "tools/pvctl/console.h"
#include "tools/pvctl/failure.h"

namespace pvctl {

namespace {

using std::chrono::steady_clock;

constexpr char end_key = 0x1D;  // Ctrl+]
constexpr std::uint32_t look_interval_ms = 50;
constexpr std::size_t hexadecimal_line = 16;

/// Prints received bytes and writes them to a file, if wanted.
class Received {
public:
    Received(const std::string& log, bool hexadecimal) : hexadecimal_(hexadecimal)
    {
        if (!log.empty()) {
            log_ = std::fopen(log.c_str(), "wb");
            if (log_ == nullptr) {
                throw CommandFailure("Cannot write \"" + log + "\"");
            }
        }
    }
    Received(const Received&) = delete;
    Received& operator=(const Received&) = delete;
    ~Received()
    {
        if (hexadecimal_ && column_ != 0) {
            std::fputc('\n', stdout);
        }
        std::fflush(stdout);
        if (log_ != nullptr) {
            std::fclose(log_);
        }
    }

    void show(std::span<const std::uint8_t> bytes)
    {
        if (log_ != nullptr) {
            std::fwrite(bytes.data(), 1, bytes.size(), log_);
        }
        if (!hexadecimal_) {
            std::fwrite(bytes.data(), 1, bytes.size(), stdout);
        }
        for (std::size_t i = 0; hexadecimal_ && i < bytes.size(); ++i) {
            column_ = (column_ + 1) % hexadecimal_line;
            std::printf("%02X%c", static_cast<unsigned>(bytes[i]), column_ == 0 ? '\n' : ' ');
        }
        std::fflush(stdout);
    }

private:
    const bool hexadecimal_;
    std::size_t column_ = 0;
    std::FILE* log_ = nullptr;
};

/// Shows what comes, until `ended` and nothing has come for `quiet`. What ended it otherwise.
PvResult receive(PvSerialPortIPEngine& port, Received& received, const std::atomic<bool>& ended,
                 std::chrono::milliseconds quiet)
{
    std::array<std::uint8_t, 4096> bytes{};
    auto last = steady_clock::now();
    for (;;) {
        std::uint32_t first = 0;
        const PvResult result = port.Read(bytes.data(), 1, first, look_interval_ms);
        if (!result.IsOK() && result.GetCode() != PvResult::Timeout) {
            return result;
        }
        if (first != 0) {
            std::uint32_t more = 0;
            (void)port.Read(bytes.data() + 1, static_cast<std::uint32_t>(bytes.size() - 1), more, 0);
            received.show(std::span(bytes).first(first + more));
            last = steady_clock::now();
        } else if (!ended) {
            last = steady_clock::now();
        } else if (steady_clock::now() - last >= quiet) {
            return PvResult::OK;
        }
    }
}

/// Sends the input until its end, or the key that ends it.
void send_input(PvSerialPortIPEngine& port, RawInput& input)
{
    std::array<std::uint8_t, 4096> bytes{};
    for (;;) {
        std::span<const std::uint8_t> typed(bytes.data(), input.read(bytes));
        if (typed.empty()) {
            return;
        }
        bool ends = false;
        for (std::size_t i = 0; input.is_terminal() && i < typed.size(); ++i) {
            if (typed[i] == static_cast<std::uint8_t>(end_key)) {
                typed = typed.first(i);
                ends = true;
            }
        }
        std::uint32_t written = 0;
        require(port.Write(typed.data(), static_cast<std::uint32_t>(typed.size()), written));
        if (ends) {
            return;
        }
    }
}

}  // namespace

SerialCommand::SerialCommand(CLI::App& app)
    : SerialCommand(*app.add_subcommand("serial", "a terminal on a camera's serial port; Ctrl+] ends it"),
                    std::make_unique<Options>())
{}

SerialCommand::SerialCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    options_->device.add(command);
    options_->device.add_key(command);
    options_->port.add(command);
    command.add_option("--baud", options_->baud_rate, "bits per second (default: as the camera is set)")
        ->check(CLI::Range(1, 4'000'000));
    command.add_flag("--hex", options_->hexadecimal, "show received bytes in hexadecimal");
    command.add_option("--log", options_->log, "file that received bytes are written to, too");
    command.add_option("--wait", options_->wait, "milliseconds to listen on after the input's end (default 500)")
        ->check(CLI::Range(0, 3'600'000));
}

int SerialCommand::run() const
{
    const PvIPEngineSerial which = options_->port.port();
    const auto device = options_->device.connect(PvAccessControl);
    PvSerialPortIPEngine port;
    require(port.Open(device.get(), which));
    if (options_->baud_rate != 0) {
        const std::string name = vex::serial::feature_prefix(vex::serial::name_of(which)) + "BaudRate";
        require(device->GetGenParameters()->SetIntegerValue(PvString(name), options_->baud_rate));
    }
    Received received(options_->log, options_->hexadecimal);
    RawInput input;
    std::atomic<bool> ended{false};
    PvResult result;
    std::thread receiver([&] { result = receive(port, received, ended, std::chrono::milliseconds(options_->wait)); });
    try {
        send_input(port, input);
    } catch (...) {
        (void)port.Close();  // ends the receiver, too
        receiver.join();
        throw;
    }
    ended = true;
    receiver.join();
    require(result);
    return exit_code::success;
}

}  // namespace pvctl
