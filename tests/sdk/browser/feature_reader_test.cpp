// Features that are read and written for a window.

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "sdk/browser/feature_reader.h"
#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/genicam/software_parameters.h"
#include "tests/sdk/flag.h"
#include "tests/sdk/genapi/memory_port.h"

namespace {

using namespace vex;
using namespace vex::browser;
using sdk_test::Flag;

/// What the reader told, and waiting for it.
class Told {
public:
    FeatureReader::Listener listener()
    {
        return {[this](std::shared_ptr<const Feature> feature, Reading reading) {
                    change([&] {
                        readings_[feature->name] = std::move(reading);
                        ++counts_[feature->name];
                    });
                },
                [this](std::shared_ptr<const Feature>, Outcome outcome) {
                    change([&] { outcomes_.push_back(std::move(outcome)); });
                }};
    }
    /// Waits without a limit of its own until a reading of that feature is as wanted.
    template <class Wanted>
    Reading await(const std::string& name, Wanted wanted)
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return readings_.contains(name) && wanted(readings_[name]); });
        return readings_[name];
    }
    Reading await(const std::string& name)
    {
        return await(name, [](const Reading&) { return true; });
    }
    Outcome await_edit(std::uint64_t number)
    {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [&] { return !outcomes_.empty() && outcomes_.back().edit >= number; });
        for (const Outcome& outcome : outcomes_) {
            if (outcome.edit == number) {
                return outcome;
            }
        }
        ADD_FAILURE() << "an edit was passed over";
        return {};
    }
    int count(const std::string& name)
    {
        const std::lock_guard lock(mutex_);
        return counts_[name];
    }

private:
    template <class Change>
    void change(Change apply)
    {
        const std::lock_guard lock(mutex_);
        apply();
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::map<std::string, Reading> readings_;
    std::map<std::string, int> counts_;
    std::vector<Outcome> outcomes_;
};

struct Reader : testing::Test {
    Reader()
    {
        SoftwareParameters parameters("Probe");
        SoftwareInteger width;
        width.name = "Width";
        width.unit = "px";
        width.min = 16;
        width.max = 4096;
        width.get = [this] {
            ++width_reads;
            return width_value.load();
        };
        width.set = [this](std::int64_t value) {
            width_value = value;
            return PvResult(PvResult::OK);
        };
        width.available = [this] { return is_available.load(); };
        parameters.add(width);
        SoftwareInteger unseen;
        unseen.name = "Unseen";
        unseen.get = [this] {
            ++unseen_reads;
            return std::int64_t{1};
        };
        parameters.add(unseen);
        SoftwareFloat gain;
        gain.name = "Gain";
        gain.get = [] { return 1.0 / 3; };
        parameters.add(gain);
        SoftwareEnum format;
        format.name = "Format";
        format.entries = {{"Mono8", 1, "", ""}, {"Mono12", 5, "", ""}};
        format.get = [this] { return format_value.load(); };
        format.set = [this](std::int64_t value) {
            format_value = value;
            return PvResult(PvResult::OK);
        };
        parameters.add(format);
        SoftwareCommand command;
        command.name = "Start";
        command.execute = [this] {
            is_done = false;
            return PvResult(PvResult::OK);
        };
        command.is_done = [this] { return is_done.load(); };
        parameters.add(command);
        array = parameters.build();
        all = features_of(*array);
    }

    std::shared_ptr<const Feature> feature(const std::string& name) const
    {
        for (const Category::Item& item : all->items) {
            if (item.feature != nullptr && item.feature->name == name) {
                return item.feature;
            }
        }
        ADD_FAILURE() << "there is no " << name;
        return nullptr;
    }
    void start(const std::vector<std::string>& names)
    {
        reader = std::make_unique<FeatureReader>(array->gate(), told.listener());
        FeatureReader::Features visible;
        for (const std::string& name : names) {
            visible.push_back(feature(name));
        }
        reader->show(visible);
    }

    std::atomic<std::int64_t> width_value{640};
    std::atomic<int> width_reads{0};
    std::atomic<int> unseen_reads{0};
    std::atomic<std::int64_t> format_value{1};
    std::atomic<bool> is_done{true};
    std::atomic<bool> is_available{true};
    std::unique_ptr<SoftwareParameterArray> array;
    std::shared_ptr<const Category> all;
    Told told;
    std::unique_ptr<FeatureReader> reader;  // the first to go
};

}  // namespace

TEST_F(Reader, ReadsWhatIsVisibleAndNothingElse)
{
    start({"Width", "Gain", "Format", "Start"});
    const Reading width = told.await("Width");
    EXPECT_EQ(width.text, "640");
    EXPECT_EQ(width.min, 16);
    EXPECT_EQ(width.max, 4096);
    EXPECT_EQ(width.access, GenApi::AccessMode::read_write);
    const Reading gain = told.await("Gain");
    EXPECT_EQ(gain.text, "0.333333");
    EXPECT_EQ(gain.access, GenApi::AccessMode::read_only);
    EXPECT_EQ(editable_text(*feature("Gain"), gain), "0.3333333333333333");
    const Reading format = told.await("Format");
    EXPECT_EQ(format.text, "Mono8");
    EXPECT_EQ(format.entries, (std::vector<std::string>{"Mono8", "Mono12"}));
    const Reading command = told.await("Start");
    EXPECT_EQ(command.text, "");
    EXPECT_FALSE(command.is_executing);
    EXPECT_EQ(unseen_reads, 0);
}

TEST_F(Reader, FollowsChangesAndReadsAgainOnlyThen)
{
    start({"Width", "Format"});
    static_cast<void>(told.await("Width"));
    static_cast<void>(told.await("Format"));
    reader->show({});
    reader->show({feature("Width"), feature("Format")});
    width_value = 800;
    array->changed("Width");
    static_cast<void>(told.await("Width", [](const Reading& reading) { return reading.text == "800"; }));
    EXPECT_EQ(told.count("Format"), 1);
    is_available = false;
    array->changed("Width");
    const Reading gone =
        told.await("Width", [](const Reading& reading) { return !GenApi::is_available(reading.access); });
    EXPECT_EQ(gone.text, "");
}

TEST_F(Reader, SetsValuesAndTellsWhyOneWasRefused)
{
    start({"Width", "Format"});
    EXPECT_TRUE(told.await_edit(reader->set(feature("Width"), "0x20")).result.IsOK());
    EXPECT_EQ(width_value, 32);
    static_cast<void>(told.await("Width", [](const Reading& reading) { return reading.text == "32"; }));
    const Outcome refused = told.await_edit(reader->set(feature("Width"), "5"));
    EXPECT_EQ(refused.result.GetCode(), PvResult::InvalidParameter);
    EXPECT_NE(refused.result.description().find("Width"), std::string_view::npos);
    EXPECT_EQ(told.await_edit(reader->set(feature("Width"), "wide")).result.description(),
              "\"wide\" is not an integer");
    EXPECT_FALSE(told.await_edit(reader->set(feature("Gain"), "1")).result.IsOK());
    EXPECT_EQ(width_value, 32);
    EXPECT_TRUE(told.await_edit(reader->set(feature("Format"), "Mono12")).result.IsOK());
    EXPECT_EQ(format_value, 5);
}

TEST_F(Reader, TellsThatACommandIsExecutingUntilItIsDone)
{
    start({"Start"});
    EXPECT_FALSE(told.await("Start").is_executing);
    EXPECT_TRUE(told.await_edit(reader->execute(feature("Start"))).result.IsOK());
    static_cast<void>(told.await("Start", [](const Reading& reading) { return reading.is_executing; }));
    is_done = true;
    static_cast<void>(told.await("Start", [](const Reading& reading) { return !reading.is_executing; }));
}

TEST_F(Reader, RefreshesWhatTheArrayHasCached)
{
    start({"Width"});
    static_cast<void>(told.await("Width"));
    width_value = 999;
    reader->refresh();
    static_cast<void>(told.await("Width", [](const Reading& reading) { return reading.text == "999"; }));
}

TEST_F(Reader, SurvivesTheArrayAndGoesWhileItReads)
{
    start({"Width"});
    static_cast<void>(told.await("Width"));
    array.reset();
    reader->set(feature("Width"), "64");
    reader->refresh();
    reader->show({feature("Format")});
    reader.reset();
    EXPECT_EQ(told.count("Format"), 0);
    EXPECT_EQ(width_value, 640);
}

TEST_F(Reader, GoesAtOnceWhileTheDeviceDoesNotAnswer)
{
    constexpr int readers = 60;  // each that waited for an answer would take seconds
    Flag answer_wanted;
    Flag may_answer;
    std::atomic<int> told_late = 0;
    SoftwareParameters parameters("Probe");
    SoftwareInteger dead;
    dead.name = "Dead";
    dead.is_volatile = true;
    dead.get = [&] {
        answer_wanted.raise();
        may_answer.await();
        return std::int64_t{1};
    };
    parameters.add(dead);
    const std::unique_ptr<SoftwareParameterArray> silent = parameters.build();
    const auto features = features_of(*silent);
    for (int i = 0; i < readers; ++i) {
        FeatureReader reading(silent->gate(),
                              {.read = [&](std::shared_ptr<const Feature>, Reading) { ++told_late; }, .edited = {}});
        reading.show({features->items.front().feature});
        answer_wanted.await();
    }
    may_answer.raise();
    EXPECT_EQ(told_late, 0);
}

TEST_F(Reader, PollsWhatAsksForIt)
{
    using namespace camera_xml;
    /// Each register has one value, which the device changes by itself.
    class LivePort final : public GenApi::IPort {
    public:
        void read(std::int64_t, std::span<std::uint8_t> out) override
        {
            std::fill(out.begin(), out.end(), std::uint8_t{0});
            out.back() = value.load();
        }
        void write(std::int64_t, std::span<const std::uint8_t>) override {}
        [[nodiscard]] bool is_open() const noexcept override { return true; }
        std::atomic<std::uint8_t> value{1};
    };
    LivePort port;
    PvGenParameterArray registers(GenApi::load_node_map(
        description(root({"Polled", "Kept"}) + int_reg("Polled", 0, {.polling_time = 20}) + int_reg("Kept", 4)), port));
    const auto features = features_of(registers);
    FeatureReader reading(registers.gate(), told.listener());
    reading.show({features->items[0].feature, features->items[1].feature});
    static_cast<void>(told.await("Polled"));
    static_cast<void>(told.await("Kept"));
    for (const std::uint8_t value : {std::uint8_t{7}, std::uint8_t{8}}) {
        port.value = value;
        static_cast<void>(told.await("Polled", [value](const Reading& now) { return now.integer == value; }));
    }
    EXPECT_EQ(told.count("Kept"), 1);
}

TEST_F(Reader, DropsEditsThatHaveNotBegun)
{
    Flag is_setting;
    Flag may_go_on;
    std::atomic<int> set_to = 0;
    SoftwareParameters parameters("Probe");
    SoftwareInteger slow;
    slow.name = "Slow";
    slow.get = [] { return std::int64_t{0}; };
    slow.set = [&](std::int64_t value) {
        set_to = static_cast<int>(value);
        is_setting.raise();
        may_go_on.await();
        return PvResult(PvResult::OK);
    };
    parameters.add(slow);
    std::unique_ptr<SoftwareParameterArray> probe = parameters.build();
    const std::shared_ptr<const Feature> feature = features_of(*probe)->items.front().feature;
    {
        FeatureReader reading(probe->gate(), {});
        reading.set(feature, "1");
        reading.set(feature, "2");
        is_setting.await();
    }
    may_go_on.raise();
    probe.reset();  // waits for what is under way
    EXPECT_EQ(set_to, 1);
}

TEST_F(Reader, ReadsTheChosenRegisterAsAWhole)
{
    using namespace camera_xml;
    constexpr std::int64_t length = 200;
    MemoryPort port;
    port.set(length - 1, {0xEE});
    PvGenParameterArray registers(
        GenApi::load_node_map(description(root({"Long", "Other", "Secret"}) + raw_reg("Long", 0, {.length = length}) +
                                          raw_reg("Other", 4096, {.length = length}) +
                                          raw_reg("Secret", 8192, {.length = length, .access = "WO"})),
                              port));
    const auto features = features_of(registers);
    const FeatureReader::Features visible{features->items[0].feature, features->items[1].feature,
                                          features->items[2].feature};
    FeatureReader reading(registers.gate(), told.listener());
    reading.show(visible);
    const Reading first = told.await("Long");
    EXPECT_EQ(first.bytes.size(), 64U);
    EXPECT_EQ(first.length, length);
    EXPECT_TRUE(first.is_part());
    EXPECT_TRUE(first.text.ends_with("00 00 \xE2\x80\xA6"));
    EXPECT_EQ(told.await("Other").bytes.size(), 64U);
    const Reading secret = told.await("Secret");
    EXPECT_EQ(secret.text, "");
    EXPECT_FALSE(secret.is_part());
    reading.show(visible, visible[0]);
    const Reading whole = told.await("Long", [](const Reading& now) { return !now.is_part(); });
    ASSERT_EQ(whole.bytes.size(), static_cast<std::size_t>(length));
    EXPECT_EQ(whole.bytes.back(), 0xEE);
    EXPECT_EQ(whole.text, first.text);
    EXPECT_EQ(editable_text(*visible[0], whole).size(), static_cast<std::size_t>(length * 3 - 1));
    // what cannot be read is not tried again and again
    reading.show(visible, visible[2]);
    EXPECT_TRUE(told.await_edit(reading.set(visible[1], "01 02")).result.IsOK());
    static_cast<void>(told.await("Other", [](const Reading& now) { return now.bytes[1] == 2; }));
    EXPECT_EQ(told.count("Secret"), 1);
}

TEST_F(Reader, TheArrayMayGoAtAnyTime)
{
    for (int i = 0; i < 20; ++i) {
        SoftwareParameters parameters("Probe");
        SoftwareInteger counter;
        counter.name = "Counter";
        counter.is_volatile = true;
        counter.get = [value = std::make_shared<std::int64_t>(0)] { return ++*value; };
        parameters.add(counter);
        std::unique_ptr<SoftwareParameterArray> short_lived = parameters.build();
        const auto features = features_of(*short_lived);
        FeatureReader reading(short_lived->gate(), {});
        reading.show({features->items.front().feature});
        reading.set(features->items.front().feature, "1");
        reading.refresh();
        short_lived.reset();
    }
}
