#include "sdk/browser/feature_reader.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "sdk/base/application_call.h"
#include "sdk/base/failure.h"
#include "sdk/base/numbers.h"
#include "sdk/base/thread_name.h"
#include "sdk/browser/editing.h"
#include "sdk/genapi/node_map.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/genicam/array_gate.h"
#include "sdk/genicam/results.h"
#include "sdk/net/loose_thread.h"

namespace vex::browser {

namespace {

using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds idle_interval{60'000};
/// Between two reads of one feature, however often it changes.
constexpr milliseconds shortest_interval{100};
/// The same where reading it, or one that it depends on, is what changes it.
constexpr milliseconds echo_interval{1000};

void read_integer(GenApi::INode& node, const Feature& feature, GenApi::ReadMode mode, Reading& reading)
{
    reading.integer = node.int_value(mode);
    reading.text = integer_text(reading.integer, feature.representation);
    reading.number = static_cast<double>(reading.integer);
}

void read_register(GenApi::INode& node, GenApi::ReadMode mode, std::int64_t most_bytes, Reading& reading)
{
    reading.length = node.register_length();
    reading.bytes.resize(static_cast<std::size_t>(std::clamp<std::int64_t>(reading.length, 0, most_bytes)));
    node.get_bytes(reading.bytes, mode);
    constexpr auto seen = static_cast<std::size_t>(Reading::seen_bytes);
    reading.text = hex_text(std::span(reading.bytes).first(std::min(reading.bytes.size(), seen)));
    if (reading.length > Reading::seen_bytes) {
        reading.text += " \xE2\x80\xA6";
    }
}

void read_value(GenApi::INode& node, const Feature& feature, GenApi::ReadMode mode, std::int64_t most_bytes,
                Reading& reading)
{
    switch (feature.type) {
    case PvGenTypeInteger: read_integer(node, feature, mode, reading); return;
    case PvGenTypeFloat:
        reading.number = node.float_value(mode);
        reading.text = float_text(reading.number, feature.notation, feature.precision);
        return;
    case PvGenTypeBoolean:
        reading.is_on = node.bool_value(mode);
        reading.text = reading.is_on ? "True" : "False";
        return;
    case PvGenTypeEnum: reading.text = std::string(node.current_entry(mode).symbolic()); return;
    case PvGenTypeString: reading.text = node.string_value(mode); return;
    case PvGenTypeRegister: read_register(node, mode, most_bytes, reading); return;
    case PvGenTypeCommand:
    case PvGenTypeUndefined: return;
    }
}

/// What an editor has to know. Nothing of it keeps the value from being shown.
void read_limits(GenApi::INode& node, const Feature& feature, Reading& reading)
{
    switch (feature.type) {
    case PvGenTypeInteger:
        reading.min = node.int_min();
        reading.max = node.int_max();
        reading.increment = node.int_increment();
        reading.valid_values = node.valid_int_values();
        return;
    case PvGenTypeFloat:
        reading.least = node.float_min();
        reading.most = node.float_max();
        return;
    case PvGenTypeEnum:
        for (GenApi::INode* const entry : node.children()) {
            if (GenApi::is_available(entry->access())) {
                reading.entries.emplace_back(entry->symbolic());
            }
        }
        return;
    case PvGenTypeString: reading.length = node.string_max_length(); return;
    case PvGenTypeRegister: reading.length = node.register_length(); return;
    case PvGenTypeBoolean:
    case PvGenTypeCommand:
    case PvGenTypeUndefined: return;
    }
}

/// Behind the array's gate. `executed`: a command that was not done when it was asked last. `most_bytes`: of a
/// register.
Reading read(const Feature& feature, GenApi::ReadMode mode, bool executed, std::int64_t most_bytes)
{
    Reading reading;
    GenApi::INode& node = *feature.parameter->GetNode();
    const PvResult result = genicam::result_of([&] {
        reading.access = node.access();
        reading.is_locked =
            reading.access == GenApi::AccessMode::read_only && GenApi::is_writable(node.access_when_idle());
        if (feature.type == PvGenTypeCommand) {
            reading.is_executing = executed && !node.is_done();
        } else if (GenApi::is_readable(reading.access)) {
            read_value(node, feature, mode, most_bytes, reading);
        }
    });
    if (!result.IsOK()) {
        reading.failure = std::string(result.description());
        reading.bytes.clear();
    } else if (GenApi::is_available(reading.access)) {
        static_cast<void>(genicam::result_of([&] { read_limits(node, feature, reading); }));
    }
    ApplicationCall::operation_ends();
    return reading;
}

/// Behind the array's gate.
PvResult write(const Feature& feature, const std::string& text)
{
    if (feature.type == PvGenTypeInteger) {
        const auto value = integer_of(text, feature.representation);
        return value ? static_cast<PvGenInteger*>(feature.parameter)->SetValue(*value)
                     : failure(PvResult::InvalidParameter, "\"", text, "\" is not an integer");
    }
    if (feature.type == PvGenTypeFloat) {
        const auto value = parse_float(trimmed(text));
        return value ? static_cast<PvGenFloat*>(feature.parameter)->SetValue(*value)
                     : failure(PvResult::InvalidParameter, "\"", text, "\" is not a number");
    }
    if (feature.type == PvGenTypeRegister) {
        const auto bytes = bytes_of(text);
        return bytes ? static_cast<PvGenRegister*>(feature.parameter)
                           ->Set(bytes->data(), static_cast<std::int64_t>(bytes->size()))
                     : failure(PvResult::InvalidParameter, "\"", text, "\" is not pairs of hexadecimal digits");
    }
    return feature.parameter->FromString(PvString(std::string_view(text)));
}

}  // namespace

std::string editable_text(const Feature& feature, const Reading& reading)
{
    switch (feature.type) {
    case PvGenTypeFloat: return reading.text.empty() ? std::string() : float_text(reading.number);
    case PvGenTypeRegister: return hex_text(reading.bytes);
    case PvGenTypeInteger:
    case PvGenTypeEnum:
    case PvGenTypeBoolean:
    case PvGenTypeString:
    case PvGenTypeCommand:
    case PvGenTypeUndefined: break;
    }
    return reading.text;
}

/// What the thread shares with its owner and with the features' event sinks; it outlives all of them.
class FeatureReader::Shared : public std::enable_shared_from_this<FeatureReader::Shared> {
public:
    struct Task {
        std::uint64_t number = 0;
        std::shared_ptr<const Feature> feature{};
        std::optional<std::string> text{};  ///< none: the command is executed
    };

    Shared(std::shared_ptr<genicam::ArrayGate> gate, Listener listener)
        : gate_(std::move(gate)), listener_(std::move(listener))
    {}

    void end()
    {
        {
            const std::lock_guard lock(mutex_);
            is_ended_ = true;
            tasks_.clear();
            wake();
        }
        const std::lock_guard lock(told_);
        listener_ = {};
    }

    void show(Features visible, std::shared_ptr<const Feature> chosen)
    {
        const std::lock_guard lock(mutex_);
        visible_ = std::move(visible);
        chosen_ = std::move(chosen);
        wake();
    }
    void refresh()
    {
        const std::lock_guard lock(mutex_);
        refresh_wanted_ = true;
        wake();
    }
    std::uint64_t add(std::shared_ptr<const Feature> feature, std::optional<std::string> text)
    {
        const std::lock_guard lock(mutex_);
        tasks_.push_back({.number = ++last_task_, .feature = std::move(feature), .text = std::move(text)});
        wake();
        return last_task_;
    }
    /// From any thread, also from within what the reader's own does.
    void changed(const Feature* feature)
    {
        const std::lock_guard lock(mutex_);
        const bool is_echo = std::this_thread::get_id() == thread_ && is_reading_;
        const milliseconds interval = is_echo ? echo_interval : shortest_interval;
        const auto [found, is_new] = changed_.try_emplace(feature, interval);
        found->second = is_new ? interval : std::min(found->second, interval);
        wake();
    }

    /// What the thread does.
    void work()
    {
        name_this_thread("pv-features");
        {
            const std::lock_guard lock(mutex_);
            thread_ = std::this_thread::get_id();
        }
        while (pause(work_some())) {
        }
        stop_watching();
        ApplicationCall::operation_ends();
    }

private:
    /// The sink of one feature; the parameter keeps it.
    class Watch final : public PvGenEventSink {
    public:
        Watch(std::weak_ptr<Shared> shared, const Feature* feature) : shared_(std::move(shared)), feature_(feature) {}
        void OnParameterUpdate(PvGenParameter* /*aParameter*/) override
        {
            if (const auto shared = shared_.lock()) {
                shared->changed(feature_);
            }
        }

    private:
        const std::weak_ptr<Shared> shared_;
        const Feature* const feature_;
    };

    /// What the thread knows of a feature that was visible.
    struct Known {
        std::shared_ptr<const Feature> feature{};  ///< kept, so that its address stays its own
        std::shared_ptr<Watch> watch{};
        std::optional<Reading> reading{};
        Clock::time_point read_at{};
        std::optional<Clock::time_point> stale_at{};  ///< it is read again then
        bool is_executing = false;
    };

    /// With mutex_ held.
    void wake()
    {
        is_awake_ = true;
        woken_.notify_all();
    }

    /// Waits for so long, or until woken. False when the reader has gone.
    [[nodiscard]] bool pause(milliseconds time)
    {
        std::unique_lock lock(mutex_);
        woken_.wait_for(lock, time, [this] { return is_awake_; });
        is_awake_ = false;
        return !is_ended_;
    }

    /// Does the next that is to be done. Returns how long there is nothing more to do.
    milliseconds work_some()
    {
        if (std::optional<Task> task = take_task()) {
            perform(*task);
            return milliseconds(0);
        }
        take_changes();
        const Clock::time_point now = Clock::now();
        Known* next = nullptr;
        Clock::time_point earliest = now + idle_interval;
        for (const std::shared_ptr<const Feature>& feature : shown_) {
            Known& known = known_[feature.get()];
            known.feature = feature;
            if (const Clock::time_point due = due_time(known); due < earliest) {
                earliest = due;
                next = &known;
            }
        }
        if (next == nullptr || earliest > now) {
            return std::max(std::chrono::ceil<milliseconds>(earliest - now), milliseconds(1));
        }
        return read_one(*next) ? milliseconds(0) : idle_interval;
    }

    [[nodiscard]] static Clock::time_point due_time(const Known& known)
    {
        if (!known.reading) {
            return Clock::time_point{};
        }
        Clock::time_point due = known.stale_at.value_or(Clock::time_point::max());
        if (known.is_executing) {
            due = std::min(due, known.read_at + shortest_interval);
        }
        if (known.feature->polling_time >= 0) {
            // times beyond a day are as good as none
            constexpr std::int64_t longest = 86'400'000;
            const milliseconds interval(
                std::clamp<std::int64_t>(known.feature->polling_time, shortest_interval.count(), longest));
            due = std::min(due, known.read_at + interval);
        }
        return due;
    }

    [[nodiscard]] std::optional<Task> take_task()
    {
        const std::lock_guard lock(mutex_);
        if (tasks_.empty()) {
            return std::nullopt;
        }
        Task task = std::move(tasks_.front());
        tasks_.pop_front();
        return task;
    }

    void take_changes()
    {
        std::map<const Feature*, milliseconds> changed;
        bool refresh = false;
        {
            const std::lock_guard lock(mutex_);
            shown_ = visible_;
            whole_ = chosen_;
            changed.swap(changed_);
            refresh = std::exchange(refresh_wanted_, false);
        }
        if (refresh) {
            forget_cached();
        }
        if (const auto found = known_.find(whole_.get());
            found != known_.end() && found->second.reading && found->second.reading->is_part()) {
            found->second.stale_at = Clock::time_point{};
        }
        for (const auto& [feature, interval] : changed) {
            if (const auto found = known_.find(feature); found != known_.end()) {
                const Clock::time_point due = std::max(Clock::now(), found->second.read_at + interval);
                found->second.stale_at = std::min(found->second.stale_at.value_or(due), due);
            }
        }
    }

    void forget_cached()
    {
        const genicam::ArrayVisit visit(gate_);
        if (!visit || known_.empty()) {
            return;
        }
        static_cast<void>(genicam::result_of(
            [&] { known_.begin()->second.feature->parameter->GetNode()->node_map().invalidate_all(); }));
        ApplicationCall::operation_ends();
        for (auto& [feature, known] : known_) {
            known.stale_at = Clock::time_point{};
        }
    }

    /// False when the features have gone.
    bool read_one(Known& known)
    {
        Reading reading;
        {
            const genicam::ArrayVisit visit(gate_);
            if (!visit) {
                return false;
            }
            watch(known);
            const bool is_polled = known.reading && known.feature->polling_time >= 0;
            known.stale_at.reset();
            is_reading_ = true;
            reading = read(*known.feature, is_polled ? GenApi::ReadMode::fresh : GenApi::ReadMode::cached,
                           known.is_executing, known.feature == whole_ ? Reading::most_bytes : Reading::seen_bytes);
            is_reading_ = false;
        }
        known.read_at = Clock::now();
        known.is_executing = reading.is_executing;
        if (known.reading != reading) {
            known.reading = reading;
            const std::lock_guard lock(told_);
            if (listener_.read) {
                listener_.read(known.feature, std::move(reading));
            }
        }
        return true;
    }

    /// Hears of the feature's changes from now on. A feature that takes no sink is shown all the same.
    void watch(Known& known)
    {
        if (known.watch == nullptr) {
            known.watch = std::make_shared<Watch>(weak_from_this(), known.feature.get());
            static_cast<void>(known.feature->parameter->KeepEventSink(known.watch));
        }
    }

    void stop_watching()
    {
        const genicam::ArrayVisit visit(gate_);
        for (auto& [feature, known] : known_) {
            if (known.watch != nullptr && visit.goes_on()) {
                static_cast<void>(feature->parameter->UnregisterEventSink(known.watch.get()));
            }
        }
    }

    void perform(const Task& task)
    {
        Outcome outcome{.edit = task.number};
        {
            const genicam::ArrayVisit visit(gate_);
            if (!visit) {
                return;
            }
            outcome.result = task.text ? write(*task.feature, *task.text)
                                       : static_cast<PvGenCommand*>(task.feature->parameter)->Execute();
        }
        if (const auto found = known_.find(task.feature.get()); found != known_.end()) {
            // at once, however lately it was read
            found->second.stale_at = Clock::time_point{};
            found->second.is_executing = !task.text && outcome.result.IsOK();
        }
        const std::lock_guard lock(told_);
        if (listener_.edited) {
            listener_.edited(task.feature, std::move(outcome));
        }
    }

    const std::shared_ptr<genicam::ArrayGate> gate_;
    std::mutex told_;  ///< held while the listener is called
    Listener listener_;

    std::mutex mutex_;  ///< for what follows
    std::condition_variable woken_;
    bool is_awake_ = false;
    bool is_ended_ = false;
    Features visible_;
    std::shared_ptr<const Feature> chosen_;
    std::deque<Task> tasks_;
    std::uint64_t last_task_ = 0;
    bool refresh_wanted_ = false;
    std::map<const Feature*, milliseconds> changed_;  ///< and how long each waits after it was read last
    std::thread::id thread_;

    // the reader's own thread's
    Features shown_;
    std::shared_ptr<const Feature> whole_;  ///< a register that is read as a whole
    std::map<const Feature*, Known> known_;
    bool is_reading_ = false;
};

FeatureReader::FeatureReader(std::shared_ptr<genicam::ArrayGate> gate, Listener listener)
    : shared_(std::make_shared<Shared>(std::move(gate), std::move(listener)))
{
    net::run_loose([shared = shared_] { shared->work(); });
}

FeatureReader::~FeatureReader() { shared_->end(); }

void FeatureReader::show(Features visible, std::shared_ptr<const Feature> chosen)
{
    shared_->show(std::move(visible), std::move(chosen));
}

void FeatureReader::refresh() { shared_->refresh(); }

std::uint64_t FeatureReader::set(std::shared_ptr<const Feature> feature, std::string text)
{
    return shared_->add(std::move(feature), std::move(text));
}

std::uint64_t FeatureReader::execute(std::shared_ptr<const Feature> command)
{
    return shared_->add(std::move(command), std::nullopt);
}

}  // namespace vex::browser
