#include "server/class_factory.h"

namespace vex::server {

HRESULT ClassFactory::QueryInterface(REFIID iid, void** object) noexcept
{
    if (object == nullptr) {
        return E_POINTER;
    }
    if (iid != IID_IUnknown && iid != IID_IClassFactory) {
        *object = nullptr;
        return E_NOINTERFACE;
    }
    AddRef();
    *object = static_cast<IClassFactory*>(this);
    return S_OK;
}

ULONG ClassFactory::AddRef() noexcept { return references_.add(); }

ULONG ClassFactory::Release() noexcept
{
    const ULONG left = references_.remove();
    if (left == 0) {
        delete this;
    }
    return left;
}

HRESULT ClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept
{
    return entry_.create(outer, iid, object);
}

HRESULT ClassFactory::LockServer(BOOL lock) noexcept
{
    if (lock != FALSE) {
        module().lock();
    } else {
        module().unlock();
    }
    return S_OK;
}

}  // namespace vex::server
