// Events for C++ clients: a listener that the server's objects call, and its connection to one of them.
// Run in the tests as a part of camera.
#pragma once

#include "automation.h"

#include <functional>
#include <utility>

#include <olectl.h>

namespace automation {

/// Answers one interface of events, such as DIID__IVexSystemEvents, and hands each event to a function: its number and
/// its arguments, which stand in reverse order. The function is called on a thread of the server; no exception may
/// leave it.
class Listener final : public IDispatch {
public:
    using Handler = std::function<void(DISPID event, const DISPPARAMS& arguments)>;

    Listener(const IID& events, Handler handler) : events_(events), handler_(std::move(handler)) {}

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override
    {
        const bool known = iid == events_ || iid == IID_IDispatch || iid == IID_IUnknown;
        *object = known ? static_cast<IDispatch*>(this) : nullptr;
        if (known) {
            AddRef();
        }
        return known ? S_OK : E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&references_)); }
    ULONG STDMETHODCALLTYPE Release() override
    {
        const LONG left = InterlockedDecrement(&references_);
        if (left == 0) {
            delete this;
        }
        return static_cast<ULONG>(left);
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override
    {
        *count = 0;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID event, REFIID, LCID, WORD, DISPPARAMS* arguments, VARIANT*, EXCEPINFO*,
                                     UINT*) override
    {
        handler_(event, *arguments);
        return S_OK;
    }

private:
    ~Listener() = default;

    LONG references_ = 0;
    IID events_;
    Handler handler_;
};

/// As long as it lives, the object's events call the function.
class Connection {
public:
    Connection(IUnknown* object, const IID& events, Listener::Handler handler)
    {
        Ref<IConnectionPointContainer> container;
        Ref<IUnknown> listener;
        auto* const made = new Listener(events, std::move(handler));
        made->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(listener.out()));
        if (FAILED(object->QueryInterface(IID_IConnectionPointContainer, reinterpret_cast<void**>(container.out()))) ||
            FAILED(container->FindConnectionPoint(events, point_.out())) ||
            FAILED(point_->Advise(listener.get(), &cookie_))) {
            throw Failure{L"listening to events"};
        }
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    ~Connection() { point_->Unadvise(cookie_); }

private:
    Ref<IConnectionPoint> point_;
    DWORD cookie_ = 0;
};

/// The object that an event passes as an argument; null where it passes none.
template <class Interface>
void object_of(Ref<Interface>& object, const VARIANT& argument)
{
    if (V_VT(&argument) == VT_DISPATCH && V_DISPATCH(&argument) != nullptr) {
        V_DISPATCH(&argument)->QueryInterface(__uuidof(Interface), reinterpret_cast<void**>(object.out()));
    }
}

}  // namespace automation
