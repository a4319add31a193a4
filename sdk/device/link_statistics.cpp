// The counters of a link.
#include "sdk/device/link_parameters.h"
#include "sdk/device/parameter_kinds.h"

namespace vex::device {

void Link::add_round_trips(SoftwareParameters& parameters)
{
    struct Time {
        const char* name;
        const char* tool_tip;
        std::chrono::nanoseconds control::RoundTripSummary::*value;
    };
    using Summary = control::RoundTripSummary;
    for (const Time& time :
         {Time{"LastRoundTripTime", "From the last command to its answer.", &Summary::last},
          Time{"ShortestRoundTripTime", "The shortest time from a command to its answer.", &Summary::smallest},
          Time{"MeanRoundTripTime", "The mean time from a command to its answer.", &Summary::mean},
          Time{"RoundTripTimePercentile99",
               "99 of 100 answers took no longer. The number is at most an eighth too large.", &Summary::percentile_99},
          Time{"LongestRoundTripTime", "The longest time from a command to its answer.", &Summary::largest}}) {
        auto parameter = counter(time.name, time.tool_tip, [this, value = time.value] {
            return static_cast<std::uint64_t>((statistics().round_trips.*value).count());
        });
        parameter.unit = "ns";
        parameters.add(parameter);
    }
}

void Link::add_events(SoftwareParameters& parameters)
{
    using Statistics = control::MessageReceiverStatistics;
    struct Count {
        const char* name;
        const char* tool_tip;
        std::uint64_t Statistics::*value;
    };
    for (const Count& count :
         {Count{"EventCount", "Events of the device that arrived and were kept to be told.", &Statistics::events},
          Count{"EventDroppedCount", "Events that arrived while too many waited to be told.", &Statistics::dropped},
          Count{"EventRepeatedCount", "Messages that the device sent again.", &Statistics::repeated},
          Count{"EventForeignCount", "Datagrams of anybody but the device on the message channel.",
                &Statistics::foreign},
          Count{"EventMalformedCount", "Messages of the device that could not be understood.",
                &Statistics::malformed}}) {
        parameters.add(
            counter(count.name, count.tool_tip, [this, value = count.value] { return message_statistics().*value; }));
    }
}

void Link::add_statistics(SoftwareParameters& parameters)
{
    parameters.add(
        counter("CommandCount", "Commands sent, repetitions not counted.", [this] { return statistics().requests; }));
    parameters.add(counter("CommandRetryCount", "Commands sent again for want of an answer.",
                           [this] { return statistics().retries; }));
    parameters.add(counter("CommandFailureCount", "Commands that the device refused or did not answer.",
                           [this] { return statistics().failures; }));
    parameters.add(counter("PendingAnswerCount", "Times the device asked for more time.",
                           [this] { return statistics().pendings; }));
    parameters.add(
        counter("StaleAnswerCount", "Answers that came too late or twice.", [this] { return statistics().stale; }));
    parameters.add(counter("ForeignDatagramCount", "Datagrams of anybody but the device.",
                           [this] { return statistics().foreign; }));
    parameters.add(counter("MalformedAnswerCount", "Answers that could not be understood.",
                           [this] { return statistics().malformed; }));
    add_round_trips(parameters);
    add_events(parameters);
    parameters.add(counter("HeartbeatCount", "Beats made.", [this] { return heartbeat_->beats.load(); }));
    parameters.add(
        counter("HeartbeatMissedCount", "Beats that were not answered.", [this] { return heartbeat_->missed.load(); }));
    parameters.add(counter("LinkLossCount", "Times the connection was lost.", [this] { return losses_.load(); }));
    parameters.add(counter("StreamTimeoutCount", "Stream timeouts that the application reported, of all channels.",
                           [this] { return stream_timeouts(); }));

    auto reason = named<SoftwareString>("LinkLossReason", "Statistics", "Why the connection was lost the last time.");
    reason.is_volatile = true;
    reason.visibility = GenApi::Visibility::expert;
    reason.get = [this] {
        const std::scoped_lock lock(mutex_);
        return loss_reason_;
    };
    parameters.add(reason);

    auto reset = named<SoftwareCommand>("ResetStatistics", "Statistics", "Sets all counters to 0.");
    reset.visibility = GenApi::Visibility::expert;
    reset.execute = [this] {
        if (const auto last_one = connection()) {
            last_one->channel().reset_statistics();
        }
        heartbeat_->beats = 0;
        heartbeat_->missed = 0;
        losses_ = 0;
        recoveries_ = 0;
        const std::scoped_lock lock(mutex_);
        stream_timeouts_.clear();
        if (messages_) {
            messages_->reset_statistics();
        }
        return PvResult(PvResult::OK);
    };
    parameters.add(reset);
}

}  // namespace vex::device
