// VexGenCategory: a named group of parameters.
#pragma once

#include "sdk/genicam/PvGenCategory.h"
#include "server/wrapper.h"

/// A view: the category belongs to the parameter array.
class CVexGenCategory : public vex::server::Wrapper<CVexGenCategory>, public vex::server::SdkObject<PvGenCategory> {
public:
    STDMETHODIMP get_Description(BSTR* pVal) noexcept override { return get(pVal, &PvGenCategory::GetDescription); }
    STDMETHODIMP get_DisplayName(BSTR* pVal) noexcept override { return get(pVal, &PvGenCategory::GetDisplayName); }
    STDMETHODIMP get_Name(BSTR* pVal) noexcept override { return get(pVal, &PvGenCategory::GetName); }
    STDMETHODIMP get_NameSpace(VexGenNameSpace* pVal) noexcept override
    {
        return get(pVal, &PvGenCategory::GetNameSpace);
    }
    STDMETHODIMP get_Node(INT_PTR* pVal) noexcept override { return value(pVal, &PvGenCategory::GetNode); }
    STDMETHODIMP get_ToolTip(BSTR* pVal) noexcept override { return get(pVal, &PvGenCategory::GetToolTip); }
};
