// VexGenParameterList: a list of parameters, filled by a client or by the parameter whose list it shows.
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "genicam/parameter_cache.h"
#include "sdk/genicam/PvGenParameterList.h"
#include "server/wrapper.h"

/// Starts with an empty list of its own; a parameter points it at its list instead. Entries whose parameter has gone
/// are null.
class CVexGenParameterList : public vex::server::Wrapper<CVexGenParameterList>,
                             public vex::server::SdkObject<PvGenParameterList> {
public:
    HRESULT final_construct();
    void final_release() noexcept;

    /// Null once the parameter whose list it shows has gone.
    [[nodiscard]] PvGenParameterList* sdk() const noexcept;
    /// Points the object at a parameter's list; `lifetime` is that of the parameters in it.
    void AttachSdkObject(PvGenParameterList* borrowed, std::weak_ptr<const void> lifetime) noexcept;

    HRESULT STDMETHODCALLTYPE get_Size(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE Clear() noexcept override;
    HRESULT STDMETHODCALLTYPE Add(IVexGenParameter* aParameter) noexcept override;
    HRESULT STDMETHODCALLTYPE GetItem(unsigned int aIndex, IVexGenParameter** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetFirst(IVexGenParameter** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetNext(IVexGenParameter** out) noexcept override;

private:
    /// The entry, or null when it was added here and has gone since.
    [[nodiscard]] PvGenParameter* living(PvGenParameter* entry) const;
    HRESULT fresh(IVexGenParameter** out, PvGenParameter* (PvGenParameterList::*step)() noexcept) noexcept;

    std::weak_ptr<const void> lifetime_;                                // of a borrowed list
    std::map<const PvGenParameter*, std::weak_ptr<const void>> added_;  // of what clients added
    ParameterCache<std::uint32_t> items_;
};
