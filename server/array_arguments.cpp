#include "server/array_arguments.h"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "server/argument_values.h"
#include "server/byte_array.h"
#include "server/ref.h"
#include "server/wall.h"

namespace vex::server {

namespace {

constexpr ULONG most_elements = 1U << 24;  // a script that passes more by single elements is mistaken

SAFEARRAY* array_of(VARIANT& elements) noexcept
{
    return V_VT(&elements) & VT_BYREF ? *V_ARRAYREF(&elements) : V_ARRAY(&elements);
}

std::size_t element_count(SAFEARRAY* array) noexcept
{
    std::size_t count = 1;
    for (USHORT dimension = 0; dimension < array->cDims; ++dimension) {
        count *= array->rgsabound[dimension].cElements;
    }
    return count;
}

VARTYPE element_type(SAFEARRAY* array) noexcept
{
    VARTYPE type = VT_EMPTY;
    SafeArrayGetVartype(array, &type);
    return type;
}

/// A view of one element as a VARIANT, which owns nothing.
VARIANT view(unsigned char* element, VARTYPE type, std::size_t size) noexcept
{
    VARIANT seen;
    if (type == VT_VARIANT) {
        std::memcpy(&seen, element, sizeof seen);
    } else {
        VariantInit(&seen);
        V_VT(&seen) = type;
        std::memcpy(&V_NONE(&seen), element, size);
    }
    return seen;
}

/// Converts one element into place; what it owns, such as a reference, goes to the place.
HRESULT convert(const VARIANT& element, VARTYPE type, unsigned char* place, std::size_t size) noexcept
{
    VARIANT converted{};
    const HRESULT changed = change_type(converted, element, type);
    if (SUCCEEDED(changed)) {
        std::memcpy(place, &V_NONE(&converted), size);
    }
    return changed;
}

/// Throws when either array cannot be locked.
HRESULT convert_all(SAFEARRAY* from, SAFEARRAY* to, VARTYPE type)
{
    const ArrayLock source(from);
    const ArrayLock target(to);
    const VARTYPE given = element_type(from);
    const std::size_t from_size = SafeArrayGetElemsize(from);
    const std::size_t to_size = SafeArrayGetElemsize(to);
    const std::size_t count = element_count(from);
    HRESULT converted = S_OK;
    for (std::size_t at = 0; at < count && SUCCEEDED(converted); ++at) {
        converted = convert(view(source.data() + at * from_size, given, from_size), type, target.data() + at * to_size,
                            to_size);
    }
    return converted;
}

HRESULT convert_array(SAFEARRAY* from, VARTYPE type, SAFEARRAY** array)
{
    *array = nullptr;
    if (from == nullptr) {
        return S_OK;
    }
    std::vector<SAFEARRAYBOUND> bounds;
    for (UINT dimension = 1; dimension <= SafeArrayGetDim(from); ++dimension) {
        LONG lower = 0;
        LONG upper = 0;
        SafeArrayGetLBound(from, dimension, &lower);
        SafeArrayGetUBound(from, dimension, &upper);
        bounds.push_back({static_cast<ULONG>(upper - lower + 1), lower});
    }
    SAFEARRAY* made = SafeArrayCreate(type, static_cast<UINT>(bounds.size()), bounds.data());
    if (made == nullptr) {
        return E_OUTOFMEMORY;
    }
    const HRESULT converted = guarded([&] { return convert_all(from, made, type); });
    if (FAILED(converted)) {
        SafeArrayDestroy(made);
        return converted;
    }
    *array = made;
    return S_OK;
}

/// A property of an array-like object, by name.
HRESULT get_property(IDispatch& object, std::wstring name, VARIANT& value)
{
    LPOLESTR text = name.data();
    DISPID id = DISPID_UNKNOWN;
    const HRESULT known = object.GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id);
    if (FAILED(known)) {
        return known;
    }
    DISPPARAMS none{};
    return object.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET, &none, &value, nullptr, nullptr);
}

HRESULT get_length(IDispatch& object, ULONG& length)
{
    VARIANT value;
    VariantInit(&value);
    HRESULT got = get_property(object, L"length", value);
    if (SUCCEEDED(got)) {
        got = VariantChangeType(&value, &value, 0, VT_UI4);
    }
    if (SUCCEEDED(got)) {
        length = V_UI4(&value);
    }
    VariantClear(&value);
    return got;
}

HRESULT object_to_bytes(IDispatch* object, SAFEARRAY** bytes)
{
    ULONG length = 0;
    if (object == nullptr || FAILED(get_length(*object, length)) || length > most_elements) {
        return S_FALSE;
    }
    std::vector<unsigned char> read(length);
    for (ULONG at = 0; at < length; ++at) {
        VARIANT value;
        VariantInit(&value);
        HRESULT got = get_property(*object, std::to_wstring(at), value);
        if (SUCCEEDED(got)) {
            got = convert(value, VT_UI1, &read[at], 1);
        }
        VariantClear(&value);
        if (FAILED(got)) {
            return DISP_E_TYPEMISMATCH;
        }
    }
    static constexpr unsigned char nothing = 0;
    *bytes = new_byte_array({length != 0 ? read.data() : &nothing, length});
    return S_OK;
}

void set_property(IDispatch& object, std::wstring name, unsigned char value)
{
    LPOLESTR text = name.data();
    DISPID id = DISPID_UNKNOWN;
    if (SUCCEEDED(object.GetIDsOfNames(IID_NULL, &text, 1, LOCALE_USER_DEFAULT, &id))) {
        VARIANT number;
        V_VT(&number) = VT_I4;
        V_I4(&number) = value;
        DISPID put = DISPID_PROPERTYPUT;
        DISPPARAMS parameters{&number, &put, 1, 1};
        object.Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYPUT, &parameters, nullptr, nullptr, nullptr);
    }
}

void fill_object(const unsigned char* bytes, std::size_t count, IDispatch& object)
{
    for (std::size_t at = 0; at < count; ++at) {
        set_property(object, std::to_wstring(at), bytes[at]);
    }
}

/// Copies an element to a script's variable; an object as one that scripts can call, where it is one.
void give(VARIANT& element, VARIANT* variable)
{
    Ref<IDispatch> callable;
    if (V_VT(&element) == VT_UNKNOWN && V_UNKNOWN(&element) != nullptr &&
        SUCCEEDED(V_UNKNOWN(&element)->QueryInterface(IID_IDispatch, callable.put_void()))) {
        V_VT(&element) = VT_DISPATCH;
        V_DISPATCH(&element) = callable.get();
    }
    VariantCopy(variable, &element);
}

void fill_array(unsigned char* values, SAFEARRAY* from, SAFEARRAY* caller)
{
    const ArrayLock to(caller);
    if (element_type(caller) != VT_VARIANT) {
        return;
    }
    const VARTYPE type = element_type(from);
    const std::size_t size = SafeArrayGetElemsize(from);
    const std::size_t both = std::min(element_count(from), element_count(caller));
    for (std::size_t at = 0; at < both; ++at) {
        VARIANT element = view(values + at * size, type, size);
        give(element, reinterpret_cast<VARIANT*>(to.data()) + at);
    }
}

}  // namespace

HRESULT elements_to_array(VARIANT& elements, VARTYPE type, SAFEARRAY** array) noexcept
{
    return guarded([&] {
        return V_VT(&elements) == VT_DISPATCH ? object_to_bytes(V_DISPATCH(&elements), array)
                                              : convert_array(array_of(elements), type, array);
    });
}

void fill_elements(SAFEARRAY* array, VARIANT& elements) noexcept
{
    static_cast<void>(guarded([&] {
        const ArrayLock from(array);
        if (V_VT(&elements) == VT_DISPATCH) {
            fill_object(from.data(), element_count(array), *V_DISPATCH(&elements));
        } else {
            fill_array(from.data(), array, array_of(elements));
        }
    }));
}

}  // namespace vex::server
