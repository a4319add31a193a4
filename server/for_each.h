// For Each over an object, for script hosts and whoever else binds late.
#pragma once

#include "server/wrapper.h"

namespace vex::server {

/// A wrapper base that also answers DISPID_NEWENUM, which For Each asks for without looking it up by name: the type
/// library has no such member, and stays without. A host that binds For Each by the type library does not find it.
///
/// T has Ref<IEnumVARIANT> enumerator(), which may throw.
template <class T>
class Enumerable : public Wrapper<T> {
public:
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID lcid, WORD flags, DISPPARAMS* parameters,
                                     VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) noexcept final
    {
        constexpr WORD asks = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
        if (id != DISPID_NEWENUM || iid != IID_NULL || !(flags & asks) || result == nullptr) {
            return Wrapper<T>::Invoke(id, iid, lcid, flags, parameters, result, exception, bad_argument);
        }
        return this->guarded([&] {
            Ref<IEnumVARIANT> made = static_cast<T*>(this)->enumerator();
            V_VT(result) = VT_UNKNOWN;
            V_UNKNOWN(result) = made.detach();
        });
    }
};

}  // namespace vex::server
