// VexGenBoolean: on or off.
#pragma once

#include "genicam/parameter_object.h"
#include "sdk/genicam/PvGenBoolean.h"

class CVexGenBoolean : public ParameterObject<CVexGenBoolean, PvGenBoolean> {
public:
    HRESULT STDMETHODCALLTYPE get_Value(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_Value(VARIANT_BOOL pVal) noexcept override;
};
