#include "sdk/bridge_manager/manager.h"

#include <algorithm>
#include <atomic>

#include "sdk/base/failure.h"
#include "sdk/bridge_manager/stored_settings.h"

namespace vex::bridge_manager {

namespace {

PvResult no_ports() { return failure(PvResult::StateError, "There is no device with serial ports"); }

PvResult busy(const std::string& port)
{
    return failure(PvResult::StateError, "The bridge of ", port, " is just being started or stopped");
}

}  // namespace

/// A row, on the owner's thread.
struct Manager::Entry {
    explicit Entry(std::shared_ptr<Port> its_port) : port(std::move(its_port)) {}

    const std::shared_ptr<Port> port;
    Settings settings{};
    State state = State::stopped;
    PvResult failure{};
    std::unique_ptr<PvGenParameterArray> array{};
    PvString array_name{};
    std::uint64_t job = 0;  ///< the last that was begun: what came of earlier ones does not count any more
    std::shared_ptr<std::atomic<bool>> cancelled{};  ///< of that one
};

/// What could not be done, and the first of it.
struct Manager::Report {
    std::vector<std::string>& lines;
    PvResult first{};

    void add(PvResult::Code code, std::string line)
    {
        if (first.IsOK()) {
            first = PvResult(code, line);
        }
        lines.push_back(std::move(line));
    }
};

// ---- rows ----

Manager::Manager(Events events, std::function<void()> told) : events_(std::move(events)), jobs_(std::move(told)) {}

Manager::~Manager() { end(); }

void Manager::end()
{
    ended_ = true;
    events_ = {};
    jobs_.silence();
    set_ports({});
}

void Manager::set_ports(std::vector<std::shared_ptr<Port>> ports)
{
    while (!entries_.empty()) {  // who is told of the end may set others
        end_entries();
    }
    if (ended_) {
        return;
    }
    for (auto& port : ports) {
        entries_.push_back(std::make_shared<Entry>(std::move(port)));
    }
}

void Manager::end_entries()
{
    const auto running = entries_;
    for (const auto& entry : running) {
        if (entry->cancelled) {
            *entry->cancelled = true;
        }
        if (entry->state == State::starting) {
            entry->port->stop();  // so that what is under way does not take its time
        }
    }
    jobs_.wait_idle();
    static_cast<void>(jobs_.take());  // nobody was told of what is in there
    const auto ended = std::exchange(entries_, {});
    for (const auto& entry : ended) {
        // the parameters go first, while their camera can be told
        static_cast<void>(withdraw(entry));
        entry->port->stop();
        entry->state = State::stopped;
    }
}

std::shared_ptr<Manager::Entry> Manager::at(std::size_t index) const
{
    return index < entries_.size() ? entries_[index] : nullptr;
}

bool Manager::knows(const std::shared_ptr<Entry>& entry) const
{
    return std::ranges::find(entries_, entry) != entries_.end();
}

Row Manager::row(std::size_t index) const
{
    const auto entry = at(index);
    if (!entry) {
        return {};
    }
    return {.port = entry->port->name(),
            .settings = entry->settings,
            .state = entry->state,
            .failure = entry->failure,
            .has_array = entry->array != nullptr,
            .array_name = entry->array_name,
            .facts = entry->port->facts()};
}

PvGenParameterArray* Manager::array(std::size_t index) const
{
    const auto entry = at(index);
    return entry ? entry->array.get() : nullptr;
}

void Manager::reset_statistics(std::size_t index)
{
    if (const auto entry = at(index)) {
        entry->port->reset_statistics();
    }
}

// ---- jobs ----

Job Manager::begin(Task task, const std::shared_ptr<Entry>& entry, const Settings& settings)
{
    Job job;
    job.task = task;
    job.port = entry->port;
    job.number = ++last_job_;
    job.settings = settings;
    job.cancelled = std::make_shared<std::atomic<bool>>(false);
    job.existing = task == Task::recover ? entry->array.get() : nullptr;
    entry->state = task == Task::stop ? State::stopping : State::starting;
    entry->job = job.number;
    entry->cancelled = job.cancelled;
    return job;
}

PvResult Manager::now(Job job)
{
    Outcome outcome = run(job);
    PvResult result = outcome.result;
    apply(job, std::move(outcome));
    return result;
}

void Manager::take()
{
    for (auto& [job, outcome] : jobs_.take()) {
        apply(job, std::move(outcome));
    }
}

void Manager::apply(Job& job, Outcome outcome)
{
    const auto found = std::ranges::find(entries_, job.port, &Entry::port);
    if (found == entries_.end()) {
        job.port->stop();  // other ports were set while it was done
        return;
    }
    const auto held = *found;
    Entry& entry = *held;
    if (entry.job != job.number) {
        return;
    }
    entry.failure = outcome.result;
    entry.state = outcome.runs ? State::running : State::stopped;
    if (job.task == Task::configure && outcome.result.IsOK()) {
        entry.settings = job.settings;
    }
    if (!outcome.made) {
        return;
    }
    entry.array = std::move(outcome.made);
    entry.array_name = outcome.made_name;
    if (const auto created = events_.created) {
        created(*entry.array, outcome.made_name);
    }
}

/// The row is about to stop: its array, after that was told.
std::unique_ptr<PvGenParameterArray> Manager::withdraw(const std::shared_ptr<Entry>& entry)
{
    entry->state = State::stopping;
    std::unique_ptr<PvGenParameterArray> array = std::move(entry->array);
    entry->array_name = PvString();
    if (const auto deleted = events_.deleted; deleted && array) {
        deleted(*array);
    }
    return array;
}

void Manager::settle()
{
    jobs_.wait_idle();
    take();
}

// ---- what the user does ----

void Manager::start(std::size_t index)
{
    if (const auto entry = at(index); entry && entry->state == State::stopped) {
        jobs_.add(begin(Task::start, entry, entry->settings));
    }
}

void Manager::stop(std::size_t index)
{
    const auto entry = at(index);
    if (!entry || entry->state == State::stopped || entry->state == State::stopping) {
        return;
    }
    if (entry->cancelled) {
        *entry->cancelled = true;
    }
    auto array = withdraw(entry);
    if (knows(entry)) {
        Job job = begin(Task::stop, entry, entry->settings);
        job.ended = std::move(array);
        jobs_.add(std::move(job));
    }
}

PvResult Manager::change(std::size_t index, const Settings& settings)
{
    if (PvResult wrong = settings.check(); !wrong.IsOK()) {
        return wrong;
    }
    const auto entry = at(index);
    if (!entry) {
        return failure(PvResult::InvalidParameter, "There is no port ", index);
    }
    if (entry->state == State::starting || entry->state == State::stopping) {
        return busy(entry->port->name());
    }
    if (entry->state == State::stopped || settings == entry->settings) {
        entry->settings = settings;
        return PvResult::OK;
    }
    if (settings.joins_as(entry->settings)) {
        jobs_.add(begin(Task::configure, entry, settings));
        return PvResult::OK;
    }
    stop(index);
    if (knows(entry) && entry->state == State::stopping) {
        entry->settings = settings;
        jobs_.add(begin(Task::start, entry, settings));
    }
    return PvResult::OK;
}

void Manager::recover_later()
{
    for (const auto& entry : entries_) {
        if (entry->state == State::running) {
            jobs_.add(begin(Task::recover, entry, entry->settings));
        }
    }
}

// ---- all rows ----

PvResult Manager::recover()
{
    settle();
    if (entries_.empty()) {
        return no_ports();
    }
    PvResult first;
    const auto entries = entries_;  // who is told of an array may set others
    for (const auto& entry : entries) {
        if (!knows(entry) || entry->state != State::running) {
            continue;
        }
        const PvResult result = now(begin(Task::recover, entry, entry->settings));
        if (!result.IsOK() && first.IsOK()) {
            first = failure(result.GetCode(), entry->port->name(), ": ", result.description());
        }
    }
    return first;
}

void Manager::save(PvPropertyList& list) const
{
    for (const auto& entry : entries_) {
        const bool runs = entry->state == State::running || entry->state == State::starting;
        store_row(entry->port->name(), entry->settings, runs, list);
    }
}

PvResult Manager::load(const PvPropertyList& list, std::vector<std::string>& errors)
{
    const auto wanted = std::make_unique<const PvPropertyList>(list);  // who is told of an array may change the other
    settle();
    Report report{errors};
    if (entries_.empty()) {
        const PvResult none = no_ports();
        report.add(none.GetCode(), std::string(none.description()));
        return report.first;
    }
    const auto entries = entries_;
    std::vector<std::string> names;
    for (const auto& entry : entries) {
        names.push_back(entry->port->name());
    }
    for (const std::string& port : unknown_ports(*wanted, names)) {
        report.add(PvResult::NotFound, port + ": The device has no such serial port");
    }
    for (const auto& entry : entries) {
        if (!knows(entry)) {
            report.add(PvResult::Aborted, "Other ports were set in an event");
            break;
        }
        load_one(entry, *wanted, report);
    }
    return report.first;
}

void Manager::load_one(const std::shared_ptr<Entry>& entry, const PvPropertyList& list, Report& report)
{
    const std::string& port = entry->port->name();
    const StoredRow stored = read_row(port, list, entry->settings);
    for (const std::string& fault : stored.faults) {
        report.add(PvResult::InvalidParameter, port + ": " + fault);
    }
    if (!stored.is_mentioned || !stored.faults.empty()) {
        return;
    }
    const bool was_running = entry->state == State::running;
    const bool runs = stored.running.value_or(was_running);
    const bool lacks_array = stored.settings.has_parameters && !entry->array;
    const auto report_failure = [&](const PvResult& result) {
        if (!result.IsOK()) {
            report.add(result.GetCode(), port + ": " + std::string(result.description()));
        }
    };
    if (was_running && runs && !lacks_array && stored.settings.joins_as(entry->settings)) {
        if (stored.settings != entry->settings) {
            report_failure(now(begin(Task::configure, entry, stored.settings)));
        }
        return;
    }
    if (was_running) {
        auto array = withdraw(entry);
        if (!knows(entry)) {
            return;
        }
        Job job = begin(Task::stop, entry, entry->settings);
        job.ended = std::move(array);
        now(std::move(job));
    }
    if (entry->state != State::stopped) {
        report_failure(busy(port));
        return;
    }
    entry->settings = stored.settings;
    if (runs) {
        report_failure(now(begin(Task::start, entry, entry->settings)));
    }
}

}  // namespace vex::bridge_manager
