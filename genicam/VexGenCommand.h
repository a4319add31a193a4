// VexGenCommand: an action of the device.
#pragma once

#include "genicam/parameter_object.h"
#include "sdk/genicam/PvGenCommand.h"

class CVexGenCommand : public ParameterObject<CVexGenCommand, PvGenCommand> {
public:
    STDMETHODIMP get_IsDone(VARIANT_BOOL* pVal) noexcept override { return get(pVal, &PvGenCommand::IsDone); }
    STDMETHODIMP Execute(IVexResult** result) noexcept override { return report(result, &PvGenCommand::Execute); }
};
