// Bridges that are started, stopped and changed, with parameters behind them, until their end.
#include "sdk/bridge_manager/manager.h"

#include <gtest/gtest.h>

#include <future>
#include <new>
#include <stdexcept>

#include "tests/sdk/bridge_manager/bridges.h"

namespace {

using namespace bridge_manager_test;

// ---- rows ----

TEST_F(Bridges, HaveARowForEachPort)
{
    EXPECT_EQ(manager->size(), 2U);
    EXPECT_EQ(manager->row(0).port, "Serial0");
    EXPECT_EQ(manager->row(1).port, "Bulk0");
    EXPECT_EQ(manager->row(1).state, State::stopped);
    EXPECT_TRUE(manager->row(1).settings == Settings());
    EXPECT_EQ(manager->row(2).port, "");
    EXPECT_EQ(manager->array(0), nullptr);
    EXPECT_EQ(manager->array(2), nullptr);
    manager->start(2);
    manager->stop(2);
    manager->reset_statistics(2);
    EXPECT_EQ(manager->change(2, Settings()).GetCode(), PvResult::InvalidParameter);
    manager->set_ports({});
    EXPECT_EQ(manager->size(), 0U);
}

TEST_F(Bridges, StartAndStopOnAThreadOfTheirOwn)
{
    first->hold();
    manager->start(0);
    EXPECT_EQ(manager->row(0).state, State::starting);
    manager->start(0);
    ASSERT_TRUE(first->await_held());
    EXPECT_EQ(manager->row(0).state, State::starting) << "it does not wait for the device";
    first->go_on();
    ASSERT_TRUE(await(0, State::running));
    manager->start(0);
    EXPECT_EQ(first->log, Log{"start"});
    manager->stop(0);
    EXPECT_EQ(manager->row(0).state, State::stopping);
    manager->stop(0);
    EXPECT_EQ(manager->change(0, Settings()).GetCode(), PvResult::StateError);
    ASSERT_TRUE(await(0, State::stopped));
    EXPECT_EQ(first->log, (Log{"start", "stop"}));
    EXPECT_TRUE(events.empty());
}

TEST_F(Bridges, SayWhyTheyCouldNotStart)
{
    first->start_result = PvResult(PvResult::StateError, "The port is open already");
    manager->start(0);
    ASSERT_TRUE(await([&] { return !manager->row(0).failure.IsOK(); }));
    EXPECT_EQ(manager->row(0).state, State::stopped);
    EXPECT_EQ(manager->row(0).failure.description(), "The port is open already");
    first->start_result = PvResult::OK;
    manager->start(0);
    ASSERT_TRUE(await(0, State::running));
    EXPECT_TRUE(manager->row(0).failure.IsOK());
}

TEST_F(Bridges, SurviveAPortThatRunsOutOfMemory)
{
    first->on_start = [] { throw std::bad_alloc(); };
    manager->start(0);
    ASSERT_TRUE(await(0, State::stopped));
    EXPECT_EQ(manager->row(0).failure.GetCode(), PvResult::NotEnoughMemory);
    first->on_start = [] { throw std::runtime_error("The system has no more threads"); };
    manager->start(0);
    ASSERT_TRUE(await(0, State::stopped));
    EXPECT_EQ(manager->row(0).failure.GetCode(), PvResult::GenericError);
    EXPECT_EQ(manager->row(0).failure.description(), "The system has no more threads");
}

TEST_F(Bridges, TellAndForgetTheirCounters)
{
    first->told.received = 5'000'000'000;
    EXPECT_EQ(manager->row(0).facts.received, 5'000'000'000U);
    manager->reset_statistics(0);
    EXPECT_EQ(manager->row(0).facts.received, 0U);
}

// ---- parameters ----

TEST_F(Bridges, MakeParametersBehindTheBridgeAndTellBeforeTheyGo)
{
    PvGenParameterArray* seen = nullptr;
    on_created = [&] { seen = manager->array(0); };
    run_with_parameters();
    EXPECT_EQ(seen, manager->array(0));
    EXPECT_EQ(manager->row(0).array_name.str(), "Serial0: Fake");
    EXPECT_EQ(first->log, (Log{"start", "make parameters"}));
    on_deleted = [&] {
        seen = manager->array(0);
        EXPECT_EQ(first->log.size(), 2U) << "the bridge still runs";
    };
    manager->stop(0);
    EXPECT_EQ(seen, nullptr);
    ASSERT_TRUE(await(0, State::stopped));
    EXPECT_EQ(events, (Log{"created Serial0: Fake", "deleted"}));
    EXPECT_EQ(first->log, (Log{"start", "make parameters", "end parameters", "stop", "array gone"}));
    EXPECT_TRUE(manager->row(0).array_name.empty());
}

TEST_F(Bridges, RunWithoutParametersThatCannotBeMade)
{
    first->parameters_result = PvResult(PvResult::NotFound, "Nobody answers");
    ASSERT_TRUE(manager->change(0, with_parameters()).IsOK());
    manager->start(0);
    ASSERT_TRUE(await(0, State::running));
    EXPECT_EQ(manager->row(0).failure.description(), "Nobody answers");
    EXPECT_EQ(manager->array(0), nullptr);
    EXPECT_TRUE(events.empty());
}

TEST_F(Bridges, ThatAreStoppedWhileTheyStartMakeNoParameters)
{
    ASSERT_TRUE(manager->change(0, with_parameters()).IsOK());
    first->hold();
    manager->start(0);
    ASSERT_TRUE(first->await_held());
    manager->stop(0);
    EXPECT_EQ(manager->row(0).state, State::stopping);
    first->go_on();
    ASSERT_TRUE(await(0, State::stopped));
    EXPECT_EQ(first->log, (Log{"start", "stop"}));
    EXPECT_TRUE(events.empty());
}

TEST_F(Bridges, ThatAreStoppedWhileTheyMakeParametersEndThemFirst)
{
    std::promise<void> makes;
    std::promise<void> may_go_on;
    first->on_parameters = [&] {
        makes.set_value();
        may_go_on.get_future().wait_for(patience);
    };
    ASSERT_TRUE(manager->change(0, with_parameters()).IsOK());
    manager->start(0);
    ASSERT_EQ(makes.get_future().wait_for(patience), std::future_status::ready);
    manager->stop(0);
    std::promise<void> has_stopped;
    second->on_start = [&] { has_stopped.set_value(); };
    manager->start(1);
    may_go_on.set_value();
    ASSERT_EQ(has_stopped.get_future().wait_for(patience), std::future_status::ready) << "one after the other";
    ASSERT_TRUE(await(0, State::stopped));
    EXPECT_EQ(first->log, (Log{"start", "make parameters", "array gone", "stop"}));
    EXPECT_TRUE(events.empty());
}

TEST_F(Bridges, ThatAreStoppedBeforeTheirTurnDoNotStart)
{
    first->hold();
    manager->start(0);
    ASSERT_TRUE(first->await_held());
    manager->start(1);
    manager->stop(1);
    first->go_on();
    ASSERT_TRUE(await(1, State::stopped));
    EXPECT_EQ(second->log, Log{"stop"});
    EXPECT_EQ(manager->row(0).state, State::running);
}

TEST_F(Bridges, AreChangedWhileTheyRunWhereThatIsPossible)
{
    run_with_parameters();
    Settings settings = with_parameters();
    settings.hard_coded_baud_rate = 19'200;
    first->configure_result = PvResult(PvResult::NotSupported, "Not this rate");
    ASSERT_TRUE(manager->change(0, settings).IsOK());
    EXPECT_EQ(manager->change(0, settings).GetCode(), PvResult::StateError) << "one at a time";
    ASSERT_TRUE(await(0, State::running));
    EXPECT_EQ(manager->row(0).failure.description(), "Not this rate");
    EXPECT_TRUE(manager->row(0).settings == with_parameters());
    first->configure_result = PvResult::OK;
    ASSERT_TRUE(manager->change(0, settings).IsOK());
    ASSERT_TRUE(await(0, State::running));
    EXPECT_TRUE(manager->row(0).settings == settings);
    EXPECT_NE(manager->array(0), nullptr);
    ASSERT_TRUE(manager->change(0, settings).IsOK());
    EXPECT_EQ(manager->row(0).state, State::running) << "there is nothing to do";
    EXPECT_EQ(first->log, (Log{"start", "make parameters", "configure", "configure"}));
}

TEST_F(Bridges, AreStartedAgainForAnotherEndpoint)
{
    run_with_parameters();
    Settings settings;
    settings.endpoint = "tcp:0";
    first->hold();
    ASSERT_TRUE(manager->change(0, settings).IsOK());
    ASSERT_TRUE(first->await_held());
    manager->take();
    EXPECT_EQ(manager->row(0).state, State::starting) << "it has stopped, but that is not what was asked last";
    first->go_on();
    ASSERT_TRUE(await(0, State::running));
    EXPECT_EQ(events, (Log{"created Serial0: Fake", "deleted"}));
    EXPECT_EQ(first->started.back().endpoint.str(), "tcp:0");
    settings.endpoint = "a/b";
    EXPECT_EQ(manager->change(0, settings).GetCode(), PvResult::InvalidParameter);
    EXPECT_EQ(manager->row(0).settings.endpoint.str(), "tcp:0");
}

// ---- the end ----

TEST_F(Bridges, EndWithTheirPorts)
{
    run_with_parameters();
    manager->set_ports({second});
    EXPECT_EQ(events, (Log{"created Serial0: Fake", "deleted"}));
    EXPECT_EQ(first->log, (Log{"start", "make parameters", "array gone", "stop"}));
    EXPECT_EQ(manager->size(), 1U);
    EXPECT_EQ(manager->row(0).port, "Bulk0");
}

TEST_F(Bridges, ThatWaitForTheirTurnDoNotStartForPortsOfBefore)
{
    second->hold();
    manager->start(1);
    ASSERT_TRUE(second->await_held());
    manager->start(0);
    manager->set_ports({});
    EXPECT_EQ(first->log, (Log{"stop", "stop"}));
    EXPECT_EQ(second->log, (Log{"start", "stop"}));
}

TEST_F(Bridges, EndParametersThatNobodyWasToldOf)
{
    ASSERT_TRUE(manager->change(0, with_parameters()).IsOK());
    manager->start(0);
    ASSERT_TRUE(await_told());
    manager->set_ports({second});
    EXPECT_EQ(first->log, (Log{"start", "make parameters", "stop", "array gone", "stop"}));
    manager->take();
    EXPECT_TRUE(events.empty());
}

TEST_F(Bridges, TellNothingOnceTheManagerHasEnded)
{
    first->hold();
    manager->start(0);
    ASSERT_TRUE(first->await_held());
    manager.reset();
    EXPECT_FALSE(told);
}

TEST_F(Bridges, HaveTheUsualSettingsWithEachDevice)
{
    Settings settings;
    settings.endpoint = "tcp:0";
    ASSERT_TRUE(manager->change(0, settings).IsOK());
    manager->set_ports({first, second});
    EXPECT_TRUE(manager->row(0).settings == Settings());
}

TEST_F(Bridges, EndWithoutEventsWhenTheManagerGoes)
{
    run_with_parameters();
    second->hold();
    manager->start(1);
    ASSERT_TRUE(second->await_held());
    manager.reset();
    EXPECT_EQ(events, Log{"created Serial0: Fake"});
    EXPECT_EQ(first->log, (Log{"start", "make parameters", "array gone", "stop"}));
    EXPECT_EQ(second->log, (Log{"start", "stop"})) << "it does not wait for what a stop can end";
}

TEST_F(Bridges, MayBeEndedByWhoIsTold)
{
    on_created = [&] { manager->end(); };
    ASSERT_TRUE(manager->change(0, with_parameters()).IsOK());
    manager->start(0);
    ASSERT_TRUE(await([&] { return manager->size() == 0; }));
    EXPECT_EQ(first->log, (Log{"start", "make parameters", "array gone", "stop"}));
    manager->set_ports({second});
    EXPECT_EQ(manager->size(), 0U);
}

TEST_F(Bridges, MayGetOtherPortsByWhoIsTold)
{
    on_created = [&] {
        on_created = nullptr;
        manager->set_ports({second});
    };
    const PvResult result = load({{"SerialBridge.Serial0.ParameterArray", "1"},
                                  {"SerialBridge.Serial0.Running", "1"},
                                  {"SerialBridge.Bulk0.Running", "1"}});
    EXPECT_EQ(result.GetCode(), PvResult::Aborted);
    EXPECT_EQ(manager->size(), 1U);
    EXPECT_EQ(manager->row(0).state, State::stopped);
    EXPECT_EQ(first->log, (Log{"start", "make parameters", "array gone", "stop"}));
    EXPECT_EQ(events, (Log{"created Serial0: Fake", "deleted"}));
}

TEST_F(Bridges, AreBeingStoppedWhenThatIsTold)
{
    run_with_parameters();
    on_deleted = [&] {
        EXPECT_EQ(manager->row(0).state, State::stopping);
        manager->stop(0);
        manager->start(0);
    };
    manager->stop(0);
    ASSERT_TRUE(await(0, State::stopped));
    EXPECT_EQ(first->log, (Log{"start", "make parameters", "end parameters", "stop", "array gone"}));
}

TEST_F(Bridges, MayGetOtherPortsByWhoIsToldOfTheEnd)
{
    on_deleted = [&] { manager->set_ports({second}); };
    const Log ended{"start", "make parameters", "stop", "array gone"};
    run_with_parameters();
    manager->stop(0);
    EXPECT_EQ(first->log, ended);
    // a change that needs another start
    first->log.clear();
    manager->set_ports({first, second});
    run_with_parameters();
    EXPECT_TRUE(manager->change(0, Settings()).IsOK());
    EXPECT_EQ(first->log, ended);
    // and a list
    first->log.clear();
    manager->set_ports({first, second});
    run_with_parameters();
    EXPECT_EQ(load({{"SerialBridge.Serial0.ParameterArray", "0"}}).GetCode(), PvResult::Aborted);
    EXPECT_EQ(first->log, ended);
    EXPECT_EQ(manager->size(), 1U);
    EXPECT_EQ(manager->row(0).state, State::stopped);
}

}  // namespace
