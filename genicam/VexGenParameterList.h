// VexGenParameterList: a list of parameters, filled by a client or by the parameter whose list it shows.
#pragma once

#include <cstdint>

#include "genicam/parameter_cache.h"
#include "sdk/genicam/PvGenParameterList.h"
#include "server/wrapper.h"

/// Starts with an empty list of its own; a parameter points it at its list instead.
class CVexGenParameterList : public server::Wrapper<CVexGenParameterList>,
                             public server::SdkObject<PvGenParameterList> {
public:
    HRESULT final_construct();
    void final_release() noexcept;

    HRESULT STDMETHODCALLTYPE get_Size(unsigned int* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE Clear() noexcept override;
    HRESULT STDMETHODCALLTYPE Add(IVexGenParameter* aParameter) noexcept override;
    HRESULT STDMETHODCALLTYPE GetItem(unsigned int aIndex, IVexGenParameter** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetFirst(IVexGenParameter** out) noexcept override;
    HRESULT STDMETHODCALLTYPE GetNext(IVexGenParameter** out) noexcept override;

private:
    HRESULT fresh(IVexGenParameter** out, PvGenParameter* (PvGenParameterList::*step)() noexcept) noexcept;

    ParameterCache<std::uint32_t> items_;
};
