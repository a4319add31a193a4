// Parameters as scripts reach them: by name through IDispatch, and as objects of the registered server.
#include "tests/com/genicam/camera_parameters.h"

#include "genicam/VexGenParameter.h"

using namespace vex;

namespace client {
namespace {

class LateBoundParameters : public ParameterTest {
protected:
    /// The object that a late-bound look-up returned.
    static LateBound object_of(const Variant& value)
    {
        EXPECT_EQ(value.type(), VT_DISPATCH);
        return LateBound(value.type() == VT_DISPATCH ? value->pdispVal : nullptr);
    }

    LateBound script() { return LateBound(array.get()); }
};

TEST_F(LateBoundParameters, FillAScriptsVariable)
{
    Variant value;
    Variant result;
    ASSERT_EQ(script().call(L"GetIntegerValue", {Variant(L"Width"), Variant::by_reference(value)}, &result), S_OK);
    EXPECT_EQ(value.text(), L"640");
    Variant ok;
    EXPECT_EQ(object_of(result).get(L"IsOK", ok), S_OK);
    EXPECT_EQ(ok.type(), VT_BOOL);
    EXPECT_EQ(ok->boolVal, 1);

    ASSERT_EQ(script().call(L"GetEnumValueStr", {Variant(L"PixelFormat"), Variant::by_reference(value)}, &result),
              S_OK);
    EXPECT_EQ(value.text(), L"Mono8");
}

TEST_F(LateBoundParameters, TakeAScriptsNumbers)
{
    Variant result;
    ASSERT_EQ(script().call(L"SetIntegerValue", {Variant(L"Width"), Variant(320)}, &result), S_OK);
    EXPECT_EQ(read(integer(L"Width"), &IVexGenInteger::get_Value), 320);
    ASSERT_EQ(script().call(L"SetFloatValue", {Variant(L"Gain"), Variant(2)}, &result), S_OK);
    EXPECT_EQ(read(floating(L"Gain"), &IVexGenFloat::get_Value), 2);
}

TEST_F(LateBoundParameters, OfferTheMembersOfTheirKindAndTheCommonOnes)
{
    Variant found;
    ASSERT_EQ(script().call(L"GetByName", {Variant(L"Width")}, &found), S_OK);
    LateBound width = object_of(found);
    Variant value;
    EXPECT_EQ(width.get(L"Name", value), S_OK);
    EXPECT_EQ(value.text(), L"Width");
    EXPECT_EQ(width.get(L"Max", value), S_OK);
    EXPECT_EQ(value.text(), L"1024");
    EXPECT_EQ(width.put(L"Value", Variant(328)), S_OK);
    EXPECT_EQ(width.get(L"Value", value), S_OK);
    EXPECT_EQ(value.text(), L"328");
}

TEST_F(LateBoundParameters, RaiseTheSdksTextAsAnException)
{
    Variant found;
    ASSERT_EQ(script().call(L"GetInteger", {Variant(L"Width")}, &found), S_OK);
    LateBound width = object_of(found);
    EXPECT_EQ(width.put(L"Value", Variant(9999)), DISP_E_EXCEPTION);
    EXPECT_EQ(width.source(), L"VexKamCOMWrapper.VexGenInteger.1");
    EXPECT_EQ(width.description(), read_text(integer(L"Width"), &IVexGenInteger::get_LastErrorMsg));
    EXPECT_NE(width.description().find(L"Width"), std::wstring::npos);
}

TEST_F(LateBoundParameters, GiveNothingForAMissingName)
{
    Variant found;
    ASSERT_EQ(script().call(L"GetByName", {Variant(L"NoSuchThing")}, &found), S_OK);
    EXPECT_EQ(found.type(), VT_DISPATCH);
    EXPECT_EQ(found->pdispVal, nullptr);
}

TEST_F(LateBoundParameters, ReadARegisterIntoTheCallersArray)
{
    camera.port.at(0x160) = 1;
    camera.port.at(0x163) = 4;
    Variant found;
    ASSERT_EQ(script().call(L"GetRegister", {Variant(L"LookupTable")}, &found), S_OK);
    Variant bytes(VT_UI1, byte_array({0, 0, 0, 0}));
    Variant result;
    ASSERT_EQ(object_of(found).call(L"Get", {Variant::by_reference(bytes)}, &result), S_OK);
    EXPECT_EQ(bytes_of(bytes->parray), (std::vector<unsigned char>{1, 0, 0, 4}));
}

using RegisteredParameterClasses = ComTest;

TEST_F(RegisteredParameterClasses, ListTakesAPlainParameterAsAnEmptyEntry)
{
    const Ref<IVexGenParameterList> list = create<IVexGenParameterList>(__uuidof(VexGenParameterList));
    const Ref<IVexGenParameter> plain = create<IVexGenParameter>(__uuidof(VexGenParameter));
    ASSERT_TRUE(list && plain);
    EXPECT_EQ(list->Add(plain.get()), S_OK);
    EXPECT_EQ(read(list, &IVexGenParameterList::get_Size), 1u);
    Ref<IVexGenParameter> item;
    EXPECT_EQ(list->GetItem(0, item.put()), S_OK);
    EXPECT_FALSE(item);
    EXPECT_EQ(list->GetFirst(item.put()), S_OK);
    EXPECT_FALSE(item);
    EXPECT_EQ(list->Clear(), S_OK);
    EXPECT_EQ(read(list, &IVexGenParameterList::get_Size), 0u);
}

TEST_F(RegisteredParameterClasses, TakeAnotherModulesParameterAsAnEmptyEntry)
{
    // this program's own copy of the class is a foreign object to the registered server
    Ref<CVexGenParameter> foreign;
    ASSERT_EQ(server::create_object(foreign), S_OK);
    const Ref<IVexGenParameterList> list = create<IVexGenParameterList>(__uuidof(VexGenParameterList));
    ASSERT_TRUE(list);
    EXPECT_EQ(list->Add(foreign.get()), S_OK);
    EXPECT_EQ(read(list, &IVexGenParameterList::get_Size), 1u);
    Ref<IVexGenParameter> item;
    EXPECT_EQ(list->GetItem(0, item.put()), S_OK);
    EXPECT_FALSE(item);
}

TEST_F(RegisteredParameterClasses, FailCleanlyWithNothingAttached)
{
    const Ref<IVexGenInteger> number = create<IVexGenInteger>(__uuidof(VexGenInteger));
    ASSERT_TRUE(number);
    __int64 value = 0;
    EXPECT_EQ(number->get_Value(&value), E_POINTER);
    BSTR name = nullptr;
    EXPECT_EQ(number->get_Name(&name), E_POINTER);
    EXPECT_EQ(number->UnregisterEventSink(nullptr), S_OK);
    const Ref<IVexGenEnum> choice = create<IVexGenEnum>(__uuidof(VexGenEnum));
    Ref<IVexGenEnumEntry> entry;
    Ref<IVexResult> result;
    EXPECT_EQ(choice->GetEntryByIndex(0, entry.put(), result.put()), S_OK);
    EXPECT_FALSE(entry);
    EXPECT_EQ(code_of(result), VexNotInitialized);
    const Ref<IVexGenParameterArray> array = create<IVexGenParameterArray>(__uuidof(VexGenParameterArray));
    unsigned int count = 0;
    EXPECT_EQ(array->get_Count(&count), E_POINTER);
    const Ref<IVexGenCategory> category = create<IVexGenCategory>(__uuidof(VexGenCategory));
    EXPECT_EQ(category->get_Name(&name), E_POINTER);
}

}  // namespace
}  // namespace client
