// VexGenCategory: a named group of parameters.
#pragma once

#include "genicam/living_view.h"
#include "sdk/genicam/PvGenCategory.h"
#include "server/wrapper.h"

/// A view: the category belongs to the parameter array.
class CVexGenCategory : public vex::server::Wrapper<CVexGenCategory>, public LivingView<PvGenCategory> {
public:
    HRESULT STDMETHODCALLTYPE get_Description(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_DisplayName(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Name(BSTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_NameSpace(VexGenNameSpace* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Node(INT_PTR* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_ToolTip(BSTR* pVal) noexcept override;
};
