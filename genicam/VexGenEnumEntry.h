// VexGenEnumEntry: one choice of an enumeration parameter.
#pragma once

#include "genicam/living_view.h"
#include "sdk/genicam/PvGenEnumEntry.h"
#include "server/wrapper.h"

/// A view: the enumeration's one entry object, pointed at the entry that was looked up last.
class CVexGenEnumEntry : public vex::server::Wrapper<CVexGenEnumEntry>, public LivingView<const PvGenEnumEntry> {
public:
    HRESULT STDMETHODCALLTYPE get_Value(__int64* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Name(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_ToolTip(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Description(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Visibility(VexGenVisibility* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_IsAvailable(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_DisplayName(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_NameSpace(VexGenNameSpace* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE IsVisible(VexGenVisibility aVisibility, VARIANT_BOOL* visible) noexcept override;
};
