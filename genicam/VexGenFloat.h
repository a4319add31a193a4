// VexGenFloat: a number with limits and a unit.
#pragma once

#include "genicam/parameter_object.h"
#include "sdk/genicam/PvGenFloat.h"

class CVexGenFloat : public ParameterObject<CVexGenFloat, PvGenFloat> {
public:
    HRESULT STDMETHODCALLTYPE get_Value(double* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_Value(double pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Min(double* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Max(double* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Representation(VexGenRepresentation* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE get_Unit(BSTR* pVal) noexcept override;
};
