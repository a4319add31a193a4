// A socket that sends nothing, but notes what leaves when by a test's clock.
#pragma once

#include <vector>

#include "sdk/net/packet_sender.h"
#include "tests/sdk/virtualdevice/manual_clock.h"

class TimedSocket final : public vex::net::SendingSocket {
public:
    struct Departure {
        vex::net::Clock::time_point time;
        std::size_t packets = 0;
        std::size_t bytes = 0;
        bool train = false;
    };

    explicit TimedSocket(ManualClock& clock) : clock_(clock) {}

    std::size_t send_batch(const vex::Endpoint&, std::span<const vex::net::OutgoingDatagram> datagrams,
                           std::error_code& error) noexcept override
    {
        error = {};
        note(datagrams, false);
        return datagrams.size();
    }
    std::error_code send_train(const vex::Endpoint&,
                               std::span<const vex::net::OutgoingDatagram> train) noexcept override
    {
        note(train, true);
        return {};
    }
    [[nodiscard]] bool cuts_trains() const noexcept override { return true; }
    [[nodiscard]] bool reaches_device(const vex::Endpoint&) const noexcept override { return false; }

    std::vector<Departure> departures;
    vex::net::Clock::duration cost{};  ///< of the system for a packet

private:
    void note(std::span<const vex::net::OutgoingDatagram> datagrams, bool train)
    {
        Departure departure{clock_.now(), datagrams.size(), 0, train};
        for (const auto& datagram : datagrams) {
            departure.bytes += datagram.head.size() + datagram.body.size();
        }
        departures.push_back(departure);
        clock_.advance(cost * static_cast<vex::net::Clock::duration::rep>(datagrams.size()));
    }

    ManualClock& clock_;
};
