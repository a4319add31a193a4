' A camera's serial ports and I2C bus from a script: openers, bytes in arrays of variants, failures in words.
'
'   cscript side_channels.vbs FOLDER IP-ADDRESS
'
' The folder is not used.
Option Explicit

Const AccessControl = 1
Const OK = 0
Const NotConnected = &H17
Const NotFound = &H19
Const NotSupported = &H1A
Const StateError = &H1C
Const TimeoutCode = &H1E
Const InvalidParameter = &H4001

Dim device, port, other, bus, count, i
Set device = CreateObject("VexKamCOMWrapper.VexDevice")
ExpectCode "connecting", device.ConnectString(WScript.Arguments(1), AccessControl), OK
Set port = CreateObject("VexKamCOMWrapper.VexSerialPortIPEngine")
Set other = CreateObject("VexKamCOMWrapper.VexSerialPortIPEngine")
Set bus = CreateObject("VexKamCOMWrapper.VexIPEngineI2CBus")

' ---- which ports there are ----

Expect "serial port 0", CInt(port.IsSupported(device, 0)), 1
Expect "serial port 3", CInt(port.IsSupported(device, 3)), 0
Expect "serial port -1", CInt(port.IsSupported(device, -1)), 0
Expect "the bus on port 3", CInt(bus.IsSupported(device, 3)), 1
Expect "the bus on port 0", CInt(bus.IsSupported(device, 0)), 0
ExpectCode "port -1", port.Open(device, -1), InvalidParameter
ExpectCode "port 9", port.Open(device, 9), NotSupported
ExpectCode "port 0", port.Open(device, 0), OK
ExpectCode "port 0 again", other.Open(device, 0), StateError
Expect "open", CInt(port.IsOpened), 1

' ---- bytes ----

Dim sent(9), got(9)
For i = 0 To 9
    sent(i) = CByte(20 * i)
    got(i) = CByte(0)
Next
ExpectCode "writing", port.Write(sent, 10, count), OK
Expect "count", CStr(count), "10"
ExpectCode "reading", port.Read(got, 10, count, 20000), OK
Expect "count", CStr(count), "10"
For i = 0 To 9
    Expect "byte " & i, CInt(got(i)), 20 * i
Next
ExpectCode "reading nothing", port.Read(got, 1, count, 0), TimeoutCode
Expect "the buffer's size", CStr(port.RxBufferSize), "65536"
port.RxBufferSize = 100
Expect "the buffer's size", CStr(port.RxBufferSize), "100"
Expect "what is ready", CStr(port.RxBytesReady), "0"
ExpectCode "discarding", port.FlushRxBuffer(), OK
ExpectCode "closing", port.Close(), OK
ExpectCode "writing to a closed port", port.Write(sent, 1, count), NotConnected

' ---- I2C ----

ExpectCode "the bus", bus.Open(device, 3), OK
ExpectCode "the sensor", bus.IndirectBurstRead(&H90, 2, got, 2, count, True, True), OK
Expect "count", CStr(count), "2"
Expect "the upper byte", CInt(got(0)), &H4B
ExpectCode "nobody", bus.BurstRead(&H20, got, 2, count, False), NotFound
ExpectCode "closing", bus.Close(), OK

ExpectCode "disconnecting", device.Disconnect(), OK
WScript.Echo "Done."
WScript.Quit 0

Sub ExpectCode(what, result, code)
    If result.Code <> code Then Fail what & " gave " & result.Code & ": " & result.Description
End Sub

Sub Expect(what, found, wanted)
    If found <> wanted Then Fail what & " is " & found & ", not " & wanted
End Sub

Sub Fail(text)
    WScript.Echo "Failed: " & text
    WScript.Quit 1
End Sub
