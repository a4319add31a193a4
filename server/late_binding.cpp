#include "server/late_binding.h"

#include <algorithm>
#include <array>

#include "server/array_arguments.h"

namespace vex::server {

namespace {

constexpr VARTYPE bytes_type = VT_ARRAY | VT_UI1;
constexpr UINT most_arguments = 16;  // more than any member has

/// A cheap look at a call's arguments: most calls have none that a member's types might not fit.
bool may_need_adapting(const DISPPARAMS& parameters) noexcept
{
    return std::any_of(parameters.rgvarg, parameters.rgvarg + parameters.cArgs, [](const VARIANT& argument) {
        const VARTYPE type = V_VT(&argument);
        return type == (VT_BYREF | VT_VARIANT) || ((type & VT_ARRAY) && type != bytes_type) ||
               type == VT_DISPATCH;  // an array-like object may come where bytes are wanted
    });
}

/// Whether the elements of such an array are for script hosts to choose, not typed.
bool is_array_of_elements(const VARIANT& given, VARTYPE wanted) noexcept
{
    const VARTYPE element = V_VT(&given) & VT_TYPEMASK;
    const bool objects = wanted == (VT_ARRAY | VT_UNKNOWN) && element == VT_DISPATCH;
    return (V_VT(&given) & VT_ARRAY) && (element == VT_VARIANT || objects);
}

/// The value a chain of references to variables ends in.
VARIANT* referent(VARIANT* argument) noexcept
{
    while (V_VT(argument) == (VT_BYREF | VT_VARIANT)) {
        argument = V_VARIANTREF(argument);
    }
    return argument;
}

/// One argument on its way to the member and back.
class Argument {
public:
    Argument() noexcept
    {
        VariantInit(&temporary_);
        VariantInit(&elements_);
    }
    Argument(const Argument&) = delete;
    Argument& operator=(const Argument&) = delete;
    ~Argument() { VariantClear(&temporary_); }

    /// Replaces `passed`, a shallow copy of the caller's argument, by what the parameter wants.
    HRESULT adapt(VARIANT& passed, const ParameterFacts& wanted) noexcept
    {
        if (wanted.type == VT_VARIANT || wanted.type == VT_EMPTY) {
            return S_OK;
        }
        if (wanted.type & VT_ARRAY) {
            return wanted.by_reference ? adapt_array_reference(passed, wanted) : adapt_array(passed, wanted);
        }
        if (V_VT(&passed) != (VT_BYREF | VT_VARIANT)) {
            return S_OK;
        }
        VARIANT* variable = referent(&passed);
        if (!wanted.by_reference || V_VT(variable) == (VT_BYREF | wanted.type)) {
            passed = *variable;
            return S_OK;
        }
        return pass_temporary(passed, *variable, wanted);
    }

    /// Copies back what the member wrote, once it has succeeded.
    void give_back() noexcept
    {
        if (V_VT(&elements_) != VT_EMPTY) {
            fill_elements(V_ARRAY(&temporary_), elements_);
        } else if (variable_ != nullptr) {
            VariantClear(variable_);
            *variable_ = temporary_;
            VariantInit(&temporary_);
        }
    }

private:
    /// A typed pointer is wanted: the member works on a temporary of that type.
    HRESULT pass_temporary(VARIANT& passed, VARIANT& variable, const ParameterFacts& wanted) noexcept
    {
        const bool is_object = wanted.type == VT_DISPATCH || wanted.type == VT_UNKNOWN;
        const bool holds_nothing = V_VT(&variable) == VT_EMPTY || V_VT(&variable) == VT_NULL;
        if (wanted.in && !(holds_nothing && (is_object || (wanted.type & VT_ARRAY)))) {
            if (const HRESULT converted = VariantChangeType(&temporary_, &variable, 0, wanted.type);
                FAILED(converted)) {
                return converted;
            }
        }
        V_VT(&temporary_) = wanted.type;
        if (wanted.out) {
            variable_ = &variable;
        }
        V_VT(&passed) = static_cast<VARTYPE>(VT_BYREF | wanted.type);
        V_BYREF(&passed) = &V_NONE(&temporary_);
        return S_OK;
    }

    /// An array by value, which the member reads or fills in place.
    HRESULT adapt_array(VARIANT& passed, const ParameterFacts& wanted) noexcept
    {
        VARIANT* given = referent(&passed);
        if (V_VT(given) == (VT_BYREF | wanted.type)) {
            SAFEARRAY* array = *V_ARRAYREF(given);
            V_VT(&passed) = wanted.type;
            V_ARRAY(&passed) = array;
            return S_OK;
        }
        const bool array_like = V_VT(given) == VT_DISPATCH && wanted.type == bytes_type;
        if (array_like || is_array_of_elements(*given, wanted.type)) {
            return pass_converted(passed, *given, wanted);
        }
        passed = *given;
        return S_OK;
    }

    /// A pointer to an array, which the member may also replace.
    HRESULT adapt_array_reference(VARIANT& passed, const ParameterFacts& wanted) noexcept
    {
        VARIANT* given = referent(&passed);
        if (V_VT(given) == wanted.type && given != &passed) {
            V_VT(&passed) = static_cast<VARTYPE>(VT_BYREF | wanted.type);
            V_ARRAYREF(&passed) = &V_ARRAY(given);
            return S_OK;
        }
        if (wanted.in && is_array_of_elements(*given, wanted.type)) {
            return pass_converted(passed, *given, wanted);
        }
        if (given == &passed || V_VT(given) == (VT_BYREF | wanted.type)) {
            passed = *given;
            return S_OK;
        }
        return pass_temporary(passed, *given, wanted);
    }

    HRESULT pass_converted(VARIANT& passed, VARIANT& given, const ParameterFacts& wanted) noexcept
    {
        SAFEARRAY* array = nullptr;
        const HRESULT converted = elements_to_array(given, wanted.type & VT_TYPEMASK, &array);
        if (converted == S_FALSE) {
            // an object that is no array; the call itself says what is wrong with it
            passed = given;
            return S_OK;
        }
        if (FAILED(converted)) {
            return converted;
        }
        V_VT(&temporary_) = wanted.type;
        V_ARRAY(&temporary_) = array;
        if (wanted.out) {
            elements_ = given;  // by value: `given` may be `passed` itself
        }
        if (wanted.by_reference) {
            V_VT(&passed) = static_cast<VARTYPE>(VT_BYREF | wanted.type);
            V_ARRAYREF(&passed) = &V_ARRAY(&temporary_);
        } else {
            V_VT(&passed) = wanted.type;
            V_ARRAY(&passed) = array;
        }
        return S_OK;
    }

    VARIANT temporary_;
    VARIANT* variable_ = nullptr;  // the caller's variable that takes the temporary over
    VARIANT elements_;             // the caller's array that takes the temporary's elements back; not owned
};

HRESULT invoke_adapted(const TypeInfo& info, const MethodFacts& method, void* object, DISPID id, WORD flags,
                       const DISPPARAMS& given, VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) noexcept
{
    std::array<Argument, most_arguments> arguments;
    std::array<VARIANT, most_arguments> passed;
    for (UINT at = 0; at < given.cArgs; ++at) {
        // named arguments come first and name their parameter; the others follow, last first
        const UINT last = given.cArgs - 1 - at;
        const bool named = at < given.cNamedArgs && given.rgdispidNamedArgs[at] != DISPID_PROPERTYPUT;
        const UINT place = named ? static_cast<UINT>(given.rgdispidNamedArgs[at]) : last;
        passed[at] = given.rgvarg[at];
        if (place >= method.parameters.size()) {
            continue;
        }
        const HRESULT adapted = arguments[at].adapt(passed[at], method.parameters[place]);
        if (FAILED(adapted)) {
            if (bad_argument != nullptr) {
                *bad_argument = at;
            }
            return adapted;
        }
    }
    DISPPARAMS parameters = given;
    parameters.rgvarg = passed.data();
    const HRESULT called = info.get()->Invoke(object, id, flags, &parameters, result, exception, bad_argument);
    if (SUCCEEDED(called)) {
        for (UINT at = 0; at < given.cArgs; ++at) {
            arguments[at].give_back();
        }
    }
    return called;
}

}  // namespace

HRESULT invoke(const TypeInfo& info, void* object, DISPID id, WORD flags, DISPPARAMS* parameters, VARIANT* result,
               EXCEPINFO* exception, UINT* bad_argument) noexcept
{
    if (parameters != nullptr && parameters->cArgs <= most_arguments && may_need_adapting(*parameters)) {
        if (const MethodFacts* method = info.find(id, flags); method != nullptr) {
            return invoke_adapted(info, *method, object, id, flags, *parameters, result, exception, bad_argument);
        }
    }
    return info.get()->Invoke(object, id, flags, parameters, result, exception, bad_argument);
}

}  // namespace vex::server
