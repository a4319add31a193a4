#include "genicam/VexGenString.h"

using namespace vex;

HRESULT CVexGenString::get_Value(BSTR* pVal) noexcept { return get(pVal, &PvGenString::GetValue); }

HRESULT CVexGenString::put_Value(BSTR pVal) noexcept
{
    return set([&](PvGenString& parameter) { return parameter.SetValue(server::from_bstr(pVal)); });
}

HRESULT CVexGenString::get_MaxLength(__int64* pVal) noexcept { return get(pVal, &PvGenString::GetMaxLength); }
