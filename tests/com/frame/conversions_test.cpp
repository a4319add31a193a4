// Late-bound calls with variables of other types than the member's: every pair of numbers, texts, and what does not
// fit.
#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

#include "server/late_binding.h"
#include "tests/com/com_client.h"
#include "tests/com/frame/numbers.h"
#include "tests/com/frame/one_member.h"
#include "tests/com/frame/test_classes.h"

using namespace vex;

namespace {

using client::LateBound;
using client::Ref;
using client::Variant;

/// Storage for a variable of any type, filled with a mark that shows what was written.
struct Storage {
    Storage() { bytes.fill(0x5A); }
    [[nodiscard]] bool operator==(const Storage&) const = default;
    [[nodiscard]] bool marked_from(std::size_t first) const
    {
        return std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(first), bytes.end(),
                           [](unsigned char byte) { return byte == 0x5A; });
    }
    alignas(16) std::array<unsigned char, 24> bytes;
};

std::size_t size_of(VARTYPE type)
{
    switch (type) {
    case VT_I1:
    case VT_UI1: return 1;
    case VT_I2:
    case VT_UI2:
    case VT_BOOL: return 2;
    case VT_I4:
    case VT_INT:
    case VT_UI4:
    case VT_UINT:
    case VT_R4: return 4;
    case VT_DECIMAL: return sizeof(DECIMAL);
    default: return 8;
    }
}

/// What a member of the library can have for a parameter, and its neighbours.
bool is_parameter_type(VARTYPE type)
{
    return type != VT_R4 && type != VT_CY && type != VT_DATE && type != VT_DECIMAL && type != VT_INT && type != VT_UINT;
}

/// The number as a VARIANT by value.
VARIANT by_value(VARTYPE type, const Storage& held)
{
    VARIANT value;
    VariantInit(&value);
    std::memcpy(type == VT_DECIMAL ? static_cast<void*>(&value.decVal) : &value.llVal, held.bytes.data(),
                size_of(type));
    value.vt = type;
    return value;
}

VARIANT pointer_to(VARTYPE type, void* place)
{
    VARIANT value;
    VariantInit(&value);
    value.vt = static_cast<VARTYPE>(VT_BYREF | type);
    value.byref = place;
    return value;
}

/// Calls the member with one argument.
HRESULT call(OneMember& member, VARIANT argument, UINT* bad_argument)
{
    const server::TypeInfo info(&member);
    DISPPARAMS parameters{&argument, nullptr, 1, 0};
    *bad_argument = 77;
    return server::invoke(info, nullptr, 1, DISPATCH_METHOD, &parameters, nullptr, nullptr, bad_argument);
}

/// Calls `check` with every pair of a parameter's type and a variable's, and every number that `holds` chooses to be
/// written: the parameter's type or the variable's.
template <class Check>
void for_every_pair(bool parameter_holds, Check&& check)
{
    int fitting = 0;
    int refused = 0;
    for (const NumberType& parameter : number_types) {
        for (const NumberType& variable : number_types) {
            for (const Exact number : telling_numbers) {
                const NumberType& from = parameter_holds ? parameter : variable;
                const NumberType& to = parameter_holds ? variable : parameter;
                Storage given;
                if (!is_parameter_type(parameter.type) || !write_number(from.type, number, given.bytes.data())) {
                    continue;
                }
                SCOPED_TRACE(std::string(from.name) + " " + std::to_string(static_cast<double>(number)) + " to " +
                             to.name);
                Exact held = 0;
                const bool fits = fitted(to, number, held);
                ++(fits ? fitting : refused);
                check(parameter, variable, given, fits, held);
                ASSERT_FALSE(::testing::Test::HasFailure());
            }
        }
    }
    EXPECT_GT(fitting, 500);
    EXPECT_GT(refused, 500);
}

class Conversions : public client::ComTest {
protected:
    UINT bad_argument = 0;
    Variant returned;
};

TEST_F(Conversions, NumbersReachEveryTypedVariableThatHoldsThem)
{
    for_every_pair(
        true, [&](const NumberType& parameter, const NumberType& type, const Storage& answer, bool fits, Exact held) {
            OneMember member({{parameter.type, PARAMFLAG_FOUT}}, [&](VARIANT* arguments, VARIANT*) {
                EXPECT_EQ(arguments[0].vt, VT_BYREF | parameter.type);
                std::memcpy(arguments[0].byref, answer.bytes.data(), size_of(parameter.type));
                return S_OK;
            });
            Storage variable;
            const HRESULT called = call(member, pointer_to(type.type, variable.bytes.data()), &bad_argument);
            if (fits) {
                EXPECT_EQ(called, S_OK);
                EXPECT_EQ(read_number(type.type, variable.bytes.data()), held);
                EXPECT_TRUE(variable.marked_from(size_of(type.type)));
            } else {
                EXPECT_EQ(called, DISP_E_OVERFLOW);
                EXPECT_EQ(bad_argument, 0U);
                EXPECT_EQ(variable, Storage());
            }
        });
}

TEST_F(Conversions, NumbersAreTakenInEveryTypeByValueAndFromVariables)
{
    for_every_pair(
        false, [&](const NumberType& parameter, const NumberType& type, const Storage& given, bool fits, Exact held) {
            OneMember member({{parameter.type, PARAMFLAG_FIN}}, [&](VARIANT* arguments, VARIANT*) {
                VARIANT plain;
                VariantInit(&plain);
                EXPECT_EQ(VariantCopyInd(&plain, arguments), S_OK);
                EXPECT_EQ(plain.vt, parameter.type);
                EXPECT_EQ(read_number(parameter.type, &plain.llVal), held);
                return S_OK;
            });
            Storage variable = given;
            VARIANT value = by_value(type.type, given);
            VARIANT reference = pointer_to(VT_VARIANT, &value);
            for (const VARIANT& passed : {value, pointer_to(type.type, variable.bytes.data()), reference}) {
                EXPECT_EQ(call(member, passed, &bad_argument), fits ? S_OK : DISP_E_OVERFLOW);
                EXPECT_EQ(bad_argument, fits ? 77U : 0U);
            }
            EXPECT_EQ(member.calls(), fits ? 3 : 0);
            EXPECT_EQ(variable, given);
        });
}

TEST_F(Conversions, ArgumentsInAndOutAreConvertedBothWays)
{
    for_every_pair(
        false, [&](const NumberType& parameter, const NumberType& type, const Storage& given, bool fits, Exact held) {
            OneMember member({{parameter.type, PARAMFLAG_FIN | PARAMFLAG_FOUT}}, [&](VARIANT* arguments, VARIANT*) {
                EXPECT_EQ(arguments[0].vt, VT_BYREF | parameter.type);
                EXPECT_EQ(read_number(parameter.type, arguments[0].byref), held);
                EXPECT_TRUE(write_number(parameter.type, 42, arguments[0].byref));
                return S_OK;
            });
            Storage variable = given;
            EXPECT_EQ(call(member, pointer_to(type.type, variable.bytes.data()), &bad_argument),
                      fits ? S_OK : DISP_E_OVERFLOW);
            EXPECT_EQ(bad_argument, fits ? 77U : 0U);
            if (fits) {
                EXPECT_EQ(read_number(type.type, variable.bytes.data()), 42);
            } else {
                EXPECT_EQ(variable, given);
            }
        });
}

TEST_F(Conversions, NumbersThatAreNoneFitNoWholeNumber)
{
    OneMember member({{VT_UI4, PARAMFLAG_FIN}}, [](VARIANT*, VARIANT*) { return S_OK; });
    for (const double number : {std::nan(""), HUGE_VAL, -HUGE_VAL, 1e30, -1e30}) {
        EXPECT_EQ(call(member, Variant(number).get(), &bad_argument), DISP_E_OVERFLOW) << number;
    }
    EXPECT_EQ(member.calls(), 0);
}

TEST_F(Conversions, TruthIsTakenAndGivenAsANumber)
{
    // what the library calls true is 1
    for (const NumberType& type : number_types) {
        SCOPED_TRACE(type.name);
        for (const VARIANT_BOOL truth : {VARIANT_BOOL{0}, VARIANT_BOOL{1}}) {
            OneMember giving({{VT_BOOL, PARAMFLAG_FOUT}}, [&](VARIANT* arguments, VARIANT*) {
                *arguments[0].pboolVal = truth;
                return S_OK;
            });
            Storage variable;
            EXPECT_EQ(call(giving, pointer_to(type.type, variable.bytes.data()), &bad_argument), S_OK);
            EXPECT_EQ(read_number(type.type, variable.bytes.data()), truth);

            OneMember taking({{VT_BOOL, PARAMFLAG_FIN}}, [&](VARIANT* arguments, VARIANT*) {
                EXPECT_EQ(arguments[0].vt, VT_BOOL);
                EXPECT_EQ(arguments[0].boolVal, truth != 0 ? VARIANT_TRUE : VARIANT_FALSE);
                return S_OK;
            });
            EXPECT_EQ(call(taking, pointer_to(type.type, variable.bytes.data()), &bad_argument), S_OK);
        }
        if (is_parameter_type(type.type)) {
            OneMember counting({{type.type, PARAMFLAG_FOUT}}, [&](VARIANT* arguments, VARIANT*) {
                EXPECT_TRUE(write_number(type.type, 5, arguments[0].byref));
                return S_OK;
            });
            VARIANT_BOOL truth = VARIANT_FALSE;
            EXPECT_EQ(call(counting, pointer_to(VT_BOOL, &truth), &bad_argument), S_OK);
            EXPECT_EQ(truth, VARIANT_TRUE);
        }
    }
}

TEST_F(Conversions, TextsAreNumbersBothWays)
{
    OneMember taking({{VT_UI4, PARAMFLAG_FIN}}, [](VARIANT* arguments, VARIANT*) {
        EXPECT_EQ(arguments[0].vt, VT_UI4);
        EXPECT_EQ(arguments[0].ulVal, 5U);
        return S_OK;
    });
    EXPECT_EQ(call(taking, Variant(L"5").get(), &bad_argument), S_OK);
    BSTR text = SysAllocString(L"5");
    EXPECT_EQ(call(taking, pointer_to(VT_BSTR, &text), &bad_argument), S_OK);
    EXPECT_EQ(taking.calls(), 2);
    EXPECT_EQ(call(taking, Variant(L"-1").get(), &bad_argument), DISP_E_OVERFLOW);
    EXPECT_EQ(call(taking, Variant(L"4294967296").get(), &bad_argument), DISP_E_OVERFLOW);
    EXPECT_EQ(call(taking, Variant(L"five").get(), &bad_argument), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(bad_argument, 0U);
    EXPECT_EQ(taking.calls(), 2);

    OneMember counting({{VT_I8, PARAMFLAG_FOUT}}, [](VARIANT* arguments, VARIANT*) {
        *arguments[0].pllVal = -9223372036854775807LL;
        return S_OK;
    });
    EXPECT_EQ(call(counting, pointer_to(VT_BSTR, &text), &bad_argument), S_OK);
    EXPECT_EQ(client::take(text), L"-9223372036854775807");

    const wchar_t* answer = L"17";
    OneMember naming({{VT_BSTR, PARAMFLAG_FOUT}}, [&](VARIANT* arguments, VARIANT*) {
        EXPECT_EQ(arguments[0].vt, VT_BYREF | VT_BSTR);
        *arguments[0].pbstrVal = SysAllocString(answer);
        return S_OK;
    });
    int number = 3;
    EXPECT_EQ(call(naming, pointer_to(VT_I4, &number), &bad_argument), S_OK);
    EXPECT_EQ(number, 17);
    answer = L"seventeen";
    EXPECT_EQ(call(naming, pointer_to(VT_I4, &number), &bad_argument), DISP_E_TYPEMISMATCH);
    EXPECT_EQ(bad_argument, 0U);
    EXPECT_EQ(number, 17);
}

TEST_F(Conversions, TextsInAndOutAreReplaced)
{
    OneMember doubling({{VT_I4, PARAMFLAG_FIN | PARAMFLAG_FOUT}}, [](VARIANT* arguments, VARIANT*) {
        *arguments[0].plVal *= 2;
        return S_OK;
    });
    BSTR text = SysAllocString(L"21");
    EXPECT_EQ(call(doubling, pointer_to(VT_BSTR, &text), &bad_argument), S_OK);
    EXPECT_EQ(client::take(text), L"42");
    OneMember repeating({{VT_BSTR, PARAMFLAG_FIN | PARAMFLAG_FOUT}}, [](VARIANT* arguments, VARIANT*) {
        const std::wstring once(*arguments[0].pbstrVal);
        return SysReAllocString(arguments[0].pbstrVal, (once + once).c_str()) ? S_OK : E_OUTOFMEMORY;
    });
    short number = 12;
    EXPECT_EQ(call(repeating, pointer_to(VT_I2, &number), &bad_argument), S_OK);
    EXPECT_EQ(number, 1212);
}

TEST_F(Conversions, AScriptsVariableIsReadAndReplaced)
{
    OneMember doubling({{VT_I4, PARAMFLAG_FIN | PARAMFLAG_FOUT}}, [](VARIANT* arguments, VARIANT*) {
        *arguments[0].plVal *= 2;
        return S_OK;
    });
    for (Variant variable : {Variant(21), Variant(L"21"), Variant(21.0)}) {
        EXPECT_EQ(call(doubling, Variant::by_reference(variable).get(), &bad_argument), S_OK);
        EXPECT_EQ(variable.type(), VT_I4);
        EXPECT_EQ(variable->lVal, 42);
    }
}

TEST_F(Conversions, AnArrayKeepsItsShapeAndEveryElement)
{
    SAFEARRAYBOUND bounds[] = {{2, 5}, {3, -1}};
    Variant elements(VT_VARIANT, SafeArrayCreate(VT_VARIANT, 2, bounds));
    for (LONG at = 0; at < 6; ++at) {
        LONG place[] = {5 + at % 2, -1 + at / 2};
        Variant element(static_cast<int>(10 + at));
        ASSERT_EQ(SafeArrayPutElement(elements->parray, place, element.operator->()), S_OK);
    }
    OneMember reading({{VT_ARRAY | VT_UI1, PARAMFLAG_FIN}}, [](VARIANT* arguments, VARIANT*) {
        EXPECT_EQ(arguments[0].vt, VT_ARRAY | VT_UI1);
        SAFEARRAY* array = arguments[0].parray;
        EXPECT_EQ(SafeArrayGetDim(array), 2U);
        for (LONG at = 0; at < 6; ++at) {
            LONG place[] = {5 + at % 2, -1 + at / 2};
            unsigned char byte = 0;
            EXPECT_EQ(SafeArrayGetElement(array, place, &byte), S_OK);
            EXPECT_EQ(byte, 10 + at);
        }
        return S_OK;
    });
    EXPECT_EQ(call(reading, elements.get(), &bad_argument), S_OK);
    EXPECT_EQ(reading.calls(), 1);
}

TEST_F(Conversions, LeaveVariablesWhenTheMemberFails)
{
    OneMember failing({{VT_I8, PARAMFLAG_FOUT}}, [](VARIANT* arguments, VARIANT*) {
        *arguments[0].pllVal = 5;
        return E_FAIL;
    });
    int number = 3;
    EXPECT_EQ(call(failing, pointer_to(VT_I4, &number), &bad_argument), E_FAIL);
    EXPECT_EQ(number, 3);
}

TEST_F(Conversions, LeaveMissingVariablesToTheMember)
{
    OneMember giving({{VT_I8, PARAMFLAG_FOUT}}, [](VARIANT* arguments, VARIANT*) {
        EXPECT_EQ(arguments[0].byref, nullptr);
        return E_POINTER;
    });
    EXPECT_EQ(call(giving, pointer_to(VT_I4, nullptr), &bad_argument), E_POINTER);
    EXPECT_EQ(giving.calls(), 1);
}

TEST_F(Conversions, ReachAVariableBehindAScriptsOwn)
{
    OneMember giving({{VT_I8, PARAMFLAG_FOUT}}, [](VARIANT* arguments, VARIANT*) {
        *arguments[0].pllVal = 5;
        return S_OK;
    });
    int number = 3;
    VARIANT inner = pointer_to(VT_I4, &number);
    EXPECT_EQ(call(giving, pointer_to(VT_VARIANT, &inner), &bad_argument), S_OK);
    EXPECT_EQ(number, 5);
    EXPECT_EQ(inner.vt, VT_BYREF | VT_I4);
}

// ---- through real members ----

TEST_F(Conversions, AMembersNumbersReachTypedVariables)
{
    Ref<CTestDevice> device;
    ASSERT_EQ(server::create_object(device), S_OK);
    LateBound late(device.get());
    int number = 0;
    ASSERT_EQ(late.call(L"ReadRegister", {Variant(41), Variant::pointer(VT_I4, &number)}, &returned), S_OK);
    EXPECT_EQ(number, 42);
    EXPECT_EQ(returned.type(), VT_DISPATCH);
    double real = 0;
    ASSERT_EQ(late.call(L"ReadRegister", {Variant(L"41"), Variant::pointer(VT_R8, &real)}, &returned), S_OK);
    EXPECT_EQ(real, 42);
    short narrow = 3;
    EXPECT_EQ(late.call(L"ReadRegister", {Variant(70000), Variant::pointer(VT_I2, &narrow)}, &returned),
              DISP_E_OVERFLOW);
    EXPECT_EQ(late.bad_argument(), 0U);
    EXPECT_EQ(narrow, 3);
    // a failed call has no result, so nobody would release it
    EXPECT_EQ(returned.type(), VT_EMPTY);
}

TEST_F(Conversions, OneThatDoesNotFitLeavesAllOthers)
{
    Ref<CTestWindow> window;
    ASSERT_EQ(server::create_object(window), S_OK);
    LateBound late(window.get());
    Variant x(L"x");
    long long y = 7;
    signed char width = 8;
    int height = 9;
    EXPECT_EQ(late.call(L"GetPosition", {Variant::by_reference(x), Variant::pointer(VT_I8, &y),
                                         Variant::pointer(VT_I1, &width), Variant::pointer(VT_I4, &height)}),
              DISP_E_OVERFLOW);
    EXPECT_EQ(late.bad_argument(), 1U);
    EXPECT_EQ(x.text(), L"x");
    EXPECT_EQ(y, 7);
    EXPECT_EQ(width, 8);
}

TEST_F(Conversions, ANegativeNumberIsNoUnsignedArgument)
{
    Ref<CTestDevice> device;
    ASSERT_EQ(server::create_object(device), S_OK);
    LateBound late(device.get());
    const auto send = [&](const Variant& port, const Variant& channel) {
        device->destination.clear();
        return late.call(L"SetStreamDestination", {Variant(L"h"), port, channel}, &returned);
    };
    for (const Variant& negative : {Variant(-1), Variant(short{-1}), Variant(-1LL), Variant(-1.0), Variant(L"-1")}) {
        Variant variable = negative;
        for (const Variant& passed : {negative, Variant::by_reference(variable)}) {
            EXPECT_EQ(send(Variant(1), passed), DISP_E_OVERFLOW) << passed.type();
            EXPECT_EQ(late.bad_argument(), 0U);
            EXPECT_EQ(send(passed, Variant(1)), DISP_E_OVERFLOW) << passed.type();
            EXPECT_EQ(late.bad_argument(), 1U);
            EXPECT_EQ(device->destination, "");
        }
    }
    EXPECT_EQ(send(Variant(65536LL), Variant(1)), DISP_E_OVERFLOW);
    EXPECT_EQ(send(Variant(1), Variant(4294967296.0)), DISP_E_OVERFLOW);
    EXPECT_EQ(send(Variant(65535LL), Variant(4294967295.0)), S_OK);
    EXPECT_EQ(device->destination, "h:65535/4294967295");
}

TEST_F(Conversions, ABufferIsNotMadeOfANegativeSize)
{
    const auto buffer = client::create<IVexBuffer>(__uuidof(VexBuffer));
    ASSERT_TRUE(buffer);
    LateBound late(buffer.get());
    for (const Variant& size : {Variant(-1), Variant(short{-1}), Variant(-1.0), Variant(4294967296.0)}) {
        EXPECT_EQ(late.call(L"Alloc", {size}, &returned), DISP_E_OVERFLOW);
        EXPECT_EQ(late.bad_argument(), 0U);
    }
    for (const Variant& size : {Variant(3.0), Variant(short{3}), Variant(L"3")}) {
        EXPECT_EQ(late.call(L"Alloc", {size}, &returned), S_OK);
        EXPECT_EQ(late.get(L"Size", returned), S_OK);
        EXPECT_EQ(returned.text(), L"3");
    }
}

TEST_F(Conversions, ANegativeNumberIsNoUnsignedProperty)
{
    Ref<CTestView> view;
    FakeSdk fake;
    ASSERT_EQ(server::create_object(view), S_OK);
    view->AttachSdkObject(&fake);
    LateBound late(view.get());
    EXPECT_EQ(late.put(L"Timestamp", Variant(-1)), DISP_E_OVERFLOW);
    EXPECT_EQ(late.bad_argument(), 0U);
    EXPECT_EQ(late.put(L"Timestamp", Variant(-1LL)), DISP_E_OVERFLOW);
    EXPECT_EQ(late.put(L"Timestamp", Variant(3.0)), S_OK);
}

}  // namespace
