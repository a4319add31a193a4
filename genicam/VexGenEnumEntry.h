// VexGenEnumEntry: one choice of an enumeration parameter.
#pragma once

#include "sdk/genicam/PvGenEnumEntry.h"
#include "server/wrapper.h"

/// A view: the enumeration's one entry object, pointed at the entry that was looked up last.
class CVexGenEnumEntry : public vex::server::Wrapper<CVexGenEnumEntry>,
                         public vex::server::SdkObject<const PvGenEnumEntry> {
public:
    STDMETHODIMP get_Value(__int64* pVal) noexcept override { return get(pVal, &PvGenEnumEntry::GetValue); }
    STDMETHODIMP get_Name(BSTR* pVal) noexcept override { return get(pVal, &PvGenEnumEntry::GetName); }
    STDMETHODIMP get_ToolTip(BSTR* pVal) noexcept override { return get(pVal, &PvGenEnumEntry::GetToolTip); }
    STDMETHODIMP get_Description(BSTR* pVal) noexcept override { return get(pVal, &PvGenEnumEntry::GetDescription); }
    STDMETHODIMP get_Visibility(VexGenVisibility* pVal) noexcept override
    {
        return get(pVal, &PvGenEnumEntry::GetVisibility);
    }
    STDMETHODIMP get_IsAvailable(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvGenEnumEntry::IsAvailable);
    }
    STDMETHODIMP get_DisplayName(BSTR* pVal) noexcept override { return get(pVal, &PvGenEnumEntry::GetDisplayName); }
    STDMETHODIMP get_NameSpace(VexGenNameSpace* pVal) noexcept override
    {
        return get(pVal, &PvGenEnumEntry::GetNameSpace);
    }
    STDMETHODIMP IsVisible(VexGenVisibility aVisibility, VARIANT_BOOL* result) noexcept override
    {
        return value(result, &PvGenEnumEntry::IsVisible, aVisibility);
    }
};
