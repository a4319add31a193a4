// The class factory of every class: creates through the class table's entry.
#pragma once

#include "server/module.h"
#include "server/object.h"

namespace vex::server {

/// One per class, kept in the class table. Its own references do not keep the DLL loaded; LockServer does.
class ClassFactory final : public IClassFactory {
public:
    /// With one reference, the table's.
    explicit ClassFactory(const ClassEntry& entry) noexcept : entry_(entry) { references_.add(); }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) noexcept override;
    ULONG STDMETHODCALLTYPE AddRef() noexcept override;
    ULONG STDMETHODCALLTYPE Release() noexcept override;

    HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) noexcept override;
    HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) noexcept override;

private:
    ~ClassFactory() = default;

    const ClassEntry& entry_;
    ReferenceCount references_;
};

}  // namespace vex::server
