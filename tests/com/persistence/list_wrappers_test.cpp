// What only parents of this library do with the list classes: show lists of their own.
#include "tests/com/persistence/lists.h"

#include <cstdlib>
#include <new>

#include "persistence/VexPropertyList.h"
#include "persistence/VexStringList.h"

using namespace vex;

namespace {

bool memory_is_exhausted = false;

}  // namespace

void* operator new(std::size_t size)
{
    void* memory = memory_is_exhausted ? nullptr : std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t /*size*/) noexcept { std::free(memory); }

namespace {

using namespace client;

/// A parent that keeps a string list by value and shows it through new objects, as arrays of serial cameras and the
/// manager of serial bridges do.
class Parent {
public:
    Ref<IVexStringList> show()
    {
        Ref<CVexStringList> made;
        EXPECT_EQ(server::create_object(made), S_OK);
        made->AttachSdkObject(&list);
        return Ref<IVexStringList>(made.get());
    }

    PvStringList list;
};

class ListWrappers : public ComTest {};

TEST_F(ListWrappers, ShowAStringListThatTheyDoNotOwn)
{
    Parent parent;
    parent.list.Add("one");
    const auto shown = parent.show();
    EXPECT_EQ(item(shown, 0), L"one");
    parent.list.Clear();
    parent.list.Add("two");
    parent.list.Add("three");
    EXPECT_EQ(value_of(shown, &IVexStringList::get_Size), 2u) << "it shows the list as it is now";
    EXPECT_EQ(first(shown), L"two");
    const auto other = parent.show();
    EXPECT_EQ(next(other), L"three") << "all objects of a list share its cursor";
    ASSERT_EQ(other->Add(Text(L"four")), S_OK);
    EXPECT_EQ(parent.list.GetItem(2)->str(), "four");
}

TEST_F(ListWrappers, LeaveAStringListThatTheyDoNotOwn)
{
    Parent parent;
    parent.list.Add("one");
    const auto alive = parent.list.lifetime();
    parent.show().reset();
    EXPECT_FALSE(alive.expired());
    ASSERT_EQ(parent.list.GetSize(), 1u);
    EXPECT_EQ(parent.list.GetItem(0)->str(), "one");
}

TEST_F(ListWrappers, DeleteTheStringListTheyOwn)
{
    Ref<CVexStringList> list;
    ASSERT_EQ(server::create_object(list), S_OK);
    const auto first_list = list->sdk()->lifetime();
    PvStringList borrowed;
    list->AttachSdkObject(&borrowed);
    EXPECT_TRUE(first_list.expired()) << "when another takes its place";
    ASSERT_EQ(server::create_object(list), S_OK);
    const auto second_list = list->sdk()->lifetime();
    EXPECT_FALSE(second_list.expired());
    list.reset();
    EXPECT_TRUE(second_list.expired()) << "when they go";
}

TEST_F(ListWrappers, FailCleanlyOnceTheStringListHasGone)
{
    auto parent = std::make_unique<Parent>();
    parent->list.Add("one");
    const auto shown = parent->show();
    parent.reset();
    unsigned int size = 12;
    EXPECT_EQ(shown->get_Size(&size), E_POINTER);
    EXPECT_EQ(last_error().description, L"This VexStringList is not attached to anything");
    EXPECT_EQ(size, 12u);
    EXPECT_EQ(shown->Add(Text(L"two")), E_POINTER);
    BSTR text = nullptr;
    EXPECT_EQ(shown->GetFirst(&text), E_POINTER);
    EXPECT_EQ(shown->GetItem(0, &text), E_POINTER);
    EXPECT_EQ(shown->GetNext(&text), E_POINTER);
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(shown->Clear(), E_POINTER);
}

TEST_F(ListWrappers, FailOldPropertiesOnceTheListWasRestored)
{
    Ref<CVexPropertyList> list;
    ASSERT_EQ(server::create_object(list), S_OK);
    const Ref<IVexPropertyList> client_list(list.get());
    list->sdk()->Add({"a", "1"});
    list->sdk()->Add({"b", "2"});
    const auto begun = first(client_list);
    const auto walked = next(client_list);
    const auto indexed = item(client_list, 1);
    PvPropertyList restored;
    restored.Add({"x", "7"});
    restored.Add({"y", "8"});
    *list->sdk() = restored;
    for (const auto& old : {begun, walked, indexed}) {
        BSTR text = nullptr;
        EXPECT_EQ(old->get_Value(&text), E_POINTER);
    }
    EXPECT_FALSE(next(client_list)) << "the walk is over";
    EXPECT_EQ(item(client_list, 1).get(), indexed.get());
    EXPECT_EQ(shown(indexed), L"y=8");
    EXPECT_EQ(first(client_list).get(), begun.get());
    EXPECT_EQ(shown(begun), L"x=7");
}

TEST_F(ListWrappers, GiveAPropertyListAsAnArgument)
{
    Ref<CVexPropertyList> list;
    ASSERT_EQ(server::create_object(list), S_OK);
    EXPECT_EQ(&server::sdk_as<PvPropertyList>(static_cast<IVexPropertyList*>(list.get())), list->sdk());
    Ref<CVexStringList> strings;
    ASSERT_EQ(server::create_object(strings), S_OK);
    EXPECT_EQ(&server::sdk_as<PvStringList>(static_cast<IVexStringList*>(strings.get())), strings->sdk());
}

TEST_F(ListWrappers, LetGoOfTheirOwnPropertyForAnItem)
{
    Ref<CVexProperty> property;
    ASSERT_EQ(server::create_object(property), S_OK);
    PvPropertyList list;
    list.Add({"a", "1"});
    property->AttachSdkObject(list.GetItem(0), list.items_lifetime());
    EXPECT_EQ(property->sdk(), list.GetItem(0));
    property.reset();
    EXPECT_EQ(list.GetItem(0)->GetValue(), PvString("1")) << "an item is the list's";
}

TEST_F(ListWrappers, SayWhenThereIsNoMemoryForAnObject)
{
    Ref<CVexPropertyList> list;
    ASSERT_EQ(server::create_object(list), S_OK);
    list->sdk()->Add({"a", "1"});
    list->sdk()->Add({"b", "2"});
    IVexProperty* found[] = {reinterpret_cast<IVexProperty*>(1), reinterpret_cast<IVexProperty*>(1)};
    memory_is_exhausted = true;
    const HRESULT walked = list->GetNext(&found[0]);
    const HRESULT indexed = list->GetItem(1, &found[1]);
    memory_is_exhausted = false;
    EXPECT_EQ(walked, E_OUTOFMEMORY);
    EXPECT_EQ(found[0], nullptr);
    EXPECT_EQ(indexed, E_OUTOFMEMORY);
    EXPECT_EQ(found[1], nullptr);
    EXPECT_EQ(shown(item(Ref<IVexPropertyList>(list.get()), 1)), L"b=2") << "and once there is memory again, it works";
}

}  // namespace
