// VexFilterDeinterlace: two fields woven into one frame.
#pragma once

#include "buffers/filter_members.h"
#include "sdk/convert/PvFilterDeinterlace.h"

/// Owns the SDK filter.
class CVexFilterDeinterlace : public FilterMembers<CVexFilterDeinterlace>,
                              public vex::server::SdkObject<PvFilterDeinterlace> {
public:
    void final_construct() { own_new(); }

    STDMETHODIMP get_FieldInversion(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvFilterDeinterlace::GetFieldInversion);
    }
    STDMETHODIMP put_FieldInversion(VARIANT_BOOL pVal) noexcept override
    {
        return set(&PvFilterDeinterlace::SetFieldInversion, pVal);
    }
    STDMETHODIMP ApplyDeinterlaceFilter(IVexBuffer* aInOdd, IVexBuffer* aInEven, IVexBuffer* aOut,
                                        IVexResult** result) noexcept override
    {
        using Weave = PvResult(const PvBuffer*, const PvBuffer*, PvBuffer*);
        return report(result, overload<Weave>(&PvFilterDeinterlace::Apply), aInOdd, aInEven, aOut);
    }
};
