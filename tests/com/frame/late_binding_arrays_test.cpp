// Late-bound calls with arrays: of bytes and of objects, typed and as scripts have them.
#include "tests/com/com_client.h"
#include "tests/com/frame/late_binding_fixture.h"
#include "tests/com/frame/test_classes.h"

using namespace vex;

namespace {

using namespace late_binding_test;
using client::byte_array;
using client::bytes_of;
using client::variant_array;

// ---- arrays of bytes ----

TEST_F(LateBinding, ReadsBytesFromEveryKindOfArray)
{
    const auto write = [&](const Variant& source) {
        device->memory.assign(4, 0);
        return late.call(L"WriteMemory", {Variant(0), source, Variant(3)}, &returned);
    };
    const std::vector<unsigned char> written{1, 2, 250, 0};

    Variant typed(VT_UI1, byte_array({1, 2, 250}));
    Variant elements(VT_VARIANT, variant_array({Variant(1), Variant(2.0), Variant(L"250")}));
    for (Variant* array : {&typed, &elements}) {
        EXPECT_EQ(write(*array), S_OK);
        EXPECT_EQ(device->memory, written);
        EXPECT_EQ(write(Variant::by_reference(*array)), S_OK);
        EXPECT_EQ(device->memory, written);
        const auto element = static_cast<VARTYPE>(array->type() & VT_TYPEMASK);
        EXPECT_EQ(write(Variant::pointer(static_cast<VARTYPE>(VT_ARRAY | element), &(*array)->parray)), S_OK);
        EXPECT_EQ(device->memory, written);
        // a variable that holds a reference to an array, as a VBScript array passed on is
        Variant reference = Variant::pointer(static_cast<VARTYPE>(VT_ARRAY | element), &(*array)->parray);
        EXPECT_EQ(write(Variant::by_reference(reference)), S_OK);
        EXPECT_EQ(device->memory, written);
    }
}

TEST_F(LateBinding, RefusesElementsThatAreNoBytes)
{
    const auto write = [&](std::initializer_list<Variant> elements) {
        return late.call(L"WriteMemory", {Variant(0), Variant(VT_VARIANT, variant_array(elements)), Variant(3)},
                         &returned);
    };
    EXPECT_EQ(write({Variant(1), Variant(256), Variant(3)}), DISP_E_OVERFLOW);
    EXPECT_EQ(late.bad_argument(), 1U);
    EXPECT_EQ(write({Variant(-1), Variant(2), Variant(3)}), DISP_E_OVERFLOW);
    EXPECT_EQ(write({Variant(1), Variant(L"x"), Variant(3)}), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(device->memory, std::vector<unsigned char>(16));
}

TEST_F(LateBinding, RefusesWhatIsNoArray)
{
    EXPECT_EQ(late.call(L"WriteMemory", {Variant(0), Variant(5), Variant(1)}, &returned), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(late.call(L"WriteMemory", {Variant(0), Variant(device.get()), Variant(1)}, &returned),
              DISP_E_TYPEMISMATCH);
    Variant nothing;
    EXPECT_EQ(late.call(L"WriteMemory", {Variant(0), Variant::by_reference(nothing), Variant(1)}, &returned),
              DISP_E_TYPEMISMATCH);
}

TEST_F(LateBinding, FillsEveryKindOfArrayInPlace)
{
    device->memory = {9, 8, 7, 6};
    const auto read = [&](const Variant& destination) {
        return late.call(L"ReadMemory", {Variant(1), destination, Variant(2)}, &returned);
    };

    Variant typed(VT_UI1, byte_array({0, 0, 5}));
    EXPECT_EQ(read(typed), S_OK);  // a copy of the array is filled
    EXPECT_EQ(read(Variant::by_reference(typed)), S_OK);
    EXPECT_EQ(bytes_of(typed->parray), (std::vector<unsigned char>{8, 7, 5}));

    Variant by_pointer(VT_UI1, byte_array({0, 0, 5}));
    EXPECT_EQ(read(Variant::pointer(VT_ARRAY | VT_UI1, &by_pointer->parray)), S_OK);
    EXPECT_EQ(bytes_of(by_pointer->parray), (std::vector<unsigned char>{8, 7, 5}));

    const auto texts = [](SAFEARRAY* array) {
        std::wstring joined;
        for (LONG at = 0; at < static_cast<LONG>(array->rgsabound[0].cElements); ++at) {
            Variant element;
            LONG index = at + array->rgsabound[0].lLbound;
            SafeArrayGetElement(array, &index, element.put());
            joined += element.text() + L" ";
        }
        return joined;
    };
    Variant elements(VT_VARIANT, variant_array({Variant(0), Variant(), Variant(5)}));
    EXPECT_EQ(read(Variant::by_reference(elements)), S_OK);
    EXPECT_EQ(texts(elements->parray), L"8 7 5 ");
    Variant more(VT_VARIANT, variant_array({Variant(0), Variant(L"1"), Variant(5)}, 3));
    EXPECT_EQ(read(Variant::pointer(VT_ARRAY | VT_VARIANT, &more->parray)), S_OK);
    EXPECT_EQ(texts(more->parray), L"8 7 5 ");
}

TEST_F(LateBinding, LeavesTheCallersArrayWhenTheCallFails)
{
    Variant elements(VT_VARIANT, variant_array({Variant(1), Variant(2), Variant(3)}));
    Variant variable(9);
    EXPECT_EQ(late.call(L"ReadMemory", {Variant(L"x"), Variant::by_reference(elements), Variant(2)}, &returned),
              DISP_E_TYPEMISMATCH);
    LONG index = 0;
    Variant element;
    SafeArrayGetElement(elements->parray, &index, element.put());
    EXPECT_EQ(element.text(), L"1");
    EXPECT_EQ(late.call(L"ReadRegister", {Variant(L"x"), Variant::by_reference(variable)}, &returned),
              DISP_E_TYPEMISMATCH);
    EXPECT_EQ(variable.text(), L"9");
}

TEST_F(LateBinding, KeepsDimensionsAndBoundsForTheMemberToJudge)
{
    const auto view = make<CTestView>();
    FakeSdk fake;
    fake.block = {7, 7, 7, 7};
    view->AttachSdkObject(&fake);
    LateBound data(view.get());
    SAFEARRAYBOUND bounds[] = {{2, 0}, {2, 0}};
    Variant square(VT_VARIANT, SafeArrayCreate(VT_VARIANT, 2, bounds));
    EXPECT_EQ(data.put(L"Data", square), DISP_E_EXCEPTION);
    EXPECT_EQ(data.scode(), E_INVALIDARG);
    EXPECT_EQ(fake.block, (std::vector<unsigned char>{7, 7, 7, 7}));
    EXPECT_EQ(data.put(L"Data", Variant(VT_VARIANT, variant_array({Variant(1), Variant(2)}))), S_OK);
    EXPECT_EQ(fake.block, (std::vector<unsigned char>{1, 2, 7, 7}));
    // an array that was declared without dimensions
    EXPECT_EQ(data.put(L"Data", Variant(VT_VARIANT, nullptr)), DISP_E_EXCEPTION);
    EXPECT_EQ(data.scode(), E_INVALIDARG);
}

TEST_F(LateBinding, GivesBytesAsAnArrayOfBytes)
{
    const auto view = make<CTestView>();
    FakeSdk fake;
    fake.block = {1, 2, 3};
    view->AttachSdkObject(&fake);
    Variant read;
    ASSERT_EQ(LateBound(view.get()).get(L"Data", read), S_OK);
    EXPECT_EQ(read.type(), VT_ARRAY | VT_UI1);
    EXPECT_EQ(bytes_of(read->parray), fake.block);
}

// ---- arrays of objects ----

TEST_F(LateBinding, TakesAScriptsArrayOfObjects)
{
    const auto transmitter = make<CTestTransmitter>();
    const auto first = make<CTestView>();
    const auto second = make<CTestView>();
    LateBound pool(transmitter.get());
    const std::vector<IUnknown*> expected{static_cast<IVexBuffer*>(first.get()),
                                          static_cast<IVexBuffer*>(second.get())};
    {
        Variant elements(VT_VARIANT, variant_array({Variant(first.get()), Variant(second.get())}));
        ASSERT_EQ(pool.call(L"LoadBufferPool", {elements}, &returned), S_OK);
        EXPECT_EQ(transmitter->pool, expected);
        ASSERT_EQ(pool.call(L"LoadBufferPool", {Variant::by_reference(elements)}, &returned), S_OK);
        EXPECT_EQ(transmitter->pool, expected);
    }
    EXPECT_EQ(client::references(static_cast<IVexBuffer*>(first.get())), 1U);
    EXPECT_EQ(client::references(static_cast<IVexBuffer*>(second.get())), 1U);
    ASSERT_EQ(pool.call(L"LoadBufferPool", {Variant(VT_VARIANT, nullptr)}, &returned), S_OK);
    EXPECT_TRUE(transmitter->pool_was_null);
    EXPECT_EQ(pool.call(L"LoadBufferPool", {Variant(VT_VARIANT, variant_array({Variant(3)}))}, &returned),
              DISP_E_TYPEMISMATCH);
}

TEST_F(LateBinding, LeavesAScriptObjectsThatItCanCall)
{
    const auto transmitter = make<CTestTransmitter>();
    const auto object = make<CTestView>();
    LateBound pool(transmitter.get());
    Variant elements(VT_VARIANT, variant_array({Variant(object.get())}));
    ASSERT_EQ(pool.call(L"LoadBufferPool", {Variant::by_reference(elements)}, &returned), S_OK);
    LONG at = 0;
    Variant element;
    ASSERT_EQ(SafeArrayGetElement(elements->parray, &at, element.put()), S_OK);
    ASSERT_EQ(element.type(), VT_DISPATCH) << "script hosts call no other objects";
    EXPECT_EQ(element->pdispVal, static_cast<IDispatch*>(object.get()));
    EXPECT_EQ(client::references(static_cast<IVexBuffer*>(object.get())), 3U) << "its own, the array's, the element's";
}

}  // namespace
