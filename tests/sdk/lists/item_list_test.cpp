#include "sdk/lists/item_list.h"

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "sdk/lists/PvPropertyList.h"
#include "sdk/lists/PvStringList.h"

namespace {

PvStringList strings(std::initializer_list<const char*> texts)
{
    PvStringList made;
    for (const char* text : texts) {
        made.Add(text);
    }
    return made;
}

/// The items by index.
std::vector<std::string> contents(const PvStringList& list)
{
    std::vector<std::string> found;
    for (std::uint32_t index = 0; index < list.GetSize(); ++index) {
        found.push_back(list.GetItem(index)->str());
    }
    return found;
}

/// "null" for none.
std::string text(const PvString* item) { return item != nullptr ? item->str() : "null"; }

using Texts = std::vector<std::string>;

TEST(ItemList, StartsEmpty)
{
    PvStringList list;
    EXPECT_EQ(list.GetSize(), 0u);
    EXPECT_EQ(list.GetItem(0), nullptr);
    EXPECT_EQ(list.GetFirst(), nullptr);
    EXPECT_EQ(list.GetNext(), nullptr);
}

TEST(ItemList, GivesItemsInOrderByIndexAndByWalking)
{
    PvStringList list = strings({"a", "b", "a", ""});
    EXPECT_EQ(contents(list), (Texts{"a", "b", "a", ""}));
    EXPECT_EQ(list.GetItem(4), nullptr);
    EXPECT_EQ(list.GetItem(0xFFFFFFFF), nullptr);
    EXPECT_EQ(list.GetFirst(), list.GetItem(0));
    EXPECT_EQ(list.GetNext(), list.GetItem(1));
    EXPECT_EQ(list.GetNext(), list.GetItem(2));
    EXPECT_EQ(list.GetNext(), list.GetItem(3));
    EXPECT_EQ(list.GetNext(), nullptr);
    EXPECT_EQ(list.GetNext(), nullptr);
}

TEST(ItemList, BeginsAWalkAtTheFirstItem)
{
    PvStringList list = strings({"a", "b"});
    EXPECT_EQ(text(list.GetNext()), "a") << "nobody has walked it yet";
    EXPECT_EQ(text(list.GetFirst()), "a");
    EXPECT_EQ(text(list.GetNext()), "b");
    EXPECT_EQ(text(list.GetFirst()), "a");
    EXPECT_EQ(text(list.GetNext()), "b");
}

TEST(ItemList, HasACopyOfWhatWasAdded)
{
    PvPropertyList list;
    PvProperty property("Gain", "1");
    list.Add(property);
    property.SetValue("2");
    EXPECT_EQ(list.GetItem(0)->GetValue(), PvString("1"));
    list.GetItem(0)->SetValue("3");
    EXPECT_EQ(property.GetValue(), PvString("2"));
    list.Add(*list.GetItem(0));
    list.GetItem(0)->SetValue("4");
    EXPECT_EQ(list.GetItem(1)->GetValue(), PvString("3")) << "also of an item of its own";
}

TEST(ItemList, LeavesItemsWhereTheyAreWhenOthersAreAdded)
{
    PvPropertyList list;
    std::vector<const PvProperty*> places;
    for (int i = 0; i < 5000; ++i) {
        list.Add(PvProperty("Name", std::to_string(i)));
        places.push_back(list.GetItem(static_cast<std::uint32_t>(i)));
    }
    const auto alive = list.items_lifetime();
    for (int i = 0; i < 5000; ++i) {
        ASSERT_EQ(list.GetItem(static_cast<std::uint32_t>(i)), places[static_cast<std::size_t>(i)]);
        ASSERT_EQ(places[static_cast<std::size_t>(i)]->GetValue().str(), std::to_string(i));
    }
    list.Add({});
    EXPECT_FALSE(alive.expired());
}

TEST(ItemList, KeepsTheCursorWhenItemsAreAdded)
{
    PvStringList list = strings({"a", "b"});
    EXPECT_EQ(text(list.GetFirst()), "a");
    list.Add("c");
    EXPECT_EQ(text(list.GetNext()), "b");
    EXPECT_EQ(text(list.GetNext()), "c");
    EXPECT_EQ(list.GetNext(), nullptr);
    list.Add("d");
    EXPECT_EQ(text(list.GetNext()), "d") << "what is added at the end of a walk still comes";
    EXPECT_EQ(list.GetNext(), nullptr);
}

TEST(ItemList, EndsTheWalkWhenCleared)
{
    PvStringList list = strings({"a", "b", "c"});
    list.GetFirst();
    list.Clear();
    EXPECT_EQ(list.GetSize(), 0u);
    EXPECT_EQ(list.GetItem(0), nullptr);
    EXPECT_EQ(list.GetNext(), nullptr);
    list.Add("d");
    list.Add("e");
    EXPECT_EQ(list.GetNext(), nullptr) << "that walk is over";
    EXPECT_EQ(contents(list), (Texts{"d", "e"}));
    EXPECT_EQ(text(list.GetFirst()), "d");
    EXPECT_EQ(text(list.GetNext()), "e");
}

TEST(ItemList, TellsWhenItsItemsHaveGone)
{
    PvStringList list = strings({"a"});
    auto items = list.items_lifetime();
    EXPECT_FALSE(items.expired());
    list.Clear();
    EXPECT_TRUE(items.expired());
    EXPECT_TRUE(list.items_lifetime().expired()) << "it has none";
    list.Add("b");
    EXPECT_TRUE(items.expired()) << "others are not the ones that were there";
    items = list.items_lifetime();
    list = strings({"c"});
    EXPECT_TRUE(items.expired());
    items = list.items_lifetime();
    {
        const PvStringList moved_to(std::move(list));
        EXPECT_FALSE(items.expired()) << "these are still there, in their places";
        EXPECT_EQ(contents(moved_to), Texts{"c"});
    }
    EXPECT_TRUE(items.expired());
}

TEST(ItemList, TellsWhenItHasGoneItself)
{
    std::weak_ptr<const void> alive;
    {
        PvStringList list = strings({"a"});
        alive = list.lifetime();
        list.Clear();
        list = strings({"b"});
        const PvStringList other(std::move(list));
        EXPECT_FALSE(alive.expired());
    }
    EXPECT_TRUE(alive.expired());
}

TEST(ItemList, CopiesAreIndependent)
{
    PvStringList list = strings({"a", "b"});
    list.GetFirst();
    const std::weak_ptr<const void> alive = list.lifetime();
    const auto items = list.items_lifetime();
    {
        PvStringList copy(list);
        EXPECT_EQ(text(copy.GetNext()), "a") << "with a cursor of its own";
        *copy.GetItem(1) = "c";
        copy.Add("d");
        EXPECT_EQ(contents(copy), (Texts{"a", "c", "d"}));
        copy = list;
        copy.Clear();
    }
    EXPECT_FALSE(alive.expired());
    EXPECT_FALSE(items.expired());
    EXPECT_EQ(contents(list), (Texts{"a", "b"}));
    EXPECT_EQ(text(list.GetNext()), "b");
}

TEST(ItemList, EndsTheWalkWhenAssignedTo)
{
    PvStringList list = strings({"a", "b"});
    list.GetFirst();
    const PvStringList other = strings({"c", "d"});
    list = other;
    EXPECT_EQ(list.GetNext(), nullptr);
    EXPECT_EQ(contents(list), (Texts{"c", "d"}));
    list.GetFirst();
    list = strings({"e", "f"});
    EXPECT_EQ(list.GetNext(), nullptr);
    EXPECT_EQ(contents(list), (Texts{"e", "f"}));
    list = *&list;
    EXPECT_EQ(contents(list), (Texts{"e", "f"}));
}

TEST(ItemList, LeavesAnEmptyListWhenMovedFrom)
{
    PvStringList list = strings({"a", "b"});
    list.GetFirst();
    const PvStringList taken(std::move(list));
    EXPECT_EQ(contents(taken), (Texts{"a", "b"}));
    // NOLINTNEXTLINE(bugprone-use-after-move)
    EXPECT_EQ(list.GetSize(), 0u);
    EXPECT_EQ(list.GetNext(), nullptr);
    list.Add("c");
    EXPECT_EQ(text(list.GetFirst()), "c");
}

}  // namespace
