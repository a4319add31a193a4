// Wrapper: what every implementation class is made of. See README.md for how a class is written.
#pragma once

#include <concepts>
#include <functional>
#include <type_traits>
#include <utility>

#include "generated/class_facts.h"
#include "generated/not_built.h"
#include "server/byte_array.h"
#include "server/connection_point.h"
#include "server/convert.h"
#include "server/dispatch.h"
#include "server/error_info.h"
#include "server/object.h"
#include "server/result.h"
#include "server/sdk_object.h"
#include "server/type_library.h"

namespace vex::server {

/// The coclass's type information, one holder for the whole module.
template <class T>
inline constinit TypeInfoHolder class_info_of{ClassFacts<T>::clsid};

/// The base of implementation class T: its interfaces, and helpers that make a member one line.
///
/// Base is the class's default interface, NotBuilt of it, or a mixin over either. A class with a source interface fires
/// its events with fire(). ComObject<T> completes T; T itself stays without a reference count.
///
/// Thread safety: as the SDK object behind it; reference counting and firing work from any thread.
template <class T, class Base = typename ClassFacts<T>::Interface>
class Wrapper : private ModuleLock,
                public Dispatch<Base>,
                public ISupportErrorInfo,
                public IProvideClassInfo2,
                public EventSource<typename ClassFacts<T>::Events> {
public:
    using DefaultInterface = typename ClassFacts<T>::Interface;
    using Events = typename ClassFacts<T>::Events;
    static_assert(std::same_as<DefaultInterfaceOf<Base>, DefaultInterface>, "the class table names another interface");

    Wrapper(const Wrapper&) = delete;
    Wrapper& operator=(const Wrapper&) = delete;

    // one declaration for all bases, completed by ComObject and AggregatedObject
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override = 0;
    ULONG STDMETHODCALLTYPE AddRef() noexcept override = 0;
    ULONG STDMETHODCALLTYPE Release() noexcept override = 0;
    /// Takes a reference unless the object is going away already: for whoever keeps a bare pointer that final_release
    /// takes back, and for whoever calls a client. Any thread.
    virtual bool hold_if_alive() noexcept = 0;

    HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) noexcept final
    {
        return iid == __uuidof(DefaultInterface) ? S_OK : S_FALSE;
    }

    HRESULT STDMETHODCALLTYPE GetClassInfo(ITypeInfo** info) noexcept final
    {
        return class_info_of<T>.GetTypeInfo(0, LOCALE_NEUTRAL, info);
    }
    /// The source interface whose events script hosts connect by name; E_INVALIDARG for any other kind, E_UNEXPECTED
    /// for a class without events.
    HRESULT STDMETHODCALLTYPE GetGUID(DWORD kind, GUID* guid) noexcept final
    {
        if (guid == nullptr) {
            return E_POINTER;
        }
        *guid = GUID_NULL;
        if (kind != GUIDKIND_DEFAULT_SOURCE_DISP_IID) {
            return E_INVALIDARG;
        }
        if constexpr (std::is_void_v<Events>) {
            return E_UNEXPECTED;
        } else {
            *guid = __uuidof(Events);
            return S_OK;
        }
    }

    /// The object's interface with that identifier, without a reference; null when it has none. Inherited dual
    /// interfaces are answered too. A class that adds more hides this function and falls back to it.
    [[nodiscard]] void* find_interface(REFIID iid) noexcept
    {
        auto* const dual = static_cast<DefaultInterface*>(this);
        if (iid == __uuidof(DefaultInterface) || iid == IID_IDispatch || iid == IID_IUnknown ||
            extends<typename InterfaceBase<DefaultInterface>::Type>(iid)) {
            return dual;
        }
        if (iid == IID_ISupportErrorInfo) {
            return static_cast<ISupportErrorInfo*>(this);
        }
        if (iid == IID_IProvideClassInfo || iid == IID_IProvideClassInfo2) {
            return static_cast<IProvideClassInfo2*>(this);
        }
        if constexpr (!std::is_void_v<Events>) {
            if (iid == IID_IConnectionPointContainer) {
                return static_cast<IConnectionPointContainer*>(this);
            }
        }
        return nullptr;
    }

    // what a class hides when it has something to do there
    HRESULT final_construct() { return S_OK; }
    using NoFinalConstruct = HRESULT (Wrapper::*)();
    void final_release() noexcept {}
    static void initialise_class(bool /*loading*/) noexcept {}

protected:
    Wrapper() = default;
    ~Wrapper() = default;

    // In all helpers `call` takes the SDK object by reference, or nothing when it does not use it. It runs inside the
    // wall: what it throws becomes the HRESULT or the failed result.

    /// A member that reports by result object: `call` returns a PvResult. The HRESULT says only whether the call could
    /// be made.
    template <class Call>
    HRESULT result(IVexResult** out, Call&& call) noexcept
    {
        return guarded([&] { return CreateResultObject(outcome(call), not_null(out)); });
    }

    /// A member that reports by result object and has one more output: `call` takes the SDK object and a Value to fill,
    /// and returns a PvResult. The output is stored as the SDK left it, whatever the result.
    template <class Value, class Out, class Call>
    HRESULT result_with(IVexResult** out, Out* filled, Call&& call) noexcept
    {
        return guarded([&] {
            Value left{};
            auto fill = [&](auto& sdk) { return std::invoke(call, sdk, left); };
            const PvResult outcome_of_call = outcome(fill);
            store(filled, left);
            return CreateResultObject(outcome_of_call, not_null(out));
        });
    }

    /// A getter that reports failures as error information: `call` takes the SDK object and a Value to fill, and
    /// returns a PvResult. The value is stored as the SDK left it; then a result that is not OK is raised.
    template <class Value, class Out, class Call>
    HRESULT get(Out* out, Call&& call) noexcept
    {
        return guarded([&]() -> HRESULT {
            Value left{};
            auto fill = [&](auto& sdk) { return std::invoke(call, sdk, left); };
            const PvResult outcome_of_call = on_sdk(fill);
            store(out, left);
            return outcome_of_call.IsOK() ? S_OK : raise(outcome_of_call);
        });
    }
    /// The same for an SDK getter of the usual form, given as a pointer to it.
    template <class Value, class Sdk, class Out>
    HRESULT get(Out* out, PvResult (Sdk::*getter)(Value&) const) noexcept
    {
        return get<Value>(out, [getter](const Sdk& sdk, Value& left) { return (sdk.*getter)(left); });
    }

    /// A getter: what `call` returns is stored by the conversion rules.
    template <class Out, class Call>
    HRESULT value(Out* out, Call&& call) noexcept
    {
        return guarded([&] {
            store(not_null(out), on_sdk(call));
            return S_OK;
        });
    }

    /// A setter: a PvResult that is not OK is raised as error information; a `call` that returns nothing succeeds.
    template <class Call>
    HRESULT set(Call&& call) noexcept
    {
        return guarded([&]() -> HRESULT {
            if constexpr (std::is_void_v<decltype(on_sdk(call))>) {
                on_sdk(call);
                return S_OK;
            } else {
                const PvResult outcome = on_sdk(call);
                return outcome.IsOK() ? S_OK : raise(outcome);
            }
        });
    }

    /// A getter that hands out the SDK object's sub-object through a reused child: re-points the child and returns it.
    /// Null with S_OK, and the child left as it was, when `call` returns null.
    template <class Interface, class Child, class Call>
    HRESULT child(Interface** out, const Ref<Child>& wrapper, Call&& call) noexcept
    {
        return guarded([&] {
            *not_null(out) = nullptr;
            if (auto* part = on_sdk(call); part != nullptr) {
                not_null(wrapper.get())->AttachSdkObject(part);
                wrapper->AddRef();
                *out = wrapper.get();
            }
            return S_OK;
        });
    }

    /// Error information from a failure, in this class's name.
    static HRESULT raise(const PvResult& failure) noexcept
    {
        return raise_error(failure.description(), __uuidof(DefaultInterface), ClassFacts<T>::clsid,
                           ClassFacts<T>::prog_id);
    }

private:
    template <class Call>
    static constexpr bool uses_sdk = !std::invocable<Call&>;

    /// Calls with the SDK object; E_POINTER when nothing is behind the wrapper.
    template <class Call>
    decltype(auto) on_sdk(Call& call)
    {
        if constexpr (uses_sdk<Call>) {
            return std::invoke(call, *not_null(static_cast<T*>(this)->sdk()));
        } else {
            return call();
        }
    }

    template <class Call>
    PvResult outcome(Call& call)
    {
        if constexpr (uses_sdk<Call>) {
            if (static_cast<T*>(this)->sdk() == nullptr) {
                return {PvResult::NotInitialized, "This object is not attached to anything"};
            }
        }
        try {
            return on_sdk(call);
        } catch (...) {
            return result_of_exception();
        }
    }

    /// Whether the identifier is Interface's or that of an interface it extends.
    template <class Interface>
    static bool extends(REFIID iid) noexcept
    {
        if constexpr (std::is_void_v<Interface>) {
            return false;
        } else {
            return iid == __uuidof(Interface) || extends<typename InterfaceBase<Interface>::Type>(iid);
        }
    }
};

/// Wraps an SDK object in a new wrapper that borrows it, with one reference for the caller.
template <class T, class Sdk, class Interface>
HRESULT wrap(Sdk* borrowed, Interface** out) noexcept
{
    if (out == nullptr) {
        return E_POINTER;
    }
    *out = nullptr;
    Ref<T> made;
    const HRESULT created = create_object(made);
    if (SUCCEEDED(created)) {
        made->AttachSdkObject(borrowed);
        *out = made.detach();
    }
    return created;
}

}  // namespace vex::server
