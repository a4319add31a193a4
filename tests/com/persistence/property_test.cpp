// VexProperty through COM.
#include "tests/com/persistence/lists.h"

#include <cmath>
#include <limits>

namespace {

using namespace client;

class Property : public ComTest {
protected:
    std::wstring value() { return text_of(property, &IVexProperty::get_Value); }

    Ref<IVexProperty> property = create<IVexProperty>(__uuidof(VexProperty));
};

TEST_F(Property, StartsEmptyAndOnItsOwn)
{
    EXPECT_EQ(text_of(property, &IVexProperty::get_Name), L"");
    EXPECT_EQ(value(), L"");
    ASSERT_EQ(property->put_Name(Text(L"N\u00E4me")), S_OK);
    ASSERT_EQ(property->put_Value(Text(L"\u65E5\u672C")), S_OK);
    EXPECT_EQ(text_of(property, &IVexProperty::get_Name), L"N\u00E4me");
    EXPECT_EQ(value(), L"\u65E5\u672C");
    EXPECT_EQ(text_of(create<IVexProperty>(__uuidof(VexProperty)), &IVexProperty::get_Name), L"");
}

TEST_F(Property, TakesANullTextAsTheEmptyOne)
{
    ASSERT_EQ(property->put_Name(Text(L"Name")), S_OK);
    ASSERT_EQ(property->put_Value(Text(L"1")), S_OK);
    EXPECT_EQ(property->put_Name(nullptr), S_OK);
    EXPECT_EQ(property->put_Value(nullptr), S_OK);
    BSTR text = nullptr;
    EXPECT_EQ(property->get_Name(&text), S_OK);
    EXPECT_NE(text, nullptr);
    EXPECT_EQ(take(text), L"");
    EXPECT_EQ(value(), L"");
}

TEST_F(Property, ReadsEachFormFromTheOthers)
{
    ASSERT_EQ(property->put_ValueInteger(-5), S_OK);
    EXPECT_EQ(value(), L"-5");
    EXPECT_EQ(value_of(property, &IVexProperty::get_ValueDouble), -5.0);
    ASSERT_EQ(property->put_ValueDouble(0.25), S_OK);
    EXPECT_EQ(value(), L"0.25");
    ASSERT_EQ(property->put_Value(Text(L"0x20")), S_OK);
    EXPECT_EQ(value_of(property, &IVexProperty::get_ValueInteger), 32);
    EXPECT_EQ(value_of(property, &IVexProperty::get_ValueDouble), 32.0);
}

TEST_F(Property, KeepsDoublesAndAllBitsOfIntegers)
{
    for (const double number : {0.1, 1.0 / 3, 1e300, 4.9406564584124654e-324, 123456789.123456789}) {
        ASSERT_EQ(property->put_ValueDouble(number), S_OK);
        EXPECT_EQ(value_of(property, &IVexProperty::get_ValueDouble), number);
    }
    using Limits = std::numeric_limits<__int64>;
    for (const __int64 number : {Limits::min(), Limits::max(), (1LL << 53) + 1}) {
        ASSERT_EQ(property->put_ValueInteger(number), S_OK);
        EXPECT_EQ(value_of(property, &IVexProperty::get_ValueInteger), number);
    }
    ASSERT_EQ(property->put_Value(Text(L"0xFFFFFFFFFFFFFFFF")), S_OK);
    EXPECT_EQ(value_of(property, &IVexProperty::get_ValueInteger), -1);
}

TEST_F(Property, RaisesTheSdksTextForAValueThatIsNoNumber)
{
    ASSERT_EQ(property->put_Name(Text(L"Gain")), S_OK);
    ASSERT_EQ(property->put_Value(Text(L"1,5")), S_OK);
    double number = 12.5;
    EXPECT_EQ(property->get_ValueDouble(&number), DISP_E_EXCEPTION);
    EXPECT_EQ(number, 12.5) << "the caller's variable is left alone";
    LastError told = last_error();
    EXPECT_EQ(told.description, L"The property 'Gain' is not a number: '1,5'");
    EXPECT_EQ(told.source, L"VexKamCOMWrapper.VexProperty.1");
    EXPECT_TRUE(told.iid == __uuidof(IVexProperty));
    __int64 integer = 12;
    EXPECT_EQ(property->get_ValueInteger(&integer), DISP_E_EXCEPTION);
    EXPECT_EQ(integer, 12);
    told = last_error();
    EXPECT_EQ(told.description, L"The property 'Gain' is not an integer of 64 bits: '1,5'");
    EXPECT_EQ(told.source, L"VexKamCOMWrapper.VexProperty.1");
    EXPECT_TRUE(told.iid == __uuidof(IVexProperty));
    EXPECT_EQ(value(), L"1,5");
}

TEST_F(Property, ScriptsUseEveryForm)
{
    LateBound script(property.get());
    Variant value;
    ASSERT_EQ(script.put(L"Name", Variant(L"Gain")), S_OK);
    ASSERT_EQ(script.put(L"Value", Variant(3)), S_OK);  // a number where a text is wanted
    ASSERT_EQ(script.get(L"Name", value), S_OK);
    EXPECT_EQ(value.text(), L"Gain");
    ASSERT_EQ(script.get(L"Value", value), S_OK);
    EXPECT_EQ(value.type(), VT_BSTR);
    EXPECT_EQ(value.text(), L"3");
    ASSERT_EQ(script.put(L"ValueDouble", Variant(2)), S_OK);  // a whole number for a double
    ASSERT_EQ(script.get(L"ValueDouble", value), S_OK);
    EXPECT_EQ(value.type(), VT_R8);
    EXPECT_EQ(value->dblVal, 2.0);
    ASSERT_EQ(script.put(L"ValueInteger", Variant(7)), S_OK);
    ASSERT_EQ(script.get(L"ValueInteger", value), S_OK);
    EXPECT_EQ(value.type(), VT_I8);
    EXPECT_EQ(value->llVal, 7);
}

TEST_F(Property, ScriptsReadTheSdksTextAsAnException)
{
    LateBound script(property.get());
    Variant value;
    ASSERT_EQ(script.put(L"Name", Variant(L"Gain")), S_OK);
    ASSERT_EQ(script.put(L"Value", Variant(L"loud")), S_OK);
    EXPECT_EQ(script.get(L"ValueInteger", value), DISP_E_EXCEPTION);
    EXPECT_EQ(script.description(), L"The property 'Gain' is not an integer of 64 bits: 'loud'");
    EXPECT_EQ(script.source(), L"VexKamCOMWrapper.VexProperty.1");
    EXPECT_EQ(script.get(L"ValueDouble", value), DISP_E_EXCEPTION);
    EXPECT_EQ(script.description(), L"The property 'Gain' is not a number: 'loud'");
    EXPECT_EQ(script.source(), L"VexKamCOMWrapper.VexProperty.1");
}

TEST_F(Property, RefusesNullOutputs)
{
    EXPECT_EQ(property->get_Name(nullptr), E_POINTER);
    EXPECT_EQ(property->get_Value(nullptr), E_POINTER);
    EXPECT_EQ(property->get_ValueDouble(nullptr), E_POINTER);
    EXPECT_EQ(property->get_ValueInteger(nullptr), E_POINTER);
}

}  // namespace
