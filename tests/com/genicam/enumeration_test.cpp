#include "tests/com/genicam/camera_parameters.h"

namespace client {
namespace {

using Enumeration = ParameterTest;

TEST_F(Enumeration, IsReadAndWrittenByNumberAndByName)
{
    const Ref<IVexGenEnum> format = enumeration(L"PixelFormat");
    EXPECT_EQ(read(format, &IVexGenEnum::get_ValueInt), 17301505);
    EXPECT_EQ(read_text(format, &IVexGenEnum::get_ValueStr), L"Mono8");
    EXPECT_EQ(format->put_ValueStr(Text(L"Mono16")), S_OK);
    EXPECT_EQ(read(format, &IVexGenEnum::get_ValueInt), 17825799);
    EXPECT_EQ(format->put_ValueInt(17301505), S_OK);
    EXPECT_EQ(read_text(format, &IVexGenEnum::get_ValueStr), L"Mono8");
    EXPECT_EQ(read(format, &IVexGenEnum::get_EntriesCount), 2);
}

TEST_F(Enumeration, RaisesAnErrorForWhatIsNoEntry)
{
    const Ref<IVexGenEnum> format = enumeration(L"PixelFormat");
    EXPECT_EQ(format->put_ValueStr(Text(L"RGB8")), DISP_E_EXCEPTION);
    const ErrorFacts error = take_error();
    EXPECT_EQ(error.source, L"VexKamCOMWrapper.VexGenEnum.1");
    EXPECT_EQ(error.interface_id, __uuidof(IVexGenEnum));
    EXPECT_EQ(format->put_ValueStr(nullptr), DISP_E_EXCEPTION) << "the empty name is no entry";
    EXPECT_EQ(format->put_ValueInt(1), DISP_E_EXCEPTION);
    EXPECT_EQ(read_text(format, &IVexGenEnum::get_ValueStr), L"Mono8");
}

TEST_F(Enumeration, GivesAnEmptyNameWithTheErrorWhenItCannotBeRead)
{
    const Ref<IVexGenEnum> format = enumeration(L"PixelFormat");
    camera.port.refuse(true);
    BSTR name = nullptr;
    EXPECT_EQ(format->get_ValueStr(&name), DISP_E_EXCEPTION);
    EXPECT_NE(name, nullptr);
    EXPECT_EQ(take(name), L"");
}

TEST_F(Enumeration, HasOneEntryObjectThatShowsTheLastLookUp)
{
    const Ref<IVexGenEnum> format = enumeration(L"PixelFormat");
    Ref<IVexGenEnumEntry> first;
    Ref<IVexGenEnumEntry> second;
    Ref<IVexResult> result;
    EXPECT_EQ(format->GetEntryByIndex(0, first.put(), result.put()), S_OK);
    EXPECT_EQ(code_of(result), VexOK);
    EXPECT_EQ(read_text(first, &IVexGenEnumEntry::get_Name), L"Mono8");
    EXPECT_EQ(format->GetEntryByIndex(1, second.put(), result.put()), S_OK);
    EXPECT_EQ(second.get(), first.get());
    EXPECT_EQ(read_text(first, &IVexGenEnumEntry::get_Name), L"Mono16");

    Ref<IVexGenEnumEntry> by_value;
    EXPECT_EQ(format->GetEntryByValue(17301505, by_value.put(), result.put()), S_OK);
    EXPECT_EQ(by_value.get(), first.get());
    EXPECT_EQ(read_text(first, &IVexGenEnumEntry::get_Name), L"Mono8");
}

TEST_F(Enumeration, LeavesTheEntryObjectAloneWhenALookUpFails)
{
    const Ref<IVexGenEnum> format = enumeration(L"PixelFormat");
    Ref<IVexGenEnumEntry> entry;
    Ref<IVexResult> result;
    ASSERT_EQ(format->GetEntryByName(Text(L"Mono16"), entry.put(), result.put()), S_OK);
    ASSERT_TRUE(entry);
    IVexGenEnumEntry* missing = reinterpret_cast<IVexGenEnumEntry*>(1);
    EXPECT_EQ(format->GetEntryByName(Text(L"RGB8"), &missing, result.put()), S_OK);
    EXPECT_EQ(missing, nullptr);
    EXPECT_EQ(code_of(result), VexNotFound);
    missing = reinterpret_cast<IVexGenEnumEntry*>(1);
    EXPECT_EQ(format->GetEntryByIndex(2, &missing, result.put()), S_OK);
    EXPECT_EQ(missing, nullptr);
    EXPECT_EQ(code_of(result), VexNotFound);
    missing = reinterpret_cast<IVexGenEnumEntry*>(1);
    EXPECT_EQ(format->GetEntryByValue(1, &missing, result.put()), S_OK);
    EXPECT_EQ(missing, nullptr);
    EXPECT_EQ(read_text(entry, &IVexGenEnumEntry::get_Name), L"Mono16");
}

TEST_F(Enumeration, DescribesItsEntries)
{
    const Ref<IVexGenEnum> format = enumeration(L"PixelFormat");
    Ref<IVexGenEnumEntry> entry;
    Ref<IVexResult> result;
    ASSERT_EQ(format->GetEntryByName(Text(L"Mono8"), entry.put(), result.put()), S_OK);
    EXPECT_EQ(read(entry, &IVexGenEnumEntry::get_Value), 17301505);
    EXPECT_EQ(read_text(entry, &IVexGenEnumEntry::get_ToolTip), L"8 bits");
    EXPECT_EQ(read_text(entry, &IVexGenEnumEntry::get_Description), L"8 bits a pixel");
    EXPECT_EQ(read_text(entry, &IVexGenEnumEntry::get_DisplayName), L"Mono 8");
    EXPECT_EQ(read(entry, &IVexGenEnumEntry::get_NameSpace), VexGenNameSpaceStandard);
    EXPECT_EQ(read(entry, &IVexGenEnumEntry::get_Visibility), VexGenVisibilityBeginner);
    EXPECT_EQ(read(entry, &IVexGenEnumEntry::get_IsAvailable), 1);

    ASSERT_EQ(format->GetEntryByName(Text(L"Mono16"), entry.put(), result.put()), S_OK);
    EXPECT_EQ(read(entry, &IVexGenEnumEntry::get_NameSpace), VexGenNameSpaceCustom);
    VARIANT_BOOL visible = 7;
    EXPECT_EQ(entry->IsVisible(VexGenVisibilityExpert, &visible), S_OK);
    EXPECT_EQ(visible, 0);
    EXPECT_EQ(entry->IsVisible(VexGenVisibilityGuru, &visible), S_OK);
    EXPECT_EQ(visible, 1);
}

TEST_F(Enumeration, KeepsEntriesOfDifferentEnumerationsApart)
{
    Ref<IVexGenEnumEntry> format;
    Ref<IVexGenEnumEntry> selector;
    Ref<IVexResult> result;
    ASSERT_EQ(enumeration(L"PixelFormat")->GetEntryByIndex(0, format.put(), result.put()), S_OK);
    ASSERT_EQ(enumeration(L"GainSelector")->GetEntryByIndex(1, selector.put(), result.put()), S_OK);
    EXPECT_NE(format.get(), selector.get());
    EXPECT_EQ(read_text(format, &IVexGenEnumEntry::get_Name), L"Mono8");
    EXPECT_EQ(read_text(selector, &IVexGenEnumEntry::get_Name), L"Red");
}

}  // namespace
}  // namespace client
