// The system's registrar component, which runs registration scripts. Declared here because the toolchain has no header
// for it.
#pragma once

#include "server/com.h"

// the registrar's interface; scripts are text files, strings, or resources of a module
MIDL_INTERFACE("44EC053B-400F-11D0-9DCD-00A0C90391D3")
IRegistrar : public IUnknown
{
    virtual HRESULT STDMETHODCALLTYPE AddReplacement(LPCOLESTR key, LPCOLESTR item) = 0;
    virtual HRESULT STDMETHODCALLTYPE ClearReplacements() = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceRegisterSz(LPCOLESTR file, LPCOLESTR id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceUnregisterSz(LPCOLESTR file, LPCOLESTR id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE FileRegister(LPCOLESTR file) = 0;
    virtual HRESULT STDMETHODCALLTYPE FileUnregister(LPCOLESTR file) = 0;
    virtual HRESULT STDMETHODCALLTYPE StringRegister(LPCOLESTR script) = 0;
    virtual HRESULT STDMETHODCALLTYPE StringUnregister(LPCOLESTR script) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceRegister(LPCOLESTR file, UINT id, LPCOLESTR type) = 0;
    virtual HRESULT STDMETHODCALLTYPE ResourceUnregister(LPCOLESTR file, UINT id, LPCOLESTR type) = 0;

protected:
    ~IRegistrar() = default;
};
__CRT_UUID_DECL(IRegistrar, 0x44EC053B, 0x400F, 0x11D0, 0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3)

namespace vex::server {

inline constexpr CLSID clsid_of_registrar{0x44EC053A, 0x400F, 0x11D0, {0x9D, 0xCD, 0x00, 0xA0, 0xC9, 0x03, 0x91, 0xD3}};

}  // namespace vex::server
