// Serial settings and line errors in the words of Windows.
#pragma once

#include <windows.h>

#include "sdk/net/serial_line.h"

namespace vex::net {

/// What is set on a port whose settings are `before`.
[[nodiscard]] inline DCB to_system(const SerialSettings& settings, DCB before) noexcept
{
    DCB made = before;
    made.DCBlength = sizeof made;
    made.BaudRate = settings.baud_rate;
    made.ByteSize = static_cast<BYTE>(settings.data_bits);
    made.Parity = settings.parity == LineParity::none  ? NOPARITY
                  : settings.parity == LineParity::odd ? ODDPARITY
                                                       : EVENPARITY;
    made.StopBits = settings.stop_bits == 1 ? ONESTOPBIT : TWOSTOPBITS;
    made.fBinary = TRUE;
    made.fParity = settings.parity != LineParity::none;
    made.fOutxCtsFlow = FALSE;
    made.fOutxDsrFlow = FALSE;
    made.fDtrControl = DTR_CONTROL_ENABLE;
    made.fDsrSensitivity = FALSE;
    made.fOutX = FALSE;
    made.fInX = FALSE;
    made.fErrorChar = FALSE;
    made.fNull = FALSE;
    made.fRtsControl = RTS_CONTROL_ENABLE;
    made.fAbortOnError = FALSE;
    return made;
}

/// Adds what ClearCommError reports: one for each kind that there was.
inline void add_reported(LineErrors& errors, DWORD reported) noexcept
{
    errors.breaks += (reported & CE_BREAK) != 0;
    errors.parity += (reported & CE_RXPARITY) != 0;
    errors.framing += (reported & CE_FRAME) != 0;
    errors.overruns += (reported & (CE_OVERRUN | CE_RXOVER)) != 0;
}

}  // namespace vex::net
