// The server as its clients use it: apartments, objects by CLSID, late-bound calls, event sinks.
#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "server/com.h"
#include "server/ref.h"
#include "server/type_library.h"
#include "tests/com/foreign_object.h"

namespace client {

using vex::server::Ref;

/// A test that runs in a single-threaded apartment.
class ComTest : public ::testing::Test {
protected:
    ComTest() { CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED); }
    ~ComTest() override { CoUninitialize(); }
};

/// An owned VARIANT.
class Variant {
public:
    Variant() noexcept { VariantInit(&value_); }
    Variant(const Variant& other) : Variant() { VariantCopy(&value_, const_cast<VARIANT*>(&other.value_)); }
    Variant(Variant&& other) noexcept : value_(other.value_) { VariantInit(&other.value_); }
    Variant& operator=(Variant other) noexcept
    {
        std::swap(value_, other.value_);
        return *this;
    }
    ~Variant() { VariantClear(&value_); }

    explicit Variant(int number) : Variant() { set(VT_I4).lVal = number; }
    explicit Variant(short number) : Variant() { set(VT_I2).iVal = number; }
    explicit Variant(unsigned int number) : Variant() { set(VT_UI4).ulVal = number; }
    explicit Variant(long long number) : Variant() { set(VT_I8).llVal = number; }
    explicit Variant(double number) : Variant() { set(VT_R8).dblVal = number; }
    explicit Variant(const wchar_t* text) : Variant() { set(VT_BSTR).bstrVal = SysAllocString(text); }
    explicit Variant(IDispatch* object) : Variant() { set(VT_DISPATCH).pdispVal = Ref(object).detach(); }
    /// Takes the array over.
    Variant(VARTYPE element, SAFEARRAY* array) : Variant()
    {
        set(static_cast<VARTYPE>(VT_ARRAY | element)).parray = array;
    }

    /// What a script passes for a variable of its own.
    static Variant by_reference(Variant& variable)
    {
        Variant made;
        made.set(VT_BYREF | VT_VARIANT).pvarVal = &variable.value_;
        return made;
    }
    /// What a typed client passes: a pointer to `target`, which holds a `type`.
    static Variant pointer(VARTYPE type, void* target)
    {
        Variant made;
        made.set(static_cast<VARTYPE>(VT_BYREF | type)).byref = target;
        return made;
    }

    [[nodiscard]] VARTYPE type() const noexcept { return value_.vt; }
    [[nodiscard]] const VARIANT& get() const noexcept { return value_; }
    /// Where a call stores a new value; what was held is cleared first.
    [[nodiscard]] VARIANT* put() noexcept
    {
        VariantClear(&value_);
        return &value_;
    }
    [[nodiscard]] VARIANT* operator->() noexcept { return &value_; }
    [[nodiscard]] const VARIANT* operator->() const noexcept { return &value_; }
    /// As text, the way a script prints it.
    [[nodiscard]] std::wstring text() const;

private:
    VARIANT& set(VARTYPE type) noexcept
    {
        value_.vt = type;
        return value_;
    }

    VARIANT value_;
};

/// An array of bytes, and an array of variants as VBScript has them.
[[nodiscard]] SAFEARRAY* byte_array(std::initializer_list<unsigned char> bytes, LONG lower = 0);
[[nodiscard]] SAFEARRAY* variant_array(std::initializer_list<Variant> elements, LONG lower = 0);
/// The bytes of a one-dimensional array of bytes.
[[nodiscard]] std::vector<unsigned char> bytes_of(SAFEARRAY* array);

/// Late-bound calls, as a script host makes them. Arguments stand in declared order.
class LateBound {
public:
    explicit LateBound(IDispatch* object) : object_(object) {}

    HRESULT get(const wchar_t* name, Variant& value) { return invoke(name, DISPATCH_PROPERTYGET, {}, &value); }
    HRESULT put(const wchar_t* name, Variant value)
    {
        return invoke(name, DISPATCH_PROPERTYPUT, {std::move(value)}, nullptr);
    }
    /// As `Set object.Name = value` does.
    HRESULT put_reference(const wchar_t* name, Variant value)
    {
        return invoke(name, DISPATCH_PROPERTYPUTREF, {std::move(value)}, nullptr);
    }
    HRESULT call(const wchar_t* name, std::vector<Variant> arguments, Variant* result = nullptr)
    {
        return invoke(name, DISPATCH_METHOD, std::move(arguments), result);
    }

    /// Of the last call.
    [[nodiscard]] const std::wstring& source() const noexcept { return source_; }
    [[nodiscard]] const std::wstring& description() const noexcept { return description_; }
    [[nodiscard]] SCODE scode() const noexcept { return scode_; }
    [[nodiscard]] UINT bad_argument() const noexcept { return bad_argument_; }

private:
    HRESULT invoke(const wchar_t* name, WORD flags, std::vector<Variant> arguments, Variant* result);

    Ref<IDispatch> object_;
    std::wstring source_;
    std::wstring description_;
    SCODE scode_ = 0;
    UINT bad_argument_ = 0;
};

/// A client's event sink: answers IDispatch and one source interface, and hands each event to a function.
class Sink final : public EarlyBoundOnly<IDispatch> {
public:
    using Handler = std::function<HRESULT(DISPID event, const DISPPARAMS& parameters)>;

    static Ref<Sink> create(const IID& events, Handler handler)
    {
        Ref<Sink> made;
        *made.put() = new Sink(events, std::move(handler));
        return made;
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override;
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() noexcept override
    {
        const ULONG left = --references_;
        if (left == 0) {
            delete this;
        }
        return left;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID event, REFIID iid, LCID lcid, WORD flags, DISPPARAMS* parameters,
                                     VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) override;

    [[nodiscard]] ULONG references() const noexcept { return references_; }
    /// How the last event arrived.
    [[nodiscard]] LCID lcid() const noexcept { return lcid_; }
    [[nodiscard]] WORD flags() const noexcept { return flags_; }
    [[nodiscard]] bool came_plain() const noexcept { return plain_; }

private:
    Sink(const IID& events, Handler handler) : events_(events), handler_(std::move(handler)) {}
    ~Sink() = default;

    IID events_;
    Handler handler_;
    std::atomic<ULONG> references_{1};
    LCID lcid_ = 0;
    WORD flags_ = 0;
    bool plain_ = false;
};

/// Connects a sink to an object's source interface; the cookie, or 0.
[[nodiscard]] DWORD advise(IUnknown* object, const IID& events, IUnknown* sink);
HRESULT unadvise(IUnknown* object, const IID& events, DWORD cookie);

/// Creates an object of the registered server. Null when that fails, which the test reports.
template <class Interface>
[[nodiscard]] Ref<Interface> create(const CLSID& clsid)
{
    Ref<Interface> made;
    const HRESULT created =
        CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, __uuidof(Interface), made.put_void());
    EXPECT_EQ(created, S_OK);
    return made;
}

template <class Interface>
[[nodiscard]] Ref<Interface> query(IUnknown* object)
{
    Ref<Interface> found;
    if (object != nullptr) {
        object->QueryInterface(__uuidof(Interface), found.put_void());
    }
    return found;
}

/// The text of a BSTR the caller owns; frees it.
[[nodiscard]] std::wstring take(BSTR text);

/// What a getter gives: `value_of(stream, &IVexStream::get_LocalPort)`. The object is a pointer or a Ref; the member's
/// failure is reported.
template <class Object, class Interface, class Value>
[[nodiscard]] Value value_of(const Object& object, HRESULT (STDMETHODCALLTYPE Interface::*getter)(Value*))
{
    Value value{};
    EXPECT_EQ(((*object).*getter)(&value), S_OK);
    return value;
}

template <class Object, class Interface>
[[nodiscard]] std::wstring text_of(const Object& object, HRESULT (STDMETHODCALLTYPE Interface::*getter)(BSTR*))
{
    return take(value_of(object, getter));
}

template <class Object, class Interface, class Given>
[[nodiscard]] Ref<Given> object_of(const Object& object, HRESULT (STDMETHODCALLTYPE Interface::*getter)(Given**))
{
    Ref<Given> given;
    EXPECT_EQ(((*object).*getter)(given.put()), S_OK);
    return given;
}

/// The object's reference count, by the answer of Release.
[[nodiscard]] ULONG references(IUnknown* object) noexcept;

}  // namespace client
