// How fast a file reaches a camera, beside writing the same bytes to the access buffer's register and nothing else.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "bench/genapi/camera_process.h"
#include "sdk/device/PvDevice.h"
#include "sdk/genicam/PvGenFile.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "tools/softcam/camera.h"

namespace bench {
namespace {

constexpr const char* address = "127.0.0.78";
constexpr std::size_t bytes_sent = std::size_t{4} << 20;
constexpr int rounds = 15;
constexpr double wanted = 0.95;

void require(const PvResult& result)
{
    if (!result.IsOK()) {
        std::fprintf(stderr, "%s\n", result.GetDescription().GetAscii());
        std::exit(1);
    }
}

void run_softcam(const CameraProcess::Ready& ready)
{
    softcam::Camera camera({.adapter = address});
    camera.start();
    ready();
}

template <class Work>
double seconds_of(const Work& work)
{
    using Clock = std::chrono::steady_clock;
    const auto begin = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

double median(std::vector<double> values)
{
    std::ranges::sort(values);
    return values[values.size() / 2];
}

int run()
{
    const CameraProcess camera(run_softcam);
    const OneCore core;
    PvDevice device;
    require(device.Connect(PvString(address)));
    PvGenParameterArray& features = *device.GetGenParameters();
    PvGenRegister& buffer = *features.GetRegister("FileAccessBuffer");
    std::int64_t step = 0;
    require(buffer.GetLength(step));
    const std::vector<std::uint8_t> bytes(bytes_sent, 0x5A);
    PvGenFile file;
    std::vector<double> registers;
    std::vector<double> files;
    std::vector<double> shares;
    for (int round = 0; round < rounds; ++round) {
        require(file.Open(&features, "Firmware", PvGenOpenModeWrite));
        registers.push_back(seconds_of([&] {
            for (std::size_t at = 0; at < bytes.size(); at += static_cast<std::size_t>(step)) {
                require(buffer.Set(bytes.data() + at, step));
            }
        }));
        files.push_back(seconds_of([&] {
            std::int64_t written = 0;
            require(file.Write(bytes.data(), static_cast<std::int64_t>(bytes.size()), written));
        }));
        shares.push_back(registers.back() / files.back());
        file.Close();  // the camera refuses it: this is no firmware
    }
    const double size = static_cast<double>(bytes.size()) / 1e6;
    std::printf("%.1f MB in steps of %lld bytes\n", size, static_cast<long long>(step));
    std::printf("register writes back to back  %7.2f MB/s\n", size / median(registers));
    std::printf("a file                        %7.2f MB/s\n", size / median(files));
    std::printf("share                         %7.1f %%, wanted: %.0f %%\n", 100 * median(shares), 100 * wanted);
    return median(shares) >= wanted ? 0 : 1;
}

}  // namespace
}  // namespace bench

int main() { return bench::run(); }
