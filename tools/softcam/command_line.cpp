#include "tools/softcam/command_line.h"

#include <CLI/CLI.hpp>

#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <stdexcept>

namespace softcam {

namespace {

using vex::virtual_device::Status;

void add_rate(CLI::App& app, const char* name, unsigned& rate, const char* what, const char* group = "Faults, of 1000")
{
    app.add_option(name, rate, what)->check(CLI::Range(0, 1000))->group(group);
}

void add_time(CLI::App& app, const char* name, std::chrono::milliseconds& time, const char* what, const char* group)
{
    app.add_option_function<unsigned>(
           name, [&time](unsigned ms) { time = std::chrono::milliseconds(ms); }, what)
        ->check(CLI::Range(0, 3'600'000))
        ->group(group);
}

void add_moment(CLI::App& app, const char* name, std::optional<std::chrono::milliseconds>& moment, const char* what)
{
    app.add_option_function<unsigned>(
           name, [&moment](unsigned ms) { moment = std::chrono::milliseconds(ms); }, what)
        ->check(CLI::Range(0, 86'400'000))
        ->group("Faults, at a time");
}

void add_stream_faults(CLI::App& app, vex::transmitter::StreamFaultSettings& faults)
{
    constexpr const char* group = "Faults of the stream, of 1000";
    const auto rate = [&](const char* name, unsigned& value, const char* what) {
        add_rate(app, name, value, what, group);
    };
    rate("--drop", faults.lost, "packets that get lost; what is sent again arrives");
    rate("--drop-bursts", faults.bursts, "packets with which a burst of --burst lost ones begins");
    app.add_option("--burst", faults.burst, "packets of a burst (default 20)")
        ->check(CLI::Range(1, 100'000))
        ->group(group);
    rate("--drop-again", faults.relost, "packets sent again that get lost, too");
    rate("--double", faults.doubled, "packets that come twice");
    rate("--reorder", faults.reordered, "packets that come after up to --reorder-distance later ones");
    app.add_option("--reorder-distance", faults.reorder_distance, "packets (default 8)")
        ->check(CLI::Range(1, 100'000))
        ->group(group);
    rate("--delay", faults.delayed, "packets that come --delay-time late");
    app.add_option_function<unsigned>(
           "--delay-time", [&faults](unsigned us) { faults.delay = std::chrono::microseconds(us); },
           "microseconds (default 10000)")
        ->check(CLI::Range(0, 10'000'000))
        ->group(group);
    rate("--corrupt", faults.corrupted, "packets with wrong bits in their header");
    rate("--truncate-leaders", faults.truncated_leaders, "leaders that are cut short");
    rate("--drop-trailers", faults.lost_trailers, "trailers that are never sent");
    rate("--shorten", faults.shortened, "payload packets that carry fewer bytes than the others");
    rate("--resize", faults.resized, "leaders that announce another size than follows");
}

void add_faults(CLI::App& app, CameraOptions& options)
{
    ControlFaults& faults = options.control_faults;
    add_rate(app, "--lose-commands", faults.lost_commands, "commands that never reach the camera");
    add_rate(app, "--lose-acks", faults.lost, "acknowledges that get lost");
    add_rate(app, "--late-acks", faults.late, "acknowledges that come up to --late-by late");
    add_rate(app, "--double-acks", faults.doubled, "acknowledges that come twice");
    add_rate(app, "--reorder-acks", faults.reordered, "acknowledges that come after the next one");
    add_rate(app, "--truncate-acks", faults.truncated, "acknowledges that are cut short");
    add_rate(app, "--wrong-acks", faults.wrong, "acknowledges that answer another request");
    add_rate(app, "--pending", faults.pending, "commands that take --pending-time, announced by PENDING_ACK");
    add_rate(app, "--refuse", faults.refused, "register and memory commands that are refused");
    const std::map<std::string, Status> refusals{{"denied", Status::access_denied}, {"busy", Status::busy}};
    app.add_option("--refuse-as", faults.refusal, "how: denied (default) or busy")
        ->transform(CLI::CheckedTransformer(refusals))
        ->group("Faults, of 1000");
    add_time(app, "--late-by", faults.late_by, "milliseconds (default 50)", "Faults, of 1000");
    add_time(app, "--pending-time", faults.pending_time, "milliseconds (default 200)", "Faults, of 1000");
}

void add_file_faults(CLI::App& app, FileFaults& faults)
{
    constexpr const char* group = "Faults of files";
    add_time(app, "--file-time", faults.time, "milliseconds that each operation on a file takes (default 0)", group);
    app.add_option("--file-fails-after", faults.fails_after,
                   "bytes of a file that can be transferred until it fails (default: it never does)")
        ->check(CLI::Range(std::int64_t{0}, std::int64_t{1} << 32))
        ->group(group);
}

void add_side_channel_faults(CLI::App& app, SideChannelFaults& faults)
{
    constexpr const char* group = "Faults of serial ports and the I2C bus, of 1000";
    add_rate(app, "--uart-lost", faults.uart.lost, "received characters that get lost", group);
    add_rate(app, "--uart-overruns", faults.uart.overruns, "received characters that the FIFO does not take", group);
    add_rate(app, "--i2c-no-ack", faults.i2c.no_acknowledge, "I2C transfers that no slave acknowledges", group);
    add_rate(app, "--i2c-stuck", faults.i2c.stuck, "I2C transfers that find the data wire held low", group);
}

void add_schedule(CLI::App& app, Schedule& schedule, std::string& description_file)
{
    constexpr const char* group = "Faults, at a time";
    add_moment(app, "--silent-after", schedule.silent_after, "milliseconds until the camera falls silent");
    add_time(app, "--silent-for", schedule.silent_for, "milliseconds of silence (default: until the end)", group);
    add_moment(app, "--reboot-after", schedule.reboot_after, "milliseconds until it is switched off and on");
    add_time(app, "--reboot-silence", schedule.reboot.silence, "milliseconds until it answers again (default 200)",
             group);
    app.add_option("--reboot-address", schedule.reboot.adapter, "where it listens then (default: the same address)")
        ->group(group);
    app.add_option("--reboot-description", description_file, "XML file of the description that it has then")
        ->group(group);
}

void set_seed(CameraOptions& options, std::uint64_t seed)
{
    options.stream_faults.seed = seed;
    options.control_faults.seed = seed;
    options.side_channel_faults.uart.seed = seed;
    options.side_channel_faults.i2c.seed = seed;
}

std::string contents_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file || text.empty()) {
        throw std::runtime_error("cannot read \"" + path + "\"");
    }
    return text;
}

}  // namespace

std::optional<CommandLine> parse_command_line(int argc, char** argv, tools::TraceOption& trace, int& exit_code)
{
    CommandLine line;
    CameraOptions& options = line.camera;
    std::uint64_t seed = 0;
    std::string description_file;

    CLI::App app{"softcam: a GigE Vision camera in software"};
    app.set_version_flag("--version", "softcam " VEX_VERSION);
    app.add_option("-a,--address,--interface", options.adapter,
                   "where to listen: IPv4 address, interface name or MAC address (default 127.0.0.2)");
    app.add_option("-s,--serial", options.serial_number, "serial number, at most 16 characters");
    app.add_option("-n,--name", options.user_defined_name, "user-defined name, at most 16 characters");
    app.add_option("--state", options.state_file,
                   "file that keeps the user-defined name and the persistent address between runs");
    app.add_option("--channels", options.stream_channels, "stream channels, 1 to 8, with the same pictures (default 1)")
        ->check(CLI::Range(1, 8));
    app.add_flag("--manifest", options.manifest, "list the description in a manifest table, too");
    app.add_flag("--extended-ids", options.extended_ids, "start with 64-bit block IDs enabled");
    app.add_option("--seed", seed, "seed of all faults; without it one is chosen and printed");
    const std::map<std::string, PayloadKind> payloads{
        {"image", PayloadKind::image},         {"raw", PayloadKind::raw_data},      {"file", PayloadKind::file},
        {"jpeg", PayloadKind::jpeg},           {"jpeg2000", PayloadKind::jpeg2000}, {"h264", PayloadKind::h264},
        {"multipart", PayloadKind::multi_part}};
    app.add_option(
           "--payload", options.payload,
           "type of the blocks: image (default), raw, file, jpeg, jpeg2000, h264 or multipart, which starts with "
           "64-bit block IDs enabled")
        ->transform(CLI::CheckedTransformer(payloads));
    app.add_flag("--all-in", options.all_in, "a block that fits one packet travels in one");
    app.add_flag("--free-geometry", options.free_geometry,
                 "image size, position and format may change while frames are taken");
    const std::map<std::string, vex::net::Trains> trains{{"auto", vex::net::Trains::automatic},
                                                         {"always", vex::net::Trains::always},
                                                         {"never", vex::net::Trains::never}};
    app.add_option("--trains", options.trains,
                   "packets leave joined, for the system to cut: auto (default: where a network device is behind the "
                   "interface), always or never")
        ->transform(CLI::CheckedTransformer(trains));
    app.add_option("--history", options.history_blocks, "blocks kept for resend requests")->check(CLI::Range(0, 1024));
    app.add_flag("-q,--quiet", line.quiet, "print errors only");
    add_faults(app, options);
    add_file_faults(app, options.file_faults);
    add_side_channel_faults(app, options.side_channel_faults);
    add_stream_faults(app, options.stream_faults);
    add_schedule(app, line.schedule, description_file);
    trace.add(app);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        exit_code = app.exit(error);
        return std::nullopt;
    }

    set_seed(options, seed != 0 ? seed : std::random_device{}() | 1U);
    if (!description_file.empty()) {
        line.schedule.reboot.description = contents_of(description_file);
    }
    return line;
}

}  // namespace softcam
