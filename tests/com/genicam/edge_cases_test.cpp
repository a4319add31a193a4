// What is easily got wrong about parameters, through the registered server against a camera, early bound and, where a
// script may see something else, late bound.
#include "tests/com/genicam/feature_camera.h"

namespace client {
namespace {

class LateArguments {
public:
    /// The object that a late-bound call gave.
    static IDispatch* object(const Variant& value)
    {
        EXPECT_EQ(value.type(), VT_DISPATCH);
        return value.type() == VT_DISPATCH ? value->pdispVal : nullptr;
    }
    static bool ok(const Variant& result)
    {
        Variant value;
        EXPECT_EQ(LateBound(object(result)).get(L"IsOK", value), S_OK);
        EXPECT_EQ(value.type(), VT_BOOL);
        return value->boolVal == 1;
    }
};

class FeatureEdges : public DescribedCameraTest, protected LateArguments {
protected:
    LateBound script() { return LateBound(array.get()); }
    /// What a script gets by a method with a name.
    Variant found(const wchar_t* method, const wchar_t* name)
    {
        Variant value;
        EXPECT_EQ(script().call(method, {Variant(name)}, &value), S_OK);
        return value;
    }
    static IUnknown* identity(IUnknown* object) { return query<IUnknown>(object).get(); }

    ClientSink sink;
    ClientSink other_sink;
};

// ---- the array ----

TEST_F(FeatureEdges, ANameGivesOneObjectAndAnIndexAnother)
{
    const Ref<IVexGenParameter> named = by_name(L"Width");
    ASSERT_TRUE(named);
    EXPECT_EQ(by_name(L"Width").get(), named.get());
    const Ref<IVexGenInteger> typed = integer(L"Width");
    EXPECT_EQ(identity(typed.get()), identity(named.get()));
    Ref<IVexGenParameter> indexed;
    ASSERT_EQ(array->GetByIndex(0, indexed.put()), S_OK);
    EXPECT_EQ(read_text(indexed, &IVexGenParameter::get_Name), L"Width");
    EXPECT_NE(identity(indexed.get()), identity(named.get()));
    Ref<IVexGenParameter> again;
    ASSERT_EQ(array->GetByIndex(0, again.put()), S_OK);
    EXPECT_EQ(again.get(), indexed.get());

    const Variant late = found(L"GetByName", L"Width");
    EXPECT_EQ(identity(object(late)), identity(named.get()));
    EXPECT_EQ(identity(object(found(L"GetInteger", L"Width"))), identity(named.get()));
}

TEST_F(FeatureEdges, AFloatIsNoInteger)
{
    IVexGenInteger* none = reinterpret_cast<IVexGenInteger*>(1);
    EXPECT_EQ(array->GetInteger(Text(L"Gain"), &none), S_OK);
    EXPECT_EQ(none, nullptr);
    EXPECT_EQ(found(L"GetInteger", L"Gain")->pdispVal, nullptr);

    __int64 value = 5;
    Ref<IVexResult> result;
    EXPECT_EQ(array->GetIntegerValue(Text(L"Gain"), &value, result.put()), S_OK);
    EXPECT_EQ(read(result, &IVexResult::get_IsOK), 0);
    EXPECT_EQ(read(result, &IVexResult::get_IsFailure), 1);
    Variant filled(7);
    Variant late;
    EXPECT_EQ(script().call(L"GetIntegerValue", {Variant(L"Gain"), Variant::by_reference(filled)}, &late), S_OK);
    EXPECT_FALSE(ok(late));
}

TEST_F(FeatureEdges, AParameterOfAnotherKindInTheNextCameraReplacesTheObject)
{
    const Ref<IVexGenParameter> old_width = by_name(L"Width");
    const Ref<IVexGenParameter> old_gain = by_name(L"Gain");
    const Ref<IVexGenParameter> old_format = by_name(L"PixelFormat");
    Ref<IVexGenParameter> old_first;
    ASSERT_EQ(array->GetByIndex(0, old_first.put()), S_OK);
    exchange_camera(other_description());

    const Ref<IVexGenParameter> width = by_name(L"Width");
    ASSERT_TRUE(width);
    EXPECT_NE(width.get(), old_width.get());
    EXPECT_EQ(read(query<IVexGenFloat>(width.get()), &IVexGenFloat::get_Value), 1.5);
    EXPECT_EQ(by_name(L"Width").get(), width.get());
    Ref<IVexGenParameter> first;
    ASSERT_EQ(array->GetByIndex(0, first.put()), S_OK);
    EXPECT_NE(first.get(), old_first.get());
    // of the same kind: pointed at the new camera's parameter
    EXPECT_EQ(by_name(L"Gain").get(), old_gain.get());
    EXPECT_EQ(read(query<IVexGenFloat>(old_gain.get()), &IVexGenFloat::get_Value), 7.25);
    EXPECT_FALSE(by_name(L"PixelFormat"));

    // the client's object stays what it was: an integer, of a camera that is not connected
    const Ref<IVexGenInteger> kept = query<IVexGenInteger>(old_width.get());
    ASSERT_TRUE(kept);
    EXPECT_EQ(read_text(kept, &IVexGenInteger::get_Name), L"Width");
    __int64 value = 5;
    EXPECT_EQ(kept->get_Value(&value), DISP_E_EXCEPTION);
    EXPECT_NE(take_error().description.find(L"not connected"), std::wstring::npos);

    // and the way back: what was taken from the cache is not found again
    exchange_camera(camera_description(at(0)));
    const Ref<IVexGenParameter> back = by_name(L"Width");
    EXPECT_NE(back.get(), old_width.get());
    EXPECT_NE(back.get(), width.get());
    EXPECT_EQ(by_name(L"PixelFormat").get(), old_format.get());
    EXPECT_EQ(read(query<IVexGenInteger>(back.get()), &IVexGenInteger::get_Value), 640);
    EXPECT_EQ(read(kept, &IVexGenInteger::get_Value), 640) << "its camera is back, too";
}

TEST_F(FeatureEdges, AMissingEnumerationReadsAsAnEmptyText)
{
    BSTR value = nullptr;
    Ref<IVexResult> result;
    EXPECT_EQ(array->GetEnumValueStr(Text(L"NoSuchThing"), &value, result.put()), S_OK);
    EXPECT_NE(value, nullptr);
    EXPECT_EQ(take(value), L"");
    EXPECT_EQ(read(result, &IVexResult::get_IsOK), 0);
    EXPECT_EQ(code_of(result), VexNotFound);

    Variant filled(L"before");
    Variant late;
    EXPECT_EQ(script().call(L"GetEnumValueStr", {Variant(L"NoSuchThing"), Variant::by_reference(filled)}, &late), S_OK);
    EXPECT_EQ(filled.type(), VT_BSTR);
    EXPECT_EQ(filled.text(), L"");
    EXPECT_FALSE(ok(late));
}

TEST_F(FeatureEdges, ATrueValueIsTheNumberOne)
{
    camera->set_reg(at(0x10C), 1);
    VARIANT_BOOL value = 7;
    Ref<IVexResult> result;
    EXPECT_EQ(array->GetBooleanValue(Text(L"ReverseX"), &value, result.put()), S_OK);
    EXPECT_EQ(value, 1);
    Variant filled(0);
    Variant late;
    EXPECT_EQ(script().call(L"GetBooleanValue", {Variant(L"ReverseX"), Variant::by_reference(filled)}, &late), S_OK);
    EXPECT_EQ(filled.type(), VT_BOOL);
    EXPECT_EQ(filled->boolVal, 1);
}

// ---- what all parameters share ----

TEST_F(FeatureEdges, TheLastClientSinkCountsAndAnyPointerRemovesIt)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    ASSERT_EQ(width->RegisterEventSink(&sink), S_OK);
    ASSERT_EQ(width->RegisterEventSink(&other_sink), S_OK);
    EXPECT_EQ(width->put_Value(320), S_OK);
    EXPECT_TRUE(sink.shown.empty());
    EXPECT_EQ(other_sink.shown.size(), 1U);
    EXPECT_EQ(sink.references() + other_sink.references(), 2U) << "sinks are not referenced";

    ASSERT_EQ(width->UnregisterEventSink(&sink), S_OK);
    EXPECT_EQ(width->put_Value(328), S_OK);
    EXPECT_EQ(other_sink.shown.size(), 1U);

    ASSERT_EQ(width->RegisterEventSink(&sink), S_OK);
    ClientSink never_registered;
    ASSERT_EQ(width->UnregisterEventSink(&never_registered), S_OK);
    EXPECT_EQ(width->put_Value(336), S_OK);
    EXPECT_TRUE(sink.shown.empty());
}

TEST_F(FeatureEdges, AReadableParameterSaysOne)
{
    EXPECT_EQ(read(by_name(L"Width"), &IVexGenParameter::get_IsReadable), 1);
    Variant readable;
    const Variant late = found(L"GetByName", L"Width");
    EXPECT_EQ(LateBound(object(late)).get(L"IsReadable", readable), S_OK);
    EXPECT_EQ(readable.type(), VT_BOOL);
    EXPECT_EQ(readable->boolVal, 1);
}

TEST_F(FeatureEdges, TheListOfSelectedParametersIsOneObject)
{
    const Ref<IVexGenParameter> selector = by_name(L"GainSelector");
    Ref<IVexGenParameterList> first;
    Ref<IVexGenParameterList> second;
    ASSERT_EQ(selector->get_SelectedParameters(first.put()), S_OK);
    ASSERT_EQ(selector->get_SelectedParameters(second.put()), S_OK);
    ASSERT_TRUE(first);
    EXPECT_EQ(first.get(), second.get());
    Variant late;
    EXPECT_EQ(LateBound(selector.get()).get(L"SelectedParameters", late), S_OK);
    EXPECT_EQ(identity(object(late)), identity(first.get()));
    EXPECT_EQ(read(first, &IVexGenParameterList::get_Size), 1U);
    Ref<IVexGenParameterList> selecting;
    ASSERT_EQ(selector->get_SelectingParameters(selecting.put()), S_OK);
    EXPECT_NE(selecting.get(), first.get());
    EXPECT_EQ(read(selecting, &IVexGenParameterList::get_Size), 0U);
}

TEST_F(FeatureEdges, ANotificationShowsAnotherObjectOfTheSameKindAndParameter)
{
    const Ref<IVexGenEnum> format = enumeration(L"PixelFormat");
    ASSERT_EQ(format->RegisterEventSink(&sink), S_OK);
    EXPECT_EQ(format->put_ValueStr(Text(L"Mono16")), S_OK);
    ASSERT_EQ(sink.shown.size(), 1U);
    const Ref<IVexGenEnum> shown = query<IVexGenEnum>(sink.shown[0].get());
    ASSERT_TRUE(shown);
    EXPECT_NE(identity(shown.get()), identity(format.get()));
    EXPECT_EQ(read(shown, &IVexGenEnum::get_Node), read(format, &IVexGenEnum::get_Node));
    EXPECT_EQ(read_text(shown, &IVexGenEnum::get_ValueStr), L"Mono16");
}

// ---- typed parameters ----

TEST_F(FeatureEdges, ABooleanTakesAnyTrueAndGivesOne)
{
    const Ref<IVexGenBoolean> reverse = boolean(L"ReverseX");
    for (const VARIANT_BOOL given : {VARIANT_TRUE, static_cast<VARIANT_BOOL>(1), static_cast<VARIANT_BOOL>(0x4000)}) {
        EXPECT_EQ(reverse->put_Value(VARIANT_FALSE), S_OK);
        EXPECT_EQ(camera->reg(at(0x10C)), 0U);
        EXPECT_EQ(reverse->put_Value(given), S_OK);
        EXPECT_EQ(camera->reg(at(0x10C)), 1U) << given;
        EXPECT_EQ(read(reverse, &IVexGenBoolean::get_Value), 1);
    }
    LateBound late(reverse.get());
    EXPECT_EQ(late.put(L"Value", Variant(0)), S_OK);
    EXPECT_EQ(camera->reg(at(0x10C)), 0U);
    EXPECT_EQ(late.put(L"Value", Variant(1)), S_OK);
    EXPECT_EQ(camera->reg(at(0x10C)), 1U);
    Variant value;
    EXPECT_EQ(late.get(L"Value", value), S_OK);
    EXPECT_EQ(value.type(), VT_BOOL);
    EXPECT_EQ(value->boolVal, 1);
}

TEST_F(FeatureEdges, ANullStringIsWrittenAsTheEmptyOne)
{
    const Ref<IVexGenString> name = text(L"UserName");
    EXPECT_EQ(name->put_Value(Text(L"left")), S_OK);
    EXPECT_EQ(camera->bytes_at(at(0x140), 4), "left");
    EXPECT_EQ(name->put_Value(nullptr), S_OK);
    EXPECT_EQ(camera->bytes_at(at(0x140), 1), std::string(1, '\0'));
    EXPECT_EQ(read_text(name, &IVexGenString::get_Value), L"");

    EXPECT_EQ(name->put_Value(Text(L"left")), S_OK);
    EXPECT_EQ(LateBound(name.get()).put(L"Value", Variant(static_cast<const wchar_t*>(nullptr))), S_OK);
    EXPECT_EQ(camera->bytes_at(at(0x140), 1), std::string(1, '\0'));
}

TEST_F(FeatureEdges, AnArrayFromOneToFourCountsAsFiveBytes)
{
    const Ref<IVexGenRegister> table = bytes(L"LookupTable");
    ASSERT_EQ(read(table, &IVexGenRegister::get_Length), 4);
    Ref<IVexResult> result;
    const Bytes from_one({9, 9, 9, 9}, 1);
    EXPECT_EQ(table->Set(from_one, result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexInvalidParameter);
    EXPECT_NE(read_text(result, &IVexResult::get_Description).find(L"5 bytes"), std::wstring::npos);
    EXPECT_EQ(camera->reg(at(0x160)), 0U);
    EXPECT_EQ(table->Get(from_one, result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexInvalidParameter);
    EXPECT_EQ(from_one.values(), (std::vector<unsigned char>{9, 9, 9, 9}));

    const Variant array_from_one(VT_UI1, byte_array({9, 9, 9, 9}, 1));
    Variant late;
    EXPECT_EQ(LateBound(table.get()).call(L"Set", {array_from_one}, &late), S_OK);
    EXPECT_FALSE(ok(late));
    EXPECT_EQ(camera->reg(at(0x160)), 0U);
    const Variant array_from_zero(VT_UI1, byte_array({1, 2, 3, 4}));
    EXPECT_EQ(LateBound(table.get()).call(L"Set", {array_from_zero}, &late), S_OK);
    EXPECT_TRUE(ok(late));
    EXPECT_EQ(camera->reg(at(0x160)), 0x01020304U);
}

TEST_F(FeatureEdges, ARunningCommandIsNotDone)
{
    const Ref<IVexGenCommand> trigger = command(L"Trigger");
    Ref<IVexResult> result;
    ASSERT_EQ(trigger->Execute(result.put()), S_OK);
    ASSERT_EQ(code_of(result), VexOK);
    EXPECT_EQ(camera->reg(at(0x120)), 1U);
    VARIANT_BOOL done = 7;
    EXPECT_EQ(trigger->get_IsDone(&done), S_OK);
    EXPECT_EQ(done, 0);
    camera->set_reg(at(0x120), 0);
    Variant late;
    EXPECT_EQ(LateBound(trigger.get()).get(L"IsDone", late), S_OK);
    EXPECT_EQ(late.type(), VT_BOOL);
    EXPECT_EQ(late->boolVal, 1);
}

// ---- enumerations ----

TEST_F(FeatureEdges, TheEntryObjectShowsTheLastLookUp)
{
    const Ref<IVexGenEnum> format = enumeration(L"PixelFormat");
    Ref<IVexGenEnumEntry> first;
    Ref<IVexGenEnumEntry> second;
    Ref<IVexResult> result;
    ASSERT_EQ(format->GetEntryByIndex(0, first.put(), result.put()), S_OK);
    EXPECT_EQ(read_text(first, &IVexGenEnumEntry::get_Name), L"Mono8");
    ASSERT_EQ(format->GetEntryByIndex(1, second.put(), result.put()), S_OK);
    EXPECT_EQ(second.get(), first.get());
    EXPECT_EQ(read_text(first, &IVexGenEnumEntry::get_Name), L"Mono16");

    Variant entry;
    Variant late;
    ASSERT_EQ(LateBound(format.get()).call(L"GetEntryByName", {Variant(L"Mono8"), Variant::by_reference(entry)}, &late),
              S_OK);
    EXPECT_EQ(identity(object(entry)), identity(first.get()));
    EXPECT_EQ(read_text(first, &IVexGenEnumEntry::get_Name), L"Mono8");
}

TEST_F(FeatureEdges, AnUnknownEntryIsNullAndLeavesTheEntryObjectAlone)
{
    const Ref<IVexGenEnum> format = enumeration(L"PixelFormat");
    Ref<IVexGenEnumEntry> entry;
    Ref<IVexResult> result;
    ASSERT_EQ(format->GetEntryByName(Text(L"Mono16"), entry.put(), result.put()), S_OK);
    IVexGenEnumEntry* missing = reinterpret_cast<IVexGenEnumEntry*>(1);
    EXPECT_EQ(format->GetEntryByName(Text(L"RGB8"), &missing, result.put()), S_OK);
    EXPECT_EQ(missing, nullptr);
    EXPECT_EQ(read(result, &IVexResult::get_IsFailure), 1);
    EXPECT_EQ(read_text(entry, &IVexGenEnumEntry::get_Name), L"Mono16");

    Variant filled(5);
    Variant late;
    ASSERT_EQ(LateBound(format.get()).call(L"GetEntryByName", {Variant(L"RGB8"), Variant::by_reference(filled)}, &late),
              S_OK);
    EXPECT_EQ(object(filled), nullptr);
    EXPECT_FALSE(ok(late));
}

TEST_F(FeatureEdges, ANullEntryNameIsTheEmptyOneAndNoEntry)
{
    const Ref<IVexGenEnum> format = enumeration(L"PixelFormat");
    EXPECT_EQ(format->put_ValueStr(nullptr), DISP_E_EXCEPTION);
    const ErrorFacts error = take_error();
    EXPECT_EQ(error.source, L"VexKamCOMWrapper.VexGenEnum.1");
    EXPECT_EQ(error.interface_id, __uuidof(IVexGenEnum));
    EXPECT_NE(error.description.find(L"PixelFormat"), std::wstring::npos);
    LateBound late(format.get());
    EXPECT_EQ(late.put(L"ValueStr", Variant(static_cast<const wchar_t*>(nullptr))), DISP_E_EXCEPTION);
    EXPECT_EQ(late.description(), error.description);
    EXPECT_EQ(read_text(format, &IVexGenEnum::get_ValueStr), L"Mono8");
}

TEST_F(FeatureEdges, AnAvailableEntrySaysOne)
{
    Ref<IVexGenEnumEntry> entry;
    Ref<IVexResult> result;
    ASSERT_EQ(enumeration(L"PixelFormat")->GetEntryByIndex(0, entry.put(), result.put()), S_OK);
    EXPECT_EQ(read(entry, &IVexGenEnumEntry::get_IsAvailable), 1);
    Variant late;
    EXPECT_EQ(LateBound(entry.get()).get(L"IsAvailable", late), S_OK);
    EXPECT_EQ(late->boolVal, 1);
}

// ---- lists and categories ----

TEST_F(FeatureEdges, AListEndsWithNull)
{
    const Ref<IVexGenParameterList> list = create<IVexGenParameterList>(__uuidof(VexGenParameterList));
    ASSERT_TRUE(list);
    IVexGenParameter* none = reinterpret_cast<IVexGenParameter*>(1);
    EXPECT_EQ(list->GetFirst(&none), S_OK);
    EXPECT_EQ(none, nullptr);

    ASSERT_EQ(list->Add(by_name(L"Width").get()), S_OK);
    ASSERT_EQ(list->Add(by_name(L"Gain").get()), S_OK);
    EXPECT_EQ(read(list, &IVexGenParameterList::get_Size), 2U);
    for (const unsigned int index : {2U, 3U, 0xFFFFFFFFU}) {
        none = reinterpret_cast<IVexGenParameter*>(1);
        EXPECT_EQ(list->GetItem(index, &none), S_OK);
        EXPECT_EQ(none, nullptr);
    }
    Ref<IVexGenParameter> walked;
    EXPECT_EQ(list->GetFirst(walked.put()), S_OK);
    EXPECT_EQ(read_text(walked, &IVexGenParameter::get_Name), L"Width");
    EXPECT_EQ(list->GetNext(walked.put()), S_OK);
    EXPECT_EQ(read_text(walked, &IVexGenParameter::get_Name), L"Gain");
    none = reinterpret_cast<IVexGenParameter*>(1);
    EXPECT_EQ(list->GetNext(&none), S_OK);
    EXPECT_EQ(none, nullptr);

    Variant late;
    EXPECT_EQ(LateBound(list.get()).call(L"GetItem", {Variant(2)}, &late), S_OK);
    EXPECT_EQ(object(late), nullptr);
    EXPECT_EQ(LateBound(list.get()).call(L"GetNext", {}, &late), S_OK);
    EXPECT_EQ(object(late), nullptr);
}

TEST_F(FeatureEdges, APlainParameterIsAnEmptyEntryOfAList)
{
    const Ref<IVexGenParameterList> list = create<IVexGenParameterList>(__uuidof(VexGenParameterList));
    const Ref<IVexGenParameter> plain = create<IVexGenParameter>(__uuidof(VexGenParameter));
    ASSERT_TRUE(list && plain);
    ASSERT_EQ(list->Add(by_name(L"Width").get()), S_OK);
    EXPECT_EQ(list->Add(plain.get()), S_OK);
    EXPECT_EQ(read(list, &IVexGenParameterList::get_Size), 2U);
    Ref<IVexGenParameter> item;
    EXPECT_EQ(list->GetItem(1, item.put()), S_OK);
    EXPECT_FALSE(item);
}

TEST_F(FeatureEdges, ACategoryNameGivesOneObject)
{
    Ref<IVexGenCategory> first;
    Ref<IVexGenCategory> second;
    EXPECT_EQ(array->GetCategoryByName(Text(L"ImageFormat"), first.put()), S_OK);
    EXPECT_EQ(array->GetCategoryByName(Text(L"ImageFormat"), second.put()), S_OK);
    ASSERT_TRUE(first);
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(identity(object(found(L"GetCategoryByName", L"ImageFormat"))), identity(first.get()));
    EXPECT_EQ(read_text(first, &IVexGenCategory::get_DisplayName), L"Image Format");
    Ref<IVexGenCategory> indexed;
    EXPECT_EQ(array->GetCategoryByIndex(0, indexed.put()), S_OK);
    EXPECT_NE(indexed.get(), first.get());
    EXPECT_EQ(read_text(indexed, &IVexGenCategory::get_Name), L"ImageFormat");
}

}  // namespace
}  // namespace client
