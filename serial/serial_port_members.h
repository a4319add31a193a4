// The members that all serial port classes share.
#pragma once

#include "sdk/serial_port/PvSerialPort.h"
#include "server/wrapper.h"

/// Implements IVexSerialPort for serial port class T, whose SDK object is a PvSerialPort. Base is T's default
/// interface, which is IVexSerialPort or extends it.
///
/// Bytes stand in the client's own array: it holds at least as many as the size argument says, which nobody checks.
template <class T, class Base = typename vex::server::ClassFacts<T>::Interface>
class SerialPortMembers : public vex::server::Wrapper<T, Base> {
protected:
    using vex::server::Wrapper<T, Base>::get;
    using vex::server::Wrapper<T, Base>::report;
    using vex::server::Wrapper<T, Base>::set;
    using vex::server::Wrapper<T, Base>::value;

public:
    STDMETHODIMP get_IsOpened(VARIANT_BOOL* pVal) noexcept override { return value(pVal, &PvSerialPort::IsOpened); }
    STDMETHODIMP get_RxBufferSize(unsigned int* pVal) noexcept override
    {
        return get(pVal, &PvSerialPort::GetRxBufferSize);
    }
    STDMETHODIMP put_RxBufferSize(unsigned int pVal) noexcept override
    {
        return set(&PvSerialPort::SetRxBufferSize, pVal);
    }
    STDMETHODIMP get_RxBytesReady(unsigned int* pVal) noexcept override
    {
        return get(pVal, &PvSerialPort::GetRxBytesReady);
    }
    STDMETHODIMP Close(IVexResult** result) noexcept override { return report(result, &PvSerialPort::Close); }
    STDMETHODIMP Write(SAFEARRAY* aBuffer, unsigned int aSize, unsigned int* aBytesWritten,
                       IVexResult** result) noexcept override
    {
        return report(result, &PvSerialPort::Write, aBuffer, aSize, aBytesWritten);
    }
    STDMETHODIMP Read(SAFEARRAY* aBuffer, unsigned int aBufferSize, unsigned int* aBytesRead, unsigned int aTimeout,
                      IVexResult** result) noexcept override
    {
        return report(result, &PvSerialPort::Read, aBuffer, aBufferSize, aBytesRead, aTimeout);
    }
    STDMETHODIMP FlushRxBuffer(IVexResult** result) noexcept override
    {
        return report(result, &PvSerialPort::FlushRxBuffer);
    }
};
