#include "buffers/VexFilterDeinterlace.h"

using namespace vex;

HRESULT CVexFilterDeinterlace::final_construct()
{
    own_new();
    return S_OK;
}

HRESULT CVexFilterDeinterlace::get_FieldInversion(VARIANT_BOOL* pVal) noexcept
{
    return value(pVal, [](PvFilterDeinterlace& filter) { return filter.GetFieldInversion(); });
}

HRESULT CVexFilterDeinterlace::put_FieldInversion(VARIANT_BOOL pVal) noexcept
{
    return set([&](PvFilterDeinterlace& filter) { filter.SetFieldInversion(server::from_variant_bool(pVal)); });
}

HRESULT CVexFilterDeinterlace::ApplyDeinterlaceFilter(IVexBuffer* aInOdd, IVexBuffer* aInEven, IVexBuffer* aOut,
                                                      IVexResult** out) noexcept
{
    return result(out, [&](PvFilterDeinterlace& filter) {
        return filter.Apply(&server::sdk_of<CVexBuffer>(aInOdd), &server::sdk_of<CVexBuffer>(aInEven),
                            &server::sdk_of<CVexBuffer>(aOut));
    });
}
