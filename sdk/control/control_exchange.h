// One request of the control channel and what comes back for it. Only for control_channel.cpp.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <optional>
#include <span>

#include "sdk/base/trace.h"
#include "sdk/control/control_channel.h"
#include "sdk/wire/bytes.h"

namespace vex::control {

/// A request on its way: sent, its acknowledge awaited, and that judged, until one of these ends it.
class ControlChannel::Exchange {
public:
    Exchange(ControlChannel& channel, const wire::gvcp::Message& message, Access access, RetryPolicy policy) noexcept
        : channel_(channel), message_(message), policy_(policy), expected_(acknowledge_of(access.command)),
          device_(channel.transport_.device()), begin_(channel.clock_.now()), now_(begin_)
    {
        outcome_.command = access.command;
        outcome_.address = access.address;
        outcome_.length = access.length;
        channel_.requests_.add();
    }

    /// Sends the request once more; false when the exchange is over.
    bool send() noexcept
    {
        if (over_) {
            return false;
        }
        if (outcome_.attempts == policy_.attempts) {
            return fail(malformed_ ? ControlOutcome::Kind::malformed : ControlOutcome::Kind::no_answer);
        }
        if (channel_.must_end()) {
            return fail(ControlOutcome::Kind::closed);
        }
        if (outcome_.attempts != 0) {
            channel_.retries_.add();
            trace_retry();
        }
        ++outcome_.attempts;
        sent_ = now_;
        deadline_ = sent_ + policy_.answer_timeout;
        outcome_.error = channel_.transport_.send(message_.bytes());
        if (outcome_.error && outcome_.attempts == policy_.attempts) {
            return fail(ControlOutcome::Kind::send_failed);
        }
        return true;
    }

    /// Waits for an acknowledge that answers the request; empty when none came in time or the exchange is over. It lies
    /// in the channel's buffer.
    std::optional<wire::gvcp::AcknowledgeView> await() noexcept
    {
        while (!over_ && now_ < deadline_) {
            // rounded up, so that a wait never ends before its time and then spins
            const auto received = channel_.transport_.receive(
                channel_.buffer_, std::chrono::ceil<std::chrono::milliseconds>(deadline_ - now_));
            now_ = channel_.clock_.now();
            if (channel_.must_end()) {
                fail(ControlOutcome::Kind::closed);
            } else if (const auto acknowledge = received ? sort(*received) : std::nullopt) {
                return acknowledge;
            }
        }
        if (!over_ && pendings_ > 0 && now_ >= pending_end_) {
            fail(ControlOutcome::Kind::pending_too_long);
        }
        return std::nullopt;
    }

    /// Takes the acknowledge for what it says. One that `accept` does not take is broken, and the exchange goes on.
    template <typename Accept, typename Refused>
    void judge(const wire::gvcp::AcknowledgeView& acknowledge, Accept accept, Refused refused) noexcept
    {
        if ((static_cast<unsigned>(acknowledge.status) & 0x8000U) != 0) {
            note_answer();
            refused(acknowledge.payload, outcome_);
            outcome_.status = acknowledge.status;
            fail(ControlOutcome::Kind::refused);
            return;
        }
        if (!accept(acknowledge.payload)) {
            note_malformed();
            return;
        }
        note_answer();
        channel_.round_trips_.add(std::chrono::duration_cast<std::chrono::nanoseconds>(now_ - sent_));
        trace_success(acknowledge.payload);
        if (pendings_ > 0) {
            outcome_.granted = std::chrono::ceil<std::chrono::milliseconds>(now_ - (pending_end_ - pending_limit));
        }
        over_ = true;
    }

    [[nodiscard]] const ControlOutcome& outcome() const noexcept { return outcome_; }

private:
    bool fail(ControlOutcome::Kind kind) noexcept
    {
        over_ = true;
        channel_.failures_.add();
        outcome_.kind = kind;
        outcome_.waited = std::chrono::duration_cast<std::chrono::milliseconds>(channel_.clock_.now() - begin_);
        trace_failure();
        return false;
    }

    void trace_retry() const noexcept
    {
        trace::write(trace::Category::control, trace::Level::warning, [&] {
            return device_.address.to_string() + ": " + register_text(outcome_.address) + ": no answer within " +
                   std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(now_ - sent_).count()) +
                   " ms, the request is sent again";
        });
    }
    void trace_success(std::span<const std::uint8_t> payload) const noexcept
    {
        trace::write(trace::Category::control, trace::Level::debug, [&] {
            std::optional<std::uint32_t> value;
            const auto sent = message_.bytes().subspan(wire::gvcp::header_size);
            if (outcome_.command == wire::gvcp::Command::read_register && outcome_.length == 4) {
                value = wire::load_be32(payload.data());
            } else if (outcome_.command == wire::gvcp::Command::write_register && outcome_.length == 4) {
                value = wire::load_be32(sent.data() + 4);
            }
            return exchange_text(outcome_, device_, value, now_ - begin_);
        });
    }
    void trace_failure() const noexcept
    {
        const bool answered =
            outcome_.kind == ControlOutcome::Kind::refused || outcome_.kind == ControlOutcome::Kind::closed;
        trace::write(trace::Category::control, answered ? trace::Level::info : trace::Level::error,
                     [&] { return exchange_text(outcome_, device_, std::nullopt, {}); });
    }

    void note_answer() noexcept
    {
        channel_.last_answer_.store(now_.time_since_epoch().count(), std::memory_order_relaxed);
    }

    void note_malformed() noexcept
    {
        malformed_ = true;
        channel_.malformed_.add();
    }

    /// Counts what is no acknowledge of the request and heeds a PENDING_ACK.
    std::optional<wire::gvcp::AcknowledgeView> sort(const net::Received& received) noexcept
    {
        if (received.source != device_) {
            channel_.foreign_.add();
            return std::nullopt;
        }
        const auto acknowledge = wire::gvcp::decode_acknowledge({channel_.buffer_.data(), received.size});
        if (!acknowledge || received.truncated) {
            note_malformed();
            return std::nullopt;
        }
        const bool pending = acknowledge->acknowledge == wire::gvcp::Command::pending_ack;
        if (acknowledge->request_id != channel_.request_id_ || (acknowledge->acknowledge != expected_ && !pending)) {
            channel_.stale_.add();
            return std::nullopt;
        }
        if (pending) {
            prolong(acknowledge->payload);
            return std::nullopt;
        }
        return acknowledge;
    }

    void prolong(std::span<const std::uint8_t> payload) noexcept
    {
        const auto more = wire::gvcp::decode_pending(payload);
        if (!more) {
            note_malformed();
            return;
        }
        if (pendings_ == 0) {
            pending_end_ = now_ + pending_limit;
        }
        note_answer();
        ++pendings_;
        channel_.pendings_.add();
        if (pendings_ > most_pendings || now_ >= pending_end_) {
            fail(ControlOutcome::Kind::pending_too_long);
            return;
        }
        trace::write(trace::Category::control, trace::Level::info, [&] {
            return device_.address.to_string() + ": " + register_text(outcome_.address) +
                   ": the device asks for another " + std::to_string(*more) + " ms";
        });
        // the announced time is the device's own; the way back takes as long as any answer's
        deadline_ = std::min(now_ + std::chrono::milliseconds(*more) + policy_.answer_timeout, pending_end_);
    }

    ControlChannel& channel_;
    const wire::gvcp::Message& message_;
    const RetryPolicy policy_;
    const wire::gvcp::Command expected_;
    const Endpoint device_;
    const time_point begin_;
    time_point now_;  ///< as of the last look at the clock
    time_point sent_{};
    time_point deadline_{};
    time_point pending_end_{};  ///< set by the first PENDING_ACK
    unsigned pendings_ = 0;
    bool malformed_ = false;
    bool over_ = false;
    ControlOutcome outcome_;
};

}  // namespace vex::control
