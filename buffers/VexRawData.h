// VexRawData: the raw data that a buffer holds.
#pragma once

#include "sdk/buffer/PvRawData.h"
#include "server/wrapper.h"

/// A view: the SDK object belongs to the buffer.
class CVexRawData : public vex::server::Wrapper<CVexRawData>, public vex::server::SdkObject<PvRawData> {
public:
    STDMETHODIMP get_PayloadLength(UINT64* pVal) noexcept override { return value(pVal, &PvRawData::GetPayloadLength); }
};
