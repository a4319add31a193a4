#include "sdk/virtualdevice/gvcp_server.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <system_error>

#include "sdk/base/thread_name.h"
#include "sdk/wire/gvcp.h"

namespace vex::virtual_device {

namespace {

// How soon a stop or an expired heartbeat is noticed.
constexpr std::chrono::milliseconds longest_wait{50};

// Datagrams taken from one socket before the others get their turn.
constexpr int fair_share = 32;

}  // namespace

std::optional<net::Interface> find_interface(std::string_view name, std::span<const net::Interface> interfaces)
{
    const auto first = [&](auto matches) -> std::optional<net::Interface> {
        const auto found = std::ranges::find_if(interfaces, matches);
        return found != interfaces.end() ? std::optional(*found) : std::nullopt;
    };
    const auto is_loopback = [](const net::Interface& i) { return i.loopback; };
    if (name.empty()) {
        const auto outside = first([](const net::Interface& i) { return !i.loopback; });
        return outside ? outside : first(is_loopback);
    }
    if (const auto address = Ipv4Address::parse(name)) {
        if (const auto exact = first([&](const net::Interface& i) { return i.address == *address; })) {
            return exact;
        }
        if (!address->is_loopback()) {
            return std::nullopt;
        }
        // every address of 127.0.0.0/8 is the loopback interface's, though the system lists but one
        auto loopback = first(is_loopback);
        if (loopback) {
            loopback->address = *address;
        }
        return loopback;
    }
    if (const auto mac = MacAddress::parse(name); mac && !mac->is_zero()) {
        if (const auto found = first([&](const net::Interface& i) { return i.mac == *mac; })) {
            return found;
        }
    }
    return first([&](const net::Interface& i) { return i.id == name || i.description == name; });
}

GvcpServer::Sockets GvcpServer::open(const net::Interface& adapter)
{
    Sockets sockets;
    sockets.adapter = adapter;
    net::UdpOptions options{.broadcast = true};
    // without address reuse, so that a second device on the same address is an error and not a race for datagrams
    sockets.unicast = net::UdpSocket::open({adapter.address, wire::gvcp::port}, options);
    if (!open_for_broadcasts(sockets)) {
        // now that there is no second device
        options.reuse_address = true;
        sockets.unicast = {};
        sockets.unicast = net::UdpSocket::open({adapter.address, wire::gvcp::port}, options);
        static_cast<void>(open_for_broadcasts(sockets));
    }
    return sockets;
}

bool GvcpServer::open_for_broadcasts(Sockets& sockets)
{
    bool beside_unicast = true;
    for (const Ipv4Address address :
         {directed_broadcast(sockets.adapter.address, sockets.adapter.mask), limited_broadcast}) {
        try {
            sockets.broadcast.push_back(net::UdpSocket::open({address, wire::gvcp::port}, {.reuse_address = true}));
        } catch (const std::system_error& error) {
            // Where broadcast addresses cannot be bound, the unicast socket receives broadcasts. Where one is bound by
            // binding to every address, that must be shared with the unicast socket.
            if (error.code() == std::errc::permission_denied || error.code() == std::errc::address_in_use) {
                beside_unicast = false;
            }
        }
    }
    return beside_unicast || !sockets.broadcast.empty();
}

void GvcpServer::start(const net::Interface& adapter)
{
    stop();
    sockets_ = open(adapter);
    {
        const std::lock_guard guard(mutex_);
        address_ = adapter.address;
        wanted_.reset();
    }
    responder_.set_address(adapter.address, adapter.mask, adapter.gateway);
    stopping_ = false;
    running_ = true;
    try {
        thread_ = std::thread([this] { run(); });
    } catch (...) {
        running_ = false;
        throw;
    }
}

void GvcpServer::stop() noexcept
{
    stopping_ = true;
    if (thread_.joinable()) {
        thread_.join();
    }
    running_ = false;
    sockets_ = {};
}

void GvcpServer::rebind(const net::Interface& adapter)
{
    const std::lock_guard guard(mutex_);
    wanted_ = adapter;
}

Ipv4Address GvcpServer::address() const
{
    const std::lock_guard guard(mutex_);
    return address_;
}

void GvcpServer::run()
{
    name_this_thread("pv-gvcp-server");
    const Send send = [this](const Endpoint& destination, std::span<const std::uint8_t> data) {
        // from the unicast socket, also where a broadcast is answered: the sender's address identifies the device
        sockets_.unicast.send_to(destination, data);
    };
    net::Clock::duration wait{};
    while (!stopping_) {
        take_wanted_address();
        std::vector<net::UdpSocket*> sockets{&sockets_.unicast};
        for (net::UdpSocket& socket : sockets_.broadcast) {
            sockets.push_back(&socket);
        }
        const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(wait);
        if (net::wait_readable(sockets, std::clamp(milliseconds, std::chrono::milliseconds(0), longest_wait))) {
            serve(sockets_.unicast, false, send);
            for (net::UdpSocket& socket : sockets_.broadcast) {
                serve(socket, true, send);
            }
        }
        wait = handler_.tick(send);
    }
}

void GvcpServer::take_wanted_address()
{
    std::optional<net::Interface> wanted;
    {
        const std::lock_guard guard(mutex_);
        std::swap(wanted, wanted_);
    }
    if (!wanted || wanted->address == sockets_.adapter.address) {
        return;
    }
    try {
        sockets_ = open(*wanted);
    } catch (const std::system_error&) {
        return;  // the device stays reachable where it was
    }
    responder_.set_address(wanted->address, wanted->mask, wanted->gateway);
    const std::lock_guard guard(mutex_);
    address_ = wanted->address;
}

void GvcpServer::serve(net::UdpSocket& socket, bool broadcast, const Send& send)
{
    std::array<std::uint8_t, 2048> buffer;
    for (int i = 0; i < fair_share; ++i) {
        const auto received = socket.receive(buffer, std::chrono::milliseconds(0));
        if (!received) {
            return;
        }
        // the limited broadcast arrives from all networks; a device sits in one
        if (broadcast && received->source.address.is_loopback() != sockets_.adapter.address.is_loopback()) {
            continue;
        }
        handler_.handle({buffer.data(), received->size}, received->source, send);
    }
}

}  // namespace vex::virtual_device
