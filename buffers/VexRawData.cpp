#include "buffers/VexRawData.h"

HRESULT CVexRawData::get_PayloadLength(UINT64* pVal) noexcept
{
    return value(pVal, [](PvRawData& raw) { return raw.GetPayloadLength(); });
}
