// VexFilterDeinterlace: two fields woven into one frame.
#pragma once

#include "buffers/filter_members.h"
#include "sdk/convert/PvFilterDeinterlace.h"

/// Owns the SDK filter.
class CVexFilterDeinterlace : public FilterMembers<CVexFilterDeinterlace>,
                              public vex::server::SdkObject<PvFilterDeinterlace> {
public:
    HRESULT final_construct();

    HRESULT STDMETHODCALLTYPE get_FieldInversion(VARIANT_BOOL* pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE put_FieldInversion(VARIANT_BOOL pVal) noexcept override;
    HRESULT STDMETHODCALLTYPE ApplyDeinterlaceFilter(IVexBuffer* aInOdd, IVexBuffer* aInEven, IVexBuffer* aOut,
                                                     IVexResult** result) noexcept override;
};
