// softcam: a software camera on the command line.
#include <CLI/CLI.hpp>

#include <cstdio>
#include <exception>
#include <random>

#include "tools/softcam/camera.h"
#include "tools/softcam/stop_signal.h"

int main(int argc, char** argv)
{
    softcam::CameraOptions options;
    bool quiet = false;
    std::uint64_t seed = 0;

    CLI::App app{"softcam: a GigE Vision camera in software"};
    app.add_option("-a,--address,--interface", options.adapter,
                   "where to listen: IPv4 address, interface name or MAC address (default 127.0.0.2)");
    app.add_option("-s,--serial", options.serial_number, "serial number, at most 16 characters");
    app.add_option("-n,--name", options.user_defined_name, "user-defined name, at most 16 characters");
    app.add_flag("--extended-ids", options.extended_ids, "start with 64-bit block IDs enabled");
    app.add_option("--drop", options.drop_per_mille, "stream packets lost on purpose, per mille")
        ->check(CLI::Range(0, 1000));
    app.add_option("--seed", seed, "seed of what is lost; without it one is chosen and printed");
    app.add_option("--history", options.history_blocks, "blocks kept for resend requests")->check(CLI::Range(0, 1024));
    app.add_flag("-q,--quiet", quiet, "print errors only");
    CLI11_PARSE(app, argc, argv);

    try {
        const softcam::StopSignal stop;
        if (options.drop_per_mille > 0) {
            options.drop_seed = seed != 0 ? seed : std::random_device{}() | 1U;
            if (!quiet) {
                std::printf("softcam: losing %u of 1000 packets, seed %llu\n", options.drop_per_mille,
                            static_cast<unsigned long long>(options.drop_seed));
            }
        }
        softcam::Camera camera(options);
        camera.start();
        if (!quiet) {
            std::printf("softcam: listening on %s (serial %s, MAC %s)\n", camera.address().to_string().c_str(),
                        options.serial_number.c_str(), camera.mac().to_string().c_str());
            std::fflush(stdout);
        }
        stop.wait();
        camera.stop();
        if (!quiet) {
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
