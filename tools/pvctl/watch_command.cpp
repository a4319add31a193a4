#include "tools/pvctl/watch_command.h"

#include <chrono>
#include <cstdio>
#include <mutex>
#include <optional>
#include <utility>

#include "sdk/device/PvDeviceEventSink.h"
#include "tools/pvctl/assignments.h"
#include "tools/pvctl/failure.h"
#include "tools/pvctl/features.h"
#include "tools/pvctl/interrupt.h"
#include "tools/pvctl/text_table.h"

namespace pvctl {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

/// Prints one line for each thing that happens.
///
/// Thread safety: all members may be called from any thread.
class Log {
public:
    explicit Log(bool json) : json_(json) {}

    /// `facts`: for programs; the same as the text.
    void add(const std::string& text, const Json& facts)
    {
        const std::scoped_lock lock(mutex_);
        const double time = std::chrono::duration<double>(Clock::now() - begin_).count();
        if (json_) {
            Json line = {{"time", time}};
            line.update(facts);
            print_json_line(line);
        } else {
            std::printf("%9.3f  %s\n", time, printable(text).c_str());
            std::fflush(stdout);
        }
    }

private:
    const bool json_;
    const Clock::time_point begin_ = Clock::now();
    std::mutex mutex_;
};

/// Tells what the connection tells.
class Listener final : public PvDeviceEventSink {
public:
    Listener(Log& log, const Interrupt& interrupt) : log_(log), interrupt_(interrupt) {}

    void OnLinkDisconnected(PvDevice* aDevice) override
    {
        PvString reason;
        aDevice->GetGenLink()->GetString("LinkLossReason", reason);
        log_.add("connection lost: " + reason.str(), {{"event", "connection lost"}, {"reason", reason.str()}});
        interrupt_.wake();
    }

    void OnLinkReconnected(PvDevice* /*aDevice*/) override
    {
        log_.add("connected again", {{"event", "connected again"}});
    }

    void OnEvent(PvDevice* /*aDevice*/, std::uint16_t aEventID, std::uint16_t aChannel, std::uint64_t aBlockID,
                 std::uint64_t aTimestamp, const void* /*aData*/, std::uint32_t aDataLength) override
    {
        char id[8];
        std::snprintf(id, sizeof id, "0x%04X", aEventID);
        log_.add(std::string("event ") + id + ", block " + std::to_string(aBlockID) + ", camera time " +
                     std::to_string(aTimestamp) + ", " + std::to_string(aDataLength) + " bytes of data",
                 {{"event", id},
                  {"channel", aChannel},
                  {"block", aBlockID},
                  {"timestamp", aTimestamp},
                  {"bytes", aDataLength}});
    }

private:
    Log& log_;
    const Interrupt& interrupt_;
};

struct Watched {
    PvGenParameter* feature;
    std::optional<std::string> last;  ///< none before the first look
};

std::vector<Watched> chosen_features(const PvGenParameterArray& features, const std::vector<std::string>& names)
{
    std::vector<Watched> chosen;
    chosen.reserve(names.empty() ? features.GetCount() : names.size());
    for (const std::string& name : names) {
        chosen.push_back({&feature_named(features, name), std::nullopt});
    }
    for (std::uint32_t i = 0; names.empty() && i < features.GetCount(); ++i) {
        PvGenParameter* feature = features.Get(i);
        if (feature->IsVisible(PvGenVisibilityGuru) && dynamic_cast<PvGenCommand*>(feature) == nullptr) {
            chosen.push_back({feature, std::nullopt});
        }
    }
    return chosen;
}

/// Reads all and tells what is new; how many values have changed since the look before.
std::uint64_t look(std::vector<Watched>& all, const PvDevice& device, Log& log, bool tell_first)
{
    std::uint64_t changed = 0;
    for (Watched& watched : all) {
        if (!device.IsConnected()) {
            return changed;
        }
        std::string value;
        if (!value_of(*watched.feature, value).IsOK() || watched.last == value) {
            continue;
        }
        const bool first = !watched.last;
        watched.last = value;
        if (first && !tell_first) {
            continue;
        }
        changed += first ? 0 : 1;
        const std::string name = name_of(*watched.feature);
        log.add(name + " = " + with_unit(*watched.feature, value),
                {{"feature", name}, {"value", json_value_of(*watched.feature)}, {"first", first}});
    }
    return changed;
}

}  // namespace

WatchCommand::WatchCommand(CLI::App& app)
    : WatchCommand(*app.add_subcommand("watch", "print what changes in a camera"), std::make_unique<Options>())
{}

WatchCommand::WatchCommand(CLI::App& command, std::unique_ptr<Options> options)
    : Command(command), options_(std::move(options))
{
    options_->device.add(command);
    command.add_option("features", options_->features,
                       "names of features, whose values are printed at first as well; without them all features");
    command.add_option("--interval", options_->interval, "milliseconds between two looks (500)")
        ->check(CLI::Range(10, 3'600'000));
    command.add_option("--count", options_->count, "end after so many changes")->check(CLI::PositiveNumber);
    command.add_option("--time", options_->time, "end after so many seconds")->check(CLI::PositiveNumber);
    auto* control = command.add_flag("--control", options_->control,
                                     "take control of the camera: it sends its events to nobody else");
    command
        .add_option("--set", options_->assignments,
                    "FEATURE=VALUE or a command, before the watch begins: such as which events the camera sends")
        ->needs(control)
        ->expected(1)
        ->take_all();
    options_->device.add_key(command)->needs(control);
    command.add_flag("--json", options_->json, "for programs to read: an object in each line");
    command.footer("Ends with 1 when the connection is lost, else with 0.");
}

int WatchCommand::run() const
{
    Interrupt interrupt;
    const auto device = options_->device.connect(options_->control ? PvAccessControl : PvAccessReadOnly);
    PvGenParameterArray& features = *device->GetGenParameters();
    std::vector<Watched> watched = chosen_features(features, options_->features);
    Log log(options_->json);
    Listener listener(log, interrupt);
    require(device->RegisterEventSink(&listener));

    for (const Assignment& assignment : parse_assignments(features, options_->assignments)) {
        carry_out(assignment, false);
    }

    const auto begin = Clock::now();
    const std::chrono::duration<double> time(options_->time);
    std::uint64_t changes = 0;
    bool ended = false;
    while (!ended && device->IsConnected()) {
        features.InvalidateCache();
        changes += look(watched, *device, log, !options_->features.empty());
        ended = (options_->count != 0 && changes >= options_->count) ||
                (options_->time != 0 && Clock::now() - begin >= time) ||
                interrupt.wait(milliseconds(options_->interval));
    }
    const bool lost = !device->IsConnected();
    device->UnregisterEventSink(&listener);  // waits for what it is told at this moment
    return lost ? exit_code::failed : exit_code::success;
}

}  // namespace pvctl
