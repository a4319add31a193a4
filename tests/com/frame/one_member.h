// Type information made by hand: an interface with one member, whose shape the test chooses and whose part it plays.
#pragma once

#include <functional>
#include <vector>

#include "server/com.h"

/// An interface whose only member has the identifier 1. Invoke hands the arguments as they arrive, last first, to the
/// function that plays the member. Not counted: it lives on the test's stack.
class OneMember final : public ITypeInfo {
public:
    struct Parameter {
        VARTYPE type;
        USHORT flags;  // PARAMFLAG_FOUT makes it a pointer
    };
    using Body = std::function<HRESULT(VARIANT* arguments, VARIANT* result)>;

    explicit OneMember(std::vector<Parameter> parameters, Body body, INVOKEKIND kind = INVOKE_FUNC)
        : body_(std::move(body)), targets_(parameters.size()), described_(parameters.size())
    {
        for (std::size_t at = 0; at < parameters.size(); ++at) {
            ELEMDESC& element = described_[at];
            element.paramdesc.wParamFlags = parameters[at].flags;
            if (parameters[at].flags & PARAMFLAG_FOUT) {
                targets_[at].vt = parameters[at].type;
                element.tdesc.vt = VT_PTR;
                element.tdesc.lptdesc = &targets_[at];
            } else {
                element.tdesc.vt = parameters[at].type;
            }
        }
        attributes_.typekind = TKIND_DISPATCH;
        attributes_.cFuncs = 1;
        member_.memid = 1;
        member_.invkind = kind;
        member_.cParams = static_cast<SHORT>(parameters.size());
        member_.lprgelemdescParam = described_.data();
    }

    /// The flags the member was reached with.
    [[nodiscard]] WORD flags() const noexcept { return flags_; }
    [[nodiscard]] int calls() const noexcept { return calls_; }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID, void** object) noexcept override
    {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return 1; }
    ULONG STDMETHODCALLTYPE Release() noexcept override { return 1; }

    HRESULT STDMETHODCALLTYPE GetTypeAttr(TYPEATTR** attributes) noexcept override
    {
        *attributes = &attributes_;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetFuncDesc(UINT, FUNCDESC** member) noexcept override
    {
        *member = &member_;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Invoke(void*, MEMBERID, WORD flags, DISPPARAMS* parameters, VARIANT* result, EXCEPINFO*,
                                     UINT*) noexcept override
    {
        flags_ = flags;
        ++calls_;
        return member_.invkind & flags ? body_(parameters->rgvarg, result) : DISP_E_MEMBERNOTFOUND;
    }
    void STDMETHODCALLTYPE ReleaseTypeAttr(TYPEATTR*) noexcept override {}
    void STDMETHODCALLTYPE ReleaseFuncDesc(FUNCDESC*) noexcept override {}
    void STDMETHODCALLTYPE ReleaseVarDesc(VARDESC*) noexcept override {}

    HRESULT STDMETHODCALLTYPE GetTypeComp(ITypeComp**) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetVarDesc(UINT, VARDESC**) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetNames(MEMBERID, BSTR*, UINT, UINT*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetRefTypeOfImplType(UINT, HREFTYPE*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetImplTypeFlags(UINT, INT*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(LPOLESTR*, UINT, MEMBERID*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetDocumentation(MEMBERID, BSTR*, BSTR*, DWORD*, BSTR*) noexcept override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetDllEntry(MEMBERID, INVOKEKIND, BSTR*, BSTR*, WORD*) noexcept override
    {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetRefTypeInfo(HREFTYPE, ITypeInfo**) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE AddressOfMember(MEMBERID, INVOKEKIND, void**) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown*, REFIID, void**) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetMops(MEMBERID, BSTR*) noexcept override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetContainingTypeLib(ITypeLib**, UINT*) noexcept override { return E_NOTIMPL; }

private:
    Body body_;
    std::vector<TYPEDESC> targets_;
    std::vector<ELEMDESC> described_;
    TYPEATTR attributes_{};
    FUNCDESC member_{};
    WORD flags_ = 0;
    int calls_ = 0;
};
