// Interfaces of the server as a client may implement them itself.
#pragma once

#include "server/com.h"

namespace client {

/// IDispatch of an object that is called through its interface only: no type information, no late-bound calls.
/// Base is the interface, or a class that implements its other members.
template <class Base>
class EarlyBoundOnly : public Base {
public:
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*, UINT*) override
    {
        return E_NOTIMPL;
    }

protected:
    EarlyBoundOnly() = default;
    ~EarlyBoundOnly() = default;
};

/// A client's sink as C++ clients register it: the server calls the interface's own methods. It lives on the test's
/// stack, with a reference of its own.
template <class Interface>
class DualSink : public EarlyBoundOnly<Interface> {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override
    {
        if (iid != IID_IUnknown && iid != IID_IDispatch && iid != __uuidof(Interface)) {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        *object = static_cast<Interface*>(this);
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return ++references_; }
    ULONG STDMETHODCALLTYPE Release() noexcept override { return --references_; }

    [[nodiscard]] ULONG references() const noexcept { return references_; }

protected:
    ~DualSink() = default;

private:
    ULONG references_ = 1;
};

/// An object of somebody else's making, of which the server knows nothing but the interface. Not counted: it lives on
/// the test's stack.
template <class Base>
class ForeignObject final : public EarlyBoundOnly<Base> {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) noexcept override
    {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return 1; }
    ULONG STDMETHODCALLTYPE Release() noexcept override { return 1; }
};

}  // namespace client
