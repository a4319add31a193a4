#include "tools/pvctl/bridge_command.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <utility>

#include "sdk/net/pipe_name.h"
#include "sdk/serial/port_names.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/interrupt.h"
#include "tools/pvctl/json_output.h"

namespace pvctl {

namespace {

/// Where other programs find the bridge.
std::string place_of(const PvSerialBridge& bridge)
{
    if (!bridge.GetSerialPort().empty()) {
        return bridge.GetSerialPort().str();
    }
    const auto name = vex::net::PipeName::parse(bridge.GetName().view());
    return name && !name->tcp ? name->to_string() + " (" + name->path() + ")" : bridge.GetName().str();
}

}  // namespace

BridgeCommand::BridgeCommand(CLI::App& app)
    : BridgeCommand(*app.add_subcommand("bridge", "joins a camera's serial port to this computer, until Ctrl+C"),
                    std::make_unique<Options>())
{}

BridgeCommand::BridgeCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    options_->device.add(command);
    options_->device.add_key(command);
    options_->port.add(command);
    PvSerialPortConfiguration& line = options_->configuration;
    CLI::Option* const name =
        command.add_option("--name", options_->name, "serve other programs by this name, or on tcp:PORT");
    CLI::Option* const opened =
        command.add_option("--line", options_->line, "a serial line of this computer")->excludes(name);
    command.add_option("--baud", line.BaudRate, "bits per second of the line (default 9600)")->needs(opened);
    command.add_option("--parity", line.Parity, "of the line: none (default), even or odd")
        ->needs(opened)
        ->transform(CLI::CheckedTransformer(
            std::map<std::string, PvParity>{{"none", PvParityNone}, {"even", PvParityEven}, {"odd", PvParityOdd}}));
    command.add_option("--bits", line.ByteSize, "data bits of the line, 5 to 8 (default 8)")->needs(opened);
    command.add_option("--stop-bits", line.StopBits, "stop bits of the line, 1 (default) or 2")->needs(opened);
    command.add_option("--device-baud", options_->device_baud_rate,
                       "bits per second of the camera's side (default: as the line, or as the camera is set)");
    command.add_flag("--json", options_->json, "for programs to read: an object in each line");
}

int BridgeCommand::run() const
{
    if (options_->name.empty() && options_->line.empty()) {
        throw CommandFailure("A bridge needs --name NAME or --line LINE", exit_code::wrong_usage);
    }
    Interrupt interrupt;
    const PvIPEngineSerial port = options_->port.port();
    const auto device = options_->device.connect(PvAccessControl);
    PvSerialBridge bridge;
    require(bridge.SetHardCodedBaudRate(options_->device_baud_rate));
    require(options_->line.empty()
                ? bridge.Start(PvString(options_->name), device.get(), port)
                : bridge.Start(PvString(options_->line), options_->configuration, device.get(), port));
    const std::string place = place_of(bridge);
    if (options_->json) {
        print_json_line({{"port", vex::serial::name_of(port)}, {"joined", place}, {"baud", bridge.GetBaudRate()}});
    } else {
        std::printf("%s is joined to %s at %u baud\n", vex::serial::name_of(port).c_str(), place.c_str(),
                    bridge.GetBaudRate());
        std::fflush(stdout);
    }
    while (!interrupt.wait(std::chrono::seconds(1))) {
        (void)bridge.Recover();  // a line that was unplugged may be back
    }
    require(bridge.Stop());
    const std::uint64_t sent = bridge.GetBytesSentToDevice();
    const std::uint64_t received = bridge.GetBytesReceivedFromDevice();
    const std::uint64_t dropped = bridge.GetBytesDropped();
    if (options_->json) {
        print_json_line({{"sent", sent}, {"received", received}, {"dropped", dropped}});
    } else {
        std::puts((std::to_string(sent) + " bytes to the camera, " + std::to_string(received) + " from it, " +
                   std::to_string(dropped) + " of these dropped")
                      .c_str());
    }
    return exit_code::success;
}

}  // namespace pvctl
