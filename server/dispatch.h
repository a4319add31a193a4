// IDispatch over the type library.
#pragma once

#include "server/class_facts.h"
#include "server/type_info.h"
#include "server/type_library.h"

namespace vex::server {

namespace detail {

template <class Base>
struct DefaultInterfaceOf {
    using Type = Base;
};
template <class Base>
    requires requires { typename Base::DefaultInterface; }
struct DefaultInterfaceOf<Base> {
    using Type = typename Base::DefaultInterface;
};

}  // namespace detail

/// The dual interface that a base class implements: Base itself, or the DefaultInterface it names.
template <class Base>
using DefaultInterfaceOf = typename detail::DefaultInterfaceOf<Base>::Type;

/// The type information of a dual interface, one holder for the whole module.
template <class Interface>
inline constinit TypeInfoHolder type_info_of{__uuidof(Interface)};

/// Implements IDispatch for a dual interface. Base is the interface, or a class that implements some of its members and
/// names it as DefaultInterface (a mixin).
template <class Base>
class Dispatch : public Base {
public:
    using DefaultInterface = DefaultInterfaceOf<Base>;

    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept final
    {
        if (count == nullptr) {
            return E_POINTER;
        }
        *count = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID lcid, ITypeInfo** info) noexcept final
    {
        return type_info_of<DefaultInterface>.GetTypeInfo(index, lcid, info);
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID lcid,
                                            DISPID* ids) noexcept final
    {
        return type_info_of<DefaultInterface>.GetIDsOfNames(iid, names, count, lcid, ids);
    }
    /// A class may answer more than its type information has.
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID lcid, WORD flags, DISPPARAMS* parameters,
                                     VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) noexcept override
    {
        return type_info_of<DefaultInterface>.Invoke(static_cast<DefaultInterface*>(this), id, iid, lcid, flags,
                                                     parameters, result, exception, bad_argument);
    }

protected:
    ~Dispatch() = default;
};

}  // namespace vex::server
