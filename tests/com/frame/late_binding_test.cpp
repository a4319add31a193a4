// Late-bound calls with everything script hosts pass: every type of parameter, by value and by reference.
#include "server/late_binding.h"
#include "tests/com/com_client.h"
#include "tests/com/frame/late_binding_fixture.h"
#include "tests/com/frame/one_member.h"
#include "tests/com/frame/test_classes.h"

using namespace vex;

namespace {

using namespace late_binding_test;

// ---- values out, into a script's variables ----

TEST_F(LateBinding, FillsAnEmptyVariableWithANumber)
{
    Variant variable;
    ASSERT_EQ(late.call(L"ReadRegister", {Variant(41), Variant::by_reference(variable)}, &returned), S_OK);
    EXPECT_EQ(variable.type(), VT_UI4);
    EXPECT_EQ(variable->ulVal, 42U);
    EXPECT_EQ(code_of(returned), VexOK);
}

TEST_F(LateBinding, ReplacesWhatAVariableHeld)
{
    for (Variant variable : {Variant(7), Variant(L"text"), Variant(1.5), Variant(device.get())}) {
        const ULONG before = client::references(static_cast<IVexDevice*>(device.get()));
        const bool held_object = variable.type() == VT_DISPATCH;
        ASSERT_EQ(late.call(L"ReadRegister", {Variant(41), Variant::by_reference(variable)}, &returned), S_OK);
        EXPECT_EQ(variable.type(), VT_UI4);
        EXPECT_EQ(variable->ulVal, 42U);
        EXPECT_EQ(client::references(static_cast<IVexDevice*>(device.get())), before - (held_object ? 1 : 0));
    }
}

TEST_F(LateBinding, FillsThroughAChainOfReferences)
{
    Variant variable;
    Variant middle = Variant::by_reference(variable);
    ASSERT_EQ(late.call(L"ReadRegister", {Variant(41), Variant::by_reference(middle)}, &returned), S_OK);
    EXPECT_EQ(variable->ulVal, 42U);
}

TEST_F(LateBinding, PassesTypedPointersUntouched)
{
    unsigned int value = 0;
    ASSERT_EQ(late.call(L"ReadRegister", {Variant(41), Variant::pointer(VT_UI4, &value)}, &returned), S_OK);
    EXPECT_EQ(value, 42U);
}

TEST_F(LateBinding, PassesATypedPointerInsideAVariable)
{
    unsigned int value = 0;
    Variant inner = Variant::pointer(VT_UI4, &value);
    ASSERT_EQ(late.call(L"ReadRegister", {Variant(41), Variant::by_reference(inner)}, &returned), S_OK);
    EXPECT_EQ(value, 42U);
}

TEST_F(LateBinding, FillsTextAndFreesWhatWasThere)
{
    Variant variable(L"old.xml");
    ASSERT_EQ(late.call(L"GetDefaultGenICamXMLFilename", {Variant::by_reference(variable)}, &returned), S_OK);
    EXPECT_EQ(variable.type(), VT_BSTR);
    EXPECT_EQ(variable.text(), L"camera.xml");
    BSTR text = nullptr;
    ASSERT_EQ(late.call(L"GetDefaultGenICamXMLFilename", {Variant::pointer(VT_BSTR, &text)}, &returned), S_OK);
    EXPECT_EQ(client::take(text), L"camera.xml");
}

TEST_F(LateBinding, FillsNumbersOfEveryOtherType)
{
    const auto array = make<CTestArray>();
    LateBound values(array.get());
    Variant variable;
    ASSERT_EQ(values.call(L"GetIntegerValue", {Variant(L"Width"), Variant::by_reference(variable)}, &returned), S_OK);
    EXPECT_EQ(variable.type(), VT_I8);
    EXPECT_EQ(variable->llVal, 0x1234567890);
    ASSERT_EQ(values.call(L"GetFloatValue", {Variant(L"Gain"), Variant::by_reference(variable)}, &returned), S_OK);
    EXPECT_EQ(variable.type(), VT_R8);
    EXPECT_EQ(variable->dblVal, 2.5);
    ASSERT_EQ(values.call(L"GetBooleanValue", {Variant(L"ReverseX"), Variant::by_reference(variable)}, &returned),
              S_OK);
    EXPECT_EQ(variable.type(), VT_BOOL);
    EXPECT_EQ(variable->boolVal, 1);
    Variant name(L"DeviceID");
    ASSERT_EQ(values.call(L"GetStringValue", {Variant::by_reference(name), Variant::by_reference(variable)}, &returned),
              S_OK);
    EXPECT_EQ(variable.text(), L"value of DeviceID");
    EXPECT_EQ(name.text(), L"DeviceID");

    const auto window = make<CTestWindow>();
    LateBound places(window.get());
    Variant x, y, width, height;
    ASSERT_EQ(places.call(L"GetPosition", {Variant::by_reference(x), Variant::by_reference(y),
                                           Variant::by_reference(width), Variant::by_reference(height)}),
              S_OK);
    EXPECT_EQ(x->lVal, -1);
    EXPECT_EQ(y->lVal, 2);
    EXPECT_EQ(width->lVal, 300);
    EXPECT_EQ(height->lVal, 400);
    EXPECT_EQ(x.type(), VT_I4);
}

TEST_F(LateBinding, FillsOutParametersAlsoWhenTheOperationFails)
{
    device->outcome = PvResult(PvResult::NotConnected);
    Variant variable;
    ASSERT_EQ(late.call(L"ReadRegister", {Variant(41), Variant::by_reference(variable)}, &returned), S_OK);
    EXPECT_EQ(variable->ulVal, 42U);
    EXPECT_EQ(code_of(returned), VexNotConnected);
}

TEST_F(LateBinding, FillsObjects)
{
    const auto stream = make<CTestStream>();
    const auto view = make<CTestView>();
    stream->to_hand_out = view.get();
    LateBound frames(stream.get());
    Variant buffer, operation;
    ASSERT_EQ(frames.call(L"RetrieveBuffer",
                          {Variant::by_reference(buffer), Variant::by_reference(operation), Variant(100)}, &returned),
              S_OK);
    EXPECT_EQ(buffer.type(), VT_DISPATCH);
    EXPECT_EQ(buffer->pdispVal, static_cast<IDispatch*>(view.get()));
    EXPECT_EQ(code_of(operation), VexMissingPackets);
    EXPECT_EQ(code_of(returned), VexOK);

    // a second time into the same variables, which then hold nothing
    stream->to_hand_out = nullptr;
    ASSERT_EQ(frames.call(L"RetrieveBuffer",
                          {Variant::by_reference(buffer), Variant::by_reference(operation), Variant(0)}, &returned),
              S_OK);
    EXPECT_EQ(buffer.type(), VT_DISPATCH);
    EXPECT_EQ(buffer->pdispVal, nullptr);
    EXPECT_EQ(operation->pdispVal, nullptr);
    EXPECT_EQ(code_of(returned), VexTimeout);
    EXPECT_EQ(client::references(static_cast<IVexBuffer*>(view.get())), 1U);
}

TEST_F(LateBinding, FillsTypedObjectPointers)
{
    const auto stream = make<CTestStream>();
    const auto view = make<CTestView>();
    stream->to_hand_out = view.get();
    LateBound frames(stream.get());
    IDispatch* buffer = nullptr;
    IDispatch* operation = nullptr;
    ASSERT_EQ(
        frames.call(L"RetrieveBuffer",
                    {Variant::pointer(VT_DISPATCH, &buffer), Variant::pointer(VT_DISPATCH, &operation), Variant(100)},
                    &returned),
        S_OK);
    EXPECT_EQ(buffer, static_cast<IDispatch*>(view.get()));
    buffer->Release();
    operation->Release();
    EXPECT_EQ(client::references(static_cast<IVexBuffer*>(view.get())), 1U);
}

TEST_F(LateBinding, ReachesInheritedMembersByTheirOwnIdentifiers)
{
    const auto stream = make<CTestStream>();
    LPOLESTR name = const_cast<LPOLESTR>(L"RetrieveBuffer");
    DISPID id = 0;
    EXPECT_EQ(stream->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id), S_OK);
    EXPECT_EQ(id, 12);
    Ref<IVexStreamBase> base = client::query<IVexStreamBase>(static_cast<IVexStream*>(stream.get()));
    EXPECT_TRUE(base);
}

// ---- values in ----

TEST_F(LateBinding, TakesValuesFromVariablesAndTypedPointers)
{
    Variant address(L"10.0.0.1");
    Variant port(short{4000});
    long channel = 2;
    ASSERT_EQ(
        late.call(L"SetStreamDestination",
                  {Variant::by_reference(address), Variant::by_reference(port), Variant::pointer(VT_I4, &channel)},
                  &returned),
        S_OK);
    EXPECT_EQ(device->destination, "10.0.0.1:4000/2");
    EXPECT_EQ(address.text(), L"10.0.0.1");
}

TEST_F(LateBinding, ConvertsValuesOfEveryNumericTypeAndText)
{
    const Variant numbers[] = {Variant(short{3}), Variant(3), Variant(3U), Variant(3LL), Variant(3.0), Variant(L"3")};
    for (const Variant& number : numbers) {
        Variant variable = number;
        for (const Variant& passed : {number, Variant::by_reference(variable)}) {
            device->destination.clear();
            ASSERT_EQ(late.call(L"SetStreamDestination", {Variant(L"h"), passed, passed}, &returned), S_OK)
                << passed.type();
            EXPECT_EQ(device->destination, "h:3/3");
        }
    }
}

TEST_F(LateBinding, AnswersArgumentsThatCannotBeConvertedAsIDispatchDefines)
{
    Variant variable;
    EXPECT_EQ(late.call(L"ReadRegister", {Variant(L"not a number"), Variant::by_reference(variable)}, &returned),
              DISP_E_TYPEMISMATCH);
    EXPECT_EQ(variable.type(), VT_EMPTY);
    EXPECT_EQ(late.call(L"SetStreamDestination", {Variant(L"h"), Variant(70000), Variant(0)}, &returned),
              DISP_E_OVERFLOW);
    EXPECT_EQ(late.call(L"SetStreamDestination", {Variant(L"h"), Variant(1)}, &returned), DISP_E_BADPARAMCOUNT);
    EXPECT_EQ(late.call(L"SetStreamDestination", {Variant(L"h"), Variant(1), Variant(1), Variant(1)}, &returned),
              DISP_E_BADPARAMCOUNT);
}

TEST_F(LateBinding, TakesNamedArguments)
{
    LPOLESTR names[] = {const_cast<LPOLESTR>(L"ReadRegister"), const_cast<LPOLESTR>(L"aValue"),
                        const_cast<LPOLESTR>(L"aAddress")};
    DISPID ids[3];
    ASSERT_EQ(device->GetIDsOfNames(IID_NULL, names, 3, LOCALE_USER_DEFAULT, ids), S_OK);
    Variant variable;
    VARIANT arguments[] = {Variant::by_reference(variable).get(), Variant(9).get()};
    DISPPARAMS parameters{arguments, &ids[1], 2, 2};
    ASSERT_EQ(device->Invoke(ids[0], IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &parameters, returned.put(),
                             nullptr, nullptr),
              S_OK);
    EXPECT_EQ(variable->ulVal, 10U);
}

TEST_F(LateBinding, TakesOurObjectsAndRefusesOthers)
{
    const auto stream = make<CTestStream>();
    const auto view = make<CTestView>();
    FakeSdk fake;
    view->AttachSdkObject(&fake);
    LateBound frames(stream.get());
    ASSERT_EQ(frames.call(L"QueueBuffer", {Variant(view.get())}, &returned), S_OK);
    EXPECT_EQ(stream->queued, static_cast<IVexBuffer*>(view.get()));
    Variant variable(view.get());
    stream->queued = nullptr;
    ASSERT_EQ(frames.call(L"QueueBuffer", {Variant::by_reference(variable)}, &returned), S_OK);
    EXPECT_EQ(stream->queued, static_cast<IVexBuffer*>(view.get()));
    EXPECT_EQ(variable->pdispVal, static_cast<IDispatch*>(view.get()));

    stream->queued = nullptr;
    EXPECT_TRUE(FAILED(frames.call(L"QueueBuffer", {Variant(device.get())}, &returned)));
    EXPECT_EQ(stream->queued, nullptr);
    EXPECT_TRUE(FAILED(frames.call(L"QueueBuffer", {Variant(static_cast<IDispatch*>(nullptr))}, &returned)));
    EXPECT_EQ(frames.call(L"QueueBuffer", {Variant(12)}, &returned), DISP_E_TYPEMISMATCH);
}

// ---- objects set by reference ----

TEST_F(LateBinding, SetsAnObjectThatThePropertyTakesByValue)
{
    const auto pipeline = make<CTestPipeline>();
    const auto stream = make<CTestStream>();
    LateBound late_pipeline(pipeline.get());
    ASSERT_EQ(late_pipeline.put_reference(L"StreamBase", Variant(stream.get())), S_OK);
    EXPECT_EQ(pipeline->stream, static_cast<IVexStream*>(stream.get()));
    ASSERT_EQ(late_pipeline.put_reference(L"StreamBase", Variant(static_cast<IDispatch*>(nullptr))), S_OK);
    EXPECT_EQ(pipeline->stream, nullptr);
    Variant variable(stream.get());
    ASSERT_EQ(late_pipeline.put_reference(L"StreamBase", Variant::by_reference(variable)), S_OK);
    EXPECT_EQ(pipeline->stream, static_cast<IVexStream*>(stream.get()));
    EXPECT_EQ(late_pipeline.put(L"StreamBase", Variant(static_cast<IDispatch*>(nullptr))), S_OK);
    EXPECT_EQ(pipeline->stream, nullptr);
    EXPECT_EQ(client::references(static_cast<IVexStream*>(stream.get())), 2U);  // the test's and the variable's
}

TEST_F(LateBinding, DoesNotSetNumbersByReference)
{
    const auto pipeline = make<CTestPipeline>();
    LateBound late_pipeline(pipeline.get());
    EXPECT_EQ(late_pipeline.put_reference(L"BufferSize", Variant(device.get())), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(late_pipeline.put_reference(L"BufferSize", Variant(3)), DISP_E_MEMBERNOTFOUND);
}

TEST_F(LateBinding, PrefersAMemberThatTakesReferences)
{
    OneMember by_reference(
        {{VT_DISPATCH, PARAMFLAG_FIN}}, [](VARIANT*, VARIANT*) { return S_OK; }, INVOKE_PROPERTYPUTREF);
    OneMember by_value(
        {{VT_DISPATCH, PARAMFLAG_FIN}}, [](VARIANT*, VARIANT*) { return S_OK; }, INVOKE_PROPERTYPUT);
    VARIANT nothing = Variant(static_cast<IDispatch*>(nullptr)).get();
    DISPID put = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{&nothing, &put, 1, 1};
    const auto set = [&](OneMember& member, WORD flags) {
        const server::TypeInfo info(&member);
        EXPECT_EQ(server::invoke(info, nullptr, 1, flags, &parameters, nullptr, nullptr, nullptr), S_OK);
        return member.flags();
    };
    EXPECT_EQ(set(by_reference, DISPATCH_PROPERTYPUTREF), DISPATCH_PROPERTYPUTREF);
    EXPECT_EQ(set(by_value, DISPATCH_PROPERTYPUTREF), DISPATCH_PROPERTYPUT);
    // what a host passes that leaves the choice to the object
    EXPECT_EQ(set(by_value, DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF), DISPATCH_PROPERTYPUT);
}

// ---- failures ----

TEST_F(LateBinding, ReportsASetterFailureAsAnException)
{
    const auto view = make<CTestView>();
    FakeSdk fake;
    fake.outcome = PvResult(PvResult::InvalidParameter, "the timestamp is in the future");
    view->AttachSdkObject(&fake);
    LateBound late_view(view.get());
    EXPECT_EQ(late_view.put(L"Timestamp", Variant(5)), DISP_E_EXCEPTION);
    EXPECT_EQ(late_view.description(), L"the timestamp is in the future");
    EXPECT_EQ(late_view.source(), L"VexKamCOMWrapper.VexBuffer.1");
    EXPECT_EQ(late_view.scode(), DISP_E_EXCEPTION);
    fake.outcome = PvResult();
    EXPECT_EQ(late_view.put(L"Timestamp", Variant(5)), S_OK);
}

}  // namespace
