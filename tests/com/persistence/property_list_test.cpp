// VexPropertyList through COM.
#include "tests/com/persistence/lists.h"

#include <vector>

#include "generated/interface_stubs.h"

namespace {

using namespace client;

class PropertyList : public ComTest {
protected:
    unsigned int size() { return value_of(list, &IVexPropertyList::get_Size); }
    /// The object is there and says that nothing is behind it.
    static void expect_gone(const Ref<IVexProperty>& old)
    {
        ASSERT_TRUE(old);
        BSTR text = nullptr;
        EXPECT_EQ(old->get_Value(&text), E_POINTER);
        EXPECT_EQ(last_error().description, L"This VexProperty is not attached to anything");
        EXPECT_EQ(old->get_Name(&text), E_POINTER);
        EXPECT_EQ(text, nullptr);
        double number = 12.5;
        EXPECT_EQ(old->get_ValueDouble(&number), E_POINTER);
        EXPECT_EQ(number, 12.5);
        EXPECT_EQ(old->put_Value(Text(L"lost")), E_POINTER);
        EXPECT_EQ(old->put_ValueInteger(1), E_POINTER);
    }

    Ref<IVexPropertyList> list = new_properties({{L"a", L"1"}, {L"b", L"2"}, {L"c", L"3"}});
};

TEST_F(PropertyList, StartsEmpty)
{
    list = create<IVexPropertyList>(__uuidof(VexPropertyList));
    EXPECT_EQ(size(), 0u);
    EXPECT_FALSE(first(list));
    EXPECT_FALSE(next(list));
    EXPECT_FALSE(item(list, 0));
}

TEST_F(PropertyList, GivesNullForAnIndexPastTheLast)
{
    EXPECT_EQ(size(), 3u);
    EXPECT_FALSE(item(list, 3));
    EXPECT_FALSE(item(list, 0xFFFFFFFF));
    ASSERT_EQ(list->Add(new_property(L"d", L"4").get()), S_OK);
    EXPECT_EQ(shown(item(list, 3)), L"d=4");
}

TEST_F(PropertyList, GivesOneObjectForEachIndexForItsLife)
{
    const auto third = item(list, 2);
    EXPECT_EQ(shown(third), L"c=3");
    EXPECT_EQ(item(list, 2).get(), third.get());
    EXPECT_NE(item(list, 1).get(), third.get());
    EXPECT_EQ(references(third.get()), 2u) << "the caller's and the list's";
    ASSERT_EQ(list->Clear(), S_OK);
    EXPECT_FALSE(item(list, 2));
    for (const wchar_t* name : {L"x", L"y", L"z"}) {
        ASSERT_EQ(list->Add(new_property(name, L"0").get()), S_OK);
    }
    EXPECT_EQ(item(list, 2).get(), third.get()) << "also after others took the places of its items";
    EXPECT_EQ(shown(third), L"z=0");
}

TEST_F(PropertyList, GivesTheSameObjectForEveryFirst)
{
    const auto begun = first(list);
    EXPECT_EQ(shown(begun), L"a=1");
    EXPECT_EQ(shown(next(list)), L"b=2");
    EXPECT_EQ(first(list).get(), begun.get());
    EXPECT_NE(item(list, 0).get(), begun.get());
    EXPECT_EQ(references(begun.get()), 2u) << "the caller's and the list's";
    ASSERT_EQ(list->Clear(), S_OK);
    EXPECT_FALSE(first(list));
    ASSERT_EQ(list->Add(new_property(L"x", L"0").get()), S_OK);
    EXPECT_EQ(first(list).get(), begun.get());
    EXPECT_EQ(shown(begun), L"x=0") << "a client that kept it sees it pointed at the new item";
}

TEST_F(PropertyList, GivesNewObjectsForTheRestOfAWalk)
{
    EXPECT_EQ(shown(first(list)), L"a=1");
    const auto second = next(list);
    const auto third = next(list);
    EXPECT_NE(second.get(), third.get());
    EXPECT_EQ(shown(second), L"b=2") << "it stays where it is while the walk goes on";
    EXPECT_EQ(shown(third), L"c=3");
    EXPECT_EQ(references(second.get()), 1u) << "the caller's alone";
    EXPECT_FALSE(next(list));
    EXPECT_FALSE(next(list));
    EXPECT_EQ(shown(first(list)), L"a=1");
    EXPECT_NE(next(list).get(), second.get());
}

TEST_F(PropertyList, HasACopyOfWhatWasAdded)
{
    const auto mine = new_property(L"mine", L"1");
    ASSERT_EQ(list->Add(mine.get()), S_OK);
    EXPECT_EQ(references(mine.get()), 1u) << "the list keeps no object of the client's";
    ASSERT_EQ(mine->put_Value(Text(L"2")), S_OK);
    ASSERT_EQ(mine->put_Name(Text(L"changed")), S_OK);
    EXPECT_EQ(shown(item(list, 3)), L"mine=1");
    ASSERT_EQ(item(list, 3)->put_ValueInteger(7), S_OK);
    EXPECT_EQ(shown(mine), L"changed=2");
    EXPECT_EQ(shown(item(list, 3)), L"mine=7") << "what is written to an item is in the list";
    ASSERT_EQ(list->Add(item(list, 3).get()), S_OK);
    ASSERT_EQ(item(list, 3)->put_ValueInteger(8), S_OK);
    EXPECT_EQ(shown(item(list, 4)), L"mine=7") << "an item of its own is copied, too";
}

TEST_F(PropertyList, LeavesItemsWhereTheyAreWhenOthersAreAdded)
{
    const auto begun = first(list);
    const auto second = next(list);
    const auto third = item(list, 2);
    const auto more = new_property(L"more", L"0");
    for (int i = 0; i < 2000; ++i) {
        ASSERT_EQ(list->Add(more.get()), S_OK);
    }
    EXPECT_EQ(shown(begun), L"a=1");
    EXPECT_EQ(shown(second), L"b=2");
    ASSERT_EQ(third->put_Value(Text(L"written")), S_OK);
    EXPECT_EQ(shown(item(list, 2)), L"c=written");
    EXPECT_EQ(shown(next(list)), L"c=written") << "and the walk goes on where it was";
    EXPECT_EQ(shown(next(list)), L"more=0");
}

TEST_F(PropertyList, EndsTheWalkWhenCleared)
{
    EXPECT_EQ(shown(first(list)), L"a=1");
    ASSERT_EQ(list->Clear(), S_OK);
    EXPECT_EQ(size(), 0u);
    EXPECT_FALSE(next(list));
    ASSERT_EQ(list->Add(new_property(L"x", L"0").get()), S_OK);
    ASSERT_EQ(list->Add(new_property(L"y", L"0").get()), S_OK);
    EXPECT_FALSE(next(list));
    EXPECT_EQ(shown(first(list)), L"x=0");
    EXPECT_EQ(shown(next(list)), L"y=0");
}

TEST_F(PropertyList, FailsOldObjectsCleanlyOnceCleared)
{
    const auto begun = first(list);
    const auto walked = next(list);
    const auto indexed = item(list, 2);
    ASSERT_EQ(list->Clear(), S_OK);
    for (const auto& old : {begun, walked, indexed}) {
        expect_gone(old);
    }
    for (const wchar_t* name : {L"x", L"y", L"z"}) {
        ASSERT_EQ(list->Add(new_property(name, L"0").get()), S_OK);
    }
    for (const auto& old : {begun, walked, indexed}) {
        expect_gone(old);
    }
    EXPECT_EQ(list->Add(walked.get()), E_POINTER) << "there is nothing to copy";
    EXPECT_EQ(size(), 3u);
}

TEST_F(PropertyList, FailsOldObjectsCleanlyOnceItHasGone)
{
    const auto begun = first(list);
    const auto walked = next(list);
    const auto indexed = item(list, 2);
    list.reset();
    for (const auto* old : {&begun, &walked, &indexed}) {
        expect_gone(*old);
        EXPECT_EQ(references(old->get()), 1u) << "the list has let go of it";
    }
}

TEST_F(PropertyList, RefusesWhatIsNoPropertyOfThisServer)
{
    EXPECT_EQ(list->Add(nullptr), E_POINTER);
    EXPECT_EQ(last_error().description, L"Argument 1 is nothing where an IVexProperty is wanted");
    ForeignObject<vex::idl::Stub<IVexProperty>> foreign;
    EXPECT_EQ(list->Add(&foreign), E_INVALIDARG);
    EXPECT_EQ(size(), 3u);
}

TEST_F(PropertyList, RefusesNullOutputs)
{
    EXPECT_EQ(list->get_Size(nullptr), E_POINTER);
    EXPECT_EQ(list->GetFirst(nullptr), E_POINTER);
    EXPECT_EQ(list->GetItem(0, nullptr), E_POINTER);
    EXPECT_EQ(list->GetNext(nullptr), E_POINTER);
}

/// The object that a late-bound call returned, null for Nothing.
Ref<IVexProperty> object_in(const Variant& value)
{
    EXPECT_EQ(value.type(), VT_DISPATCH);
    return value.type() == VT_DISPATCH ? query<IVexProperty>(value->pdispVal) : Ref<IVexProperty>();
}

TEST_F(PropertyList, ScriptsWalkAndIndexIt)
{
    LateBound script(list.get());
    Variant value;
    ASSERT_EQ(script.get(L"Size", value), S_OK);
    EXPECT_EQ(value.text(), L"3");
    ASSERT_EQ(script.call(L"GetFirst", {}, &value), S_OK);
    const auto begun = object_in(value);
    EXPECT_EQ(shown(begun), L"a=1");
    ASSERT_EQ(script.call(L"GetFirst", {}, &value), S_OK);
    EXPECT_EQ(object_in(value).get(), begun.get());
    ASSERT_EQ(script.call(L"GetNext", {}, &value), S_OK);
    const auto second = object_in(value);
    EXPECT_EQ(shown(second), L"b=2");
    ASSERT_EQ(script.call(L"GetNext", {}, &value), S_OK);
    EXPECT_NE(object_in(value).get(), second.get());
    ASSERT_EQ(script.call(L"GetNext", {}, &value), S_OK);
    EXPECT_FALSE(object_in(value));
    ASSERT_EQ(script.call(L"GetItem", {Variant(short{2})}, &value), S_OK);
    const auto third = object_in(value);
    EXPECT_EQ(shown(third), L"c=3");
    ASSERT_EQ(script.call(L"GetItem", {Variant(2.0)}, &value), S_OK);
    EXPECT_EQ(object_in(value).get(), third.get());
    ASSERT_EQ(script.call(L"GetItem", {Variant(3)}, &value), S_OK);
    EXPECT_FALSE(object_in(value));
}

TEST_F(PropertyList, ScriptsFillAndClearIt)
{
    LateBound script(list.get());
    Variant value;
    const auto mine = new_property(L"mine", L"1");
    ASSERT_EQ(script.call(L"Add", {Variant(static_cast<IDispatch*>(mine.get()))}), S_OK);
    ASSERT_EQ(LateBound(mine.get()).put(L"Value", Variant(L"2")), S_OK);
    EXPECT_EQ(shown(item(list, 3)), L"mine=1");
    ASSERT_EQ(script.call(L"Clear", {}), S_OK);
    ASSERT_EQ(script.get(L"Size", value), S_OK);
    EXPECT_EQ(value.text(), L"0");
    ASSERT_EQ(script.call(L"GetFirst", {}, &value), S_OK);
    EXPECT_FALSE(object_in(value));
    EXPECT_EQ(script.call(L"Add", {Variant(static_cast<IDispatch*>(nullptr))}), DISP_E_EXCEPTION);
    EXPECT_EQ(script.scode(), E_POINTER);
}

}  // namespace
