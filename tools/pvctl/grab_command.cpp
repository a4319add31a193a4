#include "tools/pvctl/grab_command.h"

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <random>
#include <utility>

#include "sdk/buffer/PvBuffer.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/pipeline/PvPipeline.h"
#include "sdk/streamraw/PvStreamRaw.h"
#include "tools/pvctl/assignments.h"
#include "tools/pvctl/console.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/file_name.h"
#include "tools/pvctl/interrupt.h"
#include "tools/pvctl/lossy_receiver.h"
#include "tools/pvctl/picture_output.h"
#include "tools/pvctl/sending.h"

using namespace vex;

namespace pvctl {

namespace {

using Clock = std::chrono::steady_clock;

/// How many frames there are so far, on one line of the terminal that the standard error goes to.
class FrameCounter {
public:
    explicit FrameCounter(std::uint32_t of) : of_(of), shown_(error_output_is_terminal()) {}
    FrameCounter(const FrameCounter&) = delete;
    FrameCounter& operator=(const FrameCounter&) = delete;
    ~FrameCounter()
    {
        if (shown_ && frames_ != 0) {
            std::fputs("\r\33[K", stderr);
        }
    }
    void show(std::uint32_t frames)
    {
        frames_ = frames;
        const Clock::time_point now = Clock::now();
        if (shown_ && now >= next_) {
            next_ = now + std::chrono::milliseconds(100);
            std::fprintf(stderr, "\r%u of %u frames", frames, of_);
            std::fflush(stderr);
        }
    }

private:
    const std::uint32_t of_;
    const bool shown_;
    std::uint32_t frames_ = 0;
    Clock::time_point next_{};
};

}  // namespace

struct GrabCommand::Outcome {
    std::uint32_t frames = 0;
    std::uint32_t damaged = 0;
    double seconds = 0;  ///< from the first frame to the last
    std::uint64_t bytes = 0;
    std::vector<std::string> files;
    std::string failure;  ///< why there are not as many as were wanted
};

namespace {

/// `name` for a single frame, else with the frame's number before its extension.
std::string file_of(const std::string& name, std::uint32_t frame, std::uint32_t count)
{
    if (count == 1) {
        return name;
    }
    char number[16];
    std::snprintf(number, sizeof number, "_%05u", frame);
    std::filesystem::path path = path_of(name);
    const std::string extension = name_of(path.extension());
    return name_of(path.replace_extension()) + number + extension;
}

using Outcome = GrabCommand::Outcome;

double rate_of(const Outcome& outcome) { return outcome.seconds > 0 ? (outcome.frames - 1) / outcome.seconds : 0; }

void print_text(const Outcome& outcome, const PvStatistics& statistics, const LossyBackend* loss, std::uint64_t seed)
{
    std::printf("%u frames, %u damaged, %.1f frames/s, %.1f MB/s\n", outcome.frames, outcome.damaged, rate_of(outcome),
                outcome.seconds > 0 ? static_cast<double>(outcome.bytes) / outcome.seconds / 1e6 : 0.0);
    if (loss != nullptr) {
        std::printf("loss: %llu of %llu packets thrown away, seed %llu\n",
                    static_cast<unsigned long long>(loss->thrown_away()),
                    static_cast<unsigned long long>(loss->received()), static_cast<unsigned long long>(seed));
    }
    std::printf("resend: %u packets asked for in %u requests, %u came, %u are missing\n",
                statistics.GetResendPacketRequested(), statistics.GetResendGroupRequested(),
                statistics.GetExpectedResendCount(), statistics.GetLostPacketCount());
    if (statistics.GetBlocksDroppedCount() + statistics.GetBlockIDsMissing() != 0) {
        std::printf("dropped: %u blocks for want of a buffer, %u never seen\n", statistics.GetBlocksDroppedCount(),
                    statistics.GetBlockIDsMissing());
    }
    if (!statistics.GetLastError().IsOK()) {
        std::printf("last error: %s\n", std::string(statistics.GetLastError().description()).c_str());
    }
}

void print_facts(const Outcome& outcome, const PvStatistics& statistics, const LossyBackend* loss, std::uint64_t seed)
{
    Json facts = {{"frames", outcome.frames},   {"damaged", outcome.damaged},
                  {"seconds", outcome.seconds}, {"frames_per_second", rate_of(outcome)},
                  {"files", outcome.files},     {"statistics", statistics_of(statistics)}};
    if (loss != nullptr) {
        facts["loss"] = {{"seed", seed}, {"packets", loss->received()}, {"thrown_away", loss->thrown_away()}};
    }
    print_json(facts);
}

}  // namespace

GrabCommand::GrabCommand(CLI::App& app)
    : GrabCommand(*app.add_subcommand("grab", "take frames from a camera"), std::make_unique<Options>())
{}

GrabCommand::GrabCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    options_->device.add(command);
    options_->device.add_key(command);
    command.add_option("-n,--count", options_->count, "frames to take (10)")->check(CLI::PositiveNumber);
    command.add_option("-o,--output", options_->output,
                       "file for the frame, .bmp, .png, .tiff or .raw; with several frames, their number goes before "
                       "the extension");
    command.add_option("--set", options_->assignments, "FEATURE=VALUE or a command, before the stream begins")
        ->expected(1)
        ->take_all();
    command.add_option("--timeout", options_->timeout, "milliseconds to wait for a frame (5000)")
        ->check(CLI::PositiveNumber);
    command.add_option("--buffers", options_->buffers, "frames that may be in flight (16)")->check(CLI::Range(1, 512));
    command
        .add_option("--packet-size", options_->packet_size,
                    "bytes, for cameras that send no test packets; without it the largest that arrives is taken")
        ->check(CLI::Range(46, 65'535));
    auto* loss = command.add_option("--loss", options_->loss,
                                    "percent of the packets to throw away when they arrive, to see how the stream gets "
                                    "over it");
    loss->check(CLI::Range(0.0, 100.0));
    command.add_option("--seed", options_->seed, "number that the loss is made from (by chance)")->needs(loss);
    command.add_flag("--no-resend", options_->no_resend, "do not ask for missing packets");
    command.add_flag("--json", options_->json, "for programs to read");
    command.footer("Ends with 0 when every frame came whole, else with 1.");
}

GrabCommand::Outcome GrabCommand::take_frames(PvDevice& device, PvStreamRaw& stream, Interrupt& interrupt) const
{
    const Options& options = *options_;
    PvPipeline pipeline(&stream);
    std::int64_t payload = 0;
    require(device.GetGenParameters()->GetIntegerValue("PayloadSize", payload));
    pipeline.SetBufferSize(static_cast<std::uint32_t>(payload));
    require(pipeline.SetBufferCount(options.buffers));
    require(pipeline.Start());

    Outcome outcome;
    const Sending sending(device, stream);
    FrameCounter counter(options.count);
    Clock::time_point first;
    while (outcome.frames < options.count && !interrupt.wait(std::chrono::milliseconds(0))) {
        PvBuffer* buffer = nullptr;
        PvResult operation;
        const PvResult result = pipeline.RetrieveNextBuffer(&buffer, options.timeout, &operation);
        if (!result.IsOK()) {
            outcome.failure = result.description();
            break;
        }
        const Clock::time_point now = Clock::now();
        first = outcome.frames == 0 ? now : first;
        outcome.seconds = std::chrono::duration<double>(now - first).count();
        outcome.bytes += outcome.frames == 0 ? 0 : buffer->GetAcquiredSize();
        ++outcome.frames;
        outcome.damaged += operation.IsOK() ? 0 : 1;
        if (!options.output.empty() && operation.IsOK()) {
            outcome.files.push_back(file_of(options.output, outcome.frames, options.count));
            save_image(*buffer, outcome.files.back(), type_of_file(options.output));
        }
        require(pipeline.ReleaseBuffer(buffer));
        counter.show(outcome.frames);
    }
    return outcome;
}

int GrabCommand::run() const
{
    const Options& options = *options_;
    if (!options.output.empty()) {
        static_cast<void>(type_of_file(options.output));  // said before the camera is asked for anything
    }
    Interrupt interrupt;
    DeviceOption by_address = options.device;
    const Ipv4Address address = options.device.find(PvAccessControl).device.address;
    by_address.name = address.to_string();
    const auto device = by_address.connect(PvAccessControl);
    PvGenParameterArray& features = *device->GetGenParameters();
    for (const Assignment& assignment : parse_assignments(features, options.assignments)) {
        carry_out(assignment, false);
    }

    const std::uint64_t seed = options.seed.value_or(std::random_device()());
    std::shared_ptr<LossyBackend> loss;
    std::optional<net::AddedBackend> added;
    if (options.loss > 0) {
        loss = std::make_shared<LossyBackend>(options.loss / 100, seed);
        added.emplace(loss);
    }
    PvStreamRaw stream;
    require(stream.SetResendPacketEnable(!options.no_resend));
    require(stream.Open(PvString(address.to_string())));
    require(options.packet_size != 0 ? features.SetIntegerValue("GevSCPSPacketSize", options.packet_size)
                                     : device->NegotiatePacketSize(0, every_network_carries));
    const Outcome outcome = take_frames(*device, stream, interrupt);

    const PvStatistics& statistics = *stream.GetStatistics();
    if (options.json) {
        print_facts(outcome, statistics, loss.get(), seed);
    } else {
        print_text(outcome, statistics, loss.get(), seed);
    }
    if (!outcome.failure.empty()) {
        throw CommandFailure(outcome.failure);
    }
    return outcome.damaged == 0 && outcome.frames == options.count ? exit_code::success : exit_code::failed;
}

}  // namespace pvctl
