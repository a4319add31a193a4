#include "genicam/VexGenCommand.h"

HRESULT CVexGenCommand::get_IsDone(VARIANT_BOOL* pVal) noexcept { return get(pVal, &PvGenCommand::IsDone); }

HRESULT CVexGenCommand::Execute(IVexResult** out) noexcept { return result(out, &PvGenCommand::Execute); }
