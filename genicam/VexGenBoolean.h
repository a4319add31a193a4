// VexGenBoolean: on or off.
#pragma once

#include "genicam/parameter_object.h"
#include "sdk/genicam/PvGenBoolean.h"

class CVexGenBoolean : public ParameterObject<CVexGenBoolean, PvGenBoolean> {
public:
    STDMETHODIMP get_Value(VARIANT_BOOL* pVal) noexcept override { return get(pVal, &PvGenBoolean::GetValue); }
    STDMETHODIMP put_Value(VARIANT_BOOL pVal) noexcept override { return set(&PvGenBoolean::SetValue, pVal); }
};
