#include "genicam/VexGenFloat.h"

HRESULT CVexGenFloat::get_Value(double* pVal) noexcept { return get(pVal, &PvGenFloat::GetValue); }

HRESULT CVexGenFloat::put_Value(double pVal) noexcept
{
    return set([&](PvGenFloat& parameter) { return parameter.SetValue(pVal); });
}

HRESULT CVexGenFloat::get_Min(double* pVal) noexcept { return get(pVal, &PvGenFloat::GetMin); }

HRESULT CVexGenFloat::get_Max(double* pVal) noexcept { return get(pVal, &PvGenFloat::GetMax); }

HRESULT CVexGenFloat::get_Representation(VexGenRepresentation* pVal) noexcept
{
    return get(pVal, &PvGenFloat::GetRepresentation);
}

HRESULT CVexGenFloat::get_Unit(BSTR* pVal) noexcept { return get(pVal, &PvGenFloat::GetUnit); }
