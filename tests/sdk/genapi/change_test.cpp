// Changes: what forgets what, and who is told.

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "tests/sdk/genapi/changes.h"

using namespace camera_xml;
using GenApi::INode;
using namespace std::chrono_literals;

TEST(Change, ReachesEveryKindOfDependent)
{
    Camera camera(
        integer("Source", {.value = "S"}) + int_reg("S", 0) +
        // a variable, a variable of a variable
        int_swiss_knife("Knife", "V*10", {{"V", "Source"}}) + int_swiss_knife("Knife2", "V+1", {{"V", "Knife"}}) +
        // a limit, an increment, a converter
        integer("Limited", {.value = "R", .min = "Source", .max = "Knife", .inc = "Source"}) +
        converter("Conv",
                  {.variables = {{"F", "Source"}}, .value = "R", .formula_to = "FROM*F", .formula_from = "TO/F"})
        // conditions
        + integer("Condition", {.is_available = "Is2", .value = "R"}) +
        int_swiss_knife("Is2", "V=2", {{"V", "Source"}}) +
        // an address
        int_reg("Moving", 0x100, {.more = indexed_by("Source", 4)}) + integer("Far", {.value = "Moving"}) +
        int_reg("R", 0x20));
    camera.port.set32(0, 1);
    camera.port.set32(0x20, 8);
    camera.port.set32(0x104, 11);
    camera.port.set32(0x108, 22);
    EXPECT_EQ(camera["Knife2"].int_value(), 11);
    EXPECT_EQ(camera["Limited"].int_min(), 1);
    EXPECT_EQ(camera["Limited"].int_max(), 10);
    EXPECT_EQ(camera["Limited"].int_increment(), 1);
    EXPECT_EQ(camera["Conv"].float_value(), 8.0);
    EXPECT_EQ(camera["Condition"].access(), GenApi::AccessMode::not_available);
    EXPECT_EQ(camera["Far"].int_value(), 11);
    camera["S"].set_int_value(2);
    EXPECT_EQ(camera["Source"].int_value(), 2);
    EXPECT_EQ(camera["Knife2"].int_value(), 21);
    EXPECT_EQ(camera["Limited"].int_min(), 2);
    EXPECT_EQ(camera["Limited"].int_max(), 20);
    EXPECT_EQ(camera["Limited"].int_increment(), 2);
    EXPECT_EQ(camera["Conv"].float_value(), 4.0);
    EXPECT_EQ(camera["Condition"].access(), GenApi::AccessMode::read_write);
    EXPECT_EQ(camera["Far"].int_value(), 22);
}

TEST(Change, DoesNotCostTransfersForWhatItDoesNotReach)
{
    Camera camera(integer("A", {.value = "RA", .max = "K"}) + integer("B", {.value = "RB"}) +
                  int_swiss_knife("K", "100-V", {{"V", "B"}}) + int_reg("RA", 0) + int_reg("RB", 4));
    static_cast<void>(camera["A"].int_value());
    static_cast<void>(camera["A"].int_max());
    EXPECT_EQ(camera.port.reads, 2);
    camera["B"].set_int_value(30);
    // the limit changed, the value did not
    EXPECT_EQ(camera["A"].int_max(), 70);
    EXPECT_EQ(camera["A"].int_value(), 0);
    EXPECT_EQ(camera.port.reads, 2);
}

TEST(Change, FollowsInvalidators)
{
    Camera camera(integer("Trigger", {.value = "T"}) + int_reg("T", 0) +
                  // listed at the register, at the feature, and by way of the invalidator's own register
                  integer("A", {.value = "RA"}) + int_reg("RA", 4, {.invalidators = {"Trigger"}}) +
                  integer("B", {.value = "RB", .invalidators = {"Trigger"}}) + int_reg("RB", 8) +
                  integer("C", {.value = "RC", .invalidators = {"T"}}) + int_reg("RC", 12) +
                  integer("D", {.value = "RD"}) + int_reg("RD", 16));
    for (const char* const name : {"A", "B", "C", "D"}) {
        EXPECT_EQ(camera[name].int_value(), 0);
    }
    for (const int address : {4, 8, 12, 16}) {
        camera.port.set32(address, 9);
    }
    camera["Trigger"].set_int_value(1);
    EXPECT_EQ(camera["A"].int_value(), 9);
    EXPECT_EQ(camera["B"].int_value(), 9);
    EXPECT_EQ(camera["C"].int_value(), 9);
    EXPECT_EQ(camera["D"].int_value(), 0);
}

TEST(Change, EndsWhenInvalidatorsRunInACircle)
{
    Camera camera(integer("A", {.value = "RA", .invalidators = {"B"}}) + int_reg("RA", 0) +
                  integer("B", {.value = "RB", .invalidators = {"A"}}) + int_reg("RB", 4, {.invalidators = {"RB"}}));
    EXPECT_EQ(camera["A"].int_value(), 0);
    EXPECT_EQ(camera["B"].int_value(), 0);
    camera.port.set32(4, 7);
    camera["A"].set_int_value(1);
    EXPECT_EQ(camera["B"].int_value(), 7);
    EXPECT_TRUE(camera["A"].defect().empty());
    EXPECT_TRUE(camera["B"].defect().empty());
}

TEST(Change, OfASelectorReachesWhatItSelects)
{
    Camera camera(integer("Sel", {.value = "S", .selected = {"Gain"}}) + int_reg("S", 0) +
                  integer("Gain", {.value = "G"}) + int_reg("G", 4));
    EXPECT_EQ(camera["Gain"].int_value(), 0);
    camera.port.set32(4, 50);
    camera["Sel"].set_int_value(1);
    EXPECT_EQ(camera["Gain"].int_value(), 50);
}

TEST(Change, OfAnOuterSelectorReachesThroughAnInnerOne)
{
    Camera camera(integer("Outer", {.value = "O", .selected = {"Inner"}}) +
                  integer("Inner", {.value = "I", .selected = {"Gain"}}) + int_reg("O", 0) + int_reg("I", 4) +
                  integer("Gain", {.value = "G"}) + int_reg("G", 8));
    EXPECT_EQ(camera["Gain"].int_value(), 0);
    camera.port.set32(8, 50);
    camera["Outer"].set_int_value(1);
    EXPECT_EQ(camera["Gain"].int_value(), 50);
}

TEST(Change, OfACommandIsToldAgainWhenItIsDone)
{
    Camera camera(command("Load", {.value = "C", .command_value = 1}) + int_reg("C", 0) + integer("X", {.value = "R"}) +
                  int_reg("R", 4, {.invalidators = {"Load"}}));
    EXPECT_EQ(camera["X"].int_value(), 0);
    camera["Load"].execute();
    EXPECT_EQ(camera["X"].int_value(), 0);
    // the device changes the value while the command runs, after it was read
    camera.port.set32(4, 5);
    EXPECT_FALSE(camera["Load"].is_done());
    EXPECT_EQ(camera["X"].int_value(), 0);
    camera.port.set32(0, 0);
    EXPECT_TRUE(camera["Load"].is_done());
    EXPECT_EQ(camera["X"].int_value(), 5);
    // and that only once
    Watch watch(camera["X"]);
    EXPECT_TRUE(camera["Load"].is_done());
    EXPECT_EQ(watch.count, 0);
}

TEST(Change, OfAPortForgetsAllItsRegisters)
{
    const std::string xml = "<RegisterDescription SchemaMajorVersion=\"1\">" +
                            port("Device", element("pInvalidator", "Load")) +
                            command("Load", {.value = "C", .command_value = 1}) + int_reg("C", 0, "WO") +
                            int_reg("A", 4) + int_reg("B", 8) + "</RegisterDescription>";
    Camera camera(xml, true);
    EXPECT_EQ(camera["A"].int_value(), 0);
    EXPECT_EQ(camera["B"].int_value(), 0);
    camera.port.set32(4, 1);
    camera.port.set32(8, 2);
    camera["Load"].execute();
    EXPECT_EQ(camera["A"].int_value(), 1);
    EXPECT_EQ(camera["B"].int_value(), 2);
}

TEST(Callback, ComesOnceForEveryChangeHoweverManyWaysLeadThere)
{
    Camera camera(integer("X", {.is_locked = "K", .value = "K2", .min = "S", .invalidators = {"S"}}) + int_reg("S", 0) +
                  int_swiss_knife("K", "V=9", {{"V", "S"}}) + int_swiss_knife("K2", "V+1", {{"V", "S"}}));
    Watch x(camera["X"]);
    Watch s(camera["S"]);
    Watch other(camera["Device"]);
    camera["S"].set_int_value(3);
    EXPECT_EQ(x.count, 1);
    EXPECT_EQ(s.count, 1);
    EXPECT_EQ(other.count, 0);
    static_cast<void>(camera["X"].int_value());
    EXPECT_EQ(x.count, 1);
}

TEST(Callback, ComesAlsoWhenNothingIsCached)
{
    Camera camera(integer("X", {.value = "R"}) + int_reg("R", 0, {.cachable = "NoCache"}));
    Watch x(camera["X"]);
    camera["R"].set_int_value(1);
    EXPECT_EQ(x.count, 1);
    camera["R"].set_int_value(1);
    EXPECT_EQ(x.count, 2);
}

TEST(Callback, MayUseTheNodeMap)
{
    Camera camera(integer("X", {.value = "R"}) + int_reg("R", 0) + int_reg("Other", 4));
    std::int64_t seen = -1;
    camera["X"].on_change([&](INode& node) {
        seen = node.int_value();
        if (seen == 5) {
            camera["R"].set_int_value(6);
        }
        camera["Other"].set_int_value(1);
    });
    camera["X"].set_int_value(5);
    EXPECT_EQ(seen, 6);
    EXPECT_EQ(camera.port.get32(0), 6U);
}

TEST(Callback, LeavesTheNodeMapToOtherThreads)
{
    Camera camera(integer("X", {.value = "R"}) + int_reg("R", 0) + int_reg("Other", 4));
    std::int64_t seen = -1;
    camera["X"].on_change([&](INode&) {
        // would never end if the node map were locked meanwhile
        std::thread([&] {
            camera["Other"].set_int_value(7);
            seen = camera["Other"].int_value() + camera["X"].int_value();
        }).join();
    });
    camera["X"].set_int_value(5);
    EXPECT_EQ(seen, 12);
}

TEST(Callback, ComesOnceForAChangeThatSeveralRegistersTakePartIn)
{
    Camera camera(integer("X", {.value = "A", .value_copies = {"B", "C"}}) + int_reg("A", 0) + int_reg("B", 4) +
                  int_reg("C", 8) + int_swiss_knife("Sum", "A+B+C", {{"A", "A"}, {"B", "B"}, {"C", "C"}}));
    Watch sum(camera["Sum"]);
    camera["X"].set_int_value(3);
    EXPECT_EQ(sum.count, 1);
    EXPECT_EQ(camera["Sum"].int_value(), 9);
}

TEST(Callback, MayThrowAndMayRemoveOthers)
{
    Camera camera(integer("X", {.value = "R"}) + int_reg("R", 0));
    GenApi::CallbackId second = 0;
    int second_calls = 0;
    int third_calls = 0;
    camera["X"].on_change([&](INode& node) {
        node.remove_callback(second);
        throw std::runtime_error("no matter");
    });
    second = camera["X"].on_change([&](INode&) { ++second_calls; });
    camera["X"].on_change([&](INode&) { ++third_calls; });
    EXPECT_NO_THROW(camera["X"].set_int_value(1));
    EXPECT_EQ(second_calls, 0);
    EXPECT_EQ(third_calls, 1);
    camera["X"].remove_callback(4711);
}

TEST(Callback, ComesAlsoForTheHalfThatWasDone)
{
    Camera camera(integer("X", {.value = "A", .value_copies = {"B"}}) + int_reg("A", 0) +
                  integer("B", {.value = 0, .max = 1}));
    Watch watch(camera["A"]);
    EXPECT_THROW(camera["X"].set_int_value(5), GenApi::ValueError);
    EXPECT_EQ(watch.count, 1);
}

TEST(Poll, ForgetsWhatIsDue)
{
    Camera camera(integer("X", {.value = "R"}) + int_reg("R", 0, {.access = "RO", .polling_time = 1000}) +
                  integer("Y", {.block_polling = "Block", .value = "RY", .polling_time = 100}) +
                  integer("Block", {.value = 1}) + int_reg("RY", 4));
    EXPECT_EQ(camera["X"].int_value(), 0);
    EXPECT_EQ(camera["Y"].int_value(), 0);
    camera.port.set32(0, 1);
    camera.port.set32(4, 1);
    Watch watch(camera["X"]);
    camera.map->poll(600ms);
    EXPECT_EQ(camera["X"].int_value(), 0);
    EXPECT_EQ(camera["Y"].int_value(), 0);
    camera.map->poll(400ms);
    EXPECT_EQ(watch.count, 1);
    EXPECT_EQ(camera.port.reads, 2);
    EXPECT_EQ(camera["X"].int_value(), 1);
    EXPECT_EQ(camera["Y"].int_value(), 0);
    camera["Block"].set_int_value(0);
    camera.map->poll(100ms);
    EXPECT_EQ(camera["Y"].int_value(), 1);
}

TEST(Poll, CountsFromTheLastTime)
{
    Camera camera(integer("X", {.value = "R"}) + int_reg("R", 0, {.access = "RO", .polling_time = 1000}));
    Watch watch(camera["X"]);
    for (int i = 1; i <= 10; ++i) {
        camera.map->poll(500ms);
        EXPECT_EQ(watch.count, i / 2);
    }
}

TEST(Poll, IsBlockedByWhatCannotBeRead)
{
    Camera camera(int_reg("X", 0, {.block_polling = "Bad", .access = "RO", .polling_time = 100}) +
                  int_reg("Y", 4, {.block_polling = "Secret", .access = "RO", .polling_time = 100}) +
                  int_swiss_knife("Bad", "1/0") + int_reg("Secret", 8, "WO"));
    Watch x(camera["X"]);
    Watch y(camera["Y"]);
    camera.map->poll(500ms);
    EXPECT_EQ(x.count, 0);
    EXPECT_EQ(y.count, 0);
    EXPECT_EQ(camera.port.reads, 0);
}

TEST(Changed, ForgetsFromOutside)
{
    Camera camera(integer("X", {.value = "R"}) + int_reg("R", 0));
    EXPECT_EQ(camera["X"].int_value(), 0);
    camera.port.set32(0, 4);
    Watch watch(camera["X"]);
    camera.map->changed(camera["X"]);
    EXPECT_EQ(watch.count, 1);
    EXPECT_EQ(camera["X"].int_value(), 4);
}

TEST(Changed, MayBeSaidByThePortItself)
{
    Camera camera(integer("X", {.value = "R"}) + int_reg("R", 0) + integer("Y", {.value = "RY"}) + int_reg("RY", 4));
    EXPECT_EQ(camera["Y"].int_value(), 0);
    Watch watch(camera["Y"]);
    Watch written(camera["X"]);
    camera.port.on_access = [&] {
        camera.port.set32(4, 8);
        camera.map->changed(camera["Y"]);
        camera.map->changed(camera["X"]);
    };
    camera["X"].set_int_value(1);
    camera.port.on_access = nullptr;
    EXPECT_EQ(watch.count, 1);
    EXPECT_EQ(written.count, 1);
    EXPECT_EQ(camera["Y"].int_value(), 8);
}

TEST(Changed, DoesNotWaitForATransferThatTakesLong)
{
    Camera camera(integer("X", {.value = "R"}) + int_reg("R", 0) + integer("Y", {.value = "RY"}) + int_reg("RY", 4));
    std::mutex mutex;
    std::condition_variable condition;
    bool in_transfer = false;
    bool go_on = false;
    camera.port.on_access = [&] {
        std::unique_lock lock(mutex);
        in_transfer = true;
        condition.notify_all();
        condition.wait(lock, [&] { return go_on; });
    };
    std::atomic<int> calls = 0;
    camera["Y"].on_change([&](INode&) { ++calls; });
    std::thread reader([&] { static_cast<void>(camera["X"].int_value()); });
    {
        std::unique_lock lock(mutex);
        condition.wait(lock, [&] { return in_transfer; });
    }
    // the reader holds the node map's lock now and will do the rest
    camera.map->changed(camera["Y"]);
    EXPECT_EQ(calls.load(), 0);
    {
        const std::lock_guard lock(mutex);
        go_on = true;
    }
    condition.notify_all();
    reader.join();
    EXPECT_EQ(calls.load(), 1);
}

TEST(Lock, ForbidsAPortToUseItsOwnNodeMap)
{
    Camera camera(int_reg("R", 0) + int_reg("S", 4));
    camera.port.on_access = [&] { static_cast<void>(camera["S"].int_value()); };
    EXPECT_EQ(code_of([&] { static_cast<void>(camera["R"].int_value()); }), PvResult::StateError);
    camera.port.on_access = nullptr;
    EXPECT_EQ(camera["R"].int_value(), 0);
}

TEST(Lock, OfOneNodeMapDoesNotHoldUpAnother)
{
    Camera slow(int_reg("R", 0));
    Camera other(int_reg("R", 0));
    // within a transfer of one node map the other works, also on another thread
    slow.port.on_access = [&] {
        std::thread([&] { static_cast<void>(other["R"].int_value()); }).join();
        static_cast<void>(other["R"].int_value());
    };
    EXPECT_EQ(slow["R"].int_value(), 0);
    EXPECT_EQ(other.port.reads, 1);
}

TEST(Lock, LetsNodeMapsWorkAtTheSameTime)
{
    // each of two transfers ends only when the other has begun
    Camera cameras[] = {Camera(int_reg("R", 0)), Camera(int_reg("R", 0))};
    std::mutex mutex;
    std::condition_variable condition;
    int begun = 0;
    for (Camera& camera : cameras) {
        camera.port.on_access = [&] {
            std::unique_lock lock(mutex);
            ++begun;
            condition.notify_all();
            condition.wait(lock, [&] { return begun == 2; });
        };
    }
    std::thread other([&] { static_cast<void>(cameras[1]["R"].int_value()); });
    static_cast<void>(cameras[0]["R"].int_value());
    other.join();
    EXPECT_EQ(begun, 2);
}

TEST(Lock, KeepsManyThreadsApart)
{
    Camera camera(integer("X", {.value = "R"}) + int_swiss_knife("K", "V*2", {{"V", "X"}}) + int_reg("R", 0) +
                  int_reg("N", 4, {.cachable = "NoCache"}));
    std::atomic<int> calls = 0;
    const GenApi::CallbackId id = camera["K"].on_change([&](INode& node) {
        static_cast<void>(node.int_value());
        ++calls;
    });
    constexpr int rounds = 500;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&camera, t] {
            for (int i = 0; i < rounds; ++i) {
                camera["X"].set_int_value(t * rounds + i);
                EXPECT_EQ(camera["K"].int_value() % 2, 0);
                camera.map->changed(camera["X"]);
                static_cast<void>(camera["N"].int_value());
                static_cast<void>(camera["X"].access());
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_GE(calls.load(), 4 * rounds);
    EXPECT_EQ(camera["K"].int_value(), 2 * camera["X"].int_value());
    camera["K"].remove_callback(id);
}
