// VexGenCommand: an action of the device.
#pragma once

#include "genicam/parameter_object.h"
#include "sdk/genicam/PvGenCommand.h"

class CVexGenCommand : public ParameterObject<CVexGenCommand, PvGenCommand> {
public:
    HRESULT STDMETHODCALLTYPE get_IsDone(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE Execute(IVexResult** out) noexcept override;
};
