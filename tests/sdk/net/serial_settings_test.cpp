// Serial settings and line errors in the words of the system that this is built for. No pseudo terminal has parity,
// data bits or line errors, so the conversions are tested by themselves.
#ifdef _WIN32
#include "sdk/net/serial_settings_windows.h"
#else
#include "sdk/net/serial_settings_linux.h"
#endif

#include <gtest/gtest.h>

using namespace vex::net;

namespace {

#ifdef _WIN32

TEST(SerialSettings, BecomeADeviceControlBlock)
{
    DCB before{};
    before.fOutX = TRUE;
    before.fInX = TRUE;
    before.fOutxCtsFlow = TRUE;
    before.fNull = TRUE;
    before.fAbortOnError = TRUE;
    before.XonChar = 17;
    DCB made = to_system({115'200, LineParity::odd, 7, 2}, before);
    EXPECT_EQ(made.DCBlength, sizeof made);
    EXPECT_EQ(made.BaudRate, 115'200u);
    EXPECT_EQ(made.ByteSize, 7);
    EXPECT_EQ(made.Parity, ODDPARITY);
    EXPECT_EQ(made.StopBits, TWOSTOPBITS);
    EXPECT_EQ(made.fParity, 1u);
    EXPECT_EQ(made.fBinary, 1u);
    EXPECT_EQ(made.fOutX + made.fInX + made.fOutxCtsFlow + made.fNull + made.fAbortOnError, 0u);
    EXPECT_EQ(made.XonChar, 17);
    made = to_system({9600, LineParity::even, 8, 1}, before);
    EXPECT_EQ(made.Parity, EVENPARITY);
    EXPECT_EQ(made.StopBits, ONESTOPBIT);
    made = to_system({9600, LineParity::none, 8, 1}, before);
    EXPECT_EQ(made.Parity, NOPARITY);
    EXPECT_EQ(made.fParity, 0u);
}

TEST(SerialSettings, CountEachKindOfErrorThatIsReported)
{
    LineErrors errors;
    add_reported(errors, CE_BREAK | CE_FRAME);
    add_reported(errors, CE_RXPARITY);
    add_reported(errors, CE_OVERRUN | CE_RXOVER);
    add_reported(errors, CE_BREAK);
    add_reported(errors, 0);
    EXPECT_EQ(errors.breaks, 2u);
    EXPECT_EQ(errors.framing, 1u);
    EXPECT_EQ(errors.parity, 1u);
    EXPECT_EQ(errors.overruns, 1u);
}

#else

TEST(SerialSettings, BecomeFlagsOfATerminal)
{
    EXPECT_EQ(frame_flags({9600, LineParity::none, 8, 1}), CS8);
    EXPECT_EQ(frame_flags({9600, LineParity::even, 7, 1}), CS7 | PARENB);
    EXPECT_EQ(frame_flags({9600, LineParity::odd, 6, 2}), CS6 | PARENB | PARODD | CSTOPB);
    EXPECT_EQ(frame_flags({9600, LineParity::none, 5, 1}), CS5);
    EXPECT_FALSE(frame_flags({9600, LineParity::none, 4, 1}));
    EXPECT_FALSE(frame_flags({9600, LineParity::none, 9, 1}));
    EXPECT_FALSE(frame_flags({9600, LineParity::none, 8, 0}));
    EXPECT_FALSE(frame_flags({9600, LineParity::none, 8, 3}));
}

TEST(SerialSettings, CountWhatTheDriverCountedBetweenTwoLooks)
{
    serial_icounter_struct before{};
    before.brk = 5;
    before.overrun = 0x7FFFFFFF;
    serial_icounter_struct now = before;
    now.brk = 7;
    now.parity = 11;
    now.frame = 13;
    now.overrun = static_cast<int>(0x80000002u);  // it wrapped
    now.buf_overrun = 20;
    LineErrors errors;
    add_counted(errors, before, now);
    EXPECT_EQ(errors.breaks, 2u);
    EXPECT_EQ(errors.parity, 11u);
    EXPECT_EQ(errors.framing, 13u);
    EXPECT_EQ(errors.overruns, 23u);
    add_counted(errors, now, now);
    EXPECT_EQ(errors.breaks, 2u);
}

#endif

}  // namespace
