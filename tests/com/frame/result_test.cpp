// VexResult through COM, early and late bound.
#include <random>

#include "tests/com/class_list.h"
#include "tests/com/com_client.h"

namespace {

using client::create;
using client::guid;
using client::LateBound;
using client::take;
using client::Variant;

const CLSID result_class = guid(L"{AF284AD5-BEB4-455F-AAC1-7B7E352575C0}");

class Result : public client::ComTest {
protected:
    client::Ref<IVexResult> result = create<IVexResult>(result_class);

    [[nodiscard]] std::wstring description() const
    {
        BSTR text = nullptr;
        EXPECT_EQ(result->get_Description(&text), S_OK);
        EXPECT_NE(text, nullptr);
        return take(text);
    }
    void put_description(const wchar_t* text) const
    {
        BSTR made = SysAllocString(text);
        EXPECT_EQ(result->put_Description(made), S_OK);
        SysFreeString(made);
    }
    [[nodiscard]] VexResultCode code() const
    {
        VexResultCode read = VexCancel;
        EXPECT_EQ(result->get_Code(&read), S_OK);
        return read;
    }
    struct Predicates {
        VARIANT_BOOL failure, ok, pending, success;
        bool operator==(const Predicates&) const = default;
    };
    [[nodiscard]] Predicates predicates() const
    {
        Predicates read{7, 7, 7, 7};
        EXPECT_EQ(result->get_IsFailure(&read.failure), S_OK);
        EXPECT_EQ(result->get_IsOK(&read.ok), S_OK);
        EXPECT_EQ(result->get_IsPending(&read.pending), S_OK);
        EXPECT_EQ(result->get_IsSuccess(&read.success), S_OK);
        return read;
    }
};

TEST_F(Result, StartsAsTheSdksDefaultOutcome)
{
    EXPECT_EQ(code(), VexOK);
    EXPECT_EQ(description(), L"OK");
}

TEST_F(Result, ReadsTrueAsOne)
{
    EXPECT_EQ(predicates(), (Predicates{0, 1, 0, 1}));
    ASSERT_EQ(result->put_Code(VexTimeout), S_OK);
    EXPECT_EQ(predicates(), (Predicates{1, 0, 0, 0}));
    ASSERT_EQ(result->put_Code(VexPending), S_OK);
    EXPECT_EQ(predicates(), (Predicates{0, 0, 1, 1}));
}

TEST_F(Result, KeepsItsDescriptionWhenTheCodeIsSet)
{
    put_description(L"the lens is on fire");
    ASSERT_EQ(result->put_Code(VexNetworkError), S_OK);
    EXPECT_EQ(description(), L"the lens is on fire");
    EXPECT_EQ(code(), VexNetworkError);
}

TEST_F(Result, KeepsItsOwnCodesTextWhenTheCodeIsSet)
{
    ASSERT_EQ(result->put_Code(VexTimeout), S_OK);
    EXPECT_EQ(description(), L"OK");
}

TEST_F(Result, KeepsItsCodeWhenTheDescriptionIsSet)
{
    ASSERT_EQ(result->put_Code(VexAborted), S_OK);
    put_description(L"stopped by hand");
    EXPECT_EQ(code(), VexAborted);
}

TEST_F(Result, TakesANullDescriptionAsTheEmptyText)
{
    put_description(L"something");
    ASSERT_EQ(result->put_Description(nullptr), S_OK);
    EXPECT_EQ(description(), L"");
}

TEST_F(Result, CarriesTextBeyondAsciiAndBeyondTheBasicPlane)
{
    put_description(L"caméra 摄像机 \U0001F4F7");
    EXPECT_EQ(description(), L"caméra 摄像机 \U0001F4F7");
}

TEST_F(Result, CarriesACodeThatTheTableDoesNotName)
{
    ASSERT_EQ(result->put_Code(static_cast<VexResultCode>(0x4321)), S_OK);
    EXPECT_EQ(code(), static_cast<VexResultCode>(0x4321));
    EXPECT_EQ(predicates(), (Predicates{1, 0, 0, 0}));
}

TEST_F(Result, RefusesNullOutParameters)
{
    EXPECT_EQ(result->get_Code(nullptr), E_POINTER);
    EXPECT_EQ(result->get_Description(nullptr), E_POINTER);
    EXPECT_EQ(result->get_IsOK(nullptr), E_POINTER);
}

TEST_F(Result, WorksLateBound)
{
    LateBound late(result.get());
    Variant value;
    ASSERT_EQ(late.put(L"Code", Variant(30)), S_OK);
    ASSERT_EQ(late.get(L"Code", value), S_OK);
    EXPECT_EQ(value.text(), L"30");
    ASSERT_EQ(late.put(L"Description", Variant(L"late")), S_OK);
    ASSERT_EQ(late.get(L"Description", value), S_OK);
    EXPECT_EQ(value.type(), VT_BSTR);
    EXPECT_EQ(value.text(), L"late");
    ASSERT_EQ(late.put(L"Code", Variant(0)), S_OK);
    ASSERT_EQ(late.get(L"IsOK", value), S_OK);
    EXPECT_EQ(value.type(), VT_BOOL);
    EXPECT_EQ(value->boolVal, 1);
}

TEST_F(Result, ConvertsWhatAScriptAssigns)
{
    LateBound late(result.get());
    Variant value;
    ASSERT_EQ(late.put(L"Code", Variant(L"30")), S_OK);
    EXPECT_EQ(code(), VexTimeout);
    ASSERT_EQ(late.put(L"Code", Variant(1.0)), S_OK);
    EXPECT_EQ(code(), VexAborted);
    Variant variable(4);
    ASSERT_EQ(late.put(L"Code", Variant::by_reference(variable)), S_OK);
    EXPECT_EQ(code(), VexBufferTooSmall);
    ASSERT_EQ(late.put(L"Description", Variant(12)), S_OK);
    EXPECT_EQ(description(), L"12");
}

TEST_F(Result, AnswersWrongCallsWithAutomationErrors)
{
    LateBound late(result.get());
    Variant value;
    EXPECT_EQ(late.put(L"Code", Variant(L"not a number")), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(late.put(L"IsOK", Variant(1)), DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(late.get(L"Nonsense", value), DISP_E_UNKNOWNNAME);
    EXPECT_EQ(late.call(L"IsOK", {Variant(1)}), DISP_E_MEMBERNOTFOUND);

    DISPPARAMS none{};
    EXPECT_EQ(
        result->Invoke(99, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, value.put(), nullptr, nullptr),
        DISP_E_MEMBERNOTFOUND);
    EXPECT_EQ(result->Invoke(1, IID_IDispatch, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, value.put(), nullptr,
                             nullptr),
              DISP_E_UNKNOWNINTERFACE);
}

TEST_F(Result, GivesTypeInformationAtIndexZeroOnly)
{
    client::Ref<ITypeInfo> info;
    EXPECT_EQ(result->GetTypeInfo(1, LOCALE_USER_DEFAULT, info.put()), DISP_E_BADINDEX);
    EXPECT_FALSE(info);
    EXPECT_EQ(result->GetTypeInfo(0, LOCALE_USER_DEFAULT, nullptr), E_POINTER);
    EXPECT_EQ(result->GetTypeInfoCount(nullptr), E_POINTER);
}

TEST_F(Result, FindsNamesInAnyCaseAndNoOthers)
{
    const auto id_of = [&](const wchar_t* name) {
        LPOLESTR asked = const_cast<LPOLESTR>(name);
        DISPID id = DISPID_UNKNOWN;
        result->GetIDsOfNames(IID_NULL, &asked, 1, LOCALE_USER_DEFAULT, &id);
        return id;
    };
    EXPECT_EQ(id_of(L"IsOK"), 4);
    EXPECT_EQ(id_of(L"isok"), 4);
    EXPECT_EQ(id_of(L"ISOK"), 4);
    EXPECT_EQ(id_of(L"IsOKs"), DISPID_UNKNOWN);
    EXPECT_EQ(id_of(L"IsO"), DISPID_UNKNOWN);
    EXPECT_EQ(id_of(L""), DISPID_UNKNOWN);
    LPOLESTR name = const_cast<LPOLESTR>(L"Code");
    DISPID id = 0;
    EXPECT_EQ(result->GetIDsOfNames(IID_IDispatch, &name, 1, LOCALE_USER_DEFAULT, &id), DISP_E_UNKNOWNINTERFACE);
}

TEST_F(Result, KeepsEveryTextAsItIs)
{
    const unsigned seed = std::random_device{}();
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    for (int round = 0; round < 5000; ++round) {
        std::wstring text(random() % 12 + 1, L'x');
        for (wchar_t& unit : text) {
            // half of them halves of surrogate pairs
            unit = static_cast<wchar_t>(random() % 2 != 0 ? 0xD800 + random() % 0x800 : 1 + random() % 0xFFFF);
        }
        put_description(text.c_str());
        ASSERT_EQ(description(), text) << ::testing::PrintToString(text);
    }
}

}  // namespace
