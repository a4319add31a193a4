// VexGenFloat: a number with limits and a unit.
#pragma once

#include "genicam/parameter_object.h"
#include "sdk/genicam/PvGenFloat.h"

class CVexGenFloat : public ParameterObject<CVexGenFloat, PvGenFloat> {
public:
    STDMETHODIMP get_Value(double* pVal) noexcept override { return get(pVal, &PvGenFloat::GetValue); }
    STDMETHODIMP put_Value(double pVal) noexcept override { return set(&PvGenFloat::SetValue, pVal); }
    STDMETHODIMP get_Min(double* pVal) noexcept override { return get(pVal, &PvGenFloat::GetMin); }
    STDMETHODIMP get_Max(double* pVal) noexcept override { return get(pVal, &PvGenFloat::GetMax); }
    STDMETHODIMP get_Representation(VexGenRepresentation* pVal) noexcept override
    {
        return get(pVal, &PvGenFloat::GetRepresentation);
    }
    STDMETHODIMP get_Unit(BSTR* pVal) noexcept override { return get(pVal, &PvGenFloat::GetUnit); }
};
