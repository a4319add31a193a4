#include "tests/com/com_client.h"

#include <algorithm>

namespace client {

std::wstring Variant::text() const
{
    Variant converted;
    if (FAILED(VariantChangeType(converted.put(), const_cast<VARIANT*>(&value_), 0, VT_BSTR))) {
        return L"(no text)";
    }
    return {converted->bstrVal, SysStringLen(converted->bstrVal)};
}

SAFEARRAY* byte_array(std::initializer_list<unsigned char> bytes, LONG lower)
{
    SAFEARRAY* array = SafeArrayCreateVector(VT_UI1, lower, static_cast<ULONG>(bytes.size()));
    void* data = nullptr;
    SafeArrayAccessData(array, &data);
    std::copy(bytes.begin(), bytes.end(), static_cast<unsigned char*>(data));
    SafeArrayUnaccessData(array);
    return array;
}

SAFEARRAY* variant_array(std::initializer_list<Variant> elements, LONG lower)
{
    SAFEARRAY* array = SafeArrayCreateVector(VT_VARIANT, lower, static_cast<ULONG>(elements.size()));
    LONG index = lower;
    for (const Variant& element : elements) {
        SafeArrayPutElement(array, &index, const_cast<VARIANT*>(&element.get()));
        ++index;
    }
    return array;
}

std::vector<unsigned char> bytes_of(SAFEARRAY* array)
{
    void* data = nullptr;
    if (array == nullptr || FAILED(SafeArrayAccessData(array, &data))) {
        return {};
    }
    const auto* first = static_cast<const unsigned char*>(data);
    std::vector<unsigned char> bytes(first, first + array->rgsabound[0].cElements);
    SafeArrayUnaccessData(array);
    return bytes;
}

HRESULT LateBound::invoke(const wchar_t* name, WORD flags, std::vector<Variant> arguments, Variant* result)
{
    LPOLESTR asked = const_cast<LPOLESTR>(name);
    DISPID id = DISPID_UNKNOWN;
    if (const HRESULT known = object_->GetIDsOfNames(IID_NULL, &asked, 1, LOCALE_USER_DEFAULT, &id); FAILED(known)) {
        return known;
    }
    std::vector<VARIANT> reversed;
    std::transform(arguments.rbegin(), arguments.rend(), std::back_inserter(reversed),
                   [](const Variant& argument) { return argument.get(); });
    DISPID put = DISPID_PROPERTYPUT;
    DISPPARAMS parameters{reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
    if (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) {
        parameters.rgdispidNamedArgs = &put;
        parameters.cNamedArgs = 1;
    }
    EXCEPINFO exception{};
    bad_argument_ = ~0U;
    const HRESULT called = object_->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &parameters,
                                           result != nullptr ? result->put() : nullptr, &exception, &bad_argument_);
    source_ = take(exception.bstrSource);
    description_ = take(exception.bstrDescription);
    SysFreeString(exception.bstrHelpFile);
    scode_ = exception.scode;
    return called;
}

HRESULT Sink::QueryInterface(REFIID iid, void** object) noexcept
{
    if (iid != IID_IUnknown && iid != IID_IDispatch && iid != events_) {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    AddRef();
    *object = static_cast<IDispatch*>(this);
    return S_OK;
}

HRESULT Sink::Invoke(DISPID event, REFIID iid, LCID lcid, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                     EXCEPINFO* exception, UINT* bad_argument)
{
    lcid_ = lcid;
    flags_ = flags;
    plain_ = iid == IID_NULL && parameters->cNamedArgs == 0 && parameters->rgdispidNamedArgs == nullptr &&
             result == nullptr && exception == nullptr && bad_argument == nullptr;
    return handler_(event, *parameters);
}

namespace {

Ref<IConnectionPoint> connection_point(IUnknown* object, const IID& events)
{
    Ref<IConnectionPoint> point;
    if (const auto container = query<IConnectionPointContainer>(object); container) {
        container->FindConnectionPoint(events, point.put());
    }
    return point;
}

}  // namespace

DWORD advise(IUnknown* object, const IID& events, IUnknown* sink)
{
    DWORD cookie = 0;
    if (const auto point = connection_point(object, events); point) {
        point->Advise(sink, &cookie);
    }
    return cookie;
}

HRESULT unadvise(IUnknown* object, const IID& events, DWORD cookie)
{
    const auto point = connection_point(object, events);
    return point ? point->Unadvise(cookie) : CONNECT_E_NOCONNECTION;
}

std::wstring take(BSTR text)
{
    const std::wstring copy(text != nullptr ? text : L"", SysStringLen(text));
    SysFreeString(text);
    return copy;
}

ULONG references(IUnknown* object) noexcept
{
    object->AddRef();
    return object->Release();
}

}  // namespace client
