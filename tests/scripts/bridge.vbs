' Serial bridges: settings, the one configuration object, starting and stopping, failures with words.
'
'   cscript bridge.vbs FOLDER IP-ADDRESS
'
' FOLDER is not used. The software camera is at IP-ADDRESS.
Option Explicit

Const AccessControl = 1
Const NotConnected = &H17
Const NotFound = &H19
Const NotSupported = &H1A
Const StateError = &H1C
Const InvalidParameter = &H4001

Dim device, bridge, other, shown, again, mine, i

Set device = CreateObject("VexKamCOMWrapper.VexDevice")
Set bridge = CreateObject("VexKamCOMWrapper.VexSerialBridge")
Set mine = CreateObject("VexKamCOMWrapper.VexSerialPortConfigura")

' ---- before the first start ----

Expect "the baud rate", bridge.BaudRate, 9600
Expect "the hard-coded baud rate", bridge.GetHardCodedBaudRate, 0
Expect "the device's port", bridge.DevicePort, -1
Expect "the name", bridge.Name, ""
Expect "the serial port", bridge.SerialPort, ""
Expect "the rates", bridge.SupportedBaudRateCount, 0
ExpectFailure "stopping", bridge.Stop, StateError, "does not run"
ExpectFailure "recovering", bridge.Recover, StateError, "does not run"
ExpectFailure "a device that is not connected", bridge.Start("tcp:0", device, 1), NotConnected, ""

' ---- the configuration object ----

Set shown = bridge.GetSerialPortConfiguration
Expect "the configuration's baud rate", shown.BaudRate, 9600
shown.BaudRate = 57600
Set again = bridge.GetSerialPortConfiguration
If Not IsSame(shown, again) Then Fail "there are two configuration objects"
Expect "the baud rate after a second look", shown.BaudRate, 9600
shown.BaudRate = 57600
ExpectOK "setting the bridge's own object", bridge.SetSerialPortConfiguration(shown)
Expect "the baud rate of the bridge", bridge.BaudRate, 57600
mine.MakeInvalid
ExpectFailure "an invalid configuration", bridge.SetSerialPortConfiguration(mine), InvalidParameter, "baud rate 0"
Expect "the baud rate after that", bridge.GetSerialPortConfiguration.BaudRate, 57600

' ---- running ----

ExpectOK "connecting", device.ConnectString(WScript.Arguments(1), AccessControl)
ExpectOK "starting", bridge.Start("tcp:0", device, 1)
Expect "the device's port", bridge.DevicePort, 1
If Left(bridge.Name, 4) <> "tcp:" Or bridge.Name = "tcp:0" Then Fail "the name is " & bridge.Name
Expect "the device's rate", Rate(1), 57600
ExpectFailure "starting twice", bridge.Start("tcp:0", device, 1), StateError, "runs already"
Set other = CreateObject("VexKamCOMWrapper.VexSerialBridge")
ExpectFailure "a port that is taken", other.Start("other", device, 1), StateError, "has it"
ExpectFailure "a name that is taken", other.Start(bridge.Name, device, 0), StateError, "in use"
ExpectFailure "a name that is none", other.Start("a/b", device, 0), InvalidParameter, "cannot be the name"
ExpectFailure "a port that is missing", other.Start("other", device, 9), NotSupported, "Bulk7"
mine.BaudRate = 9600
mine.Parity = 0
mine.ByteSize = 8
mine.StopBits = 1
ExpectFailure "a line that is missing", other.Starts("COM199", mine, device, 0), NotFound, "COM199"
Expect "the caller's configuration", mine.BaudRate, 9600

Expect "the rates", bridge.SupportedBaudRateCount, 11
Expect "the first rate", bridge.GetSupportedBaudRate(0), 1200
Expect "the last rate", bridge.GetSupportedBaudRate(10), 921600
Expect "past the end", bridge.GetSupportedBaudRate(11), 0
ExpectOK "a hard-coded baud rate", bridge.SetHardCodedBaudRate(19200)
Expect "the rate of the device's side", bridge.BaudRate, 19200
Expect "the device's rate", Rate(1), 19200
Expect "the line's rate", bridge.GetSerialPortConfiguration.BaudRate, 57600
ExpectFailure "a rate that the device cannot have", bridge.SetHardCodedBaudRate(12345), NotSupported, "12345"
ExpectOK "the line's rate again", bridge.SetHardCodedBaudRate(0)
Expect "the device's rate", Rate(1), 57600

Expect "bytes from the device", bridge.BytesReceivedFromDevice, 0
Expect "bytes to the device", bridge.BytesSentToDevice, 0
bridge.ResetStatistics
ExpectOK "recovering what is well", bridge.Recover
ExpectOK "stopping", bridge.Stop

' ---- released while it runs ----

ExpectOK "starting again", bridge.Start("tcp:0", device, 1)
Set shown = bridge.GetSerialPortConfiguration
Set again = Nothing
Set bridge = Nothing
On Error Resume Next
i = shown.BaudRate
If Err.Number = 0 Then Fail "a configuration whose bridge has gone has the baud rate " & CStr(i)
On Error Goto 0
ExpectOK "the port is free", other.Start("tcp:0", device, 1)
Set device = Nothing
ExpectFailure "recovering without the device", other.Recover, NotConnected, "not connected"
ExpectOK "stopping without the device", other.Stop

WScript.Echo "Done."
WScript.Quit 0

Function Rate(port)
    Dim result
    ExpectOK "reading the device's rate", _
        device.GenParameters.GetIntegerValue("IPEngineSerial" & port & "BaudRate", result)
    Rate = result
End Function

Function IsSame(a, b)
    IsSame = False
    If a Is b Then IsSame = True
End Function

Sub ExpectOK(what, result)
    If result.IsOK Then Exit Sub
    Fail what & ": " & result.Description
End Sub

Sub ExpectFailure(what, result, code, words)
    If result.IsOK Then Fail what & " succeeded"
    Expect "the code of " & what, result.Code, code
    If InStr(result.Description, words) = 0 Then Fail what & " says '" & result.Description & "'"
End Sub

Sub Expect(what, found, wanted)
    If CStr(found) = CStr(wanted) Then Exit Sub
    Fail what & " is '" & found & "', not '" & wanted & "'"
End Sub

Sub Fail(what)
    WScript.Echo "Failed: " & what
    WScript.Quit 1
End Sub
