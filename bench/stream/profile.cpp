// What a packet costs beside time, and whether memory stays as it is.
#include <linux/perf_event.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <new>
#include <optional>

#include "bench/stream/arrival.h"
#include "bench/stream/block.h"
#include "bench/stream/measure.h"

namespace {

std::atomic<std::uint64_t> allocations{0};

void* allocate(std::size_t size, std::size_t alignment)
{
    allocations.fetch_add(1, std::memory_order_relaxed);
    const std::size_t whole = (size + alignment - 1) / alignment * alignment;
    if (void* memory = alignment > alignof(std::max_align_t) ? std::aligned_alloc(alignment, whole)
                                                             : std::malloc(size != 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size, 1); }
void* operator new(std::size_t size, std::align_val_t alignment)
{
    return allocate(size, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }

namespace bench {

namespace {

/// Counts the system calls of this thread and of those that it starts from then on; only where the system traces them
/// and its tracing files are mounted.
class SystemCalls {
public:
    SystemCalls()
    {
        std::ifstream file("/sys/kernel/tracing/events/raw_syscalls/sys_enter/id");
        perf_event_attr event{};
        event.type = PERF_TYPE_TRACEPOINT;
        event.size = sizeof event;
        event.inherit = 1;
        if (file >> event.config) {
            descriptor_ = static_cast<int>(::syscall(SYS_perf_event_open, &event, 0, -1, -1, 0));
        }
    }
    ~SystemCalls()
    {
        if (descriptor_ >= 0) {
            ::close(descriptor_);
        }
    }
    SystemCalls(const SystemCalls&) = delete;
    SystemCalls& operator=(const SystemCalls&) = delete;

    [[nodiscard]] std::optional<std::uint64_t> count() const
    {
        std::uint64_t value = 0;
        return descriptor_ >= 0 && ::read(descriptor_, &value, sizeof value) == sizeof value ? std::optional(value)
                                                                                             : std::nullopt;
    }

private:
    int descriptor_ = -1;
};

std::uint64_t thread_changes()
{
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<std::uint64_t>(usage.ru_nvcsw + usage.ru_nivcsw);
}

void profile(const Way& way, const Load& load, std::chrono::milliseconds duration)
{
    Sender sender(load);
    const SystemCalls calls;
    const std::unique_ptr<Receiver> receiver = way.open();
    const std::uint16_t port = receiver->port();
    sender.start({&port, 1});
    const auto next = [&] {
        const bool whole = receiver->receive_block();
        sender.go_on(*receiver);
        return whole;
    };
    for (int i = 0; i < 50; ++i) {
        next();
    }
    const std::uint64_t allocated = allocations.load();
    const std::optional<std::uint64_t> called = calls.count();
    const std::uint64_t changed = thread_changes();
    std::uint64_t blocks = 0;
    for (const auto end = std::chrono::steady_clock::now() + duration; std::chrono::steady_clock::now() < end;) {
        blocks += next() ? 1 : 0;
    }
    const auto packets = static_cast<double>(blocks * (Block(load).packets() + 2));
    std::printf("  %-28s", way.name.c_str());
    if (const auto now = calls.count(); now.has_value() && called.has_value()) {
        std::printf(" %.4f system calls,", static_cast<double>(*now - *called) / packets);
    } else {
        std::printf(" system calls not told (mount tracefs),");
    }
    std::printf(" %.5f allocations, %.4f changes of threads a packet; %.0f packets\n",
                static_cast<double>(allocations.load() - allocated) / packets,
                static_cast<double>(thread_changes() - changed) / packets, packets);
}

}  // namespace

void measure_memory(std::uint64_t frames)
{
    constexpr std::uint64_t beginning = 10'000;
    std::printf("Memory before and after %llu frames of 4 KB\n", static_cast<unsigned long long>(frames));
    for (const Way& way : our_ways()) {
        Sender sender({.blocks_ahead = 4, .lines = 4});
        const std::unique_ptr<Receiver> receiver = way.open();
        const std::uint16_t port = receiver->port();
        sender.start({&port, 1});
        double before = 0;
        std::uint64_t allocated = 0;
        std::uint64_t whole = 0;
        std::uint64_t received = 0;
        while (received < beginning + frames) {
            if (received == beginning) {
                before = resident_megabytes();
                allocated = allocations.load();
            }
            whole += receiver->receive_block() ? 1 : 0;
            if (receiver->nothing_came()) {
                break;
            }
            ++received;
            sender.progress().blocks_received.store(received, std::memory_order_release);
        }
        std::printf("  %-28s %.2f MB before, %.2f MB after; %llu of %llu whole; %.4f allocations a frame\n",
                    way.name.c_str(), before, resident_megabytes(), static_cast<unsigned long long>(whole),
                    static_cast<unsigned long long>(received),
                    static_cast<double>(allocations.load() - allocated) / static_cast<double>(frames));
    }
}

void measure_profile(std::chrono::milliseconds duration)
{
    std::printf("For each packet, %lld ms; with the client's thread\n", static_cast<long long>(duration.count()));
    for (const Load& load : {Load{1500, false}, Load{1500, true}, Load{9000, false}}) {
        std::printf("packet size %zu, %s\n", load.packet_size, load.segmentation ? "in trains" : "one by one");
        for (const Way& way : our_ways()) {
            profile(way, load, duration);
        }
        profile(stream_way("plain"), load, duration);
    }
}

}  // namespace bench
