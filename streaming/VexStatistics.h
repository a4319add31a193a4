// VexStatistics: counters and rates of a raw stream.
#pragma once

#include "sdk/streamraw/PvStatistics.h"
#include "server/wrapper.h"

/// A view of the statistics of the stream that hands it out. It answers a failure when that stream has gone.
class CVexStatistics : public vex::server::Wrapper<CVexStatistics>, public vex::server::SdkObject<PvStatistics> {
public:
    STDMETHODIMP get_ImagesCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetImagesCount);
    }
    STDMETHODIMP get_BlocksCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetBlocksCount);
    }
    STDMETHODIMP get_SamplingTime(UINT64* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetSamplingTime);
    }
    STDMETHODIMP get_BytesCount(UINT64* pVal) noexcept override { return value(pVal, &PvStatistics::GetBytesCount); }
    STDMETHODIMP get_Bandwidth(double* pVal) noexcept override { return value(pVal, &PvStatistics::GetBandwidth); }
    STDMETHODIMP get_BandwidthAverage(double* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetBandwidthAverage);
    }
    STDMETHODIMP get_AcquisitionRate(double* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetAcquisitionRate);
    }
    STDMETHODIMP get_AcquisitionRateAverage(double* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetAcquisitionRateAverage);
    }
    STDMETHODIMP get_LastError(IVexResult** pVal) noexcept override
    {
        return guarded([&] {
            return vex::server::CreateResultObject(attached_sdk().GetLastError(), vex::server::not_null(pVal));
        });
    }
    STDMETHODIMP get_ErrorCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetErrorCount);
    }
    STDMETHODIMP get_TimeoutCountedAsError(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetTimeoutCountedAsError);
    }
    STDMETHODIMP put_TimeoutCountedAsError(VARIANT_BOOL pVal) noexcept override
    {
        return set(&PvStatistics::SetTimeoutCountedAsError, pVal);
    }
    STDMETHODIMP get_AbortCountedAsError(VARIANT_BOOL* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetAbortCountedAsError);
    }
    STDMETHODIMP put_AbortCountedAsError(VARIANT_BOOL pVal) noexcept override
    {
        return set(&PvStatistics::SetAbortCountedAsError, pVal);
    }
    STDMETHODIMP get_TimestampSourceEffective(VexTimestampSourceType* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetTimestampSourceEffective);
    }
    STDMETHODIMP get_TimestampSourcePreferred(VexTimestampSourceType* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetTimestampSourcePreferred);
    }
    STDMETHODIMP put_TimestampSourcePreferred(VexTimestampSourceType pVal) noexcept override
    {
        return set(&PvStatistics::SetTimestampSourcePreferred, pVal);
    }
    STDMETHODIMP get_ExpectedResendCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetExpectedResendCount);
    }
    STDMETHODIMP get_UnexpectedResendCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetUnexpectedResendCount);
    }
    STDMETHODIMP get_LostPacketCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetLostPacketCount);
    }
    STDMETHODIMP get_IgnoredPacketCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetIgnoredPacketCount);
    }
    STDMETHODIMP get_BlockIDsMissing(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetBlockIDsMissing);
    }
    STDMETHODIMP get_PipelineBlocksDropped(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetPipelineBlocksDropped);
    }
    STDMETHODIMP get_ResultImageError(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetResultImageError);
    }
    STDMETHODIMP get_ResultMissingPackets(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetResultMissingPackets);
    }
    STDMETHODIMP get_ResultBufferTooSmall(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetResultBufferTooSmall);
    }
    STDMETHODIMP get_ResultAborted(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetResultAborted);
    }
    STDMETHODIMP get_ResultTimeout(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetResultTimeout);
    }
    STDMETHODIMP get_ResultStateError(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetResultStateError);
    }
    STDMETHODIMP get_ResultTooManyResends(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetResultTooManyResends);
    }
    STDMETHODIMP get_ResultResendsFailure(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetResultResendsFailure);
    }
    STDMETHODIMP get_ResultInvalidDataFormat(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetResultInvalidDataFormat);
    }
    STDMETHODIMP get_ResultTooManyConsecutiveResends(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetResultTooManyConsecutiveResends);
    }
    STDMETHODIMP get_ResultAutoAborted(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetResultAutoAborted);
    }
    STDMETHODIMP get_ResultNotInitialized(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetResultNotInitialized);
    }
    STDMETHODIMP get_ResendGroupRequested(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetResendGroupRequested);
    }
    STDMETHODIMP get_ResendPacketRequested(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetResendPacketRequested);
    }
    STDMETHODIMP get_ExpectedSingleResend(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetExpectedSingleResend);
    }
    STDMETHODIMP get_RedundantPacket(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetRedundantPacket);
    }
    STDMETHODIMP get_PacketOutOfOrder(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetPacketOutOfOrder);
    }
    STDMETHODIMP get_PacketUnavaliable(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetPacketUnavaliable);
    }
    STDMETHODIMP get_StatusUnknown(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetStatusUnknown);
    }
    STDMETHODIMP get_StatusLocalProblem(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetStatusLocalProblem);
    }
    STDMETHODIMP get_DataOverrunCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetDataOverrunCount);
    }
    STDMETHODIMP get_ImagesDroppedCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetImagesDroppedCount);
    }
    STDMETHODIMP get_BlocksDroppedCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetBlocksDroppedCount);
    }
    STDMETHODIMP get_PartialLineMissing(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetPartialLineMissing);
    }
    STDMETHODIMP get_FullLineMissing(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetFullLineMissing);
    }
    STDMETHODIMP get_EOFByLineCount(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetEOFByLineCount);
    }
    STDMETHODIMP get_InterlacedEven(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetInterlacedEven);
    }
    STDMETHODIMP get_InterlacedOdd(unsigned int* pVal) noexcept override
    {
        return value(pVal, &PvStatistics::GetInterlacedOdd);
    }
    STDMETHODIMP Reset() noexcept override { return set(&PvStatistics::Reset); }
};
