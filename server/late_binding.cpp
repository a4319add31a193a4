#include "server/late_binding.h"

#include <array>

#include "server/argument_values.h"
#include "server/array_arguments.h"

namespace vex::server {

namespace {

constexpr VARTYPE bytes_type = VT_ARRAY | VT_UI1;
constexpr UINT most_arguments = 16;  // more than any member has

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

/// Whether the argument is already what the member's parameter is.
bool fits(const VARIANT& given, const ParameterFacts& wanted) noexcept
{
    return wanted.type == VT_VARIANT || wanted.type == VT_EMPTY ||
           V_VT(&given) == (wanted.by_reference ? VT_BYREF | wanted.type : wanted.type);
}

/// Clears what owns something; most arguments own nothing.
void clear(VARIANT& value) noexcept
{
    if (V_VT(&value) != VT_EMPTY) {
        VariantClear(&value);
    }
}

/// One argument on its way to the member and back.
class Argument {
public:
    Argument() noexcept = default;
    Argument(const Argument&) = delete;
    Argument& operator=(const Argument&) = delete;
    ~Argument()
    {
        clear(temporary_);
        clear(answer_);
    }

    /// Replaces `passed`, a shallow copy of the caller's argument, by what the parameter wants.
    HRESULT adapt(VARIANT& passed, const ParameterFacts& wanted) noexcept
    {
        if (fits(passed, wanted)) {
            return S_OK;
        }
        if (wanted.type & VT_ARRAY) {
            return wanted.by_reference ? adapt_array_reference(passed, wanted) : adapt_array(passed, wanted);
        }
        VARIANT* given = referent(&passed);
        return wanted.by_reference ? adapt_reference(passed, *given, wanted) : adapt_value(passed, *given, wanted.type);
    }

    /// Converts what the member wrote to the type of the caller's variable.
    HRESULT convert_back() noexcept
    {
        return V_VT(&place_) != VT_EMPTY
                   ? change_type(answer_, temporary_, static_cast<VARTYPE>(V_VT(&place_) & ~VT_BYREF))
                   : S_OK;
    }

    /// Gives the caller what the member wrote, once it has succeeded and everything is converted.
    void give_back() noexcept
    {
        if (V_VT(&place_) != VT_EMPTY) {
            move_into(place_, answer_);
        } else if (V_VT(&elements_) != VT_EMPTY) {
            fill_elements(V_ARRAY(&temporary_), elements_);
        } else if (variable_ != nullptr) {
            VariantClear(variable_);
            *variable_ = temporary_;
            V_VT(&temporary_) = VT_EMPTY;
        }
    }

private:
    /// A number or a text by value; what is neither is for the call itself to judge.
    HRESULT adapt_value(VARIANT& passed, const VARIANT& given, VARTYPE type) noexcept
    {
        passed = given;
        const auto held = static_cast<VARTYPE>(V_VT(&given) & ~VT_BYREF);
        const bool is_reference = V_VT(&given) & VT_BYREF;
        if (held == type || !is_plain(held) || !is_plain(type) || (is_reference && V_BYREF(&given) == nullptr)) {
            return S_OK;
        }
        const HRESULT converted = change_type(temporary_, given, type);
        if (SUCCEEDED(converted)) {
            passed = temporary_;
        }
        return converted;
    }

    /// A typed pointer is wanted: the caller's own where the type is the same.
    HRESULT adapt_reference(VARIANT& passed, VARIANT& given, const ParameterFacts& wanted) noexcept
    {
        const auto held = static_cast<VARTYPE>(V_VT(&given) & ~VT_BYREF);
        if ((V_VT(&given) & VT_BYREF) && (plain_name(held) == wanted.type || V_BYREF(&given) == nullptr)) {
            V_VT(&passed) = static_cast<VARTYPE>(VT_BYREF | wanted.type);
            V_BYREF(&passed) = V_BYREF(&given);
            return S_OK;
        }
        if ((V_VT(&given) & VT_BYREF) && is_plain(held) && is_plain(wanted.type)) {
            return pass_typed(passed, given, wanted);
        }
        // a value where a pointer is wanted is for the call itself to refuse
        return &given == &passed ? S_OK : pass_temporary(passed, given, wanted);
    }

    /// The caller's variable has another type: the member works on a temporary of its own.
    HRESULT pass_typed(VARIANT& passed, const VARIANT& given, const ParameterFacts& wanted) noexcept
    {
        if (wanted.in) {
            if (const HRESULT converted = change_type(temporary_, given, wanted.type); FAILED(converted)) {
                return converted;
            }
        }
        if (wanted.out) {
            place_ = given;
        }
        point_at_temporary(passed, wanted.type);
        return S_OK;
    }

    void point_at_temporary(VARIANT& passed, VARTYPE type) noexcept
    {
        V_VT(&temporary_) = type;
        V_VT(&passed) = static_cast<VARTYPE>(VT_BYREF | type);
        V_BYREF(&passed) = &V_NONE(&temporary_);
    }

    /// A typed pointer is wanted: the member works on a temporary of that type.
    HRESULT pass_temporary(VARIANT& passed, VARIANT& variable, const ParameterFacts& wanted) noexcept
    {
        const bool is_object = wanted.type == VT_DISPATCH || wanted.type == VT_UNKNOWN;
        const bool holds_nothing = V_VT(&variable) == VT_EMPTY || V_VT(&variable) == VT_NULL;
        if (wanted.in && !(holds_nothing && (is_object || (wanted.type & VT_ARRAY)))) {
            if (const HRESULT converted = change_type(temporary_, variable, wanted.type); FAILED(converted)) {
                return converted;
            }
        }
        if (wanted.out) {
            variable_ = &variable;
        }
        point_at_temporary(passed, wanted.type);
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

    VARIANT temporary_{};
    VARIANT* variable_ = nullptr;  // the caller's variable that takes the temporary over
    VARIANT elements_{};           // the caller's array that takes the temporary's elements back; not owned
    VARIANT place_{};              // the caller's variable of a type of its own, which takes the answer; not owned
    VARIANT answer_{};             // the temporary in that type
};

/// The parameter that the argument at a place of the list is for; null where the member has none for it.
const ParameterFacts* parameter_of(const MethodFacts& method, const DISPPARAMS& given, UINT at) noexcept
{
    // named arguments come first and name their parameter; the others follow, last first
    const bool named = at < given.cNamedArgs && given.rgdispidNamedArgs[at] != DISPID_PROPERTYPUT;
    const UINT place = named ? static_cast<UINT>(given.rgdispidNamedArgs[at]) : given.cArgs - 1 - at;
    return place < method.parameters.size() ? &method.parameters[place] : nullptr;
}

/// Whether every argument is what the member wants, as most are.
bool all_fit(const MethodFacts& method, const DISPPARAMS& given) noexcept
{
    for (UINT at = 0; at < given.cArgs; ++at) {
        const ParameterFacts* wanted = parameter_of(method, given, at);
        if (wanted != nullptr && !fits(given.rgvarg[at], *wanted)) {
            return false;
        }
    }
    return true;
}

/// The arguments of one call.
class Arguments {
public:
    Arguments(const MethodFacts& method, const DISPPARAMS& given) noexcept : method_(method), given_(given) {}

    /// What the member is called with.
    [[nodiscard]] VARIANT* passed() noexcept { return passed_.data(); }

    HRESULT adapt(UINT* bad_argument) noexcept
    {
        return each(bad_argument, [this](UINT at) {
            passed_[at] = given_.rgvarg[at];
            const ParameterFacts* wanted = parameter_of(method_, given_, at);
            return wanted != nullptr ? arguments_[at].adapt(passed_[at], *wanted) : S_OK;
        });
    }
    /// All or nothing: a value that does not fit the caller's variable leaves every other variable as it was.
    HRESULT give_back(UINT* bad_argument) noexcept
    {
        const HRESULT converted = each(bad_argument, [this](UINT at) { return arguments_[at].convert_back(); });
        for (UINT at = 0; SUCCEEDED(converted) && at < given_.cArgs; ++at) {
            arguments_[at].give_back();
        }
        return converted;
    }

private:
    template <class Step>
    HRESULT each(UINT* bad_argument, Step&& step) noexcept
    {
        for (UINT at = 0; at < given_.cArgs; ++at) {
            if (const HRESULT done = step(at); FAILED(done)) {
                if (bad_argument != nullptr) {
                    *bad_argument = at;
                }
                return done;
            }
        }
        return S_OK;
    }

    const MethodFacts& method_;
    const DISPPARAMS& given_;
    std::array<Argument, most_arguments> arguments_;
    std::array<VARIANT, most_arguments> passed_;
};

HRESULT invoke_adapted(const TypeInfo& info, const MethodFacts& method, void* object, DISPID id, WORD flags,
                       const DISPPARAMS& given, VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) noexcept
{
    Arguments arguments(method, given);
    if (const HRESULT adapted = arguments.adapt(bad_argument); FAILED(adapted)) {
        return adapted;
    }
    DISPPARAMS parameters = given;
    parameters.rgvarg = arguments.passed();
    HRESULT called = info.get()->Invoke(object, id, flags, &parameters, result, exception, bad_argument);
    if (FAILED(called)) {
        return called;
    }
    called = arguments.give_back(bad_argument);
    if (FAILED(called) && result != nullptr) {
        VariantClear(result);  // of a call that failed, nobody would
    }
    return called;
}

/// `Set object.Property = other` asks for a member that takes references. The library's object properties take them by
/// value; a property that takes no objects is not for Set.
WORD flags_for(const TypeInfo& info, DISPID id, WORD flags) noexcept
{
    if (!(flags & DISPATCH_PROPERTYPUTREF) || info.find(id, DISPATCH_PROPERTYPUTREF) != nullptr) {
        return flags;
    }
    const MethodFacts* put = info.find(id, DISPATCH_PROPERTYPUT);
    if (put == nullptr || put->parameters.empty()) {
        return flags;
    }
    const VARTYPE type = put->parameters.back().type;
    const bool takes_objects = type == VT_DISPATCH || type == VT_UNKNOWN || type == VT_VARIANT;
    return takes_objects ? static_cast<WORD>((flags & ~DISPATCH_PROPERTYPUTREF) | DISPATCH_PROPERTYPUT) : flags;
}

}  // namespace

HRESULT invoke(const TypeInfo& info, void* object, DISPID id, WORD flags, DISPPARAMS* parameters, VARIANT* result,
               EXCEPINFO* exception, UINT* bad_argument) noexcept
{
    flags = flags_for(info, id, flags);
    if (parameters != nullptr && parameters->cArgs != 0 && parameters->cArgs <= most_arguments) {
        const MethodFacts* method = info.find(id, flags);
        if (method != nullptr && !all_fit(*method, *parameters)) {
            return invoke_adapted(info, *method, object, id, flags, *parameters, result, exception, bad_argument);
        }
    }
    return info.get()->Invoke(object, id, flags, parameters, result, exception, bad_argument);
}

}  // namespace vex::server
