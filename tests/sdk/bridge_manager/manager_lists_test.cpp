// Bridges that are saved, loaded and recovered together.
#include <gtest/gtest.h>

#include "sdk/bridge_manager/manager.h"
#include "tests/sdk/bridge_manager/bridges.h"

namespace {

using namespace bridge_manager_test;

TEST_F(Bridges, AreSavedAndComeBackAsTheyRan)
{
    Settings settings = with_parameters();
    settings.endpoint = "tcp:0";
    ASSERT_TRUE(manager->change(0, settings).IsOK());
    manager->start(0);
    ASSERT_TRUE(await(0, State::running));
    PvPropertyList list;
    manager->save(list);
    manager->set_ports({first, second});
    events.clear();
    manager->start(1);  // which the list wants stopped
    EXPECT_TRUE(manager->load(list, errors).IsOK());
    EXPECT_TRUE(errors.empty());
    EXPECT_EQ(manager->row(0).state, State::running);
    EXPECT_TRUE(manager->row(0).settings == settings);
    EXPECT_NE(manager->array(0), nullptr);
    EXPECT_EQ(manager->row(1).state, State::stopped);
    EXPECT_EQ(events, Log{"created Serial0: Fake"});
    const std::size_t done = first->log.size();
    EXPECT_TRUE(manager->load(list, errors).IsOK());
    EXPECT_EQ(first->log.size(), done) << "what runs as it should is left alone";
}

TEST_F(Bridges, TakeForeignAndPartialLists)
{
    EXPECT_TRUE(load({}).IsOK());
    EXPECT_TRUE(load({{"Width", "640"}}).IsOK());
    EXPECT_TRUE(first->log.empty());
    EXPECT_TRUE(load({{"SerialBridge.Serial0.Endpoint", "tcp:0"}}).IsOK());
    EXPECT_EQ(manager->row(0).state, State::stopped);
    EXPECT_EQ(manager->row(0).settings.endpoint.str(), "tcp:0");
    EXPECT_TRUE(load({{"SerialBridge.Serial0.Running", "1"}}).IsOK());
    EXPECT_EQ(manager->row(0).state, State::running);
    EXPECT_TRUE(load({{"SerialBridge.Serial0.BaudRate", "57600"}}).IsOK());
    EXPECT_EQ(manager->row(0).state, State::running) << "it ran before";
    EXPECT_TRUE(load({{"SerialBridge.Serial0.Endpoint", "tcp:5000"}}).IsOK());
    EXPECT_EQ(manager->row(0).settings.line->BaudRate, 57'600U);
    EXPECT_EQ(first->log, (Log{"start", "configure", "stop", "start"}));
    EXPECT_TRUE(errors.empty());
}

TEST_F(Bridges, AreSavedAsRunningWhileTheyStart)
{
    first->hold();
    manager->start(0);
    PvPropertyList list;
    manager->save(list);
    EXPECT_EQ(list.GetItem(0)->GetName().str(), "SerialBridge.Serial0.Running");
    EXPECT_EQ(list.GetItem(0)->GetValue().str(), "1");
    first->go_on();
    ASSERT_TRUE(await(0, State::running));
}

TEST_F(Bridges, EndAndMakeParametersAsAListSays)
{
    first->parameters_result = PvResult(PvResult::NotFound, "Nobody answers");
    EXPECT_EQ(load({{"SerialBridge.Serial0.ParameterArray", "1"}, {"SerialBridge.Serial0.Running", "1"}}).GetCode(),
              PvResult::NotFound);
    first->parameters_result = PvResult::OK;
    first->log.clear();
    EXPECT_TRUE(load({{"SerialBridge.Serial0.ParameterArray", "1"}}).IsOK());
    EXPECT_NE(manager->array(0), nullptr);
    EXPECT_EQ(first->log, (Log{"stop", "start", "make parameters"}));
    first->log.clear();
    EXPECT_TRUE(load({{"SerialBridge.Serial0.Running", "0"}}).IsOK());
    EXPECT_EQ(first->log, (Log{"end parameters", "stop", "array gone"}));
    EXPECT_EQ(events, (Log{"created Serial0: Fake", "deleted"}));
}

TEST_F(Bridges, AreNotLoadedWhileWhoIsToldStartsThem)
{
    on_created = [&] { manager->start(1); };
    EXPECT_EQ(load({{"SerialBridge.Serial0.ParameterArray", "1"},
                    {"SerialBridge.Serial0.Running", "1"},
                    {"SerialBridge.Bulk0.Endpoint", "tcp:0"}})
                  .GetCode(),
              PvResult::StateError);
    EXPECT_EQ(errors, Log{"Bulk0: The bridge of Bulk0 is just being started or stopped"});
    ASSERT_TRUE(await(1, State::running));
    EXPECT_TRUE(manager->row(1).settings == Settings());
}

TEST_F(Bridges, AreLoadedFromTheListAsItWas)
{
    PvPropertyList list;
    list.Add(PvProperty("SerialBridge.Serial0.ParameterArray", "1"));
    list.Add(PvProperty("SerialBridge.Serial0.Running", "1"));
    list.Add(PvProperty("SerialBridge.Bulk0.Running", "1"));
    on_created = [&] { list.Clear(); };
    EXPECT_TRUE(manager->load(list, errors).IsOK());
    EXPECT_EQ(list.GetSize(), 0U);
    EXPECT_EQ(manager->row(1).state, State::running);
}

TEST_F(Bridges, ListWhatCouldNotBeLoadedAndLoadTheRest)
{
    second->start_result = PvResult(PvResult::StateError, "The port is open already");
    const PvResult result = load({{"SerialBridge.Bulk5.Running", "1"},
                                  {"SerialBridge.Serial0.BaudRate", "fast"},
                                  {"SerialBridge.Serial0.Running", "1"},
                                  {"SerialBridge.Bulk0.Endpoint", "tcp:0"},
                                  {"SerialBridge.Bulk0.Running", "1"}});
    EXPECT_EQ(result.GetCode(), PvResult::NotFound);
    EXPECT_EQ(result.description(), "Bulk5: The device has no such serial port");
    EXPECT_EQ(errors, (Log{"Bulk5: The device has no such serial port", "Serial0: BaudRate cannot be \"fast\"",
                           "Bulk0: The port is open already"}));
    EXPECT_TRUE(first->log.empty()) << "a row with a fault stays as it is";
    EXPECT_EQ(manager->row(1).settings.endpoint.str(), "tcp:0");
    EXPECT_EQ(manager->row(1).failure.description(), "The port is open already");
}

TEST_F(Bridges, KeepTheLineThatABridgeCannotLoad)
{
    EXPECT_TRUE(load({{"SerialBridge.Serial0.Running", "1"}}).IsOK());
    first->configure_result = PvResult(PvResult::NotSupported, "Not this rate");
    EXPECT_EQ(load({{"SerialBridge.Serial0.HardCodedBaudRate", "300"}}).GetCode(), PvResult::NotSupported);
    EXPECT_EQ(errors, Log{"Serial0: Not this rate"});
    EXPECT_EQ(manager->row(0).state, State::running);
    EXPECT_EQ(manager->row(0).settings.hard_coded_baud_rate, 0U);
}

TEST_F(Bridges, CannotBeLoadedOrRecoveredWithoutPorts)
{
    manager->set_ports({});
    EXPECT_EQ(load({{"SerialBridge.Serial0.Running", "1"}}).GetCode(), PvResult::StateError);
    EXPECT_EQ(errors, Log{"There is no device with serial ports"});
    EXPECT_EQ(manager->recover().GetCode(), PvResult::StateError);
    PvPropertyList list;
    manager->save(list);
    EXPECT_EQ(list.GetSize(), 0U);
}

TEST_F(Bridges, RecoverWithTheirParameters)
{
    EXPECT_TRUE(manager->recover().IsOK()) << "none runs";
    run_with_parameters();
    PvGenParameterArray* const array = manager->array(0);
    EXPECT_TRUE(manager->recover().IsOK());
    EXPECT_EQ(manager->array(0), array);
    EXPECT_EQ(first->log, (Log{"start", "make parameters", "recover", "recover parameters"}));
    EXPECT_TRUE(second->log.empty());
    first->recover_result = PvResult(PvResult::NotConnected, "The device is not connected");
    const PvResult result = manager->recover();
    EXPECT_EQ(result.GetCode(), PvResult::NotConnected);
    EXPECT_EQ(result.description(), "Serial0: The device is not connected");
    EXPECT_EQ(manager->row(0).state, State::running);
}

TEST_F(Bridges, AreAllRecoveredThoughOneFails)
{
    EXPECT_TRUE(load({{"SerialBridge.Serial0.Running", "1"}, {"SerialBridge.Bulk0.Running", "1"}}).IsOK());
    first->recover_result = PvResult(PvResult::NotConnected, "The device is not connected");
    second->recover_result = PvResult(PvResult::StateError, "The port is open already");
    const PvResult result = manager->recover();
    EXPECT_EQ(result.GetCode(), PvResult::NotConnected);
    EXPECT_EQ(result.description(), "Serial0: The device is not connected");
    EXPECT_EQ(second->log, (Log{"start", "recover"}));
    EXPECT_EQ(manager->row(1).failure.description(), "The port is open already");
}

TEST_F(Bridges, RecoverParametersThatCouldNotBeMade)
{
    first->parameters_result = PvResult::NotFound;
    ASSERT_TRUE(manager->change(0, with_parameters()).IsOK());
    manager->start(0);
    ASSERT_TRUE(await(0, State::running));
    first->parameters_result = PvResult::OK;
    manager->recover_later();
    EXPECT_EQ(manager->row(0).state, State::starting);
    EXPECT_EQ(manager->row(1).state, State::stopped) << "it did not run";
    ASSERT_TRUE(await(0, State::running));
    EXPECT_NE(manager->array(0), nullptr);
    EXPECT_EQ(events, Log{"created Serial0: Fake"});
}

}  // namespace
