#include "genicam/VexGenInteger.h"

HRESULT CVexGenInteger::get_Value(__int64* pVal) noexcept { return get(pVal, &PvGenInteger::GetValue); }

HRESULT CVexGenInteger::put_Value(__int64 pVal) noexcept
{
    return set([&](PvGenInteger& parameter) { return parameter.SetValue(pVal); });
}

HRESULT CVexGenInteger::get_Min(__int64* pVal) noexcept { return get(pVal, &PvGenInteger::GetMin); }

HRESULT CVexGenInteger::get_Max(__int64* pVal) noexcept { return get(pVal, &PvGenInteger::GetMax); }

HRESULT CVexGenInteger::get_Increment(__int64* pVal) noexcept { return get(pVal, &PvGenInteger::GetIncrement); }

HRESULT CVexGenInteger::get_Representation(VexGenRepresentation* pVal) noexcept
{
    return get(pVal, &PvGenInteger::GetRepresentation);
}
