// VexSerialBridgeManagerWnd through COM: its ports, the parameters behind them, saving, loading, recovering.
#include "tests/com/gui/bridge_manager_client.h"

namespace {

using namespace client;

class BridgeManager : public BridgeManagerTest {};

// ---- ports ----

TEST_F(BridgeManager, HasNoPortsBeforeADevice)
{
    EXPECT_EQ(text_of(window, &IVexSerialBridgeManagerWnd::get_Title), L"Serial Bridges");
    EXPECT_EQ(port_count(), 0U);
    EXPECT_EQ(port_name(0), L"");
    EXPECT_EQ(array_name(0), L"");
    EXPECT_FALSE(array(0));
    EXPECT_EQ(code_of(window, &IVexSerialBridgeManagerWnd::Recover), VexStateError);
    EXPECT_EQ(window->get_PortCount(nullptr), E_POINTER);
    EXPECT_EQ(window->GetPortName(0, nullptr), E_POINTER);
    EXPECT_EQ(window->GetGenParameterArrayName(0, nullptr), E_POINTER);
    EXPECT_EQ(window->GetGenParameterArray(0, nullptr), E_POINTER);
}

TEST_F(BridgeManager, HasTheSerialPortsOfTheDevice)
{
    ASSERT_EQ(set_device(), VexOK);
    EXPECT_EQ(port_count(), 3U);
    EXPECT_EQ(port_name(0), L"Serial0");
    EXPECT_EQ(port_name(1), L"Serial1");
    EXPECT_EQ(port_name(2), L"Bulk0");
    EXPECT_EQ(port_name(3), L"");
    EXPECT_EQ(port_name(0xFFFFFFFF), L"");
    EXPECT_EQ(array_name(0), L"");
    EXPECT_EQ(array_name(0xFFFFFFFF), L"");
    EXPECT_FALSE(array(0));
    EXPECT_FALSE(array(0xFFFFFFFF));
    EXPECT_EQ(code_of(device, &IVexDevice::Disconnect), VexOK);
    EXPECT_EQ(set_device(), VexNotConnected);
    EXPECT_EQ(port_count(), 0U);
}

// ---- parameters ----

TEST_F(BridgeManager, ShowsEachArrayInTheSameObject)
{
    ASSERT_EQ(set_device(), VexOK);
    ASSERT_EQ(load(both_arrays), VexOK);
    EXPECT_EQ(lines(errors), std::vector<std::wstring>());
    EXPECT_EQ(array_name(0), L"Serial0: SoftLink");
    EXPECT_EQ(array_name(1), L"Serial1: SoftLink");
    const auto first = array(0);
    ASSERT_TRUE(first);
    EXPECT_EQ(set_width(first, 320), VexOK);
    EXPECT_EQ(width(first.get()), 320);
    const auto second = array(1);
    ASSERT_TRUE(second);
    EXPECT_EQ(second.get(), first.get());
    EXPECT_EQ(set_width(first, 800), VexOK) << "the second one, now";
    EXPECT_EQ(width(array(0).get()), 320);
    EXPECT_EQ(width(array(1).get()), 800);
    EXPECT_FALSE(array(2));
    EXPECT_EQ(width(first.get()), 800) << "null leaves the object as it was";
}

TEST_F(BridgeManager, TellsOfArraysInAnObjectOfItsOwn)
{
    std::vector<std::wstring> told;
    std::vector<Ref<IVexGenParameterArray>> shown;
    ASSERT_NE(listen([&](DISPID event, IVexGenParameterArray* array, const std::wstring& name) {
                  told.push_back(event == on_created   ? L"created " + name
                                 : event == on_deleted ? std::wstring(L"deleted")
                                                       : std::wstring(L"?"));
                  shown.emplace_back(array);
                  EXPECT_GE(width(array), 0) << "it works, also when it is about to go";
              }),
              0U);
    ASSERT_EQ(set_device(), VexOK);
    ASSERT_EQ(load(both_arrays), VexOK);
    EXPECT_EQ(told, (std::vector<std::wstring>{L"created Serial0: SoftLink", L"created Serial1: SoftLink"}));
    EXPECT_NE(array(0).get(), shown.front().get());
    EXPECT_EQ(load({{L"SerialBridge.Serial0.Running", L"0"}}), VexOK);
    EXPECT_FALSE(array(0));
    EXPECT_EQ(array_name(0), L"");
    EXPECT_EQ(code_of([&](IVexResult** out) { return window->SetDevice(device.get(), out); }), VexOK);
    ASSERT_EQ(told.size(), 4U);
    EXPECT_EQ(told[2], L"deleted");
    EXPECT_EQ(told[3], L"deleted");
    for (const auto& each : shown) {
        EXPECT_EQ(each.get(), shown.front().get());
    }
    unsigned int count = 0;
    EXPECT_EQ(shown.front()->get_Count(&count), E_POINTER) << "what it showed has gone";
}

TEST_F(BridgeManager, MayBeReleasedByASinkWhileItLoads)
{
    int told = 0;
    ASSERT_NE(listen([&](DISPID, IVexGenParameterArray*, const std::wstring&) {
                  ++told;
                  window.reset();
              }),
              0U);
    ASSERT_EQ(set_device(), VexOK);
    IVexSerialBridgeManagerWnd* const object = window.get();
    const auto wanted = properties(both_arrays);
    EXPECT_EQ(code_of([&](IVexResult** out) { return object->Load(wanted.get(), errors.put(), out); }), VexAborted);
    EXPECT_EQ(told, 1);
    unsigned int size = 0;
    EXPECT_EQ(errors->get_Size(&size), E_POINTER) << "the list was the window's";
    // and its ports are free
    window = create<IVexSerialBridgeManagerWnd>(prog_id);
    ASSERT_EQ(set_device(), VexOK);
    EXPECT_EQ(load(first_array), VexOK);
}

// ---- saving, loading, recovering ----

TEST_F(BridgeManager, SavesNothingToNothing)
{
    ASSERT_EQ(set_device(), VexOK);
    Ref<IVexResult> result;
    EXPECT_EQ(window->Save(nullptr, result.put()), E_POINTER);
    EXPECT_FALSE(result);
    LateBound late(window.get());
    Variant returned;
    EXPECT_EQ(late.call(L"Save", {Variant(static_cast<IDispatch*>(nullptr))}, &returned), DISP_E_EXCEPTION);
    EXPECT_EQ(late.scode(), E_POINTER);
}

TEST_F(BridgeManager, SavesAndLoads)
{
    ASSERT_EQ(set_device(), VexOK);
    ASSERT_EQ(load({{L"SerialBridge.Serial0.ParameterArray", L"1"},
                    {L"SerialBridge.Serial0.Endpoint", L"tcp:0"},
                    {L"SerialBridge.Serial0.Running", L"1"},
                    {L"SerialBridge.Bulk0.BaudRate", L"57600"}}),
              VexOK);
    const auto saved = properties({{L"Somebody", L"else's"}});
    EXPECT_EQ(code_of([&](IVexResult** out) { return window->Save(saved.get(), out); }), VexOK);
    EXPECT_EQ(value_in(saved, L"Somebody"), L"else's");
    EXPECT_EQ(value_in(saved, L"SerialBridge.Serial0.Running"), L"1");
    EXPECT_EQ(value_in(saved, L"SerialBridge.Serial0.Endpoint"), L"tcp:0");
    EXPECT_EQ(value_in(saved, L"SerialBridge.Serial1.Running"), L"0");
    EXPECT_EQ(value_in(saved, L"SerialBridge.Bulk0.BaudRate"), L"57600");
    window = create<IVexSerialBridgeManagerWnd>(prog_id);
    ASSERT_EQ(set_device(), VexOK);
    EXPECT_EQ(load_of(window, saved), VexOK);
    EXPECT_GE(width(array(0).get()), 0);
    EXPECT_EQ(array_name(0), L"Serial0: SoftLink");
    EXPECT_EQ(array_name(1), L"");
}

TEST_F(BridgeManager, ListsTheErrorsOfTheLatestLoad)
{
    EXPECT_EQ(load({{L"SerialBridge.Serial0.Running", L"1"}}), VexStateError);
    const auto first = errors;
    EXPECT_EQ(lines(first), std::vector<std::wstring>{L"There is no device with serial ports"});
    ASSERT_EQ(set_device(), VexOK);
    EXPECT_EQ(load({{L"SerialBridge.Bulk7.Running", L"1"}, {L"SerialBridge.Serial1.BaudRate", L"fast"}}), VexNotFound);
    EXPECT_EQ(errors.get(), first.get());
    EXPECT_EQ(lines(first), (std::vector<std::wstring>{L"Bulk7: The device has no such serial port",
                                                       L"Serial1: BaudRate cannot be \"fast\""}));
    EXPECT_EQ(load({{L"Width", L"640"}}), VexOK);
    EXPECT_EQ(lines(first), std::vector<std::wstring>());
    Ref<IVexResult> result;
    EXPECT_EQ(window->Load(nullptr, errors.put(), result.put()), E_POINTER);
    EXPECT_EQ(window->Load(properties({}).get(), nullptr, result.put()), E_POINTER);
}

TEST_F(BridgeManager, Recovers)
{
    ASSERT_EQ(set_device(), VexOK);
    EXPECT_EQ(code_of(window, &IVexSerialBridgeManagerWnd::Recover), VexOK);
    ASSERT_EQ(load(first_array), VexOK);
    EXPECT_EQ(set_width(array(0), 480), VexOK);
    EXPECT_EQ(code_of(device, &IVexDevice::Disconnect), VexOK);
    EXPECT_EQ(code_of(window, &IVexSerialBridgeManagerWnd::Recover), VexNotConnected);
    EXPECT_EQ(connect(), VexOK);
    EXPECT_EQ(code_of(window, &IVexSerialBridgeManagerWnd::Recover), VexOK);
    EXPECT_EQ(width(array(0).get()), 480);
}

TEST_F(BridgeManager, SharesADeviceWithAnother)
{
    const auto other = create<IVexSerialBridgeManagerWnd>(prog_id);
    ASSERT_EQ(set_device(), VexOK);
    ASSERT_EQ(set_device_of(other), VexOK);
    ASSERT_EQ(load(first_array), VexOK);
    EXPECT_EQ(load_of(other, properties(both_arrays)), VexStateError);
    ASSERT_EQ(lines(errors).size(), 1U);
    EXPECT_NE(lines(errors)[0].find(L"is open already"), std::wstring::npos) << "Serial1 was free";
    window.reset();
    EXPECT_EQ(load_of(other, properties(first_array)), VexOK);
}

// ---- scripts ----

TEST_F(BridgeManager, ServesLateBoundClients)
{
    LateBound late(window.get());
    Variant value;
    EXPECT_EQ(late.get(L"PortCount", value), S_OK);
    EXPECT_EQ(value.text(), L"0");
    EXPECT_EQ(late.call(L"SetDevice", {Variant(static_cast<IDispatch*>(device.get()))}, &value), S_OK);
    EXPECT_EQ(late.get(L"PortCount", value), S_OK);
    EXPECT_EQ(value.text(), L"3");
    EXPECT_EQ(late.call(L"GetPortName", {Variant(2)}, &value), S_OK);
    EXPECT_EQ(value.text(), L"Bulk0");
    EXPECT_EQ(late.call(L"GetPortName", {Variant(3)}, &value), S_OK);
    EXPECT_EQ(value.text(), L"");

    const auto wanted = properties(both_arrays);
    Variant listed;
    EXPECT_EQ(
        late.call(L"Load", {Variant(static_cast<IDispatch*>(wanted.get())), Variant::by_reference(listed)}, &value),
        S_OK);
    ASSERT_EQ(listed.type(), VT_DISPATCH);
    LateBound list(listed->pdispVal);
    EXPECT_EQ(list.get(L"Size", value), S_OK);
    EXPECT_EQ(value.text(), L"0");

    EXPECT_EQ(late.call(L"GetGenParameterArrayName", {Variant(1)}, &value), S_OK);
    EXPECT_EQ(value.text(), L"Serial1: SoftLink");
    Variant first;
    EXPECT_EQ(late.call(L"GetGenParameterArray", {Variant(0)}, &first), S_OK);
    ASSERT_EQ(first.type(), VT_DISPATCH);
    Variant second;
    EXPECT_EQ(late.call(L"GetGenParameterArray", {Variant(1)}, &second), S_OK);
    ASSERT_EQ(second.type(), VT_DISPATCH);
    EXPECT_EQ(first->pdispVal, second->pdispVal);

    const auto saved = properties({});
    EXPECT_EQ(late.call(L"Save", {Variant(static_cast<IDispatch*>(saved.get()))}, &value), S_OK);
    EXPECT_EQ(value_in(saved, L"SerialBridge.Serial1.Running"), L"1");
    EXPECT_EQ(late.call(L"Recover", {}, &value), S_OK);
    EXPECT_EQ(late.call(L"GetGenParameterArray", {Variant(7)}, &first), S_OK);
    EXPECT_EQ(first->pdispVal, nullptr);
}

}  // namespace
