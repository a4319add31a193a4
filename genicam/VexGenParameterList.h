// VexGenParameterList: a list of parameters, filled by a client or by the parameter whose list it shows.
#pragma once

#include <cstdint>
#include <map>
#include <memory>

#include "genicam/parameter_cache.h"
#include "sdk/genicam/PvGenParameterList.h"
#include "server/wrapper.h"

/// Starts with an empty list of its own; a parameter points it at its list instead, for as long as the parameters in it
/// live. Entries whose parameter has gone are null.
class CVexGenParameterList : public vex::server::Wrapper<CVexGenParameterList>,
                             public vex::server::SdkObject<PvGenParameterList> {
public:
    void final_construct() { own_new(); }
    void final_release() noexcept { items_.clear(); }

    STDMETHODIMP get_Size(unsigned int* pVal) noexcept override { return value(pVal, &PvGenParameterList::GetSize); }
    STDMETHODIMP Clear() noexcept override;
    STDMETHODIMP Add(IVexGenParameter* aParameter) noexcept override;
    STDMETHODIMP GetItem(unsigned int aIndex, IVexGenParameter** result) noexcept override;
    STDMETHODIMP GetFirst(IVexGenParameter** result) noexcept override
    {
        return fresh(result, &PvGenParameterList::GetFirst);
    }
    STDMETHODIMP GetNext(IVexGenParameter** result) noexcept override
    {
        return fresh(result, &PvGenParameterList::GetNext);
    }

private:
    /// The entry, or null when it was added here and has gone since.
    [[nodiscard]] PvGenParameter* living(PvGenParameter* entry) const;
    HRESULT fresh(IVexGenParameter** out, PvGenParameter* (PvGenParameterList::*step)() noexcept) noexcept;

    std::map<const PvGenParameter*, std::weak_ptr<const void>> added_;  // lifetimes of what clients added
    ParameterCache<std::uint32_t> items_;
};
