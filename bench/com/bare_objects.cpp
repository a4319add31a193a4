#include "bench/com/bare_objects.h"

#include <atomic>
#include <new>
#include <string>

#include "generated/class_facts.h"
#include "generated/interface_stubs.h"
#include "sdk/base/PvResult.h"

using namespace vex;

namespace bench {

namespace {

std::atomic<long> module_locks{0};

/// Loaded once, as any dual object does.
ITypeInfo* type_info(const IID& iid)
{
    server::Ref<ITypeLib> library;
    ITypeInfo* info = nullptr;
    if (SUCCEEDED(LoadRegTypeLib(server::library_id, 2, 1, LOCALE_NEUTRAL, library.put()))) {
        library->GetTypeInfoOfGuid(iid, &info);
    }
    return info;
}

/// Reference count and IDispatch. Base is the interface, or a base class that fills up members nobody measures.
template <class Base, class Interface>
class Bare : public Base {
public:
    Bare() { module_locks.fetch_add(1); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override
    {
        if (iid != __uuidof(Interface) && iid != IID_IDispatch && iid != IID_IUnknown) {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        *object = static_cast<Interface*>(this);
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return references_.fetch_add(1) + 1; }
    ULONG STDMETHODCALLTYPE Release() noexcept override
    {
        const ULONG left = references_.fetch_sub(1) - 1;
        if (left == 0) {
            destroy();
        }
        return left;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) noexcept override
    {
        *count = 1;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo** info) noexcept override
    {
        *info = described();
        (*info)->AddRef();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) noexcept override
    {
        return described()->GetIDsOfNames(names, count, ids);
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* parameters, VARIANT* result,
                                     EXCEPINFO* exception, UINT* bad_argument) noexcept override
    {
        return described()->Invoke(static_cast<Interface*>(this), id, flags, parameters, result, exception,
                                   bad_argument);
    }

protected:
    virtual void destroy() noexcept = 0;
    ~Bare() { module_locks.fetch_sub(1); }

private:
    static ITypeInfo* described()
    {
        static ITypeInfo* const info = type_info(__uuidof(Interface));
        return info;
    }

    std::atomic<ULONG> references_{0};
};

class BareResult final : public Bare<IVexResult, IVexResult> {
public:
    HRESULT STDMETHODCALLTYPE get_Code(VexResultCode* pVal) noexcept override
    {
        *pVal = static_cast<VexResultCode>(result.GetCode());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE put_Code(VexResultCode pVal) noexcept override
    {
        result.SetCode(static_cast<PvResult::Code>(pVal));
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_Description(BSTR* pVal) noexcept override
    {
        *pVal = SysAllocString(result.GetDescription().GetWide().c_str());
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE put_Description(BSTR pVal) noexcept override
    {
        result.SetDescription(PvString(pVal));
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_IsFailure(VARIANT_BOOL* pVal) noexcept override
    {
        return give(pVal, result.IsFailure());
    }
    HRESULT STDMETHODCALLTYPE get_IsOK(VARIANT_BOOL* pVal) noexcept override { return give(pVal, result.IsOK()); }
    HRESULT STDMETHODCALLTYPE get_IsPending(VARIANT_BOOL* pVal) noexcept override
    {
        return give(pVal, result.IsPending());
    }
    HRESULT STDMETHODCALLTYPE get_IsSuccess(VARIANT_BOOL* pVal) noexcept override
    {
        return give(pVal, result.IsSuccess());
    }

    PvResult result;

private:
    static HRESULT give(VARIANT_BOOL* out, bool value) noexcept
    {
        *out = value ? 1 : 0;
        return S_OK;
    }
    void destroy() noexcept override { delete this; }
};

/// A bare result object that says OK.
HRESULT make_result(IVexResult** out) noexcept
{
    auto* made = new (std::nothrow) BareResult;
    if (made == nullptr) {
        return E_OUTOFMEMORY;
    }
    made->result = PvResult(PvResult::OK);
    made->AddRef();
    *out = made;
    return S_OK;
}

class BareDevice final : public Bare<vex::idl::Stub<IVexDevice>, IVexDevice> {
public:
    HRESULT STDMETHODCALLTYPE ReadRegister(unsigned int aAddress, unsigned int* aValue,
                                           IVexResult** out) noexcept override
    {
        *aValue = aAddress + 1;
        return make_result(out);
    }

private:
    void destroy() noexcept override { delete this; }
};

class BareInteger final : public Bare<vex::idl::Stub<IVexGenInteger>, IVexGenInteger> {
public:
    HRESULT STDMETHODCALLTYPE get_Value(__int64* pVal) noexcept override
    {
        *pVal = 640;
        return S_OK;
    }

private:
    void destroy() noexcept override { delete this; }
};

class BareParameters final : public Bare<vex::idl::Stub<IVexGenParameterArray>, IVexGenParameterArray> {
public:
    HRESULT STDMETHODCALLTYPE GetIntegerValue(BSTR /*aName*/, __int64* aValue, IVexResult** out) noexcept override
    {
        *aValue = 640;
        return make_result(out);
    }

private:
    void destroy() noexcept override { delete this; }
};

class BareFactory final : public IClassFactory {
public:
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override
    {
        if (iid != IID_IClassFactory && iid != IID_IUnknown) {
            *object = nullptr;
            return E_NOINTERFACE;
        }
        *object = this;
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() noexcept override { return 2; }
    ULONG STDMETHODCALLTYPE Release() noexcept override { return 1; }
    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept override
    {
        *object = nullptr;
        if (outer != nullptr) {
            return CLASS_E_NOAGGREGATION;
        }
        auto* made = new (std::nothrow) BareResult;
        if (made == nullptr) {
            return E_OUTOFMEMORY;
        }
        made->AddRef();
        const HRESULT found = made->QueryInterface(iid, object);
        made->Release();
        return found;
    }
    HRESULT STDMETHODCALLTYPE LockServer(BOOL) noexcept override { return S_OK; }
};

}  // namespace

server::Ref<IClassFactory> bare_result_factory()
{
    static BareFactory factory;
    return server::Ref<IClassFactory>(&factory);
}

server::Ref<IVexDevice> make_bare_device() { return server::Ref<IVexDevice>(new BareDevice); }

server::Ref<IVexGenInteger> make_bare_integer() { return server::Ref<IVexGenInteger>(new BareInteger); }

server::Ref<IVexGenParameterArray> make_bare_parameters()
{
    return server::Ref<IVexGenParameterArray>(new BareParameters);
}

}  // namespace bench
