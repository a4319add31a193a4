#include "tests/com/genicam/camera_parameters.h"

using namespace vex;

namespace client {
namespace {

/// The members of IVexGenParameterArray are the same for every class that has them.
class ParameterArray : public ParameterTest, public testing::WithParamInterface<ArrayKind> {
protected:
    ParameterArray() : ParameterTest(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(OfEachClass, ParameterArray, testing::Values(ArrayKind::plain, ArrayKind::camera_link),
                         [](const testing::TestParamInfo<ArrayKind>& kind) {
                             return kind.param == ArrayKind::plain ? "Plain" : "CameraLink";
                         });

TEST_P(ParameterArray, CountsParametersAndCategories)
{
    EXPECT_EQ(read(array, &IVexGenParameterArray::get_Count), 11u);
    EXPECT_EQ(read(array, &IVexGenParameterArray::get_CategoryCount), 2u);
    EXPECT_EQ(read(array, &IVexGenParameterArray::get_NodeMap), reinterpret_cast<INT_PTR>(camera.array->GetNodeMap()));
}

TEST_P(ParameterArray, GivesTheSameObjectForTheSameName)
{
    const Ref<IVexGenParameter> first = by_name(L"Width");
    ASSERT_TRUE(first);
    EXPECT_EQ(by_name(L"Width").get(), first.get());
}

TEST_P(ParameterArray, SharesObjectsBetweenGetByNameAndTypedLookUp)
{
    const Ref<IVexGenParameter> parameter = by_name(L"Width");
    const Ref<IVexGenInteger> typed = integer(L"Width");
    ASSERT_TRUE(typed);
    EXPECT_EQ(query<IUnknown>(typed.get()).get(), query<IUnknown>(parameter.get()).get());
}

TEST_P(ParameterArray, GivesAnotherObjectByIndexThanByName)
{
    const Ref<IVexGenParameter> named = by_name(L"Width");
    Ref<IVexGenParameter> indexed;
    ASSERT_EQ(array->GetByIndex(0, indexed.put()), S_OK);
    ASSERT_TRUE(indexed);
    EXPECT_EQ(read_text(indexed, &IVexGenParameter::get_Name), L"Width");
    EXPECT_NE(indexed.get(), named.get());

    Ref<IVexGenParameter> again;
    ASSERT_EQ(array->GetByIndex(0, again.put()), S_OK);
    EXPECT_EQ(again.get(), indexed.get());
}

TEST_P(ParameterArray, GivesNullForUnknownNamesAndIndexes)
{
    IVexGenParameter* found = reinterpret_cast<IVexGenParameter*>(1);
    EXPECT_EQ(array->GetByName(Text(L"NoSuchThing"), &found), S_OK);
    EXPECT_EQ(found, nullptr);
    found = reinterpret_cast<IVexGenParameter*>(1);
    EXPECT_EQ(array->GetByIndex(11, &found), S_OK);
    EXPECT_EQ(found, nullptr);
    EXPECT_EQ(array->GetByName(nullptr, &found), S_OK);
    EXPECT_EQ(found, nullptr);
}

TEST_P(ParameterArray, GivesNullForAParameterOfAnotherType)
{
    IVexGenInteger* found = reinterpret_cast<IVexGenInteger*>(1);
    EXPECT_EQ(array->GetInteger(Text(L"Gain"), &found), S_OK);
    EXPECT_EQ(found, nullptr);
}

TEST_P(ParameterArray, MakesAnObjectOfTheParametersKind)
{
    EXPECT_TRUE(integer(L"Width"));
    EXPECT_TRUE(floating(L"Gain"));
    EXPECT_TRUE(enumeration(L"PixelFormat"));
    EXPECT_TRUE(boolean(L"ReverseX"));
    EXPECT_TRUE(command(L"Trigger"));
    EXPECT_TRUE(text(L"UserName"));
    EXPECT_TRUE(bytes(L"LookupTable"));

    EXPECT_TRUE(query<IVexGenInteger>(by_name(L"Width").get()));
    EXPECT_TRUE(query<IVexGenFloat>(by_name(L"Gain").get()));
    EXPECT_TRUE(query<IVexGenEnum>(by_name(L"PixelFormat").get()));
    EXPECT_TRUE(query<IVexGenBoolean>(by_name(L"ReverseX").get()));
    EXPECT_TRUE(query<IVexGenCommand>(by_name(L"Trigger").get()));
    EXPECT_TRUE(query<IVexGenString>(by_name(L"UserName").get()));
    EXPECT_TRUE(query<IVexGenRegister>(by_name(L"LookupTable").get()));
}

TEST_P(ParameterArray, ReportsValuesOfAnotherTypeInTheResultObject)
{
    __int64 value = 5;
    Ref<IVexResult> result;
    EXPECT_EQ(array->GetIntegerValue(Text(L"PixelFormat"), &value, result.put()), S_OK);
    EXPECT_EQ(read(result, &IVexResult::get_IsOK), 0);
    EXPECT_EQ(read(result, &IVexResult::get_IsFailure), 1);
    EXPECT_EQ(code_of(result), VexInvalidParameter);
}

TEST_P(ParameterArray, ReportsAFloatAskedForAsAnInteger)
{
    __int64 value = 5;
    Ref<IVexResult> result;
    EXPECT_EQ(array->GetIntegerValue(Text(L"Gain"), &value, result.put()), S_OK);
    EXPECT_EQ(read(result, &IVexResult::get_IsOK), 0);
}

TEST_P(ParameterArray, GivesAnEmptyStringWithAFailingResultForAMissingEnumeration)
{
    BSTR value = nullptr;
    Ref<IVexResult> result;
    EXPECT_EQ(array->GetEnumValueStr(Text(L"NoSuchThing"), &value, result.put()), S_OK);
    EXPECT_NE(value, nullptr);
    EXPECT_EQ(take(value), L"");
    EXPECT_EQ(code_of(result), VexNotFound);
}

TEST_P(ParameterArray, GivesTrueAsOne)
{
    Ref<IVexResult> result;
    ASSERT_EQ(array->SetBooleanValue(Text(L"ReverseX"), VARIANT_TRUE, result.put()), S_OK);
    ASSERT_EQ(code_of(result), VexOK);
    VARIANT_BOOL value = 7;
    EXPECT_EQ(array->GetBooleanValue(Text(L"ReverseX"), &value, result.put()), S_OK);
    EXPECT_EQ(value, 1);
    EXPECT_EQ(camera.port.at(0x10F), 1);
    ASSERT_EQ(array->SetBooleanValue(Text(L"ReverseX"), VARIANT_FALSE, result.put()), S_OK);
    EXPECT_EQ(array->GetBooleanValue(Text(L"ReverseX"), &value, result.put()), S_OK);
    EXPECT_EQ(value, 0);
}

TEST_P(ParameterArray, ReadsAndWritesValuesByName)
{
    Ref<IVexResult> result;
    EXPECT_EQ(array->SetIntegerValue(Text(L"Width"), 320, result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexOK);
    __int64 number = 0;
    EXPECT_EQ(array->GetIntegerValue(Text(L"Width"), &number, result.put()), S_OK);
    EXPECT_EQ(number, 320);
    EXPECT_EQ(camera.port.at(0x102), 0x01);
    EXPECT_EQ(camera.port.at(0x103), 0x40);

    EXPECT_EQ(array->SetFloatValue(Text(L"Gain"), 2.5, result.put()), S_OK);
    double gain = 0;
    EXPECT_EQ(array->GetFloatValue(Text(L"Gain"), &gain, result.put()), S_OK);
    EXPECT_EQ(gain, 2.5);

    EXPECT_EQ(array->SetEnumValueStr(Text(L"PixelFormat"), Text(L"Mono16"), result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexOK);
    EXPECT_EQ(array->GetEnumValueInt(Text(L"PixelFormat"), &number, result.put()), S_OK);
    EXPECT_EQ(number, 17825799);
    EXPECT_EQ(array->SetEnumValueInt(Text(L"PixelFormat"), 17301505, result.put()), S_OK);
    BSTR name = nullptr;
    EXPECT_EQ(array->GetEnumValueStr(Text(L"PixelFormat"), &name, result.put()), S_OK);
    EXPECT_EQ(take(name), L"Mono8");

    EXPECT_EQ(array->SetStringValue(Text(L"UserName"), Text(L"left"), result.put()), S_OK);
    EXPECT_EQ(array->GetStringValue(Text(L"UserName"), &name, result.put()), S_OK);
    EXPECT_EQ(take(name), L"left");

    EXPECT_EQ(array->ExecuteCommand(Text(L"Trigger"), result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexOK);
    EXPECT_EQ(camera.port.at(0x123), 1);
}

TEST_P(ParameterArray, ReportsValuesOutOfRangeInTheResultObject)
{
    Ref<IVexResult> result;
    EXPECT_EQ(array->SetIntegerValue(Text(L"Width"), 2048, result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexInvalidParameter);
    EXPECT_NE(read_text(result, &IVexResult::get_Description).find(L"Width"), std::wstring::npos);
}

TEST_P(ParameterArray, ReadsAnewAfterInvalidateCache)
{
    Ref<IVexResult> result;
    __int64 number = 0;
    ASSERT_EQ(array->GetIntegerValue(Text(L"Width"), &number, result.put()), S_OK);
    ASSERT_EQ(number, 640);
    camera.port.at(0x103) = 0x88;
    ASSERT_EQ(array->GetIntegerValue(Text(L"Width"), &number, result.put()), S_OK);
    EXPECT_EQ(number, 640);
    EXPECT_EQ(array->InvalidateCache(result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexOK);
    ASSERT_EQ(array->GetIntegerValue(Text(L"Width"), &number, result.put()), S_OK);
    EXPECT_EQ(number, 648);
}

TEST_P(ParameterArray, ReplacesObjectsOfAnotherKindWhenAnotherArrayIsAttached)
{
    const Ref<IVexGenParameter> old_width = by_name(L"Width");
    const Ref<IVexGenParameter> old_gain = by_name(L"Gain");
    const CameraParameters other(other_description(), GetParam());
    attach(other.array.get());

    const Ref<IVexGenParameter> width = by_name(L"Width");
    ASSERT_TRUE(width);
    EXPECT_NE(width.get(), old_width.get());
    EXPECT_TRUE(query<IVexGenFloat>(width.get()));
    // the client's object stays what it was
    EXPECT_EQ(read(query<IVexGenInteger>(old_width.get()), &IVexGenInteger::get_Value), 640);
    // one of the same kind is pointed at the new parameter instead
    EXPECT_EQ(by_name(L"Gain").get(), old_gain.get());
    EXPECT_EQ(read(query<IVexGenFloat>(old_gain.get()), &IVexGenFloat::get_Value), 7.25);

    attach(camera.array.get());
}

TEST_P(ParameterArray, KeepsItsObjectsUntilItGoes)
{
    IVexGenInteger* kept = integer(L"Width").get();
    kept->AddRef();
    EXPECT_EQ(references(kept), 2u);
    release();
    EXPECT_EQ(references(kept), 1u);
    kept->Release();
}

TEST_P(ParameterArray, FailsCleanlyWithNothingAttached)
{
    Ref<CVexGenParameterArray> nothing;
    ASSERT_EQ(server::create_object(nothing), S_OK);
    unsigned int count = 0;
    EXPECT_EQ(nothing->get_Count(&count), E_POINTER);
    Ref<IVexGenParameter> parameter;
    EXPECT_EQ(nothing->GetByIndex(0, parameter.put()), E_POINTER);
    Ref<IVexResult> result;
    EXPECT_EQ(nothing->InvalidateCache(result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexNotInitialized);
}

TEST_P(ParameterArray, GivesTheSameCategoryObjectForTheSameName)
{
    Ref<IVexGenCategory> first;
    Ref<IVexGenCategory> second;
    EXPECT_EQ(array->GetCategoryByName(Text(L"Control"), first.put()), S_OK);
    EXPECT_EQ(array->GetCategoryByName(Text(L"Control"), second.put()), S_OK);
    ASSERT_TRUE(first);
    EXPECT_EQ(first.get(), second.get());
}

TEST_P(ParameterArray, KeepsCategoriesByIndexApartFromThoseByName)
{
    Ref<IVexGenCategory> indexed;
    Ref<IVexGenCategory> again;
    Ref<IVexGenCategory> named;
    EXPECT_EQ(array->GetCategoryByIndex(1, indexed.put()), S_OK);
    EXPECT_EQ(array->GetCategoryByIndex(1, again.put()), S_OK);
    EXPECT_EQ(array->GetCategoryByName(Text(L"Control"), named.put()), S_OK);
    ASSERT_TRUE(indexed);
    EXPECT_EQ(read_text(indexed, &IVexGenCategory::get_Name), L"Control");
    EXPECT_EQ(again.get(), indexed.get());
    EXPECT_NE(named.get(), indexed.get());
}

TEST_P(ParameterArray, PointsItsCategoriesAtAnArrayAttachedLater)
{
    Ref<IVexGenCategory> named;
    Ref<IVexGenCategory> indexed;
    EXPECT_EQ(array->GetCategoryByName(Text(L"Control"), named.put()), S_OK);
    EXPECT_EQ(array->GetCategoryByIndex(1, indexed.put()), S_OK);
    const CameraParameters other(camera_description(), GetParam());
    attach(other.array.get());
    Ref<IVexGenCategory> named_again;
    Ref<IVexGenCategory> indexed_again;
    EXPECT_EQ(array->GetCategoryByName(Text(L"Control"), named_again.put()), S_OK);
    EXPECT_EQ(array->GetCategoryByIndex(1, indexed_again.put()), S_OK);
    EXPECT_EQ(named_again.get(), named.get());
    EXPECT_EQ(indexed_again.get(), indexed.get());
    const auto node = reinterpret_cast<INT_PTR>(other.array->GetCategory("Control")->GetNode());
    EXPECT_EQ(read(named, &IVexGenCategory::get_Node), node);
    EXPECT_EQ(read(indexed, &IVexGenCategory::get_Node), node);
    attach(camera.array.get());
}

TEST_P(ParameterArray, GivesNullForUnknownCategories)
{
    IVexGenCategory* found = reinterpret_cast<IVexGenCategory*>(1);
    EXPECT_EQ(array->GetCategoryByIndex(2, &found), S_OK);
    EXPECT_EQ(found, nullptr);
    found = reinterpret_cast<IVexGenCategory*>(1);
    EXPECT_EQ(array->GetCategoryByName(Text(L"Width"), &found), S_OK);
    EXPECT_EQ(found, nullptr);
}

TEST_P(ParameterArray, DescribesCategories)
{
    Ref<IVexGenCategory> category;
    ASSERT_EQ(array->GetCategoryByName(Text(L"ImageFormat"), category.put()), S_OK);
    EXPECT_EQ(read_text(category, &IVexGenCategory::get_Name), L"ImageFormat");
    EXPECT_EQ(read_text(category, &IVexGenCategory::get_DisplayName), L"Image Format");
    EXPECT_EQ(read_text(category, &IVexGenCategory::get_ToolTip), L"Size and format");
    EXPECT_EQ(read_text(category, &IVexGenCategory::get_Description), L"Features that describe the image");
    EXPECT_EQ(read(category, &IVexGenCategory::get_NameSpace), VexGenNameSpaceStandard);
    EXPECT_EQ(read(category, &IVexGenCategory::get_Node),
              reinterpret_cast<INT_PTR>(camera.array->GetCategory("ImageFormat")->GetNode()));
}

}  // namespace
}  // namespace client
