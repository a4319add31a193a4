#include "tools/pvctl/i2c_command.h"

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "tools/pvctl/failure.h"
#include "tools/pvctl/json_output.h"

namespace pvctl {

namespace {

/// The bytes at both ends are reserved addresses.
constexpr unsigned first_slave = 0x10;
constexpr unsigned last_slave = 0xEE;

std::uint8_t byte_of(const std::string& text)
{
    char* end = nullptr;
    const unsigned long value = std::strtoul(text.c_str(), &end, 0);
    if (text.empty() || *end != '\0' || text.front() == '-' || value > 0xFF) {
        throw CommandFailure("\"" + text + "\" is no byte: 0 to 255, or 0x00 to 0xFF", exit_code::wrong_usage);
    }
    return static_cast<std::uint8_t>(value);
}

std::string hexadecimal(unsigned byte)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%02X", byte);
    return text;
}

}  // namespace

I2cCommand::I2cCommand(CLI::App& app)
    : I2cCommand(*app.add_subcommand("i2c", "the slaves on a camera's I2C bus"), std::make_unique<Options>())
{}

I2cCommand::I2cCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    constexpr const char* slave = "its address as on the wire: the 7-bit address in the upper seven bits";
    command.require_subcommand(1);
    scan_ = &add(command, "scan", "list the slaves that acknowledge their address");
    CLI::App& read = add(command, "read", "read bytes of a slave");
    read.add_option("slave", options_->slave, slave)->required();
    read.add_option("count", options_->count, "bytes (default 1)")->check(CLI::Range(1, 65536));
    read.add_option("--offset", options_->offset, "where in the slave to begin");
    read.add_flag("--separate", options_->separate, "stop and start after the offset, not a repeated start");
    read_ = &read;
    CLI::App& write = add(command, "write", "write bytes to a slave");
    write.add_option("slave", options_->slave, slave)->required();
    write.add_option("bytes", options_->bytes, "0 to 255, or 0x00 to 0xFF")->required();
    write.add_option("--offset", options_->offset, "where in the slave to begin");
}

CLI::App& I2cCommand::add(CLI::App& command, const char* name, const char* what)
{
    CLI::App& added = *command.add_subcommand(name, what);
    options_->device.add(added);
    options_->device.add_key(added);
    options_->port.add(added);
    added.add_flag("--slow", options_->slow, "100 kHz instead of 400");
    added.add_flag("--json", options_->json, "for programs to read");
    return added;
}

int I2cCommand::run() const
{
    const PvIPEngineSerial port = options_->port.port();
    const auto device = options_->device.connect(PvAccessControl);
    PvIPEngineI2CBus bus;
    require(bus.Open(device.get(), port));
    if (scan_->parsed()) {
        return scan(bus);
    }
    return read_->parsed() ? read(bus) : write(bus);
}

int I2cCommand::scan(PvIPEngineI2CBus& bus) const
{
    Json all = Json::array();
    for (unsigned slave = first_slave; slave <= last_slave; slave += 2) {
        const PvResult result = bus.BurstWrite(static_cast<std::uint8_t>(slave), nullptr, 0, !options_->slow);
        if (result.GetCode() == PvResult::NotFound) {
            continue;
        }
        require(result);
        all.push_back(slave);
        if (!options_->json) {
            std::printf("%s (7-bit address %s)\n", hexadecimal(slave).c_str(), hexadecimal(slave / 2).c_str());
        }
    }
    if (options_->json) {
        print_json(all);
    }
    return exit_code::success;
}

int I2cCommand::read(PvIPEngineI2CBus& bus) const
{
    const std::uint8_t slave = byte_of(options_->slave);
    std::vector<std::uint8_t> bytes(options_->count);
    std::uint32_t count = 0;
    if (options_->offset.empty()) {
        require(bus.BurstRead(slave, bytes.data(), options_->count, count, !options_->slow));
    } else {
        require(bus.IndirectBurstRead(slave, byte_of(options_->offset), bytes.data(), options_->count, count,
                                      !options_->slow, !options_->separate));
    }
    bytes.resize(count);
    if (options_->json) {
        print_json(Json(bytes));
        return exit_code::success;
    }
    constexpr std::size_t line = 16;
    for (std::size_t at = 0; at < bytes.size(); ++at) {
        const bool last = at % line == line - 1 || at + 1 == bytes.size();
        std::printf("%02X%c", static_cast<unsigned>(bytes[at]), last ? '\n' : ' ');
    }
    return exit_code::success;
}

int I2cCommand::write(PvIPEngineI2CBus& bus) const
{
    const std::uint8_t slave = byte_of(options_->slave);
    std::vector<std::uint8_t> bytes;
    for (const std::string& text : options_->bytes) {
        bytes.push_back(byte_of(text));
    }
    const auto size = static_cast<std::uint32_t>(bytes.size());
    if (options_->offset.empty()) {
        require(bus.BurstWrite(slave, bytes.data(), size, !options_->slow));
    } else {
        require(bus.IndirectBurstWrite(slave, byte_of(options_->offset), bytes.data(), size, !options_->slow));
    }
    if (options_->json) {
        print_json({{"slave", slave}, {"bytes", size}});
    }
    return exit_code::success;
}

}  // namespace pvctl
