// What all parameter objects share.
#include "tests/com/genicam/camera_parameters.h"

#include "genicam/VexGenParameter.h"

using namespace vex;

namespace client {
namespace {

using Parameter = ParameterTest;

TEST_F(Parameter, DescribesItself)
{
    const Ref<IVexGenParameter> width = by_name(L"Width");
    EXPECT_EQ(read_text(width, &IVexGenParameter::get_Name), L"Width");
    EXPECT_EQ(read(width, &IVexGenParameter::get_Type), VexGenTypeInteger);
    EXPECT_EQ(read_text(width, &IVexGenParameter::get_Category), L"ImageFormat");
    EXPECT_EQ(read_text(width, &IVexGenParameter::get_ToolTip), L"Width of the image");
    EXPECT_EQ(read_text(width, &IVexGenParameter::get_Description), L"Width of the image in pixels");
    EXPECT_EQ(read_text(width, &IVexGenParameter::get_DisplayName), L"Image Width");
    EXPECT_EQ(read(width, &IVexGenParameter::get_NameSpace), VexGenNameSpaceStandard);
    EXPECT_EQ(read(width, &IVexGenParameter::get_Visibility), VexGenVisibilityBeginner);
    EXPECT_EQ(read(width, &IVexGenParameter::get_Node),
              reinterpret_cast<INT_PTR>(camera.array->Get("Width")->GetNode()));
    EXPECT_EQ(read(by_name(L"WidthMax"), &IVexGenParameter::get_PollingTime), 1000);
    EXPECT_EQ(read(by_name(L"WidthMax"), &IVexGenParameter::get_Visibility), VexGenVisibilityExpert);
    EXPECT_EQ(read(by_name(L"LookupTable"), &IVexGenParameter::get_NameSpace), VexGenNameSpaceCustom);
}

TEST_F(Parameter, HasTheTypeOfItsKind)
{
    EXPECT_EQ(read(by_name(L"PixelFormat"), &IVexGenParameter::get_Type), VexGenTypeEnum);
    EXPECT_EQ(read(by_name(L"ReverseX"), &IVexGenParameter::get_Type), VexGenTypeBoolean);
    EXPECT_EQ(read(by_name(L"UserName"), &IVexGenParameter::get_Type), VexGenTypeString);
    EXPECT_EQ(read(by_name(L"Trigger"), &IVexGenParameter::get_Type), VexGenTypeCommand);
    EXPECT_EQ(read(by_name(L"Gain"), &IVexGenParameter::get_Type), VexGenTypeFloat);
    EXPECT_EQ(read(by_name(L"LookupTable"), &IVexGenParameter::get_Type), VexGenTypeRegister);
}

TEST_F(Parameter, AnswersYesWithOne)
{
    const Ref<IVexGenParameter> width = by_name(L"Width");
    EXPECT_EQ(read(width, &IVexGenParameter::get_IsReadable), 1);
    EXPECT_EQ(read(width, &IVexGenParameter::get_IsWritable), 1);
    EXPECT_EQ(read(width, &IVexGenParameter::get_IsAvailable), 1);
    EXPECT_EQ(read(width, &IVexGenParameter::get_IsStreamable), 1);
    EXPECT_EQ(read(width, &IVexGenParameter::get_IsPersistent), 1);
    EXPECT_EQ(read(width, &IVexGenParameter::get_IsSelector), 0);
    EXPECT_EQ(read(by_name(L"GainSelector"), &IVexGenParameter::get_IsSelector), 1);
    EXPECT_EQ(read(by_name(L"WidthMax"), &IVexGenParameter::get_IsWritable), 0);
    EXPECT_EQ(read(by_name(L"Hidden"), &IVexGenParameter::get_IsReadable), 0);
    EXPECT_EQ(read(by_name(L"Absent"), &IVexGenParameter::get_IsAvailable), 0);
    EXPECT_EQ(read(by_name(L"Gain"), &IVexGenParameter::get_IsStreamable), 0);
}

TEST_F(Parameter, KnowsWhetherItsValueIsCached)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    EXPECT_EQ(read(width, &IVexGenInteger::get_IsValueCached), 0);
    EXPECT_EQ(read(width, &IVexGenInteger::get_Value), 640);
    EXPECT_EQ(read(width, &IVexGenInteger::get_IsValueCached), 1);
}

TEST_F(Parameter, IsVisibleFromItsLevelOn)
{
    const Ref<IVexGenParameter> expert = by_name(L"WidthMax");
    VARIANT_BOOL visible = 7;
    EXPECT_EQ(expert->IsVisible(VexGenVisibilityBeginner, &visible), S_OK);
    EXPECT_EQ(visible, 0);
    EXPECT_EQ(expert->IsVisible(VexGenVisibilityGuru, &visible), S_OK);
    EXPECT_EQ(visible, 1);
}

TEST_F(Parameter, ConvertsItsValueToTextAndBack)
{
    const Ref<IVexGenParameter> width = by_name(L"Width");
    BSTR value = nullptr;
    Ref<IVexResult> result;
    EXPECT_EQ(width->ValueToString(&value, result.put()), S_OK);
    EXPECT_EQ(take(value), L"640");
    EXPECT_EQ(code_of(result), VexOK);
    EXPECT_EQ(width->ValueFromString(Text(L"320"), result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexOK);
    EXPECT_EQ(read(integer(L"Width"), &IVexGenInteger::get_Value), 320);
}

TEST_F(Parameter, GivesAnEmptyTextWithAFailingResultWhenItCannotBeRead)
{
    BSTR value = nullptr;
    Ref<IVexResult> result;
    EXPECT_EQ(by_name(L"Hidden")->ValueToString(&value, result.put()), S_OK);
    EXPECT_NE(value, nullptr);
    EXPECT_EQ(take(value), L"");
    EXPECT_EQ(read(result, &IVexResult::get_IsOK), 0);
    EXPECT_EQ(by_name(L"Width")->ValueFromString(Text(L"wide"), result.put()), S_OK);
    EXPECT_EQ(read(result, &IVexResult::get_IsOK), 0);
}

TEST_F(Parameter, RemembersTheTextOfItsLastError)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    EXPECT_EQ(read_text(width, &IVexGenInteger::get_LastErrorMsg), L"");
    EXPECT_EQ(width->put_Value(5000), DISP_E_EXCEPTION);
    const std::wstring description = take_error().description;
    EXPECT_FALSE(description.empty());
    EXPECT_EQ(read_text(width, &IVexGenInteger::get_LastErrorMsg), description);
}

TEST_F(Parameter, GivesTheSameListObjectEveryTime)
{
    const Ref<IVexGenParameter> selector = by_name(L"GainSelector");
    Ref<IVexGenParameterList> first;
    Ref<IVexGenParameterList> second;
    EXPECT_EQ(selector->get_SelectedParameters(first.put()), S_OK);
    EXPECT_EQ(selector->get_SelectedParameters(second.put()), S_OK);
    ASSERT_TRUE(first);
    EXPECT_EQ(first.get(), second.get());
    EXPECT_EQ(read(first, &IVexGenParameterList::get_Size), 1u);
    Ref<IVexGenParameter> selected;
    EXPECT_EQ(first->GetItem(0, selected.put()), S_OK);
    EXPECT_EQ(read_text(selected, &IVexGenParameter::get_Name), L"Gain");
}

TEST_F(Parameter, TellsWhatSelectsIt)
{
    Ref<IVexGenParameterList> selecting;
    EXPECT_EQ(by_name(L"Gain")->get_SelectingParameters(selecting.put()), S_OK);
    ASSERT_EQ(read(selecting, &IVexGenParameterList::get_Size), 1u);
    Ref<IVexGenParameter> selector;
    EXPECT_EQ(selecting->GetItem(0, selector.put()), S_OK);
    EXPECT_EQ(read_text(selector, &IVexGenParameter::get_Name), L"GainSelector");

    Ref<IVexGenParameterList> none;
    EXPECT_EQ(by_name(L"Width")->get_SelectingParameters(none.put()), S_OK);
    EXPECT_EQ(read(none, &IVexGenParameterList::get_Size), 0u);
}

TEST_F(Parameter, LeavesItsListsEmptyHandedWhenItGoes)
{
    Ref<IVexGenParameterList> selected;
    Ref<IVexGenParameterList> selecting;
    {
        Ref<CVexGenParameter> parameter;
        ASSERT_EQ(server::create_object(parameter), S_OK);
        parameter->AttachSdkObject(camera.array->Get("GainSelector"));
        ASSERT_EQ(parameter->get_SelectedParameters(selected.put()), S_OK);
        ASSERT_EQ(read(selected, &IVexGenParameterList::get_Size), 1u);
        ASSERT_EQ(parameter->get_SelectingParameters(selecting.put()), S_OK);
        ASSERT_EQ(read(selecting, &IVexGenParameterList::get_Size), 0u);
    }
    unsigned int size = 0;
    EXPECT_EQ(selected->get_Size(&size), E_POINTER);
    EXPECT_EQ(selecting->get_Size(&size), E_POINTER);
}

TEST_F(Parameter, FailsCleanlyWhenItsSdkParameterIsGone)
{
    const Ref<IVexGenInteger> width = integer(L"Width");
    camera.array.reset();  // the parameter is gone: there is nothing left that the SDK could answer
    VexGenType type = VexGenTypeUndefined;
    EXPECT_EQ(width->get_Type(&type), E_POINTER);
    Ref<IVexResult> result;
    BSTR value = nullptr;
    EXPECT_EQ(width->ValueToString(&value, result.put()), S_OK);
    EXPECT_EQ(take(value), L"");
    EXPECT_EQ(code_of(result), VexNotInitialized);
    implementation->AttachSdkObject(nullptr);
}

TEST_F(Parameter, SupportsErrorInformationOfItsOwnInterface)
{
    const Ref<ISupportErrorInfo> support = query<ISupportErrorInfo>(integer(L"Width").get());
    ASSERT_TRUE(support);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(__uuidof(IVexGenInteger)), S_OK);
    EXPECT_EQ(support->InterfaceSupportsErrorInfo(__uuidof(IVexGenParameter)), S_FALSE);
}

}  // namespace
}  // namespace client
