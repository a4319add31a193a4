#include "server/array_arguments.h"

#include <algorithm>
#include <string>
#include <vector>

#include "server/byte_array.h"
#include "server/ref.h"
#include "server/wall.h"

namespace server {

namespace {

constexpr ULONG most_elements = 1U << 24;  // a script that passes more by single elements is mistaken

SAFEARRAY* variants_of(VARIANT& elements) noexcept
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

/// The byte a script's number is.
HRESULT to_byte(VARIANT& element, unsigned char& byte) noexcept
{
    VARIANT converted;
    VariantInit(&converted);
    const HRESULT changed = VariantChangeType(&converted, &element, 0, VT_UI1);
    if (SUCCEEDED(changed)) {
        byte = V_UI1(&converted);
    }
    return changed;
}

HRESULT variants_to_bytes(SAFEARRAY* variants, SAFEARRAY** bytes)
{
    if (variants == nullptr) {
        return DISP_E_TYPEMISMATCH;
    }
    std::vector<SAFEARRAYBOUND> bounds;
    for (UINT dimension = 1; dimension <= SafeArrayGetDim(variants); ++dimension) {
        LONG lower = 0;
        LONG upper = 0;
        SafeArrayGetLBound(variants, dimension, &lower);
        SafeArrayGetUBound(variants, dimension, &upper);
        bounds.push_back({static_cast<ULONG>(upper - lower + 1), lower});
    }
    SAFEARRAY* made = SafeArrayCreate(VT_UI1, static_cast<UINT>(bounds.size()), bounds.data());
    if (made == nullptr) {
        return E_OUTOFMEMORY;
    }
    HRESULT converted = S_OK;
    {
        const ArrayLock from(variants);
        const ArrayLock to(made);
        converted = FAILED(from.status()) ? from.status() : to.status();
        auto* element = reinterpret_cast<VARIANT*>(from.data());
        const std::size_t count = element_count(variants);
        for (std::size_t at = 0; at < count && SUCCEEDED(converted); ++at) {
            converted = to_byte(element[at], to.data()[at]);
        }
    }
    if (FAILED(converted)) {
        SafeArrayDestroy(made);
        return converted;
    }
    *bytes = made;
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
            got = to_byte(value, read[at]);
        }
        VariantClear(&value);
        if (FAILED(got)) {
            return DISP_E_TYPEMISMATCH;
        }
    }
    return bytes_to_array(read.data() != nullptr ? static_cast<const void*>(read.data()) : "", length, bytes);
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

}  // namespace

HRESULT elements_to_bytes(VARIANT& elements, SAFEARRAY** bytes) noexcept
{
    return guarded([&] {
        return V_VT(&elements) == VT_DISPATCH ? object_to_bytes(V_DISPATCH(&elements), bytes)
                                              : variants_to_bytes(variants_of(elements), bytes);
    });
}

void fill_elements(SAFEARRAY* bytes, VARIANT& elements) noexcept
{
    const ArrayLock from(bytes);
    if (FAILED(from.status())) {
        return;
    }
    const std::size_t count = element_count(bytes);
    if (V_VT(&elements) == VT_DISPATCH) {
        for (std::size_t at = 0; at < count; ++at) {
            if (FAILED(guarded([&] {
                    set_property(*V_DISPATCH(&elements), std::to_wstring(at), from.data()[at]);
                    return S_OK;
                }))) {
                return;
            }
        }
        return;
    }
    SAFEARRAY* variants = variants_of(elements);
    const ArrayLock to(variants);
    if (FAILED(to.status())) {
        return;
    }
    auto* element = reinterpret_cast<VARIANT*>(to.data());
    const std::size_t both = std::min(count, element_count(variants));
    for (std::size_t at = 0; at < both; ++at) {
        VariantClear(&element[at]);
        V_VT(&element[at]) = VT_UI1;
        V_UI1(&element[at]) = from.data()[at];
    }
}

}  // namespace server
