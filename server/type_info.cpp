#include "server/type_info.h"

#include <algorithm>
#include <memory>
#include <mutex>

#include "generated/class_facts.h"
#include "server/late_binding.h"
#include "server/module.h"
#include "server/ref.h"
#include "server/wall.h"

namespace vex::server {

namespace {

constexpr WORD library_major = 2;
constexpr WORD library_minor = 1;
constexpr MEMBERID last_member = 255;

struct Type {
    VARTYPE type;
    bool by_reference;
};

Type resolve(ITypeInfo& info, const TYPEDESC& description);

Type resolve_named(ITypeInfo& info, HREFTYPE reference)
{
    Ref<ITypeInfo> named;
    TYPEATTR* attributes = nullptr;
    if (FAILED(info.GetRefTypeInfo(reference, named.put())) || FAILED(named->GetTypeAttr(&attributes))) {
        return {VT_EMPTY, false};
    }
    Type found{VT_EMPTY, false};
    switch (attributes->typekind) {
    case TKIND_ENUM: found = {VT_I4, false}; break;
    case TKIND_ALIAS: found = resolve(*named, attributes->tdescAlias); break;
    case TKIND_DISPATCH:
    case TKIND_COCLASS: found = {VT_DISPATCH, false}; break;
    case TKIND_INTERFACE:
        found = {static_cast<VARTYPE>(attributes->wTypeFlags & TYPEFLAG_FDISPATCHABLE ? VT_DISPATCH : VT_UNKNOWN),
                 false};
        break;
    default: break;
    }
    named->ReleaseTypeAttr(attributes);
    return found;
}

/// The type as a VARIANT holds it. VT_EMPTY for what has no such form.
Type resolve(ITypeInfo& info, const TYPEDESC& description)
{
    switch (description.vt) {
    case VT_PTR: {
        const Type target = resolve(info, *description.lptdesc);
        // a pointer to an interface is itself the value
        const bool is_interface = description.lptdesc->vt == VT_USERDEFINED && !target.by_reference &&
                                  (target.type == VT_DISPATCH || target.type == VT_UNKNOWN);
        return {target.type, !is_interface};
    }
    case VT_SAFEARRAY: return {static_cast<VARTYPE>(VT_ARRAY | resolve(info, *description.lptdesc).type), false};
    case VT_USERDEFINED: return resolve_named(info, description.hreftype);
    case VT_INT: return {VT_I4, false};
    case VT_UINT: return {VT_UI4, false};
    case VT_INT_PTR: return {VT_I8, false};
    case VT_UINT_PTR: return {VT_UI8, false};
    default: return {description.vt, false};
    }
}

}  // namespace

TypeInfo::TypeInfo(ITypeInfo* info) : info_(info)
{
    TYPEATTR* attributes = nullptr;
    if (FAILED(info->GetTypeAttr(&attributes))) {
        return;
    }
    const bool has_members = attributes->typekind == TKIND_DISPATCH || attributes->typekind == TKIND_INTERFACE;
    const UINT count = has_members ? attributes->cFuncs : 0;
    info->ReleaseTypeAttr(attributes);
    const auto release = [info](FUNCDESC* member) { info->ReleaseFuncDesc(member); };
    for (UINT index = 0; index < count; ++index) {
        FUNCDESC* described = nullptr;
        if (FAILED(info->GetFuncDesc(index, &described))) {
            continue;
        }
        const std::unique_ptr<FUNCDESC, decltype(release)> member(described, release);
        // IUnknown's and IDispatch's own methods are not for scripts; all others are numbered from 1
        const bool is_numbered = member->memid >= 0 && member->memid <= last_member;
        if (is_numbered && !(member->wFuncFlags & FUNCFLAG_FRESTRICTED)) {
            read_member(*member);
        }
    }
    index_methods();
}

void TypeInfo::index_methods()
{
    // a stable sort would take memory of its own, and hide that there is none
    std::sort(methods_.begin(), methods_.end(), [](const MethodFacts& one, const MethodFacts& other) {
        return one.id != other.id ? one.id < other.id : one.kind < other.kind;
    });
    for (std::size_t at = methods_.size(); at-- > 0;) {
        const auto id = static_cast<std::size_t>(methods_[at].id);
        if (id >= first_of_.size()) {
            first_of_.resize(id + 1, methods_.size());
        }
        first_of_[id] = at;
    }
}

void TypeInfo::read_member(const FUNCDESC& member)
{
    BSTR described = nullptr;
    UINT got = 0;
    if (SUCCEEDED(info_->GetNames(member.memid, &described, 1, &got)) && got == 1) {
        const std::unique_ptr<OLECHAR, decltype(&SysFreeString)> name(described, &SysFreeString);
        // both halves of a property have the same name
        if (cached_id(described) == DISPID_UNKNOWN) {
            names_.push_back({described, member.memid});
        }
    }
    MethodFacts facts{member.memid, static_cast<WORD>(member.invkind), {}};
    for (SHORT at = 0; at < member.cParams; ++at) {
        const ELEMDESC& element = member.lprgelemdescParam[at];
        const USHORT flags = element.paramdesc.wParamFlags;
        if (!(flags & PARAMFLAG_FRETVAL)) {
            const Type type = resolve(*info_, element.tdesc);
            const bool out = (flags & PARAMFLAG_FOUT) != 0;
            facts.parameters.push_back({type.type, type.by_reference, !out || (flags & PARAMFLAG_FIN), out});
        }
    }
    methods_.push_back(std::move(facts));
}

DISPID TypeInfo::cached_id(std::wstring_view name) const noexcept
{
    for (const Name& known : names_) {
        if (known.text.size() == name.size() && known.text == name) {
            return known.id;
        }
    }
    return DISPID_UNKNOWN;
}

const MethodFacts* TypeInfo::find(DISPID id, WORD flags) const noexcept
{
    if (id < 0 || static_cast<std::size_t>(id) >= first_of_.size()) {
        return nullptr;
    }
    for (std::size_t at = first_of_[static_cast<std::size_t>(id)]; at < methods_.size() && methods_[at].id == id;
         ++at) {
        if (methods_[at].kind & flags) {
            return &methods_[at];
        }
    }
    return nullptr;
}

HRESULT TypeInfoHolder::GetTypeInfo(UINT index, LCID lcid, ITypeInfo** info) noexcept
{
    if (info == nullptr) {
        return E_POINTER;
    }
    *info = nullptr;
    if (index != 0) {
        return DISP_E_BADINDEX;
    }
    const TypeInfo* loaded = nullptr;
    const HRESULT got = get(lcid, &loaded);
    if (SUCCEEDED(got)) {
        *info = Ref(loaded->get()).detach();
    }
    return got;
}

HRESULT TypeInfoHolder::GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID lcid, DISPID* ids) noexcept
{
    if (iid != IID_NULL) {
        return DISP_E_UNKNOWNINTERFACE;
    }
    if (names == nullptr || ids == nullptr || count == 0) {
        return E_INVALIDARG;
    }
    const TypeInfo* loaded = nullptr;
    if (const HRESULT got = get(lcid, &loaded); FAILED(got)) {
        return got;
    }
    if (count == 1 && names[0] != nullptr) {
        if (const DISPID id = loaded->cached_id(names[0]); id != DISPID_UNKNOWN) {
            ids[0] = id;
            return S_OK;
        }
    }
    return loaded->get()->GetIDsOfNames(names, count, ids);
}

HRESULT TypeInfoHolder::Invoke(IDispatch* object, DISPID id, REFIID iid, LCID lcid, WORD flags, DISPPARAMS* parameters,
                               VARIANT* result, EXCEPINFO* exception, UINT* bad_argument) noexcept
{
    if (iid != IID_NULL) {
        return DISP_E_UNKNOWNINTERFACE;
    }
    const TypeInfo* loaded = nullptr;
    if (const HRESULT got = get(lcid, &loaded); FAILED(got)) {
        return got;
    }
    return invoke(*loaded, object, id, flags, parameters, result, exception, bad_argument);
}

HRESULT TypeInfoHolder::load(LCID lcid, const TypeInfo** info) noexcept
{
    return guarded([&]() -> HRESULT {
        const std::lock_guard lock(module().type_info_lock());
        *info = loaded_.load(std::memory_order_acquire);
        if (*info != nullptr) {
            return S_OK;
        }
        Ref<ITypeLib> library;
        if (const HRESULT loaded = LoadRegTypeLib(library_id, library_major, library_minor, lcid, library.put());
            FAILED(loaded)) {
            return loaded;
        }
        Ref<ITypeInfo> found;
        if (const HRESULT got = library->GetTypeInfoOfGuid(guid_, found.put()); FAILED(got)) {
            return got;
        }
        Ref<ITypeInfo2> richer;
        if (SUCCEEDED(found->QueryInterface(IID_ITypeInfo2, richer.put_void()))) {
            found = Ref<ITypeInfo>(richer.get());
        }
        auto made = std::make_unique<const TypeInfo>(found.get());
        const HRESULT noted =
            module().at_unload([](void* holder) noexcept { static_cast<TypeInfoHolder*>(holder)->release(); }, this);
        if (FAILED(noted)) {
            return noted;
        }
        *info = made.release();
        loaded_.store(*info, std::memory_order_release);
        return S_OK;
    });
}

void TypeInfoHolder::release() noexcept { delete loaded_.exchange(nullptr); }

}  // namespace vex::server
