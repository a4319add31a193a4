' Serial ports: talks with what hangs on a serial port of a camera.
'
'   cscript serial.vbs [IP-ADDRESS [PORT [LINE]]]
'
' IP-ADDRESS picks a camera (default 127.0.0.2). PORT is 0 or 1, or 2 to 9 for the bulk ports (default 1). LINE is sent,
' ended by a carriage return (default "id"), and what comes back within a second is printed. The software camera has a
' device on port 1 that knows "?", "id" and "temp".
' Ends with 0 and the line "Done." when every step succeeded, with 1 when one failed.
'
' The server returns 1 for true, not -1, so conditions are written "If x Then", never "If x = True" or "If Not x".
'
' Run in the tests, by cscript under Wine: ./run test scripts.
Option Explicit

Const AccessControl = 1                ' VexAccessControl
Const TimeoutCode = &H1E               ' VexTimeout

Dim address, number, line
address = "127.0.0.2"
number = 1
line = "id"
If WScript.Arguments.Count > 0 Then address = WScript.Arguments(0)
If WScript.Arguments.Count > 1 Then number = CLng(WScript.Arguments(1))
If WScript.Arguments.Count > 2 Then line = WScript.Arguments(2)

' ---- connect and open ----

Dim device, port
Set device = CreateObject("VexKamCOMWrapper.VexDevice")
Require device.ConnectString(address, AccessControl), "connecting to " & address
Set port = CreateObject("VexKamCOMWrapper.VexSerialPortIPEngine")
If port.IsSupported(device, number) = 0 Then Fail "the camera has no serial port " & number
Require port.Open(device, number), "opening port " & number

' ---- send a line ----

Dim bytes, count
bytes = BytesOf(line & vbCr)
Require port.Write(bytes, UBound(bytes) + 1, count), "writing"
WScript.Echo "Sent " & CStr(count) & " bytes: " & line

' ---- print what comes back ----

Dim got(0), text, result
text = ""
got(0) = 0
Do
    Set result = port.Read(got, 1, count, 1000)
    If result.Code = TimeoutCode Then Exit Do
    Require result, "reading"
    text = text & Chr(CInt(got(0)))
    If CInt(got(0)) = 10 Then Exit Do
Loop
If text = "" Then WScript.Echo "Nothing came back"
If text <> "" Then WScript.Echo "Received: " & Replace(Replace(text, vbCr, ""), vbLf, "")

Require port.Close(), "closing"
Require device.Disconnect(), "disconnecting"
WScript.Echo "Done."
WScript.Quit 0

' ---- helpers ----

' The characters of a text as an array of bytes.
Function BytesOf(text)
    Dim made, i
    made = Split(Space(Len(text) - 1), " ")
    For i = 1 To Len(text)
        made(i - 1) = CByte(Asc(Mid(text, i, 1)))
    Next
    BytesOf = made
End Function

' Ends the script when an operation did not succeed.
Sub Require(result, what)
    If result.IsOK Then Exit Sub
    Fail what & ": " & result.Description & " (code " & result.Code & ")"
End Sub

Sub Fail(text)
    WScript.Echo "Failed: " & text
    WScript.Quit 1
End Sub
