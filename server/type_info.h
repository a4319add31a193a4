// Type information of one interface or class, loaded from the registered type library on first use and then kept.
#pragma once

#include <atomic>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "server/com.h"
#include "server/ref.h"

namespace vex::server {

/// What late-bound calls need to know of one parameter.
struct ParameterFacts {
    VARTYPE type;  // as a value: VT_I4 for an enumeration, VT_DISPATCH for a dual interface, VT_ARRAY|VT_UI1 for bytes
    bool by_reference;
    bool in;
    bool out;
};

/// What late-bound calls need to know of one member.
struct MethodFacts {
    DISPID id;
    WORD kind;                               // DISPATCH_METHOD, DISPATCH_PROPERTYGET or DISPATCH_PROPERTYPUT
    std::vector<ParameterFacts> parameters;  // without the return value
};

/// Loaded type information. Immutable, so any thread may read it.
class TypeInfo {
public:
    /// Reads the members' names and parameters; keeps a reference to `info`. Throws bad_alloc.
    explicit TypeInfo(ITypeInfo* info);

    [[nodiscard]] ITypeInfo* get() const noexcept { return info_.get(); }
    /// The dispatch identifier of a member written exactly so; DISPID_UNKNOWN when the cache does not have it, which
    /// leaves other spellings to the type information.
    [[nodiscard]] DISPID cached_id(std::wstring_view name) const noexcept;
    /// The member that a call with these flags reaches, or null.
    [[nodiscard]] const MethodFacts* find(DISPID id, WORD flags) const noexcept;

private:
    struct Name {
        std::wstring text;
        DISPID id;
    };

    void read_member(const FUNCDESC& member);
    void index_methods();

    Ref<ITypeInfo> info_;
    std::vector<Name> names_;
    std::vector<MethodFacts> methods_;   // by identifier
    std::vector<std::size_t> first_of_;  // where the methods of an identifier begin
};

/// The lazily filled holder of an interface's or class's type information. Statically allocated, one per identifier.
///
/// Thread safety: any thread; filling is serialised by the module's lock. What it holds is released by a termination
/// callback when the module unloads.
class TypeInfoHolder {
public:
    constexpr explicit TypeInfoHolder(const GUID& guid) noexcept : guid_(guid) {}

    /// The type information, loaded through the registry on first use. A failure leaves the holder empty, so that the
    /// next call tries again.
    HRESULT get(LCID lcid, const TypeInfo** info) noexcept
    {
        *info = loaded_.load(std::memory_order_acquire);
        return *info != nullptr ? S_OK : load(lcid, info);
    }

    HRESULT GetTypeInfo(UINT index, LCID lcid, ITypeInfo** info) noexcept;
    HRESULT GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID lcid, DISPID* ids) noexcept;
    HRESULT Invoke(IDispatch* object, DISPID id, REFIID iid, LCID lcid, WORD flags, DISPPARAMS* parameters,
                   VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) noexcept;

private:
    HRESULT load(LCID lcid, const TypeInfo** info) noexcept;
    void release() noexcept;

    const GUID& guid_;
    std::atomic<const TypeInfo*> loaded_{nullptr};
};

}  // namespace vex::server
