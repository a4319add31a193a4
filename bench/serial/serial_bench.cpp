// How fast a camera's serial port is: its writes beside register writes of the same size, back to back and nothing
// else, and the echo of a keystroke beside what it takes at least, two round trips and an event.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

#include "bench/genapi/camera_process.h"
#include "sdk/device/PvDevice.h"
#include "sdk/genicam/PvGenEventSink.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/serial/PvSerialPortIPEngine.h"
#include "tools/softcam/camera.h"

namespace bench {
namespace {

constexpr const char* address = "127.0.0.79";
constexpr std::uint32_t block = 512;
constexpr int rounds = 31;
constexpr int small_writes = 1000;
constexpr std::uint32_t large_write = 500'000;
constexpr int keystrokes = 1001;
constexpr double wanted = 0.90;
constexpr std::uint32_t long_time = 10'000;

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

using Work = std::function<void()>;

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

/// Registers and the port in turns; true when the port was as fast as wanted. Each does `units` of `unit` a round.
bool compare(const char* name, double units, const char* unit, const Work& registers, const Work& port)
{
    std::vector<double> bare;
    std::vector<double> ported;
    std::vector<double> shares;
    for (int round = 0; round < rounds; ++round) {
        bare.push_back(seconds_of(registers));
        ported.push_back(seconds_of(port));
        shares.push_back(bare.back() / ported.back());
    }
    const double share = median(shares);
    std::printf("%-12s registers back to back %8.1f %s/s, port %8.1f %s/s: %5.1f %%, wanted: %.0f %%\n", name,
                units / median(bare), unit, units / median(ported), unit, 100 * share, 100 * wanted);
    return share >= wanted;
}

/// Waits for the updates of a parameter.
class Updates final : public PvGenEventSink {
public:
    void OnParameterUpdate(PvGenParameter*) override
    {
        const std::scoped_lock lock(mutex_);
        ++count_;
        changed_.notify_all();
    }
    void await_next()
    {
        std::unique_lock lock(mutex_);
        if (!changed_.wait_for(lock, std::chrono::milliseconds(long_time), [this] { return count_ > seen_; })) {
            std::fprintf(stderr, "An event did not come\n");
            std::exit(1);
        }
        seen_ = count_;
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;
    int seen_ = 0;
};

class Measurement {
public:
    Measurement()
    {
        require(device_.Connect(PvString(address)));
        require(sink_.Open(&device_, PvIPEngineSerial1));  // its far end answers nothing to what has no end of line
        require(echo_.Open(&device_, PvIPEngineSerial0));
    }

    bool run()
    {
        const bool small = compare_small();
        const bool large = compare_large();
        measure_both_ways();
        const bool keys = compare_keystrokes();
        return small && large && keys;
    }

private:
    PvGenParameterArray& features() { return *device_.GetGenParameters(); }
    PvGenRegister& block_register() { return *features().GetRegister("FileAccessBuffer"); }

    void write(PvSerialPortIPEngine& port, const std::vector<std::uint8_t>& bytes)
    {
        std::uint32_t written = 0;
        require(port.Write(bytes.data(), static_cast<std::uint32_t>(bytes.size()), written));
    }

    bool compare_small()
    {
        const std::vector<std::uint8_t> key = {'a'};
        const std::vector<std::uint8_t> words(8, 0);  // what a block of one byte is
        return compare(
            "round trips", small_writes, "",
            [&] {
                for (int n = 0; n < small_writes; ++n) {
                    require(block_register().Set(words.data(), static_cast<std::int64_t>(words.size())));
                }
            },
            [&] {
                for (int n = 0; n < small_writes; ++n) {
                    write(sink_, key);
                }
            });
    }

    bool compare_large()
    {
        const std::vector<std::uint8_t> bytes(large_write, 'a');
        return compare(
            "bytes", large_write / 1e6, "MB",
            [&] {
                for (std::uint32_t at = 0; at < large_write; at += block) {
                    const auto count = std::min(block, large_write - at);
                    require(block_register().Set(bytes.data() + at, count));
                }
            },
            [&] { write(sink_, bytes); });
    }

    /// Through the loopback plug and back, with the reads that this takes.
    void measure_both_ways()
    {
        const std::vector<std::uint8_t> bytes(large_write, 'a');
        std::vector<std::uint8_t> back(large_write);
        std::vector<double> times;
        for (int round = 0; round < rounds; ++round) {
            times.push_back(seconds_of([&] {
                std::thread writer([&] { write(echo_, bytes); });
                std::uint32_t count = 0;
                require(echo_.Read(back.data(), large_write, count, long_time));
                writer.join();
            }));
        }
        std::printf("%-12s %.1f MB/s\n", "and back", large_write / 1e6 / median(times));
    }

    bool compare_keystrokes()
    {
        Updates updates;
        PvGenParameter* const event = features().Get("EventTest");
        require(features().SetEnumValue("EventSelector", "Test"));
        require(features().SetEnumValue("EventNotification", "On"));
        require(event->RegisterEventSink(&updates));
        const std::vector<std::uint8_t> key = {'a'};
        const std::vector<std::uint8_t> word(4, 0);
        std::vector<double> trips;
        std::vector<double> events;
        std::vector<double> echoes;
        for (int n = 0; n < keystrokes; ++n) {
            trips.push_back(seconds_of([&] { require(block_register().Set(word.data(), 4)); }));
            events.push_back(seconds_of([&] {
                require(features().ExecuteCommand("TestEventGenerate"));
                updates.await_next();
            }));
            echoes.push_back(seconds_of([&] {
                write(echo_, key);
                std::uint8_t back = 0;
                std::uint32_t count = 0;
                require(echo_.Read(&back, 1, count, long_time));
            }));
        }
        require(event->UnregisterEventSink(&updates));
        const double most = 2 * median(trips) + median(events);
        const double echo = median(echoes);
        std::printf("%-12s %.0f us, wanted: %.0f us, two round trips of %.0f us and an event of %.0f us\n", "keystroke",
                    1e6 * echo, 1e6 * most, 1e6 * median(trips), 1e6 * median(events));
        return echo <= most;
    }

    PvDevice device_;
    PvSerialPortIPEngine sink_;
    PvSerialPortIPEngine echo_;
};

}  // namespace
}  // namespace bench

int main()
{
    const bench::CameraProcess camera(bench::run_softcam);
    const bench::OneCore core;
    return bench::Measurement().run() ? 0 : 1;
}
