// VexIPEngineI2CBus: an I2C bus of a camera.
#pragma once

#include <memory>

#include "sdk/device/PvDevice.h"
#include "sdk/serial/PvIPEngineI2CBus.h"
#include "server/wrapper.h"

/// Shows an SDK bus of its own, which it leaves as it is when it goes: a bus that is open stays open, and is kept by
/// vex::serial::ReleasedBuses. Clients close it first.
///
/// Bytes stand in the client's own array: it holds at least as many as the size argument says, which nobody checks.
class CVexIPEngineI2CBus : public vex::server::Wrapper<CVexIPEngineI2CBus>,
                           public vex::server::SdkObject<PvIPEngineI2CBus> {
    using Bus = PvIPEngineI2CBus;

public:
    void final_construct();
    void final_release() noexcept;

    STDMETHODIMP get_IsOpened(VARIANT_BOOL* pVal) noexcept override { return value(pVal, &Bus::IsOpened); }
    STDMETHODIMP Open(IVexDevice* aDevice, VexIPEngineSerial aPort, IVexResult** result) noexcept override
    {
        return report(result, &Bus::Open, aDevice, aPort);
    }
    STDMETHODIMP Close(IVexResult** result) noexcept override { return report(result, &Bus::Close); }
    STDMETHODIMP IsSupported(IVexDevice* aDevice, VexIPEngineSerial aPort, VARIANT_BOOL* result) noexcept override
    {
        return value(result, &Bus::IsSupported, aDevice, aPort);
    }
    STDMETHODIMP BurstWrite(unsigned char aSlaveAddress, SAFEARRAY* aBuffer, unsigned int aBufferSize,
                            VARIANT_BOOL aFastMode, IVexResult** result) noexcept override
    {
        return report(result, &Bus::BurstWrite, aSlaveAddress, aBuffer, aBufferSize, aFastMode);
    }
    STDMETHODIMP IndirectBurstWrite(unsigned char aSlaveAddress, unsigned char aOffset, SAFEARRAY* aBuffer,
                                    unsigned int aBufferSize, VARIANT_BOOL aFastMode,
                                    IVexResult** result) noexcept override
    {
        return report(result, &Bus::IndirectBurstWrite, aSlaveAddress, aOffset, aBuffer, aBufferSize, aFastMode);
    }
    STDMETHODIMP BurstRead(unsigned char aSlaveAddress, SAFEARRAY* aBuffer, unsigned int aBufferSize,
                           unsigned int* aBytesRead, VARIANT_BOOL aFastMode, IVexResult** result) noexcept override
    {
        return report(result, &Bus::BurstRead, aSlaveAddress, aBuffer, aBufferSize, aBytesRead, aFastMode);
    }
    STDMETHODIMP IndirectBurstRead(unsigned char aSlaveAddress, unsigned char aOffset, SAFEARRAY* aBuffer,
                                   unsigned int aBufferSize, unsigned int* aBytesRead, VARIANT_BOOL aFastMode,
                                   VARIANT_BOOL aUseCombinedFormat, IVexResult** result) noexcept override
    {
        return report(result, &Bus::IndirectBurstRead, aSlaveAddress, aOffset, aBuffer, aBufferSize, aBytesRead,
                      aFastMode, aUseCombinedFormat);
    }
    STDMETHODIMP MasterTransmitter(unsigned char aSlaveAddress, SAFEARRAY* aBuffer, unsigned int aBufferSize,
                                   VARIANT_BOOL aFastMode, VARIANT_BOOL aGenerateStopCondition,
                                   IVexResult** result) noexcept override
    {
        return report(result, &Bus::MasterTransmitter, aSlaveAddress, aBuffer, aBufferSize, aFastMode,
                      aGenerateStopCondition);
    }
    STDMETHODIMP MasterReceiverAfterFirstByte(unsigned char aSlaveAddress, SAFEARRAY* aBuffer, unsigned int aBufferSize,
                                              unsigned int* aBytesRead, VARIANT_BOOL aFastMode,
                                              VARIANT_BOOL aGenerateStopCondition,
                                              IVexResult** result) noexcept override
    {
        return report(result, &Bus::MasterReceiverAfterFirstByte, aSlaveAddress, aBuffer, aBufferSize, aBytesRead,
                      aFastMode, aGenerateStopCondition);
    }

private:
    std::unique_ptr<PvIPEngineI2CBus> bus_;
};
