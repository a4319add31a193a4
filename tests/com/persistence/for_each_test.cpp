// For Each over the lists, as script hosts ask for it.
#include "tests/com/persistence/lists.h"

#include <vector>

namespace {

using namespace client;
using Texts = std::vector<std::wstring>;

class ForEach : public ComTest {
protected:
    static HRESULT ask(IDispatch* list, WORD flags, Variant& answer)
    {
        DISPPARAMS none{};
        return list->Invoke(DISPID_NEWENUM, IID_NULL, LOCALE_USER_DEFAULT, flags, &none, answer.put(), nullptr,
                            nullptr);
    }
    static Ref<IEnumVARIANT> begin(IDispatch* list)
    {
        Variant answer;
        EXPECT_EQ(ask(list, DISPATCH_METHOD | DISPATCH_PROPERTYGET, answer), S_OK);
        EXPECT_EQ(answer.type(), VT_UNKNOWN);
        return answer.type() == VT_UNKNOWN ? query<IEnumVARIANT>(answer->punkVal) : Ref<IEnumVARIANT>();
    }
    /// One item as text, "end" after the last.
    static std::wstring step(const Ref<IEnumVARIANT>& loop)
    {
        Variant value;
        const HRESULT stepped = loop->Next(1, value.put(), nullptr);
        if (stepped != S_OK) {
            EXPECT_EQ(stepped, S_FALSE);
            return L"end";
        }
        return value.type() == VT_DISPATCH ? shown(query<IVexProperty>(value->pdispVal)) : value.text();
    }
    static Texts rest(const Ref<IEnumVARIANT>& loop)
    {
        Texts found;
        for (std::wstring text = step(loop); text != L"end"; text = step(loop)) {
            found.push_back(text);
        }
        return found;
    }

    Ref<IVexPropertyList> properties = new_properties({{L"a", L"1"}, {L"b", L"2"}, {L"c", L"3"}});
    Ref<IVexStringList> strings = new_strings({L"one", L"", L"three"});
};

TEST_F(ForEach, WalksPropertiesAndTextsInOrder)
{
    EXPECT_EQ(rest(begin(properties.get())), (Texts{L"a=1", L"b=2", L"c=3"}));
    EXPECT_EQ(rest(begin(strings.get())), (Texts{L"one", L"", L"three"}));
    ASSERT_EQ(properties->Clear(), S_OK);
    ASSERT_EQ(strings->Clear(), S_OK);
    EXPECT_EQ(rest(begin(properties.get())), Texts{});
    EXPECT_EQ(rest(begin(strings.get())), Texts{});
}

TEST_F(ForEach, AnswersEitherWayOfAsking)
{
    for (const WORD flags : {WORD{DISPATCH_METHOD}, WORD{DISPATCH_PROPERTYGET}}) {
        Variant answer;
        EXPECT_EQ(ask(properties.get(), flags, answer), S_OK);
        EXPECT_EQ(answer.type(), VT_UNKNOWN);
    }
    Variant answer;
    EXPECT_TRUE(FAILED(ask(properties.get(), DISPATCH_PROPERTYPUT, answer)));
    EXPECT_EQ(answer.type(), VT_EMPTY);
}

TEST_F(ForEach, LeavesTheListsOwnWalkAlone)
{
    EXPECT_EQ(shown(first(properties)), L"a=1");
    EXPECT_EQ(shown(next(properties)), L"b=2");
    EXPECT_EQ(first(strings), L"one");
    EXPECT_EQ(next(strings), L"");
    const auto outer = begin(properties.get());
    EXPECT_EQ(step(outer), L"a=1");
    EXPECT_EQ(rest(begin(properties.get())), (Texts{L"a=1", L"b=2", L"c=3"})) << "one loop in another";
    EXPECT_EQ(step(outer), L"b=2");
    EXPECT_EQ(rest(begin(strings.get())).size(), 3u);
    EXPECT_EQ(shown(next(properties)), L"c=3");
    EXPECT_EQ(next(strings), L"three");
}

TEST_F(ForEach, WalksWhatTheListHadWhenItBegan)
{
    const auto loop = begin(properties.get());
    const auto texts = begin(strings.get());
    ASSERT_EQ(properties->Add(new_property(L"d", L"4").get()), S_OK);
    ASSERT_EQ(strings->Add(Text(L"four")), S_OK);
    EXPECT_EQ(rest(loop), (Texts{L"a=1", L"b=2", L"c=3"}));
    EXPECT_EQ(rest(texts), (Texts{L"one", L"", L"three"}));
}

TEST_F(ForEach, WritesIntoTheList)
{
    Variant value;
    ASSERT_EQ(begin(properties.get())->Next(1, value.put(), nullptr), S_OK);
    ASSERT_EQ(LateBound(value->pdispVal).put(L"Value", Variant(L"written")), S_OK);
    EXPECT_EQ(shown(item(properties, 0)), L"a=written");
}

TEST_F(ForEach, OutlivesTheListAndItsItems)
{
    const auto loop = begin(properties.get());
    const auto texts = begin(strings.get());
    properties.reset();
    strings.reset();
    Variant value;
    ASSERT_EQ(loop->Next(1, value.put(), nullptr), S_OK);
    BSTR text = nullptr;
    EXPECT_EQ(query<IVexProperty>(value->pdispVal)->get_Name(&text), E_POINTER);
    EXPECT_EQ(rest(texts), (Texts{L"one", L"", L"three"}));
}

TEST_F(ForEach, IsAnEnumeratorAsComHasThem)
{
    const auto loop = begin(strings.get());
    VARIANT some[4] = {};
    ULONG fetched = 9;
    ASSERT_EQ(loop->Next(2, some, &fetched), S_OK);
    EXPECT_EQ(fetched, 2u);
    EXPECT_STREQ(V_BSTR(&some[0]), L"one");
    VariantClear(&some[0]);
    VariantClear(&some[1]);
    Ref<IEnumVARIANT> clone;
    ASSERT_EQ(loop->Clone(clone.put()), S_OK);
    ASSERT_EQ(loop->Next(4, some, &fetched), S_FALSE);
    EXPECT_EQ(fetched, 1u);
    EXPECT_STREQ(V_BSTR(&some[0]), L"three");
    VariantClear(&some[0]);
    EXPECT_EQ(step(clone), L"three") << "from where the other was";
    ASSERT_EQ(loop->Reset(), S_OK);
    EXPECT_EQ(loop->Skip(1), S_OK);
    EXPECT_EQ(step(loop), L"");
    EXPECT_EQ(loop->Skip(2), S_FALSE);
    EXPECT_EQ(step(loop), L"end");
}

TEST_F(ForEach, IsNoMemberOfTheTypeLibrary)
{
    LPOLESTR name = const_cast<LPOLESTR>(L"_NewEnum");
    DISPID id = 0;
    EXPECT_EQ(properties->GetIDsOfNames(IID_NULL, &name, 1, LOCALE_USER_DEFAULT, &id), DISP_E_UNKNOWNNAME);
    const auto property = new_property(L"a", L"1");
    Variant answer;
    EXPECT_EQ(ask(property.get(), DISPATCH_PROPERTYGET, answer), DISP_E_MEMBERNOTFOUND) << "and no property is a list";
}

}  // namespace
