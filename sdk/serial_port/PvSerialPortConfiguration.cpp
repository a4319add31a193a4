#include "sdk/serial_port/PvSerialPortConfiguration.h"

#include "sdk/base/failure.h"

using namespace vex;

PvResult PvSerialPortConfiguration::IsValid() const noexcept
{
    if (BaudRate == 0 || BaudRate > highest_baud_rate) {
        return failure(PvResult::InvalidParameter, "The baud rate ", BaudRate, " is not one of 1 to ",
                       highest_baud_rate);
    }
    if (Parity != PvParityNone && Parity != PvParityEven && Parity != PvParityOdd) {
        return failure(PvResult::InvalidParameter, "The parity ", static_cast<std::int32_t>(Parity),
                       " is not none (0), even (1) or odd (2)");
    }
    if (ByteSize < 5 || ByteSize > 8) {
        return failure(PvResult::InvalidParameter, "The byte size ", ByteSize, " is not one of 5 to 8 data bits");
    }
    if (StopBits != 1 && StopBits != 2) {
        return failure(PvResult::InvalidParameter, "The stop bits ", StopBits, " are not 1 or 2");
    }
    if (ByteSize == 5 && StopBits == 2) {
        return failure(PvResult::InvalidParameter, "The stop bits 2 do not go with a byte size of 5 data bits");
    }
    return PvResult::OK;
}

void PvSerialPortConfiguration::MakeInvalid() noexcept
{
    BaudRate = 0;
    Parity = PvParityInvalid;
    ByteSize = 0;
    StopBits = 0;
}
