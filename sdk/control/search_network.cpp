#include "sdk/control/search_network.h"

#include <utility>

#include "sdk/control/datagram_tap.h"
#include "sdk/net/udp_socket.h"

namespace vex::control {

namespace {

using std::chrono::milliseconds;

constexpr int receive_buffer = 256 * 1024;

class UdpPorts final : public SearchPorts {
public:
    UdpPorts(std::span<const net::Interface> interfaces, bool broadcasts)
    {
        net::UdpOptions options;
        options.broadcast = true;
        options.stay_on_interface = true;
        options.receive_buffer_bytes = receive_buffer;
        for (std::size_t i = 0; i < interfaces.size(); ++i) {
            try {
                ports_.push_back({i, true, net::UdpSocket::open({interfaces[i].address, 0}, options)});
            } catch (const std::system_error& error) {
                unusable_.push_back({i, error.what()});
                continue;
            }
            if (broadcasts) {
                listen_for_broadcasts(i, ports_.back().socket.local().port, options);
            }
        }
        for (Port& port : ports_) {
            sockets_.push_back(&port.socket);
        }
    }

    [[nodiscard]] std::span<const UnusableInterface> unusable() const noexcept override { return unusable_; }

    std::error_code send(std::size_t interface_index, const Endpoint& destination,
                         std::span<const std::uint8_t> datagram) noexcept override
    {
        for (Port& port : ports_) {
            if (port.interface_index == interface_index && port.sends) {
                const std::error_code error = port.socket.send_to(destination, datagram);
                if (!error) {
                    tap::write(port.socket.local(), destination, datagram);
                }
                return error;
            }
        }
        return std::make_error_code(std::errc::bad_file_descriptor);
    }

    std::optional<Arrival> receive(std::span<std::uint8_t> buffer, milliseconds timeout) override
    {
        auto arrival = take(buffer);
        if (!arrival && net::wait_readable(sockets_, timeout)) {
            arrival = take(buffer);
        }
        return arrival;
    }

private:
    struct Port {
        std::size_t interface_index;
        bool sends;
        net::UdpSocket socket;
    };

    /// Some systems hand broadcasts only to sockets that are not bound to an address of the host; this one has the port
    /// of the other. A system that does not allow it gives the broadcasts to the first socket.
    void listen_for_broadcasts(std::size_t interface_index, std::uint16_t port, const net::UdpOptions& options)
    {
        try {
            ports_.push_back({interface_index, false, net::UdpSocket::open({limited_broadcast, port}, options)});
        } catch (const std::system_error&) {
            return;
        }
    }

    /// A datagram that is there already, of the ports in turn.
    std::optional<Arrival> take(std::span<std::uint8_t> buffer) noexcept
    {
        for (std::size_t n = 0; n < ports_.size(); ++n) {
            Port& port = ports_[turn_];
            turn_ = (turn_ + 1) % ports_.size();
            if (const auto received = port.socket.receive(buffer, milliseconds(0))) {
                tap::write(received->source, port.socket.local(), buffer.first(received->size));
                return Arrival{port.interface_index, received->size, received->source};
            }
        }
        return std::nullopt;
    }

    std::vector<Port> ports_;
    std::vector<net::UdpSocket*> sockets_;
    std::vector<UnusableInterface> unusable_;
    std::size_t turn_ = 0;
};

class UdpNetwork final : public SearchNetwork {
public:
    [[nodiscard]] std::vector<net::Interface> interfaces() override { return net::list_interfaces(); }
    [[nodiscard]] std::unique_ptr<SearchPorts> open(std::span<const net::Interface> interfaces,
                                                    bool broadcasts) override
    {
        return std::make_unique<UdpPorts>(interfaces, broadcasts);
    }
    [[nodiscard]] const net::Clock& clock() const noexcept override { return net::Clock::steady(); }
};

}  // namespace

SearchNetwork& SearchNetwork::system() noexcept
{
    static UdpNetwork network;
    return network;
}

}  // namespace vex::control
