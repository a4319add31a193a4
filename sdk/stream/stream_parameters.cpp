#include "sdk/stream/stream_parameters.h"

#include <chrono>
#include <utility>

namespace vex::stream {

namespace {

using Milliseconds = std::chrono::milliseconds;

/// Adds the parameters of one channel to a list, a line each.
class Builder {
public:
    Builder(SoftwareParameters& parameters, StreamChannel& channel) : parameters_(parameters), channel_(channel) {}

    void setting(const NumberSetting& setting)
    {
        SoftwareInteger parameter;
        describe_setting(parameter, setting);
        parameter.min = setting.min;
        parameter.max = setting.max;
        parameter.unit = setting.unit;
        StreamChannel& channel = channel_;
        parameter.get = [&channel, &setting] { return static_cast<std::int64_t>(channel.settings().*setting.value); };
        parameter.set = [&channel, &setting](std::int64_t value) {
            return channel.set(setting, static_cast<std::uint32_t>(value));
        };
        parameters_.add(std::move(parameter));
    }

    void setting(const SwitchSetting& setting)
    {
        SoftwareBoolean parameter;
        describe_setting(parameter, setting);
        StreamChannel& channel = channel_;
        parameter.get = [&channel, &setting] { return channel.settings().*setting.value; };
        parameter.set = [&channel, &setting](bool value) {
            channel.set(setting, value);
            return PvResult(PvResult::OK);
        };
        parameters_.add(std::move(parameter));
    }

    void backend()
    {
        SoftwareString parameter;
        parameter.name = "ReceiveBackend";
        parameter.category = "Settings";
        parameter.display_name = "Receive Backend";
        parameter.tool_tip = "The way to receive that the next opening uses, by its name; empty: the usual one.";
        parameter.visibility = GenApi::Visibility::expert;
        parameter.streamable = true;
        StreamChannel& channel = channel_;
        parameter.get = [&channel] { return channel.backend(); };
        parameter.set = [&channel](const std::string& name) { return channel.set_backend(name); };
        parameters_.add(std::move(parameter));
    }

    /// `value` computes the figure from Statistics.
    template <typename Value>
    void count(const char* name, const char* display_name, const char* tool_tip, Value value, const char* unit = "")
    {
        SoftwareInteger parameter;
        describe(parameter, name, display_name, tool_tip);
        parameter.unit = unit;
        StreamChannel& channel = channel_;
        parameter.get = [&channel, value] { return static_cast<std::int64_t>(value(channel.statistics())); };
        parameters_.add(std::move(parameter));
    }

    void packets(const char* name, const char* display_name, const char* tool_tip, PacketFate fate)
    {
        count(name, display_name, tool_tip, [fate](const Statistics& s) { return s.counters.of(fate); });
    }

    void blocks(const char* name, const char* display_name, const char* tool_tip, BlockFate fate)
    {
        count(name, display_name, tool_tip, [fate](const Statistics& s) { return s.counters.of(fate); });
    }

    void sum(const char* name, const char* display_name, const char* tool_tip, std::uint64_t Counters::*counter)
    {
        count(name, display_name, tool_tip, [counter](const Statistics& s) { return s.counters.*counter; });
    }

    void rate(const char* name, const char* display_name, const char* tool_tip, const char* unit,
              RateMeter::Rates Statistics::*rates, double RateMeter::Rates::*rate)
    {
        SoftwareFloat parameter;
        describe(parameter, name, display_name, tool_tip);
        parameter.min = 0;
        parameter.unit = unit;
        StreamChannel& channel = channel_;
        parameter.get = [&channel, rates, rate] { return channel.statistics().*rates.*rate; };
        parameters_.add(std::move(parameter));
    }

    void last_error()
    {
        SoftwareString parameter;
        describe(parameter, "LastError", "Last Error", "How the latest block that failed has failed.");
        StreamChannel& channel = channel_;
        parameter.get = [&channel] { return std::string(channel.last_error().description()); };
        parameters_.add(std::move(parameter));
    }

    /// `value` computes the figure from SystemFacts.
    template <typename Value>
    void fact(const char* name, const char* display_name, const char* tool_tip, Value value, const char* unit = "")
    {
        SoftwareInteger parameter;
        describe(parameter, name, display_name, tool_tip);
        parameter.unit = unit;
        StreamChannel& channel = channel_;
        parameter.get = [&channel, value] { return static_cast<std::int64_t>(value(channel.system_facts())); };
        parameters_.add(std::move(parameter));
    }

    void reset()
    {
        SoftwareCommand parameter;
        parameter.name = "Reset";
        parameter.category = "Statistics";
        parameter.display_name = "Reset Statistics";
        parameter.tool_tip = "Starts all counters and rates from zero.";
        StreamChannel& channel = channel_;
        parameter.execute = [&channel] {
            channel.reset_statistics();
            return PvResult(PvResult::OK);
        };
        parameters_.add(std::move(parameter));
    }

private:
    template <typename Setting>
    static void describe_setting(SoftwareParameter& parameter, const Setting& setting)
    {
        parameter.name = setting.name;
        parameter.category = "Settings";
        parameter.display_name = setting.display_name;
        parameter.tool_tip = setting.tool_tip;
        parameter.visibility = GenApi::Visibility::expert;
        parameter.streamable = true;
    }

    static void describe(SoftwareParameter& parameter, const char* name, const char* display_name, const char* tool_tip)
    {
        parameter.name = name;
        parameter.category = "Statistics";
        parameter.display_name = display_name;
        parameter.tool_tip = tool_tip;
        parameter.is_volatile = true;
    }

    SoftwareParameters& parameters_;
    StreamChannel& channel_;
};

void add_settings(Builder& add)
{
    for (const NumberSetting& setting : number_settings()) {
        add.setting(setting);
    }
    for (const SwitchSetting& setting : switch_settings()) {
        add.setting(setting);
    }
    add.backend();
}

void add_block_statistics(Builder& add)
{
    add.count("BlockCount", "Block Count", "Blocks handed to the client, complete or not.",
              [](const Statistics& s) { return s.counters.blocks_received(); });
    add.sum("ImageCount", "Image Count", "Complete images.", &Counters::images);
    add.sum("BytesCount", "Bytes Count", "Payload bytes received.", &Counters::stored_bytes);
    add.count(
        "SamplingTime", "Sampling Time", "Time between the first and the latest block.",
        [](const Statistics& s) { return std::chrono::duration_cast<Milliseconds>(s.sampling_time).count(); }, "ms");
    add.count("ErrorCount", "Error Count", "Blocks that were lost or handed over with an error.",
              [](const Statistics& s) { return s.counters.failed_blocks(); });
    add.last_error();
    add.blocks("ResultMissingPackets", "Result Missing Packets", "Blocks that lack packets.",
               BlockFate::missing_packets);
    add.blocks("ResultTooManyResends", "Result Too Many Resends",
               "Blocks that lack packets which were asked for as often as allowed.", BlockFate::too_many_resends);
    add.blocks("ResultTooManyConsecutiveResends", "Result Too Many Consecutive Resends",
               "Blocks that lack more packets in a row than may be asked for.",
               BlockFate::too_many_consecutive_resends);
    add.blocks("ResultResendsFailure", "Result Resends Failure",
               "Blocks that lack packets which the device has no more.", BlockFate::resends_failure);
    add.blocks("ResultBufferTooSmall", "Result Buffer Too Small", "Blocks that did not fit into their buffer.",
               BlockFate::buffer_too_small);
    add.blocks("ResultInvalidDataFormat", "Result Invalid Data Format", "Blocks of a layout that is not supported.",
               BlockFate::invalid_format);
    add.blocks("ResultImageError", "Result Image Error", "Blocks of which the device says that it lost data.",
               BlockFate::image_error);
    add.blocks("ResultAutoAborted", "Result Auto Aborted",
               "Blocks that were being received when the stream reset itself.", BlockFate::auto_aborted);
    add.blocks("ResultAborted", "Result Aborted", "Blocks that were being received when the queue was aborted.",
               BlockFate::aborted);
    add.blocks("BlocksDropped", "Blocks Dropped", "Blocks for which no buffer was queued.", BlockFate::no_buffer);
    add.sum("BlockIDsMissing", "Block IDs Missing", "Block IDs of which no packet came.", &Counters::block_ids_missing);
    add.sum("RestartCount", "Restart Count", "Times the device began to number its blocks anew.", &Counters::restarts);
    add.sum("OverloadCount", "Overload Count",
            "Times blocks were given up because more was sent than could be taken in, so that the others are whole.",
            &Counters::overloads);
    add.sum("DataOverrunCount", "Data Overrun Count", "Blocks that the device could not send fast enough.",
            &Counters::data_overruns);
    add.count("ResultTimeout", "Result Timeout", "Buffers that came back unfilled after the request timeout.",
              [](const Statistics& s) { return s.queue.requests_expired; });
    add.count("BlocksRecycled", "Blocks Recycled",
              "Filled buffers that nobody retrieved and that were put back to be filled again.",
              [](const Statistics& s) { return s.queue.blocks_recycled; });
    add.sum("ImagesDroppedCount", "Images Dropped", "Images for which no buffer was queued.",
            &Counters::images_dropped);
    add.sum("EOFByLineCount", "EOF by Line Count", "Images that ended with a number of lines, not by a signal.",
            &Counters::eof_by_line_count);
    add.sum("InterlacedEven", "Interlaced Even", "Even fields of interlaced images.", &Counters::interlaced_even);
    add.sum("InterlacedOdd", "Interlaced Odd", "Odd fields of interlaced images.", &Counters::interlaced_odd);
    add.sum("PartialLineMissing", "Partial Line Missing", "Images that lack a part of a line.",
            &Counters::partial_line_missing);
    add.sum("FullLineMissing", "Full Line Missing", "Images that lack a whole line.", &Counters::full_line_missing);
}

void add_packet_statistics(Builder& add)
{
    add.count("PacketCount", "Packet Count", "Packets received, of any kind.", [](const Statistics& s) {
        std::uint64_t sum = 0;
        for (const std::uint64_t count : s.counters.packets) {
            sum += count;
        }
        return sum;
    });
    add.sum("LostPacketCount", "Lost Packet Count", "Packets still missing when their block ended.",
            &Counters::packets_lost);
    add.count("IgnoredPacketCount", "Ignored Packet Count", "Packets that came and were not used.",
              [](const Statistics& s) {
                  std::uint64_t sum = 0;
                  for (const std::uint64_t count : s.counters.packets) {
                      sum += count;
                  }
                  return sum - s.counters.of(PacketFate::stored);
              });
    add.packets("RedundantPacket", "Redundant Packets", "Packets that came more than once.", PacketFate::redundant);
    add.packets("LatePacket", "Late Packets", "Packets of blocks that had ended.", PacketFate::late);
    add.packets("ForeignPacket", "Foreign Packets", "Packets from other senders than the device.", PacketFate::foreign);
    add.packets("MalformedPacket", "Malformed Packets", "Packets that do not follow the protocol.",
                PacketFate::malformed);
    add.packets("PacketUnavailable", "Packets Unavailable", "Packets that tell of an error of the device.",
                PacketFate::unavailable);
    add.sum("PacketOutOfOrder", "Packets Out of Order", "Payload packets that came after later ones of their block.",
            &Counters::packets_out_of_order);
    add.sum("StatusUnknown", "Status Unknown", "Packets with a status that the protocol does not know.",
            &Counters::statuses_unknown);
    add.sum("StatusLocalProblem", "Status Local Problem", "Packets that tell of a problem of the device's own.",
            &Counters::local_problems);
    add.sum("ResendGroupRequested", "Resend Group Requested", "Requests to send packets again.",
            &Counters::resend_requests);
    add.sum("ResendPacketRequested", "Resend Packet Requested", "Packets that were asked for again.",
            &Counters::resend_packets_requested);
    add.sum("ExpectedResendCount", "Expected Resend Count", "Packets that came after they had been asked for again.",
            &Counters::resends_expected);
    add.sum("ExpectedSingleResend", "Expected Single Resend",
            "Packets that came after they had been asked for by a request of their own.",
            &Counters::resends_expected_single);
    add.sum("UnexpectedResendCount", "Unexpected Resend Count", "Packets marked as sent again that nobody waited for.",
            &Counters::resends_unexpected);
    add.sum("ResentPacketCount", "Resent Packet Count", "Packets that the device marked as sent again.",
            &Counters::packets_resent);
}

}  // namespace

std::unique_ptr<SoftwareParameterArray> make_parameters(StreamChannel& channel)
{
    SoftwareParameters parameters("StreamParameters");
    Builder add(parameters, channel);
    add_settings(add);
    add.rate("AcquisitionRate", "Acquisition Rate", "Blocks per second, of the last second.", "Hz",
             &Statistics::current, &RateMeter::Rates::blocks);
    add.rate("AcquisitionRateAverage", "Average Acquisition Rate", "Blocks per second since the first block.", "Hz",
             &Statistics::average, &RateMeter::Rates::blocks);
    add.rate("Bandwidth", "Bandwidth", "Payload bits per second, of the last second.", "bit/s", &Statistics::current,
             &RateMeter::Rates::bits);
    add.rate("BandwidthAverage", "Average Bandwidth", "Payload bits per second since the first block.", "bit/s",
             &Statistics::average, &RateMeter::Rates::bits);
    add_block_statistics(add);
    add_packet_statistics(add);
    add.fact(
        "SocketBufferSize", "Socket Buffer Size",
        "What the system keeps for packets that wait to be received; 0 when it does not tell.",
        [](const SystemFacts& facts) { return facts.buffer_bytes; }, "B");
    add.fact(
        "PacketsDroppedBySystem", "Packets Dropped by System",
        "Packets that the system threw away since the stream was opened, mostly for want of buffer; 0 where it does "
        "not tell.",
        [](const SystemFacts& facts) { return facts.dropped.value_or(0); });
    add.reset();
    return parameters.build();
}

}  // namespace vex::stream
