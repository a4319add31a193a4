#include "sdk/peripherals/uart.h"

#include <algorithm>
#include <utility>

namespace vex::peripherals {

namespace {

/// A far end that is not listened to keeps this much of what it has to say; a line that is held is held from there on.
constexpr std::size_t most_incoming = 65'536;

}  // namespace

std::chrono::nanoseconds UartSettings::character_time() const noexcept
{
    const std::uint64_t bits = 1 + byte_size + (parity != 0 ? 1 : 0) + stop_bits;
    return std::chrono::nanoseconds(bits * 1'000'000'000 / std::max<std::uint32_t>(baud_rate, 1));
}

Uart::Uart(const UartModel& model, std::unique_ptr<SerialDevice> far_end, const net::Clock& clock)
    : model_(model), far_end_(std::move(far_end)), clock_(clock), random_(faults_.seed)
{}

void Uart::set_faults(const UartFaults& faults)
{
    faults_ = faults;
    random_.seed(faults.seed);
}

void Uart::power_on()
{
    outgoing_.clear();
    incoming_.clear();
    received_.clear();
    position_ = 0;
    overruns_ = 0;
    random_.seed(faults_.seed);
    far_end_->power_on();
}

std::chrono::nanoseconds Uart::character_time() const noexcept
{
    return model_.real_rate ? settings_.character_time() : std::chrono::nanoseconds::zero();
}

bool Uart::leaves(net::Clock::time_point now) const
{
    return !outgoing_.empty() && leaves_at_ <= now && !(model_.flow_control && incoming_.size() >= most_incoming);
}

bool Uart::arrives(net::Clock::time_point now) const
{
    return !incoming_.empty() && arrives_at_ <= now &&
           !(model_.flow_control && received_.size() >= model_.receive_size);
}

void Uart::update()
{
    const net::Clock::time_point now = clock_.now();
    for (;;) {
        const bool in = arrives(now);
        const bool out = leaves(now);
        if (in && (!out || arrives_at_ <= leaves_at_)) {
            arrive();
        } else if (out) {
            leave();
        } else {
            return;
        }
    }
}

void Uart::leave()
{
    const net::Clock::time_point at = leaves_at_;
    const std::uint8_t byte = outgoing_.front();
    outgoing_.pop_front();
    leaves_at_ = at + character_time();
    const auto said = far_end_->receive(byte);
    if (incoming_.empty()) {
        arrives_at_ = at + character_time();
    }
    const std::size_t room = most_incoming - std::min(most_incoming, incoming_.size());
    const std::size_t kept = std::min(said.size(), room);
    incoming_.insert(incoming_.end(), said.begin(), said.begin() + static_cast<std::ptrdiff_t>(kept));
}

void Uart::arrive()
{
    const std::uint8_t byte = incoming_.front();
    incoming_.pop_front();
    arrives_at_ += character_time();
    if (happens(faults_.lost)) {
        return;
    }
    if (happens(faults_.overruns) || received_.size() >= model_.receive_size) {
        ++overruns_;
        return;
    }
    received_.push_back(byte);
}

std::optional<net::Clock::time_point> Uart::next() const
{
    std::optional<net::Clock::time_point> soonest;
    if (leaves(net::Clock::time_point::max())) {
        soonest = leaves_at_;
    }
    if (arrives(net::Clock::time_point::max()) && (!soonest || arrives_at_ < *soonest)) {
        soonest = arrives_at_;
    }
    return soonest;
}

std::size_t Uart::transmit(std::span<const std::uint8_t> bytes)
{
    update();
    const std::size_t taken = std::min(bytes.size(), room());
    if (outgoing_.empty()) {
        leaves_at_ = clock_.now() + character_time();
    }
    outgoing_.insert(outgoing_.end(), bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(taken));
    update();
    return taken;
}

std::size_t Uart::peek(std::span<std::uint8_t> out) const
{
    const std::size_t count = std::min(out.size(), received_.size());
    std::copy_n(received_.begin(), count, out.begin());
    return count;
}

bool Uart::take_until(std::uint32_t position)
{
    const std::uint32_t count = position - position_;
    if (count > received_.size()) {
        return false;
    }
    received_.erase(received_.begin(), received_.begin() + static_cast<std::ptrdiff_t>(count));
    position_ = position;
    update();  // a line that was held goes on
    return true;
}

void Uart::flush_receive()
{
    if (!model_.real_rate) {
        incoming_.clear();  // without a rate nothing is on its way: it was only held back
    }
    (void)take_until(position_ + static_cast<std::uint32_t>(received_.size()));
}

}  // namespace vex::peripherals
