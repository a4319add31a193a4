// Wrapper: what every implementation class is made of. See README.md for how a class is written.
#pragma once

#include <concepts>
#include <string_view>
#include <type_traits>
#include <utility>

#include "generated/class_facts.h"
#include "generated/interface_bases.h"
#include "server/connection_point.h"
#include "server/dispatch.h"
#include "server/error_info.h"
#include "server/object.h"
#include "server/result.h"
#include "server/sdk_call.h"
#include "server/sdk_object.h"
#include "server/type_library.h"

namespace vex::server {

/// The coclass's type information, one holder for the whole module.
template <class T>
inline constinit TypeInfoHolder class_info_of{ClassFacts<T>::clsid};

/// The base of implementation class T: its interfaces, and helpers that make a member one line.
///
/// Base is the class's default interface, or a mixin over it. A class with a source interface fires its events with
/// fire(). ComObject<T> completes T; T itself stays without a reference count.
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

    /// The private face of an object over an SDK object, without a reference; null for any other identifier.
    [[nodiscard]] void* find_sdk_face(REFIID iid) noexcept
    {
        if constexpr (std::derived_from<T, SdkFace>) {
            return iid == sdk_face_id ? static_cast<SdkFace*>(static_cast<T*>(this)) : nullptr;
        } else {
            return nullptr;
        }
    }

    // what a class hides when it has something to do there
    void final_construct() {}
    using NoFinalConstruct = void (Wrapper::*)();
    void final_release() noexcept {}
    static void initialise_class(bool /*loading*/) noexcept {}

protected:
    Wrapper() = default;
    ~Wrapper() = default;

    // The helpers are inlined into the members: a member's call into the SDK must not go through a pointer.
    //
    // In all helpers `call` is a pointer to the SDK's member, a function, or a function object that is not a template,
    // and `arguments` are the member's own, which are converted to what the call takes (server/convert.h). The call
    // takes the SDK object first, or leaves it out. It runs inside the wall: what it throws becomes the HRESULT or the
    // failed result.

    /// A member that reports by result object: `call` returns a PvResult. The HRESULT says only whether the call could
    /// be made. Outputs are stored as the SDK left them, whatever the result.
    template <class Call, class... Arguments>
    [[gnu::always_inline]] HRESULT report(IVexResult** result, Call call, Arguments... arguments) noexcept
    {
        return guarded([&]() __attribute__((always_inline)) {
            return CreateResultObject(outcome(call, arguments...), not_null(result));
        });
    }

    /// A getter: what `call` returns is stored by the conversion rules.
    template <class Out, class Call, class... Arguments>
    [[gnu::always_inline]] HRESULT value(Out* out, Call call, Arguments... arguments) noexcept
    {
        return guarded([&]() __attribute__((always_inline)) { store(not_null(out), on_sdk(call, arguments...)); });
    }

    /// A getter that reports failures as error information: `call` fills its last parameter and returns a PvResult. The
    /// value is stored as the SDK left it; then a result that is not OK is raised.
    template <class Out, class Call, class... Arguments>
    [[gnu::always_inline]] HRESULT get(Out* out, Call call, Arguments... arguments) noexcept
    {
        return guarded([&]() __attribute__((always_inline)) {
            return raised(on_sdk(call, arguments..., not_null(out)));
        });
    }

    /// A setter: a PvResult that is not OK is raised as error information; a `call` that returns nothing succeeds.
    template <class Call, class... Arguments>
    [[gnu::always_inline]] HRESULT set(Call call, Arguments... arguments) noexcept
    {
        return guarded([&]() __attribute__((always_inline)) {
            if constexpr (std::is_void_v<decltype(on_sdk(call, arguments...))>) {
                on_sdk(call, arguments...);
            } else {
                return raised(on_sdk(call, arguments...));
            }
        });
    }

    /// A getter that hands out the SDK object's sub-object through a reused child: re-points the child, which goes with
    /// the SDK object, and returns it. Null with S_OK, and the child left as it was, when `call` returns null.
    template <class Interface, class Child, class Call, class... Arguments>
    [[gnu::always_inline]] HRESULT child(Interface** out, const Ref<Child>& wrapper, Call call,
                                         Arguments... arguments) noexcept
    {
        return guarded([&]() __attribute__((always_inline)) {
            *not_null(out) = nullptr;
            if (auto* part = on_sdk(call, arguments...); part != nullptr) {
                show_part(*wrapper, part);
                wrapper.copy_to(out);
            }
        });
    }

    /// Any other member: what `body` throws becomes the HRESULT, and what it throws or returns as a failure is
    /// described in this class's name. It returns an HRESULT or nothing.
    template <class Body>
    [[gnu::always_inline]] static HRESULT guarded(Body&& body) noexcept
    {
        try {
            if constexpr (std::is_void_v<decltype(body())>) {
                body();
                return S_OK;
            } else {
                const HRESULT done = body();
                // what was raised has its description
                return SUCCEEDED(done) || done == DISP_E_EXCEPTION ? done : describe(done);
            }
        } catch (...) {
            return describe_exception();
        }
    }

    /// S_OK for a result that is OK; any other raised as error information in this class's name.
    static HRESULT raised(const PvResult& outcome) noexcept
    {
        return outcome.IsOK() ? S_OK : describe(DISP_E_EXCEPTION, outcome.description());
    }

    /// The SDK object; throws E_POINTER when nothing is behind the wrapper.
    [[nodiscard]] auto& attached_sdk()
    {
        auto* const sdk = static_cast<T*>(this)->sdk();
        if (sdk == nullptr) {
            throw_not_attached(ClassFacts<T>::name);
        }
        return *sdk;
    }

    /// Points a child at a part of the SDK object.
    template <class Child, class Part>
    void show_part(Child& wrapper, Part* part)
    {
        if constexpr (
            requires { part->lifetime(); } || requires { part->shared(); }) {
            wrapper.AttachSdkObject(part);
        } else {
            wrapper.AttachSdkObject(part, static_cast<T*>(this)->lifetime());
        }
    }

    /// Chooses among an SDK member's overloads: overload<PvResult(PvString&) const>(&PvGenEnum::GetValue).
    template <class Signature>
    static constexpr detail::Overload<Signature> overload{};

private:
    static ErrorSource error_source() noexcept
    {
        return {__uuidof(DefaultInterface), ClassFacts<T>::clsid, ClassFacts<T>::prog_id};
    }

    // of their own, so that members stay short: a failure takes its time anyway
    [[gnu::cold, gnu::noinline]] static HRESULT describe(HRESULT failure, std::string_view description = {}) noexcept
    {
        return raise_error(failure, description, error_source());
    }
    [[gnu::cold, gnu::noinline]] static HRESULT describe_exception() noexcept
    {
        return raise_exception(error_source());
    }

    template <class Call, class... Arguments>
    [[gnu::always_inline]] decltype(auto) on_sdk(Call call, Arguments... arguments)
    {
        if constexpr (takes_sdk<Call, sizeof...(Arguments)>) {
            return call_sdk(call, &attached_sdk(), arguments...);
        } else {
            return call_sdk(call, static_cast<T*>(nullptr), arguments...);
        }
    }

    template <class Call, class... Arguments>
    [[gnu::always_inline]] PvResult outcome(Call call, Arguments... arguments)
    {
        if constexpr (takes_sdk<Call, sizeof...(Arguments)>) {
            if (static_cast<T*>(this)->sdk() == nullptr) {
                leave_outputs_empty<Call>(arguments...);
                return {PvResult::NotInitialized, "This object is not attached to anything"};
            }
        }
        try {
            return on_sdk(call, arguments...);
        } catch (...) {
            PvResult failed = result_of_exception();
            leave_outputs_empty<Call>(arguments...);
            return failed;
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

/// A new object, for another object of the library, without the registry. Throws the HRESULT of a failed creation.
template <class T>
[[nodiscard]] Ref<T> make()
{
    Ref<T> made;
    require(create_object(made));
    return made;
}

/// Wraps an SDK object in a new wrapper that borrows it, with one reference for the caller.
template <class T, class Sdk, class Interface>
void wrap(Sdk* borrowed, Interface** out)
{
    *not_null(out) = nullptr;
    Ref<T> made = make<T>();
    made->AttachSdkObject(borrowed);
    *out = made.detach();
}

}  // namespace vex::server
