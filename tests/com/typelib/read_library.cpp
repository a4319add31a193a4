#include <algorithm>
#include <functional>
#include <memory>
#include <stdexcept>

#include "server/com.h"
#include "tests/com/typelib/library_model.h"

namespace {

struct ReleaseUnknown {
    void operator()(IUnknown* object) const { object->Release(); }
};
template <class T>
using Held = std::unique_ptr<T, ReleaseUnknown>;

void check(HRESULT result, const char* what)
{
    if (FAILED(result)) {
        throw std::runtime_error(std::string(what) + " failed with " + std::to_string(result));
    }
}

std::string narrow(const wchar_t* text)
{
    std::string result;
    for (; text != nullptr && *text != 0; ++text) {
        result += *text < 128 ? static_cast<char>(*text) : '?';
    }
    return result;
}

std::string take(BSTR text)
{
    std::string result = narrow(text);
    SysFreeString(text);
    return result;
}

std::string to_text(const GUID& guid)
{
    wchar_t text[64];
    StringFromGUID2(guid, text, 64);
    return narrow(text);
}

using TypeAttributes = std::unique_ptr<TYPEATTR, std::function<void(TYPEATTR*)>>;
using Function = std::unique_ptr<FUNCDESC, std::function<void(FUNCDESC*)>>;
using Variable = std::unique_ptr<VARDESC, std::function<void(VARDESC*)>>;

TypeAttributes attributes(ITypeInfo& info)
{
    TYPEATTR* found = nullptr;
    check(info.GetTypeAttr(&found), "GetTypeAttr");
    return {found, [&info](TYPEATTR* done) { info.ReleaseTypeAttr(done); }};
}

Held<ITypeInfo> referenced(ITypeInfo& info, HREFTYPE type)
{
    ITypeInfo* found = nullptr;
    check(info.GetRefTypeInfo(type, &found), "GetRefTypeInfo");
    return Held<ITypeInfo>(found);
}

Held<ITypeInfo> implemented(ITypeInfo& info, UINT index)
{
    HREFTYPE type = 0;
    check(info.GetRefTypeOfImplType(index, &type), "GetRefTypeOfImplType");
    return referenced(info, type);
}

std::string name_of(ITypeInfo& info, MEMBERID id = MEMBERID_NIL)
{
    BSTR name = nullptr;
    check(info.GetDocumentation(id, &name, nullptr, nullptr, nullptr), "GetDocumentation");
    return take(name);
}

std::string help_of(ITypeInfo& info, MEMBERID id = MEMBERID_NIL)
{
    BSTR help = nullptr;
    check(info.GetDocumentation(id, nullptr, &help, nullptr, nullptr), "GetDocumentation");
    return take(help);
}

std::string type_text(ITypeInfo& info, const TYPEDESC& type)
{
    switch (type.vt) {
    case VT_PTR: return type_text(info, *type.lptdesc) + "*";
    case VT_SAFEARRAY: return "SAFEARRAY(" + type_text(info, *type.lptdesc) + ")";
    case VT_USERDEFINED: return name_of(*referenced(info, type.hreftype));
    case VT_R4: return "R4";
    case VT_R8: return "R8";
    case VT_BSTR: return "BSTR";
    case VT_BOOL: return "BOOL";
    case VT_UNKNOWN: return "IUnknown*";
    case VT_UI1: return "UI1";
    case VT_UI2: return "UI2";
    case VT_I8: return "I8";
    case VT_UI8: return "UI8";
    case VT_INT: return "INT";
    case VT_UINT: return "UINT";
    default: return "VARTYPE " + std::to_string(type.vt);
    }
}

std::string direction_text(USHORT flags)
{
    std::string text;
    for (const auto& [flag, word] :
         {std::pair{PARAMFLAG_FIN, "in"}, std::pair{PARAMFLAG_FOUT, "out"}, std::pair{PARAMFLAG_FRETVAL, "retval"}}) {
        if ((flags & flag) != 0) {
            text += (text.empty() ? "" : ",") + std::string(word);
        }
    }
    return text;
}

Member read_member(ITypeInfo& info, UINT index)
{
    FUNCDESC* found = nullptr;
    check(info.GetFuncDesc(index, &found), "GetFuncDesc");
    const Function function(found, [&info](FUNCDESC* done) { info.ReleaseFuncDesc(done); });

    Member member;
    member.id = function->memid;
    member.kind = function->invkind == INVOKE_FUNC          ? "method"
                  : function->invkind == INVOKE_PROPERTYGET ? "get"
                  : function->invkind == INVOKE_PROPERTYPUT ? "put"
                                                            : "putref";
    member.help = help_of(info, function->memid);
    member.slot = function->oVft / static_cast<int>(sizeof(void*));

    constexpr UINT most_names = 32;
    BSTR names[most_names] = {};
    UINT count = 0;
    check(info.GetNames(function->memid, names, most_names, &count), "GetNames");
    std::vector<std::string> texts;
    for (UINT i = 0; i < count; ++i) {
        texts.push_back(take(names[i]));
    }
    member.name = texts.at(0);
    for (SHORT i = 0; i < function->cParams; ++i) {
        const ELEMDESC& parameter = function->lprgelemdescParam[i];
        member.parameters += member.parameters.empty() ? "" : "; ";
        member.parameters += direction_text(parameter.paramdesc.wParamFlags) + " " + type_text(info, parameter.tdesc);
        const auto place = static_cast<std::size_t>(i) + 1;
        if (member.kind != "put" && place < texts.size()) {
            member.parameters += " " + texts[place];
        }
    }
    return member;
}

Interface read_interface(ITypeInfo& described)
{
    // a dual interface is described by its dispatch half; the vtable half stands behind index -1
    TypeAttributes outer = attributes(described);
    const bool dual = (outer->wTypeFlags & TYPEFLAG_FDUAL) != 0;
    Held<ITypeInfo> half;
    if (dual && outer->typekind == TKIND_DISPATCH) {
        half = implemented(described, static_cast<UINT>(-1));
    }
    ITypeInfo& info = half ? *half : described;
    const TypeAttributes own = attributes(info);

    Interface read;
    read.name = name_of(described);
    read.iid = to_text(own->guid);
    read.kind = dual ? "dual" : own->typekind == TKIND_DISPATCH ? "events" : "interface";
    read.help = help_of(described);
    read.nonextensible = (outer->wTypeFlags & TYPEFLAG_FNONEXTENSIBLE) != 0;
    if (dual && own->cImplTypes != 0) {
        read.base = name_of(*implemented(info, 0));
    }
    constexpr long first_reserved_id = 0x60000000;  // the members of IDispatch itself
    for (UINT i = 0; i < own->cFuncs; ++i) {
        Member member = read_member(info, i);
        if (member.id >= first_reserved_id) {
            continue;
        }
        if (!dual) {
            member.slot = 0;
        }
        read.members.push_back(std::move(member));
    }
    std::ranges::stable_sort(read.members, {}, &Member::slot);
    return read;
}

Class read_class(ITypeInfo& info)
{
    const TypeAttributes own = attributes(info);
    Class read;
    read.name = name_of(info);
    read.clsid = to_text(own->guid);
    read.creatable = (own->wTypeFlags & TYPEFLAG_FCANCREATE) != 0;
    for (UINT i = 0; i < own->cImplTypes; ++i) {
        INT flags = 0;
        check(info.GetImplTypeFlags(i, &flags), "GetImplTypeFlags");
        std::string name = name_of(*implemented(info, i));
        if ((flags & IMPLTYPEFLAG_FSOURCE) != 0) {
            read.source += name;
        } else if ((flags & IMPLTYPEFLAG_FDEFAULT) != 0) {
            read.default_interface += name;
        } else {
            read.further.push_back(std::move(name));
        }
    }
    return read;
}

Enumeration read_enumeration(ITypeInfo& info)
{
    Enumeration read{name_of(info), {}};
    const TypeAttributes own = attributes(info);
    for (UINT i = 0; i < own->cVars; ++i) {
        VARDESC* found = nullptr;
        check(info.GetVarDesc(i, &found), "GetVarDesc");
        const Variable variable(found, [&info](VARDESC* done) { info.ReleaseVarDesc(done); });
        read.constants.emplace_back(name_of(info, variable->memid), V_I4(variable->lpvarValue));
    }
    return read;
}

}  // namespace

Library read_library(const std::wstring& path)
{
    ITypeLib* loaded = nullptr;
    check(LoadTypeLibEx(path.c_str(), REGKIND_NONE, &loaded), "LoadTypeLibEx");
    const Held<ITypeLib> library(loaded);

    Library read;
    TLIBATTR* found = nullptr;
    check(library->GetLibAttr(&found), "GetLibAttr");
    read.libid = to_text(found->guid);
    read.version = std::to_string(found->wMajorVerNum) + "." + std::to_string(found->wMinorVerNum);
    library->ReleaseTLibAttr(found);
    BSTR name = nullptr;
    BSTR help = nullptr;
    check(library->GetDocumentation(-1, &name, &help, nullptr, nullptr), "GetDocumentation");
    read.name = take(name);
    read.help = take(help);

    for (UINT i = 0; i < library->GetTypeInfoCount(); ++i) {
        ITypeInfo* entry = nullptr;
        check(library->GetTypeInfo(i, &entry), "GetTypeInfo");
        const Held<ITypeInfo> info(entry);
        switch (attributes(*info)->typekind) {
        case TKIND_COCLASS: read.classes.emplace(name_of(*info), read_class(*info)); break;
        case TKIND_ENUM: read.enumerations.emplace(name_of(*info), read_enumeration(*info)); break;
        case TKIND_DISPATCH:
        case TKIND_INTERFACE: read.interfaces.emplace(name_of(*info), read_interface(*info)); break;
        default: throw std::runtime_error("the library holds something else than clients know: " + name_of(*info));
        }
    }
    return read;
}
