// What streaming through the registered server costs: a client that retrieves and queues buffers through COM, beside a
// bare loop over a Winsock socket, both in this process and fed by a sending process of the same program.
#include <winsock2.h>

#include <windows.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include "bench/processor_time.h"
#include "bench/stream/block.h"
#include "sdk/net/udp_socket.h"
#include "server/ref.h"
#include "server/type_library.h"

using namespace vex;

namespace {

using bench::image_bytes;
using server::Ref;
using Clock = std::chrono::steady_clock;

constexpr Ipv4Address here{0x7F000001};  // under Wine only such sockets send from where they are bound to
constexpr unsigned rounds = 5;
constexpr std::chrono::seconds round_time{3};
constexpr std::uint64_t blocks_ahead = 2;
constexpr double target = 0.9;

[[noreturn]] void stop(const char* what, long code)
{
    std::fprintf(stderr, "%s: %ld\n", what, code);
    std::exit(1);
}

void require(HRESULT result, const char* what)
{
    if (FAILED(result)) {
        stop(what, result);
    }
}

/// What the sending process and this one share.
struct Progress {
    std::atomic<std::uint64_t> sent{0};      // blocks
    std::atomic<std::uint64_t> received{0};  // or given up
};

/// Of a name that both processes know.
class SharedProgress {
public:
    explicit SharedProgress(const std::wstring& name)
        : mapping_(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, sizeof(Progress), name.c_str()))
    {
        // a new one is zeroed, which is what the counts begin with
        view_ = mapping_ != nullptr ? MapViewOfFile(mapping_, FILE_MAP_ALL_ACCESS, 0, 0, sizeof(Progress)) : nullptr;
        if (view_ == nullptr) {
            stop("memory for two processes", static_cast<long>(GetLastError()));
        }
    }
    SharedProgress(const SharedProgress&) = delete;
    SharedProgress& operator=(const SharedProgress&) = delete;
    ~SharedProgress()
    {
        UnmapViewOfFile(view_);
        CloseHandle(mapping_);
    }

    Progress& operator*() const { return *static_cast<Progress*>(view_); }
    Progress* operator->() const { return static_cast<Progress*>(view_); }

private:
    HANDLE mapping_;
    void* view_;
};

/// The sending process: blocks without end, never more than some ahead of who receives them.
[[noreturn]] void send_blocks(const std::wstring& shared, std::size_t packet_size, std::uint16_t port)
{
    const SharedProgress progress(shared);
    bench::Block block({.packet_size = packet_size});
    net::UdpSocket socket = net::UdpSocket::open({here, 0}, {.send_buffer_bytes = 4 << 20});
    for (std::uint64_t sent = 0;; ++sent) {
        while (sent >= progress->received.load(std::memory_order_acquire) + blocks_ahead) {
            SwitchToThread();
        }
        block.number(sent % 65535 + 1);
        for (std::size_t packet = 0; packet <= block.packets() + 1; ++packet) {
            static_cast<void>(socket.send_to({here, port}, block.packet(packet)));
        }
        progress->sent.store(sent + 1, std::memory_order_release);
    }
}

class Sender {
public:
    Sender(const std::wstring& shared, std::size_t packet_size, std::uint16_t port)
    {
        std::array<wchar_t, MAX_PATH> program{};
        GetModuleFileNameW(nullptr, program.data(), static_cast<DWORD>(program.size()));
        std::wstring command = L"\"" + std::wstring(program.data()) + L"\" send " + shared + L" " +
                               std::to_wstring(packet_size) + L" " + std::to_wstring(port);
        STARTUPINFOW start{};
        start.cb = sizeof start;
        if (CreateProcessW(nullptr, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &start, &process_) ==
            0) {
            stop("the sending process", static_cast<long>(GetLastError()));
        }
    }
    Sender(const Sender&) = delete;
    Sender& operator=(const Sender&) = delete;
    ~Sender()
    {
        TerminateProcess(process_.hProcess, 0);
        WaitForSingleObject(process_.hProcess, INFINITE);
        CloseHandle(process_.hThread);
        CloseHandle(process_.hProcess);
    }

private:
    PROCESS_INFORMATION process_{};
};

class Receiver {
public:
    virtual ~Receiver() = default;
    [[nodiscard]] virtual std::uint16_t port() = 0;
    /// Waits for the end of a block; whether it came whole.
    virtual bool receive_block() = 0;
};

/// One recv after the other; it looks at nothing but where a block ends.
class BareLoop final : public Receiver {
public:
    BareLoop()
    {
        const int buffer_bytes = 16 << 20;
        const DWORD second_ms = 1000;
        u_long blocking = 0;
        if (::setsockopt(handle(), SOL_SOCKET, SO_RCVBUF, reinterpret_cast<const char*>(&buffer_bytes),
                         sizeof buffer_bytes) != 0 ||
            ::setsockopt(handle(), SOL_SOCKET, SO_RCVTIMEO, reinterpret_cast<const char*>(&second_ms),
                         sizeof second_ms) != 0 ||
            ::ioctlsocket(handle(), FIONBIO, &blocking) != 0) {
            stop("socket options", ::WSAGetLastError());
        }
    }

    std::uint16_t port() override { return socket_.local().port; }
    bool receive_block() override
    {
        std::size_t bytes = 0;
        for (;;) {
            const int size =
                ::recv(handle(), reinterpret_cast<char*>(memory_.data()), static_cast<int>(memory_.size()), 0);
            if (size < 8) {
                return false;
            }
            if (memory_[4] == 2) {
                return bytes >= image_bytes;
            }
            bytes += memory_[4] == 3 ? static_cast<std::size_t>(size) - 8 : 0;
        }
    }

private:
    [[nodiscard]] SOCKET handle() const { return static_cast<SOCKET>(socket_.handle()); }

    net::UdpSocket socket_ = net::UdpSocket::open({here, 0});
    std::vector<std::uint8_t> memory_ = std::vector<std::uint8_t>(65536);
};

template <class Interface>
Ref<Interface> create(const wchar_t* name)
{
    CLSID clsid{};
    require(CLSIDFromProgID(name, &clsid), "a class that is not registered");
    Ref<Interface> made;
    require(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface), made.put_void()), "an object");
    return made;
}

VexResultCode code_of(const Ref<IVexResult>& result)
{
    VexResultCode code = VexGenericError;
    require(result->get_Code(&code), "the code of a result");
    return code;
}

/// The stream of the registered server.
class ComStream final : public Receiver {
public:
    ComStream()
    {
        Ref<IVexResult> result;
        const std::unique_ptr<OLECHAR, decltype(&SysFreeString)> address(SysAllocString(L"127.0.0.1"), &SysFreeString);
        require(stream_->OpenUnicast(address.get(), 0, 0, address.get(), result.put()), "OpenUnicast");
        if (const VexResultCode code = code_of(result); code != VexOK) {
            stop("opening the stream", code);
        }
        for (int i = 0; i < 16; ++i) {
            buffers_.push_back(create<IVexBuffer>(L"VexKamCOMWrapper.VexBuffer.1"));
            require(buffers_.back()->Alloc(static_cast<unsigned int>(image_bytes), result.put()), "Alloc");
            require(stream_->QueueBuffer(buffers_.back().get(), result.put()), "QueueBuffer");
        }
    }

    std::uint16_t port() override
    {
        unsigned short port = 0;
        require(stream_->get_LocalPort(&port), "LocalPort");
        return port;
    }
    bool receive_block() override
    {
        Ref<IVexBuffer> buffer;
        Ref<IVexResult> operation;
        Ref<IVexResult> result;
        require(stream_->RetrieveBuffer(buffer.put(), operation.put(), 1000, result.put()), "RetrieveBuffer");
        if (code_of(result) != VexOK) {
            return false;
        }
        const bool whole = code_of(operation) == VexOK;
        require(stream_->QueueBuffer(buffer.get(), result.put()), "QueueBuffer");
        return whole;
    }

private:
    Ref<IVexStream> stream_ = create<IVexStream>(L"VexKamCOMWrapper.VexStream.1");
    std::vector<Ref<IVexBuffer>> buffers_;
};

struct Figures {
    double rate = 0;       // megabytes of payload per second
    double processor = 0;  // seconds for a gigabyte
    std::uint64_t blocks = 0;
    std::uint64_t failures = 0;  // blocks that did not come whole
};

Figures measure(Receiver& receiver, std::size_t packet_size)
{
    static unsigned number = 0;
    const std::wstring shared =
        L"vex-com-stream-bench-" + std::to_wstring(GetCurrentProcessId()) + L"-" + std::to_wstring(++number);
    const SharedProgress progress(shared);
    const Sender sender(shared, packet_size, receiver.port());
    const auto next = [&] {
        const bool whole = receiver.receive_block();
        // a lost block is not waited for
        const std::uint64_t received = progress->received.load() + 1;
        progress->received.store(whole ? received : std::max(received, progress->sent.load()),
                                 std::memory_order_release);
        return whole;
    };
    for (int i = 0; i < 20; ++i) {
        next();
    }
    Figures figures;
    const double processor = bench::processor_seconds();
    const auto start = Clock::now();
    std::chrono::duration<double> elapsed{};
    do {
        figures.failures += next() ? 0 : 1;
        ++figures.blocks;
        elapsed = Clock::now() - start;
    } while (elapsed < round_time);
    const double bytes = static_cast<double>((figures.blocks - figures.failures) * image_bytes);
    figures.rate = bytes / 1e6 / elapsed.count();
    figures.processor = (bench::processor_seconds() - processor) / (bytes / 1e9);
    return figures;
}

double median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2), values.end());
    return values[values.size() / 2];
}

/// Both in each round, the one or the other first, so that whatever else the machine does falls on both.
bool compare(std::size_t packet_size)
{
    std::vector<double> rates;
    std::vector<double> processors;
    std::array<std::vector<Figures>, 2> all;
    for (unsigned round = 0; round < rounds; ++round) {
        for (unsigned turn = 0; turn < 2; ++turn) {
            const bool bare = (round + turn) % 2 == 0;
            const std::unique_ptr<Receiver> receiver =
                bare ? std::unique_ptr<Receiver>(std::make_unique<BareLoop>()) : std::make_unique<ComStream>();
            all[bare ? 0 : 1].push_back(measure(*receiver, packet_size));
        }
        rates.push_back(all[1].back().rate / all[0].back().rate);
        processors.push_back(all[0].back().processor / all[1].back().processor);
    }
    std::printf("packet size %zu\n", packet_size);
    for (const bool bare : {true, false}) {
        std::vector<double> rate;
        std::vector<double> processor;
        std::uint64_t blocks = 0;
        std::uint64_t failures = 0;
        for (const Figures& figures : all[bare ? 0 : 1]) {
            rate.push_back(figures.rate);
            processor.push_back(figures.processor);
            blocks += figures.blocks;
            failures += figures.failures;
        }
        std::printf("  %-24s %7.0f MB/s %7.2f s/GB   %llu of %llu blocks failed\n",
                    bare ? "bare Winsock loop" : "VexStream through COM", median(rate), median(processor),
                    static_cast<unsigned long long>(failures), static_cast<unsigned long long>(blocks));
    }
    const double by_rate = median(rates);
    const double by_processor = median(processors);
    std::printf("  VexStream against bare: rate x%.2f, payload for a processor second x%.2f%s\n", by_rate, by_processor,
                std::min(by_rate, by_processor) < target ? "  below 0.90" : "");
    return std::min(by_rate, by_processor) >= target;
}

}  // namespace

int wmain(int count, wchar_t** arguments)
{
    if (count == 5 && std::wstring(arguments[1]) == L"send") {
        send_blocks(arguments[2], std::stoul(arguments[3]), static_cast<std::uint16_t>(std::stoul(arguments[4])));
    }
    // the apartment of the classes: from another one every call would be carried across by the system
    require(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), "CoInitializeEx");
    std::printf("1024x1024 Mono8 blocks over loopback from another process, never more than two ahead; medians of %u "
                "rounds of %lld s\n  (processor time of this process; what a Wine server does for it is not in it)\n",
                rounds, static_cast<long long>(round_time.count()));
    bool within_target = true;
    for (const std::size_t packet_size : {1500U, 8192U}) {
        within_target = compare(packet_size) && within_target;
    }
    return within_target ? 0 : 1;
}
