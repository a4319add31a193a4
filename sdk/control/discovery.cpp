#include "sdk/control/discovery.h"

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "sdk/base/trace.h"
#include "sdk/wire/bootstrap.h"
#include "sdk/wire/bytes.h"

namespace vex::control {

namespace {

using std::chrono::milliseconds;
using wire::gvcp::Command;

constexpr std::uint16_t discovery_request = 1;
/// Datagrams handled before the devices that owe an answer have their turn.
constexpr int receive_batch = 64;
/// Of what is read at the end of the time; a flood must not keep the search going.
constexpr int last_batches = 64;
constexpr milliseconds access_retry{100};
/// The question is asked this often within the timeout, because datagrams get lost.
constexpr int discovery_rounds = 2;

std::string sent_text(std::error_code error) { return error ? "not sent: " + error.message() : "sent"; }

void trace_search(const net::Interface& host, Ipv4Address subnet, std::error_code limited, std::error_code directed)
{
    trace::write(trace::Category::discovery, limited && directed ? trace::Level::error : trace::Level::info, [&] {
        return host.id + " (" + host.address.to_string() + "): search to " + limited_broadcast.to_string() + " " +
               sent_text(limited) + ", to " + subnet.to_string() + " " + sent_text(directed);
    });
}

void trace_unusable(const net::Interface& host, std::size_t size)
{
    trace::write(trace::Category::discovery, trace::Level::warning,
                 [&] { return host.id + ": an answer of " + std::to_string(size) + " bytes cannot be understood"; });
}

}  // namespace

bool is_same_device(const wire::gvcp::DiscoveryAcknowledge& a, const wire::gvcp::DiscoveryAcknowledge& b) noexcept
{
    return a.mac == b.mac && (!a.mac.is_zero() || a.address == b.address);
}

bool is_reachable(const net::Interface& host, const wire::gvcp::DiscoveryAcknowledge& facts) noexcept
{
    return !facts.address.is_any() && same_subnet(host.address, facts.address, host.mask) &&
           (facts.mask.is_any() || same_subnet(host.address, facts.address, facts.mask));
}

PvAccessType access_of(std::uint32_t control_channel_privilege) noexcept
{
    if ((control_channel_privilege & wire::bootstrap::privilege::exclusive) != 0) {
        return PvAccessExclusive;
    }
    return (control_channel_privilege & wire::bootstrap::privilege::control) != 0 ? PvAccessControl : PvAccessOpen;
}

/// An interface that has a port.
struct Discovery::Searched {
    std::size_t index = 0;
    net::Interface facts;
};

/// A device that has answered.
struct Discovery::Candidate {
    Searched* searched = nullptr;
    wire::gvcp::DiscoveryAcknowledge facts;
    std::uint16_t request_id = 0;
    time_point ask_again;
    time_point give_up;
    bool told = false;
};

Discovery::Discovery(std::span<const net::Interface> interfaces, const DiscoveryOptions& options,
                     SearchNetwork& network)
    : options_(options), clock_(network.clock()), ports_(network.open(interfaces, options.broadcast_acknowledge)),
      unusable_(ports_->unusable().begin(), ports_->unusable().end()), end_(clock_.now() + options.timeout)
{
    for (std::size_t i = 0; i < interfaces.size(); ++i) {
        const auto has_none = [i](const UnusableInterface& unusable) { return unusable.interface_index == i; };
        if (std::none_of(unusable_.begin(), unusable_.end(), has_none)) {
            searched_.push_back(std::make_unique<Searched>(Searched{i, interfaces[i]}));
        }
    }
}

Discovery::~Discovery() = default;

void Discovery::run(const OnFound& on_found)
{
    const time_point begin = clock_.now();
    end_ = begin + options_.timeout;
    collecting_ = true;
    int rounds = 0;
    while (!ended_) {
        const time_point round_due = begin + options_.timeout * rounds / discovery_rounds;
        if (rounds < discovery_rounds && clock_.now() >= round_due) {
            send_discovery();
            ++rounds;
            continue;
        }
        if (collecting_ && clock_.now() >= end_) {
            take_what_is_there(on_found);
            collecting_ = false;
        }
        std::optional<time_point> next = attend_candidates(on_found);
        if (ended_ || !next || searched_.empty()) {
            return;
        }
        if (rounds < discovery_rounds) {
            next = std::min(*next, round_due);
        }
        const auto wait = std::chrono::ceil<milliseconds>(*next - clock_.now());
        receive(std::max(wait, milliseconds(0)), on_found);
    }
}

/// Answers that came in time may not be read yet, when the application takes its time for the devices told so far.
void Discovery::take_what_is_there(const OnFound& on_found)
{
    for (int batch = 0; batch < last_batches && receive(milliseconds(0), on_found); ++batch) {
    }
}

void Discovery::send_discovery()
{
    const auto message = wire::gvcp::discovery(discovery_request, options_.broadcast_acknowledge);
    for (auto it = searched_.begin(); it != searched_.end();) {
        Searched& searched = **it;
        const Ipv4Address subnet = directed_broadcast(searched.facts.address, searched.facts.mask);
        const std::error_code limited =
            ports_->send(searched.index, {limited_broadcast, wire::gvcp::port}, message.bytes());
        const std::error_code directed = ports_->send(searched.index, {subnet, wire::gvcp::port}, message.bytes());
        trace_search(searched.facts, subnet, limited, directed);
        if (limited && directed) {
            unusable_.push_back({searched.index, directed.message()});
            const auto gone = [&](const auto& candidate) { return candidate->searched == &searched; };
            std::erase_if(candidates_, gone);
            it = searched_.erase(it);
        } else {
            ++it;
        }
    }
}

bool Discovery::receive(milliseconds timeout, const OnFound& on_found)
{
    std::array<std::uint8_t, 2048> buffer;
    for (int n = 0; n < receive_batch && !ended_; ++n) {
        const auto arrival = ports_->receive(buffer, n == 0 ? timeout : milliseconds(0));
        if (!arrival) {
            return false;
        }
        handle(arrival->interface_index, {buffer.data(), arrival->size}, on_found);
    }
    return !ended_;
}

void Discovery::handle(std::size_t interface_index, std::span<const std::uint8_t> datagram, const OnFound& on_found)
{
    for (const auto& searched : searched_) {
        if (searched->index == interface_index) {
            handle_in(*searched, datagram, on_found);
        }
    }
}

void Discovery::handle_in(Searched& searched, std::span<const std::uint8_t> datagram, const OnFound& on_found)
{
    const auto acknowledge = wire::gvcp::decode_acknowledge(datagram);
    if (!acknowledge) {
        ++statistics_.malformed;
        trace_unusable(searched.facts, datagram.size());
        return;
    }
    if (acknowledge->acknowledge == Command::discovery_ack && acknowledge->request_id == discovery_request) {
        if (acknowledge->status == wire::gvcp::Status::success) {
            add_candidate(searched, acknowledge->payload, on_found);
        } else {
            ++statistics_.unexpected;
        }
        return;
    }
    const auto asked = std::find_if(candidates_.begin(), candidates_.end(), [&](const auto& candidate) {
        return candidate->searched == &searched && candidate->request_id == acknowledge->request_id && !candidate->told;
    });
    if (asked == candidates_.end() || acknowledge->acknowledge != Command::read_register_ack) {
        ++statistics_.unexpected;
    } else if (acknowledge->status == wire::gvcp::Status::access_denied) {
        // not even this may be read: another application has exclusive control
        tell(**asked, PvAccessExclusive, on_found);
    } else if (acknowledge->status != wire::gvcp::Status::success) {
        tell(**asked, PvAccessUnknown, on_found);
    } else if (acknowledge->payload.size() < 4) {
        ++statistics_.malformed;
    } else {
        tell(**asked, access_of(wire::load_be32(acknowledge->payload.data())), on_found);
    }
}

void Discovery::add_candidate(Searched& searched, std::span<const std::uint8_t> payload, const OnFound& on_found)
{
    auto facts = wire::gvcp::decode_discovery_acknowledge(payload);
    if (!facts) {
        ++statistics_.malformed;
        trace_unusable(searched.facts, payload.size());
        return;
    }
    ++statistics_.acknowledges;
    // a limited broadcast also reaches the software devices of this host, which belong to the loopback interface only
    if (facts->address.is_loopback() && !searched.facts.loopback) {
        return;
    }
    const auto known = [&](const auto& candidate) {
        return candidate->searched == &searched && is_same_device(candidate->facts, *facts);
    };
    if (std::any_of(candidates_.begin(), candidates_.end(), known)) {
        ++statistics_.repeated;
        return;
    }
    // a device found after the end would have to be asked for its access status, and so could keep the search going
    const bool is_late = !collecting_ && clock_.now() >= end_;
    if (candidates_.size() >= most_devices || is_late) {
        return;
    }

    auto candidate = std::make_unique<Candidate>();
    candidate->searched = &searched;
    candidate->facts = std::move(*facts);
    candidate->request_id = next_access_request_++;
    candidate->give_up = clock_.now() + access_timeout;
    candidates_.push_back(std::move(candidate));
    if (options_.access_status && is_reachable(searched.facts, candidates_.back()->facts)) {
        send_access_query(*candidates_.back());
    } else {
        tell(*candidates_.back(), PvAccessUnknown, on_found);
    }
}

void Discovery::send_access_query(Candidate& candidate)
{
    const std::uint32_t address = wire::bootstrap::control_channel_privilege;
    const auto message = wire::gvcp::read_registers(candidate.request_id, {&address, 1});
    ports_->send(candidate.searched->index, {candidate.facts.address, wire::gvcp::port}, message.bytes());
    candidate.ask_again = clock_.now() + access_retry;
}

void Discovery::tell(Candidate& candidate, PvAccessType access, const OnFound& on_found)
{
    candidate.told = true;
    trace::write(trace::Category::discovery, trace::Level::info, [&] {
        const auto& facts = candidate.facts;
        return candidate.searched->facts.id + ": " + facts.model + " (serial number " + facts.serial_number + ", MAC " +
               facts.mac.to_string() + ") answers with the address " + facts.address.to_string() + ", mask " +
               facts.mask.to_string();
    });
    if (!on_found({candidate.searched->index, candidate.facts, access})) {
        ended_ = true;
    }
}

std::optional<Discovery::time_point> Discovery::attend_candidates(const OnFound& on_found)
{
    std::optional<time_point> next;
    for (std::size_t i = 0; i < candidates_.size() && !ended_; ++i) {
        Candidate& candidate = *candidates_[i];
        if (candidate.told) {
            continue;
        }
        const time_point now = clock_.now();
        if (now >= candidate.give_up) {
            tell(candidate, PvAccessUnknown, on_found);
            continue;
        }
        if (now >= candidate.ask_again) {
            send_access_query(candidate);
        }
        const time_point due = std::min(candidate.ask_again, candidate.give_up);
        next = next ? std::min(*next, due) : due;
    }
    if (collecting_) {
        next = next ? std::min(*next, end_) : end_;
    }
    return next;
}

}  // namespace vex::control
