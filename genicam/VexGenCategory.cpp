#include "genicam/VexGenCategory.h"

HRESULT CVexGenCategory::get_Description(BSTR* pVal) noexcept { return get(pVal, &PvGenCategory::GetDescription); }

HRESULT CVexGenCategory::get_DisplayName(BSTR* pVal) noexcept { return get(pVal, &PvGenCategory::GetDisplayName); }

HRESULT CVexGenCategory::get_Name(BSTR* pVal) noexcept { return get(pVal, &PvGenCategory::GetName); }

HRESULT CVexGenCategory::get_NameSpace(VexGenNameSpace* pVal) noexcept
{
    return get(pVal, &PvGenCategory::GetNameSpace);
}

HRESULT CVexGenCategory::get_Node(INT_PTR* pVal) noexcept { return value(pVal, &PvGenCategory::GetNode); }

HRESULT CVexGenCategory::get_ToolTip(BSTR* pVal) noexcept { return get(pVal, &PvGenCategory::GetToolTip); }
