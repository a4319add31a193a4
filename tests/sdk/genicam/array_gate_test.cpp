// The gate of a parameter array: other threads use the parameters while the array may go at any time.

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "sdk/genicam/PvGenParameterArray.h"
#include "sdk/genicam/array_gate.h"
#include "sdk/genicam/software_parameters.h"
#include "tests/sdk/flag.h"
#include "tests/sdk/genapi/memory_port.h"

namespace {

using namespace camera_xml;
using sdk_test::Flag;
using vex::genicam::ArrayGate;
using vex::genicam::ArrayVisit;

std::string numbered(std::int64_t value)
{
    return description(root({"Number"}) + integer("Number", {.value = value, .min = 0, .max = 100}));
}

class RebuiltArray : public PvGenParameterArray {
public:
    explicit RebuiltArray(MemoryPort& port) : port_(port) { rebuild(0); }
    void rebuild(std::int64_t value) { build(GenApi::load_node_map(numbered(value), port_)); }
    void empty() { clear(); }

private:
    MemoryPort& port_;
};

class CountingSink : public PvGenEventSink {
public:
    void OnParameterUpdate(PvGenParameter* /*aParameter*/) override { ++count; }

    int count = 0;
};

vex::SoftwareParameters one_number(std::function<std::int64_t()> get)
{
    vex::SoftwareInteger number;
    number.name = "Number";
    number.is_volatile = true;
    number.get = std::move(get);
    vex::SoftwareParameters parameters("Numbers");
    parameters.add(number);
    return parameters;
}

}  // namespace

TEST(ArrayGate, IsClosedForGoodWhenTheArrayGoes)
{
    MemoryPort port;
    auto array = std::make_unique<RebuiltArray>(port);
    const std::shared_ptr<ArrayGate> gate = array->gate();
    {
        const ArrayVisit visit(gate);
        ASSERT_TRUE(visit);
        EXPECT_TRUE(visit.goes_on());
    }
    array.reset();
    EXPECT_FALSE(gate->is_open());
    EXPECT_FALSE(gate->enter());
    EXPECT_EQ(gate->next(), nullptr);
    EXPECT_FALSE(ArrayVisit(gate));
    EXPECT_FALSE(ArrayVisit(nullptr));
}

TEST(ArrayGate, LeadsToTheGateOfWhatTheArrayHasInstead)
{
    MemoryPort port;
    RebuiltArray array(port);
    const std::shared_ptr<ArrayGate> first = array.gate();
    EXPECT_EQ(first->next(), nullptr);
    array.rebuild(7);
    EXPECT_FALSE(first->is_open());
    EXPECT_NE(array.gate(), first);
    EXPECT_EQ(first->next(), array.gate());
    EXPECT_TRUE(ArrayVisit(array.gate()));
    array.empty();
    EXPECT_FALSE(array.gate()->is_open());
    EXPECT_EQ(array.gate()->next(), nullptr);
}

TEST(ArrayGate, DoesNotWaitForTheThreadThatTakesTheParametersAway)
{
    MemoryPort port;
    auto array = std::make_unique<RebuiltArray>(port);
    const ArrayVisit outer(array->gate());
    const ArrayVisit inner(array->gate());
    ASSERT_TRUE(outer);
    ASSERT_TRUE(inner);
    array->rebuild(3);
    EXPECT_FALSE(outer.goes_on());
    const ArrayVisit next(array->gate());
    EXPECT_TRUE(next.goes_on());
    array.reset();
    EXPECT_FALSE(next.goes_on());
}

TEST(ArrayGate, KeepsWhatIsInUseUntilItIsNot)
{
    MemoryPort port;
    auto array = std::make_unique<RebuiltArray>(port);
    const std::shared_ptr<ArrayGate> gate = array->gate();  // which keeps nothing by itself
    std::weak_ptr<const void> life;
    {
        const ArrayVisit visit(gate);
        PvGenInteger* const number = array->GetInteger("Number");
        life = number->lifetime();
        CountingSink sink;
        EXPECT_TRUE(number->RegisterEventSink(&sink).IsOK());
        array.reset();
        EXPECT_FALSE(visit.goes_on());
        EXPECT_FALSE(life.expired());
        PvString name;
        EXPECT_TRUE(number->GetName(name).IsOK());
        EXPECT_EQ(name.str(), "Number");
        number->GetNode()->invalidate();
        EXPECT_EQ(sink.count, 0);
    }
    EXPECT_TRUE(life.expired());
}

TEST(ArrayGate, KeepsWhatWasBuiltBefore)
{
    MemoryPort port;
    RebuiltArray array(port);
    std::weak_ptr<const void> life;
    {
        const ArrayVisit visit(array.gate());
        life = array.GetInteger("Number")->lifetime();
        array.rebuild(7);
        EXPECT_FALSE(life.expired());
        std::int64_t value = 0;
        EXPECT_TRUE(array.GetIntegerValue("Number", value).IsOK());
        EXPECT_EQ(value, 7);
        array.empty();
        EXPECT_EQ(array.GetCount(), 0U);
        EXPECT_FALSE(life.expired());
    }
    EXPECT_TRUE(life.expired());
}

TEST(ArrayGate, DestructionWaitsForWhoeverIsInside)
{
    Flag reading;
    Flag may_answer;
    std::atomic<bool> has_gone = false;
    bool gone_while_inside = true;
    auto array = one_number([&] {
                     reading.raise();
                     may_answer.await();
                     return std::int64_t{5};
                 }).build();
    const std::shared_ptr<ArrayGate> gate = array->gate();
    PvGenInteger* const number = array->GetInteger("Number");
    std::thread reader([&] {
        const ArrayVisit visit(gate);
        std::int64_t value = 0;
        EXPECT_TRUE(number->GetValue(value).IsOK());
        EXPECT_EQ(value, 5);
        gone_while_inside = has_gone;
    });
    reading.await();
    std::thread destroyer([&] {
        array.reset();
        has_gone = true;
    });
    while (gate->is_open()) {
        std::this_thread::yield();
    }
    may_answer.raise();
    reader.join();
    destroyer.join();
    EXPECT_FALSE(gone_while_inside);
    EXPECT_TRUE(has_gone);
}

TEST(ArrayGate, ThreadsReadWhileTheArrayIsRebuiltAndDestroyed)
{
    constexpr int rebuilds = 50;
    MemoryPort port;
    auto array = std::make_unique<RebuiltArray>(port);
    RebuiltArray* const address = array.get();
    const std::shared_ptr<ArrayGate> first = array->gate();
    std::atomic<int> reads = 0;
    const auto read = [&] {
        std::shared_ptr<ArrayGate> gate = first;
        while (gate != nullptr) {
            {
                const ArrayVisit visit(gate);
                std::int64_t value = -1;
                if (visit) {
                    EXPECT_TRUE(address->GetIntegerValue("Number", value).IsOK());
                    ++reads;
                }
            }
            if (gate->state() == ArrayGate::State::closed) {
                gate = gate->next();
            }
        }
    };
    std::thread one(read);
    std::thread two(read);
    for (int i = 1; i <= rebuilds; ++i) {
        const int before = reads;
        while (reads == before) {
            std::this_thread::yield();
        }
        array->rebuild(i);
    }
    array.reset();
    one.join();
    two.join();
    EXPECT_GE(reads, rebuilds);
}
