// softcam: a software camera on the command line.
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

#include "tools/softcam/camera.h"
#include "tools/softcam/command_line.h"
#include "tools/softcam/stop_signal.h"

using namespace softcam;

namespace {

void print_seed(const CameraOptions& options)
{
    const auto seed = static_cast<unsigned long long>(options.stream_faults.seed);
    if (options.stream_faults.any()) {
        std::printf("softcam: faults on the stream, seed %llu\n", seed);
    }
    if (options.control_faults.any()) {
        std::printf("softcam: faults on the control channel, seed %llu\n", seed);
    }
}

void print_address(const Camera& camera, const char* how, const CameraOptions& options)
{
    std::printf("softcam: %s on %s (serial %s, MAC %s)\n", how, camera.address().to_string().c_str(),
                options.serial_number.c_str(), camera.mac().to_string().c_str());
    std::fflush(stdout);
}

// Does what the schedule asks for, at its times, until the program is to stop.
void run(Camera& camera, const CommandLine& line, const StopSignal& stop)
{
    Schedule schedule = line.schedule;
    const auto started = std::chrono::steady_clock::now();
    while (!stop.wait_for(std::chrono::milliseconds(10))) {
        const auto now = std::chrono::steady_clock::now() - started;
        if (schedule.silent_after && now >= *schedule.silent_after) {
            schedule.silent_after.reset();
            if (schedule.silent_for.count() > 0) {
                camera.go_silent_for(schedule.silent_for);
            } else {
                camera.go_silent(true);
            }
        }
        if (schedule.reboot_after && now >= *schedule.reboot_after) {
            schedule.reboot_after.reset();
            camera.reboot(schedule.reboot);
            if (!line.quiet) {
                print_address(camera, "restarted", line.camera);
            }
        }
        if (!schedule.silent_after && !schedule.reboot_after) {
            stop.wait();
            return;
        }
    }
}

}  // namespace

int main(int argc, char** argv)
{
    try {
        int exit_code = 0;
        tools::TraceOption trace;
        const std::optional<CommandLine> line = parse_command_line(argc, argv, trace, exit_code);
        if (!line) {
            return exit_code;
        }
        if (const PvResult traced = trace.start(); !traced.IsOK()) {
            throw std::runtime_error(std::string(traced.description()));
        }
        const StopSignal stop;
        if (!line->quiet) {
            print_seed(line->camera);
        }
        Camera camera(line->camera);
        camera.start();
        if (!line->quiet) {
            print_address(camera, "listening", line->camera);
        }
        run(camera, *line, stop);
        camera.stop();
        if (!line->quiet) {
            const auto stream = camera.stream_statistics();
            const auto control = camera.control_statistics();
            std::printf("softcam: stopped after %llu blocks, %llu commands\n",
                        static_cast<unsigned long long>(stream.blocks),
                        static_cast<unsigned long long>(control.executed));
        }
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "softcam: %s\n", error.what());
        return 1;
    }
}
