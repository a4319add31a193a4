' I2C: lists the slaves on a camera's I2C bus, writes bytes to an EEPROM and reads them back.
'
'   cscript i2c.vbs [IP-ADDRESS [PORT [SLAVE]]]
'
' IP-ADDRESS picks a camera (default 127.0.0.2), PORT the port with the bus (default 3, which is the bulk port 1), SLAVE
' the EEPROM (default 160, which is &HA0). The bytes at the offset &H10 are overwritten.
'
' Addresses are bytes as they are on the wire: the slave that its data sheet calls 0x50 in seven bits is &HA0 here.
'
' Ends with 0 and the line "Done." when every step succeeded, with 1 when one failed.
'
' The server returns 1 for true, not -1, so conditions are written "If x Then", never "If x = True" or "If Not x".
'
' Run in the tests, by cscript under Wine: ./run test scripts.
Option Explicit

Const AccessControl = 1                ' VexAccessControl
Const NotFoundCode = &H19              ' VexNotFound: nobody acknowledged
Const FirstOffset = &H10

Dim address, number, slave
address = "127.0.0.2"
number = 3
slave = &HA0
If WScript.Arguments.Count > 0 Then address = WScript.Arguments(0)
If WScript.Arguments.Count > 1 Then number = CLng(WScript.Arguments(1))
If WScript.Arguments.Count > 2 Then slave = CLng(WScript.Arguments(2))

' ---- connect and open ----

Dim device, bus
Set device = CreateObject("VexKamCOMWrapper.VexDevice")
Require device.ConnectString(address, AccessControl), "connecting to " & address
Set bus = CreateObject("VexKamCOMWrapper.VexIPEngineI2CBus")
If bus.IsSupported(device, number) = 0 Then Fail "the camera has no I2C bus on port " & number
Require bus.Open(device, number), "opening the bus on port " & number

' ---- who is there ----

' A write of no bytes is acknowledged by a slave that is there. The addresses at both ends are reserved.
Dim no_bytes(0), at, result
no_bytes(0) = CByte(0)
For at = &H10 To &HEE Step 2
    Set result = bus.BurstWrite(at, no_bytes, 0, True)
    If result.IsOK Then WScript.Echo "A slave at &H" & Hex(at) & " (0x" & Hex(at \ 2) & " in seven bits)"
    If result.IsOK = 0 Then
        If result.Code <> NotFoundCode Then Require result, "asking &H" & Hex(at)
    End If
Next

' ---- write and read back ----

Dim written(3), got(3), count, i, tries
For i = 0 To 3
    written(i) = CByte(10 * i + 7)
    got(i) = CByte(0)
Next
Require bus.IndirectBurstWrite(slave, FirstOffset, written, 4, True), "writing to &H" & Hex(slave)
' an EEPROM acknowledges nothing until it has stored the bytes
For tries = 1 To 1000
    Set result = bus.BurstWrite(slave, no_bytes, 0, True)
    If result.IsOK Then Exit For
Next
Require result, "waiting for the EEPROM"
Require bus.IndirectBurstRead(slave, FirstOffset, got, 4, count, True, True), "reading from &H" & Hex(slave)
If CStr(count) <> "4" Then Fail CStr(count) & " bytes were read, not 4"
For i = 0 To 3
    If CInt(got(i)) <> CInt(written(i)) Then Fail "byte " & i & " is " & CInt(got(i)) & ", not " & CInt(written(i))
Next
WScript.Echo "4 bytes written to &H" & Hex(slave) & " and read back"

' a bus that is not closed stays open when the object is released
Require bus.Close(), "closing"
Require device.Disconnect(), "disconnecting"
WScript.Echo "Done."
WScript.Quit 0

' ---- helpers ----

' Ends the script when an operation did not succeed.
Sub Require(result, what)
    If result.IsOK Then Exit Sub
    Fail what & ": " & result.Description & " (code " & result.Code & ")"
End Sub

Sub Fail(text)
    WScript.Echo "Failed: " & text
    WScript.Quit 1
End Sub
