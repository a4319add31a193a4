#include "sdk/terminal/session.h"

#include <algorithm>
#include <deque>
#include <mutex>
#include <utility>
#include <variant>

#include "sdk/serial_port/PvSerialPort.h"

namespace vex::terminal {

namespace {

using std::chrono::milliseconds;

constexpr std::uint32_t read_timeout_ms = 250;
constexpr milliseconds away_interval{250};
constexpr milliseconds idle_interval{60'000};
constexpr milliseconds end_timeout{3000};
constexpr std::size_t block_size = 4096;

bool is_same(const State& a, const State& b)
{
    return a.is_up == b.is_up && a.failure.GetCode() == b.failure.GetCode() &&
           a.failure.description() == b.failure.description() && a.line == b.line && a.baud_rates == b.baud_rates &&
           a.lost == b.lost;
}

}  // namespace

/// What both threads share; it outlives the session when one of them does.
class Session::Shared {
public:
    Shared(std::shared_ptr<bridge::CameraSide> side, Listener listener)
        : side_(std::move(side)), listener_(std::move(listener))
    {}

    void end()
    {
        {
            const std::lock_guard lock(told_);
            listener_ = {};
        }
        (void)side_->port().Close();
    }

    bool add(std::vector<std::uint8_t> bytes)
    {
        const std::lock_guard lock(mutex_);
        if (waiting_bytes_ + bytes.size() > most_waiting) {
            return false;
        }
        waiting_bytes_ += bytes.size();
        waiting_.emplace_back(std::move(bytes));
        return true;
    }
    void add(const PvSerialPortConfiguration& line)
    {
        const std::lock_guard lock(mutex_);
        waiting_.emplace_back(line);
    }

    void receive(control::Worker::Signals& signals)
    {
        std::vector<std::uint8_t> block(block_size);
        milliseconds pause{0};
        while (signals.pause(pause)) {
            pause = receive_some(block) ? milliseconds(0) : away_interval;
        }
    }

    void work(control::Worker::Signals& signals)
    {
        look_at_line();
        do {
            while (work_one()) {
            }
        } while (signals.pause(idle_interval));
    }

private:
    using Task = std::variant<std::vector<std::uint8_t>, PvSerialPortConfiguration>;

    /// False when the port is not there.
    bool receive_some(std::vector<std::uint8_t>& block)
    {
        PvSerialPort& port = side_->port();
        std::uint32_t got = 0;
        const PvResult result = port.Read(block.data(), 1, got, read_timeout_ms);
        if (!result.IsOK() && result.GetCode() != PvResult::Timeout) {
            change([](State& state) { state.is_up = false; });
            return false;
        }
        std::uint32_t ready = 0;
        std::uint32_t more = 0;
        if (got != 0 && port.GetRxBytesReady(ready).IsOK() && ready != 0) {
            ready = std::min(ready, static_cast<std::uint32_t>(block.size() - 1));
            (void)port.Read(block.data() + 1, ready, more, 0);
        }
        const std::uint64_t lost = side_->dropped_bytes();
        change([lost](State& state) {
            state.is_up = true;
            state.lost = lost;
        });
        if (got != 0) {
            const std::lock_guard lock(told_);
            if (listener_.received) {
                listener_.received({block.begin(), block.begin() + 1 + more});
            }
        }
        return true;
    }

    [[nodiscard]] bool work_one()
    {
        Task task;
        {
            const std::lock_guard lock(mutex_);
            if (waiting_.empty()) {
                return false;
            }
            task = std::move(waiting_.front());
            waiting_.pop_front();
        }
        if (const auto* const bytes = std::get_if<std::vector<std::uint8_t>>(&task)) {
            std::uint32_t written = 0;
            PvResult result = side_->port().Write(bytes->data(), static_cast<std::uint32_t>(bytes->size()), written);
            {
                const std::lock_guard lock(mutex_);
                waiting_bytes_ -= bytes->size();
            }
            change([&result](State& state) { state.failure = result; });
        } else {
            const PvResult result = side_->set_line(std::get<PvSerialPortConfiguration>(task));
            change([&result](State& state) { state.failure = result; });
            look_at_line();
        }
        return true;
    }

    void look_at_line()
    {
        PvSerialPortConfiguration line;
        if (side_->line(line).IsOK()) {
            auto rates = side_->baud_rates();
            change([&](State& state) {
                state.line = line;
                state.baud_rates = std::move(rates);
            });
        }
    }

    template <class Change>
    void change(Change&& apply)
    {
        const std::lock_guard lock(told_);
        State next = state_;
        apply(next);
        if (is_same(next, state_) && was_told_) {
            return;
        }
        state_ = std::move(next);
        was_told_ = true;
        if (listener_.changed) {
            listener_.changed(state_);
        }
    }

    const std::shared_ptr<bridge::CameraSide> side_;
    std::mutex told_;  ///< held while the listener is called
    Listener listener_;
    State state_;
    bool was_told_ = false;
    std::mutex mutex_;  ///< for what follows
    std::deque<Task> waiting_;
    std::size_t waiting_bytes_ = 0;
};

Session::Session(std::shared_ptr<bridge::CameraSide> side, Listener listener)
    : shared_(std::make_shared<Shared>(std::move(side), std::move(listener))),
      receiver_("pv-terminal-rx", [shared = shared_](control::Worker::Signals& signals) { shared->receive(signals); }),
      sender_("pv-terminal-tx", [shared = shared_](control::Worker::Signals& signals) { shared->work(signals); })
{}

Session::~Session()
{
    shared_->end();
    sender_.stop(end_timeout);
    receiver_.stop(end_timeout);
}

bool Session::send(std::vector<std::uint8_t> bytes)
{
    const bool taken = shared_->add(std::move(bytes));
    sender_.wake();
    return taken;
}

void Session::configure(const PvSerialPortConfiguration& line)
{
    shared_->add(line);
    sender_.wake();
}

}  // namespace vex::terminal
