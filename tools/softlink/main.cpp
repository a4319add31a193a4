// softlink: a simulated camera on a serial line, which is a pseudo terminal.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <system_error>

#include <CLI/CLI.hpp>

#include "tools/softcam/stop_signal.h"
#include "tools/softlink/pipe_device.h"
#include "tools/softlink/pty_device.h"
#include "tools/softlink/terminal_owner.h"

namespace {

struct CommandLine {
    softlink::DeviceOptions device;
    softlink::FaultRates faults;
    std::string link;
    std::string serve;
    std::string xml;
    std::uint32_t heartbeat_ms = 0;
    std::uint32_t pending_ms = 200;
};

void declare(CLI::App& app, CommandLine& line)
{
    app.add_option("--link", line.link, "Name of a link to make to the line, removed at the end");
    app.add_option("--serve", line.serve, "pipe:NAME or tcp:PORT to serve, in place of a pseudo terminal");
    app.add_option("--xml", line.xml, "File with the description of the features, in place of the built-in one");
    app.add_option("--manufacturer", line.device.manufacturer, "Manufacturer's name");
    app.add_option("--model", line.device.model, "Model's name");
    app.add_option("--serial", line.device.serial_number, "Serial number");
    app.add_option("--user-name", line.device.user_defined_name, "User-defined name");
    app.add_option("--heartbeat", line.heartbeat_ms, "Milliseconds until a silent host is forgotten; 0: no heartbeat");
    app.add_option("--baud", line.device.baud_rate, "Answers take their time at this rate; 0: no time");
    app.add_option("--longest-access", line.device.longest_access, "Bytes of the longest access that is not refused")
        ->check(CLI::Range(4, 1008));
    app.add_flag("--single-registers", line.device.single_registers, "Bootstrap registers are read one by one only");
    app.add_flag("!--no-privilege", line.device.privilege, "Features can be written without the access privilege");
    app.add_flag("!--no-manifest", line.device.manifest, "The device has no description of its own");
    app.add_flag("!--no-packed", line.device.packed_description, "Its description is not there as an archive");
    app.add_option("--seed", line.faults.seed, "Seed of the faults");
    const auto rate = [&](const char* name, unsigned& value, const char* what) {
        app.add_option(name, value, std::string(what) + ", of 1000")->check(CLI::Range(0, 1000));
    };
    rate("--lose-commands", line.faults.lost_commands, "Commands that never come");
    rate("--lose-answers", line.faults.lost_answers, "Answers that never come");
    rate("--double", line.faults.doubled, "Answers that come twice");
    rate("--flip", line.faults.flipped, "Answers with a wrong bit");
    rate("--cut", line.faults.cut, "Answers that end early");
    rate("--garbage", line.faults.garbage, "Answers with garbage before them");
    rate("--pending", line.faults.pending, "Commands that take their time, which is announced");
    app.add_option("--pending-time", line.pending_ms, "Milliseconds that such a command takes");
}

std::string text_of_file(const std::string& name)
{
    std::ifstream file(name, std::ios::binary);
    if (!file) {
        throw std::runtime_error("The file " + name + " cannot be read");
    }
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// A link to the line, from construction to destruction.
class Link {
public:
    Link(const std::string& name, const std::string& target) : name_(name)
    {
        if (!name_.empty()) {
            std::filesystem::remove(name_);
            std::filesystem::create_symlink(target, name_);
        }
    }
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;
    ~Link()
    {
        std::error_code ignored;
        std::filesystem::remove(name_, ignored);
    }

private:
    std::string name_;
};

/// Says where the camera is, and lets it run.
void run(const CommandLine& line, const std::string& name, const softcam::StopSignal& stop)
{
    if (line.faults.any()) {
        std::printf("softlink: faults on the line, seed %llu\n", static_cast<unsigned long long>(line.faults.seed));
    }
    std::printf("softlink: listening on %s (serial %s)\n", name.c_str(), line.device.serial_number.c_str());
    std::fflush(stdout);
    stop.wait();
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        CommandLine line;
        CLI::App app{"A simulated GenCP camera on a pseudo terminal"};
        declare(app, line);
        CLI11_PARSE(app, argc, argv);
        line.device.heartbeat = std::chrono::milliseconds(line.heartbeat_ms);
        line.faults.pending_time = std::chrono::milliseconds(line.pending_ms);
        const softcam::StopSignal stop;
        const std::string xml = line.xml.empty() ? std::string() : text_of_file(line.xml);
        if (line.serve.empty()) {
            const softlink::PtyDevice device(line.device, line.faults, xml);
            const softlink::TerminalOwner owner(device.name());
            const Link link(line.link, device.name());
            run(line, device.name(), stop);
        } else {
            const auto pipe = vex::net::PipeName::parse(line.serve);
            if (!pipe) {
                throw std::runtime_error(line.serve + " does not name a pipe");
            }
            const softlink::PipeDevice device(*pipe, line.device, line.faults, xml);
            run(line, device.name(), stop);
        }
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "softlink: %s\n", error.what());
        return 1;
    }
}
