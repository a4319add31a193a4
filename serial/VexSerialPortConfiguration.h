// VexSerialPortConfiguration: how characters are sent on a serial line.
#pragma once

#include "sdk/serial_port/PvSerialPortConfiguration.h"
#include "server/wrapper.h"

/// Owns its SDK settings, unless a parent shows settings of its own through it. The properties take any value; only
/// IsValid judges.
class CVexSerialPortConfiguration : public vex::server::Wrapper<CVexSerialPortConfiguration>,
                                    public vex::server::SdkObject<PvSerialPortConfiguration> {
    using Settings = PvSerialPortConfiguration;

public:
    void final_construct() { own_new(); }

    STDMETHODIMP get_IsValid(IVexResult** pVal) noexcept override { return report(pVal, &Settings::IsValid); }
    STDMETHODIMP get_BaudRate(unsigned int* pVal) noexcept override { return field(pVal, &Settings::BaudRate); }
    STDMETHODIMP put_BaudRate(unsigned int pVal) noexcept override { return set_field(&Settings::BaudRate, pVal); }
    STDMETHODIMP get_Parity(VexParity* pVal) noexcept override { return field(pVal, &Settings::Parity); }
    STDMETHODIMP put_Parity(VexParity pVal) noexcept override { return set_field(&Settings::Parity, pVal); }
    STDMETHODIMP get_ByteSize(unsigned int* pVal) noexcept override { return field(pVal, &Settings::ByteSize); }
    STDMETHODIMP put_ByteSize(unsigned int pVal) noexcept override { return set_field(&Settings::ByteSize, pVal); }
    STDMETHODIMP get_StopBits(unsigned int* pVal) noexcept override { return field(pVal, &Settings::StopBits); }
    STDMETHODIMP put_StopBits(unsigned int pVal) noexcept override { return set_field(&Settings::StopBits, pVal); }
    STDMETHODIMP MakeInvalid() noexcept override { return set(&Settings::MakeInvalid); }

private:
    template <class Out, class Field>
    HRESULT field(Out* out, Field Settings::*which) noexcept
    {
        return value(out, [which](const Settings& settings) { return settings.*which; });
    }
    template <class Given, class Field>
    HRESULT set_field(Field Settings::*which, Given given) noexcept
    {
        return set([which](Settings& settings, Field taken) { settings.*which = taken; }, given);
    }
};
