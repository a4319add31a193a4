#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "bench/genapi/camera_process.h"
#include "bench/genapi/genapi_bench.h"
#include "bench/genapi/measure.h"
#include "bench/genapi/peer.h"
#include "sdk/control/connection.h"
#include "sdk/device/register_port.h"
#include "sdk/genapi/node_map.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/wire/gvcp.h"
#include "tools/softcam/camera.h"
#include "tools/softcam/registers.h"

using namespace vex;

namespace bench {

namespace {

constexpr Endpoint camera{{0x7F00004D}, wire::gvcp::port};  // 127.0.0.77
constexpr double nano = 1e9;
constexpr double micro = 1e6;
constexpr int burst_size = 16;

/// The software camera in a process of its own.
void run_softcam(const CameraProcess::Ready& ready)
{
    softcam::CameraOptions options;
    options.adapter = camera.address.to_string();
    softcam::Camera device(options);
    device.start();
    ready();
}

/// A READREG and its acknowledge, and nothing else. A connected socket is the quickest, and a wait with an end takes
/// part of that back; the control channel's has an end and hears strangers, too, so it compares with the plainest.
class BareReader {
public:
    enum class Way : std::uint8_t { plain, connected, connected_with_timeout };

    BareReader(std::uint32_t address, Way way)
        : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0)), connected_(way != Way::plain)
    {
        there_.sin_family = AF_INET;
        there_.sin_port = htons(camera.port);
        there_.sin_addr.s_addr = htonl(camera.address.value);
        if (socket_ < 0 || (connected_ && ::connect(socket_, there(), sizeof there_) != 0)) {
            fail("a socket for bare reads");
        }
        constexpr timeval timeout{1, 0};
        if (way == Way::connected_with_timeout &&
            ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout) != 0) {
            fail("a timeout for bare reads");
        }
        const auto message = wire::gvcp::read_registers(1, {&address, 1});
        request_.assign(message.bytes().begin(), message.bytes().end());
    }
    ~BareReader() { ::close(socket_); }
    BareReader(const BareReader&) = delete;
    BareReader& operator=(const BareReader&) = delete;

    void read()
    {
        std::array<std::uint8_t, 576> answer;
        sockaddr_in source;
        socklen_t size = sizeof source;
        const auto sent = ::sendto(socket_, request_.data(), request_.size(), 0, connected_ ? nullptr : there(),
                                   connected_ ? 0 : sizeof there_);
        const auto received =
            ::recvfrom(socket_, answer.data(), answer.size(), 0,
                       connected_ ? nullptr : reinterpret_cast<sockaddr*>(&source), connected_ ? nullptr : &size);
        if (sent < 0 || received < 12) {
            fail("a bare read");
        }
    }

private:
    [[nodiscard]] const sockaddr* there() const { return reinterpret_cast<const sockaddr*>(&there_); }

    int socket_;
    bool connected_;
    sockaddr_in there_{};
    std::vector<std::uint8_t> request_;
};

std::string register_node(const std::string& name, std::uint32_t address, const char* caching)
{
    return "<IntReg Name=\"" + name + "\"><Address>" + std::to_string(address) +
           "</Address><Length>4</Length><AccessMode>RO</AccessMode><pPort>Device</pPort><Cachable>" + caching +
           "</Cachable><Endianess>BigEndian</Endianess></IntReg>\n";
}

std::string integer_node(const std::string& name, const std::string& value)
{
    return "<Integer Name=\"" + name + "\"><pValue>" + value + "</pValue></Integer>\n";
}

/// Features over registers of the software camera that stand side by side.
std::string description()
{
    namespace reg = softcam::reg;
    std::string features = "<pFeature>Cached</pFeature><pFeature>Uncached</pFeature><pFeature>OnThree</pFeature>";
    std::string nodes = register_node("CachedReg", reg::width, "WriteThrough") + integer_node("Cached", "CachedReg") +
                        register_node("UncachedReg", reg::gain, "NoCache") + integer_node("Uncached", "UncachedReg") +
                        register_node("A", reg::acquisition_mode, "NoCache") +
                        register_node("B", reg::acquisition_frame_count, "NoCache") +
                        register_node("C", reg::trigger_mode, "NoCache") +
                        "<IntSwissKnife Name=\"OnThree\"><pVariable Name=\"A\">A</pVariable><pVariable Name=\"B\">B"
                        "</pVariable><pVariable Name=\"C\">C</pVariable><Formula>A + B + C</Formula></IntSwissKnife>\n";
    for (int i = 0; i < burst_size; ++i) {
        const std::string name = "Burst" + std::to_string(i);
        features += "<pFeature>" + name + "</pFeature>";
        nodes += register_node(name + "Reg", reg::sensor_width + 4 * static_cast<std::uint32_t>(i), "WriteThrough") +
                 integer_node(name, name + "Reg");
    }
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<RegisterDescription ModelName=\"Measured\" "
           "VendorName=\"None\" "
           "StandardNameSpace=\"GEV\" SchemaMajorVersion=\"1\" SchemaMinorVersion=\"0\" SchemaSubMinorVersion=\"1\" "
           "MajorVersion=\"1\" MinorVersion=\"0\" SubMinorVersion=\"0\" ProductGuid=\"1\" VersionGuid=\"1\" "
           "xmlns=\"http://www.genicam.org/GenApi/Version_1_0\">\n<Category Name=\"Root\">" +
           features + "</Category>\n" + nodes + "<Port Name=\"Device\"/>\n</RegisterDescription>\n";
}

/// Our side: the way that a device's features take, without the heartbeat.
struct Device {
    Device()
    {
        control::ConnectionTarget target;
        target.device = camera;
        target.access = PvAccessReadOnly;
        const PvResult opened = control::Connection::open(target, {}, connection);
        if (!opened.IsOK()) {
            throw std::runtime_error("no connection to the software camera: " + std::string(opened.description()));
        }
        port.attach(connection);
        auto map = GenApi::load_node_map(description(), port);
        port.set_schema(map->info());
        features = std::make_unique<PvGenParameterArray>(std::move(map));
    }

    std::int64_t integer(const PvString& name) const
    {
        std::int64_t value = 0;
        const PvResult result = features->GetIntegerValue(name, value);
        if (!result.IsOK()) {
            throw std::runtime_error(std::string(result.description()));
        }
        return value;
    }

    [[nodiscard]] std::uint64_t messages() const { return connection->channel().statistics().requests; }

    std::atomic<std::int32_t> rule{0};
    std::shared_ptr<control::Connection> connection;
    device::RegisterPort port{std::make_shared<device::EventSinks>(), rule};
    std::unique_ptr<PvGenParameterArray> features;
};

std::uint64_t messages_for(const Device& device, const Way& way)
{
    const std::uint64_t before = device.messages();
    way.work();
    return device.messages() - before;
}

void measure_cached(const Device& device, PeerCamera& peer)
{
    const PvString name("Cached");
    Way ways[] = {{"ours", [&] { keep(device.integer(name)); }}, {"libaravis", [&] { keep(peer.integer("Cached")); }}};
    alternate(ways, 51, 2000);
    std::printf(
        "cached integer by name:    ours %6.1f ns   libaravis %6.1f ns   ratio %.3f   (wanted: at most 100 ns)\n",
        ways[0].median() * nano, ways[1].median() * nano, median_ratio(ways[0], ways[1]));
}

void measure_uncached(const Device& device, PeerCamera& peer)
{
    const PvString uncached("Uncached");
    const PvString on_three("OnThree");
    BareReader bare(softcam::reg::gain, BareReader::Way::plain);
    BareReader connected(softcam::reg::gain, BareReader::Way::connected);
    BareReader bounded(softcam::reg::gain, BareReader::Way::connected_with_timeout);
    const auto value_of = [&](std::uint32_t address) {
        std::uint32_t value = 0;
        keep(device.connection->channel().read_register(address, value).ok());
        return value;
    };
    Way ways[] = {
        {"bare register read", [&] { bare.read(); }},
        {"bare, connected socket", [&] { connected.read(); }},
        {"bare, connected, timeout", [&] { bounded.read(); }},
        {"our register read", [&] { keep(value_of(softcam::reg::gain)); }},
        {"libaravis register read", [&] { keep(peer.read_register(softcam::reg::gain)); }},
        {"our feature", [&] { keep(device.integer(uncached)); }},
        {"libaravis feature", [&] { keep(peer.integer("Uncached")); }},
        {"our feature on three", [&] { keep(device.integer(on_three)); }},
        {"libaravis feature on three", [&] { keep(peer.integer("OnThree")); }},
    };
    alternate(ways, 101, 100);
    for (const Way& way : ways) {
        std::printf("%-27s%7.2f us   %+6.2f us above bare, %.2f times\n", way.name.c_str(), way.median() * micro,
                    median_difference(way, ways[0]) * micro, median_ratio(way, ways[0]));
    }
    std::printf("wanted: our feature at most 0.5 us above bare. Messages: our feature %llu, on three registers %llu\n",
                static_cast<unsigned long long>(messages_for(device, ways[5])),
                static_cast<unsigned long long>(messages_for(device, ways[7])));
}

void measure_burst(const Device& device)
{
    BareReader bare(softcam::reg::sensor_width, BareReader::Way::plain);
    std::vector<PvString> names;
    for (int i = 0; i < burst_size; ++i) {
        names.emplace_back("Burst" + std::to_string(i));
    }
    Way ways[] = {
        {"ours",
         [&] {
             device.features->InvalidateCache();
             for (const PvString& name : names) {
                 keep(device.integer(name));
             }
         }},
        {"bare",
         [&] {
             for (int i = 0; i < burst_size; ++i) {
                 bare.read();
             }
         }},
    };
    alternate(ways, 51, 20);
    // so that the burst that is counted begins as a first one does
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    std::printf("%d neighbouring registers after an invalidation: %llu messages, %.2f us; bare, one by one: %.2f us\n",
                burst_size, static_cast<unsigned long long>(messages_for(device, ways[0])), ways[0].median() * micro,
                ways[1].median() * micro);
}

}  // namespace

void measure_reading()
{
    const OneCore core;
    const CameraProcess process(run_softcam);
    PeerCamera peer(camera.address.to_string(), description());
    const Device device;
    std::printf("\nreading features of the software camera, both processes on one core%s\n",
                core.alone() ? "" : " that they share with others");
    measure_cached(device, peer);
    measure_uncached(device, peer);
    measure_burst(device);
}

}  // namespace bench
