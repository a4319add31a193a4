#include "genicam/VexGenEnumEntry.h"

HRESULT CVexGenEnumEntry::get_Value(__int64* pVal) noexcept { return get(pVal, &PvGenEnumEntry::GetValue); }

HRESULT CVexGenEnumEntry::get_Name(BSTR* pVal) noexcept { return get(pVal, &PvGenEnumEntry::GetName); }

HRESULT CVexGenEnumEntry::get_ToolTip(BSTR* pVal) noexcept { return get(pVal, &PvGenEnumEntry::GetToolTip); }

HRESULT CVexGenEnumEntry::get_Description(BSTR* pVal) noexcept { return get(pVal, &PvGenEnumEntry::GetDescription); }

HRESULT CVexGenEnumEntry::get_Visibility(VexGenVisibility* pVal) noexcept
{
    return get(pVal, &PvGenEnumEntry::GetVisibility);
}

HRESULT CVexGenEnumEntry::get_IsAvailable(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, &PvGenEnumEntry::IsAvailable);
}

HRESULT CVexGenEnumEntry::get_DisplayName(BSTR* pVal) noexcept { return get(pVal, &PvGenEnumEntry::GetDisplayName); }

HRESULT CVexGenEnumEntry::get_NameSpace(VexGenNameSpace* pVal) noexcept
{
    return get(pVal, &PvGenEnumEntry::GetNameSpace);
}

HRESULT CVexGenEnumEntry::IsVisible(VexGenVisibility aVisibility, VARIANT_BOOL* visible) noexcept
{
    return value(visible, [&](const PvGenEnumEntry& entry) {
        return entry.IsVisible(static_cast<PvGenVisibility>(aVisibility));
    });
}
