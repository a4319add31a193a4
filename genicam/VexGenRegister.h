// VexGenRegister: a block of bytes.
#pragma once

#include "genicam/parameter_object.h"
#include "sdk/genicam/PvGenRegister.h"

class CVexGenRegister : public ParameterObject<CVexGenRegister, PvGenRegister> {
public:
    STDMETHODIMP get_Length(__int64* pVal) noexcept override { return get(pVal, &PvGenRegister::GetLength); }
    STDMETHODIMP Set(SAFEARRAY* aBuffer, IVexResult** result) noexcept override;
    STDMETHODIMP Get(SAFEARRAY* aBuffer, IVexResult** result) noexcept override;
};
