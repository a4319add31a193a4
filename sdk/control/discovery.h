// The search for devices: DISCOVERY on several interfaces at the same time.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "sdk/control/PvTypes.h"
#include "sdk/control/search_network.h"
#include "sdk/net/clock.h"
#include "sdk/net/interfaces.h"
#include "sdk/wire/gvcp.h"

namespace vex::control {

struct DiscoveryOptions {
    std::chrono::milliseconds timeout{1000};  ///< how long answers are awaited
    bool broadcast_acknowledge = true;        ///< devices may answer by broadcast
    bool access_status = true;                ///< each device found is asked who controls it
};

/// A device as one interface sees it.
struct FoundDevice {
    std::size_t interface_index = 0;  ///< among those searched
    wire::gvcp::DiscoveryAcknowledge facts;
    PvAccessType access = PvAccessUnknown;
};

struct DiscoveryStatistics {
    std::uint64_t acknowledges = 0;  ///< good discovery acknowledges
    std::uint64_t repeated = 0;      ///< of these, from devices known already
    std::uint64_t unexpected = 0;    ///< acknowledges that answer nothing asked
    std::uint64_t malformed = 0;     ///< datagrams that are no acknowledge or a broken one
};

/// What tells devices of one interface apart: the MAC address, or the IP address where the device does not tell it.
[[nodiscard]] bool is_same_device(const wire::gvcp::DiscoveryAcknowledge& a,
                                  const wire::gvcp::DiscoveryAcknowledge& b) noexcept;

/// Device and host can reach each other without a router, by the masks of both; a device that tells no mask is judged
/// by the interface's.
[[nodiscard]] bool is_reachable(const net::Interface& host, const wire::gvcp::DiscoveryAcknowledge& facts) noexcept;

/// The privilege that a control channel privilege register shows.
[[nodiscard]] PvAccessType access_of(std::uint32_t control_channel_privilege) noexcept;

/// One search. A device is told once per interface, however often it answers; at most most_devices are told.
///
/// Thread safety: none.
class Discovery {
public:
    static constexpr std::size_t most_devices = 4096;
    /// How long a device may take to tell who controls it before it is told without.
    static constexpr std::chrono::milliseconds access_timeout{250};

    /// Opens a port on each interface; the ones that have none are in unusable(). The network must outlive the search.
    Discovery(std::span<const net::Interface> interfaces, const DiscoveryOptions& options, SearchNetwork& network);
    ~Discovery();

    /// Called on the searching thread; false ends the search.
    using OnFound = std::function<bool(FoundDevice)>;
    /// Searches and returns when the timeout is over, or sooner when `on_found` says so.
    void run(const OnFound& on_found);

    /// Handles one datagram as one that arrived on the interface; run() does this with what the ports receive.
    void handle(std::size_t interface_index, std::span<const std::uint8_t> datagram, const OnFound& on_found);

    [[nodiscard]] const std::vector<UnusableInterface>& unusable() const noexcept { return unusable_; }
    [[nodiscard]] const DiscoveryStatistics& statistics() const noexcept { return statistics_; }

private:
    using time_point = net::Clock::time_point;
    struct Searched;
    struct Candidate;

    void send_discovery();
    void send_access_query(Candidate& candidate);
    /// False when there is nothing more to receive for now, or the search has ended.
    bool receive(std::chrono::milliseconds timeout, const OnFound& on_found);
    void take_what_is_there(const OnFound& on_found);
    void handle_in(Searched& searched, std::span<const std::uint8_t> datagram, const OnFound& on_found);
    void add_candidate(Searched& searched, std::span<const std::uint8_t> payload, const OnFound& on_found);
    void tell(Candidate& candidate, PvAccessType access, const OnFound& on_found);
    /// Asks again or gives up where an answer is overdue; the time when something has to be done next, empty when all
    /// is done.
    std::optional<time_point> attend_candidates(const OnFound& on_found);

    DiscoveryOptions options_;
    const net::Clock& clock_;
    std::unique_ptr<SearchPorts> ports_;
    std::vector<std::unique_ptr<Searched>> searched_;
    std::vector<std::unique_ptr<Candidate>> candidates_;
    std::vector<UnusableInterface> unusable_;
    DiscoveryStatistics statistics_;
    time_point end_;
    std::uint16_t next_access_request_ = 2;  ///< 1 is the discovery's
    bool collecting_ = false;                ///< answers are read that came before end_
    bool ended_ = false;
};

}  // namespace vex::control
