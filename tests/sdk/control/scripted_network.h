// A network for searches with cameras on it, without sockets and on the test's clock.
#pragma once

#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "sdk/control/search_network.h"
#include "tests/sdk/control/raw_device.h"
#include "tests/sdk/control/scripted_transport.h"

namespace device_test {

/// Has one interface, 192.168.10.5/24, until told otherwise. Whatever is sent reaches the cameras of that interface
/// which have the address, or all of them when it is a broadcast; their answers arrive 1 ms later.
class ScriptedNetwork final : public vex::control::SearchNetwork {
public:
    static constexpr vex::Ipv4Address host_address{0xC0A80A05};
    static constexpr vex::Ipv4Address host_mask{0xFFFFFF00};

    /// The address 192.168.10.`last`.
    static constexpr vex::Ipv4Address at(std::uint8_t last) { return {0xC0A80A00U | last}; }

    ManualClock time;
    std::vector<vex::net::Interface> hosts = {{"eth0", "wire", host_address, host_mask, {}, {}, 1500, false}};
    std::vector<std::size_t> without_port;  ///< interfaces that cannot be opened
    std::vector<std::size_t> unsendable;    ///< interfaces that can, but do not send

    bool broadcasts_wanted = false;  ///< of the ports opened last

    /// The camera must outlive the network's use.
    void attach(RawDevice& camera, std::size_t interface_index = 0) { cameras_.push_back({interface_index, &camera}); }

    void detach_all() { cameras_.clear(); }

    [[nodiscard]] std::vector<vex::net::Interface> interfaces() override { return hosts; }
    [[nodiscard]] const vex::net::Clock& clock() const noexcept override { return time; }
    [[nodiscard]] std::unique_ptr<vex::control::SearchPorts> open(std::span<const vex::net::Interface> interfaces,
                                                                  bool broadcasts) override
    {
        broadcasts_wanted = broadcasts;
        std::vector<std::size_t> indices;
        for (const vex::net::Interface& host : interfaces) {
            const auto is_meant = [&](const auto& known) {
                return known.id == host.id && known.address == host.address;
            };
            indices.push_back(
                static_cast<std::size_t>(std::find_if(hosts.begin(), hosts.end(), is_meant) - hosts.begin()));
        }
        return std::make_unique<Ports>(*this, std::move(indices));
    }

private:
    class Ports final : public vex::control::SearchPorts {
    public:
        /// `hosts`: the network's interfaces, in the order of the search's.
        Ports(ScriptedNetwork& network, std::vector<std::size_t> hosts)
            : network_(network), hosts_(std::move(hosts)), inbox_(network.time)
        {
            for (std::size_t i = 0; i < hosts_.size(); ++i) {
                if (contains(network.without_port, hosts_[i])) {
                    unusable_.push_back({i, "no port"});
                }
            }
        }

        [[nodiscard]] std::span<const vex::control::UnusableInterface> unusable() const noexcept override
        {
            return unusable_;
        }

        std::error_code send(std::size_t interface_index, const vex::Endpoint& destination,
                             std::span<const std::uint8_t> datagram) noexcept override
        {
            const std::size_t host = hosts_.at(interface_index);
            if (contains(network_.without_port, host) || contains(network_.unsendable, host)) {
                return std::make_error_code(std::errc::network_unreachable);
            }
            const vex::net::Interface& facts = network_.hosts[host];
            const bool broadcast = destination.address == vex::limited_broadcast ||
                                   destination.address == vex::directed_broadcast(facts.address, facts.mask);
            for (const Attached& attached : network_.cameras_) {
                if (attached.interface_index != host ||
                    (!broadcast && attached.camera->options().address != destination.address)) {
                    continue;
                }
                const Bytes request(datagram.begin(), datagram.end());
                for (Bytes& answer : attached.camera->answers(request, {facts.address, 40000})) {
                    // the port tells the interface until the datagram is received
                    const auto tag = static_cast<std::uint16_t>(interface_index);
                    inbox_.deliver(std::move(answer), {attached.camera->options().address, tag},
                                   std::chrono::milliseconds(1));
                }
            }
            return {};
        }

        std::optional<Arrival> receive(std::span<std::uint8_t> buffer, std::chrono::milliseconds timeout) override
        {
            const auto received = inbox_.receive(buffer, timeout);
            if (!received) {
                return std::nullopt;
            }
            return Arrival{received->source.port, received->size, {received->source.address, 3956}};
        }

    private:
        static bool contains(const std::vector<std::size_t>& all, std::size_t one)
        {
            return std::find(all.begin(), all.end(), one) != all.end();
        }

        ScriptedNetwork& network_;
        std::vector<std::size_t> hosts_;
        ScriptedInbox inbox_;
        std::vector<vex::control::UnusableInterface> unusable_;
    };

    struct Attached {
        std::size_t interface_index;
        RawDevice* camera;
    };
    std::vector<Attached> cameras_;
};

}  // namespace device_test
