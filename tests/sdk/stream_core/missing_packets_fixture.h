// The missing packets of one block, and a test that plays the caller.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <utility>
#include <vector>

#include "sdk/stream_core/missing_packets.h"

namespace missing_packets {

using namespace std::chrono_literals;
using vex::stream::MissingPackets;
using Arrival = MissingPackets::Arrival;
using Ranges = std::vector<std::pair<std::uint32_t, std::uint32_t>>;

class MissingPacketsTest : public testing::Test {
protected:
    void arrive(std::initializer_list<std::uint32_t> ids)
    {
        for (const std::uint32_t id : ids) {
            missing.arrived(id, now);
        }
    }
    [[nodiscard]] MissingPackets::Terms terms() const
    {
        MissingPackets::Terms terms(settings);
        const std::uint64_t pending = missing.pending();
        terms.budget -= std::min(terms.budget, pending);
        terms.may_repeat = may_repeat;
        terms.answered = answered;
        return terms;
    }
    /// Takes notice of the answers so far.
    void look() { answered.look(missing.answered(), now, delay); }
    /// What is asked for at this moment.
    Ranges ask()
    {
        Ranges asked;
        MissingPackets::Terms now_terms = terms();
        given_up += missing.ask_for_gaps(now, now_terms, [&](const MissingPackets::Request& request) {
            asked.emplace_back(request.first, request.last);
            return ++requests;
        });
        return asked;
    }
    Ranges ask_for_tail(std::optional<std::uint32_t> last = std::nullopt, bool may_follow = false)
    {
        Ranges asked;
        MissingPackets::Terms now_terms = terms();
        missing.ask_for_tail(now, now_terms, {last, may_follow}, [&](const MissingPackets::Request& request) {
            asked.emplace_back(request.first, request.last);
            return ++requests;
        });
        return asked;
    }

    vex::stream::StreamSettings settings;
    MissingPackets missing;
    vex::net::Clock::time_point now{100s};
    bool may_repeat = true;
    MissingPackets::Answered answered;
    std::uint64_t requests = 0;
    std::uint64_t given_up = 0;
    const vex::net::Clock::duration delay = std::chrono::microseconds(settings.resend_delay_us);
    const vex::net::Clock::duration timeout = std::chrono::milliseconds(settings.resend_request_timeout_ms);
};

}  // namespace missing_packets
