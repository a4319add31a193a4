// VexStringList through COM.
#include "tests/com/persistence/lists.h"

namespace {

using namespace client;

class StringList : public ComTest {
protected:
    unsigned int size() { return value_of(list, &IVexStringList::get_Size); }

    Ref<IVexStringList> list = new_strings({L"one", L"zw\u00F6lf", L"\u4E09"});
};

TEST_F(StringList, StartsEmpty)
{
    list = create<IVexStringList>(__uuidof(VexStringList));
    EXPECT_EQ(size(), 0u);
    EXPECT_EQ(first(list), L"(null)");
    EXPECT_EQ(next(list), L"(null)");
    EXPECT_EQ(item(list, 0), L"(null)");
}

TEST_F(StringList, GivesItsTextsByIndex)
{
    EXPECT_EQ(size(), 3u);
    EXPECT_EQ(item(list, 0), L"one");
    EXPECT_EQ(item(list, 1), L"zw\u00F6lf");
    EXPECT_EQ(item(list, 2), L"\u4E09");
    EXPECT_EQ(item(list, 3), L"(null)");
    EXPECT_EQ(item(list, 0xFFFFFFFF), L"(null)");
}

TEST_F(StringList, EndsAWalkWithANullText)
{
    EXPECT_EQ(first(list), L"one");
    EXPECT_EQ(next(list), L"zw\u00F6lf");
    EXPECT_EQ(next(list), L"\u4E09");
    EXPECT_EQ(next(list), L"(null)");
    EXPECT_EQ(next(list), L"(null)");
    EXPECT_EQ(first(list), L"one");
}

TEST_F(StringList, TakesANullTextAsAnEmptyOne)
{
    ASSERT_EQ(list->Add(nullptr), S_OK);
    EXPECT_EQ(size(), 4u);
    EXPECT_EQ(item(list, 3), L"") << "an empty text, not the end of the list";
}

TEST_F(StringList, KeepsItsWalkWhenTextsAreAdded)
{
    EXPECT_EQ(first(list), L"one");
    ASSERT_EQ(list->Add(Text(L"four")), S_OK);
    EXPECT_EQ(next(list), L"zw\u00F6lf");
    EXPECT_EQ(next(list), L"\u4E09");
    EXPECT_EQ(next(list), L"four");
    EXPECT_EQ(next(list), L"(null)");
}

TEST_F(StringList, EndsTheWalkWhenCleared)
{
    EXPECT_EQ(first(list), L"one");
    ASSERT_EQ(list->Clear(), S_OK);
    EXPECT_EQ(size(), 0u);
    EXPECT_EQ(item(list, 0), L"(null)");
    ASSERT_EQ(list->Add(Text(L"x")), S_OK);
    EXPECT_EQ(next(list), L"(null)");
    EXPECT_EQ(first(list), L"x");
}

TEST_F(StringList, RefusesNullOutputs)
{
    EXPECT_EQ(list->get_Size(nullptr), E_POINTER);
    EXPECT_EQ(list->GetFirst(nullptr), E_POINTER);
    EXPECT_EQ(list->GetItem(0, nullptr), E_POINTER);
    EXPECT_EQ(list->GetNext(nullptr), E_POINTER);
}

TEST_F(StringList, ScriptsUseIt)
{
    LateBound script(list.get());
    Variant value;
    ASSERT_EQ(script.call(L"Add", {Variant(4)}), S_OK);  // a number where a text is wanted
    ASSERT_EQ(script.get(L"Size", value), S_OK);
    EXPECT_EQ(value.text(), L"4");
    ASSERT_EQ(script.call(L"GetFirst", {}, &value), S_OK);
    EXPECT_EQ(value.text(), L"one");
    ASSERT_EQ(script.call(L"GetItem", {Variant(3)}, &value), S_OK);
    EXPECT_EQ(value.text(), L"4");
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(script.call(L"GetNext", {}, &value), S_OK);
        EXPECT_NE(SysStringLen(value->bstrVal), 0u);
    }
    ASSERT_EQ(script.call(L"GetNext", {}, &value), S_OK);
    EXPECT_EQ(value.type(), VT_BSTR);
    EXPECT_EQ(SysStringLen(value->bstrVal), 0u) << "null or empty, as the system hands it on";
    ASSERT_EQ(script.call(L"Clear", {}), S_OK);
    EXPECT_EQ(size(), 0u);
}

}  // namespace
