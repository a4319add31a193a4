#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "bench/genapi/camera_process.h"
#include "bench/genapi/descriptions.h"
#include "bench/genapi/genapi_bench.h"
#include "bench/genapi/measure.h"
#include "bench/genapi/peer.h"
#include "sdk/control/connection.h"
#include "sdk/description/description_source.h"
#include "sdk/description/description_url.h"
#include "sdk/device/PvDevice.h"
#include "sdk/device/PvInterface.h"
#include "sdk/device/PvSystem.h"
#include "sdk/device/device_memory.h"
#include "sdk/virtualdevice/gvcp_server.h"
#include "sdk/wire/gvcp.h"

using namespace vex;

namespace bench {

namespace {

constexpr std::uint32_t description_address = 0x100000;
constexpr Endpoint camera{{0x7F00004E}, wire::gvcp::port};  // 127.0.0.78
constexpr Ipv4Address first_of_many{0x7F000064};            // 127.0.0.100
constexpr unsigned many = 200;
constexpr double milli = 1e3;

void require(const PvResult& result, const char* what)
{
    if (!result.IsOK()) {
        throw std::runtime_error(std::string(what) + ": " + std::string(result.description()));
    }
}

/// A camera that has nothing but a description.
class DescribedCamera final : private virtual_device::DeviceHooks {
public:
    DescribedCamera(Ipv4Address address, const std::string& xml)
        : responder_(facts(address, xml.size()), *this), server_(responder_)
    {
        const auto guard = responder_.lock();
        responder_.registers().add(virtual_device::memory_region(description_address, xml));
    }

    void start(Ipv4Address address) { server_.start({"lo", "", address, {0xFF000000}, {}, {}, 65536, true}); }

private:
    static virtual_device::DeviceDescription facts(Ipv4Address address, std::size_t description_size)
    {
        virtual_device::DeviceDescription facts;
        facts.serial_number = address.to_string();
        facts.mac = virtual_device::made_up_mac(address);
        facts.address = address;
        facts.mask = {0xFF000000};
        facts.first_url = description::local_url("measured.xml", description_address, description_size);
        return facts;
    }
    std::uint64_t timestamp() override { return 0; }

    virtual_device::GvcpResponder responder_;
    virtual_device::GvcpServer server_;
};

/// READMEMs of the largest block and their acknowledges, back to back, and nothing else.
class BareMemoryReader {
public:
    BareMemoryReader() : socket_(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        there_.sin_family = AF_INET;
        there_.sin_port = htons(camera.port);
        there_.sin_addr.s_addr = htonl(camera.address.value);
        if (socket_ < 0) {
            fail("a socket for bare reads");
        }
    }
    ~BareMemoryReader() { ::close(socket_); }
    BareMemoryReader(const BareMemoryReader&) = delete;
    BareMemoryReader& operator=(const BareMemoryReader&) = delete;

    void read(std::uint32_t address, std::span<std::uint8_t> out)
    {
        constexpr std::size_t block = wire::gvcp::largest_memory_block;
        constexpr std::size_t before_data = 12;
        std::array<std::uint8_t, 1024> answer;
        for (std::size_t done = 0; done < out.size(); done += block) {
            const std::size_t count = std::min(block, out.size() - done);
            const auto request =
                wire::gvcp::read_memory(++id_ != 0 ? id_ : ++id_, {address + static_cast<std::uint32_t>(done),
                                                                   static_cast<std::uint16_t>((count + 3) / 4 * 4)});
            sockaddr_in source;
            socklen_t size = sizeof source;
            const auto bytes = request.bytes();
            if (::sendto(socket_, bytes.data(), bytes.size(), 0, reinterpret_cast<const sockaddr*>(&there_),
                         sizeof there_) < 0 ||
                ::recvfrom(socket_, answer.data(), answer.size(), 0, reinterpret_cast<sockaddr*>(&source), &size) <
                    static_cast<ssize_t>(before_data + count)) {
                fail("a bare memory read");
            }
            std::memcpy(out.data() + done, answer.data() + before_data, count);
        }
    }

private:
    int socket_;
    std::uint16_t id_ = 0;
    sockaddr_in there_{};
};

Description large_description()
{
    constexpr std::size_t wanted = 1'100'000;
    constexpr int few = 100;
    const std::size_t of_few = generated(few).xml.size();
    return generated(static_cast<int>(wanted * few / of_few));
}

void measure_retrieval(const Description& description)
{
    control::ConnectionTarget target;
    target.device = camera;
    target.access = PvAccessReadOnly;
    std::shared_ptr<control::Connection> connection;
    require(control::Connection::open(target, {}, connection), "no connection");
    BareMemoryReader bare;
    std::vector<std::uint8_t> memory(description.xml.size());
    Way ways[] = {
        {"bare",
         [&] {
             bare.read(description_address, memory);
             keep(memory);
         }},
        {"ours",
         [&] {
             description::Description fetched;
             require(description::fetch_description(
                         device::memory_of(connection->channel(), connection->facts().capability), {}, fetched),
                     "no description");
             keep(fetched.xml.size());
         }},
    };
    alternate(ways, 101, 1);
    std::printf("retrieving a description of %zu bytes: %.2f ms; back-to-back memory reads %.2f ms; "
                "%.1f %% of their speed   (wanted: at least 95 %%)\n",
                description.xml.size(), ways[1].median() * milli, ways[0].median() * milli,
                100 / median_ratio(ways[1], ways[0]));
}

void measure_opening_one(const Description& description)
{
    const std::string address = camera.address.to_string();
    Way ways[] = {
        {"ours",
         [&] {
             PvDevice device;
             require(device.Connect(PvString(address)), "no connection");
         }},
        {"libaravis", [&] { peer_open(address); }},
    };
    alternate(ways, 11, 1);
    std::printf("opening and closing a camera with %zu bytes of plain description: ours %.2f ms   libaravis %.2f ms   "
                "ratio %.3f   (wanted: at most 0.5)\n",
                description.xml.size(), ways[0].median() * milli, ways[1].median() * milli,
                median_ratio(ways[0], ways[1]));
}

void run_many(const CameraProcess::Ready& ready)
{
    std::vector<std::unique_ptr<DescribedCamera>> cameras;
    for (unsigned n = 0; n < many; ++n) {
        const Ipv4Address address{first_of_many.value + n};
        cameras.push_back(std::make_unique<DescribedCamera>(address, generated(1).xml));
        cameras.back()->start(address);
    }
    ready();
}

void measure_finding()
{
    const CameraProcess process(run_many);
    constexpr int searches = 10;
    std::uint32_t fewest = ~std::uint32_t{0};
    double longest = 0;
    for (int n = 0; n < searches; ++n) {
        PvSystem system;
        const auto begin = std::chrono::steady_clock::now();
        require(system.Find(), "no search");
        longest = std::max(longest, std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count());
        std::uint32_t found = 0;
        for (std::uint32_t i = 0; i < system.GetInterfaceCount(); ++i) {
            found += system.GetInterface(i)->GetDeviceCount();
        }
        fewest = std::min(fewest, found);
    }
    std::printf(
        "%u cameras on %u addresses, %d searches with the default timeout: at least %u found, at most %.0f ms\n", many,
        many, searches, fewest, longest * milli);
}

}  // namespace

void measure_opening()
{
    const Description description = large_description();
    {
        const OneCore core;
        const CameraProcess process([&](const CameraProcess::Ready& ready) {
            DescribedCamera device(camera.address, description.xml);
            device.start(camera.address);
            ready();
        });
        std::printf("\nopening a camera, both processes on one core%s\n",
                    core.alone() ? "" : " that they share with others");
        measure_retrieval(description);
        measure_opening_one(description);
    }
    measure_finding();
}

}  // namespace bench
