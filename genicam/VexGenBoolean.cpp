#include "genicam/VexGenBoolean.h"

using namespace vex;

HRESULT CVexGenBoolean::get_Value(VARIANT_BOOL* pVal) noexcept { return get(pVal, &PvGenBoolean::GetValue); }

HRESULT CVexGenBoolean::put_Value(VARIANT_BOOL pVal) noexcept
{
    return set([&](PvGenBoolean& parameter) { return parameter.SetValue(server::from_variant_bool(pVal)); });
}
