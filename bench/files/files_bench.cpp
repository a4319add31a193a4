// How fast a file reaches a camera and comes back, beside writing the same bytes to the access buffer's register, and
// reading them from it, and nothing else.
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
constexpr std::int64_t file_size = std::int64_t{4} << 20;
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

/// One way of a file: each round the bare register, then the file.
class Way {
public:
    explicit Way(const char* name) : name_(name) {}

    template <class Register, class File>
    void measure(const Register& bare, const File& file)
    {
        registers_.push_back(seconds_of(bare));
        files_.push_back(seconds_of(file));
        shares_.push_back(registers_.back() / files_.back());
    }
    /// True when the file was as fast as wanted.
    [[nodiscard]] bool report() const
    {
        constexpr double size = static_cast<double>(file_size) / 1e6;
        const double share = median(shares_);
        std::printf("%-8s register back to back %7.2f MB/s, file %7.2f MB/s: %5.1f %%, wanted: %.0f %%\n", name_,
                    size / median(registers_), size / median(files_), 100 * share, 100 * wanted);
        return share >= wanted;
    }

private:
    const char* name_;
    std::vector<double> registers_;
    std::vector<double> files_;
    std::vector<double> shares_;
};

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
    std::vector<std::uint8_t> bytes(file_size, 0x5A);
    const auto in_steps = [&](const auto& transfer) {
        for (std::size_t at = 0; at < bytes.size(); at += static_cast<std::size_t>(step)) {
            require(transfer(bytes.data() + at));
        }
    };
    PvGenFile file;
    std::int64_t count = 0;
    Way writing("writing");
    Way reading("reading");
    for (int round = 0; round < rounds; ++round) {
        require(file.Open(&features, "UserFile", PvGenOpenModeWrite));
        writing.measure([&] { in_steps([&](const std::uint8_t* part) { return buffer.Set(part, step); }); },
                        [&] { require(file.Write(bytes.data(), file_size, count)); });
        require(file.Close());
        require(file.Open(&features, "UserFile", PvGenOpenModeRead));
        reading.measure([&] { in_steps([&](std::uint8_t* part) { return buffer.Get(part, step); }); },
                        [&] { require(file.Read(bytes.data(), file_size, count)); });
        require(file.Close());
        if (count != file_size) {
            std::fprintf(stderr, "The file has %lld bytes\n", static_cast<long long>(count));
            return 1;
        }
    }
    std::printf("%.1f MB in steps of %lld bytes\n", static_cast<double>(file_size) / 1e6, static_cast<long long>(step));
    const bool writes = writing.report();
    const bool reads = reading.report();
    return writes && reads ? 0 : 1;
}

}  // namespace
}  // namespace bench

int main() { return bench::run(); }
