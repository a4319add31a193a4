#include "sdk/genicp/connection.h"

#include <array>
#include <exception>
#include <utility>

#include "sdk/base/failure.h"
#include "sdk/wire/bytes.h"

namespace vex::genicp {

namespace gencp = wire::gencp;

namespace {

using Word = std::array<std::uint8_t, 4>;

Word word_of(std::uint32_t value) noexcept
{
    Word bytes{};
    wire::store_be32(bytes.data(), value);
    return bytes;
}

}  // namespace

PvResult Connection::open(std::unique_ptr<SerialLink> link, std::string name, DeviceFacts facts, const Timing& timing,
                          const net::Clock& clock, std::shared_ptr<Connection>& connection)
{
    const auto made = std::make_shared<Connection>(std::move(link), std::move(name), std::move(facts), timing, clock);
    if (PvResult refused = made->take_privilege(); !refused.IsOK()) {
        return refused;
    }
    if (made->facts_.heartbeat_timeout_ms != 0) {
        // the thread goes before what it uses: it is the connection's last member
        made->heartbeat_.emplace(interval_for(std::chrono::milliseconds(made->facts_.heartbeat_timeout_ms)),
                                 [at = made.get()] { return at->beat(); });
    }
    connection = made;
    return PvResult::OK;
}

Connection::Connection(std::unique_ptr<SerialLink> link, std::string name, DeviceFacts facts, const Timing& timing,
                       const net::Clock& clock)
    : link_(std::move(link)), name_(std::move(name)), facts_(std::move(facts)),
      client_(link_->port(), clock, some_request_id())
{
    client_.set_timing(timing);
}

Connection::~Connection() { close(); }

void Connection::close() noexcept
{
    const std::scoped_lock lock(close_mutex_);
    if (std::exchange(closed_, true)) {
        return;
    }
    if (heartbeat_) {
        heartbeat_->stop();
    }
    if (privileged_ && !lost_) {
        try {
            // a device that does not hear it forgets by itself, or is taken over the next time
            static_cast<void>(client_.close_with(gencp::abrm::access_privilege, word_of(gencp::privilege::available)));
        } catch (const std::exception&) {
            // there is no memory for the text of a failure that nobody asks for
        }
    }
    client_.close();
    static_cast<void>(link_->port().Close());
    heartbeat_.reset();
}

PvResult Connection::take_privilege()
{
    if (!facts_.has(gencp::capability::access_privilege)) {
        return PvResult::OK;
    }
    const Outcome outcome = client_.write(gencp::abrm::access_privilege, word_of(gencp::privilege::taken));
    privileged_ = outcome.ok();
    return judge(outcome);
}

PvResult Connection::judge(const Outcome& outcome)
{
    if (outcome.kind == Outcome::Kind::port_failed && outcome.port.GetCode() == PvResult::NotConnected) {
        lost_ = true;
    }
    return to_result(outcome, name_);
}

PvResult Connection::read(std::uint64_t address, std::span<std::uint8_t> destination)
{
    if (lost_) {
        return failure(PvResult::NotConnected, name_, ": the connection was lost");
    }
    return judge(client_.read(address, destination));
}

PvResult Connection::write(std::uint64_t address, std::span<const std::uint8_t> source)
{
    if (lost_) {
        return failure(PvResult::NotConnected, name_, ": the connection was lost");
    }
    return judge(client_.write(address, source));
}

bool Connection::beat()
{
    using Kind = Outcome::Kind;
    Word bytes{};
    Outcome outcome = client_.read(gencp::abrm::access_privilege, bytes);
    if (outcome.ok() && privileged_ && wire::load_be32(bytes.data()) == gencp::privilege::available) {
        outcome = client_.write(gencp::abrm::access_privilege, word_of(gencp::privilege::taken));
    }
    const bool answered = outcome.ok() || outcome.kind == Kind::refused;
    missed_ = answered ? 0 : missed_ + 1;
    if (outcome.kind == Kind::port_failed || outcome.kind == Kind::closed || missed_ == most_missed_beats) {
        lost_ = true;
    }
    return !lost_;
}

}  // namespace vex::genicp
